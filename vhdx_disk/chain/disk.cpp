#include <vhdx_disk/disk.h>

#include <algorithm>
#include <numeric>
#include <set>
#include <string>
#include <utility>

#include "vhdx_disk/chain/disk_parts.h"
#include "vhdx_disk/chain/finding_kinds.h"
#include "vhdx_disk/chain/parent_search.h"
#include "vhdx_disk/source/fail.h"
#include "vhdx_disk/source/quoted.h"

namespace NVHDXDisk {

namespace {

namespace fs = std::filesystem;

/// Follows the parents from the newest file on.
class CChainWalk {
public:
    CChainWalk(CDiskParts& parts, const CDiskOptions& options, std::vector<CSourcePointer> given,
               CFailure& failure)
        : m_parts(parts),
          m_options(options),
          m_opener(options.opener != nullptr ? *options.opener : FileOpener()),
          m_given(std::move(given)),
          m_failure(failure) {}

    /// Ends: each turn adds a file that was not in the chain before.
    bool Run(CSourcePointer newest) {
        PrepareSearch(newest->Path());
        std::optional<CParentFile> next = CParentFile{WithHeader(std::move(newest)), ETie::linked};
        while (next) {
            if (!Add(*next)) {
                return false;
            }
            if (!m_options.withParents || !Child().HasParent()) {
                return true;
            }
            next = NextParent();
        }
        return false;
    }

private:
    const CDiskFile& Child() const { return m_parts.files.back(); }

    void PrepareSearch(const fs::path& newest) {
        m_search.namedFolders = {FolderOf(newest)};
        for (const fs::path& folder : m_options.folders) {
            m_search.namedFolders.insert(FolderOf(folder / "disk"));
        }
        m_search.folders = m_options.folders;
        m_search.recordedPaths = m_options.recordedPaths;
        m_search.opener = &m_opener;
    }

    bool Add(const CParentFile& found) {
        const fs::path& path = found.file.source->Path();
        if (!m_visited.insert(m_opener.Canonical(path)).second) {
            return Fail(
                m_failure, CFailure::circle, {},
                "the chain leads from " + Quoted(Child().path) + " back to " + Quoted(path));
        }
        CChainFile file;
        CDiskFile told;
        const CLoadedTable table = m_parts.files.empty() ? m_options.table : CLoadedTable();
        if (!OpenChainFile(found.file, m_options.log, table, file, told, m_failure) ||
            !Accept(found)) {
            return false;
        }
        CompareSectors(told);
        NoteLostHeader(found.file);
        m_parts.chain.push_back(std::move(file));
        m_parts.files.push_back(std::move(told));
        return true;
    }

    /// Whether the file is taken for the parent of the one that was added last.
    bool Accept(const CParentFile& parent) {
        if (parent.tie == ETie::linked) {
            return true;
        }
        const std::string text = DoubtfulParentText(parent.file.source->Path(), parent.tie);
        if (!m_options.acceptChangedParent) {
            return Fail(m_failure, CFailure::parentChanged, Child().path, text);
        }
        AddFinding(
            parent.tie == ETie::changed ? EFinding::parentChanged : EFinding::parentLinkageMissing,
            text);
        return true;
    }

    /// The file can be read; but what it says may be older than what was written last.
    void NoteLostHeader(const CHeadedFile& file) {
        if (const CHeaderCopy* const lost = LostCopy(file)) {
            m_parts.findings.push_back(
                MakeFinding(file.source->Path(), "offset " + std::to_string(lost->position),
                            EFinding::bytesUnreadable,
                            lost->refusal.reason + "; the other header is valid and counts, also "
                                                   "where it is the older one"));
        }
    }

    /// Notes where the parent of the file that was added last has other sectors.
    void CompareSectors(const CDiskFile& parent) {
        if (m_parts.files.empty() || Child().logicalSectorSize == parent.logicalSectorSize) {
            return;
        }
        AddFinding(EFinding::parentSectorSize, "the sectors have " +
                                                   std::to_string(Child().logicalSectorSize) +
                                                   " bytes, those of " + Quoted(parent.path) + " " +
                                                   std::to_string(parent.logicalSectorSize));
    }

    void AddFinding(EFinding kind, const std::string& text) {
        m_parts.findings.push_back(MakeFinding(Child().path, "parent locator", kind, text));
    }

