#ifndef VHDX_PARSER_TESTS_BLOCKS_OPENED_CONTAINER_H
#define VHDX_PARSER_TESTS_BLOCKS_OPENED_CONTAINER_H

#include <stdexcept>

#include <vhdx_parser/accessor.h>

#include "tests/support/image_builder.h"
#include "tests/support/test_stream.h"

namespace NTest {

/// A container in memory and the accessor that opened it. The stream's records start empty.
struct COpenedContainer {
    explicit COpenedContainer(const CImageBuilder& builder) : image(builder.Build()) {
        if (!accessor.Entry(stream)) {
            throw std::runtime_error("the container was refused");
        }
        stream.Buffer().ClearRecords();
    }

    CTestStreamBuffer& Buffer() { return stream.Buffer(); }

    CSparseImage image;
    CInputOutputStream stream{image};
    NVHDX::CAccessor accessor;
};

}  // namespace NTest

#endif
