// SPDX-License-Identifier: MIT
// Runs one shell command to its end and returns what it printed. Long-lived children are child_process.h's.
#pragma once

#include <optional>
#include <string>
#include <string_view>

struct CommandEnd {
    std::string output;  // standard output, as bytes
    bool killed = false; // by SIGKILL: the output may have been cut short
};

/// Runs `command`; nothing when it could not be started. Blocks the calling thread, any thread may call.
std::optional<CommandEnd> run_shell_command(const std::string& command);

/// A general utility: the output alone, but a failed start throws `std::runtime_error` ("popen() failed!").
std::string exec(const char* command);

/// Makes any text safe between double quotes (POSIX shell, quoting): the four characters that stay special
/// there get a backslash.
std::string inside_double_quotes(std::string_view text);
