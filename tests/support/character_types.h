#ifndef VHDX_PARSER_TESTS_SUPPORT_CHARACTER_TYPES_H
#define VHDX_PARSER_TESTS_SUPPORT_CHARACTER_TYPES_H

/// For tests that run for narrow and for wide names.
///
///     template <class TChar> class Extension : public ::testing::Test {};
///     TYPED_TEST_SUITE(Extension, NTest::TCharacterTypes);

#include <filesystem>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace NTest {

using TCharacterTypes = ::testing::Types<char, wchar_t>;

/// ASCII text in either character type; zero characters stay.
template <class TChar>
std::basic_string<TChar> Text(std::string_view ascii) {
    return std::basic_string<TChar>(ascii.begin(), ascii.end());
}

/// Whether every name of the platform has this form; narrow ones of Windows are in a code page.
template <class TChar>
constexpr bool hasEveryName = sizeof(TChar) > 1 || sizeof(std::filesystem::path::value_type) == 1;

/// The path as the library is given it; where native names are UTF-8, wide ones are UTF-32. A path
/// beyond ASCII only where every name has the form.
template <class TChar>
std::basic_string<TChar> PathText(const std::filesystem::path& path) {
    if constexpr (sizeof(TChar) == 4) {
        const std::u32string text = path.u32string();
        return std::basic_string<TChar>(text.begin(), text.end());
    } else {
        return path.string<TChar>();
    }
}

}  // namespace NTest

#endif