    /// The one that the host gives, or else the one that is found.
    std::optional<CParentFile> NextParent() {
        const std::size_t index = m_parts.files.size() - 1;
        if (index < m_given.size()) {
            return Tied(m_given[index]);
        }
        if (index < m_options.parents.size()) {
            const CSourcePointer source = m_opener.Open(m_options.parents[index], m_failure);
            return source == nullptr ? std::nullopt : Tied(source);
        }
        std::optional<CParentFile> parent;
        if (FindParent(Child().locator, Child().path, m_search, parent, m_failure) && !parent) {
            Fail(m_failure, CFailure::parentMissing, Child().path,
                 MissingParentText(Child().locator, Child().path, m_search,
                                   m_options.recordedPathsAdvice));
        }
        return parent;
    }

    std::optional<CParentFile> Tied(const CSourcePointer& source) const {
        CHeadedFile file = WithHeader(source);
        const ETie tie = TieOf(Child().locator, file);
        return CParentFile{std::move(file), tie};
    }

    CDiskParts& m_parts;
    const CDiskOptions& m_options;
    const ISourceOpener& m_opener;
    const std::vector<CSourcePointer> m_given;  ///< the parents, nearest first
    CFailure& m_failure;
    CParentSearch m_search;
    std::set<fs::path> m_visited;
};

}  // namespace

CDisk::CDisk() : m_parts(std::make_unique<CDiskParts>()) {}

CDisk::~CDisk() = default;

std::shared_ptr<const CDisk> CDisk::Open(const fs::path& path, const CDiskOptions& options,
                                         CFailure& failure) {
    const ISourceOpener& opener = options.opener != nullptr ? *options.opener : FileOpener();
    const CSourcePointer newest = opener.Open(path, failure);
    return newest == nullptr ? nullptr : Open({newest}, options, failure);
}

std::shared_ptr<const CDisk> CDisk::Open(std::vector<CSourcePointer> newestFirst,
                                         const CDiskOptions& options, CFailure& failure) {
    if (newestFirst.empty() ||
        std::find(newestFirst.begin(), newestFirst.end(), nullptr) != newestFirst.end()) {
        Fail(failure, CFailure::notFound, {}, "a disk has at least one file");
        return nullptr;
    }
    const std::shared_ptr<CDisk> disk(new CDisk);
    disk->m_parts->live = options.live;
    CSourcePointer newest = newestFirst.front();
    newestFirst.erase(newestFirst.begin());
    CChainWalk walk(*disk->m_parts, options, std::move(newestFirst), failure);
    return walk.Run(std::move(newest)) ? disk : nullptr;
}

std::uint64_t CDisk::Size() const {
    return Files().front().virtualSize;
}

std::uint32_t CDisk::LogicalSectorSize() const {
    return Files().front().logicalSectorSize;
}

std::uint32_t CDisk::PhysicalSectorSize() const {
    return Files().front().physicalSectorSize;
}

_GUID CDisk::Identifier() const {
    return Files().front().identifier;
}

const std::vector<CDiskFile>& CDisk::Files() const {
    return m_parts->files;
}

std::shared_ptr<const CBlockTable> CDisk::Table(std::size_t file, CFailure& failure) const {
    if (file >= Files().size()) {
        Fail(failure, CFailure::outOfRange, {}, "the disk has no such file");
        return nullptr;
    }
    const CChainFile& opened = m_parts->chain[file];
    return CBlockTable::Open(opened.file.bytes, opened.geometry, CBlockTable::runsWanted, failure);
}

const std::vector<CFinding>& CDisk::Findings() const {
    return m_parts->findings;
}

bool CDisk::CheckUnchanged(CFailure& failure) const {
    for (std::size_t file = 0; file < Files().size(); ++file) {
        const CDiskFile& told = Files()[file];
        if (!NVHDXDisk::CheckUnchanged(*told.source, told.header, m_parts->chain[file].lostHeader,
                                       failure)) {
            return false;
        }
    }
    return true;
}

std::uint64_t CDisk::ReplayedEntries() const {
    return std::accumulate(
        Files().begin(), Files().end(), std::uint64_t{0},
        [](std::uint64_t sum, const CDiskFile& file) { return sum + file.log.entries; });
}

}  // namespace NVHDXDisk
