// The mark beside an image that is updated in its place, and what is refused while it stands there.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "tests/support/chain_model.h"
#include "tests/support/file_content.h"
#include "tests/support/random_chain.h"
#include "tests/support/temporary_folder.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

namespace fs = std::filesystem;

/// A base, and a checkpoint that is larger and changes some of it.
CChainModel TwoFiles() {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1).Present(2, 2).Present(3, 3);
    chain.AddDisk(CDiskShape().Size(12 * MiB)).Partial(1, 4, {0, 9, 10, 2047}).Present(4, 5);
    chain.Present(11, 6);
    return chain;
}

/// Blocks 1 and 4, which the checkpoint changes. What it grows by comes on top.
const char* const changes = "1048576,1048576\n4194304,524288\n4718592,524288\n";

class UpdateMark : public testing::Test {
protected:
    UpdateMark() {
        m_chain.WriteTo(m_folder.Path());
        EXPECT_EQ(RunVhdxIn(m_folder.Path(), {"export", "0.vhdx", "-o", "old.raw"}).status, 0);
        std::ofstream(m_folder / "changes") << changes;
    }

    CChildResult Update(const std::string& disk = "1.avhdx", const std::string& ranges = "changes",
                        const std::string& raw = "old.raw") const {
        return RunVhdxIn(m_folder.Path(),
                         {"export", disk, "--update", raw, "--ranges", ranges, "--no-sync"});
    }

    /// Ends the update by this signal where it writes to a pipe that is full and that nobody reads.
    void EndInItsMidst(const std::string& signal, const std::string& raw = "old.raw") const {
        const std::string script =
            "set -m; cd \"$1\"; mkfifo hold; exec 3<>hold; "
            "dd if=/dev/zero of=hold bs=4096 count=16 2>/dev/null; "
            "\"$0\" export 1.avhdx --update \"$2\" --ranges changes --progress always 2>hold & "
            "child=$!; for i in $(seq 500); do find . | grep -q updating && break; sleep 0.01; "
            "done; "
            "sleep 0.1; kill -" +
            signal + " $child; wait $child; rm hold";
        (void)RunChild({"bash", "-c", script, VHDX_PARSER_VHDX_COMMAND, m_folder.Narrow(), raw});
    }

    void ExpectRefused(const CChildResult& result, const std::string& why) const {
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.errors, "vhdx: old.raw: an update of this image was interrupted, and " +
                                     why +
                                     ": run the same update again, which old.raw.updating tells, "
                                     "or export the disk anew\n");
    }

    void ExpectUpToDate() const {
        EXPECT_TRUE(FileBytes(m_folder / "old.raw") == m_chain.Content());
        EXPECT_FALSE(fs::exists(m_folder / "old.raw.updating"));
    }

    const CChainModel m_chain = TwoFiles();
    CTemporaryFolder m_folder;
};

TEST_F(UpdateMark, IsGoneWhenTheUpdateIsComplete) {
    EXPECT_EQ(Update().errors, "");
    ExpectUpToDate();
}

TEST_F(UpdateMark, SaysWhatItIsOf) {
    EndInItsMidst("KILL");
    const std::string text = FileText(m_folder / "old.raw.updating");
    EXPECT_NE(text.find("Run the same update again, or export the disk anew."), text.npos) << text;
    EXPECT_NE(text.find("\ndisk file: 1.avhdx\n"), text.npos) << text;
    const std::string end =
        "\nimage size: 8388608\nranges: 3\n"
        "1048576,1048576\n4194304,1048576\n8388608,4194304\n";
    EXPECT_EQ(text.substr(text.size() - std::min(text.size(), end.size())), end);
}

TEST_F(UpdateMark, LetsTheSameUpdateAndALargerOneGoOn) {
    for (const char* const ranges : {changes, "0,5M\n", "4M,1M\n", ""}) {
        ASSERT_EQ(
            RunVhdxIn(m_folder.Path(), {"export", "0.vhdx", "-o", "old.raw", "--force"}).status, 0);
        EndInItsMidst("KILL");
        ASSERT_TRUE(fs::exists(m_folder / "old.raw.updating"));
        std::ofstream(m_folder / "again") << ranges;
        const CChildResult result = Update("1.avhdx", "again");
        if (std::string(ranges) == changes || std::string(ranges) == "0,5M\n") {
            EXPECT_EQ(result.errors, "");
            ExpectUpToDate();
        } else {
            ExpectRefused(result, "these ranges leave out some of its 1048576 bytes from 1048576");
        }
    }
}

TEST_F(UpdateMark, RefusesAnotherDiskAndAnotherStateOfIt) {
    EndInItsMidst("KILL");
    const CBytes before = FileBytes(m_folder / "old.raw");
    fs::copy_file(m_folder / "1.avhdx", m_folder / "copy.avhdx");
    ExpectRefused(Update("copy.avhdx"), "it was one by 1.avhdx, this is one by copy.avhdx");
    CChainModel chain = m_chain;
    chain.Builder().EditHeaders([](CHeader& header) { header.dataWriteGuid[0] ^= 1; });
    chain.WriteTo(m_folder.Path());
    ExpectRefused(Update(), "1.avhdx has changed since");
    EXPECT_TRUE(FileBytes(m_folder / "old.raw") == before);
    m_chain.WriteTo(m_folder.Path());
    EXPECT_EQ(Update().errors, "");
    ExpectUpToDate();
}

