#include "tools/vhdx/nbd_uri.h"

#include <string_view>

#include <fmt/format.h>

namespace NTool {

namespace {

constexpr std::string_view PlainCharacters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";

}  // namespace

std::string UriOfSocket(const std::string& path) {
    std::string uri = "nbd+unix:///?socket=";
    for (const char character : path) {
        uri += PlainCharacters.find(character) != std::string_view::npos
                   ? std::string(1, character)
                   : fmt::format("%{:02X}", static_cast<unsigned char>(character));
    }
    return uri;
}

std::string UriOfPort(std::uint32_t port) {
    return fmt::format("nbd://localhost:{}", port);
}

}  // namespace NTool
