// What the listing of a folder says, for items that no test can make under Wine.

#include "vhdx_parser/foundation/listed_item.h"

#include <gtest/gtest.h>

namespace NTest {
namespace {

NSystem::CFileAttributes Listed(DWORD attributes, DWORD sizeHigh, DWORD sizeLow) {
    WIN32_FIND_DATAW item = {};
    item.dwFileAttributes = attributes;
    item.nFileSizeHigh = sizeHigh;
    item.nFileSizeLow = sizeLow;
    return NFolder::AttributesOf(item);
}

TEST(ListedItem, OfAFileHasTheSizeOfTheListing) {
    const auto file = Listed(FILE_ATTRIBUTE_ARCHIVE, 2, 5);
    EXPECT_FALSE(file.isFolder);
    EXPECT_EQ(file.size, 0x200000005u);
}

TEST(ListedItem, ThatIsALinkToAFolderIsAFolder) {
    const auto link = Listed(FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT, 0, 7);
    EXPECT_TRUE(link.isFolder);
    EXPECT_EQ(link.size, 0u);
}

TEST(ListedItem, ThatIsALinkToAFileIsAFile) {
    EXPECT_FALSE(Listed(FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_REPARSE_POINT, 0, 0).isFolder);
}

}  // namespace
}  // namespace NTest
