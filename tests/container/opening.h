#ifndef VHDX_PARSER_TESTS_CONTAINER_OPENING_H
#define VHDX_PARSER_TESTS_CONTAINER_OPENING_H

/// Opens a container and shows what came of it: the result and every trace line. The lines of the
/// usual container are here stage by stage, so that a test spells out only what differs.

#include <iterator>
#include <vector>

#include <vhdx_parser/accessor.h>

#include "tests/support/image_builder.h"
#include "tests/support/test_stream.h"
#include "tests/support/trace_capture.h"

namespace NTest {

using CLines = std::vector<CTraceLine>;

template <class... TLine>
CLines Lines(const TLine&... lines) {
    return {lines...};
}

inline CLines operator+(CLines lines, const CLines& more) {
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

struct COpening {
    bool opened;
    CLines lines;
};

/// Opens through `accessor` from where the stream stands.
inline COpening Open(NVHDX::CAccessor& accessor, std::basic_istream<unsigned char>& stream) {
    CTraceCapture trace;
    const bool opened = accessor.Entry(stream);
    return {opened, trace.Lines()};
}

inline COpening Open(std::basic_istream<unsigned char>& stream) {
    NVHDX::CAccessor accessor;
    return Open(accessor, stream);
}

inline COpening Open(const CImageBuilder& builder) {
    CInputStream stream(builder.Build());
    return Open(stream);
}

/// What every opening begins with.
inline CLines IdentifierLines() {
    return {Line(4, "Reading size: 520")};
}

/// Two good headers with the sequence numbers 1 and 2; 1684104552 is "head".
inline CLines HeaderLines() {
    return {Line(4, "HDR Bad Signature = 1684104552"), Line(4, "HDR Bad Signature = 1684104552"),
            Line(4, "HDR SequenceNumber of iteration hdr = 2"),
            Line(4, "HDR SequenceNumber of actual hdr = 1")};
}

inline CTraceLine BatRegionLine() {
    return Line(4, "MAP_REGION type = CRegion::typeBAT");
}
inline CTraceLine MetadataRegionLine() {
    return Line(4, "MAP_REGION type = CRegion::typeMetadata");
}
inline CTraceLine UnknownRegionLine() {
    return Line(4, "MAP_REGION type = 1");
}
inline CLines RegionLines() {
    return {BatRegionLine(), MetadataRegionLine()};
}

inline CLines ItemLines() {
    return {Line(4, "METADATA_REGION type = CMetadata::typeFileParameters"),
            Line(4, "METADATA_REGION type = CMetadata::typeVirtualDiskSize"),
            Line(4, "METADATA_REGION type = CMetadata::typePage83Data"),
            Line(4, "METADATA_REGION type = CMetadata::typeLogicalSectorSize"),
            Line(4, "METADATA_REGION type = CMetadata::typePhysicalSectorSize")};
}

inline CLines OkLine() {
    return {Line(4, "OK")};
}

/// All lines of the usual container.
inline CLines SuccessLines() {
    return IdentifierLines() + HeaderLines() + RegionLines() + ItemLines() + OkLine();
}

/// The first `count` lines.
inline CLines First(std::size_t count, const CLines& lines) {
    return {lines.begin(), std::next(lines.begin(), static_cast<std::ptrdiff_t>(count))};
}

}  // namespace NTest

#endif
