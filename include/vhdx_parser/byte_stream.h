#ifndef VHDX_PARSER_BYTE_STREAM_H
#define VHDX_PARSER_BYTE_STREAM_H

/// Makes file streams over unsigned char usable with this platform's standard library.

#include <cwchar>
#include <ios>
#include <locale>

#include <vhdx_parser/platform.h>

#if defined(__GLIBCXX__)

// libstdc++ declares the conversion facet that its file buffer asks for, but defines it only for
// the usual character types. Bytes need no conversion: `do_always_noconv` says so, and the file
// buffer then moves them straight between the file and the destination. The members are inline, so
// that a host and the library each bring the facet under which their own file buffers look it up.

namespace std {

template <>
inline codecvt_base::result codecvt<unsigned char, char, mbstate_t>::do_out(
    mbstate_t&, const unsigned char* from, const unsigned char*, const unsigned char*& fromNext,
    char* to, char*, char*& toNext) const {
    fromNext = from;
    toNext = to;
    return noconv;
}

template <>
inline codecvt_base::result codecvt<unsigned char, char, mbstate_t>::do_unshift(
    mbstate_t&, char* to, char*, char*& toNext) const {
    toNext = to;
    return noconv;
}

template <>
inline codecvt_base::result codecvt<unsigned char, char, mbstate_t>::do_in(
    mbstate_t&, const char* from, const char*, const char*& fromNext, unsigned char* to,
    unsigned char*, unsigned char*& toNext) const {
    fromNext = from;
    toNext = to;
    return noconv;
}

template <>
inline int codecvt<unsigned char, char, mbstate_t>::do_encoding() const noexcept {
    return 1;
}

template <>
inline bool codecvt<unsigned char, char, mbstate_t>::do_always_noconv() const noexcept {
    return true;
}

template <>
inline int codecvt<unsigned char, char, mbstate_t>::do_length(mbstate_t&, const char* from,
                                                              const char* end, size_t max) const {
    const size_t available = static_cast<size_t>(end - from);
    return static_cast<int>(available < max ? available : max);
}

template <>
inline int codecvt<unsigned char, char, mbstate_t>::do_max_length() const noexcept {
    return 1;
}

}  // namespace std

#endif

namespace NByteStream {

/// Prepares a byte stream for reading and writing files. Call it before `open`:
///
///     std::basic_ifstream<unsigned char> disk;
///     NByteStream::Imbue(disk);
///     disk.open("disk.vhdx", std::ios::in | std::ios::binary);
///
/// Without it libstdc++ opens the file and then fails every read. It has to be called by the
/// module, program or library, that makes the stream: what one module prepares the streams of
/// another do not find. Has no effect with a standard library whose byte streams work as they are.
///
/// On Windows `open` takes narrow names in the process's code page; a wide name opens every file.
inline void Imbue(std::basic_ios<unsigned char>& stream) {
#if defined(__GLIBCXX__)
    // One facet for all streams, which no locale ever destroys: a locale that runs out of memory
    // while it takes a facet over would leave it behind.
    static auto* const facet = new std::codecvt<unsigned char, char, std::mbstate_t>(1);
    stream.imbue(std::locale(stream.getloc(), facet));
#else
    (void)stream;
#endif
}

}  // namespace NByteStream

#endif
