#ifndef VHDX_DISK_EXPORT_H
#define VHDX_DISK_EXPORT_H

/// Marks the names that the shared library shows; every other name of the library is hidden.
/// A program that links the library's objects statically defines `VHDX_DISK_STATIC`, and
/// `VHDX_PARSER_STATIC` where it links the first library so.
#if defined(_WIN32)
#if defined(VHDX_DISK_BUILDING)
#define VHDX_DISK_API __declspec(dllexport)
#elif defined(VHDX_DISK_STATIC)
#define VHDX_DISK_API
#else
#define VHDX_DISK_API __declspec(dllimport)
#endif
#else
#define VHDX_DISK_API __attribute__((visibility("default")))
#endif

#endif
