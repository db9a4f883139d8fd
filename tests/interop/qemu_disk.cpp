#include "tests/interop/qemu_disk.h"

#include <fstream>
#include <stdexcept>

#include "tests/support/child_process.h"

namespace NTest {

namespace {

// Nothing here outlives the test, so "-t unsafe" saves waiting for the disk below.

std::string RunQemu(const std::vector<std::string>& command) {
    const CChildResult result = RunChild(command);
    if (result.status != 0) {
        throw std::runtime_error(command[0] + " " + command[1] + " ended with status " +
                                 std::to_string(result.status) + ": " + result.errors);
    }
    return result.output;
}

}  // namespace

CQemuDisk::CQemuDisk(const std::string& options, std::uint64_t virtualSize) {
    RunQemu({"qemu-img", "create", "-q", "-f", "vhdx", "-o", options, Path(),
             std::to_string(virtualSize)});
}

void CQemuDisk::Write(const std::vector<CWrittenRange>& ranges) const {
    std::vector<std::string> command = {"qemu-io", "-t", "unsafe", "-f", "vhdx"};
    for (const CWrittenRange& range : ranges) {
        command.push_back("-c");
        command.push_back("write -q -P " + std::to_string(range.byte) + " " +
                          std::to_string(range.offset) + " " + std::to_string(range.length));
    }
    command.push_back(Path());
    RunQemu(command);
}

nlohmann::json CQemuDisk::Info() const {
    return nlohmann::json::parse(
        RunQemu({"qemu-img", "info", "-f", "vhdx", "--output=json", Path()}));
}

nlohmann::json CQemuDisk::Map() const {
    return nlohmann::json::parse(
        RunQemu({"qemu-img", "map", "-f", "vhdx", "--output=json", Path()}));
}

std::filesystem::path CQemuDisk::Convert() const {
    const std::filesystem::path raw = InFolder("qemu.raw");
    RunQemu(
        {"qemu-img", "convert", "-t", "unsafe", "-f", "vhdx", "-O", "raw", Path(), raw.string()});
    return raw;
}

std::string CQemuDisk::Read(std::uint64_t offset, std::uint64_t length) const {
    const std::filesystem::path raw = InFolder("qemu-range.raw");
    std::filesystem::remove(raw);
    RunQemu({"qemu-img", "dd", "-f", "vhdx", "-O", "raw", "bs=512",
             "skip=" + std::to_string(offset / 512),
             // Counted from the start of the disk, not from the first block that is read.
             "count=" + std::to_string((offset + length) / 512), "if=" + Path(),
             "of=" + raw.string()});
    return FileRange(raw, 0, length);
}

std::string FileRange(const std::filesystem::path& path, std::uint64_t offset,
                      std::uint64_t length) {
    std::ifstream file(path, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(offset));
    std::string content(static_cast<std::size_t>(length), '\0');
    if (!file.read(content.data(), static_cast<std::streamsize>(length))) {
        throw std::runtime_error("not " + std::to_string(length) + " bytes in " + path.string());
    }
    return content;
}

}  // namespace NTest
