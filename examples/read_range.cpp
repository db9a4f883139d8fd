// Writes a range of a virtual disk to standard output: read_range FILE OFFSET LENGTH

#include <fstream>
#include <iostream>
#include <string>

#include <vhdx_parser/vhdx_parser.h>

// The library tells in its trace what it does; level 3 says why something failed.
class FailureWriter final : public NDebugTrace::IWriter {
public:
    void WriteNarrow(const std::string& line, std::uint32_t level) override {
        if (level == 3) {
            std::cerr << line << '\n';
        }
    }
    void WriteWide(const std::wstring&, std::uint32_t) override {}
};

int main(int argc, char** argv) {
    if (argc != 4) {
        std::cerr << "usage: read_range FILE OFFSET LENGTH\n";
        return 2;
    }
    const std::uint64_t offset = std::stoull(argv[2]);
    const std::uint64_t length = std::stoull(argv[3]);

    FailureWriter writer;
    NDebugTrace::g_pwriter = &writer;

    std::basic_ifstream<unsigned char> file;
    NByteStream::Imbue(file);  // before open
    file.open(argv[1], std::ios::in | std::ios::binary);

    NVHDX::CAccessor accessor;          // where things lie in the file
    NVHDX::CBlocks blocks;              // what the file holds for each block of the disk
    NVHDX::CFileParameters parameters;  // the disk's geometry
    if (!accessor.Entry(file) || !accessor.LoadBlocks(blocks, parameters, file)) {
        return 1;
    }
    std::cerr << "a disk of " << parameters.virtdisksz << " bytes in blocks of "
              << parameters.payloadblksz << '\n';
    if (length > parameters.virtdisksz || offset > parameters.virtdisksz - length) {
        std::cerr << "the range does not lie on the disk\n";
        return 1;
    }

    NVHDX::CDynamicAllocBuffer<unsigned char, unsigned __int64> bytes;
    if (!NVHDX::RequestPayloadData(file, blocks, offset, length, parameters, bytes, true)) {
        return 1;
    }
    std::cout.write(reinterpret_cast<const char*>(bytes.data),
                    static_cast<std::streamsize>(length));
    return std::cout ? 0 : 1;
}
