#include "tools/vhdx/disk_svg.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <vhdx_disk/path_query.h>
#include <vhdx_disk/reader.h>
#include "tools/vhdx/command_failure.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

using NVHDX::CPayloadBlock;
using NVHDXDisk::CBlockRun;
using NVHDXDisk::CExtent;

constexpr std::uint64_t columnCount = 64;
constexpr std::uint64_t largestRowCount = 32;
constexpr double cellSize = 14;
constexpr double left = 96;
constexpr double top = 74;
constexpr double width = left + columnCount * cellSize + 24;
/// Less would not be seen.
constexpr double smallestFill = 3;

/// Told apart by people who see few colours, too. Older files share the last one.
constexpr std::array<std::string_view, 7> fileColours = {"#0072B2", "#E69F00", "#009E73", "#D55E00",
                                                         "#CC79A7", "#56B4E9", "#5D5D5D"};
constexpr std::string_view emptyColour = "#E8E8E8";

/// Blocks of which a file says that they have no data.
struct CEmptyState {
    CPayloadBlock::EState state;
    std::string_view colour;
    std::string_view name;
};
constexpr std::array<CEmptyState, 3> emptyStates = {{
    {CPayloadBlock::Zero, "#F6E8A8", "zero blocks, read as zeros"},
    {CPayloadBlock::Unmapped, "#A796D1", "unmapped blocks, given up by the guest, read as zeros"},
    {CPayloadBlock::Undefined, "#000000", "undefined blocks, read as zeros"},
}};

/// The kinds of bytes: those of each file, those of each state, and the rest.
constexpr std::size_t firstStateKind = fileColours.size();
constexpr std::size_t restKind = firstStateKind + emptyStates.size();

using CRuns = std::vector<CBlockRun>;

/// The bytes of each kind in one cell, or in all.
using CFill = std::array<std::uint64_t, restKind + 1>;

std::size_t KindOfState(CPayloadBlock::EState wanted) {
    const auto state =
        std::find_if(emptyStates.begin(), emptyStates.end(),
                     [wanted](const CEmptyState& one) { return one.state == wanted; });
    return firstStateKind + static_cast<std::size_t>(state - emptyStates.begin());
}

std::string_view ColourOf(std::size_t kind) {
    return kind < firstStateKind ? fileColours[kind] : emptyStates[kind - firstStateKind].colour;
}

std::string Escaped(const std::string& text) {
    std::string escaped;
    for (const char character : Printable(text)) {
        switch (character) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            default:
                escaped += character;
        }
    }
    return escaped;
}

/// "1280 MiB", where the usual text would round to "1.2 GiB".
std::string Exactly(std::uint64_t bytes) {
    std::uint64_t unit = 1;
    while (bytes % (unit * 1024) == 0 && bytes / unit >= 1024) {
        unit *= 1024;
    }
    return fmt::format("{}{}", bytes / unit, InUnits(unit).substr(1));
}

class CDiskPicture {
public:
    CDiskPicture(const CDiskPointer& disk, bool leavesToParents, COutput& output)
        : m_disk(disk),
          m_leavesToParents(leavesToParents),
          m_output(output),
          m_emptyRuns(disk->Files().size()) {
        const std::uint64_t size = disk->Size();
        const std::uint64_t most = columnCount * largestRowCount;
        m_cellBytes = std::max<std::uint64_t>(disk->Files().front().blockSize,
                                              std::bit_ceil((size - 1) / most + 1));
        m_cells.resize(static_cast<std::size_t>((size - 1) / m_cellBytes + 1));
    }

    void Draw() {
        FillCells();
        DrawFrame();
        DrawAxes();
        for (std::size_t cell = 0; cell < m_cells.size(); ++cell) {
            DrawCell(cell);
        }
        DrawLegend();
        m_output.Append("</svg>\n");
        m_output.Flush();
    }

private:
    std::uint64_t RowCount() const { return (m_cells.size() - 1) / columnCount + 1; }
    double LegendTop() const { return top + static_cast<double>(RowCount()) * cellSize + 34; }
    std::size_t FileCount() const { return std::min(m_disk->Files().size(), fileColours.size()); }

