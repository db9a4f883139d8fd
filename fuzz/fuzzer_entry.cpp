#include "fuzz/target.h"

// The fuzzer's way into a target.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    RunTarget(data, size);
    return 0;
}
