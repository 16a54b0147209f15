// SPDX-License-Identifier: MIT
// Reading and replacing small files, and finding them from a path with "~". What they hold is left to others.
#pragma once

#include <optional>
#include <string>
#include <string_view>

/// The whole content of a regular file, as bytes. Else nothing, and `error` says why; it is empty where there
/// is simply no file. What was read before an error does not count, and nothing waits at a FIFO or a device.
std::optional<std::string> read_file(const std::string& path, std::string& error);

/// The same for those who do not care why.
std::optional<std::string> read_file(const std::string& path);

/// Puts a new file in the place of `path`, or makes it: whoever reads sees the old content or all of the new
/// one, and a failure leaves the old one. False then, and `error` says why.
///
/// A symbolic link stays, and what it leads to is replaced. Mode and owner stay (a new file has the process's
/// defaults); write protection is respected, and what is no regular file is left alone. A further hard link
/// goes on naming the old content. The folder has to be writable.
bool replace_file(const std::string& path, std::string_view content, std::string& error);

/// The same for those who do not care why.
bool replace_file(const std::string& path, std::string_view content);

/// Makes an empty file where there is none, and leaves one that is there. False when it cannot be opened.
bool make_file(const std::string& path);

/// The first word of the shell-style expansion of `path` ("~" and variables), or nothing when that fails.
std::optional<std::string> expand_path(const char* path);
