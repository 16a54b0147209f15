// SPDX-License-Identifier: MIT
// Makes any file name safe between the quotes of a shell command (POSIX shell, quoting). The commands
// themselves are the callers'.
#pragma once

#include <string>
#include <string_view>

/// For use between double quotes: the four characters that stay special there get a backslash.
std::string inside_double_quotes(std::string_view text);

/// For use between single quotes: each single quote closes them, stands escaped, and opens them again.
std::string inside_single_quotes(std::string_view text);
