// SPDX-License-Identifier: MIT
#include "process/shell_command.h"

#include <array>
#include <cstdio>
#include <memory>
#include <stdexcept>

namespace {
struct ClosePipe {
    void operator()(std::FILE* pipe) const { pclose(pipe); }
};

// Reads with fread, not fgets: a NUL byte in the output would hide the rest of its line from the latter.
template<std::size_t piece>
std::optional<std::string> collect(const char* command) {
    const std::unique_ptr<std::FILE, ClosePipe> pipe(popen(command, "re"));
    if (!pipe)
        return std::nullopt;
    std::string output;
    std::array<char, piece> buffer{};
    while (const auto count = std::fread(buffer.data(), 1, buffer.size(), pipe.get()))
        output.append(buffer.data(), count);
    return output;
}
} // namespace

std::optional<std::string> run_shell_command(const std::string& command) {
    return collect<1024>(command.c_str());
}

std::string exec(const char* command) {
    auto output = collect<128>(command);
    if (!output)
        throw std::runtime_error("popen() failed!");
    return *std::move(output);
}
