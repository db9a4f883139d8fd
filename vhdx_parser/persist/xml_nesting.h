#ifndef VHDX_PARSER_PERSIST_XML_NESTING_H
#define VHDX_PARSER_PERSIST_XML_NESTING_H

/// How deeply the elements of an XML text are nested, found out without recursion.

#include <cstddef>

namespace NVHDX {

/// The first element that lies deeper than `limit` levels (a root element has depth 1), as the
/// address of its '<', or null when there is none.
///
/// The zero-terminated text is taken apart by the rules of Boost.PropertyTree's parser, its
/// leniency included, so that nothing the parser would descend into is missed and nothing else is
/// counted. Where the parser gives up on a malformed text, so does the search. Linear in the text.
const char* FindElementBelow(const char* text, std::size_t limit);

}  // namespace NVHDX

#endif