/// The image has grown by some bytes that a power cut may have taken: all of them are copied again.
TEST_F(UpdateMark, CopiesAgainWhatTheImageHasGrownBy) {
    EndInItsMidst("KILL");
    fs::resize_file(m_folder / "old.raw", 12 * MiB);
    EXPECT_EQ(Update().errors, "");
    ExpectUpToDate();
}

TEST_F(UpdateMark, IsRemovedByANewExport) {
    EndInItsMidst("KILL");
    ASSERT_TRUE(fs::exists(m_folder / "old.raw.updating"));
    EXPECT_EQ(RunVhdxIn(m_folder.Path(), {"export", "1.avhdx", "-o", "old.raw", "--force"}).errors,
              "");
    ExpectUpToDate();
}

TEST_F(UpdateMark, ThatCannotBeReadIsOfAnything) {
    EndInItsMidst("KILL");
    const fs::path mark = m_folder / "old.raw.updating";
    const std::string text = FileText(mark);
    const auto expectReason = [this](const std::string& why) {
        EXPECT_EQ(Update().errors,
                  "vhdx: old.raw: an update of this image may have been interrupted, and "
                  "old.raw.updating does not tell which (" +
                      why + "): export the disk anew and remove that file\n");
    };
    const auto expect = [&](const std::string& content, const std::string& why) {
        std::ofstream(mark) << content;
        expectReason(why);
    };
    expect("", "this is no mark of an update");
    expect(text.substr(0, text.size() - 16), "ranges are missing");
    expect(text.substr(0, text.find("state:")), "there is no state");
    fs::remove(mark);
    fs::create_directory(mark);
    expectReason("Is a directory");
}

/// Of whatever else has that name nothing is known.
TEST_F(UpdateMark, IsRemovedWhenItIsOneOnly) {
    std::ofstream(m_folder / "new.raw.updating") << "somebody else's";
    EXPECT_EQ(RunVhdxIn(m_folder.Path(), {"export", "1.avhdx", "-o", "new.raw"}).errors, "");
    EXPECT_EQ(FileText(m_folder / "new.raw.updating"), "somebody else's");
}

TEST_F(UpdateMark, OfALinkIsBesideTheImage) {
    fs::create_directory(m_folder / "images");
    fs::rename(m_folder / "old.raw", m_folder / "images/disk.raw");
    fs::create_symlink("images/disk.raw", m_folder / "old.raw");
    EndInItsMidst("KILL");
    EXPECT_TRUE(fs::exists(m_folder / "images/disk.raw.updating"));
    std::ofstream(m_folder / "none").flush();
    EXPECT_EQ(Update("1.avhdx", "none", "images/disk.raw").status, 1);
    EXPECT_EQ(Update().errors, "");
    ExpectUpToDate();
    EXPECT_FALSE(fs::exists(m_folder / "images/disk.raw.updating"));
}

TEST_F(UpdateMark, OfALongNameHasAShorterOne) {
    const std::string name(255, 'r');
    fs::rename(m_folder / "old.raw", m_folder / name);
    EXPECT_EQ(Update("1.avhdx", "changes", name).errors, "");
    EXPECT_TRUE(FileBytes(m_folder / name) == m_chain.Content());
    EXPECT_EQ(NamesIn(m_folder.Path()),
              (std::vector<std::string>{"0.vhdx", "1.avhdx", "changes", name}));
}

/// Killed at any moment: before it begins, in its midst, at its end.
class KilledUpdate : public UpdateMark, public testing::WithParamInterface<unsigned> {};

TEST_P(KilledUpdate, IsEitherCompleteOrNotBegunOrMarked) {
    const CBytes older = FileBytes(m_folder / "old.raw");
    const std::string script =
        "cd \"$1\"; \"$0\" export 1.avhdx --update old.raw --ranges changes --no-sync & child=$!; "
        "sleep 0.00$2; kill -KILL $child; wait $child";
    const std::string delay = std::to_string(20 + CRandomChain(GetParam()).Below(70));
    (void)RunChild({"bash", "-c", script, VHDX_PARSER_VHDX_COMMAND, m_folder.Narrow(), delay});
    if (fs::exists(m_folder / "old.raw.updating")) {
        const CBytes before = FileBytes(m_folder / "old.raw");
        std::ofstream(m_folder / "other") << "4M,1M\n";
        ExpectRefused(Update("1.avhdx", "other"),
                      "these ranges leave out some of its 1048576 bytes from 1048576");
        EXPECT_TRUE(FileBytes(m_folder / "old.raw") == before);
    } else {
        const CBytes now = FileBytes(m_folder / "old.raw");
        EXPECT_TRUE(now == older || now == m_chain.Content());
    }
    EXPECT_EQ(Update().errors, "");
    ExpectUpToDate();
}

INSTANTIATE_TEST_SUITE_P(Seeds, KilledUpdate, testing::Range(0u, 30u));

}  // namespace
}  // namespace NTest
