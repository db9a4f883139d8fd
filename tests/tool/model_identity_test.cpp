// A saved model is taken for the disk that it was made of, as long as that has not changed.

#include "tools/vhdx/model_identity.h"

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/log_builder.h"
#include "tests/tool/saved_model.h"
#include "tests/tool/test_disks.h"

namespace NTest {
namespace {

namespace fs = std::filesystem;

const std::string saveAgain = ": save the model again with 'vhdx save'";

using ModelIdentity = CSavedModelTest;

TEST_F(ModelIdentity, OfTheSameFileIsTaken) {
    Save(DynamicDisk());
    ExpectTaken();
    PutInPlace(DynamicDisk());
    ExpectTaken();
}

TEST_F(ModelIdentity, TellsAnotherDisk) {
    Save(DynamicDisk());
    PutInPlace(DynamicDisk().DiskId(Guid("{01234567-0000-4000-8000-000000000000}")));
    const CChildResult result = Run({"map", "disk.vhdx", "--model", "model.xml"});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.errors.find("the model is not of this disk: its page 83 identifier is {"),
              std::string::npos)
        << result.errors;
    EXPECT_NE(result.errors.find(", the disk's is {01234567-0000-4000-8000-000000000000}"),
              std::string::npos)
        << result.errors;
}

TEST_F(ModelIdentity, TellsADiskThatWasWrittenTo) {
    Save(DynamicDisk());
    PutInPlace(DynamicDisk().DataWriteGuid(Guid("{01234567-0000-4000-8000-000000000000}")));
    ExpectRefusal(
        "the disk changed since the model was saved: its DataWriteGuid was "
        "{6E4D5F00-0002-4A00-8000-000000000002} and is {01234567-0000-4000-8000-000000000000}; "
        "save the model again");
    PutInPlace(DynamicDisk().EditHeaders([](CHeader& header) {
        header.fileWriteGuid = Guid("{01234567-0000-4000-8000-000000000000}");
    }));
    ExpectRefusal(
        "the disk changed since the model was saved: its FileWriteGuid was "
        "{6E4D5F00-0001-4A00-8000-000000000001} and is {01234567-0000-4000-8000-000000000000}; "
        "save the model again");
    PutInPlace(DynamicDisk().EditHeader(0, [](CHeader& header) { header.sequenceNumber = 77; }));
    ExpectRefusal(
        "the disk changed since the model was saved: its header's sequence number was 2 and is 77; "
        "save the model again");
}

TEST_F(ModelIdentity, TellsAFileOfAnotherLengthOrTime) {
    Save(DynamicDisk());
    const fs::path disk = m_folder / "disk.vhdx";
    const auto time = fs::last_write_time(disk);
    const std::uint64_t length = fs::file_size(disk);
    fs::resize_file(disk, length + MiB);
    fs::last_write_time(disk, time);
    ExpectRefusal("the disk changed since the model was saved: its file length was " +
                  std::to_string(length) + " and is " + std::to_string(length + MiB) +
                  "; save the model again");
    fs::resize_file(disk, length);
    fs::last_write_time(disk, time + std::chrono::seconds(1));
    const CChildResult result = Run({"map", "disk.vhdx", "--model", "model.xml"});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.errors.find("its time of change was "), std::string::npos) << result.errors;
    fs::last_write_time(disk, time);
    ExpectTaken();
}

TEST_F(ModelIdentity, IsComparedByEveryCommandThatTakesAModel) {
    Save(DynamicDisk());
    Write("ranges.txt", "0,512\n");
    PutInPlace(DynamicDisk().DataWriteGuid(NGuid::unknown));
    const std::vector<std::vector<std::string>> commands = {
        {"map", "disk.vhdx"},
        {"locate", "disk.vhdx", "--offset", "0", "--length", "1"},
        {"changes", "disk.vhdx", "--ranges", "ranges.txt"}};
    for (std::vector<std::string> arguments : commands) {
        arguments.insert(arguments.end(), {"--model", "model.xml"});
        EXPECT_EQ(Run(arguments).status, 1) << arguments[0];
    }
}

/// The log brings an entry of the table.
CImageBuilder DirtyDisk() {
    CImageBuilder disk;
    disk.VirtualSize(4 * MiB).AllocateData(1, 7);
    CBytes table(4096);
    PutBytes(table, 0, CBytes(16));
    CLogEntryBuilder entry(3);
    entry.Page(3 * MiB, table).FileOffsets(8 * MiB, 8 * MiB);
    CLogImage log;
    log.Put(0, entry.Bytes());
    return disk.BatOffset(3 * MiB)
        .DataStart(5)
        .FileSize(8 * MiB)
        .LogAt(logGuid, MiB, 1048576)
        .Bytes(MiB, log.Bytes());
}

