#include <algorithm>
#include <array>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <vhdx_disk/folder.h>
#include <vhdx_parser/vhdx_parser.h>

#include "fuzz/kept_file.h"
#include "fuzz/patches.h"
#include "fuzz/target.h"
#include "fuzz/walk_choice.h"
#include "tests/chain/differencing_model.h"
#include "tests/support/temporary_folder.h"

// Builds the chains of a folder of two to four patched disks and merges the first.

namespace {

using namespace NVHDX;
using CCircuit = NDifferencingVirtualMerge::CFileDataCircuit<char>;
using CSources = std::vector<NSnapshotCircuit::CSource<std::shared_ptr<CFileObject<char>>>>;
using CRuns = std::vector<NTest::CRun<char>>;

constexpr std::array<const char*, 4> names = {"a.vhdx", "b.avhdx", "c.avhdx", "d.avhdx"};

/// The disks with their patches, in a folder of their own.
class CFolder {
public:
    std::string Name() const { return m_shown.Narrow(); }
    const std::filesystem::path& Path() const { return m_shown.Path(); }

    /// Each disk with its patches: their number of bytes, then they themselves.
    void Patch(std::size_t count, NFuzz::CInput& input) {
        for (std::size_t i = 0; i < names.size(); ++i) {
            m_disks[i].Restore();
            m_disks[i].Show(m_shown / names[i], i < count);
            if (i < count) {
                const NTest::CBytes bytes = input.Bytes(input.Number(1));
                NFuzz::CInput patches(bytes.data(), bytes.size());
                NFuzz::ApplyPatches(m_disks[i], patches);
                m_disks[i].Flush();
            }
        }
    }

private:
    static NTest::CSparseImage Child(const std::u16string& parent) {
        return NFuzz::DifferencingDisk()
            .ParentLocator({{u"relative_path", u".\\" + parent}})
            .Build();
    }

    NTest::CTemporaryFolder m_kept;
    NTest::CTemporaryFolder m_shown;
    std::array<NFuzz::CKeptFile, 4> m_disks = {
        NFuzz::CKeptFile(NFuzz::BaseDisk().Build(), m_kept / names[0]),
        NFuzz::CKeptFile(Child(u"a.vhdx"), m_kept / names[1]),
        NFuzz::CKeptFile(Child(u"b.avhdx"), m_kept / names[2]),
        NFuzz::CKeptFile(Child(u"c.avhdx"), m_kept / names[3])};
};

constexpr std::size_t mostRuns = 10000;

CRuns Runs(const CCircuit& circuit) {
    CRuns runs;
    (void)EnumerateDifferences(circuit, [&](auto base, auto& path, auto offset, auto length) {
        runs.push_back({base, *path, offset, length});
        return runs.size() < mostRuns;
    });
    return runs;
}

/// The naive model walks every sector of every chunk: only small circuits are compared.
bool IsSmall(const CCircuit& circuit) {
    return circuit.base.blocks.chunks.size() * circuit.differencing.size() <= 2;
}

/// The tree does not follow such a claim, the library does.
bool ClaimsTooManyRegions(const NVHDXDisk::CLinkingForecast& linking) {
    return std::any_of(linking.reasons.begin(), linking.reasons.end(), [](const auto& reason) {
        return reason.find("the region table claims more entries") != reason.npos;
    });
}

void Merge(const CCircuit& circuit, NFuzz::CInput& input, bool compares) {
    std::vector<NDifferencingVirtualMerge::CGetDifferentialResult<char>> records;
    try {
        GetDifferential(records, input.Number(4), input.Number(2), circuit);
        const CRuns runs = Runs(circuit);
        if (compares && IsSmall(circuit) && runs.size() < mostRuns) {
            NFuzz::Require(runs == NTest::EnumerateNaively(circuit));
        }
    } catch (const std::out_of_range&) {
        // The answer for a sector past the bitmap.
    }
}

}  // namespace

void RunTarget(const std::uint8_t* data, std::size_t size) {
    static CFolder folder;
    NFuzz::CInput input(data, size);
    folder.Patch(2 + input.Number(1) % 3, input);
    // A folder in which a disk can never be attached would keep the builder for ever.
    NVHDXDisk::CFailure unread;
    const auto tree = NVHDXDisk::CFolder::Open(folder.Path(), {}, unread);
    if (!tree || tree->Linking().outcome == NVHDXDisk::CLinkingForecast::neverEnds) {
        return;
    }
    CSources sources;
    const bool isBuilt = NSnapshotCircuit::NBuilder::DoIt(sources, folder.Name());
    NFuzz::Require(isBuilt == (tree->Linking().outcome == NVHDXDisk::CLinkingForecast::links) ||
                   ClaimsTooManyRegions(tree->Linking()));
    CCircuit circuit;
    if (isBuilt && Prepare(circuit, sources.front())) {
        Merge(circuit, input, NFuzz::IsWorthTheWalk(data, size));
    }
}
