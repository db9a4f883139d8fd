#ifndef VHDX_TOOLS_VHDX_COMMAND_FAILURE_H
#define VHDX_TOOLS_VHDX_COMMAND_FAILURE_H

#include <stdexcept>
#include <string>
#include <utility>

#include <vhdx_disk/failure.h>

namespace NTool {

/// Ends a command with status 1. The text is the reason in one line; the subject is the file that
/// it is about, empty for the disk file that the command was given.
class CCommandFailure : public std::runtime_error {
public:
    explicit CCommandFailure(const std::string& reason) : std::runtime_error(reason) {}
    CCommandFailure(std::string subject, const std::string& reason)
        : std::runtime_error(reason), m_subject(std::move(subject)) {}

    const std::string& Subject() const { return m_subject; }

private:
    std::string m_subject;
};

/// Nobody reads standard output any more: the command ends with status 1 and without a word.
class CClosedPipe : public CCommandFailure {
public:
    CClosedPipe() : CCommandFailure("nobody reads the output any more") {}
};

/// Why the library failed, safe to print, with the option that helps where there is one.
std::string ReasonOf(const NVHDXDisk::CFailure& failure);

/// The failure of the library as one of the command.
CCommandFailure FailureOf(const NVHDXDisk::CFailure& failure);

/// The files of a disk changed while they were read, or nobody can tell: throws that, or prints it
/// as one line for who asked for the disk as it lives.
void TellChange(const NVHDXDisk::CFailure& change, bool live);

}  // namespace NTool

#endif
