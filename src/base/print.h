// SPDX-License-Identifier: MIT
// Prints diagnostic lines, which are always on. The callers add the prefixes ("DEBUG: ", "ERROR: ").
#pragma once

#include <string_view>

/// Writes `text` (any bytes) and a line end to standard output and flushes it. Lines of different threads are
/// never interleaved. Write errors are ignored.
void print_line(std::string_view text);

/// The same for standard error.
void print_error(std::string_view text);
