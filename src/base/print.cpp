// SPDX-License-Identifier: MIT
#include "base/print.h"

#include <cstdio>
#include <string>

static void write_line(std::FILE* stream, std::string line) {
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), stream);
    std::fflush(stream);
}

void print_line(std::string_view text) {
    write_line(stdout, std::string(text));
}

void print_error(std::string_view text) {
    write_line(stderr, std::string(text));
}
