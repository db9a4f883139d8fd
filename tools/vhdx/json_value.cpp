#include "tools/vhdx/json_value.h"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "tools/vhdx/command_failure.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

using CJson = nlohmann::ordered_json;

CJson JsonOf(const CJsonValue& value) {
    return value.Visit([](const auto& held) -> CJson {
        using CHeld = std::decay_t<decltype(held)>;
        if constexpr (std::is_same_v<CHeld, CJsonValue::CElements>) {
            CJson array = CJson::array();
            std::transform(held.begin(), held.end(), std::back_inserter(array), JsonOf);
            return array;
        } else if constexpr (std::is_same_v<CHeld, CJsonValue::CMembers>) {
            CJson object = CJson::object();
            for (const CJsonMember& member : held) {
                object[member.name] = JsonOf(member.value);
            }
            return object;
        } else {
            return held;
        }
    });
}

std::string Dump(const CJsonValue& value, int indent) {
    // A name may hold bytes that are no UTF-8, which cannot stand in JSON.
    return JsonOf(value).dump(indent, ' ', true, CJson::error_handler_t::replace);
}

/// Puts a value together from what the parser meets.
class CReader : public nlohmann::json_sax<CJson> {
public:
    CJsonValue Take() { return std::move(m_value); }

    bool null() override { return Add({}); }
    bool boolean(bool value) override { return Add(value); }
    bool number_integer(number_integer_t value) override { return Add(static_cast<double>(value)); }
    bool number_unsigned(number_unsigned_t value) override { return Add(value); }
    bool number_float(number_float_t value, const string_t&) override { return Add(value); }
    bool string(string_t& text) override { return Add(std::move(text)); }
    bool binary(binary_t&) override { return false; }
    bool start_array(std::size_t) override { return Open(CJsonValue::CElements()); }
    bool end_array() override { return Close(); }
    bool start_object(std::size_t) override { return Open(CJsonValue::CMembers()); }
    bool end_object() override { return Close(); }
    bool key(string_t& name) override {
        m_open.back()->Members()->push_back({std::move(name), {}});
        return true;
    }
    bool parse_error(std::size_t, const std::string&,
                     const nlohmann::detail::exception& error) override {
        // Without the name that the parser has for the error.
        const std::string_view text = error.what();
        const std::size_t name = text.find("] ");
        throw CCommandFailure("this is no JSON: " +
                              Printable(name == text.npos ? text : text.substr(name + 2)));
    }

private:
    /// Without a limit the input would decide how much stack is used.
    static constexpr std::size_t s_mostOpen = 9;

    CJsonValue& Place() {
        if (m_open.empty()) {
            return m_value;
        }
        if (CJsonValue::CElements* const elements = m_open.back()->Elements()) {
            return elements->emplace_back();
        }
        return m_open.back()->Members()->back().value;
    }

    bool Add(CJsonValue value) {
        Place() = std::move(value);
        return true;
    }

    bool Open(CJsonValue value) {
        if (m_open.size() == s_mostOpen) {
            throw CCommandFailure("the JSON is nested too deeply");
        }
        CJsonValue& place = Place();
        place = std::move(value);
        m_open.push_back(&place);
        return true;
    }

    bool Close() {
        m_open.pop_back();
        return true;
    }

    CJsonValue m_value;
    std::vector<CJsonValue*> m_open;  ///< each in the last place of the one before, so none moves
};

}  // namespace

// Here, where a member is a complete type.
CJsonValue::CJsonValue() = default;
CJsonValue::CJsonValue(const CJsonValue&) = default;
CJsonValue::CJsonValue(CJsonValue&&) noexcept = default;
CJsonValue& CJsonValue::operator=(const CJsonValue&) = default;
CJsonValue& CJsonValue::operator=(CJsonValue&&) noexcept = default;
CJsonValue::~CJsonValue() = default;

CJsonValue::CJsonValue(CScalar value) {
    std::visit([this](auto scalar) { m_value = scalar; }, value);
}
CJsonValue::CJsonValue(double value) : m_value(value) {}
CJsonValue::CJsonValue(std::string text) : m_value(std::move(text)) {}
CJsonValue::CJsonValue(std::string_view text) : m_value(std::string(text)) {}
CJsonValue::CJsonValue(const char* text) : m_value(std::string(text)) {}
CJsonValue::CJsonValue(CElements elements) : m_value(std::move(elements)) {}
CJsonValue::CJsonValue(CMembers members) : m_value(std::move(members)) {}

const CJsonValue* CJsonValue::Find(std::string_view name) const {
    const CMembers* const members = std::get_if<CMembers>(&m_value);
    if (members == nullptr) {
        return nullptr;
    }
    const auto found =
        std::find_if(members->rbegin(), members->rend(),
                     [name](const CJsonMember& member) { return member.name == name; });
    return found == members->rend() ? nullptr : &found->value;
}

std::string JsonText(const CJsonValue& value) {
    return Dump(value, -1);
}

std::string JsonLines(const CJsonValue& value) {
    return Dump(value, 2);
}

CJsonValue ParseJson(std::string_view text) {
    CReader reader;
    (void)CJson::sax_parse(text, &reader);
    return reader.Take();
}

}  // namespace NTool
