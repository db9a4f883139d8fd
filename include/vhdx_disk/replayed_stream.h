#ifndef VHDX_DISK_REPLAYED_STREAM_H
#define VHDX_DISK_REPLAYED_STREAM_H

/// Disk files as they are once their log has been replayed, without a byte written to them.

#include <cstdint>
#include <filesystem>
#include <istream>
#include <memory>
#include <optional>

#include <vhdx_parser/accessor.h>
#include <vhdx_parser/guid.h>

#include <vhdx_disk/export.h>
#include <vhdx_disk/failure.h>
#include <vhdx_disk/source.h>

namespace NVHDXDisk {

/// What is done with entries of a file's log that are not in place yet.
enum class ELog : std::int32_t {
    replay,     ///< they are applied in memory: the file is read as its writer left it
    asItStands  ///< the log is not looked at, and the file may be half old and half new
};

/// What became of a file's log.
struct CLogState {
    enum EStatus : std::int32_t {
        notAsked,    ///< the file is read as it stands
        none,        ///< the current header says that nothing is pending
        replayed,    ///< `entries` entries are applied in memory
        noHeader,    ///< neither header is valid, so nobody knows whether there is a log
        unreadable,  ///< there is a log and it cannot be replayed; the file must not be trusted
    };

    EStatus status = notAsked;
    std::uint64_t entries = 0;
};

/// What the current header of a file says (VHDX_HEADER): the valid one of the two copies with the
/// greater SequenceNumber.
struct CCurrentHeader {
    std::uint64_t sequenceNumber = 0;
    _GUID fileWriteGuid = {};
    _GUID dataWriteGuid = {};  ///< what children of this disk keep as their parent linkage
    _GUID logGuid = {};        ///< null: there is no log to replay
    std::uint16_t logVersion = 0;
    std::uint16_t version = 0;
    std::uint32_t logLength = 0;  ///< bytes
    std::uint64_t logOffset = 0;  ///< position in the file, in bytes
};

/// Whether they say the same.
[[nodiscard]] VHDX_DISK_API bool operator==(const CCurrentHeader& one, const CCurrentHeader& other);

/// None, with the reason in `failure`, when neither copy has its signature and its checksum, or
/// when the source refuses the bytes. Of equal sequence numbers the first copy counts; a copy in a
/// bad sector does not where the other one is valid.
[[nodiscard]] VHDX_DISK_API std::optional<CCurrentHeader> ReadCurrentHeader(
    const IByteSource& source, CFailure& failure);

/// An input stream on a disk file with its pending log applied in memory. Hand it to
/// `NVHDX::CAccessor` and to every request that takes a stream.
///
///     CFailure failure;
///     CReplayedStream stream("disk.vhdx", ELog::replay, failure);
///     NVHDX::CAccessor accessor;
///     if (!stream || !OpenContainer(accessor, stream, failure)) { ... failure.text ... }
///
/// The stream's fail bit is set, and the constructor's `reason` filled, when the file cannot be
/// opened or its log cannot be replayed. Without a valid header it stays usable: `OpenContainer`
/// refuses it. One thread at a time; streams of one source do not disturb each other.
class CReplayedStream : public std::basic_istream<unsigned char> {
public:
    VHDX_DISK_API CReplayedStream(const std::filesystem::path& path, ELog log, CFailure& reason);
    VHDX_DISK_API CReplayedStream(const CSourcePointer& file, ELog log, CFailure& reason);
    CReplayedStream(const CReplayedStream&) = delete;
    CReplayedStream& operator=(const CReplayedStream&) = delete;
    ~CReplayedStream() override = default;

    /// Whether there is a file at all: false only when it could not be opened.
    [[nodiscard]] VHDX_DISK_API bool IsOpen() const;
    [[nodiscard]] VHDX_DISK_API const CLogState& Log() const;

    /// Why the source refused bytes of the stream, the first time that it did: of kind `none` when
    /// it did not, also where a read came up short at the end of the file. What a request on the
    /// stream did not find after a refusal may be there.
    [[nodiscard]] VHDX_DISK_API CFailure Refusal() const;

    /// What the current header said when the stream was made; none when no copy is valid.
    [[nodiscard]] VHDX_DISK_API const std::optional<CCurrentHeader>& Header() const;

    /// Why one copy of the header could not be read, where the other one is valid and counts, also
    /// where it is the older one; of kind `none` where both could.
    [[nodiscard]] VHDX_DISK_API const CFailure& LostHeader() const;

    /// Whether the file is still as it was when the stream was made: its size, when it was written
    /// last, and its current header. False, with the reason in `reason` (`changedMeanwhile` where
    /// it is not): what was read meanwhile may be of two states.
    [[nodiscard]] VHDX_DISK_API bool CheckUnchanged(CFailure& reason) const;

    /// The file on storage, and the file with its log replayed: the stream's own bytes. They are
    /// the same source where nothing was replayed, null when the file could not be opened.
    [[nodiscard]] VHDX_DISK_API const CSourcePointer& File() const;
    [[nodiscard]] VHDX_DISK_API const CSourcePointer& Replayed() const;

private:
    void Open(const CSourcePointer& file, ELog log, CFailure& reason);

    struct CParts;
    /// Never shared. So the destructor can stand here, and a host's compiler has all of the type,
    /// which `dynamic_cast` and instrumentation ask for.
    std::shared_ptr<CParts> m_parts;
};

/// `CAccessor::Entry` for files that nobody vouches for: false, with the reason in `failure`, when
/// the file is no container, when its structures cannot be read, when its region table claims more
/// entries than it has room for (the accessor would follow the count to the end of the file), and
/// when neither header is valid, so that nobody knows whether there is a log. A stream that shows
/// the file as it stands asks nothing of headers' checksums. `accessor` is empty before; after
/// false it must be cleared. Before `CAccessor::LoadBlocks` makes room for the table that such a
/// file claims, `ReadGeometry` tells whether any disk can have it.
[[nodiscard]] VHDX_DISK_API bool OpenContainer(NVHDX::CAccessor& accessor, CReplayedStream& stream,
                                               CFailure& failure);

}  // namespace NVHDXDisk

#endif
