#include "tools/vhdx/saved_model.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <stdexcept>
#include <system_error>

#include <fmt/format.h>

#if !defined(_WIN32)
#include <fcntl.h>
#include <unistd.h>
#endif

#include "tools/vhdx/block_runs.h"
#include "tools/vhdx/command_line.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view notSaved = "this is not a saved model of a disk";

bool IsAscii(const fs::path::string_type& text) {
    return std::all_of(text.begin(), text.end(),
                       [](auto character) { return character > 0 && character < 0x80; });
}

/// The name under which the library finds a file. It takes the name through the C locale and cuts
/// what does not fit, so that only ASCII arrives; any other file is opened here and named by its
/// descriptor.
class CLibraryName {
public:
    CLibraryName(const fs::path& path, bool write) {
        if (IsAscii(path.native())) {
            m_name.assign(path.native().begin(), path.native().end());
            return;
        }
        Open(path, write);
    }
    CLibraryName(const CLibraryName&) = delete;
    CLibraryName& operator=(const CLibraryName&) = delete;
#if !defined(_WIN32)
    ~CLibraryName() {
        if (m_descriptor >= 0) {
            (void)close(m_descriptor);
        }
    }
#endif

    const std::wstring& Text() const {
        return m_name;
    }

private:
#if defined(_WIN32)
    [[noreturn]] void Open(const fs::path&, bool) {
        throw CFailure("the name of a saved model can have ASCII characters only");
    }
#else
    void Open(const fs::path& path, bool write) {
        errno = 0;
        m_descriptor = open(path.c_str(), (write ? O_WRONLY : O_RDONLY) | O_CLOEXEC);
        if (m_descriptor < 0) {
            throw CFailure(std::generic_category().message(errno));
        }
        const std::string name = fmt::format("/dev/fd/{}", m_descriptor);
        m_name.assign(name.begin(), name.end());
    }

    int m_descriptor = -1;
#endif
    std::wstring m_name;
};

/// The text of an XML error, "NAME(LINE): MESSAGE" or "NAME: MESSAGE", without the name; any other
/// text as it is.
std::string WithoutName(const std::string& text, const std::wstring& name) {
    const bool named = text.size() > name.size() &&
                       std::equal(name.begin(), name.end(), text.begin(),
                                  [](wchar_t a, char b) { return a == static_cast<wchar_t>(b); });
    const std::string rest = named ? text.substr(name.size()) : text;
    const std::size_t end = rest.find("): ");
    if (named && rest.starts_with("(") && end != rest.npos) {
        return fmt::format("line {}: {}", rest.substr(1, end - 1), rest.substr(end + 3));
    }
    return named && rest.starts_with(": ") ? rest.substr(2) : rest;
}

CFailure NotOfThisDisk(const char* what, std::uint64_t has, std::uint64_t wanted) {
    return CFailure(fmt::format("the model is not of this disk: its {} is {}, the disk's is {}",
                                what, has, wanted));
}

void CheckGeometry(const CModel& model, const CGeometry& geometry) {
    const auto check = [](const char* what, std::uint64_t has, std::uint64_t wanted) {
        if (has != wanted) {
            throw NotOfThisDisk(what, has, wanted);
        }
    };
    check("virtual size", model.params.virtdisksz, geometry.virtualSize);
    check("block size", model.params.payloadblksz, geometry.blockSize);
    check("logical sector size", model.params.logsectsz, geometry.sectorSize);
    check("chunk ratio", model.blocks.ratio, geometry.ratio);
    for (const NVHDX::CBlockChunk& chunk : model.blocks.chunks) {
        if (chunk.IsSectorBitmapPresent() != geometry.hasParent) {
            throw CFailure(geometry.hasParent
                               ? "the model is not of this disk: it is of one without parent"
                               : "the model is not of this disk: it is of one with a parent");
        }
    }
}

