#include "vhdx_disk/chain/parent_search.h"

#include <algorithm>
#include <vector>

#include <vhdx_disk/path_query.h>

#include "vhdx_disk/chain/locator_path.h"
#include "vhdx_disk/source/quoted.h"

namespace NVHDXDisk {

namespace {

using NVHDX::NMetadata::CParent;
namespace fs = std::filesystem;

std::string RecordedText(const CParent& locator, CParent::EFormat format) {
    const auto entry = locator.entries.find(format);
    return entry == locator.entries.end() ? "" : QuotedText(Utf8(entry->second.value));
}

/// How the child names its parent.
std::string ParentName(const CParent& locator) {
    for (const auto format : {CParent::formatRelativePath, CParent::formatAbsoluteWin32Path,
                              CParent::formatVolumePath}) {
        if (std::string text = RecordedText(locator, format); !text.empty()) {
            return text;
        }
    }
    return "that the locator does not name";
}

std::vector<std::string> AbsolutePaths(const CParent& locator) {
    std::vector<std::string> texts;
    for (const auto format : AbsoluteFormats) {
        if (std::string text = RecordedText(locator, format); !text.empty()) {
            texts.push_back(std::move(text));
        }
    }
    return texts;
}

/// The recorded paths at which only the linked parent counts.
std::vector<std::string> PathsElsewhere(const CParent& locator, const fs::path& child,
                                        const CParentSearch& search) {
    std::vector<std::string> texts;
    CParentSearch relative = search;
    relative.recordedPaths = false;
    const std::vector<fs::path> candidates = ParentCandidates(locator, child, relative);
    if (!candidates.empty() && !search.IsNamed(candidates.front())) {
        texts.push_back(RecordedText(locator, CParent::formatRelativePath));
    }
    if (search.recordedPaths) {
        const std::vector<std::string> absolute = AbsolutePaths(locator);
        texts.insert(texts.end(), absolute.begin(), absolute.end());
    }
    return texts;
}

std::string Joined(const std::vector<std::string>& texts, const char* lastSeparator) {
    std::string joined;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        joined.append(i == 0 ? "" : i + 1 == texts.size() ? lastSeparator : ", ").append(texts[i]);
    }
    return joined;
}

}  // namespace

std::string MissingParentText(const CParent& locator, const fs::path& child,
                              const CParentSearch& search, const std::string& recordedPathsAdvice) {
    std::string notes;
    if (const auto paths = PathsElsewhere(locator, child, search); !paths.empty()) {
        notes = "no disk with the child's parent linkage lies at " + Joined(paths, " or ");
    }
    const std::vector<std::string> absolute = AbsolutePaths(locator);
    if (!search.recordedPaths && !recordedPathsAdvice.empty() && !absolute.empty()) {
        notes.append(notes.empty() ? "" : "; ").append(recordedPathsAdvice);
        notes.append(" also looks at ").append(Joined(absolute, " and "));
    }
    const std::string text = "the parent " + ParentName(locator) + " is missing";
    return notes.empty() ? text : text + " (" + notes + ")";
}

std::string UnlinkedParentText() {
    return "the parent locator has no valid parent_linkage: nobody can tell whether a parent is "
           "the right one";
}

std::string DoubtfulParentText(const fs::path& parent, ETie tie) {
    if (tie == ETie::unlinked) {
        return UnlinkedParentText();
    }
    return "the parent " + Quoted(parent) +
           " was changed or replaced since the child was made: its DataWriteGuid is not the "
           "child's parent linkage";
}

}  // namespace NVHDXDisk
