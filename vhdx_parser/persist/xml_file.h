#ifndef VHDX_PARSER_PERSIST_XML_FILE_H
#define VHDX_PARSER_PERSIST_XML_FILE_H

/// XML files as property trees. Every failure is the dependency's `xml_parser_error` with the
/// file's name.

#include <string>

#include <boost/property_tree/ptree.hpp>

namespace NVHDX {

/// The name as the C library narrows it under the current C locale, cut at as many bytes as the
/// wide name has characters and at the first character that the locale cannot convert.
std::string NarrowFileName(const std::wstring& fileName);

/// Reads and parses the file. Elements nested so deeply that the parser, which descends by
/// recursion, could run out of stack are refused.
boost::property_tree::ptree ReadXmlFile(const std::string& fileName);

/// Writes the document without line breaks between elements, replacing the file.
void WriteXmlFile(const std::string& fileName, const boost::property_tree::ptree& document);

}  // namespace NVHDX

#endif
