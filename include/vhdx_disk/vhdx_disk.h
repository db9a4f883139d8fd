#ifndef VHDX_DISK_VHDX_DISK_H
#define VHDX_DISK_VHDX_DISK_H

/// Everything that the library offers.

#include <vhdx_disk/block_table.h>
#include <vhdx_disk/check.h>
#include <vhdx_disk/copy.h>
#include <vhdx_disk/disk.h>
#include <vhdx_disk/export.h>
#include <vhdx_disk/failure.h>
#include <vhdx_disk/finding.h>
#include <vhdx_disk/folder.h>
#include <vhdx_disk/path_query.h>
#include <vhdx_disk/reader.h>
#include <vhdx_disk/replayed_stream.h>
#include <vhdx_disk/source.h>
#include <vhdx_disk/tree.h>

#endif
