#include "tools/vhdx/update_mark.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <fstream>
#include <iterator>
#include <string_view>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include <vhdx_disk/path_query.h>
#include "tools/vhdx/chosen_disk.h"
#include "tools/vhdx/command_failure.h"
#include "tools/vhdx/command_line.h"
#include "tools/vhdx/file_place.h"
#include "tools/vhdx/output_file.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view firstWords = "vhdx update mark";
constexpr std::string_view heading =
    "vhdx update mark 1\n"
    "An update of the raw image beside this file has not come to its end: the image holds bytes "
    "of\n"
    "two states of the disk. Run the same update again, or export the disk anew.\n";
constexpr std::size_t longestName = 255;  // in bytes, or UTF-16 units, as file systems count

/// FNV-1a, so that a name that is too long for an ending still has a mark of its own.
std::uint64_t HashOf(const fs::path& name) {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const auto unit : name.native()) {
        hash = (hash ^ static_cast<std::uint64_t>(unit)) * 0x100000001B3;
    }
    return hash;
}

/// Beside the file that a link leads to, so that the image has one mark however it is reached.
fs::path MarkPlace(const std::string& image) {
    const fs::path given = PathOf(image);
    std::error_code error;
    const bool isLink = NVHDXDisk::KindOfLink(given, error) == fs::file_type::symlink;
    const fs::path file = isLink ? NVHDXDisk::Canonical(given) : given;
    fs::path name = file.filename();
    const fs::path ending = ".updating";
    if (name.native().size() + ending.native().size() > longestName) {
        name = fmt::format("vhdx-{:016x}", HashOf(name));
    }
    return file.parent_path() / (name += ending);
}

std::string NameOfMark(const std::string& image) {
    return Printable(NVHDXDisk::TextOf(MarkPlace(image).filename()));
}

CRanges Joined(const CRanges& ranges) {
    CRanges runs;
    for (const auto& [offset, length] : ranges) {
        if (length == 0) {
            continue;
        }
        const auto last = runs.empty() ? runs.end() : std::prev(runs.end());
        if (last != runs.end() && last->first + last->second == offset) {
            last->second += length;
        } else {
            runs.emplace_hint(runs.end(), offset, length);
        }
    }
    return runs;
}

/// The first of the runs that is not inside one of `covering`; none when all are.
std::optional<CRanges::value_type> FirstOutside(const CRanges& runs, const CRanges& covering) {
    for (const auto& [offset, length] : runs) {
        const auto next = covering.upper_bound(offset);
        const auto found = next == covering.begin() ? covering.end() : std::prev(next);
        if (found == covering.end() || offset - found->first > found->second ||
            length > found->second - (offset - found->first)) {
            return CRanges::value_type(offset, length);
        }
    }
    return std::nullopt;
}

std::string TextOf(const CUpdate& update) {
    std::string text(heading);
    fmt::format_to(std::back_inserter(text),
                   "disk file: {}\nvirtual disk: {}\nstate: {}\nimage size: {}\nranges: {}\n",
                   update.diskFile, update.virtualDisk, update.state, update.olderSize,
                   update.ranges.size());
    for (const auto& [offset, length] : update.ranges) {
        fmt::format_to(std::back_inserter(text), "{},{}\n", offset, length);
    }
    return text;
}

/// Takes a line "name: value" from the start of the text.
std::string TakeValue(std::string_view& text, std::string_view name) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    if (end == text.npos || !line.starts_with(name) ||
        !line.substr(name.size()).starts_with(": ")) {
        throw CCommandFailure(fmt::format("there is no {}", name));
    }
    text.remove_prefix(end + 1);
    return std::string(line.substr(name.size() + 2));
}

std::uint64_t TakeNumber(std::string_view& text, std::string_view name) {
    const std::string value = TakeValue(text, name);
    std::uint64_t number = 0;
    const char* const end = value.data() + value.size();
    const auto result = std::from_chars(value.data(), end, number);
    if (result.ec != std::errc() || result.ptr != end) {
        throw CCommandFailure(fmt::format("the {} is no number", name));
    }
    return number;
}

CUpdate ParseUpdate(std::string_view text) {
    if (!text.starts_with(heading)) {
        throw CCommandFailure("this is no mark of an update");
    }
    text.remove_prefix(heading.size());
    CUpdate update;
    update.diskFile = TakeValue(text, "disk file");
    update.virtualDisk = TakeValue(text, "virtual disk");
    update.state = TakeValue(text, "state");
    update.olderSize = TakeNumber(text, "image size");
    const std::uint64_t count = TakeNumber(text, "ranges");
    update.ranges = ParseRanges(std::string(text));
    if (update.ranges.size() != count) {
        throw CCommandFailure("ranges are missing");
    }
    return update;
}

