// The words that programs are given for failures and findings.

#include <gtest/gtest.h>

#include <set>
#include <string>

#include <vhdx_disk/failure.h>
#include <vhdx_disk/finding.h>

#include "vhdx_disk/chain/finding_kinds.h"

namespace NTest {
namespace {

using NVHDXDisk::CFailure;
using NVHDXDisk::CFindingKind;
using NVHDXDisk::EFinding;
using NVHDXDisk::ESeverity;
using NVHDXDisk::FindingKinds;
using NVHDXDisk::MakeFailure;
using NVHDXDisk::NameOf;

/// Lower-case letters and digits, with '-' between words.
bool IsWord(const std::string& text) {
    return !text.empty() && text.front() != '-' && text.back() != '-' &&
           text.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-") == std::string::npos;
}

TEST(FailureKinds, HaveAWordEach) {
    std::set<std::string> words;
    for (int kind = CFailure::none; kind <= CFailure::targetFailed; ++kind) {
        const std::string word = NameOf(static_cast<CFailure::EKind>(kind));
        EXPECT_TRUE(IsWord(word)) << word;
        EXPECT_NE(word, "unknown") << kind;
        EXPECT_TRUE(words.insert(word).second) << word;
    }
    EXPECT_STREQ(NameOf(static_cast<CFailure::EKind>(CFailure::targetFailed + 1)), "unknown");
}

TEST(FailureKinds, MakeAFailureThatNamesItsFile) {
    const CFailure failure = MakeFailure(CFailure::damaged, "disk.vhdx", "it is broken", 5);
    EXPECT_EQ(failure.kind, CFailure::damaged);
    EXPECT_EQ(failure.file, "disk.vhdx");
    EXPECT_EQ(failure.text, "\"disk.vhdx\": it is broken");
    EXPECT_EQ(failure.reason, "it is broken");
    EXPECT_EQ(failure.error, 5);
    EXPECT_EQ(MakeFailure(CFailure::circle, {}, "around").text, "around");
}

TEST(FindingKinds, HaveAWordAndAMeaningEach) {
    std::set<std::string> words;
    std::set<std::string> meanings;
    for (const CFindingKind& kind : FindingKinds()) {
        EXPECT_TRUE(IsWord(kind.word)) << kind.word;
        EXPECT_TRUE(words.insert(kind.word).second) << kind.word;
        EXPECT_TRUE(meanings.insert(kind.meaning).second) << kind.meaning;
        EXPECT_EQ(std::string(kind.meaning).back(), '.') << kind.meaning;
    }
}

TEST(FindingKinds, AreThoseOfFindings) {
    ASSERT_EQ(FindingKinds().size(), static_cast<std::size_t>(EFinding::count));
    for (std::size_t index = 0; index < FindingKinds().size(); ++index) {
        const NVHDXDisk::CFinding finding =
            NVHDXDisk::MakeFinding("disk.vhdx", "offset 5", static_cast<EFinding>(index), "text");
        EXPECT_EQ(finding.kind, FindingKinds()[index].word);
        EXPECT_EQ(finding.severity, FindingKinds()[index].severity);
        EXPECT_EQ(finding.file, "disk.vhdx");
        EXPECT_EQ(finding.place, "offset 5");
        EXPECT_EQ(finding.text, "text");
    }
}

TEST(FindingKinds, OfEachSeverityAreThere) {
    std::set<std::string> severities;
    for (const CFindingKind& kind : FindingKinds()) {
        severities.insert(NameOf(kind.severity));
    }
    EXPECT_EQ(severities, (std::set<std::string>{"error", "note", "warning"}));
    EXPECT_STREQ(NameOf(static_cast<ESeverity>(3)), "unknown");
}

}  // namespace
}  // namespace NTest
