// SPDX-License-Identifier: MIT
// Edits one list in the lines of the client's configuration file: `skip_dir = "Private", "Temp/Old"`. Reading
// and writing the file is left to the row actions.
#pragma once

#include <optional>
#include <string>
#include <vector>

/// The lines with `value` added to, or removed from, the list of `key`; nothing when that changes nothing.
/// Throws std::invalid_argument when `value` holds a line end.
/// The first line that is no comment and begins with `key` (a longer name counts too) is rewritten in the
/// form above, losing what stood unquoted in it; it is deleted with its last entry and appended when there is
/// none. No other line changes.
std::optional<std::vector<std::string>> edit_list(std::vector<std::string> lines, const std::string& key,
                                                  const std::string& value, bool add);
