// Every command, with one system call after the other failing: either the answer is the one that
// comes without a fault, or the command says that it failed, and leaves nothing half done.
//
// Of the calls of each command every STEP-th fails here, with a first one that is drawn from the
// name of the case; the whole is for `scripts/hurt`, which sets the step to 1.

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <sstream>
#include <system_error>

#include "tests/support/chain_model.h"
#include "tests/support/child_process.h"
#include "tests/support/log_builder.h"
#include "tests/support/temporary_folder.h"

namespace NTest {
namespace {

namespace fs = std::filesystem;

struct CCommand {
    const char* name;
    std::vector<std::string> arguments;
};

void PrintTo(const CCommand& command, std::ostream* out) {
    *out << command.name;
}

/// In place of an error: the call does half of what it should.
constexpr int ByHalf = 0;

std::string TextOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

using CFiles = std::map<std::string, std::string>;

/// What the files of a folder hold, by their names.
CFiles FilesIn(const fs::path& folder) {
    CFiles files;
    for (const auto& entry : fs::directory_iterator(folder)) {
        files[entry.path().filename().string()] = TextOf(entry.path());
    }
    return files;
}

struct CRun {
    CChildResult result;
    CFiles files;  ///< in the folder for results
    std::string report;
};

/// How many calls lie between those that fail.
long Step() {
    const char* const step = std::getenv("VHDX_PARSER_HURT_STEP");
    return step == nullptr ? 29 : std::strtol(step, nullptr, 10);
}

class FailingCall : public testing::TestWithParam<CCommand> {
protected:
    /// A disk, one with a pending log, and a chain of two, of which each file is small.
    static const fs::path& Disks() {
        static const auto* const folder = [] {
            auto* const made = new CTemporaryFolder;
            MakeDisks(made->Path());
            return made;
        }();
        return folder->Path();
    }

    static void MakeDisks(const fs::path& folder) {
        CDiskShape shape;
        CChainModel clean;
        clean.AddDisk(shape).Present(0, 1).Present(2, 2);
        clean.Image(0).WriteTo(folder / "clean.vhdx");
        CChainModel dirty;
        dirty.AddDisk(shape).Present(0, 3).Present(1, 4);
        dirty.Builder()
            .LogAt(logGuid, MiB, 1048576)
            .Bytes(MiB, CLogEntryBuilder(1)
                            .Page(dirty.Position(0, MiB) + 4096, Pattern(9, 0, 4096))
                            .Bytes());
        dirty.Image(0).WriteTo(folder / "dirty.vhdx");
        CChainModel chain;
        chain.AddDisk(shape).Present(0, 5).Present(1, 6);
        chain.AddDisk(shape).Present(1, 7).Partial(2, 8, {0, 9});
        fs::create_directory(folder / "chain");
        chain.WriteTo(folder / "chain");
        std::ofstream(folder / "ranges") << "0,4096\n1048576,65536\n";
    }

    /// Puts the places of this run into the arguments.
    static std::vector<std::string> Filled(std::vector<std::string> arguments,
                                           const fs::path& results) {
        const std::map<std::string, std::string> places = {{"@", Disks().string() + "/"},
                                                           {"%", results.string() + "/"}};
        for (std::string& argument : arguments) {
            const auto place = places.find(argument.substr(0, 1));
            if (place != places.end()) {
                argument = place->second + argument.substr(1);
            }
        }
        return arguments;
    }

    CRun Run(long call, int error) const {
        const CTemporaryFolder work;
        const fs::path results = work / "results";
        fs::create_directory(results);
        std::ofstream(results / "older.raw") << TextOf(Disks() / "clean.raw");
        std::vector<std::string> command = {"env",
                                            "LD_PRELOAD=" VHDX_PARSER_FAILING_CALL,
                                            "FAILING_CALL=" + std::to_string(call),
                                            "FAILING_ERROR=" + std::to_string(error),
                                            "FAILING_REPORT=" + (work / "report").string(),
                                            VHDX_PARSER_VHDX_COMMAND};
        const auto arguments = Filled(GetParam().arguments, results);
        command.insert(command.end(), arguments.begin(), arguments.end());
        CRun run;
        CChildOptions options;
        options.timeout = std::chrono::seconds(20);
        run.result = RunChild(command, options);
        run.files = FilesIn(results);
        run.report = TextOf(work / "report");
        Replace(run.result.output, results.string());
        return run;
    }

    /// Results stand in another folder each time.
    static void Replace(std::string& text, const std::string& folder) {
        for (std::size_t at = text.find(folder); at != text.npos; at = text.find(folder, at)) {
            text.replace(at, folder.size(), "%");
        }
    }

