#ifndef VHDX_PARSER_PLATFORM_H
#define VHDX_PARSER_PLATFORM_H

/// What differs between compilers and platforms: the export mark, `__int64` and the `_GUID` record.

#include <cstdint>
#include <type_traits>

#if defined(_LIBCPP_VERSION)
#error \
    "vhdx_parser needs character traits of unsigned char, which libc++ does not have; use libstdc++ or the MSVC library."
#endif

/// Marks the names that the shared library shows; every other name of the library is hidden.
/// A program that links the library's objects statically defines `VHDX_PARSER_STATIC`.
#if defined(_WIN32)
#if defined(VHDX_PARSER_BUILDING)
#define VHDX_PARSER_API __declspec(dllexport)
#elif defined(VHDX_PARSER_STATIC)
#define VHDX_PARSER_API
#else
#define VHDX_PARSER_API __declspec(dllimport)
#endif
#else
#define VHDX_PARSER_API __attribute__((visibility("default")))
#endif

/// Hosts may write `unsigned __int64` or `std::uint64_t`: both name the same type, and so the same
/// exported functions, with every compiler. These headers write the latter alone. A host that has
/// an
/// `__int64` of its own defines `VHDX_PARSER_NO_INT64`, and this one is left out.
#if !defined(VHDX_PARSER_NO_INT64)
#if !defined(_MSC_VER) && !defined(__int64)
#if defined(__LP64__) && !defined(__APPLE__)
#define __int64 long
#else
#define __int64 long long
#endif
#endif

static_assert(std::is_same<unsigned __int64, std::uint64_t>::value,
              "unsigned __int64 and std::uint64_t must be one type");
#endif

#if defined(_WIN32)
#include <guiddef.h>
#elif !defined(GUID_DEFINED)
/// The platform's 16-byte identifier record: a 32-bit, two 16-bit and eight 8-bit fields, in the
/// order in which a disk file stores them. A host with headers that define it, and `GUID_DEFINED`
/// with it, includes those first.
struct _GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];
};
#endif

static_assert(sizeof(_GUID) == 16, "a GUID has 16 bytes on disk and in memory");

#endif
