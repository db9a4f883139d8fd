#ifndef VHDX_PARSER_VHDX_PARSER_H
#define VHDX_PARSER_VHDX_PARSER_H

/// The whole exported interface.

#include <vhdx_parser/accessor.h>
#include <vhdx_parser/block_iteration.h>
#include <vhdx_parser/block_model.h>
#include <vhdx_parser/byte_stream.h>
#include <vhdx_parser/debug_trace.h>
#include <vhdx_parser/differencing_merge.h>
#include <vhdx_parser/dynamic_alloc_buffer.h>
#include <vhdx_parser/file_system.h>
#include <vhdx_parser/guid.h>
#include <vhdx_parser/metadata.h>
#include <vhdx_parser/payload_data.h>
#include <vhdx_parser/platform.h>
#include <vhdx_parser/sector_bitmap.h>
#include <vhdx_parser/snapshot_chain.h>
#include <vhdx_parser/xml_persistence.h>

#endif
