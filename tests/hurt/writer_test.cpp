// Disks that somebody replaces or rewrites while a command reads them: what the command calls done
// is one state of the disk or the other, never a part of both.

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <random>
#include <sstream>
#include <thread>

#include "tests/support/chain_model.h"
#include "tests/support/child_process.h"
#include "tests/support/temporary_folder.h"

namespace NTest {
namespace {

namespace fs = std::filesystem;

/// How often a command runs while a disk changes under it; `scripts/hurt` asks for more.
int Runs() {
    const char* const runs = std::getenv("VHDX_PARSER_HURT_RUNS");
    return runs == nullptr ? 12 : std::atoi(runs);
}

std::string TextOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

enum class EWrite { renameOver, inPlace, cutAndExtend };

/// Puts one state of a file after the other in its place, with pauses, until it goes.
class CWriter {
public:
    CWriter(fs::path place, std::vector<std::string> states, EWrite how)
        : m_place(std::move(place)), m_states(std::move(states)), m_how(how) {
        m_thread = std::thread([this] { Run(); });
    }
    CWriter(const CWriter&) = delete;
    CWriter& operator=(const CWriter&) = delete;
    ~CWriter() {
        m_isOver = true;
        m_thread.join();
    }

private:
    void Run() {
        std::mt19937 random(7);
        for (std::size_t turn = 1; !m_isOver; ++turn) {
            Write(m_states[turn % m_states.size()]);
            std::this_thread::sleep_for(std::chrono::milliseconds(random() % 60));
        }
    }

    void Write(const std::string& state) const {
        if (m_how == EWrite::renameOver) {
            const fs::path other = m_place.string() + ".new";
            std::ofstream(other, std::ios::binary) << state;
            fs::rename(other, m_place);
            return;
        }
        if (m_how == EWrite::cutAndExtend) {
            fs::resize_file(m_place, 0);
        }
        std::fstream file(m_place, std::ios::in | std::ios::out | std::ios::binary);
        constexpr std::size_t piece = 65536;
        for (std::size_t at = 0; at < state.size(); at += piece) {
            file.write(state.data() + at,
                       static_cast<std::streamsize>(std::min(piece, state.size() - at)));
            file.flush();
        }
    }

    const fs::path m_place;
    const std::vector<std::string> m_states;
    const EWrite m_how;
    std::atomic<bool> m_isOver{false};
    std::thread m_thread;
};

class Writer : public testing::TestWithParam<EWrite> {
protected:
    /// Two states of one disk that share nothing but their form.
    Writer() {
        for (std::uint64_t state = 0; state < 2; ++state) {
            CChainModel chain;
            chain.AddDisk(CDiskShape());
            for (std::uint64_t block = 0; block < 8; ++block) {
                chain.Present((block + state) % 8, 10 * state + block);
            }
            chain.Builder().EditHeaders(
                [state](CHeader& header) { header.sequenceNumber += 2 * state; });
            chain.Image(0).WriteTo(Base());
            m_states.push_back(TextOf(Base()));
            m_contents.push_back(std::string(chain.Content().begin(), chain.Content().end()));
        }
    }

    fs::path Base() const { return m_folder / "0.vhdx"; }

    /// Runs the command again and again, and looks at what it calls done.
    void ExpectNoMixture(const std::vector<std::string>& arguments) {
        std::vector<std::string> command = {VHDX_PARSER_VHDX_COMMAND};
        command.insert(command.end(), arguments.begin(), arguments.end());
        const CWriter writer(Base(), m_states, GetParam());
        int done = 0;
        int run = 0;
        for (; run < Runs() || (done == 0 && run < 50 * Runs()); ++run) {
            fs::remove(m_folder / "result");
            const CChildResult result = RunChild(command);
            const std::string bytes = TextOf(m_folder / "result");
            if (result.status == 0) {
                ++done;
                EXPECT_TRUE(bytes == m_contents[0] || bytes == m_contents[1]) << "run " << run;
            } else {
                EXPECT_EQ(bytes, "") << result.errors;
                EXPECT_NE(result.errors, "");
            }
        }
        std::cout << "tried " << run << ", of which " << done << " ended well" << std::endl;
        EXPECT_GT(done, 0) << "the writer never let a command end well";
    }

    CTemporaryFolder m_folder;
    std::vector<std::string> m_states;
    std::vector<std::string> m_contents;
};

TEST_P(Writer, LeavesNoMixtureInAnExport) {
    ExpectNoMixture({"export", "--no-sync", Base().string(), "-o", (m_folder / "result").string()});
}

TEST_P(Writer, LeavesNoMixtureInWhatIsRead) {
    ExpectNoMixture({"read", "--no-sync", Base().string(), "-o", (m_folder / "result").string()});
}

INSTANTIATE_TEST_SUITE_P(Hurt, Writer,
                         testing::Values(EWrite::renameOver, EWrite::inPlace, EWrite::cutAndExtend),
                         [](const auto& how) {
                             switch (how.param) {
                                 case EWrite::renameOver:
                                     return "ThatRenamesOver";
                                 case EWrite::inPlace:
                                     return "InPlace";
                                 case EWrite::cutAndExtend:
                                     break;
                             }
                             return "ThatCutsAndExtends";
                         });

}  // namespace
}  // namespace NTest
