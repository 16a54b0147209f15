// SPDX-License-Identifier: MIT
// Edits one list in the lines of the client's configuration file: `skip_dir = "Private", "Temp/Old"`.
#pragma once

#include <optional>
#include <string>
#include <vector>

/// Returns the lines with `value` added to the list of `key` or removed from it, or nothing if no line
/// changes. Throws std::invalid_argument when `value` contains a line end.
/// The line of `key` is the first that begins with it and is not a comment (a longer name counts too). It is
/// rewritten in the form above without any unquoted text, deleted with its last entry, and appended if there
/// is none. No other line changes.
std::optional<std::vector<std::string>> edit_list(std::vector<std::string> lines, const std::string& key,
                                                  const std::string& value, bool add);
