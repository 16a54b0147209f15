// SPDX-License-Identifier: MIT
// Reads and replaces small files, and expands paths that begin with "~". It does not interpret their content.
#pragma once

#include <optional>
#include <string>
#include <string_view>

/// The whole content of a regular file, as bytes. On failure nothing, not even a part, and `error` says why;
/// it is empty when there is no file. A FIFO or a device is an error, since reading it could block.
std::optional<std::string> read_file(const std::string& path, std::string& error);

/// The same without the reason for a failure.
std::optional<std::string> read_file(const std::string& path);

/// Replaces the file at `path`, or creates it, in one step: a reader sees either the old content or all of
/// the new. On failure it returns false, the old content stays, and `error` says why.
///
/// A symbolic link is kept and its target is replaced. The mode is kept, and the owner where that is allowed
/// (a new file has the process's defaults). A read-only file is not replaced, nor is anything but a regular
/// file. Another hard link to the file keeps the old content. The folder must be writable.
bool replace_file(const std::string& path, std::string_view content, std::string& error);

/// The same without the reason for a failure.
bool replace_file(const std::string& path, std::string_view content);

/// Creates an empty file unless there is one already. False when the file cannot be opened.
bool make_file(const std::string& path);

/// The first word of the shell-style expansion of `path` ("~" and variables), or nothing when that fails.
std::optional<std::string> expand_path(const char* path);
