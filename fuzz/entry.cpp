// SPDX-License-Identifier: MIT
// Where a target is entered: by the fuzzer or, compiled without it, by a test that tries what a corpus holds.
#include "fuzz.h"

#include <cstddef>
#include <cstdint>

#ifdef FUZZING
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try_text(size == 0 ? std::string_view() : std::string_view(reinterpret_cast<const char*>(data), size));
    return 0;
}
#else
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

int main(int /*count*/, char** arguments) {
    bool any = false;
    for (const auto& entry : std::filesystem::directory_iterator(arguments[1])) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::string text(std::istreambuf_iterator<char>(file), {});
        std::fprintf(stderr, "%s\n", entry.path().c_str()); // the last one is the one that fails
        try_text(text);
        any = true;
    }
    return any ? EXIT_SUCCESS : EXIT_FAILURE;
}
#endif
