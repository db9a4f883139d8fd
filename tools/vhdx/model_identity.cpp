#include "tools/vhdx/model_identity.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <fstream>
#include <optional>
#include <string_view>
#include <system_error>

#include <fmt/format.h>
#include <boost/crc.hpp>

#include <vhdx_disk/path_query.h>
#include "tools/vhdx/command_failure.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view firstLine = "vhdx model identity 1\n";
constexpr std::string_view separator = ": ";
constexpr std::size_t largestText = 4096;

/// CRC-32C.
using CModelChecksum = boost::crc_optimal<32, 0x1EDC6F41, 0xFFFFFFFF, 0xFFFFFFFF, true, true>;

/// The document's own traits come first: no other document passes for it.
CDiskIdentity TraitsOf(const fs::path& model) {
    errno = 0;
    std::ifstream file(model, std::ios::binary);
    CModelChecksum crc;
    std::uint64_t length = 0;
    std::array<char, 65536> piece;
    while (file.read(piece.data(), piece.size()) || file.gcount() != 0) {
        crc.process_bytes(piece.data(), static_cast<std::size_t>(file.gcount()));
        length += static_cast<std::uint64_t>(file.gcount());
    }
    if (!file.eof()) {
        throw CCommandFailure("cannot be read back: " + std::generic_category().message(errno));
    }
    return {{"model length", std::to_string(length)},
            {"model checksum", fmt::format("{:08X}", crc.checksum())}};
}

std::string IdentityName(const fs::path& model) {
    const std::u8string name = IdentityPlace(model).filename().u8string();
    return Printable(std::string(name.begin(), name.end()));
}

CCommandFailure NoIdentity(const fs::path& model, std::string_view what) {
    return CCommandFailure(
        fmt::format("its identity file {} {}: save the model again with 'vhdx save'",
                    IdentityName(model), what));
}

std::string ReadText(const fs::path& model) {
    std::error_code error;
    const fs::path place = IdentityPlace(model);
    const fs::file_type kind = NVHDXDisk::KindOf(place, error);
    if (kind == fs::file_type::not_found) {
        throw NoIdentity(model, "is missing");
    }
    std::string text(largestText, '\0');
    if (kind == fs::file_type::regular) {
        std::ifstream file(place, std::ios::binary);
        file.read(text.data(), largestText);
        text.resize(static_cast<std::size_t>(file.gcount()));
        return text;
    }
    throw NoIdentity(model, "cannot be read");
}

/// Takes the value of this trait from the start of the text; none when another one stands there.
std::optional<std::string> TakeValue(std::string_view& text, const std::string& name) {
    const std::size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    if (end == text.npos || !line.starts_with(name) ||
        !line.substr(name.size()).starts_with(separator)) {
        return std::nullopt;
    }
    text.remove_prefix(end + 1);
    return std::string(line.substr(name.size() + separator.size()));
}

/// The values that the text has for these traits, and for no others.
std::vector<std::string> Values(const fs::path& model, const CDiskIdentity& traits) {
    const std::string kept = ReadText(model);
    std::string_view text = kept;
    std::vector<std::string> values;
    bool valid = text.starts_with(firstLine);
    text.remove_prefix(valid ? firstLine.size() : 0);
    for (auto trait = traits.begin(); valid && trait != traits.end(); ++trait) {
        const auto value = TakeValue(text, trait->name);
        valid = value.has_value();
        values.push_back(value.value_or(""));
    }
    if (!valid || !text.empty()) {
        throw NoIdentity(model, "cannot be read");
    }
    return values;
}

std::string Difference(const CDiskTrait& now, const std::string& saved, bool ofState) {
    const std::string was = Printable(saved);
    if (now.name == PendingLog) {
        return fmt::format(
            "the model was saved with the pending log {}, and now it is {}: save it again, with "
            "--no-replay where it is to be used with it",
            was, now.value);
    }
    return ofState ? fmt::format(
                         "the disk changed since the model was saved: its {} was {} and is "
                         "{}; save the model again",
                         now.name, was, now.value)
                   : fmt::format("the model is not of this disk: its {} is {}, the disk's is {}",
                                 now.name, was, now.value);
}

}  // namespace

fs::path IdentityPlace(const fs::path& model) {
    std::error_code error;
    // Of a link it is beside the document that the link leads to.
    const bool isLink = NVHDXDisk::KindOfLink(model, error) == fs::file_type::symlink;
    fs::path place = isLink ? NVHDXDisk::Canonical(model) : model;
    place += ".identity";
    return place;
}

std::string IdentityText(const CDiskIdentity& disk, const fs::path& model) {
    CDiskIdentity traits = TraitsOf(model);
    traits.insert(traits.end(), disk.begin(), disk.end());
    std::string text(firstLine);
    for (const CDiskTrait& trait : traits) {
        text.append(trait.name).append(separator).append(trait.value).append("\n");
    }
    return text;
}

void CheckIdentity(const fs::path& model, const CDiskIdentity& disk) {
    CDiskIdentity traits = TraitsOf(model);
    const std::size_t ownTraits = traits.size();
    traits.insert(traits.end(), disk.begin(), disk.end());
    const std::vector<std::string> values = Values(model, traits);
    bool ofState = false;
    for (std::size_t i = 0; i < traits.size(); ++i) {
        ofState = ofState || traits[i].name == FirstTraitOfState;
        if (values[i] == traits[i].value) {
            continue;
        }
        throw i < ownTraits ? NoIdentity(model, "is of another model")
                            : CCommandFailure(Difference(traits[i], values[i], ofState));
    }
}

}  // namespace NTool
