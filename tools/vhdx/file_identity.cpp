#include <vhdx_disk/path_query.h>
#include <filesystem>
#include <optional>
#include <system_error>
#include "tools/vhdx/command_line.h"
#include "tools/vhdx/opened_file.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

/// None of a device.
std::optional<NVHDXDisk::CFileState> StateOf(const std::filesystem::path& path) {
    std::error_code error;
    auto state = NVHDXDisk::StateOf(path, error);
    if (error) {
        throw CCommandFailure(NVHDXDisk::TextOf(path),
                              "its state cannot be found out: " + error.message());
    }
    return state;
}

/// A device has the length that it was opened with.
std::string LengthNow(const std::filesystem::path& path, std::uint64_t lengthWhenOpened) {
    const auto state = StateOf(path);
    return std::to_string(state ? state->size : lengthWhenOpened);
}

/// In the units of the platform's clock for files, which compare with themselves only.
std::string ChangeTime(const std::filesystem::path& path) {
    const auto state = StateOf(path);
    return state ? std::to_string(state->changed) : "unknown";
}

}  // namespace

CDiskIdentity COpenedFile::Identity() {
    const CGeometry geometry = Geometry();
    NVHDX::NMetadata::CPage83Data page83;
    const bool hasPage83 = m_accessor.Retrieve(page83, *m_stream);
    const auto& header = m_stream->Header();
    const auto ofHeader = [&header](auto text) { return header ? text(*header) : "none"; };
    using CHeader = NVHDXDisk::CCurrentHeader;
    return {{"page 83 identifier", hasPage83 ? GuidText(page83.page83Data) : "none"},
            {"virtual size", std::to_string(geometry.virtualSize)},
            {"block size", std::to_string(geometry.blockSize)},
            {"logical sector size", std::to_string(geometry.logicalSectorSize)},
            {FirstTraitOfState,
             ofHeader([](const CHeader& found) { return GuidText(found.dataWriteGuid); })},
            {"FileWriteGuid",
             ofHeader([](const CHeader& found) { return GuidText(found.fileWriteGuid); })},
            {"header's sequence number",
             ofHeader([](const CHeader& found) { return std::to_string(found.sequenceNumber); })},
            {"file length", LengthNow(PathOf(m_file), FileSize())},
            {"time of change", ChangeTime(PathOf(m_file))},
            {PendingLog, ofHeader([this](const CHeader& found) { return LogState(found); })}};
}

std::string COpenedFile::LogState(const NVHDXDisk::CCurrentHeader& header) const {
    if (IsNull(header.logGuid)) {
        return "none";
    }
    return m_stream->Log().status == NVHDXDisk::CLogState::replayed ? "replayed" : "left out";
}

}  // namespace NTool
