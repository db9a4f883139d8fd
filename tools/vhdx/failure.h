#ifndef VHDX_PARSER_TOOLS_VHDX_FAILURE_H
#define VHDX_PARSER_TOOLS_VHDX_FAILURE_H

#include <stdexcept>
#include <string>
#include <utility>

namespace NTool {

/// Ends a command with status 1. The text is the reason in one line; the subject is the file that
/// it is about, empty for the disk file that the command was given.
class CFailure : public std::runtime_error {
public:
    explicit CFailure(const std::string& reason) : std::runtime_error(reason) {}
    CFailure(std::string subject, const std::string& reason)
        : std::runtime_error(reason), m_subject(std::move(subject)) {}

    const std::string& Subject() const { return m_subject; }

private:
    std::string m_subject;
};

/// Nobody reads standard output any more: the command ends with status 1 and without a word.
class CClosedPipe : public CFailure {
public:
    CClosedPipe() : CFailure("nobody reads the output any more") {}
};

}  // namespace NTool

#endif
