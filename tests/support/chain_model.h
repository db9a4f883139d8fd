#ifndef VHDX_PARSER_TESTS_SUPPORT_CHAIN_MODEL_H
#define VHDX_PARSER_TESTS_SUPPORT_CHAIN_MODEL_H

/// A chain of disks and, beside it, the plain bytes that its guest would see. Every step changes
/// both, the bytes straight from what the step means, so that they owe nothing to any reader.
///
///     CChainModel chain;
///     chain.AddDisk(CDiskShape().Size(8 * MiB));     // the base: 0.vhdx
///     chain.Present(2, 1);                           // block 2, pattern 1
///     chain.AddDisk(CDiskShape().Size(8 * MiB));     // its child: 1.avhdx
///     chain.Partial(2, 5, {0, 1, 2040});             // three sectors of block 2, pattern 5
///     chain.WriteTo(folder.Path());
///     EXPECT_EQ(read(chain.NewestPath()), chain.Content());

#include <filesystem>
#include <map>
#include <set>
#include <vector>

#include "tests/support/image_builder.h"

namespace NTest {

struct CDiskShape {
    std::uint64_t size = 8 * MiB;
    std::uint64_t blockSize = MiB;
    std::uint32_t sectorSize = 512;

    CDiskShape& Size(std::uint64_t bytes);
    CDiskShape& BlockSize(std::uint64_t bytes);
    CDiskShape& SectorSize(std::uint32_t bytes);
};

class CChainModel {
public:
    /// State bits of the table.
    enum EEmpty : unsigned { undefined = 1, zero = 2, unmapped = 3 };

    /// What a file says of a sector of the disk.
    enum ESays { nothing, data, zeros };

    /// Adds a disk on top; the steps below change it. What it is longer than its parent is zeros.
    CChainModel& AddDisk(const CDiskShape& shape);
    CChainModel& Present(std::uint64_t block, std::uint64_t seed);
    CChainModel& Partial(std::uint64_t block, std::uint64_t seed,
                         const std::set<std::uint64_t>& sectors);
    /// A block that reads as zeros; with space it claims a place full of other bytes.
    CChainModel& Empty(std::uint64_t block, EEmpty state, bool withSpace);

    /// The builder of the disk on top, for what the model need not know.
    CImageBuilder& Builder() { return m_disks.back().builder; }
    const CDiskShape& Shape() const { return m_disks.back().shape; }
    std::uint64_t BlockCount() const;

    /// What the steps made this disk's own file say, and where it has the data.
    ESays Says(std::size_t disk, std::uint64_t sector) const;
    std::uint64_t Position(std::size_t disk, std::uint64_t offset) const;
    const CDiskShape& ShapeOf(std::size_t disk) const { return m_disks[disk].shape; }

    /// The bytes that the guest of the disk on top sees.
    const CBytes& Content() const { return m_content; }

    std::size_t Count() const { return m_disks.size(); }
    static std::string Name(std::size_t disk);
    static std::u16string LinkageText(std::size_t disk);
    /// One disk's file.
    CSparseImage Image(std::size_t disk) const;
    void WriteTo(const std::filesystem::path& folder) const;

private:
    struct CDisk {
        CDiskShape shape;
        CImageBuilder builder;
        std::map<std::uint64_t, CBytes> bitmaps;
        std::map<std::uint64_t, ESays> sectors;
    };

    void Say(ESays what, std::uint64_t offset, std::uint64_t length);
    void SetContent(std::uint64_t begin, std::uint64_t length, const CBytes& bytes);

    std::vector<CDisk> m_disks;
    CBytes m_content;
};

}  // namespace NTest

#endif
