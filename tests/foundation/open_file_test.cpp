#include "vhdx_parser/foundation/open_file.h"

#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>
#include <vhdx_parser/byte_stream.h>

#if !defined(_WIN32)
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#endif

#include "tests/support/character_types.h"
#include "tests/support/temporary_folder.h"

namespace {

namespace fs = std::filesystem;
using NTest::PathText;
using NTest::Text;

template <class TChar>
class OpenFile : public ::testing::Test {
protected:
    using TText = std::basic_string<TChar>;

    void CreateFile(const fs::path& name, const std::string& content = "content") {
        std::ofstream(m_folder / name, std::ios::binary) << content;
    }

    TText Folder() const { return PathText<TChar>(m_folder.Path()); }
    TText InFolder(std::string_view rest) const { return Folder() + Text<TChar>(rest); }

    /// All bytes of the file, or "" when it was refused in the proper way.
    static std::string Content(const TText& path) {
        std::basic_ifstream<unsigned char> stream;
        NByteStream::Imbue(stream);
        const bool opened = NFile::OpenForReading(stream, path);
        EXPECT_EQ(stream.is_open(), opened);
        EXPECT_EQ(stream.fail(), !opened);
        std::string content;
        for (unsigned char byte = 0; stream.read(&byte, 1);) {
            content += static_cast<char>(byte);
        }
        EXPECT_FALSE(stream.bad());
        return content;
    }

    NTest::CTemporaryFolder m_folder;
};
TYPED_TEST_SUITE(OpenFile, NTest::TCharacterTypes);

TYPED_TEST(OpenFile, ReadsTheBytesAsTheyStand) {
    const std::string bytes("\0\r\n\x1A\xFF\x80", 6);
    this->CreateFile("file", bytes);
    EXPECT_EQ(this->Content(this->InFolder("/file")), bytes);
}

TYPED_TEST(OpenFile, FindsTheNameBehindEitherSeparator) {
    this->CreateFile("my file");
    EXPECT_EQ(this->Content(this->InFolder("/my file")), "content");
    EXPECT_EQ(this->Content(this->InFolder("\\my file")), "content");
}

TYPED_TEST(OpenFile, FindsNamesBeyondAscii) {
    const fs::path name(u8"\u00FC \u65E5\u672C.vhdx");
    this->CreateFile(name);
    if constexpr (NTest::hasEveryName<TypeParam>) {
        EXPECT_EQ(this->Content(this->InFolder("\\") + PathText<TypeParam>(name)), "content");
    } else {
        EXPECT_EQ(this->Content(this->InFolder("\\? ??.vhdx")), "");
    }
}

TYPED_TEST(OpenFile, SharesTheFileWithAReaderAndAWriter) {
    this->CreateFile("file");
    std::fstream other(this->m_folder / "file", std::ios::in | std::ios::out | std::ios::binary);
    ASSERT_TRUE(other.is_open());
    EXPECT_EQ(this->Content(this->InFolder("/file")), "content");
}

TYPED_TEST(OpenFile, RefusesWhatIsNoFile) {
    EXPECT_EQ(this->Content(this->InFolder("/missing")), "");
    EXPECT_EQ(this->Content(this->InFolder("")), "");
    EXPECT_EQ(this->Content(this->InFolder("/")), "");
    EXPECT_EQ(this->Content(Text<TypeParam>("")), "");
    EXPECT_EQ(this->Content(this->InFolder("/" + std::string(5000, 'x'))), "");
}

TYPED_TEST(OpenFile, RefusesANameWithAZeroCharacter) {
    this->CreateFile("file");
    EXPECT_EQ(this->Content(this->InFolder(std::string_view("/file\0more", 10))), "");
}

TYPED_TEST(OpenFile, RefusesAStreamThatIsOpen) {
    this->CreateFile("one", "1");
    this->CreateFile("two", "2");
    std::basic_ifstream<unsigned char> stream;
    NByteStream::Imbue(stream);
    ASSERT_TRUE(NFile::OpenForReading(stream, this->InFolder("/one")));
    EXPECT_FALSE(NFile::OpenForReading(stream, this->InFolder("/two")));
    EXPECT_TRUE(stream.is_open());
    EXPECT_TRUE(stream.fail());
    stream.clear();
    EXPECT_EQ(stream.get(), '1');
}

TYPED_TEST(OpenFile, OpensAStreamAnewAfterAFailure) {
    this->CreateFile("one", "1");
    std::basic_ifstream<unsigned char> stream;
    NByteStream::Imbue(stream);
    ASSERT_FALSE(NFile::OpenForReading(stream, this->InFolder("/missing")));
    ASSERT_TRUE(NFile::OpenForReading(stream, this->InFolder("/one")));
    EXPECT_EQ(stream.get(), '1');
}

#if !defined(_WIN32)

TYPED_TEST(OpenFile, LeavesTheFoldersOwnBackslashesAlone) {
    fs::create_directory(this->m_folder / "odd\\folder");
    this->CreateFile(fs::path("odd\\folder") / "file");
    EXPECT_EQ(this->Content(this->InFolder("/odd\\folder\\file")), "content");
    EXPECT_EQ(this->Content(this->InFolder("/odd\\folder/file")), "content");
}

TYPED_TEST(OpenFile, FollowsALinkToAFile) {
    this->CreateFile("file");
    fs::create_symlink("file", this->m_folder / "link");
    fs::create_symlink("nowhere", this->m_folder / "dangling");
    fs::create_symlink("loop", this->m_folder / "loop");
    EXPECT_EQ(this->Content(this->InFolder("/link")), "content");
    EXPECT_EQ(this->Content(this->InFolder("/dangling")), "");
    EXPECT_EQ(this->Content(this->InFolder("/loop")), "");
}

TYPED_TEST(OpenFile, NeverWaitsForAPipe) {
    ASSERT_EQ(mkfifo((this->m_folder / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(this->Content(this->InFolder("/pipe")), "");
}

TYPED_TEST(OpenFile, RefusesDevicesAndSockets) {
    EXPECT_EQ(this->Content(Text<TypeParam>("/dev/zero")), "");
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = this->m_folder / "socket";
    ASSERT_LT(path.size(), sizeof(address.sun_path));
    path.copy(address.sun_path, path.size());
    ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    EXPECT_EQ(this->Content(this->InFolder("/socket")), "");
    close(listener);
}

TEST(OpenWideFile, TurnsALoneSurrogateBackIntoTheByte) {
    const NTest::CTemporaryFolder folder;
    std::ofstream(folder / "\xFF.vhdx") << "7";
    std::basic_ifstream<unsigned char> stream;
    NByteStream::Imbue(stream);
    ASSERT_TRUE(NFile::OpenForReading(
        stream, folder.Wide() + std::wstring{L'\\', wchar_t(0xDCFF)} + L".vhdx"));
    EXPECT_EQ(stream.get(), '7');
}

TEST(OpenWideFile, RefusesANameThatHasNoEncoding) {
    std::basic_ifstream<unsigned char> stream;
    EXPECT_FALSE(NFile::OpenForReading(stream, std::wstring{L'/', wchar_t(0x110000)}));
    EXPECT_TRUE(stream.fail());
}

#endif

}  // namespace
