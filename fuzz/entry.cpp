// SPDX-License-Identifier: MIT
#include "fuzz.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try_text(size == 0 ? std::string_view() : std::string_view(reinterpret_cast<const char*>(data), size));
    return 0;
}
