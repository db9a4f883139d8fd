#include "tools/vhdx/extent_listing.h"

#include <string>
#include <string_view>
#include <vector>

#include <vhdx_disk/reader.h>
#include "tools/vhdx/command_line.h"
#include "tools/vhdx/json_value.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

using NVHDXDisk::CExtent;

class CExtentPrinter {
public:
    CExtentPrinter(const NVHDXDisk::CDisk& disk, EExtentsOf what, COutput& output)
        : m_what(what), m_output(output) {
        for (const NVHDXDisk::CDiskFile& file : disk.Files()) {
            m_files.push_back(TextOfPath(file.path));
        }
        m_leavesToParents = what == EExtentsOf::oneFile && disk.Files().front().HasParent();
    }

    void PrintTitle() const {
        const bool coloured = m_output.IsColoured();
        m_output.Print(FMT_COMPILE("{}{:>17}  {:>17}  {:>10}  {:<6}  {:>17}{}{}\n"),
                       coloured ? "\x1B[1m" : "", "start", "length", "", "kind", "file offset",
                       IsOfChain() ? "  file" : "", coloured ? "\x1B[0m" : "");
    }

    void PrintText(const CExtent& extent) const {
        const std::string file =
            IsOfChain() && extent.kind != CExtent::hole ? "  " + Printable(FileOf(extent)) : "";
        m_output.Print(FMT_COMPILE("{:>17}  {:>17}  {:>10}  {:<6}  {:>17}{}\n"), extent.offset,
                       extent.length, InUnits(extent.length), KindOf(extent), OffsetOf(extent),
                       file);
    }

    void PrintJson(const CExtent& extent) {
        const bool isData = extent.kind == CExtent::data;
        m_output.Append(m_separator);
        m_separator = ",\n  ";
        m_output.Print(
            FMT_COMPILE("{{\"start\": {}, \"length\": {}, \"kind\": \"{}\", \"file\": {}, "
                        "\"offset\": {}, \"in_log\": {}}}"),
            extent.offset, extent.length, KindOf(extent),
            extent.kind == CExtent::hole ? "null" : JsonText(FileOf(extent)),
            isData ? std::to_string(extent.position) : "null", isData && extent.fromLog);
    }

    void EndJson() const { m_output.Append(m_separator == ",\n  " ? "\n]\n" : "[]\n"); }

private:
    bool IsOfChain() const { return m_what == EExtentsOf::chain; }

    const std::string& FileOf(const CExtent& extent) const { return m_files[extent.file]; }

    std::string_view KindOf(const CExtent& extent) const {
        switch (extent.kind) {
            case CExtent::data:
                return "data";
            case CExtent::zeros:
                return "zeros";
            case CExtent::hole:
                break;
        }
        return m_leavesToParents ? "parent" : "hole";
    }

    static std::string OffsetOf(const CExtent& extent) {
        if (extent.kind != CExtent::data) {
            return "-";
        }
        return extent.fromLog ? "log" : std::to_string(extent.position);
    }

    EExtentsOf m_what;
    COutput& m_output;
    std::vector<std::string> m_files;
    bool m_leavesToParents;
    std::string_view m_separator = "[\n  ";
};

/// Prints the extents that `enumerate` hands to a callback.
template <class TEnumerate>
void Print(const CDiskPointer& disk, EExtentsOf what, bool json, COutput& output,
           TEnumerate enumerate) {
    NVHDXDisk::CReader reader(disk);
    CExtentPrinter printer(*disk, what, output);
    if (!json) {
        printer.PrintTitle();
    }
    const auto print = [&printer, json](const CExtent& extent) {
        json ? printer.PrintJson(extent) : printer.PrintText(extent);
        return true;
    };
    NVHDXDisk::CFailure failure;
    if (!enumerate(reader, print, failure)) {
        throw FailureOf(failure);
    }
    if (json) {
        printer.EndJson();
    }
    output.Flush();
}

}  // namespace

void PrintExtents(const CDiskPointer& disk, EExtentsOf what, const CRangeOptions& range, bool json,
                  COutput& output) {
    Print(disk, what, json, output, [&range](auto& reader, const auto& print, auto& failure) {
        return reader.Extents(range.offset, range.length, print, failure);
    });
}

void PrintChanges(const CDiskPointer& disk, std::size_t since, const CRangeOptions& range,
                  bool json, COutput& output) {
    Print(disk, EExtentsOf::chain, json, output,
          [since, &range](auto& reader, const auto& print, auto& failure) {
              return reader.Changes(since, range.offset, range.length, print, failure);
          });
}

}  // namespace NTool
