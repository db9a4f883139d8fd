#ifndef VHDX_TOOLS_VHDX_PRIVATE_PIPE_H
#define VHDX_TOOLS_VHDX_PRIVATE_PIPE_H

#include <array>

namespace NTool {

/// A pipe that no program inherits unasked. Its descriptors are none of the first ten, which a
/// child may want for something else.
class CPrivatePipe {
public:
    /// Throws `CCommandFailure` when the system has none left.
    CPrivatePipe();
    CPrivatePipe(const CPrivatePipe&) = delete;
    CPrivatePipe& operator=(const CPrivatePipe&) = delete;
    ~CPrivatePipe();

    [[nodiscard]] int Reader() const { return m_ends[0]; }
    [[nodiscard]] int Writer() const { return m_ends[1]; }
    void CloseReader() { Close(0); }
    void CloseWriter() { Close(1); }

private:
    void Close(std::size_t end);

    std::array<int, 2> m_ends = {-1, -1};
};

}  // namespace NTool

#endif