TEST_F(ModelIdentity, TellsAReplayedLogFromOneThatWasLeftOut) {
    Save(DirtyDisk());
    const std::vector<std::string> replayed = {"map", "disk.vhdx", "--model", "model.xml"};
    std::vector<std::string> standing = replayed;
    standing.emplace_back("--no-replay");
    EXPECT_EQ(Run(replayed).output, Run({"map", "disk.vhdx"}).output);
    EXPECT_EQ(Run(standing).errors,
              "vhdx: model.xml: the model was saved with the pending log replayed, and now it is "
              "left out: save it again, with --no-replay where it is to be used with it\n");
    ASSERT_EQ(Run({"save", "disk.vhdx", "model.xml", "--no-replay"}).status, 0);
    EXPECT_EQ(Run(standing).output, Run({"map", "disk.vhdx", "--no-replay"}).output);
    EXPECT_EQ(Run(replayed).status, 1);
    EXPECT_NE(Run({"map", "disk.vhdx"}).output, Run({"map", "disk.vhdx", "--no-replay"}).output);
}

TEST_F(ModelIdentity, OfADiskWithoutPendingLogGoesWithAndWithoutReplay) {
    Save(DynamicDisk());
    EXPECT_EQ(Run({"map", "disk.vhdx", "--model", "model.xml", "--no-replay"}).status, 0);
}

TEST_F(ModelIdentity, IsAskedFor) {
    Save(DynamicDisk());
    fs::remove(m_folder / "model.xml.identity");
    ExpectRefusal("its identity file model.xml.identity is missing" + saveAgain);
    fs::create_directory(m_folder / "model.xml.identity");
    ExpectRefusal("its identity file model.xml.identity cannot be read" + saveAgain);
}

TEST_F(ModelIdentity, IsTakenAsItWasWrittenOnly) {
    Save(DynamicDisk());
    const std::string text = Content("model.xml.identity");
    ASSERT_TRUE(text.starts_with("vhdx model identity 1\nmodel length: ")) << text;
    std::vector<std::string> others = {"", "\n", text + "more: 1\n", text + std::string(9999, 'x'),
                                       "vhdx model identity 2" + text.substr(21)};
    for (std::size_t length = 0; length < text.size(); length += 13) {
        others.push_back(text.substr(0, length));
    }
    for (const std::string& other : others) {
        Write("model.xml.identity", other);
        ExpectRefusal("its identity file model.xml.identity cannot be read" + saveAgain);
    }
    Write("model.xml.identity", text);
    ExpectTaken();
}

TEST_F(ModelIdentity, IsOfItsModelOnly) {
    Save(DynamicDisk());
    Save(DynamicDisk().PayloadBlock(0, 2, 0), "other.xml");
    Save(DynamicDisk());
    fs::rename(m_folder / "other.xml", m_folder / "model.xml");
    ExpectRefusal("its identity file model.xml.identity is of another model" + saveAgain);
}

TEST_F(ModelIdentity, ThatCannotBeWrittenKeepsTheModelFromBeingSaved) {
    Save(DynamicDisk());
    const std::string older = Content("model.xml");
    fs::remove(m_folder / "model.xml.identity");
    fs::create_directory(m_folder / "model.xml.identity");
    DynamicDisk().PayloadBlock(0, 2, 0).Build().WriteTo(m_folder / "disk.vhdx");
    const CChildResult result = Run({"save", "disk.vhdx", "model.xml"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "vhdx: model.xml.identity: this is a folder\n");
    EXPECT_EQ(Content("model.xml"), older);
}

TEST_F(ModelIdentity, IsNotWrittenOverTheDisk) {
    DynamicDisk().Build().WriteTo(m_folder / "model.xml.identity");
    const CChildResult result = Run({"save", "model.xml.identity", "model.xml"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "vhdx: model.xml.identity: this is the disk file that is read\n");
    EXPECT_FALSE(fs::exists(m_folder / "model.xml"));
}

#if !defined(_WIN32)
TEST_F(ModelIdentity, OfALinkedModelStandsBesideTheModel) {
    fs::create_directory(m_folder / "models");
    Write("models/model.xml", "older");
    fs::create_symlink("models/model.xml", m_folder / "model.xml");
    Save(DynamicDisk());
    EXPECT_TRUE(fs::exists(m_folder / "models/model.xml.identity"));
    ExpectTaken();
    EXPECT_EQ(Run({"map", "disk.vhdx", "--model", "models/model.xml"}).status, 0);
}
#endif

}  // namespace
}  // namespace NTest
