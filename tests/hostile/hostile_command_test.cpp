#include <algorithm>
#include <array>
#include <fstream>
#include <string>
#include <vector>

#include "tests/hostile/hostile_disk.h"
#include "tests/tool/vhdx_command.h"

// Every command on every hostile disk: it ends, with one of its statuses, and says in one line why
// it did not do what was asked.

namespace NTest {
namespace {

using CArguments = std::vector<std::string>;

/// The files that a command may write.
constexpr std::array<const char*, 4> outputs = {"picture.svg", "bitmap.bin", "model.xml",
                                                "disk.raw"};

/// Each command once; ranges and output files are small, whatever size the disk claims.
std::vector<CArguments> Commands() {
    return {
        {"info", "hostile.vhdx"},
        {"info", "hostile.vhdx", "--json"},
        {"info", "hostile.vhdx", "--no-blocks"},
        {"map", "hostile.vhdx"},
        {"map", "hostile.vhdx", "--json"},
        {"map", "hostile.vhdx", "--merged"},
        {"map", "hostile.vhdx", "--sectors"},
        {"map", "hostile.vhdx", "--svg", "picture.svg"},
        {"read", "hostile.vhdx", "--offset", "0", "--length", "4K"},
        {"read", "hostile.vhdx", "--offset", "0", "--length", "4K", "--merged"},
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
        {"export", "hostile.vhdx", "-o", "disk.raw"},
        {"check", "hostile.vhdx"},
        {"check", "hostile.vhdx", "--json"},
        {"check", "."},
    };
}

bool TakesNoReplay(const CArguments& arguments) {
    static const CArguments commands = {"info",    "map",    "read", "locate",
                                        "changes", "bitmap", "save"};
    return std::find(commands.begin(), commands.end(), arguments[0]) != commands.end() &&
           std::find(arguments.begin(), arguments.end(), "--merged") == arguments.end();
}

/// An instrumented command takes many times as long to start. What reads the file as it stands is
/// the same code without the log's overlay, so there it is left to the other builds.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool withoutReplayToo = false;
#else
constexpr bool withoutReplayToo = true;
#endif

std::vector<CArguments> AllCommands() {
    std::vector<CArguments> all = Commands();
    if (!withoutReplayToo) {
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

class HostileCommand : public testing::TestWithParam<CHostileDisk> {};

TEST_P(HostileCommand, EndsWithAStatusAndOneLine) {
    const CTemporaryFolder folder;
    GetParam().builder.Build().WriteTo(folder / "hostile.vhdx");
    std::ofstream(folder / "ranges.txt") << "0,4096\n";
    CChildOptions options;
    options.folder = folder.Path();
    options.timeout = std::chrono::seconds(60);
    options.largestFile = 64 * MiB;
    for (const CArguments& arguments : AllCommands()) {
        SCOPED_TRACE(Text(arguments));
        ExpectContract(arguments, RunVhdx(arguments, options), folder);
    }
}

INSTANTIATE_TEST_SUITE_P(Container, HostileCommand, testing::ValuesIn(HostileContainers()),
                         NameOfDisk);
INSTANTIATE_TEST_SUITE_P(Opening, HostileCommand, testing::ValuesIn(HostileOpenings()), NameOfDisk);
INSTANTIATE_TEST_SUITE_P(Metadata, HostileCommand, testing::ValuesIn(HostileMetadataRegions()),
                         NameOfDisk);
INSTANTIATE_TEST_SUITE_P(BlockTable, HostileCommand, testing::ValuesIn(HostileBlockTables()),
                         NameOfDisk);

}  // namespace
}  // namespace NTest
