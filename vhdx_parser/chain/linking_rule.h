#ifndef VHDX_PARSER_CHAIN_LINKING_RULE_H
#define VHDX_PARSER_CHAIN_LINKING_RULE_H

/// By which rule the disks of a folder form chains: which files are disks, by what name a disk
/// knows its parent, and which disk follows which.

#include <algorithm>
#include <cstddef>
#include <map>
#include <queue>
#include <string>
#include <string_view>
#include <vector>

#include <vhdx_parser/file_system.h>

namespace NVHDX {
namespace NLinkingRule {

/// Whether the extension is exactly "vhdx" or "avhdx".
template <class TChar>
bool HasDiskExtension(const std::basic_string<TChar>& name) {
    static const TChar differencing[] = {'a', 'v', 'h', 'd', 'x', 0};
    static const TChar base[] = {'v', 'h', 'd', 'x', 0};
    std::basic_string<TChar> extension;
    return NSystem::ExtractFileExt(extension, name) &&
           (extension == differencing || extension == base);
}

enum class EPathProblem { none, tooShort, notInSameFolder };

struct CParentPath {
    EPathProblem problem;
    std::wstring_view name;  ///< empty where there is a problem
};

/// The parent's file name in a relative path of the form ".\name".
inline CParentPath ParentFileName(std::wstring_view relativePath) {
    constexpr std::wstring_view sameFolder = L".\\";
    if (relativePath.size() < sameFolder.size()) {
        return {EPathProblem::tooShort, {}};
    }
    if (relativePath.substr(0, sameFolder.size()) != sameFolder) {
        return {EPathProblem::notInSameFolder, {}};
    }
    return {EPathProblem::none, relativePath.substr(sameFolder.size())};
}

/// Names in the folder are compared as they are on disk. A narrow name keeps the low byte of each
/// character, with no regard to code pages (deliberately).
template <class TChar>
std::basic_string<TChar> NameFromLocator(std::wstring_view name) {
    std::basic_string<TChar> converted(name.size(), TChar());
    std::transform(name.begin(), name.end(), converted.begin(),
                   [](wchar_t character) { return static_cast<TChar>(character); });
    return converted;
}

/// One disk of a folder, with names in the encoding in which they are compared.
template <class TChar>
struct CLinkedDisk {
    std::basic_string<TChar> name;
    bool differencing;
    std::basic_string<TChar> parentName;
};

/// The differencing disks whose parent is no other disk of the list, in list order.
template <class TChar>
std::vector<std::size_t> WithoutParent(const std::vector<CLinkedDisk<TChar>>& disks) {
    std::map<std::basic_string_view<TChar>, std::size_t> namesakes;
    for (const CLinkedDisk<TChar>& disk : disks) {
        ++namesakes[disk.name];
    }
    std::vector<std::size_t> orphans;
    for (std::size_t i = 0; i < disks.size(); ++i) {
        const auto parents = namesakes.find(disks[i].parentName);
        const std::size_t self = disks[i].parentName == disks[i].name ? 1 : 0;
        if (disks[i].differencing && (parents == namesakes.end() || parents->second == self)) {
            orphans.push_back(i);
        }
    }
    return orphans;
}

/// Positions in the list of the disks.
struct CLinking {
    std::vector<std::vector<std::size_t>> chains;  ///< each from the base to the tip
    std::vector<std::size_t> unattached;           ///< what no chain can ever take, in list order
};

/// Those that wait for a parent, in list order, by the parent's name. Ordered, because names come
/// from files and could be chosen to collide in a hash table.
template <class TChar>
using TWaiting = std::map<std::basic_string_view<TChar>, std::queue<std::size_t>>;

/// Attaches waiting children to the chain's tip until its tip has none.
template <class TChar>
void Extend(std::vector<std::size_t>& chain, TWaiting<TChar>& waiting,
            const std::vector<CLinkedDisk<TChar>>& disks) {
    const auto childrenOfTip = [&] { return waiting.find(disks[chain.back()].name); };
    for (auto children = childrenOfTip(); children != waiting.end() && !children->second.empty();
         children = childrenOfTip()) {
        chain.push_back(children->second.front());
        children->second.pop();
    }
}

/// One chain for each base disk, in list order.
///
/// A differencing disk is attached when the tip of a chain is its parent, the earliest chain and
/// the first such disk of the list first. A disk is left when its parent has another child before
/// it, is no part of a chain that starts with a base disk, or does not exist.
template <class TChar>
CLinking Link(const std::vector<CLinkedDisk<TChar>>& disks) {
    CLinking linking;
    TWaiting<TChar> waiting;
    for (std::size_t i = 0; i < disks.size(); ++i) {
        if (disks[i].differencing) {
            waiting[disks[i].parentName].push(i);
        } else {
            linking.chains.push_back({i});
        }
    }
    // The rule starts again from the first chain after each attached disk. One walk gives the same:
    // a chain changes its tip only by attaching, so a chain that found nothing never finds more.
    for (std::vector<std::size_t>& chain : linking.chains) {
        Extend(chain, waiting, disks);
    }
    for (auto& [parentName, children] : waiting) {
        for (; !children.empty(); children.pop()) {
            linking.unattached.push_back(children.front());
        }
    }
    std::sort(linking.unattached.begin(), linking.unattached.end());
    return linking;
}

}  // namespace NLinkingRule
}  // namespace NVHDX

#endif
