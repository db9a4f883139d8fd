#include "tools/vhdx/tree_json.h"

#include <cstddef>
#include <string>
#include <vector>

#include "tools/vhdx/command_failure.h"
#include "tools/vhdx/command_line.h"
#include "tools/vhdx/json_value.h"
#include "tools/vhdx/scanned_folder.h"

namespace NTool {

namespace {

using CElements = CJsonValue::CElements;
using CMembers = CJsonValue::CMembers;
using NVHDXDisk::CFolder;
using NVHDXDisk::CTreeFile;
using NVHDXDisk::CTreeFinding;

const char* KindName(CTreeFinding::EKind kind) {
    switch (kind) {
        case CTreeFinding::unreadable:
            return "unreadable";
        case CTreeFinding::parentMissing:
            return "parent_missing";
        case CTreeFinding::parentOutside:
            return "parent_outside";
        case CTreeFinding::parentChanged:
            return "parent_changed";
        case CTreeFinding::linkageMissing:
            return "linkage_missing";
        case CTreeFinding::severalChildren:
            return "several_children";
        case CTreeFinding::circle:
            return "circle";
        case CTreeFinding::parentUnreadable:
            return "parent_unreadable";
    }
    return "unknown";
}

CJsonValue ParentOf(const CFolder& tree, const CTreeFile& file) {
    if (file.parent) {
        return TextOfPath(tree.Files()[*file.parent].path);
    }
    return file.parentOutside.empty() ? CJsonValue() : TextOfPath(file.parentOutside);
}

/// The findings of each disk; what concerns a parent and its children is told of the parent.
std::vector<CElements> FindingsByFile(const CFolder& tree) {
    std::vector<CElements> findings(tree.Files().size());
    for (const CTreeFinding& finding : tree.Findings()) {
        const bool ofAll = finding.kind == CTreeFinding::circle;
        const std::size_t count = ofAll ? finding.files.size() : 1;
        for (std::size_t i = 0; i < count; ++i) {
            findings[finding.files[i]].push_back(
                CMembers{{"kind", KindName(finding.kind)}, {"text", TextOf(tree, finding)}});
        }
    }
    return findings;
}

CElements Disks(const CFolder& tree) {
    const std::vector<CElements> findings = FindingsByFile(tree);
    CElements disks;
    for (std::size_t i = 0; i < findings.size(); ++i) {
        const CTreeFile& file = tree.Files()[i];
        const bool readable = !file.problem;
        disks.push_back(
            CMembers{{"file", TextOfPath(file.path)},
                     {"size", readable ? CJsonValue(file.virtualSize) : CJsonValue()},
                     {"parent", ParentOf(tree, file)},
                     {"problem", readable ? CJsonValue() : CJsonValue(ReasonOf(*file.problem))},
                     {"findings", findings[i]}});
    }
    return disks;
}

CElements Chains(const CFolder& tree) {
    CElements chains;
    for (const std::vector<std::size_t>& chain : tree.StraightChains()) {
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

void PrintTreeJson(const CFolder& tree, COutput& output) {
    const NVHDXDisk::CLinkingForecast& linking = tree.Linking();
    const CMembers json = {
        {"disks", Disks(tree)},
        {"chains", Chains(tree)},
        {"library", CMembers{{"links", linking.outcome == NVHDXDisk::CLinkingForecast::links},
                             {"reasons", CElements(linking.reasons.begin(), linking.reasons.end())},
                             {"open_files", linking.openFiles}}}};
    output.Append(JsonLines(json));
    output.Append("\n");
}

}  // namespace NTool
