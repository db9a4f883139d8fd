#include <algorithm>
#include <array>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

#include <vhdx_disk/replayed_stream.h>

#include "tests/hostile/hostile_disk.h"
#include "tests/support/sanitizers.h"
#include "tests/tool/vhdx_command.h"
#include "tools/vhdx/command_failure.h"
#include "tools/vhdx/program.h"

// Every command on every hostile disk: it ends, with one of its statuses, and says in one line why
// it did not do what was asked. A disk that cannot be opened is refused by all of them alike.

namespace NTest {
namespace {

using CArguments = std::vector<std::string>;

/// The files that a command may write.
constexpr std::array<const char*, 4> outputs = {"picture.svg", "bitmap.bin", "model.xml",
                                                "disk.raw"};

/// Who takes one of these needs no blocks of the disk, or has more to say than that of one disk.
constexpr std::array<const char*, 4> needsNoBlocks = {"info", "chain", "diff", "check"};

/// Each command once; ranges and output files are small, whatever size the disk claims.
std::vector<CArguments> Commands() {
    return {
        {"map", "hostile.vhdx"},
        {"info", "hostile.vhdx"},
        {"info", "hostile.vhdx", "--json"},
        {"info", "hostile.vhdx", "--no-blocks"},
        {"map", "hostile.vhdx", "--json"},
        {"map", "hostile.vhdx", "--merged"},
        {"map", "hostile.vhdx", "--sectors"},
        {"map", "hostile.vhdx", "--svg", "picture.svg"},
        {"read", "hostile.vhdx", "--offset", "0", "--length", "4K"},
        {"read", "hostile.vhdx", "--offset", "0", "--length", "4K", "--file-only"},
        {"locate", "hostile.vhdx", "--offset", "0", "--length", "1"},
        {"locate", "hostile.vhdx", "--offset", "0", "--length", "16M", "--json"},
        {"changes", "hostile.vhdx", "--ranges", "ranges.txt"},
        {"changes", "hostile.vhdx", "--ranges", "ranges.txt", "--json"},
        {"bitmap", "hostile.vhdx", "--chunk", "0", "--position"},
        {"bitmap", "hostile.vhdx", "--chunk", "0", "-o", "bitmap.bin"},
        {"bitmap", "hostile.vhdx", "--chunk", "4294967295", "--position"},
        {"save", "hostile.vhdx", "model.xml"},
        {"chain", "."},
        {"chain", ".", "--json"},
        {"diff", "."},
        {"diff", ".", "--json", "--offset", "0", "--length", "4K"},
        {"diff", ".", "--library"},
        {"diff", ".", "--library", "--offset", "0", "--length", "4K"},
        {"export", "hostile.vhdx", "-o", "disk.raw"},
        {"check", "hostile.vhdx"},
        {"check", "hostile.vhdx", "--json"},
        {"check", "."},
    };
}

bool TakesNoReplay(const CArguments& arguments) {
    static const CArguments commands = {"info",   "map",  "read",   "locate", "changes",
                                        "bitmap", "save", "export", "check"};
    return std::find(commands.begin(), commands.end(), arguments[0]) != commands.end() &&
           arguments[1] != ".";
}

std::vector<CArguments> AllCommands() {
    std::vector<CArguments> all = Commands();
    // A copy of an instrumented process takes many times as long to make and to end. What reads the
    // file as it stands is the same code without the log's overlay, so there it is left to the
    // other builds.
    if (hasShadowMemory) {
        return all;
    }
    for (CArguments arguments : Commands()) {
        if (TakesNoReplay(arguments)) {
            arguments.push_back("--no-replay");
            all.push_back(arguments);
        }
    }
    return all;
}

std::string Text(const CArguments& arguments) {
    std::string text;
    for (const std::string& argument : arguments) {
        text.append(text.empty() ? "" : " ").append(argument);
    }
    return text;
}

bool IsOneLine(const std::string& text) {
    return text.find('\n') == text.size() - 1 && text.starts_with("vhdx: ") && text.size() > 7;
}

/// Whether one of the files was written; removes it.
bool TookOutput(const CTemporaryFolder& folder) {
    return std::count_if(outputs.begin(), outputs.end(), [&](const char* name) {
               return std::filesystem::remove(folder / name);
           }) != 0;
}

/// The contract of the statuses; `check` says with 1 that it found something, on standard output.
/// Who fails has no output, but for `chain`, which shows the tree also of disks that do not link.
void ExpectContract(const CArguments& arguments, const CChildResult& result,
                    const CTemporaryFolder& folder) {
    const int failed = arguments[0] == "check" ? 2 : 1;
    const bool hasOutput = TookOutput(folder) || !result.output.empty();
    EXPECT_FALSE(result.timedOut);
    EXPECT_TRUE(result.status >= 0 && result.status <= failed) << result.status;
    EXPECT_TRUE(hasOutput == (result.status != failed) || arguments[0] == "chain");
    if (result.status == failed) {
        EXPECT_TRUE(IsOneLine(result.errors)) << result.errors;
    } else {
        EXPECT_EQ(result.errors, "");
    }
}

bool IsWithoutReplay(const CArguments& arguments) {
    return arguments.back() == "--no-replay";
}

/// Why nobody can open the disk; empty when it can be opened.
std::string OpeningRefusal(const std::filesystem::path& path, bool withoutReplay) {
    NVHDXDisk::CFailure failure;
    NVHDXDisk::CReplayedStream stream(
        path, withoutReplay ? NVHDXDisk::ELog::asItStands : NVHDXDisk::ELog::replay, failure);
    NVHDX::CAccessor accessor;
    const bool isOpen = stream && NVHDXDisk::OpenContainer(accessor, stream, failure);
    return isOpen ? "" : NTool::ReasonOf(failure);
}

/// A string of JSON, where nothing but quotes and backslashes needs escaping.
std::string Escaped(const std::string& text) {
    std::ostringstream escaped;
    escaped << std::quoted(text);
    return escaped.str();
}

/// A disk that was refused at its opening: everybody says so in the same words. `check` reads on as
/// far as it can, and has a finding; `chain` shows it among the disks of the folder.
void ExpectRefused(const CArguments& arguments, const CChildResult& result,
                   const std::string& reason) {
    if (arguments[0] == "check") {
        EXPECT_NE(result.status, 0);
    } else if (arguments[0] == "chain") {
        const bool isJson = arguments.back() == "--json";
        const std::string shown =
            isJson ? "\"problem\": " + Escaped(reason) : "\"hostile.vhdx\": " + reason;
        EXPECT_NE(result.output.find(shown), std::string::npos) << result.output;
    } else {
        EXPECT_EQ(result.status, 1);
        EXPECT_NE(result.errors.find("hostile.vhdx: " + reason), std::string::npos)
            << result.errors;
    }
}

/// The commands that cannot do what they are asked when the blocks of the disk cannot be loaded.
bool NeedsBlocks(const CArguments& arguments) {
    return std::find_if(std::begin(needsNoBlocks), std::end(needsNoBlocks), [&](const char* word) {
               return std::find(arguments.begin(), arguments.end(), word) != arguments.end();
           }) == std::end(needsNoBlocks);
}

/// The one that needs the blocks and nothing else.
bool IsPlainMap(const CArguments& arguments) {
    return arguments[0] == "map" && (arguments.size() == 2 || arguments[2] == "--no-replay");
}

/// What the commands said of one disk, read one way. `map` comes first.
class CVerdicts {
public:
    CVerdicts(const std::filesystem::path& path, bool withoutReplay)
        : m_opening(OpeningRefusal(path, withoutReplay)) {}

