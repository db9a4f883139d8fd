#ifndef VHDX_TOOLS_VHDX_STORED_RUNS_H
#define VHDX_TOOLS_VHDX_STORED_RUNS_H

#include <cstdint>

namespace NTool {

/// A run [begin, end) of bytes that a file has stored; what lies before it are zeros.
struct CStored {
    std::uint64_t begin;
    std::uint64_t end;
};

/// Which bytes of an open file are stored, as the system says it; all where it cannot tell.
/// Remembers its last answer for one file: to ask is slow for long runs.
class CStoredRuns {
public:
    /// The first run in [begin, end); empty, at `end`, when there is none.
    CStored Next(int file, std::uint64_t begin, std::uint64_t end);

    /// The file was written: what is known of it may be wrong.
    void Forget() { m_known = {}; }

private:
    /// Bytes [begin, run.begin) are a hole, and those of the run are stored.
    struct CKnown {
        std::uint64_t begin = 0;
        CStored run = {0, 0};
    };

    static CKnown Look(int file, std::uint64_t begin);

    CKnown m_known;
};

}  // namespace NTool

#endif
