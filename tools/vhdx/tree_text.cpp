#include "tools/vhdx/tree_text.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/vhdx/scanned_folder.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

using NVHDXDisk::CFolder;
using NVHDXDisk::CTreeFile;

/// Draws the disks of a folder, each child under its parent.
class CTreeDrawing {
public:
    CTreeDrawing(const CFolder& tree, COutput& output)
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
        const CTreeFile& file = m_tree.Files()[place.file];
        m_output.Print(FMT_COMPILE("{}{}  {}\n"), place.line, Printable(file.name), About(file));
    }

    static std::string About(const CTreeFile& file) {
        return file.problem ? "cannot be read" : InUnits(file.virtualSize);
    }

    const CFolder& m_tree;
    COutput& m_output;
    std::vector<bool> m_drawn;
};

/// What the library's chain builder would make of the chain: it goes by names alone, and fails as a
/// whole for one disk.
std::string_view LibraryWord(const CFolder& tree, const std::vector<std::size_t>& chain) {
    const NVHDXDisk::CLinkingForecast& linking = tree.Linking();
    const bool linkable = std::any_of(linking.chains.begin(), linking.chains.end(),
                                      [&chain](const NVHDXDisk::CLinkingForecast::CChain& linked) {
                                          return linked.linkable && linked.files == chain;
                                      });
    if (!linkable) {
        return "the library cannot link it";
    }
    return linking.outcome == NVHDXDisk::CLinkingForecast::links
               ? "the library links it"
               : "the library could link it in a folder of its own";
}

void PrintChain(const CFolder& tree, const std::vector<std::size_t>& chain, COutput& output) {
    output.Print(FMT_COMPILE("chain of {}, {} {}: {}\n"),
                 Printable(tree.Files()[chain.front()].name), chain.size(),
                 chain.size() == 1 ? "disk" : "disks", LibraryWord(tree, chain));
}

/// The fewest that a process may open anywhere by default, so that no host need be told of less.
constexpr std::size_t FewOpenFiles = 256;

void PrintOpenFiles(const NVHDXDisk::CLinkingForecast& linking, COutput& output) {
    if (linking.outcome == NVHDXDisk::CLinkingForecast::links && linking.openFiles > FewOpenFiles) {
        output.Print(FMT_COMPILE("note: the library keeps {} files open to link this folder\n"),
                     linking.openFiles);
    }
}

}  // namespace

void PrintTree(const CFolder& tree, COutput& output) {
    if (tree.Files().empty()) {
        return;
    }
    CTreeDrawing(tree, output).Draw();
    output.Append("\n");
    for (const std::vector<std::size_t>& chain : tree.StraightChains()) {
        PrintChain(tree, chain, output);
    }
    for (const NVHDXDisk::CTreeFinding& finding : tree.Findings()) {
        if (finding.kind != NVHDXDisk::CTreeFinding::severalChildren) {  // the tree shows them
            output.Print(FMT_COMPILE("note: {}\n"), TextOf(tree, finding));
        }
    }
    PrintOpenFiles(tree.Linking(), output);
    for (const std::string& reason : tree.Linking().reasons) {
        output.Print(FMT_COMPILE("note: the library cannot link this folder: {}\n"), reason);
    }
}

}  // namespace NTool