    void FillCells() {
        NVHDXDisk::CReader reader(m_disk);
        const auto add = [this](const CExtent& extent) {
            switch (extent.kind) {
                case CExtent::data:
                    Add(extent.offset, extent.End(), std::min(extent.file, firstStateKind - 1));
                    break;
                case CExtent::zeros:
                    AddStates(extent);
                    break;
                case CExtent::hole:
                    Add(extent.offset, extent.End(), restKind);
            }
            return true;
        };
        NVHDXDisk::CFailure failure;
        if (!reader.Extents(0, m_disk->Size(), add, failure)) {
            throw FailureOf(failure);
        }
    }

    void Add(std::uint64_t begin, std::uint64_t end, std::size_t kind) {
        m_all[kind] += end - begin;
        while (begin != end) {
            const std::uint64_t cell = begin / m_cellBytes;
            const std::uint64_t cellEnd = std::min(end, (cell + 1) * m_cellBytes);
            m_cells[static_cast<std::size_t>(cell)][kind] += cellEnd - begin;
            begin = cellEnd;
        }
    }

    /// The file that says zeros has a run of blocks for each byte of them.
    void AddStates(const CExtent& extent) {
        const std::uint64_t blockSize = m_disk->Files()[extent.file].blockSize;
        const CRuns& runs = EmptyRuns(extent.file);
        for (std::uint64_t at = extent.offset; at != extent.End();) {
            const auto run = std::prev(std::partition_point(
                runs.begin(), runs.end(), [at, blockSize](const CBlockRun& one) {
                    return one.firstBlock * blockSize <= at;
                }));
            const std::uint64_t end =
                std::min(extent.End(), (run->firstBlock + run->count) * blockSize);
            Add(at, end, KindOfState(run->state));
            at = end;
        }
    }

    /// The runs of a file's blocks that it says to be zeros, in their order.
    const CRuns& EmptyRuns(std::size_t file) {
        std::optional<CRuns>& runs = m_emptyRuns[file];
        if (!runs) {
            runs.emplace();
            NVHDXDisk::CFailure failure;
            const auto table = m_disk->Table(file, failure);
            const auto keep = [&runs](const CBlockRun& run) {
                if (KindOfState(run.state) != restKind) {
                    runs->push_back(run);
                }
                return true;
            };
            if (table == nullptr || !table->Runs(keep, failure)) {
                throw FailureOf(failure);
            }
        }
        return *runs;
    }

    void DrawFrame() {
        const double height =
            LegendTop() + static_cast<double>(FileCount() + emptyStates.size() + 1) * 20 + 10;
        m_output.Print(
            FMT_COMPILE("<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 {0} {1}\" "
                        "width=\"{0}\" height=\"{1}\" font-family=\"sans-serif\" "
                        "font-size=\"11\">\n<rect width=\"{0}\" height=\"{1}\" fill=\"white\"/>\n"),
            width, height);
        DrawText(left, 22, "start", 16, NVHDXDisk::TextOf(m_disk->Files().front().path));
        const std::uint64_t blocks = m_cellBytes / m_disk->Files().front().blockSize;
        DrawText(left, 42, "start", 12,
                 fmt::format("{} in blocks of {}; each cell is {}, {}", InUnits(m_disk->Size()),
                             InUnits(m_disk->Files().front().blockSize), InUnits(m_cellBytes),
                             blocks == 1 ? "one block" : fmt::format("{} blocks", blocks)));
    }

