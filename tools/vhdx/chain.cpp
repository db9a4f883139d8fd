#include <memory>
#include <set>
#include <string>

#include <vhdx_disk/path_query.h>
#include "tools/vhdx/arguments.h"
#include "tools/vhdx/notes.h"
#include "tools/vhdx/output.h"
#include "tools/vhdx/scanned_folder.h"
#include "tools/vhdx/text.h"
#include "tools/vhdx/tree_json.h"
#include "tools/vhdx/tree_text.h"

namespace NTool {

namespace {

using NVHDXDisk::CFolder;
using NVHDXDisk::CTreeFinding;

struct CTreeOptions {
    CScanOptions folder;
    bool json = false;
};

/// Several children make a tree, and a parent may lie elsewhere: nothing is wrong with either.
bool IsWrong(const CTreeFinding& finding) {
    return finding.kind != CTreeFinding::severalChildren &&
           finding.kind != CTreeFinding::parentOutside;
}

/// Throws when not all is well with the disks.
void CheckFindings(const CFolder& tree) {
    std::set<std::size_t> wrong;
    for (const CTreeFinding& finding : tree.Findings()) {
        if (IsWrong(finding)) {
            wrong.insert(finding.files.begin(), finding.files.end());
        }
    }
    std::string names;
    for (const std::size_t file : wrong) {
        names.append(names.empty() ? "" : ", ").append("\"" + tree.Files()[file].name + "\"");
    }
    if (!names.empty()) {
        throw CCommandFailure("something is wrong with " + Printable(names));
    }
}

void RunChain(const CTreeOptions& options) {
    const std::shared_ptr<const CFolder> folder = ScanFolder(options.folder);
    const CFolder& tree = *folder;
    for (const NVHDXDisk::CTreeFile& file : tree.Files()) {
        PrintReplay(file.name, file.log.entries);
    }
    COutput output = COutput::Standard();
    options.json ? PrintTreeJson(tree, output) : PrintTree(tree, output);
    output.Flush();
    if (tree.Files().empty()) {
        throw CCommandFailure("the folder holds no disk");
    }
    CheckFindings(tree);
}

}  // namespace

void AddChain(CProgramSyntax& program, CChosenCommand& chosen) {
    const auto options = std::make_shared<CTreeOptions>();
    CCommandSyntax command = program.AddCommand(
        "chain",
        "The disks of a folder: each checkpoint under its parent, and how they are linked");
    AddFolderArguments(command, options->folder);
    command.AddFlag("--json", options->json, "Print an object, which is described below");
    command.SetFooter(
        "The object of --json has\n"
        "  disks    one for each file, by name: {\"file\", \"size\", \"parent\", \"problem\", "
        "\"findings\"};\n"
        "           \"size\" in bytes, null when the file cannot be read, and \"problem\" says "
        "why;\n"
        "           \"parent\" is a file, null when there is none or it is missing; a finding is\n"
        "           {\"kind\", \"text\"} with a kind of unreadable, parent_missing, "
        "parent_outside,\n"
        "           parent_changed, linkage_missing, several_children, circle\n"
        "  chains   {\"base\", \"snapshots\"}, the newest snapshot first, for each disk without "
        "parent\n"
        "           below which no disk has several children\n"
        "  library  {\"links\", \"reasons\", \"open_files\"}: whether the library's chain builder "
        "would link\n"
        "           the folder, and why not; it takes one child for each disk, goes by ASCII names "
        "and\n"
        "           has as many files open at once as \"open_files\" says\n"
        "The exit status is 1 when something is wrong with a disk: it cannot be read, its parent "
        "is\n"
        "missing or was changed, or the parents lead in a circle. A tree has nothing wrong.\n"
        "Example: vhdx chain /vm/disks");
    ChooseFolder(command, chosen, options, RunChain);
}

}  // namespace NTool
