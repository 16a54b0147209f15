// SPDX-License-Identifier: MIT
// Where the outside client keeps its files, and its token. What else they hold is left to others.
#pragma once

#include <optional>
#include <string>
#include <string_view>

/// `HOME` + "/.config/onedrive/" + name; nothing when `HOME` is unset.
std::optional<std::string> client_file(std::string_view name);

/// True when the token file can be opened for reading; its content is not looked at.
bool is_client_token_present();

/// Deletes one of the files; a missing file or an unset `HOME` is not an error.
void remove_client_file(std::string_view name);

/// Replaces one of the files. False when `HOME` is unset, or when it cannot be written whole, which is
/// printed on standard error: the old content is still there then.
bool write_client_file(std::string_view name, std::string_view content);

/// Replaces the token file: the token alone, without a line end. Makes the client's folder (last level only,
/// mode 0700) when it is missing. False as above.
bool save_client_token(std::string_view token);
