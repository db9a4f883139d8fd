#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <vhdx_disk/disk.h>
#include <vhdx_disk/reader.h>

#include "fuzz/disk_files.h"
#include "fuzz/reason.h"
#include "fuzz/target.h"
#include "tests/support/naive_disk.h"

// Opens a chain of one to four patched files in memory, and compares what is read of it with the
// naive model.

namespace {

using namespace NVHDXDisk;
using NTest::CNaiveDisk;
using NTest::CNaivePlace;
using CFiles = std::map<std::filesystem::path, const NFuzz::CMemorySource*>;

class COpener final : public ISourceOpener {
public:
    explicit COpener(const CFiles& files) : m_files(files) {}

    CSourcePointer Open(const std::filesystem::path& path, CFailure& failure) const override {
        const auto found = m_files.find(path);
        if (found != m_files.end()) {
            return NFuzz::Unowned(*found->second);
        }
        failure = MakeFailure(CFailure::notFound, path, "there is no such source", ENOENT);
        return nullptr;
    }

private:
    const CFiles& m_files;
};

/// The first byte of an input: the number of files less one, then these.
namespace NOption {
constexpr std::uint64_t countMask = 3;
constexpr std::uint64_t asItStands = 4;
constexpr std::uint64_t alone = 8;
constexpr std::uint64_t refuseChanged = 16;
constexpr std::uint64_t findParents = 32;
}  // namespace NOption

/// The model of the files that the disk has.
CNaiveDisk NaiveDisk(const CDisk& disk, const CFiles& files, std::uint64_t bits) {
    CNaiveDisk::CFiles naive;
    for (const CDiskFile& file : disk.Files()) {
        const NTest::CNaiveBytes stored = files.at(file.path)->Naive();
        naive.push_back(std::make_shared<NTest::CNaiveFile>(
            (bits & NOption::asItStands) != 0 ? NTest::CNaiveReplay::AsItStands(stored)
                                              : NTest::CNaiveReplay::Of(stored)));
    }
    return CNaiveDisk(std::move(naive), (bits & NOption::alone) == 0);
}

struct CRange {
    std::uint64_t offset;
    std::uint64_t length;
};

/// A range that mostly begins inside the disk.
CRange Range(NFuzz::CInput& input, std::uint64_t longest) {
    constexpr std::uint64_t units[] = {512, 65536, NTest::MiB, 256 * NTest::MiB};
    const std::uint64_t unit = units[input.Number(1) % 4];
    const std::uint64_t offset = unit * input.Number(1) + input.Number(2);
    return {offset, input.Number(3) % longest};
}

class CRequests {
public:
    CRequests(std::shared_ptr<const CDisk> disk, CNaiveDisk naive)
        : m_disk(std::move(disk)), m_reader(m_disk), m_naive(std::move(naive)) {
        if (m_naive.IsWhole()) {
            RequireSameDisk();
        }
    }

    void Read(NFuzz::CInput& input) {
        const CRange range = Range(input, 16384);
        NTest::CBytes bytes(range.length);
        const bool isRead = TryRead(range, bytes);
        NTest::CBytes expected(range.length);
        if (isRead && m_naive.IsWhole() && m_naive.Read(range.offset, expected)) {
            NFuzz::Require(bytes == expected);
        }
        ReadInPieces(range, bytes, isRead, 1 + input.Number(2));
    }

    void Extents(NFuzz::CInput& input) {
        const CRange range = Range(input, 1 << 24);
        const std::uint64_t scale = input.Number(1) % 2 == 0 ? 1 : 512;
        CheckExtents({range.offset, range.length * scale});
    }

    /// Where nothing is reported the disk is as when the older file was its newest.
    void Changes(NFuzz::CInput& input) {
        const std::size_t since = input.Number(1) % 5;
        const CRange range = Range(input, 16384);
        std::vector<CExtent> changes;
        CFailure failure;
        if (!m_reader.Changes(
                since, range.offset, range.length,
                [&](const CExtent& change) { return changes.push_back(change), true; }, failure)) {
            NFuzz::RequireReason(failure);
            return;
        }
        NFuzz::Require(since < m_disk->Files().size());
        RequireOrder(changes, range);
        if (m_naive.IsWhole()) {
            CompareUnchanged(changes, range, since);
        }
    }

private:
    static constexpr std::size_t s_mostExtents = 200;
    static constexpr int s_mostSteps = 40;

    void RequireSameDisk() {
        NFuzz::Require(m_disk->Size() == m_naive.Size() &&
                       m_disk->Files().size() == m_naive.Files().size());
        for (std::size_t file = 0; file < m_naive.Files().size(); ++file) {
            NFuzz::Require(m_disk->Files()[file].log.entries ==
                           m_naive.Files()[file]->Bytes().EntryCount());
        }
    }

    bool TryRead(const CRange& range, std::span<unsigned char> bytes) {
        CFailure failure;
        if (m_reader.Read(range.offset, bytes.data(), bytes.size(), failure)) {
            NFuzz::Require(failure.kind == CFailure::none);
            return true;
        }
        NFuzz::RequireReason(failure);
        return false;
    }

    /// The bytes of the pieces are those of the whole, which can be read when all of them can.
    void ReadInPieces(const CRange& range, const NTest::CBytes& whole, bool isRead,
                      std::uint64_t pieceSize) {
        pieceSize = std::max(pieceSize, range.length / 16);
        NTest::CBytes bytes(range.length);
        bool arePiecesRead = true;
        for (std::uint64_t at = 0; at < range.length && arePiecesRead; at += pieceSize) {
            const std::uint64_t length = std::min(pieceSize, range.length - at);
            arePiecesRead =
                TryRead({range.offset + at, length}, std::span(bytes).subspan(at, length));
        }
        NFuzz::Require(range.length == 0 || arePiecesRead == isRead);
        NFuzz::Require(!isRead || bytes == whole);
    }

