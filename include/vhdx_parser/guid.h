#ifndef VHDX_PARSER_GUID_H
#define VHDX_PARSER_GUID_H

/// Operations on `_GUID`, the record that names regions, metadata items and disks in a VHDX file.
/// All are pure functions of their arguments and safe to call from any thread.

#include <iosfwd>

#include <vhdx_parser/platform.h>

/// True when all 16 bytes are equal.
VHDX_PARSER_API bool IsEqual(const _GUID& a, const _GUID& b);

/// True when all 16 bytes are zero. A header whose log GUID is null belongs to a file without log.
VHDX_PARSER_API bool IsNull(const _GUID& g);

/// Gives `to` the value of `from`.
VHDX_PARSER_API void Copy(_GUID& to, const _GUID& from);

/// Gives `to` the value of `from`; `from` keeps its value. Never throws.
VHDX_PARSER_API void Move(_GUID& to, _GUID& from) noexcept;

/// Writes the usual text, braced, hyphenated and in upper case:
/// {2DC27766-F623-4200-9D64-115E9BFD4A08}. The stream's format flags are left as they were.
VHDX_PARSER_API std::ostream& operator<<(std::ostream& out, const _GUID& g);

#endif
