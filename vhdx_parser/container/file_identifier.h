#ifndef VHDX_PARSER_CONTAINER_FILE_IDENTIFIER_H
#define VHDX_PARSER_CONTAINER_FILE_IDENTIFIER_H

#include <istream>

namespace NVHDX {

/// Reads the file type identifier from where the stream stands and checks its signature.
bool CheckFileIdentifier(std::basic_istream<unsigned char>& stream);

}  // namespace NVHDX

#endif
