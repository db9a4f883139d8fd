#include "host/library_view.h"

#include <vhdx_parser/accessor.h>

#include "host/container_entry.h"
#include "host/library_name.h"
#include "host/locator_path.h"
#include "host/replay_stream.h"

namespace NVHDXHost {

namespace {

using NVHDX::NMetadata::CParent;

/// The text that the relative path must begin with: the parent lies in the same folder.
constexpr std::wstring_view SameFolder = L".\\";

/// As the builder compares it: narrow, deliberately, by low bytes only, which names beyond Latin-1
/// do not survive.
std::string NameOf(std::wstring_view text) {
    if constexpr (sizeof(CPlatformLetter) > 1) {
        return TextFromLocator(std::wstring(text));
    }
    std::string narrow;
    for (const wchar_t character : text) {
        narrow += static_cast<char>(static_cast<unsigned char>(character & 0xFF));
    }
    return narrow;
}

std::string ReadParentName(const CParent& locator, CLibraryView& view) {
    const auto entry = locator.entries.find(CParent::formatRelativePath);
    if (entry == locator.entries.end()) {
        return "its parent locator has no relative path";
    }
    const std::wstring& path = entry->second.value;
    if (std::wstring_view(path).substr(0, SameFolder.size()) != SameFolder) {
        return "it names its parent by " + QuotedText(TextFromLocator(path)) +
               ", and the library follows nothing but \".\\\" and a file name";
    }
    view.parentName = NameOf(std::wstring_view(path).substr(SameFolder.size()));
    return {};
}

std::string Read(const std::filesystem::path& path, CLibraryView& view) {
    CReplayStream stream(path, CReplayStream::asItStands);
    NVHDX::CAccessor accessor;
    CParent locator;
    if (view.name.find('\\') != std::string::npos) {
        return "the library divides its name at the '\\'";
    }
    if (std::string error; !OpenContainer(accessor, stream, error)) {
        return error;
    }
    if (!accessor.Retrieve(locator, stream)) {
        return "its parent locator cannot be read";
    }
    view.differencing = locator.present;
    return locator.present ? ReadParentName(locator, view) : "";
}

}  // namespace

CLibraryView ViewAsLibrary(const std::filesystem::path& folder, const std::filesystem::path& name) {
    CLibraryView view;
    view.name = TextFromPath(name);
    view.refusal = Read(folder / name, view);
    return view;
}

}  // namespace NVHDXHost
