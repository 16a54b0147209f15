// SPDX-License-Identifier: MIT
// Reading and writing small files, and where the program's and the client's files lie. Every descriptor
// opened here is close-on-exec. What the files hold is left to others.
#pragma once

#include <optional>
#include <string>
#include <string_view>

/// The whole content as bytes; nothing when the file cannot be opened. A read error ends the content early.
std::optional<std::string> read_file(const std::string& path);

/// How writing a file ended: a full disk, for example, cuts it short.
enum class WriteEnd { whole, cut_short, not_opened };

/// Replaces the content of `path` (truncating it, mode as the process default).
WriteEnd replace_file(const std::string& path, std::string_view content);

/// The same; true when it was written whole.
bool write_file(const std::string& path, std::string_view content);

/// The first word of the shell-style expansion of `path` ("~" and variables), or nothing when that fails.
std::optional<std::string> expand_path(const char* path);

/// `HOME` + "/.config/onedrive/" + name, a file of the outside client; nothing when `HOME` is unset.
std::optional<std::string> client_file(std::string_view name);

/// True when the client's token file can be opened for reading; its content is not looked at.
bool is_client_token_present();

/// Deletes a file of the outside client; a missing file or an unset `HOME` is not an error.
void remove_client_file(std::string_view name);

/// Writes the client's token file: the token alone, without a line end. Makes the client's configuration
/// folder (last level only, mode 0700) when it is missing. False when `HOME` is unset or the file cannot be
/// written; a file that was cut short is removed.
bool save_client_token(std::string_view token);
