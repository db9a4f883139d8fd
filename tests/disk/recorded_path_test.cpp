// A disk file may record any path for its parent. Whoever wrote it must not learn what lies there:
// all answers are the same, unless it is the linked parent.

#include <fstream>
#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#if !defined(_WIN32)
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#endif

#include <vhdx_disk/disk.h>
#include <vhdx_disk/folder.h>

#include "tests/disk/check_result.h"
#include "vhdx_disk/source/quoted.h"

namespace NTest {
namespace {

using NVHDXDisk::CDisk;
using NVHDXDisk::CDiskOptions;
using NVHDXDisk::CFailure;
using NVHDXDisk::CFolder;
using NVHDXDisk::Quoted;
using testing::ElementsAre;
using testing::IsEmpty;
namespace fs = std::filesystem;

constexpr auto Linkage = u"{6E4D5F00-0002-4A00-8000-000000000002}";

CImageBuilder OtherDisk() {
    return CImageBuilder().DataWriteGuid(NGuid::unknown);
}

/// A child in the folder "vm" that records two paths into the folder "far".
class RecordedPath : public testing::Test {
protected:
    RecordedPath() {
        fs::create_directory(m_folder / "vm");
        fs::create_directory(m_folder / "far");
        CImageBuilder()
            .Differencing()
            .ParentLocator({{u"parent_linkage", Linkage},
                            {u"relative_path", u"..\\far\\a.vhdx"},
                            {u"absolute_win32_path", Absolute().u16string()}})
            .Build()
            .WriteTo(Child());
    }
    ~RecordedPath() override {
        for (const fs::path& path : {Relative(), Absolute()}) {
            std::error_code none;
            fs::permissions(path, fs::perms::owner_all, none);
        }
    }

    fs::path Child() const { return m_folder / "vm" / "child.avhdx"; }
    fs::path Relative() const { return m_folder / "far" / "a.vhdx"; }
    fs::path Absolute() const { return m_folder / "far" / "b.vhdx"; }

    std::string DiskError(bool recordedPaths, bool acceptChanged = false,
                          CFailure::EKind kind = CFailure::parentMissing) const {
        CDiskOptions options;
        options.recordedPaths = recordedPaths;
        options.acceptChangedParent = acceptChanged;
        options.recordedPathsAdvice = "--other-paths";
        CFailure failure;
        if (CDisk::Open(Child(), options, failure) != nullptr) {
            return "opened";
        }
        EXPECT_EQ(failure.kind, kind);
        return failure.text;
    }

    static std::vector<std::string> Texts(const CCheckResult& result) {
        std::vector<std::string> texts;
        for (const NVHDXDisk::CFinding& finding : result.findings) {
            texts.push_back(finding.kind + ": " + finding.text);
        }
        return texts;
    }

    std::vector<std::string> TreeTexts() const {
        std::vector<std::string> texts;
        CFailure failure;
        const auto folder = CFolder::Open(m_folder / "vm", {}, failure);
        for (const NVHDXDisk::CTreeFinding& finding : folder->Findings()) {
            texts.push_back(finding.text);
        }
        return texts;
    }

    /// The same whatever lies at the paths.
    void ExpectMissing() const {
        const std::string missing =
            "the parent \"..\\far\\a.vhdx\" is missing (no disk with the "
            "child's parent linkage lies at \"..\\far\\a.vhdx\"";
        const std::string also = missing + "; --other-paths also looks at " + Quoted(Absolute());
        const std::string either = missing + " or " + Quoted(Absolute());
        const std::string child = Quoted(Child()) + ": ";
        EXPECT_EQ(DiskError(false), child + also + ")");
        EXPECT_EQ(DiskError(true), child + either + ")");
        EXPECT_EQ(DiskError(true, true), child + either + ")");
        const std::string means = "): what this disk does not hold cannot be read";
        EXPECT_THAT(Texts(CheckFileAt(Child())), ElementsAre("parent-missing: " + missing + means));
        EXPECT_THAT(Texts(CheckFolderAt(m_folder / "vm")),
                    ElementsAre("parent-missing: \"child.avhdx\": " + missing + means));
        EXPECT_THAT(TreeTexts(), ElementsAre("\"child.avhdx\": " + missing + ")"));
    }

