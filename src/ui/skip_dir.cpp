// SPDX-License-Identifier: MIT
#include "ui/skip_dir.h"

#include "base/text.h"

#include <algorithm>
#include <stdexcept>

namespace {
bool sets_key(std::string_view line, std::string_view key) {
    line = trimmed(line, blanks);
    return !line.starts_with('#') && line.starts_with(key) &&
           line.find('=', key.size()) != std::string_view::npos;
}

// The part after the first "=" that follows the key; `sets_key` must hold for the line.
std::string_view value_part(std::string_view line, std::string_view key) {
    const auto after_key = line.find(key) + key.size();
    return line.substr(line.find('=', after_key) + 1);
}

std::vector<std::string> quoted_entries(std::string_view list) {
    std::vector<std::string> entries;
    for_each_piece(list, ',', [&entries](std::string_view piece) {
        if (const auto quoted = between_outer_quotes(piece))
            entries.emplace_back(*quoted);
    });
    return entries;
}

bool change_entries(std::vector<std::string>& entries, const std::string& value, bool add) {
    if (!add)
        return std::erase(entries, value) > 0;
    if (std::ranges::find(entries, value) != entries.end())
        return false;
    entries.push_back(value);
    return true;
}

std::string list_line(const std::string& key, const std::vector<std::string>& entries) {
    std::string line = key + " = ";
    const char* separator = "";
    for (const auto& entry : entries) {
        line.append(separator).append("\"").append(entry).append("\"");
        separator = ", ";
    }
    return line;
}
} // namespace

std::optional<std::vector<std::string>> edit_list(std::vector<std::string> lines, const std::string& key,
                                                  const std::string& value, bool add) {
    if (contains(value, "\n")) // the second line could set any other option
        throw std::invalid_argument("a name with a line end cannot be stored in the client's configuration");
    const auto key_line =
        std::ranges::find_if(lines, [&key](const auto& line) { return sets_key(line, key); });
    const bool found = key_line != lines.end();
    auto entries = found ? quoted_entries(value_part(*key_line, key)) : std::vector<std::string>();
    if (!change_entries(entries, value, add))
        return std::nullopt;
    if (entries.empty()) // something was removed, so there is a line
        lines.erase(key_line);
    else if (found)
        *key_line = list_line(key, entries);
    else
        lines.push_back(list_line(key, entries));
    return lines;
}
