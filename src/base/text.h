// SPDX-License-Identifier: MIT
// Small operations on bytes that several rules share. Text need not be valid UTF-8 here.
#pragma once

#include <algorithm>
#include <optional>
#include <string_view>

inline constexpr std::string_view blanks = " \t";
inline constexpr std::string_view white_space = " \t\n\r";

/// Returns `text` without the characters of `drop` at both ends; empty when it has no others.
std::string_view trimmed(std::string_view text, std::string_view drop);

/// The bytes between the first and the last double quote, or nothing if there are not two of them.
std::optional<std::string_view> between_outer_quotes(std::string_view text);

inline bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

inline bool contains_any(std::string_view text, const auto& parts) {
    return std::ranges::any_of(parts, [text](auto part) { return contains(text, part); });
}

/// Calls `take(piece)` for each piece of `text` between separators; an empty text is one empty piece.
template<typename Take>
void for_each_piece(std::string_view text, char separator, Take take) {
    for (;;) {
        const auto end = text.find(separator);
        take(text.substr(0, end));
        if (end == std::string_view::npos)
            return;
        text.remove_prefix(end + 1);
    }
}

/// Calls `take(line)` for each line, without its line end. A text that ends with one has no empty last line.
template<typename Take>
void for_each_line(std::string_view text, Take take) {
    while (!text.empty()) {
        const auto end = text.find('\n');
        take(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
}