std::string ReadText(const fs::path& place) {
    errno = 0;
    std::ifstream file(place, std::ios::binary);
    std::string text;
    std::array<char, 65536> piece;
    while (file.read(piece.data(), piece.size()) || file.gcount() != 0) {
        text.append(piece.data(), static_cast<std::size_t>(file.gcount()));
    }
    if (!file.eof()) {
        throw CCommandFailure(std::generic_category().message(errno));
    }
    return text;
}

/// What has only the name of a mark is somebody else's.
bool IsMark(const fs::path& place) {
    std::string start(firstWords.size(), '\0');
    std::ifstream file(place, std::ios::binary);
    return file.read(start.data(), static_cast<std::streamsize>(start.size())) &&
           start == firstWords;
}

/// None where there is no mark. One that cannot be read may be of anything.
std::optional<CUpdate> ReadMark(const std::string& image) {
    const fs::path place = MarkPlace(image);
    std::error_code error;
    if (NVHDXDisk::KindOf(place, error) == fs::file_type::not_found) {
        return std::nullopt;
    }
    try {
        return ParseUpdate(ReadText(place));
    } catch (const CCommandFailure& failure) {
        throw CCommandFailure(
            image, fmt::format("an update of this image may have been interrupted, and {} does not "
                               "tell which ({}): export the disk anew and remove that file",
                               NameOfMark(image), failure.what()));
    }
}

CUpdate UpdateOf(const NVHDXDisk::CDisk& disk) {
    const NVHDXDisk::CDiskFile& newest = disk.Files().front();
    return {Printable(NVHDXDisk::TextOf(newest.path.filename())),
            GuidText(disk.Identifier()),
            newest.header ? GuidText(newest.header->dataWriteGuid) : "none",
            0,
            {}};
}

}  // namespace

CUpdateMark::CUpdateMark(const std::string& image, const NVHDXDisk::CDisk& disk, ESync sync)
    : m_image(image),
      m_sources(PathsOf(disk)),
      m_sync(sync),
      m_update(UpdateOf(disk)),
      m_interrupted(ReadMark(image)) {
    if (!m_interrupted) {
        return;
    }
    if (m_interrupted->virtualDisk != m_update.virtualDisk ||
        m_interrupted->diskFile != m_update.diskFile) {
        Refuse(fmt::format("it was one by {}, this is one by {}", m_interrupted->diskFile,
                           m_update.diskFile));
    }
    if (m_interrupted->state != m_update.state) {
        Refuse(fmt::format("{} has changed since", m_update.diskFile));
    }
}

std::uint64_t CUpdateMark::OlderSize(std::uint64_t sizeNow) const {
    return m_interrupted ? std::min(sizeNow, m_interrupted->olderSize) : sizeNow;
}

void CUpdateMark::Set(const CRanges& ranges, std::uint64_t olderSize) {
    m_update.olderSize = olderSize;
    m_update.ranges = Joined(ranges);
    if (m_interrupted) {
        if (const auto outside = FirstOutside(m_interrupted->ranges, m_update.ranges)) {
            Refuse(fmt::format("these ranges leave out some of its {} bytes from {}",
                               outside->second, outside->first));
        }
    }
    if (!m_update.ranges.empty()) {
        COutputFile file(NVHDXDisk::TextOf(MarkPlace(m_image)), m_sources, m_sync);
        file.Output().Append(TextOf(m_update));
        file.Commit();
    }
}

void CUpdateMark::Remove() {
    RemoveUpdateMark(m_image, m_sync);
}

void CUpdateMark::Refuse(const std::string& difference) const {
    throw CCommandFailure(
        m_image, fmt::format("an update of this image was interrupted, and {}: run the same update "
                             "again, which {} tells, or export the disk anew",
                             difference, NameOfMark(m_image)));
}

void RemoveUpdateMark(const std::string& image, ESync sync) {
    const fs::path place = MarkPlace(image);
    if (!IsMark(place)) {
        return;
    }
    int error = Remove(place);
    if (error == 0 && sync == ESync::needed) {
        error = MakeNameDurable(place);
    }
    if (error != 0) {
        throw CCommandFailure(
            image, fmt::format("is complete, but its mark {} cannot be removed: {}",
                               NameOfMark(image), std::generic_category().message(error)));
    }
}

}  // namespace NTool
