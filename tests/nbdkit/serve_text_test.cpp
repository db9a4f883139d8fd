// What names and texts of disk files that nobody vouches for do to a terminal: nothing.

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/nbdkit/nbd_client.h"
#include "tests/nbdkit/server.h"
#include "tests/support/chain_model.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

/// A name with red letters, and with what looks like a line of nbdkit's.
std::string Forged(const std::string& name) {
    return name + "\x1B[31m\nnbdkit: error: forged.avhdx";
}

/// Says which byte of it controls a terminal, the ends of its lines aside.
testing::AssertionResult IsHarmless(const std::string& text) {
    const auto harmful = std::find_if(text.begin(), text.end(), [](char character) {
        const auto byte = static_cast<unsigned char>(character);
        return (byte < 0x20 && byte != '\n') || byte == 0x7F;
    });
    const bool hasSecondSet = text.find("\xC2\x9B") != std::string::npos;  // as ESC and '['
    return harmful == text.end() && !hasSecondSet &&
                   text.find("\nnbdkit: error: forged") == std::string::npos
               ? testing::AssertionSuccess()
               : testing::AssertionFailure() << testing::PrintToString(text);
}

class ServeText : public testing::Test {
protected:
    ServeText() {
        m_chain.AddDisk(CDiskShape().Size(MiB)).Present(0, 1);
        m_chain.AddDisk(CDiskShape().Size(MiB));
    }
    void WriteChild(const std::string& name) { m_chain.Image(1).WriteTo(m_folder / name); }
    std::string Errors(const std::string& name) const {
        const CChildResult result = RunChild(ServeCommand({(m_folder / name).string()}));
        EXPECT_EQ(result.status, 1);
        return result.errors;
    }

    CTemporaryFolder m_folder;
    CChainModel m_chain;
};

TEST_F(ServeText, OfALocatorIsHarmless) {
    const std::u16string path = u".\\gone\x1B[31m\nnbdkit: error: forged\x9B.vhdx";
    m_chain.Builder().ParentLocator(
        {{u"parent_linkage", CChainModel::LinkageText(0)}, {u"relative_path", path}});
    WriteChild("1.avhdx");
    const std::string errors = Errors("1.avhdx");
    EXPECT_TRUE(IsHarmless(errors));
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
}

TEST_F(ServeText, OfAFilesNameIsHarmless) {
    WriteChild(Forged("1"));
    const std::string errors = Errors(Forged("1"));
    EXPECT_TRUE(IsHarmless(errors));
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
}

TEST_F(ServeText, OfAFindingIsHarmless) {
    m_chain.Image(0).WriteTo(m_folder / "0.vhdx");
    m_chain.Builder().ParentLocator(
        {{u"parent_linkage", CChainModel::LinkageText(7)}, {u"relative_path", u".\\0.vhdx"}});
    WriteChild(Forged("1"));
    testing::internal::CaptureStderr();
    {
        const CServer server({(m_folder / Forged("1")).string(), "--accept-changed-parent"});
        EXPECT_TRUE(server.IsListening());
    }
    const std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_NE(errors.find("forged"), std::string::npos) << errors;
    EXPECT_TRUE(IsHarmless(errors));
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
}

TEST_F(ServeText, OfAFileThatWasCutWhileItIsServedIsHarmless) {
    m_chain.Image(0).WriteTo(m_folder / Forged("0"));
    testing::internal::CaptureStderr();
    {
        const CServer server({(m_folder / Forged("0")).string()});
        ASSERT_TRUE(server.IsListening());
        CNbdClient client(server.Socket());
        ASSERT_TRUE(client.Negotiate());
        std::filesystem::resize_file(m_folder / Forged("0"), 3 * MiB);
        EXPECT_TRUE(client.Read(0, 65536).empty());
    }
    const std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_NE(errors.find("forged"), std::string::npos) << errors;
    EXPECT_TRUE(IsHarmless(errors));
}

}  // namespace
}  // namespace NTest
