#include "tools/vhdx/tree_json.h"

#include <cstddef>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "host/folder_chains.h"
#include "tools/vhdx/command_line.h"

namespace NTool {

namespace {

using CJson = nlohmann::ordered_json;
using NVHDXHost::CFolderFile;
using NVHDXHost::CFolderFinding;
using NVHDXHost::CFolderTree;

const char* KindName(CFolderFinding::EKind kind) {
    switch (kind) {
        case CFolderFinding::unreadable:
            return "unreadable";
        case CFolderFinding::parentMissing:
            return "parent_missing";
        case CFolderFinding::parentOutside:
            return "parent_outside";
        case CFolderFinding::parentChanged:
            return "parent_changed";
        case CFolderFinding::linkageMissing:
            return "linkage_missing";
        case CFolderFinding::severalChildren:
            return "several_children";
        case CFolderFinding::cycle:
            return "circle";
    }
    return "unknown";
}

CJson ParentOf(const CFolderTree& tree, const CFolderFile& file) {
    if (file.parent) {
        return TextOfPath(tree.Files()[*file.parent].path);
    }
    return file.parentOutside.empty() ? CJson() : CJson(TextOfPath(file.parentOutside));
}

/// The findings of each disk; what concerns a parent and its children is told of the parent.
std::vector<CJson> FindingsByFile(const CFolderTree& tree) {
    std::vector<CJson> findings(tree.Files().size(), CJson::array());
    for (const CFolderFinding& finding : tree.Findings()) {
        const bool ofAll = finding.kind == CFolderFinding::cycle;
        const std::size_t count = ofAll ? finding.files.size() : 1;
        for (std::size_t i = 0; i < count; ++i) {
            findings[finding.files[i]].push_back(
                {{"kind", KindName(finding.kind)}, {"text", finding.text}});
        }
    }
    return findings;
}

CJson Disks(const CFolderTree& tree) {
    const std::vector<CJson> findings = FindingsByFile(tree);
    CJson disks = CJson::array();
    for (std::size_t i = 0; i < findings.size(); ++i) {
        const CFolderFile& file = tree.Files()[i];
        const bool readable = file.problem.empty();
        disks.push_back({{"file", TextOfPath(file.path)},
                         {"size", readable ? CJson(file.virtualSize) : CJson()},
                         {"parent", ParentOf(tree, file)},
                         {"problem", readable ? CJson() : CJson(file.problem)},
                         {"findings", findings[i]}});
    }
    return disks;
}

CJson Chains(const CFolderTree& tree) {
    CJson chains = CJson::array();
    for (const std::vector<std::size_t>& chain : NVHDXHost::StraightChains(tree)) {
        CJson snapshots = CJson::array();
        for (std::size_t i = chain.size(); i-- > 1;) {
            snapshots.push_back(TextOfPath(tree.Files()[chain[i]].path));
        }
        chains.push_back(
            {{"base", TextOfPath(tree.Files()[chain.front()].path)}, {"snapshots", snapshots}});
    }
    return chains;
}

}  // namespace

void PrintTreeJson(const CFolderTree& tree, COutput& output) {
    const NVHDXHost::CLinking& linking = tree.Linking();
    const CJson json = {
        {"disks", Disks(tree)},
        {"chains", Chains(tree)},
        {"library",
         {{"links", linking.outcome == NVHDXHost::CLinking::links}, {"reasons", linking.reasons}}}};
    // A name may hold bytes that are no UTF-8, which cannot stand in JSON.
    output.Append(json.dump(2, ' ', true, CJson::error_handler_t::replace));
    output.Append("\n");
}

}  // namespace NTool
