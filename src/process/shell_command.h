// SPDX-License-Identifier: MIT
// Runs one shell command to its end and returns what it printed. child_process.h runs long-lived children.
#pragma once

#include <optional>
#include <string>
#include <string_view>

struct CommandEnd {
    std::string output;  // standard output, as bytes
    bool killed = false; // by SIGKILL: the output may have been cut short
};

/// Runs `command` and waits for its end; nothing when it could not be started. Any thread may call it.
std::optional<CommandEnd> run_shell_command(const std::string& command);

/// Returns the output; throws `std::runtime_error` if `command` could not be started. Not called at present.
std::string exec(const char* command);

/// Escapes `text` for use between double quotes in a POSIX shell: four characters get a backslash.
std::string inside_double_quotes(std::string_view text);
