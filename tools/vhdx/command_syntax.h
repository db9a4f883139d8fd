#ifndef VHDX_TOOLS_VHDX_COMMAND_SYNTAX_H
#define VHDX_TOOLS_VHDX_COMMAND_SYNTAX_H

/// What the program and its commands take as arguments, and how the arguments are read. The parser
/// stands behind this header: its own takes seconds to compile.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace NTool {

/// The arguments are not what the program takes. The text says why, in one line, as it came: what
/// it quotes of the arguments may hold anything.
class CUsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// One argument that a command takes. Belongs to its program, as long as that lives.
class CArgument {
public:
    CArgument& Required();
    /// Taken together with the other one only.
    CArgument& Needs(const CArgument& other);
    /// Not taken together with the other one.
    CArgument& Excludes(const CArgument& other);

private:
    friend class CCommandSyntax;
    explicit CArgument(CLI::Option& option) : m_option(&option) {}

    CLI::Option* m_option;
};

/// What one command takes. Values that it is to fill must live until the program was parsed.
/// Belongs to its program, as long as that lives.
class CCommandSyntax {
public:
    using CTake = std::function<void(const std::string&)>;

    /// An argument that is known by its place, as FILE is; it has to be given.
    CArgument AddPlaced(const std::string& name, std::string& value, const std::string& help);
    CArgument AddText(const std::string& name, const std::string& type, std::string& value,
                      const std::string& help);
    CArgument AddNumber(const std::string& name, const std::string& type, std::uint32_t& value,
                        const std::string& help);
    /// A number from `first` to `last`.
    CArgument AddNumber(const std::string& name, const std::string& type, std::uint32_t first,
                        std::uint32_t last, std::optional<std::uint32_t>& value,
                        const std::string& help);
    /// One of the words.
    CArgument AddWord(const std::string& name, const std::string& type,
                      const std::vector<std::string>& words, const CTake& take,
                      const std::string& help);
    /// A text that is handed to `take`, which throws `CUsageError` for one that is not taken.
    CArgument AddTaken(const std::string& name, const std::string& type, const CTake& take,
                       const std::string& help);
    CArgument AddFlag(const std::string& name, bool& value, const std::string& help);
    /// A flag that calls `take` when it is given.
    CArgument AddFlag(const std::string& name, std::function<void()> take, const std::string& help);
    /// A flag that says only what holds without it.
    CArgument AddFlag(const std::string& name, const std::string& help);
    /// The argument of this name that was added before.
    CArgument Find(const std::string& name) const;

    /// Arguments of which exactly one has to be given.
    CCommandSyntax AddAlternatives(const std::string& title);
    /// Called when all arguments of this command were taken; throws `CUsageError` when they do not
    /// go together.
    void CheckTogether(std::function<void()> check);
    /// Called when this command was named and nothing is wrong with its arguments.
    void WhenChosen(std::function<void()> choose);
    /// What stands below the help for the arguments.
    void SetFooter(const std::string& text);

private:
    friend class CProgramSyntax;
    explicit CCommandSyntax(CLI::App& command) : m_command(&command) {}

    CLI::App* m_command;
};

/// What the program takes: one of its commands, --help and --version.
class CProgramSyntax {
public:
    CProgramSyntax(const std::string& name, const std::string& description,
                   const std::string& version, const std::string& footer);
    CProgramSyntax(const CProgramSyntax&) = delete;
    CProgramSyntax& operator=(const CProgramSyntax&) = delete;
    ~CProgramSyntax();

    CCommandSyntax AddCommand(const std::string& name, const std::string& description);

    /// Reads the arguments behind the program's name, which choose a command. Or they ask for the
    /// help or the version: then that is returned, to be printed. Throws `CUsageError`. To be
    /// called once.
    std::optional<std::string> Parse(std::vector<std::string> arguments);

private:
    std::unique_ptr<CLI::App> m_program;
};

}  // namespace NTool

#endif
