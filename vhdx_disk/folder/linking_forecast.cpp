#include "vhdx_disk/folder/linking_forecast.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "vhdx_disk/source/quoted.h"

namespace NVHDXDisk {

namespace {

using NVHDX::NLinkingRule::CLinkedDisk;
using CFiles = std::vector<CBuilderView>;
using CDisks = std::vector<CLinkedDisk<CPlatformLetter>>;

CDisks DisksOf(const CFiles& files) {
    CDisks disks;
    std::transform(files.begin(), files.end(), std::back_inserter(disks),
                   [](const CBuilderView& file) { return file.disk; });
    return disks;
}

using CChildren = std::map<CPlatformName, std::vector<std::size_t>>;

/// The differencing files by the name of their parent, each list in the order of the folder.
CChildren ChildrenByParent(const CFiles& files) {
    CChildren children;
    for (std::size_t i = 0; i < files.size(); ++i) {
        if (files[i].disk.differencing) {
            children[files[i].disk.parentName].push_back(i);
        }
    }
    return children;
}

/// Why the builder returns false before it links.
std::vector<std::string> Refusals(const CFiles& files, const CDisks& disks) {
    std::vector<std::string> reasons;
    if (files.empty()) {
        reasons.emplace_back("the folder holds no disk");
    }
    const std::vector<std::size_t> orphans = NVHDX::NLinkingRule::WithoutParent(disks);
    for (std::size_t i = 0; i < files.size(); ++i) {
        if (!files[i].refusal.empty()) {
            reasons.push_back(QuotedText(files[i].name) + ": " + files[i].refusal);
        } else if (std::binary_search(orphans.begin(), orphans.end(), i)) {
            reasons.push_back(QuotedText(files[i].name) + ": its parent " +
                              QuotedText(files[i].parentName) + " is not in the folder");
        }
    }
    return reasons;
}

/// Several children of one parent, of which the pass attaches the first alone.
std::string ForkText(const CFiles& files, const std::vector<std::size_t>& children) {
    std::string text;
    for (const std::size_t child : children) {
        const bool isLast = child == children.back();
        text.append(text.empty() ? "" : isLast ? " and " : ", ");
        text.append(QuotedText(files[child].name));
    }
    return text + " have one parent, " + QuotedText(files[children.front()].parentName) +
           ": the library attaches one child to each disk";
}

std::vector<std::string> ForkTexts(const CFiles& files, const CChildren& children) {
    std::vector<std::string> texts;
    for (const auto& [parent, siblings] : children) {
        if (siblings.size() > 1) {
            texts.push_back(ForkText(files, siblings));
        }
    }
    return texts;
}

/// The files that lead back to a file that was not attached, without reaching a base. Every parent
/// is in the folder.
std::vector<std::string> CircleTexts(const CFiles& files, std::set<std::size_t> attached) {
    std::map<CPlatformName, std::size_t> byName;
    for (std::size_t i = 0; i < files.size(); ++i) {
        byName.emplace(files[i].disk.name, i);
    }
    std::vector<std::string> texts;
    for (std::size_t start = 0; start < files.size(); ++start) {
        std::vector<std::size_t> way;
        std::size_t at = start;
        while (attached.insert(at).second) {
            way.push_back(at);
            at = byName.at(files[at].disk.parentName);
        }
        const auto circle = std::find(way.begin(), way.end(), at);
        if (circle == way.end()) {
            continue;
        }
        std::string text;
        std::for_each(circle, way.end(), [&](std::size_t file) {
            text.append(QuotedText(files[file].name)).append(" has the parent ");
        });
        texts.push_back(text + QuotedText(files[at].name) +
                        ": they never reach a disk without parent");
    }
    return texts;
}

/// Whether the pass attaches every file that descends from the chain's base.
bool IsLinkable(const std::vector<std::size_t>& chain, const CFiles& files,
                const CChildren& children) {
    return std::none_of(chain.begin(), chain.end(), [&](std::size_t file) {
        const auto found = children.find(files[file].disk.name);
        return found != children.end() && found->second.size() > 1;
    });
}

}  // namespace

CLinkingForecast ForetellLinking(const CFiles& files) {
    const CDisks disks = DisksOf(files);
    const CChildren children = ChildrenByParent(files);
    const NVHDX::NLinkingRule::CLinking linking = NVHDX::NLinkingRule::Link(disks);
    CLinkingForecast forecast;
    // The folder itself may be open while its disks are.
    forecast.openFiles = files.empty() ? 0 : files.size() + 1;
    std::set<std::size_t> attached;
    for (const std::vector<std::size_t>& chain : linking.chains) {
        attached.insert(chain.begin(), chain.end());
        if (files[chain.front()].refusal.empty()) {
            forecast.chains.push_back({chain, IsLinkable(chain, files, children)});
        }
    }
    forecast.reasons = Refusals(files, disks);
    if (!forecast.reasons.empty()) {
        forecast.outcome = CLinkingForecast::refuses;
    } else if (!linking.unattached.empty()) {
        forecast.outcome = CLinkingForecast::neverEnds;
        forecast.reasons = ForkTexts(files, children);
        const auto circles = CircleTexts(files, std::move(attached));
        forecast.reasons.insert(forecast.reasons.end(), circles.begin(), circles.end());
    }
    return forecast;
}

void HeedFreeDescriptors(CLinkingForecast& forecast, std::size_t disks, std::size_t free) {
    for (CLinkingForecast::CChain& chain : forecast.chains) {
        chain.linkable = chain.linkable && chain.files.size() < free;
    }
    if (forecast.outcome != CLinkingForecast::links || free >= forecast.openFiles) {
        return;
    }
#if defined(_WIN32)
    constexpr auto advice = "_setmaxstdio raises the limit";
#else
    constexpr auto advice = "raise the limit (ulimit -n)";
#endif
    forecast.outcome = CLinkingForecast::refuses;
    forecast.reasons.push_back(
        "linking " + std::to_string(disks) + " disks needs " + std::to_string(forecast.openFiles) +
        " open files, and this process may open " + std::to_string(free) + " more: " + advice);
}

}  // namespace NVHDXDisk