/// A missing block would read as zeros.
void CheckCoverage(const CModel& model) {
    std::uint64_t left = model.BlockCount();
    for (const NVHDX::CBlockChunk& chunk : model.blocks.chunks) {
        const std::uint64_t wanted = std::min(left, model.blocks.ratio);
        if (chunk.getCount() < wanted || chunk.getCount() > model.blocks.ratio) {
            break;
        }
        left -= wanted;
    }
    if (left != 0) {
        throw CFailure("the model does not cover the disk: it has too few or misplaced blocks");
    }
}

/// A place that does not fit a saved number comes back as 0, where the file has its identifier.
void CheckBlocks(const CModel& model) {
    std::uint64_t number = 0;
    for (const NVHDX::CBlockChunk& chunk : model.blocks.chunks) {
        for (const NVHDX::CPayloadBlock& block : chunk.getPayloadBlocks()) {
            const bool isState = block.state >= NVHDX::CPayloadBlock::NotPresent &&
                                 block.state <= NVHDX::CPayloadBlock::PartiallyPresent;
            const bool present = block.state == NVHDX::CPayloadBlock::FullyPresent ||
                                 block.state == NVHDX::CPayloadBlock::PartiallyPresent;
            if (!isState || (present && (block.offset == 0 || block.offset > 0x7FFFFFFF))) {
                throw CFailure(fmt::format("the model has no usable entry for block {}", number));
            }
            ++number;
        }
    }
}

CModel Deserialize(const fs::path& path) {
    const CLibraryName name(path, false);
    CModel model;
    try {
        NVHDX::VHDXMetadataDeserialize(name.Text(), model.blocks, model.params);
    } catch (const std::runtime_error& error) {
        throw CFailure(
            fmt::format("{}: {}", notSaved, Printable(WithoutName(error.what(), name.Text()))));
    }
    return model;
}

void CheckKind(const fs::path& path) {
    std::error_code error;
    switch (fs::status(path, error).type()) {
        case fs::file_type::not_found:
            throw CFailure("there is no such file");
        case fs::file_type::directory:
            throw CFailure("this is a folder, not a saved model");
        case fs::file_type::none:
            throw CFailure(error.message());
        default:
            break;
    }
}

CModel ReadChecked(const fs::path& path, const CGeometry& geometry) {
    CheckKind(path);
    CModel model = Deserialize(path);
    CheckGeometry(model, geometry);
    CheckCoverage(model);
    CheckBlocks(model);
    return model;
}

/// Numbers that loading reads as signed ones of 32 bits.
void CheckSavable(const CModel& model) {
    constexpr std::uint64_t largest = std::numeric_limits<std::int32_t>::max();
    std::uint64_t number = 0;
    for (const NVHDX::CBlockChunk& chunk : model.blocks.chunks) {
        for (const NVHDX::CPayloadBlock& block : chunk.getPayloadBlocks()) {
            if (HasData(block.state) && block.offset > largest) {
                throw CFailure(fmt::format(
                    "block {} lies at {} MiB in the file, and a saved model keeps places below "
                    "2147483648 MiB only",
                    number, block.offset));
            }
            ++number;
        }
    }
}

}  // namespace

void AddModelArgument(CLI::App& command, CDiskOptions& disk) {
    command
        .add_option("--model", disk.model,
                    "Take the blocks from this model, which 'vhdx save' wrote, and leave the block "
                    "allocation table unread; the file must be as it was then")
        ->type_name("MODEL.xml");
}

CModel ReadModel(const std::string& file, const CGeometry& geometry) {
    try {
        return ReadChecked(PathOf(file), geometry);
    } catch (const CFailure& failure) {
        throw CFailure(file, failure.what());
    }
}

void SaveModel(const fs::path& path, const std::string& name, const CModel& model) {
    CheckSavable(model);
    try {
        const CLibraryName libraryName(path, true);
        try {
            NVHDX::VHDXMetadataSerialize(libraryName.Text(), model.blocks, model.params);
        } catch (const CFailure&) {
            throw;
        } catch (const std::runtime_error& error) {
            throw CFailure(Printable(WithoutName(error.what(), libraryName.Text())));
        }
    } catch (const CFailure& failure) {
        throw CFailure(name, std::string("cannot be written: ") + failure.what());
    }
}

}  // namespace NTool