    void Expect(const CArguments& arguments, const CChildResult& result) {
        if (!m_opening.empty()) {
            ExpectRefused(arguments, result, m_opening);
        } else if (IsPlainMap(arguments)) {
            m_blocks = result.errors;
        } else if (NeedsBlocks(arguments) && !m_blocks.empty()) {
            EXPECT_EQ(result.errors, m_blocks);
        }
    }

private:
    std::string m_opening;
    std::string m_blocks;
};

CChildOptions Limits(const CTemporaryFolder& folder) {
    CChildOptions options;
    options.folder = folder.Path();
    options.timeout = std::chrono::seconds(60);
    options.largestFile = 64 * MiB;
    return options;
}

/// The whole program but for its start, which would take most of the time of these thousands.
CChildResult Call(const CArguments& arguments, const CTemporaryFolder& folder) {
    return RunForked([&arguments] { return NTool::Run(arguments); }, Limits(folder));
}

void Write(const CHostileDisk& disk, const CTemporaryFolder& folder) {
    disk.builder.Build().WriteTo(folder / "hostile.vhdx");
    std::ofstream(folder / "ranges.txt") << "0,4096\n";
}

class HostileCommand : public testing::TestWithParam<CHostileDisk> {};

TEST_P(HostileCommand, EndsWithAStatusAndOneLineThatIsTheSameForAll) {
    const CTemporaryFolder folder;
    Write(GetParam(), folder);
    CVerdicts replayed(folder / "hostile.vhdx", false);
    CVerdicts standing(folder / "hostile.vhdx", true);
    for (const CArguments& arguments : AllCommands()) {
        SCOPED_TRACE(Text(arguments));
        const CChildResult result = Call(arguments, folder);
        ExpectContract(arguments, result, folder);
        (IsWithoutReplay(arguments) ? standing : replayed).Expect(arguments, result);
    }
}

/// What the started program adds to it: the reading of its arguments and its end.
class HostileProgram : public testing::TestWithParam<CHostileDisk> {};

TEST_P(HostileProgram, SaysWhatItsFunctionSays) {
    const CTemporaryFolder folder;
    Write(GetParam(), folder);
    for (const CArguments& arguments : Commands()) {
        SCOPED_TRACE(Text(arguments));
        const CChildResult started = RunVhdx(arguments, Limits(folder));
        ExpectContract(arguments, started, folder);
        const CChildResult called = Call(arguments, folder);
        (void)TookOutput(folder);
        EXPECT_EQ(started.status, called.status);
        EXPECT_TRUE(started.output == called.output);
        EXPECT_EQ(started.errors, called.errors);
    }
}

/// Neither header has a right checksum, so that nobody knows whether there is a log to replay.
std::vector<CHostileDisk> HostileHeaders() {
    return {{"NoHeaderHasARightChecksum",
             CImageBuilder().EditHeaders([](CHeader& header) { header.checksum = 1; }), ""}};
}

INSTANTIATE_TEST_SUITE_P(Headers, HostileCommand, testing::ValuesIn(HostileHeaders()), NameOfDisk);
INSTANTIATE_TEST_SUITE_P(Container, HostileCommand, testing::ValuesIn(HostileContainers()),
                         NameOfDisk);
INSTANTIATE_TEST_SUITE_P(Opening, HostileCommand, testing::ValuesIn(HostileOpenings()), NameOfDisk);
INSTANTIATE_TEST_SUITE_P(Metadata, HostileCommand, testing::ValuesIn(HostileMetadataRegions()),
                         NameOfDisk);
INSTANTIATE_TEST_SUITE_P(BlockTable, HostileCommand, testing::ValuesIn(HostileBlockTables()),
                         NameOfDisk);

/// One disk of each kind.
std::vector<CHostileDisk> SomeOfAll() {
    return {HostileHeaders().front(), HostileContainers().front(), HostileOpenings().front(),
            HostileMetadataRegions().front(), HostileBlockTables().front()};
}

INSTANTIATE_TEST_SUITE_P(SomeOfAll, HostileProgram, testing::ValuesIn(SomeOfAll()), NameOfDisk);

}  // namespace
}  // namespace NTest
