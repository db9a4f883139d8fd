#ifndef VHDX_PARSER_TESTS_TOOL_TEST_DISKS_H
#define VHDX_PARSER_TESTS_TOOL_TEST_DISKS_H

/// The disks on which the command's output is shown.

#include "tests/support/image_builder.h"

namespace NTest {

/// 10 MiB less 512 bytes in blocks of 1 MiB: data in blocks 1, 2 (next to one another in the file)
/// and 4 (elsewhere), one block of zeros, one unmapped, the last one with data and cut short.
inline CImageBuilder DynamicDisk() {
    return CImageBuilder()
        .VirtualSize(10 * MiB - 512)
        .AllocateData(1, 11)
        .AllocateData(2, 11)
        .AllocateData(9, 11)
        .AllocateData(4, 11)
        .PayloadBlock(6, 2, 0)
        .PayloadBlock(7, 3, 0);
}

/// A checkpoint with one block of its own, one partly its own, and a talkative parent locator.
inline CImageBuilder DifferencingDisk() {
    return CImageBuilder()
        .VirtualSize(4 * MiB)
        .PhysicalSectorSize(4096)
        .Differencing()
        .ParentLocator({{u"parent_linkage", u"{83ED38C3-3A93-4B7D-8D1E-70E8E9A7E7A1}"},
                        {u"relative_path", u".\\b\u00E4se \U0001F600\u001B[31m.vhdx"},
                        {u"absolute_win32_path", u"C:\\disks\\\xD800.vhdx"}})
        .AllocateData(0, 21)
        .AllocatePartialData(2, 22)
        .AllocateSectorBitmap(0, CBytes{0x0F});
}

}  // namespace NTest

#endif
