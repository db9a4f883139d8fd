#include "tools/vhdx/command_syntax.h"

#include <algorithm>
#include <set>
#include <sstream>
#include <utility>

#if defined(__MINGW32__)

// The parser's questions about paths, which nothing here uses, would bring the runtime's calls
// along that refuse the paths of snapshots and devices; whether one of them is linked is how a test
// sees that the command asks nothing by them.

#include <sys/stat.h>

namespace CLI {

/// Both the answer and the question, as `stat` is: nothing is ever found.
struct CNoStatus {
    CNoStatus() = default;
    CNoStatus(const char*, CNoStatus*) {}
    bool operator==(int) const { return false; }

    unsigned st_mode = 0;
};

}  // namespace CLI

#define CLI11_HAS_FILESYSTEM 0
#pragma push_macro("stat")
#undef stat
#define stat CNoStatus
#include <CLI/CLI.hpp>
#pragma pop_macro("stat")

#else

#include <CLI/CLI.hpp>

#endif

namespace NTool {

namespace {

/// Names the arguments that one needs or excludes in the order in which they were added. The
/// parser's own order is that of where they lie in memory.
class CFormatter : public CLI::Formatter {
public:
    std::string make_help(const CLI::App* app, std::string name,
                          CLI::AppFormatMode mode) const override {
        m_options = app->get_options();
        return Formatter::make_help(app, std::move(name), mode);
    }

    std::string make_option_opts(const CLI::Option* option) const override {
        std::string text;
        if (option->get_type_size() != 0 && !option->get_type_name().empty()) {
            text += " " + option->get_type_name();
        }
        if (option->get_type_size() != 0 && option->get_required()) {
            text += " REQUIRED";
        }
        return text + Names(" Needs:", option->get_needs()) +
               Names(" Excludes:", option->get_excludes());
    }

private:
    std::string Names(const char* label, const std::set<CLI::Option*>& wanted) const {
        std::string text = wanted.empty() ? "" : label;
        for (const CLI::Option* option : m_options) {
            if (wanted.contains(const_cast<CLI::Option*>(option))) {
                text += " " + option->get_name();
            }
        }
        return text;
    }

    mutable std::vector<const CLI::Option*> m_options;
};

}  // namespace

CArgument& CArgument::Required() {
    m_option->required();
    return *this;
}

CArgument& CArgument::Needs(const CArgument& other) {
    m_option->needs(other.m_option);
    return *this;
}

CArgument& CArgument::Excludes(const CArgument& other) {
    m_option->excludes(other.m_option);
    return *this;
}

CArgument CCommandSyntax::AddPlaced(const std::string& name, std::string& value,
                                    const std::string& help) {
    return AddText(name, "", value, help).Required();
}

CArgument CCommandSyntax::AddText(const std::string& name, const std::string& type,
                                  std::string& value, const std::string& help) {
    return CArgument(*m_command->add_option(name, value, help)->type_name(type));
}

CArgument CCommandSyntax::AddNumber(const std::string& name, const std::string& type,
                                    std::uint32_t& value, const std::string& help) {
    return CArgument(*m_command->add_option(name, value, help)->type_name(type));
}

CArgument CCommandSyntax::AddNumber(const std::string& name, const std::string& type,
                                    std::uint32_t first, std::uint32_t last,
                                    std::optional<std::uint32_t>& value, const std::string& help) {
    return CArgument(*m_command->add_option(name, value, help)
                          ->check(CLI::Range(first, last).description(""))
                          ->type_name(type));
}

CArgument CCommandSyntax::AddWord(const std::string& name, const std::string& type,
                                  const std::vector<std::string>& words, const CTake& take,
                                  const std::string& help) {
    const CArgument argument = AddTaken(name, type, take, help);
    argument.m_option->check(CLI::IsMember(words).description(""));
    return argument;
}

CArgument CCommandSyntax::AddTaken(const std::string& name, const std::string& type,
                                   const CTake& take, const std::string& help) {
    return CArgument(
        *m_command->add_option_function<std::string>(name, take, help)->type_name(type));
}

CArgument CCommandSyntax::AddFlag(const std::string& name, bool& value, const std::string& help) {
    return CArgument(*m_command->add_flag(name, value, help));
}

CArgument CCommandSyntax::AddFlag(const std::string& name, std::function<void()> take,
                                  const std::string& help) {
    return CArgument(*m_command->add_flag_callback(name, std::move(take), help));
}

CArgument CCommandSyntax::AddFlag(const std::string& name, const std::string& help) {
    return CArgument(*m_command->add_flag(name, help));
}

CArgument CCommandSyntax::Find(const std::string& name) const {
    return CArgument(*m_command->get_option(name));
}

CCommandSyntax CCommandSyntax::AddAlternatives(const std::string& title) {
    CLI::App& group = *m_command->add_option_group(title);
    group.require_option(1);
    return CCommandSyntax(group);
}

void CCommandSyntax::CheckTogether(std::function<void()> check) {
    m_command->parse_complete_callback(std::move(check));
}

void CCommandSyntax::WhenChosen(std::function<void()> choose) {
    m_command->final_callback(std::move(choose));
}

void CCommandSyntax::SetFooter(const std::string& text) {
    m_command->footer(text);
}

CProgramSyntax::CProgramSyntax(const std::string& name, const std::string& description,
                               const std::string& version, const std::string& footer)
    : m_program(std::make_unique<CLI::App>(description, name)) {
    m_program->set_version_flag("--version", version);
    m_program->require_subcommand(1);
    m_program->formatter(std::make_shared<CFormatter>());
    m_program->get_formatter()->column_width(22);
    m_program->footer(footer);
}

CProgramSyntax::~CProgramSyntax() = default;

CCommandSyntax CProgramSyntax::AddCommand(const std::string& name, const std::string& description) {
    return CCommandSyntax(*m_program->add_subcommand(name, description));
}

std::optional<std::string> CProgramSyntax::Parse(std::vector<std::string> arguments) {
    std::reverse(arguments.begin(), arguments.end());  // the parser takes the last one first
    try {
        m_program->parse(std::move(arguments));
    } catch (const CLI::Success& wanted) {
        std::ostringstream text;
        m_program->exit(wanted, text, text);
        return text.str();
    } catch (const CLI::ParseError& error) {
        throw CUsageError(error.what());
    }
    return std::nullopt;
}

}  // namespace NTool
