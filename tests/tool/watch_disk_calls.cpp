// A library to be loaded before a program (LD_PRELOAD): appends to the file VHDX_TEST_CALLS, a line
// for each, the calls that change files and names and those that make them durable. With
// VHDX_TEST_FOLDER_ERROR, a number of errno, no folder can be made durable.

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

std::string lastLine;

/// Many changes one behind the other are one line.
void Record(const std::string& line) {
    const int kept = errno;
    const char* const file = std::getenv("VHDX_TEST_CALLS");
    const int opened =
        file == nullptr || line == lastLine ? -1 : open(file, O_WRONLY | O_CREAT | O_APPEND, 0600);
    if (opened >= 0) {
        lastLine = line;
        const std::string text = line + "\n";
        (void)!write(opened, text.data(), text.size());
        (void)close(opened);
    }
    errno = kept;
}

std::string NameOf(const char* path) {
    const char* const slash = std::strrchr(path, '/');
    return slash == nullptr ? path : slash + 1;
}

bool IsFolder(int file) {
    struct stat status = {};
    return fstat(file, &status) == 0 && S_ISDIR(status.st_mode);
}

template <class TFunction>
TFunction* Next(const char* name) {
    return reinterpret_cast<TFunction*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

int fsync(int file) {
    if (!IsFolder(file)) {
        Record("fsync file");
        return Next<decltype(fsync)>("fsync")(file);
    }
    Record("fsync folder");
    if (const char* const error = std::getenv("VHDX_TEST_FOLDER_ERROR"); error != nullptr) {
        errno = std::atoi(error);
        return -1;
    }
    return Next<decltype(fsync)>("fsync")(file);
}

int ftruncate(int file, off_t size) noexcept {
    Record("change");
    return Next<int(int, off_t)>("ftruncate")(file, size);
}

ssize_t pwrite(int file, const void* bytes, size_t count, off_t offset) {
    Record("change");
    return Next<decltype(pwrite)>("pwrite")(file, bytes, count, offset);
}

ssize_t copy_file_range(int from, off64_t* position, int to, off64_t* offset, size_t count,
                        unsigned flags) {
    Record("change");
    return Next<decltype(copy_file_range)>("copy_file_range")(from, position, to, offset, count,
                                                              flags);
}

int fallocate(int file, int mode, off_t offset, off_t length) {
    Record("change");
    return Next<decltype(fallocate)>("fallocate")(file, mode, offset, length);
}

int link(const char* file, const char* place) noexcept {
    Record("name " + NameOf(place));
    return Next<int(const char*, const char*)>("link")(file, place);
}

int linkat(int from, const char* file, int to, const char* place, int flags) noexcept {
    Record("name " + NameOf(place));
    return Next<int(int, const char*, int, const char*, int)>("linkat")(from, file, to, place,
                                                                        flags);
}

int rename(const char* file, const char* place) noexcept {
    Record("name " + NameOf(place));
    return Next<int(const char*, const char*)>("rename")(file, place);
}

int remove(const char* file) noexcept {
    Record("remove " + NameOf(file));
    return Next<int(const char*)>("remove")(file);
}

}  // extern "C"
