#include "tools/vhdx/stream_target.h"

namespace NTool {

namespace {

class CStreamTarget final : public NVHDXDisk::ITarget {
public:
    CStreamTarget(COutput& output, CProgress& progress) : m_output(output), m_progress(progress) {}

    bool Write(std::uint64_t, const unsigned char* bytes, std::size_t count,
               NVHDXDisk::CFailure&) override {
        m_output.Write(bytes, count);
        m_progress.Advance(count);
        return true;
    }
    bool Zero(std::uint64_t, std::uint64_t length, NVHDXDisk::CFailure&) override {
        m_output.WriteZeros(length);
        m_progress.Advance(length);
        return true;
    }
    bool Flush(NVHDXDisk::CFailure&) override {
        m_output.Flush();
        return true;
    }

private:
    COutput& m_output;
    CProgress& m_progress;
};

}  // namespace

void WriteBytes(const CDiskPointer& disk, const CRangeOptions& range, EProgress wanted,
                const std::string& title, COutput& output) {
    CProgress progress(wanted, title);
    progress.Start(range.length);
    CStreamTarget target(output, progress);
    NVHDXDisk::CFailure failure;
    if (!NVHDXDisk::CopyDisk(disk, range.offset, range.length, target, {}, failure)) {
        throw FailureOf(failure);
    }
}

}  // namespace NTool
