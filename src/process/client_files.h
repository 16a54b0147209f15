// SPDX-License-Identifier: MIT
// Finds and writes the client's own files, above all its token. It does not interpret their content.
#pragma once

#include <optional>
#include <string>
#include <string_view>

/// `HOME` + "/.config/onedrive/" + name; nothing when `HOME` is unset.
std::optional<std::string> client_file(std::string_view name);

/// True when the token file can be opened for reading; its content is not read.
bool is_client_token_present();

/// Deletes one of the files; a missing file or an unset `HOME` is not an error.
void remove_client_file(std::string_view name);

/// Replaces one of the files. Returns false when `HOME` is unset. When the file cannot be written, prints an
/// error, returns false and leaves the old content.
bool write_client_file(std::string_view name, std::string_view content);

/// Writes the token file: only the token, without a line end. Creates the client's folder (one level, mode
/// 0700) if it is missing. Returns false as `write_client_file` does.
bool save_client_token(std::string_view token);