    void CheckExtents(const CRange& range) {
        std::vector<CExtent> extents;
        CFailure failure;
        const bool isAnswered = m_reader.Extents(
            range.offset, range.length,
            [&](const CExtent& extent) {
                extents.push_back(extent);
                return extents.size() < s_mostExtents;
            },
            failure);
        RequireOrder(extents, range);
        RequireNoGap(extents, range);
        if (!isAnswered) {
            NFuzz::RequireReason(failure);
        } else if (extents.size() < s_mostExtents) {
            NFuzz::Require(extents.empty() ? range.length == 0
                                           : extents.back().End() == range.offset + range.length);
        }
        for (const CExtent& extent : extents) {
            CheckExtent(extent);
        }
    }

    /// The places of the first steps of the extent, and of its last byte.
    void CheckExtent(const CExtent& extent) {
        if (!m_naive.IsWhole()) {
            return;
        }
        ComparePlace(extent, extent.End() - 1);
        std::uint64_t at = extent.offset;
        for (int step = 0; step < s_mostSteps && at < extent.End(); ++step) {
            ComparePlace(extent, at);
            at = m_naive.StepEnd(at);
        }
    }

    void ComparePlace(const CExtent& extent, std::uint64_t offset) const {
        const CNaivePlace place = m_naive.PlaceOf(offset);
        switch (place.kind) {
            case CNaivePlace::unknown:
                return;
            case CNaivePlace::hole:
                NFuzz::Require(extent.kind == CExtent::hole);
                return;
            case CNaivePlace::zeros:
                NFuzz::Require(extent.kind == CExtent::zeros && extent.file == place.file);
                return;
            case CNaivePlace::data:
                NFuzz::Require(extent.kind == CExtent::data && extent.file == place.file &&
                               extent.position + (offset - extent.offset) == place.position &&
                               extent.fromLog == place.fromLog);
        }
    }

    static void RequireOrder(const std::vector<CExtent>& extents, const CRange& range) {
        std::uint64_t at = range.offset;
        for (const CExtent& extent : extents) {
            NFuzz::Require(extent.offset >= at && extent.length != 0);
            at = extent.End();
        }
        NFuzz::Require(extents.empty() || at <= range.offset + range.length);
    }

    /// And that no two of them are one.
    static void RequireNoGap(const std::vector<CExtent>& extents, const CRange& range) {
        std::uint64_t at = range.offset;
        const CExtent* last = nullptr;
        for (const CExtent& extent : extents) {
            NFuzz::Require(extent.offset == at);
            NFuzz::Require(
                last == nullptr || last->kind != extent.kind || last->file != extent.file ||
                last->fromLog != extent.fromLog ||
                (extent.kind == CExtent::data && last->position + last->length != extent.position));
            at = extent.End();
            last = &extent;
        }
    }

    void CompareUnchanged(const std::vector<CExtent>& changes, const CRange& range,
                          std::size_t since) const {
        const CNaiveDisk older(
            {m_naive.Files().begin() + static_cast<std::ptrdiff_t>(since), m_naive.Files().end()});
        std::uint64_t at = range.offset;
        for (const CExtent& change : changes) {
            CompareUnchanged(older, at, change.offset);
            at = change.End();
        }
        CompareUnchanged(older, at, range.offset + range.length);
    }

    void CompareUnchanged(const CNaiveDisk& older, std::uint64_t begin, std::uint64_t end) const {
        NTest::CBytes bytes(end - begin);
        NTest::CBytes before(end - begin);
        const std::uint64_t kept = begin < older.Size() ? std::min(end, older.Size()) - begin : 0;
        if (m_naive.Read(begin, bytes) &&
            (kept == 0 || older.Read(begin, std::span(before).first(kept)))) {
            NFuzz::Require(bytes == before);
        }
    }

    const std::shared_ptr<const CDisk> m_disk;
    CReader m_reader;
    const CNaiveDisk m_naive;
};

void Ask(CRequests& requests, NFuzz::CInput& input) {
    for (int left = 8; left != 0 && !input.IsEmpty(); --left) {
        switch (input.Number(1) % 3) {
            case 0:
                requests.Read(input);
                break;
            case 1:
                requests.Extents(input);
                break;
            default:
                requests.Changes(input);
        }
    }
}

}  // namespace

void RunTarget(const std::uint8_t* data, std::size_t size) {
    static NFuzz::CDiskFiles kept;
    NFuzz::CInput input(data, size);
    const std::uint64_t bits = input.Number(1);
    CFiles files;
    std::vector<CSourcePointer> sources;
    for (std::size_t file = (bits & NOption::countMask) + 1; file-- > 0;) {
        const NFuzz::CMemorySource& source =
            kept.Patched(file, input, NFuzz::NFileBit::leaveRegions);
        files[source.Path()] = &source;
        if (sources.empty() || (bits & NOption::findParents) == 0) {
            sources.push_back(NFuzz::Unowned(source));
        }
    }
    CDiskOptions options;
    options.log = (bits & NOption::asItStands) != 0 ? ELog::asItStands : ELog::replay;
    options.withParents = (bits & NOption::alone) == 0;
    options.acceptChangedParent = (bits & NOption::refuseChanged) == 0;
    options.opener = std::make_shared<COpener>(files);
    CFailure failure;
    const auto disk = CDisk::Open(sources, options, failure);
    if (disk == nullptr) {
        NFuzz::RequireReason(failure);
        return;
    }
    CRequests requests(disk, NaiveDisk(*disk, files, bits));
    Ask(requests, input);
}
