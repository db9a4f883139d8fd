#include <memory>
#include <set>
#include <string>

#include "host/locator_path.h"
#include "tools/vhdx/arguments.h"
#include "tools/vhdx/folder.h"
#include "tools/vhdx/notes.h"
#include "tools/vhdx/output.h"
#include "tools/vhdx/text.h"
#include "tools/vhdx/tree_json.h"
#include "tools/vhdx/tree_text.h"

namespace NTool {

namespace {

using NVHDXHost::CFolderFinding;
using NVHDXHost::CFolderTree;

struct CTreeOptions {
    CFolderOptions folder;
    bool json = false;
};

/// Several children make a tree, and a parent may lie elsewhere: nothing is wrong with either.
bool IsWrong(const CFolderFinding& finding) {
    return finding.kind != CFolderFinding::severalChildren &&
           finding.kind != CFolderFinding::parentOutside;
}

/// Throws when not all is well with the disks.
void CheckFindings(const CFolderTree& tree) {
    std::set<std::size_t> wrong;
    for (const CFolderFinding& finding : tree.Findings()) {
        if (IsWrong(finding)) {
            wrong.insert(finding.files.begin(), finding.files.end());
        }
    }
    std::string names;
    for (const std::size_t file : wrong) {
        names.append(names.empty() ? "" : ", ")
            .append(NVHDXHost::QuotedText(tree.Files()[file].name));
    }
    if (!names.empty()) {
        throw CFailure("something is wrong with " + Printable(names));
    }
}

void RunChain(const CTreeOptions& options) {
    const CFolderTree tree = ScanFolder(options.folder);
    for (const NVHDXHost::CFolderFile& file : tree.Files()) {
        PrintReplay(file.name, file.replay.entries);
    }
    COutput output = COutput::Standard();
    options.json ? PrintTreeJson(tree, output) : PrintTree(tree, output);
    output.Flush();
    if (tree.Files().empty()) {
        throw CFailure("the folder holds no disk");
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
        "  library  {\"links\", \"reasons\"}: whether the library's chain builder would link the\n"
        "           folder, and why not; it takes one child for each disk, and goes by ASCII "
        "names\n"
        "The exit status is 1 when something is wrong with a disk: it cannot be read, its parent "
        "is\n"
        "missing or was changed, or the parents lead in a circle. A tree has nothing wrong.\n"
        "Example: vhdx chain /vm/disks");
    ChooseFolder(command, chosen, options, RunChain);
}

}  // namespace NTool
