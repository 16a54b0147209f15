// SPDX-License-Identifier: MIT
// Diagnostic lines. They are always on; their prefixes ("DEBUG: ", "ERROR: ") belong to the callers.
#pragma once

#include <string_view>

/// Writes `text` (any bytes) and a line end to standard output and flushes. A line written by one thread is
/// never interleaved with another's. A stream that cannot be written is ignored.
void print_line(std::string_view text);

/// The same on standard error.
void print_error(std::string_view text);
