#ifndef VHDX_TOOLS_VHDX_UPDATE_MARK_H
#define VHDX_TOOLS_VHDX_UPDATE_MARK_H

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <vhdx_disk/disk.h>

#include "tools/vhdx/durable.h"
#include "tools/vhdx/ranges.h"

namespace NTool {

/// What an update of a raw image does, as its mark tells it.
struct CUpdate {
    std::string diskFile;     ///< the name of the newest file, in one line
    std::string virtualDisk;  ///< the disk's identifier
    std::string state;        ///< the newest file's DataWriteGuid
    std::uint64_t olderSize;  ///< bytes of the image before it was touched
    CRanges ranges;           ///< all that it writes, in runs that do not touch
};

/// The mark that stands beside a raw image, IMAGE.updating, while it is updated in its place: an
/// update that does not come to its end leaves bytes of two states of the disk, and the mark. Then
/// an image is updated only by what puts all of them right. What fails throws `CCommandFailure`.
class CUpdateMark {
public:
    /// Reads the mark that an interrupted update has left. Throws when it was one of another disk,
    /// or of another state of it.
    CUpdateMark(const std::string& image, const NVHDXDisk::CDisk& disk, ESync sync);

    /// The size that the image had before anything was written to it.
    std::uint64_t OlderSize(std::uint64_t sizeNow) const;

    /// Makes the mark, before the first of these ranges is written. Throws when they do not cover
    /// those of the interrupted update.
    void Set(const CRanges& ranges, std::uint64_t olderSize);

    /// The image holds one state of the disk, and its bytes are durable.
    void Remove();

private:
    [[noreturn]] void Refuse(const std::string& difference) const;

    std::string m_image;
    std::vector<std::filesystem::path> m_sources;
    ESync m_sync;
    CUpdate m_update;
    std::optional<CUpdate> m_interrupted;
};

/// Removes the mark, where there is one, of an image that was made anew.
void RemoveUpdateMark(const std::string& image, ESync sync);

}  // namespace NTool

#endif
