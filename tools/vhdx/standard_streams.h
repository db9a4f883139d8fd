#ifndef VHDX_TOOLS_VHDX_STANDARD_STREAMS_H
#define VHDX_TOOLS_VHDX_STANDARD_STREAMS_H

namespace NTool {

/// Takes the descriptors of standard input, output and error that the caller had closed, so that no
/// file that is opened later gets one of them, and with it what is printed. Reading from such an
/// input and writing to such an output fail as they do with the closed ones; messages are dropped.
/// To be called before anything is opened. On Windows, where they are no numbers that files share,
/// it does nothing.
void ReserveStandardStreams();

}  // namespace NTool

#endif
