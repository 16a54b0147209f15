// SPDX-License-Identifier: MIT
// Runs one shell command to its end and returns what it printed. Long-lived children are left to
// child_process.h.
#pragma once

#include <optional>
#include <string>

/// Standard output of `command`, as bytes; nothing when it could not be started. Blocks the calling thread,
/// any thread may call. The exit status is ignored.
std::optional<std::string> run_shell_command(const std::string& command);

/// A general utility: the same, but throws `std::runtime_error` ("popen() failed!") when the start fails.
std::string exec(const char* command);
