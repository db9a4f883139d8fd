// Exceptions on their way between a host and the DLL, which have a runtime each.

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

#include <vhdx_parser/vhdx_parser.h>

#include "tests/support/temporary_folder.h"

namespace NTest {
namespace {

struct CHostError {
    int value;
};

/// Thrown in the host, on its way out of the host through the library.
TEST(Exceptions, OneOfTheHostsOwnPassesThroughTheLibrary) {
    CTemporaryFolder folder;
    std::ofstream(folder / "file") << "content";
    try {
        (void)NSystem::for_each_item_in_folder(
            folder.Path().string(), nullptr,
            [](bool&, bool, std::string&, const NSystem::CFileAttributes&) -> bool {
                throw CHostError{7};
            });
        FAIL() << "the library caught it";
    } catch (const CHostError& error) {
        EXPECT_EQ(error.value, 7);
    }
}

TEST(Exceptions, OneOfTheLibraryReachesTheHostWithTypeAndText) {
    std::basic_istringstream<unsigned char> stream;
    NVHDX::CFileParameters parameters;
    parameters.payloadblksz = 0;
    try {
        (void)NVHDX::RequestPayloadRealOffset(NVHDX::CBlocks(), 0, 1, parameters);
        FAIL() << "nothing was thrown";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(), "invalid vector subscript");
    }
}

TEST(Exceptions, AnEmptyCallableIsReportedToTheHostAsSuch) {
    CTemporaryFolder folder;
    std::ofstream(folder / "file") << "content";
    EXPECT_THROW(
        (void)NSystem::for_each_item_in_folder(
            folder.Path().string(), nullptr,
            std::function<bool(bool&, bool, std::string&, const NSystem::CFileAttributes&)>()),
        std::bad_function_call);
}

TEST(Exceptions, TheLibraryStillThrowsWhenItThrewThousandsBefore) {
    NVHDX::CFileParameters parameters;
    parameters.payloadblksz = 0;
    for (int i = 0; i < 5000; ++i) {
        EXPECT_THROW((void)NVHDX::RequestPayloadRealOffset(NVHDX::CBlocks(), 0, 1, parameters),
                     std::out_of_range);
    }
}

}  // namespace
}  // namespace NTest
