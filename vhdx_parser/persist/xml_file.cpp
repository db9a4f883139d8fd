#if defined(_MSC_VER)
#define _CRT_SECURE_NO_WARNINGS  // wcstombs is what narrows the name, its cut included
#endif

#include "vhdx_parser/persist/xml_file.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <ios>
#include <istream>
#include <streambuf>

#include <boost/property_tree/xml_parser.hpp>

#include "vhdx_parser/persist/xml_nesting.h"

namespace NVHDX {

namespace {

using boost::property_tree::ptree;
using boost::property_tree::xml_parser_error;

// A saved model has 7 levels. The parser and the tree need about 1 KiB of stack for each.
constexpr std::size_t DeepestNesting = 256;

[[noreturn]] void RaiseParserError(const std::string& message, const std::string& fileName,
                                   unsigned long line) {
    BOOST_PROPERTY_TREE_THROW(xml_parser_error(message, fileName, line));
}

// The dependency's operations on streams do not know the file's name, so their errors get it here.
template <class TOperation>
void WithFileName(const std::string& fileName, TOperation operation) {
    try {
        operation();
    } catch (const xml_parser_error& error) {
        RaiseParserError(error.message(), fileName, error.line());
    }
}

template <class TFileStream>
void Open(TFileStream& stream, const std::string& fileName) {
    stream.open(fileName.c_str());
    if (!stream) {
        RaiseParserError("cannot open file", fileName, 0);
    }
}

// Read to the end in portions, so that a pipe serves as well as a file.
std::string ReadText(const std::string& fileName) {
    constexpr std::size_t portion = 1 << 16;
    std::ifstream stream;
    Open(stream, fileName);
    std::string text;
    std::size_t size = 0;
    do {
        text.resize(std::max(size + portion, 2 * size));
        stream.read(text.data() + size, static_cast<std::streamsize>(text.size() - size));
        size += static_cast<std::size_t>(stream.gcount());
    } while (stream);
    if (stream.bad()) {
        RaiseParserError("read error", fileName, 0);
    }
    text.resize(size);
    return text;
}

void RefuseDeepNesting(const std::string& text, const std::string& fileName) {
    const char* const tooDeep = FindElementBelow(text.c_str(), DeepestNesting);
    if (tooDeep != nullptr) {
        const auto lineBreaks = std::count(text.c_str(), tooDeep, '\n');
        RaiseParserError("elements are nested too deeply", fileName,
                         static_cast<unsigned long>(lineBreaks) + 1);
    }
}

// Lets a stream read a text where it stands. Nothing is ever put into it.
class CTextBuffer : public std::streambuf {
public:
    explicit CTextBuffer(std::string& text) {
        setg(text.data(), text.data(), text.data() + text.size());
    }
};

}  // namespace

std::string NarrowFileName(const std::wstring& fileName) {
    std::string narrowed(fileName.size(), '\0');
    // Where a character does not convert, what was converted before it is the name.
    static_cast<void>(std::wcstombs(narrowed.data(), fileName.c_str(), narrowed.size()));
    return std::string(narrowed.c_str());
}

ptree ReadXmlFile(const std::string& fileName) {
    std::string text = ReadText(fileName);
    RefuseDeepNesting(text, fileName);
    CTextBuffer buffer(text);
    std::istream stream(&buffer);
    ptree document;
    WithFileName(fileName, [&] { boost::property_tree::read_xml(stream, document); });
    return document;
}

void WriteXmlFile(const std::string& fileName, const ptree& document) {
    const auto settings =
        boost::property_tree::xml_writer_make_settings<std::string>(' ', 0, "utf-8");
    std::ofstream stream;
    Open(stream, fileName);
    WithFileName(fileName, [&] { boost::property_tree::write_xml(stream, document, settings); });
    // The last portion reaches the file here, and a full disk must not pass unseen.
    stream.close();
    if (!stream) {
        RaiseParserError("write error", fileName, 0);
    }
}

}  // namespace NVHDX
