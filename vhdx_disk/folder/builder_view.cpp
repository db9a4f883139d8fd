#include <optional>
#include <utility>

#include <vhdx_disk/path_query.h>

#include "vhdx_disk/folder/linking_forecast.h"
#include "vhdx_disk/source/quoted.h"
#include "vhdx_disk/table/container.h"

namespace NVHDXDisk {

namespace {

using NVHDX::NMetadata::CParent;
namespace NRule = NVHDX::NLinkingRule;

std::string ReadParentName(const CParent& locator, CBuilderView& view) {
    const auto entry = locator.entries.find(CParent::formatRelativePath);
    if (entry == locator.entries.end()) {
        return "its parent locator has no relative path";
    }
    const NRule::CParentPath parent = NRule::ParentFileName(entry->second.value);
    if (parent.problem != NRule::EPathProblem::none) {
        return "it names its parent by " + QuotedText(Utf8(entry->second.value)) +
               ", and the library follows nothing but \".\\\" and a file name";
    }
    view.disk.differencing = true;
    view.disk.parentName = NRule::NameFromLocator<CPlatformLetter>(parent.name);
    view.parentName = TextOf(std::filesystem::path(view.disk.parentName));
    return {};
}

std::string Read(const std::filesystem::path& path, CBuilderView& view) {
    if (view.name.find('\\') != std::string::npos) {
        return "the library divides its name at the '\\'";
    }
    CFailure failure;
    const CSourcePointer source = OpenFile(path, failure);
    CContainer container;
    CParent locator;
    if (source == nullptr ||
        !container.Open({source, {}, std::nullopt}, ELog::asItStands, failure)) {
        return failure.reason;
    }
    if (!container.Retrieve(locator)) {
        return "its parent locator cannot be read";
    }
    return locator.present ? ReadParentName(locator, view) : "";
}

}  // namespace

CBuilderView ViewAsBuilder(const std::filesystem::path& folder, const CPlatformName& name) {
    CBuilderView view;
    view.name = TextOf(std::filesystem::path(name));
    view.disk = {name, false, {}};
    view.refusal = Read(folder / name, view);
    return view;
}

}  // namespace NVHDXDisk
