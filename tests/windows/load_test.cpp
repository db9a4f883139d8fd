// The DLL as Windows loads it: no import library, no header of the library.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "tests/windows/loaded_library.h"

namespace NTest {
namespace {

/// The notifications that reach the DLL while a thread starts and ends.
LONG NoticesOfOneThread(const char* library) {
    const CLoadedLibrary loaded(library);
    const LONG* notices = loaded.Find<LONG>("g_threadNotices");
    if (notices == nullptr) {
        ADD_FAILURE() << "the counter is not exported";
        return -1;
    }
    const LONG before = *notices;
    std::thread([] {}).join();
    return *notices - before;
}

TEST(LoadLibrary, LoadsTheLibraryAgainAfterItWasReleased) {
    EXPECT_TRUE(CLoadedLibrary("vhdx_parser.dll"));
    EXPECT_TRUE(CLoadedLibrary("vhdx_parser.dll"));
}

TEST(LoadLibrary, FindsTheTraceGlobalsByNameAndBothAreNull) {
    const CLoadedLibrary library("vhdx_parser.dll");
    ASSERT_TRUE(library);
    const auto* writer = library.Find<void*>("_ZN11NDebugTrace9g_pwriterE");
    const auto* context = library.Find<const char*>("_pszDebugTraceContext");
    ASSERT_NE(writer, nullptr);
    ASSERT_NE(context, nullptr);
    EXPECT_EQ(*writer, nullptr);
    EXPECT_EQ(*context, nullptr);
}

TEST(LoadLibrary, NeedsNothingButWhatWindowsHas) {
    const CLoadedLibrary library("vhdx_parser.dll");
    ASSERT_TRUE(library);
    EXPECT_THAT(library.NeededLibraries(),
                testing::UnorderedElementsAre("KERNEL32.dll", "msvcrt.dll"));
}

TEST(LoadLibrary, TheDiskLibraryNeedsTheOtherOneAndWhatWindowsHas) {
    const CLoadedLibrary library("vhdx_disk.dll");
    ASSERT_TRUE(library);
    EXPECT_THAT(library.NeededLibraries(),
                testing::UnorderedElementsAre("KERNEL32.dll", "msvcrt.dll", "vhdx_parser.dll"));
}

TEST(LibraryLoad, SwitchesThreadNotificationsOff) {
    EXPECT_EQ(NoticesOfOneThread("notices_with_library_load.dll"), 0);
}

TEST(LibraryLoad, WithoutItBothNotificationsOfAThreadArrive) {
    EXPECT_EQ(NoticesOfOneThread("notices_without_library_load.dll"), 2);
}

}  // namespace
}  // namespace NTest
