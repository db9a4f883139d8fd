#include "host/chain_linking.h"

#include <algorithm>
#include <map>
#include <set>

#include "host/locator_path.h"

namespace NVHDXHost {

namespace {

using CChildren = std::map<std::string, std::vector<std::size_t>>;

/// The differencing files by the name of their parent, each list in the order of the folder.
CChildren ChildrenByParent(const std::vector<CLibraryView>& files) {
    CChildren children;
    for (std::size_t i = 0; i < files.size(); ++i) {
        if (files[i].refusal.empty() && files[i].differencing) {
            children[files[i].parentName].push_back(i);
        }
    }
    return children;
}

bool IsParentThere(const std::vector<CLibraryView>& files, const CLibraryView& child) {
    return std::any_of(files.begin(), files.end(), [&](const CLibraryView& file) {
        return &file != &child && file.name == child.parentName;
    });
}

/// Why the builder returns false before it links.
std::vector<std::string> Refusals(const std::vector<CLibraryView>& files) {
    std::vector<std::string> reasons;
    if (files.empty()) {
        reasons.emplace_back("the folder holds no disk");
    }
    for (const CLibraryView& file : files) {
        if (!file.refusal.empty()) {
            reasons.push_back(QuotedText(file.name) + ": " + file.refusal);
        } else if (file.differencing && !IsParentThere(files, file)) {
            reasons.push_back(QuotedText(file.name) + ": its parent " +
                              QuotedText(file.parentName) + " is not in the folder");
        }
    }
    return reasons;
}

/// Several children of one parent, of which the pass attaches the first alone.
std::string ForkText(const std::vector<CLibraryView>& files, const std::string& parent,
                     const std::vector<std::size_t>& children) {
    std::string text;
    for (const std::size_t child : children) {
        text += (text.empty()               ? ""
                 : child == children.back() ? " and "
                                            : ", ") +
                QuotedText(files[child].name);
    }
    return text + " have one parent, " + QuotedText(parent) +
           ": the library attaches one child to each disk";
}

/// Follows first children from the base to the tip, as the pass does. Ends: each file has one
/// parent and the base none, so no file is met twice.
CLinkedChain ChainOf(const std::vector<CLibraryView>& files, const CChildren& children,
                     std::size_t base) {
    CLinkedChain chain;
    chain.linkable = true;
    chain.files.push_back(base);
    auto next = children.find(files[base].name);
    while (next != children.end()) {
        if (next->second.size() > 1) {
            chain.linkable = false;
            chain.reason +=
                (chain.reason.empty() ? "" : "; ") + ForkText(files, next->first, next->second);
        }
        chain.files.push_back(next->second.front());
        next = children.find(files[next->second.front()].name);
    }
    return chain;
}

/// The files that lead back to a file that was not attached, without reaching a base.
std::vector<std::string> CycleTexts(const std::vector<CLibraryView>& files,
                                    const std::set<std::size_t>& attached) {
    std::map<std::string, std::size_t> byName;
    for (std::size_t i = 0; i < files.size(); ++i) {
        byName.emplace(files[i].name, i);
    }
    std::vector<std::string> texts;
    std::set<std::size_t> seen = attached;
    for (std::size_t start = 0; start < files.size(); ++start) {
        std::vector<std::size_t> way;
        std::size_t at = start;
        while (seen.insert(at).second) {
            way.push_back(at);
            at = byName.at(files[at].parentName);
        }
        const auto cycle = std::find(way.begin(), way.end(), at);
        if (cycle == way.end()) {
            continue;
        }
        std::string text;
        std::for_each(cycle, way.end(), [&](std::size_t file) {
            text += QuotedText(files[file].name) + " has the parent ";
        });
        texts.push_back(text + QuotedText(files[at].name) +
                        ": they never reach a disk without "
                        "parent");
    }
    return texts;
}

std::vector<std::string> EndlessReasons(const std::vector<CLibraryView>& files,
                                        const CChildren& children,
                                        const std::set<std::size_t>& attached) {
    std::vector<std::string> reasons;
    if (attached.size() == files.size()) {
        return reasons;
    }
    for (const auto& [parent, siblings] : children) {
        if (siblings.size() > 1) {
            reasons.push_back(ForkText(files, parent, siblings));
        }
    }
    const auto cycles = CycleTexts(files, attached);
    reasons.insert(reasons.end(), cycles.begin(), cycles.end());
    return reasons;
}

}  // namespace

CLinking ForetellLinking(const std::vector<CLibraryView>& files) {
    CLinking linking;
    const CChildren children = ChildrenByParent(files);
    std::set<std::size_t> attached;
    for (std::size_t i = 0; i < files.size(); ++i) {
        if (files[i].refusal.empty() && !files[i].differencing) {
            linking.chains.push_back(ChainOf(files, children, i));
            attached.insert(linking.chains.back().files.begin(), linking.chains.back().files.end());
        }
    }
    linking.reasons = Refusals(files);
    if (!linking.reasons.empty()) {
        linking.outcome = CLinking::refuses;
        return linking;
    }
    linking.reasons = EndlessReasons(files, children, attached);
    linking.outcome = linking.reasons.empty() ? CLinking::links : CLinking::neverEnds;
    return linking;
}

}  // namespace NVHDXHost
