#ifndef VHDX_PARSER_TESTS_CONTAINER_OPENED_DISK_H
#define VHDX_PARSER_TESTS_CONTAINER_OPENED_DISK_H

/// A container that was opened, ready to be asked for its metadata items.

#include <gtest/gtest.h>

#include <vhdx_parser/accessor.h>

#include "tests/support/image_builder.h"
#include "tests/support/test_stream.h"

namespace NTest {

/// The stream has forgotten the opening: failures and records count from there.
struct COpenedDisk {
    explicit COpenedDisk(const CImageBuilder& builder) : stream(builder.Build()) {
        EXPECT_TRUE(accessor.Entry(stream));
        stream.Buffer().ClearRecords();
    }

    template <class TRecord>
    bool Retrieve(TRecord& record) {
        return accessor.Retrieve(record, stream);
    }

    CInputStream stream;
    NVHDX::CAccessor accessor;
};

}  // namespace NTest

#endif
