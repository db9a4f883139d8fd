#include "tests/hostile/disk_probe.h"

#include <algorithm>
#include <fstream>
#include <memory>
#include <stdexcept>

#include <vhdx_parser/vhdx_parser.h>

namespace NTest {
namespace {

/// Keeps the lines of level 3, or of all levels; the others cost no memory.
class CLineWriter final : public NDebugTrace::IWriter {
public:
    CLineWriter(std::string& report, bool everyLevel) : m_report(report), m_everyLevel(everyLevel) {
        NDebugTrace::g_pwriter = this;
    }
    ~CLineWriter() { NDebugTrace::g_pwriter = nullptr; }
    CLineWriter(const CLineWriter&) = delete;
    CLineWriter& operator=(const CLineWriter&) = delete;

    void WriteNarrow(const std::string& line, std::uint32_t level) override {
        if (m_everyLevel || level == 3) {
            m_report.append(std::to_string(level)).append(" ").append(line).append("\n");
        }
    }
    void WriteWide(const std::wstring& line, std::uint32_t level) override {
        std::string narrow;
        std::transform(line.begin(), line.end(), std::back_inserter(narrow),
                       [](wchar_t character) { return static_cast<char>(character); });
        WriteNarrow(narrow, level);
    }

private:
    std::string& m_report;
    bool m_everyLevel;
};

struct CProbedFile {
    explicit CProbedFile(const std::filesystem::path& path) {
        NByteStream::Imbue(stream);
        stream.open(path, std::ios::in | std::ios::binary);
    }

    std::basic_ifstream<unsigned char> stream;
    NVHDX::CAccessor accessor;
};

class CDiskProbe {
public:
    CDiskProbe(const std::filesystem::path& path, std::string& report)
        : m_report(report), m_file(path) {}

    void Run() {
        if (!Ask("Entry", [&] { return m_file.accessor.Entry(m_file.stream); })) {
            return;
        }
        AskItems();
        const bool isLoaded = Ask("LoadBlocks", [&] {
            return m_file.accessor.LoadBlocks(m_blocks, m_params, m_file.stream);
        });
        if (!isLoaded) {
            m_params.payloadblksz = m_fileParameters.blockSize;
            m_params.logsectsz = m_sectorSize.sectorSize;
            m_params.virtdisksz = m_diskSize.size;
            m_params.bDifferencing = m_fileParameters.hasParent;
        }
        Ask("BatData", [&] {
            return m_file.accessor.RequestBATData(m_file.stream, m_buffer, m_params, true);
        });
        if (isLoaded) {
            AskModel();
        }
    }

private:
    template <class TRequest>
    bool Ask(const char* name, TRequest request) {
        m_file.stream.clear();
        std::string cause;
        try {
            if (request()) {
                return true;
            }
        } catch (const std::out_of_range& error) {
            cause.append(": ").append(error.what());
        }
        m_report.append(name).append(cause).append("\n");
        return false;
    }

    template <class TItem>
    void AskItem(const char* name, TItem& item) {
        Ask(name, [&] { return m_file.accessor.Retrieve(item, m_file.stream); });
    }

    void AskItems() {
        NVHDX::NMetadata::CPage83Data page83Data;
        NVHDX::NMetadata::CPhysicalSectorSize physicalSectorSize;
        NVHDX::NMetadata::CParent parent;
        AskItem("FileParameters", m_fileParameters);
        AskItem("VirtualDiskSize", m_diskSize);
        AskItem("Page83Data", page83Data);
        AskItem("LogicalSectorSize", m_sectorSize);
        AskItem("PhysicalSectorSize", physicalSectorSize);
        AskItem("ParentLocator", parent);
    }

    void AskModel() {
        const std::uint64_t size = m_params.virtdisksz;
        const std::uint64_t count = std::min<std::uint64_t>(size, 4096);
        AskData("Start", 0, count);
        AskData("End", size - count, count);
        Ask("RealOffsets", [&] {
            (void)NVHDX::RequestPayloadRealOffset(m_blocks, size - count, count, m_params);
            (void)NVHDX::RequestPayloadRealOffsets(m_blocks, 0, size, m_params);
            return true;
        });
        AskBitmap();
        Ask("Iterate", [&] {
            NVHDX::IterateOverBlocks(m_blocks, {{0, 512}, {size / 2, size}}, m_params,
                                     [](auto&&...) {});
            return true;
        });
    }

    void AskData(const char* name, std::uint64_t offset, std::uint64_t count) {
        Ask(name, [&] {
            return NVHDX::RequestPayloadData(m_file.stream, m_blocks, offset, count, m_params,
                                             m_buffer, true);
        });
    }

    void AskBitmap() {
        std::uint64_t position = 0;
        if (NVHDX::RequestSectorBitmapRealOffset(m_blocks, 0, position)) {
            const auto area = std::make_unique<NVHDX::CSectorBitmapArea>();
            Ask("Bitmap", [&] {
                return NVHDX::RequestSectorBitmapData(m_file.stream, m_blocks, 0, *area, true);
            });
        }
    }

    std::string& m_report;
    CProbedFile m_file;
    NVHDX::NMetadata::CFileParameters m_fileParameters;
    NVHDX::NMetadata::CVirtualDiskSize m_diskSize;
    NVHDX::NMetadata::CLogicalSectorSize m_sectorSize;
    NVHDX::CBlocks m_blocks;
    NVHDX::CFileParameters m_params;
    NVHDX::CDynamicAllocBuffer<unsigned char, unsigned __int64> m_buffer;
};

}  // namespace

std::string ProbeDisk(const std::filesystem::path& path) {
    std::string report;
    const CLineWriter writer(report, false);
    CDiskProbe(path, report).Run();
    return report;
}

std::string TraceOpening(const std::filesystem::path& path) {
    std::string report;
    const CLineWriter writer(report, true);
    CProbedFile file(path);
    (void)file.accessor.Entry(file.stream);
    return report;
}

}  // namespace NTest
