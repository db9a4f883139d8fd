#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tools/vhdx/arguments.h"
#include "tools/vhdx/folder.h"
#include "tools/vhdx/notes.h"
#include "tools/vhdx/output.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

using NVHDXHost::CFolderFile;
using NVHDXHost::CFolderTree;
using NVHDXHost::CLinkedChain;

struct CChainOptions {
    CFolderOptions folder;
    bool json = false;
};

/// Draws the disks of a folder, each child under its parent.
class CTreeDrawing {
public:
    CTreeDrawing(const CFolderTree& tree, COutput& output)
        : m_tree(tree), m_output(output), m_drawn(tree.Files().size()) {}

    void Draw() {
        for (const std::size_t root : m_tree.Roots()) {
            DrawFrom(root);
        }
        for (std::size_t file = 0; file < m_drawn.size(); ++file) {
            DrawFrom(file);  // what no root leads to: a circle
        }
    }

private:
    struct CPlace {
        std::size_t file;
        std::string line;   // what stands before the name
        std::string below;  // what stands before the names of its children
    };

    // With a stack of its own: a chain may be as long as the folder has files.
    void DrawFrom(std::size_t root) {
        std::vector<CPlace> places = {{root, "", ""}};
        while (!places.empty()) {
            const CPlace place = std::move(places.back());
            places.pop_back();
            if (m_drawn[place.file]) {
                continue;
            }
            m_drawn[place.file] = true;
            DrawFile(place);
            AddChildren(place, places);
        }
    }

    void AddChildren(const CPlace& place, std::vector<CPlace>& places) const {
        const std::vector<std::size_t>& children = m_tree.Files()[place.file].children;
        for (std::size_t i = children.size(); i-- != 0;) {
            const bool last = i + 1 == children.size();
            places.push_back({children[i], place.below + (last ? "└── " : "├── "),
                              place.below + (last ? "    " : "│   ")});
        }
    }

    void DrawFile(const CPlace& place) {
        const CFolderFile& file = m_tree.Files()[place.file];
        m_output.Print(FMT_COMPILE("{}{}  {}\n"), place.line, Printable(file.name), About(file));
    }

    static std::string About(const CFolderFile& file) {
        return file.problem.empty() ? InUnits(file.virtualSize) : "cannot be read";
    }

    const CFolderTree& m_tree;
    COutput& m_output;
    std::vector<bool> m_drawn;
};

std::string Verdict(const CFolderTree& tree, const CLinkedChain& chain) {
    if (!chain.linkable) {
        return "the library cannot link it: " + Printable(chain.reason);
    }
    return tree.Linking().outcome == NVHDXHost::CLinking::links
               ? "the library links it"
               : "the library could link it in a folder of its own";
}

void PrintChain(const CFolderTree& tree, const CLinkedChain& chain, COutput& output) {
    output.Print(FMT_COMPILE("chain of {}, {} {}: {}\n"),
                 Printable(tree.Files()[chain.files.front()].name), chain.files.size(),
                 chain.files.size() == 1 ? "disk" : "disks", Verdict(tree, chain));
}

void PrintText(const CFolderTree& tree, COutput& output) {
    CTreeDrawing(tree, output).Draw();
    output.Append(tree.Files().empty() ? "" : "\n");
    for (const CLinkedChain& chain : tree.Linking().chains) {
        PrintChain(tree, chain, output);
    }
    for (const NVHDXHost::CFolderFinding& finding : tree.Findings()) {
        if (finding.kind == NVHDXHost::CFolderFinding::severalChildren) {
            continue;  // the tree shows it
        }
        output.Print(FMT_COMPILE("note: {}\n"), Printable(finding.text));
    }
    output.Flush();
}

void PrintJson(const std::string& folder, const std::vector<CChain>& chains, COutput& output) {
    std::string_view separator = "[\n  ";
    for (const CChain& chain : chains) {
        output.Append(separator);
        output.Print(FMT_COMPILE("{{\"base\": {}, \"snapshots\": ["),
                     JsonText(NativePath(folder, *chain.base->path)));
        std::string_view comma;
        for (const CChainFile& snapshot : chain.snapshots) {
            output.Append(comma);
            output.Append(JsonText(NativePath(folder, *snapshot->path)));
            comma = ", ";
        }
        output.Append("]}");
        separator = ",\n  ";
    }
    output.Append(separator == ",\n  " ? "\n]\n" : "[]\n");
    output.Flush();
}

void RunChain(const CChainOptions& options) {
    const CTraceWriter trace(options.folder.traceLevel);
    const CFolderTree tree = ScanFolder(options.folder);
    for (const CFolderFile& file : tree.Files()) {
        PrintReplay(file.name, file.replay.entries);
    }
    COutput output = COutput::Standard();
    if (!options.json) {
        PrintText(tree, output);
    }
    const std::vector<CChain> chains = LinkChains(options.folder.folder, tree, trace);
    if (options.json) {
        PrintJson(options.folder.folder, chains, output);
    }
}

}  // namespace

void AddChain(CLI::App& program, CChosenCommand& chosen) {
    const auto options = std::make_shared<CChainOptions>();
    CLI::App& command = *program.add_subcommand(
        "chain",
        "The disks of a folder: each checkpoint under its parent, and how they are linked");
    AddFolderArguments(command, options->folder);
    command.add_flag("--json", options->json,
                     R"(Print an array of {"base", "snapshots"}, the newest snapshot first)");
    command.footer(
        "The exit status is 1 when the library cannot link all disks of the folder, and why is "
        "told.\nExample: vhdx chain /vm/disks");
    ChooseFolder(command, chosen, options, RunChain);
}

}  // namespace NTool
