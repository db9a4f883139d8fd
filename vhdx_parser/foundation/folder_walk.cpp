#include <algorithm>
#include <filesystem>
#include <optional>
#include <utility>
#include <vector>

#include <vhdx_parser/file_system.h>

#include "vhdx_parser/foundation/folder_reader.h"
#include "vhdx_parser/foundation/name_mask.h"
#include "vhdx_parser/foundation/native_text.h"
#include "vhdx_parser/foundation/path.h"

namespace NSystem {
namespace {

template <class TChar>
struct CItem {
    std::basic_string<TChar> name;
    CFileAttributes attributes;
};

template <class TChar>
using TCallback =
    std::function<bool(bool&, bool, std::basic_string<TChar>&, const CFileAttributes&)>;

/// Absent when the folder cannot be read to its end, or when `TChar` cannot express an item's name.
template <class TChar>
std::optional<std::vector<CItem<TChar>>> ReadItems(const std::filesystem::path& folder,
                                                   const std::basic_string<TChar>* mask) {
    std::vector<CItem<TChar>> items;
    NFolder::CFolderReader reader(folder);
    while (reader.Next()) {
        auto name = NNativeText::ToText<TChar>(reader.Name());
        if (!name) {
            return std::nullopt;
        }
        if (mask == nullptr || MatchesMask(*name, *mask)) {
            items.push_back({std::move(*name), reader.Attributes()});
        }
    }
    return reader.HasFailed() ? std::nullopt : std::optional(std::move(items));
}

template <class TChar>
bool Walk(const std::basic_string<TChar>& folder, const std::basic_string<TChar>* mask,
          const TCallback<TChar>& callback) {
    const auto nativeFolder = NPath::FolderToNative(folder);
    auto items = nativeFolder ? ReadItems(*nativeFolder, mask) : std::nullopt;
    if (!items) {
        return false;
    }
    std::sort(items->begin(), items->end(),
              [](const auto& a, const auto& b) { return a.name < b.name; });
    bool flag = false;
    for (CItem<TChar>& item : *items) {
        if (!callback(flag, item.attributes.isFolder, item.name, item.attributes)) {
            return false;
        }
    }
    return true;
}

}  // namespace

bool for_each_item_in_folder(
    const std::string& folder, const std::string* mask,
    std::function<bool(bool&, bool, std::string&, const CFileAttributes&)> callback) {
    return Walk(folder, mask, callback);
}

bool for_each_item_in_folder(
    const std::wstring& folder, const std::wstring* mask,
    std::function<bool(bool&, bool, std::wstring&, const CFileAttributes&)> callback) {
    return Walk(folder, mask, callback);
}

}  // namespace NSystem
