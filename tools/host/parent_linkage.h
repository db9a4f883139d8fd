#ifndef VHDX_HOST_PARENT_LINKAGE_H
#define VHDX_HOST_PARENT_LINKAGE_H

#include <optional>
#include <string>
#include <vector>

#include <vhdx_parser/guid.h>
#include <vhdx_parser/metadata.h>

namespace NVHDXHost {

/// The GUID of a text such as "{2dc27766-F623-4200-9D64-115E9BFD4A08}"; case does not matter.
[[nodiscard]] std::optional<_GUID> ParseGuid(const std::wstring& text);

/// The usual braced text of a GUID.
[[nodiscard]] std::string TextOf(const _GUID& guid);

/// The identifiers that a child's locator accepts for its parent's DataWriteGuid: parent_linkage
/// and parent_linkage2. Texts that are no GUID are left out, and so is the null GUID: who writes it
/// means that there is none, and it would fit every disk that has none either.
[[nodiscard]] std::vector<_GUID> LinkagesOf(const NVHDX::NMetadata::CParent& locator);

}  // namespace NVHDXHost

#endif
