// A plugin for nbdkit: a block device in memory that keeps every write and every flush in the order
// in which they came. nbdkit FILE image=IMAGE log=LOG; a record of LOG is three numbers of 64 bits,
// kind (0 a write, 1 a flush), position and length, and behind a write its bytes.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#define NBDKIT_API_VERSION 2
#include <nbdkit-plugin.h>

#define THREAD_MODEL NBDKIT_THREAD_MODEL_SERIALIZE_ALL_REQUESTS

namespace {

enum EKind : std::uint64_t { written, flushed };

std::vector<char> bytes;
int logFile = -1;

bool WriteAll(const char* data, std::size_t count) {
    while (count != 0) {
        const ssize_t done = write(logFile, data, count);
        if (done <= 0) {
            return false;
        }
        data += done;
        count -= static_cast<std::size_t>(done);
    }
    return true;
}

int Record(EKind kind, std::uint64_t position, const void* data, std::uint32_t count) {
    const std::array<std::uint64_t, 3> head = {kind, position, count};
    if (!WriteAll(reinterpret_cast<const char*>(head.data()), sizeof(head)) ||
        !WriteAll(static_cast<const char*>(data), count)) {
        nbdkit_error("the log cannot be written");
        return -1;
    }
    return 0;
}

int Configure(const char* key, const char* value) {
    if (std::string(key) == "log") {
        logFile = open(value, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
        return logFile < 0 ? -1 : 0;
    }
    std::ifstream image(value, std::ios::binary);
    bytes.assign(std::istreambuf_iterator<char>(image), std::istreambuf_iterator<char>());
    return bytes.empty() ? -1 : 0;
}

void* Open(int) {
    return NBDKIT_HANDLE_NOT_NEEDED;
}

std::int64_t Size(void*) {
    return static_cast<std::int64_t>(bytes.size());
}

int Read(void*, void* data, std::uint32_t count, std::uint64_t position, std::uint32_t) {
    std::copy_n(bytes.data() + position, count, static_cast<char*>(data));
    return 0;
}

int Write(void*, const void* data, std::uint32_t count, std::uint64_t position, std::uint32_t) {
    std::copy_n(static_cast<const char*>(data), count, bytes.data() + position);
    return Record(written, position, data, count);
}

int Flush(void*, std::uint32_t) {
    return Record(flushed, 0, nullptr, 0);
}

nbdkit_plugin Plugin() {
    nbdkit_plugin plugin = {};
    plugin.name = "recording";
    plugin.config = Configure;
    plugin.open = Open;
    plugin.get_size = Size;
    plugin.pread = Read;
    plugin.pwrite = Write;
    plugin.flush = Flush;
    return plugin;
}

nbdkit_plugin plugin = Plugin();

}  // namespace

NBDKIT_REGISTER_PLUGIN(plugin)
