#ifndef VHDX_PARSER_TESTS_DISK_CHECK_RESULT_H
#define VHDX_PARSER_TESTS_DISK_CHECK_RESULT_H

/// What a check finds in a disk that a test built.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <vhdx_disk/check.h>

#include "tests/support/image_builder.h"
#include "tests/support/temporary_folder.h"

namespace NTest {

struct CCheckResult {
    bool checked = false;
    std::size_t disks = 0;  ///< of a folder: how many were read
    NVHDXDisk::CFailure failure;
    std::vector<NVHDXDisk::CFinding> findings;

    std::vector<std::string> Kinds() const {
        std::vector<std::string> kinds;
        for (const auto& finding : findings) {
            kinds.push_back(finding.kind);
        }
        return kinds;
    }
    /// "kind at place"
    std::vector<std::string> Lines() const {
        std::vector<std::string> lines;
        for (const auto& finding : findings) {
            std::string line = finding.kind;
            lines.push_back(line.append(" at ").append(finding.place));
        }
        return lines;
    }
    /// "kind at place: text"
    std::vector<std::string> Sentences() const {
        std::vector<std::string> sentences = Lines();
        for (std::size_t i = 0; i < findings.size(); ++i) {
            sentences[i].append(": ").append(findings[i].text);
        }
        return sentences;
    }
};

inline CCheckResult CheckFileAt(
    const std::filesystem::path& path, NVHDXDisk::ELog log = NVHDXDisk::ELog::replay,
    NVHDXDisk::EParentCheck parents = NVHDXDisk::EParentCheck::complete) {
    CCheckResult result;
    result.checked = NVHDXDisk::CheckDisk(
        path, log, parents,
        [&](const NVHDXDisk::CFinding& finding) { result.findings.push_back(finding); },
        result.failure);
    return result;
}

inline CCheckResult CheckFolderAt(const std::filesystem::path& path,
                                  NVHDXDisk::ELog log = NVHDXDisk::ELog::replay) {
    CCheckResult result;
    result.checked = NVHDXDisk::CheckFolder(
        path, log, [&](const NVHDXDisk::CFinding& finding) { result.findings.push_back(finding); },
        result.disks, result.failure);
    return result;
}

inline CCheckResult Check(const CSparseImage& image) {
    const CTemporaryFolder folder;
    image.WriteTo(folder / "disk.vhdx");
    const CCheckResult result = CheckFileAt(folder / "disk.vhdx");
    EXPECT_TRUE(result.checked) << result.failure.text;
    return result;
}

/// The findings of one disk: "kind at place: text".
inline std::vector<std::string> Sentences(const CImageBuilder& builder) {
    return Check(builder.Build()).Sentences();
}

/// The findings of one disk: "kind at place".
inline std::vector<std::string> Findings(const CImageBuilder& builder) {
    return Check(builder.Build()).Lines();
}

/// What is found in a differencing disk whose parent stands beside it.
inline CCheckResult CheckChild(const CImageBuilder& builder) {
    const CTemporaryFolder folder;
    CImageBuilder().Build().WriteTo(folder / "parent.vhdx");
    builder.Build().WriteTo(folder / "disk.avhdx");
    const CCheckResult result = CheckFileAt(folder / "disk.avhdx");
    EXPECT_TRUE(result.checked) << result.failure.text;
    return result;
}

inline std::vector<std::string> ChildFindings(const CImageBuilder& builder) {
    return CheckChild(builder).Lines();
}

}  // namespace NTest

#endif
