#ifndef VHDX_PARSER_TESTS_SUPPORT_NAIVE_LOG_H
#define VHDX_PARSER_TESTS_SUPPORT_NAIVE_LOG_H

/// What a file is once its log is replayed, worked out from the description of the format by the
/// shortest way, whatever it costs, and without a line of the libraries.

#include <cstdint>
#include <functional>
#include <vector>

#include "tests/support/bytes.h"

namespace NTest {

/// A file's bytes. `read` fills them from a position on, and is asked only for what is inside.
struct CNaiveBytes {
    std::uint64_t size = 0;
    std::function<void(std::uint64_t position, std::span<unsigned char> bytes)> read;

    bool Holds(std::uint64_t position, std::uint64_t length) const {
        return position <= size && length <= size - position;
    }
    /// False, and nothing read, where not all of it is in the file.
    bool Read(std::uint64_t position, std::span<unsigned char> bytes) const;
};

class CNaiveReplay {
public:
    enum EAnswer {
        noHeader,        ///< neither copy of the header is valid
        nothingPending,  ///< the current header names no log
        replayed,
        refused,   ///< there is a log, and it cannot be replayed
        ambiguous  ///< two sequences of entries count as much
    };

    /// The file as it stands.
    static CNaiveReplay AsItStands(CNaiveBytes stored);
    /// The file with what its log says.
    static CNaiveReplay Of(CNaiveBytes stored);

    EAnswer Answer() const { return m_answer; }
    std::uint64_t EntryCount() const { return m_entryCount; }
    std::uint64_t Size() const { return m_size; }

    /// False, and nothing of worth in `bytes`, where not all of it is in the file.
    bool Read(std::uint64_t position, std::span<unsigned char> bytes) const;
    /// Whether the byte comes from the log: it was written, or the file grew to it.
    bool IsFromLog(std::uint64_t position) const;

    /// What an entry writes, in the order of its descriptors.
    struct CWrite {
        std::uint64_t begin = 0;
        std::uint64_t length = 0;
        CBytes bytes;  ///< none: zeros
    };
    /// Oldest first: later ones win.
    const std::vector<CWrite>& Writes() const { return m_writes; }

private:
    explicit CNaiveReplay(CNaiveBytes stored);
    void Replay();

    CNaiveBytes m_stored;
    EAnswer m_answer = nothingPending;
    std::uint64_t m_entryCount = 0;
    std::uint64_t m_size = 0;
    std::vector<CWrite> m_writes;
};

}  // namespace NTest

#endif
