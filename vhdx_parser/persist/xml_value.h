#ifndef VHDX_PARSER_PERSIST_XML_VALUE_H
#define VHDX_PARSER_PERSIST_XML_VALUE_H

/// Values of a block map document, read from element text.

#include <charconv>
#include <locale>
#include <optional>
#include <sstream>
#include <string>
#include <system_error>
#include <type_traits>

#include <boost/property_tree/ptree.hpp>

namespace NVHDX {

/// Element text as a value, by the dependency's own rules but under the classic locale whatever the
/// program's locale is: a document means the same everywhere. Empty when the text does not convert.
template <class TValue>
std::optional<TValue> ReadValue(const std::string& text) {
    TValue value = {};
    // A number that is nothing but digits, as every number that was written, needs no stream.
    if constexpr (!std::is_same_v<TValue, bool>) {
        const char* const end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, value);
        if (error == std::errc() && stop == end) {
            return value;
        }
    }
    using CExtraction =
        boost::property_tree::customize_stream<char, std::char_traits<char>, TValue>;
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    CExtraction::extract(stream, value);
    if (stream.fail() || stream.get() != std::char_traits<char>::eof()) {
        return std::nullopt;
    }
    return value;
}

/// The value of a child element, or `fallback` when it is missing or does not convert.
template <class TValue>
TValue ReadOptional(const boost::property_tree::ptree& parent, const std::string& name,
                    TValue fallback) {
    const auto child = parent.find(name);
    if (child == parent.not_found()) {
        return fallback;
    }
    return ReadValue<TValue>(child->second.data()).value_or(fallback);
}

/// The value at a path. A missing element raises the dependency's bad-path error, a text that does
/// not convert its bad-data error.
template <class TValue>
TValue ReadRequired(const boost::property_tree::ptree& parent, const char* path) {
    const std::string& text = parent.get_child(path).data();
    const std::optional<TValue> value = ReadValue<TValue>(text);
    if (!value) {
        BOOST_PROPERTY_TREE_THROW(boost::property_tree::ptree_bad_data(
            std::string("the value of \"") + path + "\" does not convert", text));
    }
    return *value;
}

}  // namespace NVHDX

#endif