    /// Rows begin at the offset on their left; columns add what stands above them.
    void DrawAxes() {
        const std::uint64_t columns = std::min<std::uint64_t>(columnCount, m_cells.size());
        for (std::uint64_t column = 0; column < columns; column += 8) {
            const double x = left + static_cast<double>(column) * cellSize;
            DrawText(x, top - 8, "start", 10,
                     column == 0 ? "+0" : fmt::format("+{}", Exactly(column * m_cellBytes)));
            m_output.Print(FMT_COMPILE("<path d=\"M{0} {1}v5\" stroke=\"#777\"/>\n"), x, top - 6);
        }
        const std::uint64_t rowStep = RowCount() <= 8 ? 1 : 2;
        for (std::uint64_t row = 0; row < RowCount(); row += rowStep) {
            DrawText(left - 8, top + (static_cast<double>(row) + 0.75) * cellSize, "end", 11,
                     row == 0 ? "0" : InUnits(row * columnCount * m_cellBytes));
        }
    }

    void DrawCell(std::size_t index) {
        const CFill& fill = m_cells[index];
        const std::uint64_t begin = index * m_cellBytes;
        const std::uint64_t bytes = std::min(m_cellBytes, m_disk->Size() - begin);
        const double x = left + static_cast<double>(index % columnCount) * cellSize;
        const std::size_t row = index / columnCount;
        const double y = top + static_cast<double>(row) * cellSize;
        DrawBox(x, y, cellSize - 1, emptyColour);
        double bottom = y + cellSize - 1;
        const auto stack = [&](std::uint64_t part, std::string_view colour) {
            if (part == 0) {
                return;
            }
            const double share = static_cast<double>(part) / static_cast<double>(bytes);
            const double wanted = std::max(smallestFill, share * (cellSize - 1));
            const double height = std::min(wanted, bottom - y);
            bottom -= height;
            DrawBox(x, bottom, height, colour);
        };
        for (std::size_t kind = 0; kind < restKind; ++kind) {
            stack(fill[kind], ColourOf(kind));
        }
    }

    void DrawBox(double x, double y, double height, std::string_view colour) {
        if (height > 0) {
            m_output.Print(FMT_COMPILE("<rect x=\"{:g}\" y=\"{:.2f}\" width=\"{:g}\" "
                                       "height=\"{:.2f}\" fill=\"{}\"/>\n"),
                           x, y, cellSize - 1, height, colour);
        }
    }

    void DrawText(double x, double y, std::string_view anchor, int size, const std::string& text) {
        m_output.Print(
            FMT_COMPILE(
                "<text x=\"{:g}\" y=\"{:g}\" text-anchor=\"{}\" font-size=\"{}\">{}</text>\n"),
            x, y, anchor, size, Escaped(text));
    }

    void DrawLegend() {
        double y = LegendTop();
        const auto entry = [&](std::string_view colour, std::string_view name,
                               std::uint64_t bytes) {
            DrawBox(left, y - 11, cellSize - 1, colour);
            DrawText(left + 22, y, "start", 12, fmt::format("{}: {}", name, InUnits(bytes)));
            y += 20;
        };
        for (std::size_t file = 0; file < FileCount(); ++file) {
            entry(fileColours[file], FileName(file), m_all[file]);
        }
        for (const CEmptyState& state : emptyStates) {
            entry(state.colour, state.name, m_all[KindOfState(state.state)]);
        }
        entry(emptyColour, m_leavesToParents ? "left to the parents" : "in no file, reads as zeros",
              m_all[restKind]);
    }

    std::string FileName(std::size_t file) const {
        const std::size_t count = m_disk->Files().size();
        if (file == fileColours.size() - 1 && count > fileColours.size()) {
            return fmt::format("{} older files", count - file);
        }
        return "data in " + NVHDXDisk::TextOf(m_disk->Files()[file].path.filename());
    }

    CDiskPointer m_disk;
    bool m_leavesToParents;
    COutput& m_output;
    std::vector<std::optional<CRuns>> m_emptyRuns;  ///< of each file that was asked for
    std::uint64_t m_cellBytes = 0;
    std::vector<CFill> m_cells;
    CFill m_all = {};
};

}  // namespace

void DrawDisk(const CDiskPointer& disk, bool leavesToParents, COutput& output) {
    CDiskPicture(disk, leavesToParents, output).Draw();
}

}  // namespace NTool
