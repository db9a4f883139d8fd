// Places where a parent may lie and that the system does not open: nobody passes over them for
// another file, and nobody calls the parent changed or missing.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <map>

#include <vhdx_disk/disk.h>

#include "tests/support/chain_model.h"
#include "tests/support/memory_source.h"

namespace NTest {
namespace {

using NVHDXDisk::CDisk;
using NVHDXDisk::CDiskOptions;
using NVHDXDisk::CFailure;
using NVHDXDisk::CSourcePointer;
using NVHDXDisk::ISourceOpener;

namespace fs = std::filesystem;

/// Refuses some paths with a number of the system.
class CRefusingOpener final : public ISourceOpener {
public:
    void Refuse(const fs::path& path, int error) { m_refused[path] = error; }
    CMemoryOpener& Files() { return m_files; }

    CSourcePointer Open(const fs::path& path, CFailure& failure) const override {
        const auto refused = m_refused.find(path);
        if (refused == m_refused.end()) {
            return m_files.Open(path, failure);
        }
        failure = NVHDXDisk::MakeFailure(CFailure::cannotBeOpened, path,
                                         "the file cannot be opened", refused->second);
        return nullptr;
    }

private:
    CMemoryOpener m_files;
    std::map<fs::path, int> m_refused;
};

class RefusedParent : public testing::Test {
protected:
    /// A checkpoint whose parent lies in another folder, with a file of its name beside it that is
    /// another disk.
    RefusedParent() {
        CChainModel chain;
        chain.AddDisk(CDiskShape()).Present(0, 1);
        m_wrong = chain.Builder().DataWriteGuid(NGuid::unknown).Build();
        CChainModel right;
        right.AddDisk(CDiskShape()).Present(0, 1);
        m_rightBuilder = right.Builder();
        m_right = right.Image(0);
        right.AddDisk(CDiskShape());
        m_child = right.Builder()
                      .ParentLocator({{u"parent_linkage", CChainModel::LinkageText(0)},
                                      {u"relative_path", u"..\\bases\\0.vhdx"}})
                      .Build();
        m_opener->Files().Add("vm/1.avhdx", m_child);
    }

    std::shared_ptr<const CDisk> Open(bool acceptChanged = false) {
        CDiskOptions options;
        options.opener = m_opener;
        options.acceptChangedParent = acceptChanged;
        m_failure = {};
        return CDisk::Open("vm/1.avhdx", options, m_failure);
    }

    CSparseImage m_wrong;
    CImageBuilder m_rightBuilder;
    CSparseImage m_right;
    CSparseImage m_child;
    std::shared_ptr<CRefusingOpener> m_opener = std::make_shared<CRefusingOpener>();
    CFailure m_failure;
};

TEST_F(RefusedParent, IsFoundWhereItMayBeRead) {
    m_opener->Files().Add("bases/0.vhdx", m_right);
    m_opener->Files().Add("vm/0.vhdx", m_wrong);
    EXPECT_NE(Open(), nullptr) << m_failure.text;
}

TEST_F(RefusedParent, IsNotPassedOverForAnotherFile) {
    m_opener->Refuse("bases/0.vhdx", EACCES);
    m_opener->Files().Add("vm/0.vhdx", m_wrong);
    for (const bool acceptChanged : {false, true}) {
        EXPECT_EQ(Open(acceptChanged), nullptr);
        EXPECT_EQ(m_failure.kind, CFailure::cannotBeOpened);
        EXPECT_EQ(m_failure.error, EACCES);
        EXPECT_EQ(m_failure.file, fs::path("bases/0.vhdx"));
        EXPECT_EQ(m_failure.reason, "this may be the parent: the file cannot be opened");
    }
}

TEST_F(RefusedParent, IsNotMissing) {
    for (const int error : {EACCES, EPERM, EIO, EMFILE, ENFILE, ENOMEM}) {
        m_opener->Refuse("bases/0.vhdx", error);
        EXPECT_EQ(Open(), nullptr);
        EXPECT_EQ(m_failure.kind, CFailure::cannotBeOpened) << error;
        EXPECT_EQ(m_failure.error, error);
    }
}

TEST_F(RefusedParent, IsMissingWhereNothingIsThatCouldBeOpened) {
    for (const int error : {0, ENOENT, ENOTDIR, EISDIR, ELOOP, ENAMETOOLONG}) {
        m_opener->Refuse("bases/0.vhdx", error);
        EXPECT_EQ(Open(), nullptr);
        EXPECT_EQ(m_failure.kind, CFailure::parentMissing) << error;
    }
}

TEST_F(RefusedParent, DoesNotMatterWhereTheRightOneIsFoundElsewhere) {
    m_opener->Refuse("bases/0.vhdx", EACCES);
    m_opener->Files().Add("vm/0.vhdx", m_right);
    EXPECT_NE(Open(), nullptr) << m_failure.text;
}

TEST_F(RefusedParent, ThatOpensAndGivesNoHeaderMayBeItToo) {
    m_opener->Files().Add("vm/0.vhdx", m_wrong);
    m_opener->Files().Add("bases/0.vhdx", m_right)->FailAt(65536, EIO);
    EXPECT_NE(Open(), nullptr) << "the other header is valid: " << m_failure.text;
    CImageBuilder half = m_rightBuilder;
    half.EditHeader(1, [](CHeader& header) { header.checksum = 1; });
    m_opener->Files().Add("bases/0.vhdx", half.Build())->FailAt(65536, EIO);
    EXPECT_EQ(Open(), nullptr);
    EXPECT_EQ(m_failure.kind, CFailure::cannotBeRead);
    EXPECT_EQ(m_failure.error, EIO);
    EXPECT_EQ(m_failure.reason,
              "this may be the parent: a header cannot be read: the memory fails");
}

}  // namespace
}  // namespace NTest
