# shellcheck shell=bash
# What the checks of the exported names share.

# The names in the list of an exported interface. Those that only the library for Windows shows have
# "Windows: " before them.
expected_names() {
    grep -vE '^(#|$)' "$1"
}

# Makes a list of demangled names readable: the usual short names of the standard library's
# types in place of their spelled-out template arguments.
readable_names() {
    sed -E '
        s/\[abi:cxx11\]//g
        s/std::filesystem::__cxx11::path/std::filesystem::path/g
        s/std::basic_string_view<char, std::char_traits<char> >/std::string_view/g
        s/std::basic_string_view<wchar_t, std::char_traits<wchar_t> >/std::wstring_view/g
        s/std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >/std::string/g
        s/std::__cxx11::basic_string<wchar_t, std::char_traits<wchar_t>, std::allocator<wchar_t> >/std::wstring/g
        s/, std::char_traits<unsigned char>//g
        s/std::vector<(.*), std::allocator<\1 ?> >/std::vector<\1>/g
        s/std::unique_ptr<(.*), std::default_delete<\1 ?> >/std::unique_ptr<\1>/g
        s/std::map<(.*), (.*), std::less<\1>, std::allocator<std::pair<\1 const, \2> > >/std::map<\1, \2>/g
        s/unsigned long( long)?/std::uint64_t/g
        s/([0-9])ul/\1/g
        s/unsigned int/std::uint32_t/g
        s/ +>/>/g
        s/ +>/>/g
    '
}
