#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include <vhdx_disk/check.h>

#include "vhdx_disk/check/chain_check.h"
#include "vhdx_disk/check/source_check.h"
#include "vhdx_disk/source/disk_folders.h"
#include "vhdx_disk/source/fail.h"
#include "vhdx_disk/source/quoted.h"

namespace NVHDXDisk {

namespace {

namespace fs = std::filesystem;
using CLocator = std::optional<NVHDX::NMetadata::CParent>;

/// The file alone; its parent locator goes to `locator`.
bool CheckFile(const fs::path& path, ELog log, const CFindingCallback& report, CLocator& locator,
               CFailure& failure) {
    const CSourcePointer file = OpenFile(path, failure);
    return file != nullptr && CheckSource(file, log, report, locator, failure);
}

/// Checks the files of a folder one by one. What cannot be read is told with the first disk that
/// can: where there is none, nothing was checked.
class CFilesChecker {
public:
    CFilesChecker(ELog log, const CFindingCallback& report) : m_log(log), m_report(report) {}

    void AddUnreadable(const CFailure& failure) {
        AddUnread(MakeFinding(failure.file, "folder", EFinding::folderUnreadable,
                              failure.reason + "; nobody knows which disks it holds"));
    }

    void Check(const fs::path& file) {
        CLocator locator;
        CFailure failure;
        const auto report = [this](const CFinding& finding) {
            TellUnread();
            m_report(finding);
        };
        if (CheckFile(file, m_log, report, locator, failure)) {
            TellUnread();
            ++m_read;
        } else {
            AddUnread(MakeFinding(file, "file", EFinding::notADisk, failure.reason));
        }
    }

    std::size_t Read() const { return m_read; }

    /// Why not a single disk was read.
    std::string WhyNone() const {
        if (m_unread.empty()) {
            return "the folder holds no .vhdx or .avhdx file";
        }
        return Sentence("not one disk could be read; ", Quoted(m_unread.front().file), ": ",
                        m_unread.front().text);
    }

private:
    void AddUnread(CFinding finding) {
        m_unread.push_back(std::move(finding));
        if (m_read != 0) {
            TellUnread();
        }
    }

    void TellUnread() {
        for (const CFinding& finding : m_unread) {
            m_report(finding);
        }
        m_unread.clear();
    }

    const ELog m_log;
    const CFindingCallback& m_report;
    std::size_t m_read = 0;
    std::vector<CFinding> m_unread;
};

}  // namespace

bool CheckDisk(const fs::path& path, ELog log, EParentCheck parents, const CFindingCallback& report,
               CFailure& failure) {
    CLocator locator;
    if (!CheckFile(path, log, report, locator, failure)) {
        return false;
    }
    if (locator) {
        CheckParents(std::move(*locator), path, {log, parents}, report);
    }
    return true;
}

bool CheckFolder(const fs::path& folder, ELog log, const CFindingCallback& report,
                 std::size_t& disks, CFailure& failure) {
    const CDiskFolders found = FindDisksBelow(folder);
    if (found.folders.empty()) {
        failure = found.unreadable.front();
        return false;
    }
    CFilesChecker files(log, report);
    std::for_each(found.unreadable.begin(), found.unreadable.end(),
                  [&](const auto& below) { files.AddUnreadable(below); });
    std::for_each(found.disks.begin(), found.disks.end(),
                  [&](const auto& disk) { files.Check(disk); });
    if (files.Read() == 0) {
        return Fail(failure, CFailure::notADisk, folder, files.WhyNone());
    }
    CheckTree(CDiskTree(PlacesOf(found), SearchIn(found.folders), log), report);
    disks = files.Read();
    return true;
}

}  // namespace NVHDXDisk
