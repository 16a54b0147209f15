// SPDX-License-Identifier: MIT
// Runs one shell command to its end and returns what it printed. Long-lived children are left to
// child_process.h.
#pragma once

#include <optional>
#include <string>

struct CommandEnd {
    std::string output;  // standard output, as bytes
    bool killed = false; // by SIGKILL: the output may have been cut short
};

/// Runs `command`; nothing when it could not be started. Blocks the calling thread, any thread may call.
std::optional<CommandEnd> run_shell_command(const std::string& command);

/// A general utility: the output alone, but throws `std::runtime_error` ("popen() failed!") when the start
/// fails.
std::string exec(const char* command);
