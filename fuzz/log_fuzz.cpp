#include <algorithm>
#include <memory>
#include <vector>

#include <vhdx_disk/replayed_stream.h>

#include "fuzz/disk_files.h"
#include "fuzz/target.h"

// Replays a log of entries that the input makes and patches, and compares with the naive replay.

namespace {

using namespace NVHDXDisk;
using NTest::CLogEntryBuilder;
using NTest::CNaiveReplay;

constexpr std::uint64_t sector = 4096;

/// Positions in the file: whole sectors around the end of the file, and a few far away.
std::uint64_t Position(NFuzz::CInput& input) {
    const std::uint64_t number = input.Number(1);
    return number < 240 ? 3 * NTest::MiB + number * sector : std::uint64_t{1} << (number - 192);
}

/// A number mostly small.
std::uint64_t Small(NFuzz::CInput& input) {
    const std::uint64_t number = input.Number(1);
    return number < 250 ? number % 8 : ~std::uint64_t{0} >> (number - 250);
}

/// An entry: its number, its tail, then descriptors, of each a shape and a position.
NTest::CBytes Entry(NFuzz::CInput& input) {
    const std::uint64_t number = Small(input);
    CLogEntryBuilder entry(number, static_cast<std::uint32_t>(input.Number(1) * sector));
    const std::uint64_t shape = input.Number(1);
    for (std::uint64_t left = shape % 8; left != 0; --left) {
        const std::uint64_t kind = input.Number(1);
        const std::uint64_t position = Position(input);
        if (kind % 2 == 0) {
            entry.Page(position, NTest::Pattern(kind, position, sector));
        } else {
            entry.Zero(position, kind / 2 % 8 * sector);
        }
    }
    if ((shape & 8) != 0) {
        entry.FileOffsets(input.Number(1) * 16 * sector, 2 * NTest::MiB + input.Number(3));
    }
    if ((shape & 16) != 0) {
        entry.LogGuid(NTest::NGuid::unknown);
    }
    if ((shape & 32) != 0) {
        entry.descriptorSequenceNumber = number + 1;
    }
    return entry.Bytes();
}

/// Round the end of the log.
void Put(NFuzz::CMemorySource& file, std::uint64_t position, const NTest::CBytes& entry) {
    const std::uint64_t atEnd = std::min<std::uint64_t>(entry.size(), NTest::MiB - position);
    const std::span<const unsigned char> all(entry);
    file.Write(NFuzz::NDiskPlace::log + position, all.first(atEnd));
    file.Write(NFuzz::NDiskPlace::log, all.subspan(atEnd));
}

/// Entries: each is put at a sector of the log, 0 for the place behind the one before.
void PutEntries(NFuzz::CMemorySource& file, NFuzz::CInput& input) {
    std::uint64_t next = 0;
    for (std::uint64_t left = input.Number(1) % 9; left != 0; --left) {
        const std::uint64_t place = input.Number(1);
        const NTest::CBytes entry = Entry(input);
        if (entry.size() > 64 * sector) {
            return;
        }
        const std::uint64_t position = place == 0 ? next : place * sector;
        Put(file, position, entry);
        next = (position + entry.size()) % NTest::MiB;
    }
}

void RequireSameBytes(const IByteSource& replayed, const CNaiveReplay& naive,
                      std::uint64_t position, std::uint64_t length) {
    if (position >= naive.Size()) {
        return;
    }
    NTest::CBytes bytes(std::min(length, naive.Size() - position));
    NTest::CBytes expected(bytes.size());
    CFailure failure;
    NFuzz::Require(replayed.ReadAt(position, bytes.data(), bytes.size(), failure));
    NFuzz::Require(naive.Read(position, expected));
    NFuzz::Require(bytes == expected);
}

/// Around the begin and the end of each write, and at the end of the file.
void Compare(const IByteSource& replayed, const CNaiveReplay& naive) {
    NFuzz::Require(replayed.Size() == naive.Size());
    for (const CNaiveReplay::CWrite& write : naive.Writes()) {
        RequireSameBytes(replayed, naive, write.begin - std::min<std::uint64_t>(write.begin, 700),
                         sector + 1400);
        RequireSameBytes(
            replayed, naive,
            write.begin + write.length - std::min<std::uint64_t>(write.begin + write.length, 9),
            18);
    }
    RequireSameBytes(replayed, naive, naive.Size() - std::min<std::uint64_t>(naive.Size(), 5000),
                     5000);
}

CLogState::EStatus StatusOf(CNaiveReplay::EAnswer answer) {
    switch (answer) {
        case CNaiveReplay::noHeader:
            return CLogState::noHeader;
        case CNaiveReplay::nothingPending:
            return CLogState::none;
        case CNaiveReplay::replayed:
            return CLogState::replayed;
        default:
            return CLogState::unreadable;
    }
}

NTest::CSparseImage DirtyFile() {
    return NTest::CImageBuilder()
        .LogAt(NTest::logGuid, NFuzz::NDiskPlace::log, static_cast<std::uint32_t>(NTest::MiB))
        .FileSize(3 * NTest::MiB + 100000)
        .Build();
}

}  // namespace

void RunTarget(const std::uint8_t* data, std::size_t size) {
    static NFuzz::CMemorySource file("log.vhdx", DirtyFile(), 3 * NTest::MiB);
    NFuzz::CInput input(data, size);
    file.Restore();
    const std::uint64_t bits = input.Number(1);
    PutEntries(file, input);
    NFuzz::PatchFile(file, input);
    NFuzz::SealFile(file, bits | NFuzz::NFileBit::leaveRegions);

    CFailure failure;
    const CReplayedStream stream(NFuzz::Unowned(file), ELog::replay, failure);
    const CNaiveReplay naive = CNaiveReplay::Of(file.Naive());
    if (naive.Answer() == CNaiveReplay::ambiguous) {
        return;
    }
    NFuzz::Require(stream.Log().status == StatusOf(naive.Answer()));
    NFuzz::Require(stream.Log().entries == naive.EntryCount());
    const bool isRefused = naive.Answer() == CNaiveReplay::refused;
    NFuzz::Require(isRefused == stream.fail());
    NFuzz::Require(failure.kind == (isRefused ? CFailure::logNotReplayed : CFailure::none));
    NFuzz::Require(failure.text.empty() != isRefused);
    if (!isRefused) {
        Compare(*stream.Replayed(), naive);
    }
}
