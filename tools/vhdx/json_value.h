#ifndef VHDX_TOOLS_VHDX_JSON_VALUE_H
#define VHDX_TOOLS_VHDX_JSON_VALUE_H

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace NTool {

struct CJsonMember;
class CTextStream;

/// A value of JSON, to be printed or as it was read. The JSON library stands behind this header:
/// its own takes seconds to compile.
class CJsonValue {
public:
    using CElements = std::vector<CJsonValue>;
    using CMembers = std::vector<CJsonMember>;  ///< printed in this order

    /// null
    CJsonValue();
    CJsonValue(const CJsonValue&);
    CJsonValue(CJsonValue&&) noexcept;
    CJsonValue& operator=(const CJsonValue&);
    CJsonValue& operator=(CJsonValue&&) noexcept;
    ~CJsonValue();

    /// Not from what converts to bool: a pointer is no truth value.
    template <std::same_as<bool> TBool>
    CJsonValue(TBool value) : CJsonValue(CScalar{value}) {}
    template <std::unsigned_integral TNumber>
    requires(!std::same_as<TNumber, bool>) CJsonValue(TNumber value)
        : CJsonValue(CScalar{std::uint64_t{value}}) {}
    /// Any other number, as near as this comes to it.
    CJsonValue(double value);
    CJsonValue(std::string text);
    CJsonValue(std::string_view text);
    CJsonValue(const char* text);
    CJsonValue(CElements elements);
    CJsonValue(CMembers members);

    bool IsObject() const { return std::holds_alternative<CMembers>(m_value); }
    /// Null where the value is none of the kind.
    CElements* Elements() { return std::get_if<CElements>(&m_value); }
    const CElements* Elements() const { return std::get_if<CElements>(&m_value); }
    CMembers* Members() { return std::get_if<CMembers>(&m_value); }
    const std::uint64_t* Number() const { return std::get_if<std::uint64_t>(&m_value); }
    /// The last member of this name; null where the value has none.
    const CJsonValue* Find(std::string_view name) const;

    template <class TVisitor>
    decltype(auto) Visit(TVisitor&& visitor) const {
        return std::visit(std::forward<TVisitor>(visitor), m_value);
    }

private:
    using CScalar = std::variant<bool, std::uint64_t>;
    explicit CJsonValue(CScalar value);

    std::variant<std::nullptr_t, bool, std::uint64_t, double, std::string, CElements, CMembers>
        m_value;
};

struct CJsonMember {
    std::string name;
    CJsonValue value;
};

/// The value in one line of ASCII; what is no UTF-8 becomes U+FFFD.
std::string JsonText(const CJsonValue& value);

/// The same in lines, indented by two blanks.
std::string JsonLines(const CJsonValue& value);

/// Reads a value whose arrays and objects are nested at most nine deep. Throws `CCommandFailure`
/// that says what is wrong.
CJsonValue ParseJson(std::string_view text);

/// Reads an array of any length, nested as deeply as `ParseJson` takes it, and hands on each
/// element: of an object those of its members alone that have one of the names, each once, and null
/// for one that is an array or an object; of an array nothing but that it is one. Keeps no element.
/// False where the text is no array. Throws as `ParseJson` does, then after the elements before,
/// and for an element of more than 1 MiB together with the blanks before it.
bool ReadJsonElements(CTextStream& text, const std::vector<std::string>& names,
                      const std::function<void(const CJsonValue&)>& take);

}  // namespace NTool

#endif
