#include <cstdint>
#include <filesystem>
#include <string>

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>

#include "bench/support/bench_disk.h"
#include "bench/support/pairs.h"

namespace NBench {

namespace {

using boost::property_tree::ptree;

constexpr std::uint64_t BlocksPerChunk = 4096;

NVHDX::CBlocks MakeModel(std::uint64_t blockCount) {
    NVHDX::CBlocks blocks;
    blocks.ratio = BlocksPerChunk;
    for (std::uint64_t i = 0; i < blockCount; ++i) {
        if (i % BlocksPerChunk == 0) {
            blocks.chunks.emplace_back().SetNoSectorBitmap();
        }
        blocks.chunks.back().InitPayloadBlock(NVHDX::CPayloadBlock::FullyPresent, i + 8);
    }
    return blocks;
}

ptree MakeChunkTree(const NVHDX::CBlockChunk& chunk) {
    ptree chunkTree;
    ptree& blocksTree = chunkTree.add_child("payloadBlocks", ptree());
    for (const NVHDX::CPayloadBlock& block : chunk.getPayloadBlocks()) {
        ptree& blockTree = blocksTree.push_back({"payloadBlock", ptree()})->second;
        blockTree.put("state", static_cast<std::int32_t>(block.state));
        blockTree.put("offset", block.offset);
    }
    chunkTree.put("sectorBitmapOffset", ~std::uint64_t{0});
    chunkTree.put("sectorBitmapState", -1);
    chunkTree.put("noSectorBitmap", true);
    return chunkTree;
}

/// The document by the dependency alone.
ptree MakeTree(const NVHDX::CBlocks& blocks) {
    ptree tree;
    tree.put("metadata.fileparams.payloadblksz", std::uint32_t{1} << 20);
    tree.put("metadata.blocks.ratio", blocks.ratio);
    ptree& chunks = tree.add_child("metadata.blocks.chunks", ptree());
    for (const NVHDX::CBlockChunk& chunk : blocks.chunks) {
        chunks.push_back({"chunk", MakeChunkTree(chunk)});
    }
    return tree;
}

std::filesystem::path DocumentOf(std::uint64_t blockCount) {
    return BenchFolder() / ("model" + std::to_string(blockCount) + ".xml");
}

void SaveOurs(benchmark::State& state, std::uint64_t blockCount) {
    const NVHDX::CBlocks blocks = MakeModel(blockCount);
    const std::wstring name = DocumentOf(blockCount).wstring();
    for (auto _ : state) {
        NVHDX::VHDXMetadataSerialize(name, blocks, NVHDX::CFileParameters());
    }
}

void SaveBaseline(benchmark::State& state, std::uint64_t blockCount) {
    const NVHDX::CBlocks blocks = MakeModel(blockCount);
    const std::string name = DocumentOf(blockCount).string();
    const boost::property_tree::xml_writer_settings<std::string> settings(' ', 0, "utf-8");
    for (auto _ : state) {
        boost::property_tree::write_xml(name, MakeTree(blocks), std::locale(), settings);
    }
}

void LoadOurs(benchmark::State& state, std::uint64_t blockCount) {
    const std::wstring name = DocumentOf(blockCount).wstring();
    NVHDX::VHDXMetadataSerialize(name, MakeModel(blockCount), NVHDX::CFileParameters());
    for (auto _ : state) {
        NVHDX::CBlocks blocks;
        NVHDX::CFileParameters params;
        NVHDX::VHDXMetadataDeserialize(name, blocks, params);
        benchmark::DoNotOptimize(blocks.chunks.data());
    }
}

/// Parses the document and takes the two values of every block.
void LoadBaseline(benchmark::State& state, std::uint64_t blockCount) {
    const std::filesystem::path path = DocumentOf(blockCount);
    NVHDX::VHDXMetadataSerialize(path.wstring(), MakeModel(blockCount), NVHDX::CFileParameters());
    for (auto _ : state) {
        ptree tree;
        boost::property_tree::read_xml(path.string(), tree);
        std::uint64_t sum = 0;
        for (const auto& chunk : tree.get_child("metadata.blocks.chunks")) {
            for (const auto& block : chunk.second.get_child("payloadBlocks")) {
                sum += block.second.get<std::uint32_t>("state");
                sum += block.second.get<std::uint32_t>("offset");
            }
        }
        benchmark::DoNotOptimize(sum);
    }
}

const CRegistration registration([] {
    for (const std::uint64_t count : {1ULL << 16, 1ULL << 20}) {
        const std::string setting = Binary(count) + " blocks";
        AddPair(
            "saveXml", setting, 1.15, [count](benchmark::State& state) { SaveOurs(state, count); },
            [count](benchmark::State& state) { SaveBaseline(state, count); });
        AddPair(
            "loadXml", setting, 1.15, [count](benchmark::State& state) { LoadOurs(state, count); },
            [count](benchmark::State& state) { LoadBaseline(state, count); });
    }
    AddGrowth("saveXml (blocks)", 1 << 15, 1 << 18, [](std::uint64_t size) {
        return [size](benchmark::State& state) { SaveOurs(state, size); };
    });
    AddGrowth("loadXml (blocks)", 1 << 15, 1 << 18, [](std::uint64_t size) {
        return [size](benchmark::State& state) { LoadOurs(state, size); };
    });
});

}  // namespace

}  // namespace NBench
