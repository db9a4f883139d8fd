// A host asks for the types of the library's objects, and the library for those of the host: what
// the compiler keeps of a polymorphic type is on either side.

#include <vhdx_disk/vhdx_disk.h>

#include <cstring>
#include <string>

namespace {

/// A source of the host's: a file of zeros.
class CZeros final : public NVHDXDisk::IByteSource {
public:
    const std::filesystem::path& Path() const override { return m_path; }
    std::uint64_t Size() const override { return 1024 * 1024; }
    bool ReadAt(std::uint64_t, unsigned char* bytes, std::size_t count,
                NVHDXDisk::CFailure&) const override {
        std::memset(bytes, 0, count);
        return true;
    }

private:
    std::filesystem::path m_path = "zeros";
};

bool IsReplayedStream(std::basic_istream<unsigned char>& stream) {
    return dynamic_cast<NVHDXDisk::CReplayedStream*>(&stream) != nullptr;
}

}  // namespace

int main() {
    NVHDXDisk::CFailure failure;
    const NVHDXDisk::CSourcePointer zeros = std::make_shared<CZeros>();
    NVHDXDisk::CReplayedStream stream(zeros, NVHDXDisk::ELog::asItStands, failure);
    NVHDX::CAccessor accessor;
    const bool isRefused = !NVHDXDisk::OpenContainer(accessor, stream, failure) &&
                           failure.kind == NVHDXDisk::CFailure::notADisk;
    const bool isOfTheHost = dynamic_cast<const CZeros*>(stream.File().get()) != nullptr;
    return IsReplayedStream(stream) && isRefused && isOfTheHost ? 0 : 1;
}
