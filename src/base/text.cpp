// SPDX-License-Identifier: MIT
#include "base/text.h"

std::string_view trimmed(std::string_view text, std::string_view drop) {
    const auto first = text.find_first_not_of(drop);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(drop) - first + 1);
}

std::optional<std::string_view> between_outer_quotes(std::string_view text) {
    const auto first = text.find('"');
    const auto last = text.rfind('"');
    if (first == last)
        return std::nullopt;
    return text.substr(first + 1, last - first - 1);
}
