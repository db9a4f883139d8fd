#include "tools/vhdx/tree_json.h"

#include <cstddef>
#include <string>
#include <vector>

#include "host/folder_chains.h"
#include "tools/vhdx/command_line.h"
#include "tools/vhdx/json_value.h"

namespace NTool {

namespace {

using CElements = CJsonValue::CElements;
using CMembers = CJsonValue::CMembers;
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

CJsonValue ParentOf(const CFolderTree& tree, const CFolderFile& file) {
    if (file.parent) {
        return TextOfPath(tree.Files()[*file.parent].path);
    }
    return file.parentOutside.empty() ? CJsonValue() : TextOfPath(file.parentOutside);
}

/// The findings of each disk; what concerns a parent and its children is told of the parent.
std::vector<CElements> FindingsByFile(const CFolderTree& tree) {
    std::vector<CElements> findings(tree.Files().size());
    for (const CFolderFinding& finding : tree.Findings()) {
        const bool ofAll = finding.kind == CFolderFinding::cycle;
        const std::size_t count = ofAll ? finding.files.size() : 1;
        for (std::size_t i = 0; i < count; ++i) {
            findings[finding.files[i]].push_back(
                CMembers{{"kind", KindName(finding.kind)}, {"text", finding.text}});
        }
    }
    return findings;
}

CElements Disks(const CFolderTree& tree) {
    const std::vector<CElements> findings = FindingsByFile(tree);
    CElements disks;
    for (std::size_t i = 0; i < findings.size(); ++i) {
        const CFolderFile& file = tree.Files()[i];
        const bool readable = file.problem.empty();
        disks.push_back(CMembers{{"file", TextOfPath(file.path)},
                                 {"size", readable ? CJsonValue(file.virtualSize) : CJsonValue()},
                                 {"parent", ParentOf(tree, file)},
                                 {"problem", readable ? CJsonValue() : CJsonValue(file.problem)},
                                 {"findings", findings[i]}});
    }
    return disks;
}

CElements Chains(const CFolderTree& tree) {
    CElements chains;
    for (const std::vector<std::size_t>& chain : NVHDXHost::StraightChains(tree)) {
        CElements snapshots;
        for (std::size_t i = chain.size(); i-- > 1;) {
            snapshots.push_back(TextOfPath(tree.Files()[chain[i]].path));
        }
        chains.push_back(CMembers{{"base", TextOfPath(tree.Files()[chain.front()].path)},
                                  {"snapshots", snapshots}});
    }
    return chains;
}

}  // namespace

void PrintTreeJson(const CFolderTree& tree, COutput& output) {
    const NVHDXHost::CLinking& linking = tree.Linking();
    const CMembers json = {
        {"disks", Disks(tree)},
        {"chains", Chains(tree)},
        {"library",
         CMembers{{"links", linking.outcome == NVHDXHost::CLinking::links},
                  {"reasons", CElements(linking.reasons.begin(), linking.reasons.end())}}}};
    output.Append(JsonLines(json));
    output.Append("\n");
}

}  // namespace NTool
