#ifndef VHDX_PARSER_PERSIST_BLOCK_MAP_TREE_H
#define VHDX_PARSER_PERSIST_BLOCK_MAP_TREE_H

/// A block model with its parameters as the property tree of its XML document.

#include <boost/property_tree/ptree.hpp>

#include <vhdx_parser/block_model.h>

namespace NVHDX {

boost::property_tree::ptree WriteBlockMap(const CBlocks& blocks, const CFileParameters& params);

/// Fills both arguments, or throws the dependency's exception for a missing or unreadable required
/// element and leaves them unchanged.
void ReadBlockMap(const boost::property_tree::ptree& document, CBlocks& blocks,
                  CFileParameters& params);

}  // namespace NVHDX

#endif
