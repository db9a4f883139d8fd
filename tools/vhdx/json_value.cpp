#include "tools/vhdx/json_value.h"

#include <algorithm>
#include <iterator>
#include <type_traits>

#include <nlohmann/json.hpp>

#include "tools/vhdx/command_failure.h"
#include "tools/vhdx/text.h"
#include "tools/vhdx/text_stream.h"

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
            // Not by `operator[]`, which looks through all members before.
            for (const CJsonMember& member : held) {
                object.get_ref<CJson::object_t&>().emplace_back(member.name, JsonOf(member.value));
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

/// What the parser meets, as the readers below take it.
class CEvents : public nlohmann::json_sax<CJson> {
public:
    bool null() override { return Add({}); }
    bool boolean(bool value) override { return Add(value); }
    bool number_integer(number_integer_t value) override { return Add(static_cast<double>(value)); }
    bool number_unsigned(number_unsigned_t value) override { return Add(value); }
    bool number_float(number_float_t value, const string_t&) override { return Add(value); }
    bool string(string_t& text) override { return Add(std::move(text)); }
    bool binary(binary_t&) override { return false; }
    bool start_array(std::size_t) override { return Deeper() && Open(CJsonValue::CElements()); }
    bool end_array() override { return Close(); }
    bool start_object(std::size_t) override { return Deeper() && Open(CJsonValue::CMembers()); }
    bool end_object() override { return Close(); }
    bool parse_error(std::size_t, const std::string&,
                     const nlohmann::detail::exception& error) override {
        // Without the name that the parser has for the error.
        const std::string_view text = error.what();
        const std::size_t name = text.find("] ");
        throw CCommandFailure("this is no JSON: " +
                              Printable(name == text.npos ? text : text.substr(name + 2)));
    }

protected:
    /// How many arrays and objects are open.
    std::size_t Depth() const { return m_depth; }

private:
    /// Without a limit the input would decide how much is kept of what is open.
    static constexpr std::size_t s_mostOpen = 9;

    virtual bool Add(CJsonValue value) = 0;
    virtual bool Open(CJsonValue empty) = 0;
    virtual bool CloseOpen() = 0;

    bool Deeper() {
        if (m_depth == s_mostOpen) {
            throw CCommandFailure("the JSON is nested too deeply");
        }
        ++m_depth;
        return true;
    }

    bool Close() {
        --m_depth;
        return CloseOpen();
    }

    std::size_t m_depth = 0;
};

/// Puts a value together from what the parser meets.
class CReader : public CEvents {
public:
    CJsonValue Take() { return std::move(m_value); }

    bool key(string_t& name) override {
        m_open.back()->Members()->push_back({std::move(name), {}});
        return true;
    }

private:
    CJsonValue& Place() {
        if (m_open.empty()) {
            return m_value;
        }
        if (CJsonValue::CElements* const elements = m_open.back()->Elements()) {
            return elements->emplace_back();
        }
        return m_open.back()->Members()->back().value;
    }

    bool Add(CJsonValue value) override {
        Place() = std::move(value);
        return true;
    }

    bool Open(CJsonValue empty) override {
        CJsonValue& place = Place();
        place = std::move(empty);
        m_open.push_back(&place);
        return true;
    }

    bool CloseOpen() override {
        m_open.pop_back();
        return true;
    }

    CJsonValue m_value;
    std::vector<CJsonValue*> m_open;  ///< each in the last place of the one before, so none moves
};

/// Hands on the elements of an array, and keeps of the one that it reads what was asked for.
class CElementReader : public CEvents {
public:
    using CTake = std::function<void(const CJsonValue&)>;

    CElementReader(const std::vector<std::string>& names, const CTake& take)
        : m_names(names), m_take(take) {}

    /// Called for each character. Without a limit the input would decide how much is kept of a
    /// text.
    void Count() {
        if (++m_length > s_longestElement) {
            throw CCommandFailure("element " + std::to_string(m_taken + 1) +
                                  ": it is longer than 1 MiB, which no range is");
        }
    }

    bool key(string_t& name) override {
        if (Depth() == s_inElement) {
            const bool isWanted = std::find(m_names.begin(), m_names.end(), name) != m_names.end();
            m_member = isWanted ? &Member(name) : nullptr;
        }
        return true;
    }

private:
    static constexpr std::size_t s_inArray = 1;
    static constexpr std::size_t s_inElement = 2;
    static constexpr std::size_t s_longestElement = std::size_t{1} << 20;

    void HandOn(const CJsonValue& element) {
        m_take(element);
        ++m_taken;
        m_length = 0;
    }

    /// The value of this name, null: of several members of one name the last one counts.
    CJsonValue& Member(const std::string& name) {
        CJsonValue::CMembers& members = *m_element.Members();
        auto member =
            std::find_if(members.begin(), members.end(),
                         [&name](const CJsonMember& known) { return known.name == name; });
        if (member == members.end()) {
            member = members.insert(members.end(), {name, {}});
        }
        return member->value = {};
    }

    bool Add(CJsonValue value) override {
        if (Depth() == s_inArray) {
            HandOn(value);
        } else if (Depth() == s_inElement && m_member != nullptr) {
            *m_member = std::move(value);
        }
        return Depth() != 0;
    }

    bool Open(CJsonValue empty) override {
        const bool isArray = empty.Elements() != nullptr;
        if (Depth() == s_inElement) {
            m_element = std::move(empty);
            m_member = nullptr;
        }
        return Depth() != s_inArray || isArray;
    }

    bool CloseOpen() override {
        if (Depth() == s_inArray) {
            HandOn(m_element);
        }
        return true;
    }

    const std::vector<std::string>& m_names;
    const CTake& m_take;
    std::size_t m_taken = 0;
    std::size_t m_length = 0;  ///< of the element so far
    CJsonValue m_element;
    CJsonValue* m_member = nullptr;  ///< where the value goes that comes next, if anywhere
};

/// The characters of a stream, as the parser asks for them: each once, in their order.
struct CCharacters {
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = char;

    char operator*() const { return stream->Peek(); }
    CCharacters& operator++() {
        reader->Count();
        stream->Skip();
        return *this;
    }
    /// The one thing that is compared with is the end.
    bool operator!=(const CCharacters&) const { return !stream->IsAtEnd(); }
    bool operator==(const CCharacters& end) const { return !(*this != end); }

    CTextStream* stream = nullptr;
    CElementReader* reader = nullptr;
};

}  // namespace

// A vector of values that grows is to move them: a copy would be one of all that is below.
static_assert(std::is_nothrow_move_constructible_v<CJsonValue> &&
              std::is_nothrow_move_constructible_v<CJsonMember>);

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

bool ReadJsonElements(CTextStream& text, const std::vector<std::string>& names,
                      const std::function<void(const CJsonValue&)>& take) {
    CElementReader reader(names, take);
    return CJson::sax_parse(CCharacters{&text, &reader}, CCharacters{}, &reader);
}

}  // namespace NTool