    /// Runs the command once for each call that is to fail, of those that it makes without a fault.
    void ForEachCall(const CRun& usual, int error,
                     const std::function<void(const CRun&, const std::string&)>& expect) const {
        const long count = std::strtol(usual.report.c_str(), nullptr, 10);
        ASSERT_GT(count, 10) << "the calls of " << GetParam().name << " are not seen";
        const auto first = static_cast<long>(std::hash<std::string>()(GetParam().name) %
                                             static_cast<std::size_t>(Step()));
        long tried = 0;
        for (long call = 1 + first; call <= count; call += Step()) {
            const CRun run = Run(call, error);
            ++tried;
            expect(run, std::string(GetParam().name) + ": call " + std::to_string(call) + " (" +
                            run.report + ") fails with " + std::to_string(error) + "\n" +
                            run.result.errors);
        }
        std::cout << "tried " << tried << std::endl;
    }

    static bool IsAsUsual(const CRun& run, const CRun& usual) {
        return run.result.status == usual.result.status &&
               run.result.output == usual.result.output && run.files == usual.files;
    }

    /// In the system's words, wherever the answer stands. A program that gets no memory is not told
    /// why.
    static bool SaysWhy(const CRun& run, int error) {
        const std::string said = run.result.output + run.result.errors;
        const std::string words = run.report == "mmap" || error == ENOMEM
                                      ? "memory"
                                      : std::generic_category().message(error);
        return said.find(words) != said.npos;
    }

    /// The results are all there, or only what was there before; nothing half done.
    static void ExpectNoHalves(const CRun& run, const CRun& usual, const std::string& what) {
        for (const auto& [name, text] : run.files) {
            const auto whole = usual.files.find(name);
            const bool isOlder = name == "older.raw" || name == "older.raw.updating";
            if (whole == usual.files.end()) {
                EXPECT_TRUE(isOlder) << what << name << " is left behind";
            } else {
                EXPECT_TRUE(isOlder || text == whole->second) << what << name << " is half done";
            }
        }
    }
};

TEST_P(FailingCall, GivesTheRightAnswerOrSaysThatItFailed) {
    const CRun usual = Run(0, 0);
    for (const int error : {EIO, EACCES, EMFILE, ENOSPC, ENOMEM}) {
        ForEachCall(usual, error, [&](const CRun& run, const std::string& what) {
            EXPECT_FALSE(run.result.timedOut) << what;
            EXPECT_LT(run.result.status, 126) << what;
            ExpectNoHalves(run, usual, what);
            if (IsAsUsual(run, usual)) {
                return;
            }
            EXPECT_TRUE(SaysWhy(run, error)) << what << run.result.output;
            if (run.result.status == 0) {
                EXPECT_EQ(run.files, usual.files) << what;
            }
        });
    }
}

TEST_P(FailingCall, TakesHalfAnAnswerForHalf) {
    const CRun usual = Run(0, 0);
    ForEachCall(usual, ByHalf, [&](const CRun& run, const std::string& what) {
        EXPECT_EQ(run.result.status, usual.result.status) << what;
        EXPECT_EQ(run.result.output, usual.result.output) << what;
        EXPECT_EQ(run.files, usual.files) << what;
    });
}

std::string NameOf(const testing::TestParamInfo<CCommand>& command) {
    return command.param.name;
}

INSTANTIATE_TEST_SUITE_P(
    Hurt, FailingCall,
    testing::Values(
        CCommand{"InfoClean", {"info", "@clean.vhdx"}},
        CCommand{"InfoDirty", {"info", "--json", "@dirty.vhdx"}},
        CCommand{"MapClean", {"map", "@clean.vhdx"}},
        CCommand{"MapMerged", {"map", "--merged", "--json", "@chain/1.avhdx"}},
        CCommand{"MapSectors", {"map", "--sectors", "@chain/1.avhdx"}},
        CCommand{"ReadDirty", {"read", "@dirty.vhdx", "--offset", "1M", "--length", "64K"}},
        CCommand{"ReadChain", {"read", "@chain/1.avhdx", "--offset", "2M", "--length", "64K"}},
        CCommand{"ReadToFile",
                 {"read", "@dirty.vhdx", "--offset", "0", "--length", "2M", "-o", "%part"}},
        CCommand{"Locate", {"locate", "@dirty.vhdx", "--offset", "0", "--length", "2M"}},
        CCommand{"Changes", {"changes", "@chain/1.avhdx", "--ranges", "@ranges"}},
        CCommand{"Bitmap", {"bitmap", "@chain/1.avhdx", "--chunk", "0", "-o", "%bitmap"}},
        CCommand{"Save", {"save", "@dirty.vhdx", "%model.xml"}},
        CCommand{"Chain", {"chain", "@chain"}}, CCommand{"Diff", {"diff", "@chain/1.avhdx"}},
        CCommand{"ExportClean", {"export", "@clean.vhdx", "-o", "%image"}},
        CCommand{"ExportDirty", {"export", "--verify", "@dirty.vhdx", "-o", "%image"}},
        CCommand{"ExportChain", {"export", "--verify", "@chain/1.avhdx", "-o", "%image"}},
        CCommand{"CheckDirty", {"check", "@dirty.vhdx"}},
        CCommand{"CheckChain", {"check", "@chain/1.avhdx"}},
        CCommand{"CheckFolder", {"check", "@chain"}}),
    NameOf);

}  // namespace
}  // namespace NTest