    CTemporaryFolder m_folder;
};

struct CThing {
    const char* name;
    void (*put)(const fs::path&);
};

class RecordedPathTo : public RecordedPath, public testing::WithParamInterface<CThing> {};

TEST_P(RecordedPathTo, TellsNothing) {
    GetParam().put(Relative());
    GetParam().put(Absolute());
    ExpectMissing();
}

#if !defined(_WIN32)
void PutSocket(const fs::path& path) {
    const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const std::string text = path.string();
    ASSERT_LT(text.size(), sizeof(address.sun_path));
    std::copy(text.begin(), text.end(), address.sun_path);
    EXPECT_EQ(bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    close(socket);
}
#endif

const CThing things[] = {
    {"Nothing", [](const fs::path&) {}},
    {"AFile", [](const fs::path& path) { std::ofstream(path) << "notes"; }},
    {"ALargeFile",
     [](const fs::path& path) {
         std::ofstream(path) << "notes";
         fs::resize_file(path, 4 * MiB);
     }},
    {"AFolder", [](const fs::path& path) { fs::create_directory(path); }},
    {"AnotherDisk", [](const fs::path& path) { OtherDisk().Build().WriteTo(path); }},
    {"ADamagedDisk",
     [](const fs::path& path) {
         CImageBuilder()
             .EditHeaders([](CHeader& header) { header.checksum = 1; })
             .Build()
             .WriteTo(path);
     }},
    {"AnUnreadableFile",
     [](const fs::path& path) {
         OtherDisk().Build().WriteTo(path);
         fs::permissions(path, fs::perms::none);
     }},
#if !defined(_WIN32)
    {"APipe", [](const fs::path& path) { EXPECT_EQ(mkfifo(path.c_str(), S_IRUSR | S_IWUSR), 0); }},
    {"ASocket", PutSocket},
    {"ADevice", [](const fs::path& path) { fs::create_symlink("/dev/zero", path); }},
    {"ALinkToNothing", [](const fs::path& path) { fs::create_symlink("nowhere", path); }},
    {"AFileWithoutSize", [](const fs::path& path) { fs::create_symlink("/proc/kmsg", path); }},
#endif
};

INSTANTIATE_TEST_SUITE_P(Things, RecordedPathTo, testing::ValuesIn(things),
                         [](const auto& thing) { return thing.param.name; });

TEST_F(RecordedPath, LeadsOutOfTheFolderToTheLinkedParent) {
    CImageBuilder().Build().WriteTo(Relative());
    EXPECT_EQ(DiskError(false), "opened");
    EXPECT_THAT(Texts(CheckFileAt(Child())), IsEmpty());
}

TEST_F(RecordedPath, LeadsToTheLinkedParentBehindAnotherDisk) {
    OtherDisk().Build().WriteTo(Relative());
    CImageBuilder().Build().WriteTo(Absolute());
    EXPECT_EQ(DiskError(true), "opened");
}

TEST_F(RecordedPath, GivesWayToNoChangedFileWhereTheLinkedParentIsThere) {
    CImageBuilder().Build().WriteTo(Relative());
    OtherDisk().Build().WriteTo(m_folder / "vm" / "a.vhdx");
    EXPECT_EQ(DiskError(false), "opened");
}

TEST_F(RecordedPath, IsForgottenWhereAFileOfThatNameLiesBesideTheChild) {
    OtherDisk().Build().WriteTo(m_folder / "vm" / "a.vhdx");
    EXPECT_EQ(DiskError(false, false, CFailure::parentChanged),
              Quoted(Child()) + ": the parent " + Quoted(m_folder / "vm" / "a.vhdx") +
                  " was changed or replaced since the child was made: its "
                  "DataWriteGuid is not the child's parent linkage");
    EXPECT_EQ(DiskError(false, true), "opened");
}

TEST_F(RecordedPath, OfAFoundParentTellsNothingEither) {
    const auto base = [this](const CImageBuilder& disk) {
        disk.Build().WriteTo(m_folder / "far" / "base.vhdx");
    };
    CImageBuilder()
        .Differencing()
        .ParentLocator({{u"parent_linkage", Linkage}, {u"relative_path", u".\\base.vhdx"}})
        .Build()
        .WriteTo(Relative());
    const std::string missing = Quoted(Relative()) +
                                ": the parent \".\\base.vhdx\" is missing (no disk with the "
                                "child's parent linkage lies at \".\\base.vhdx\")";
    EXPECT_EQ(DiskError(false), missing);
    base(OtherDisk());
    EXPECT_EQ(DiskError(false, true), missing);
    base(CImageBuilder());
    EXPECT_EQ(DiskError(false), "opened");
}

TEST_F(RecordedPath, CountsForNothingWithoutLinkage) {
    CImageBuilder()
        .Differencing()
        .ParentLocator({{u"relative_path", u"..\\far\\a.vhdx"}})
        .Build()
        .WriteTo(Child());
    const std::string missing = DiskError(false, true);
    CImageBuilder().Build().WriteTo(Relative());
    EXPECT_EQ(DiskError(false, true), missing);
    EXPECT_THAT(missing, testing::HasSubstr("is missing"));
}

}  // namespace
}  // namespace NTest
