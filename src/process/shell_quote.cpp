// SPDX-License-Identifier: MIT
#include "process/shell_quote.h"

std::string inside_double_quotes(std::string_view text) {
    std::string quoted;
    for (const char c : text) {
        if (c == '"' || c == '\\' || c == '$' || c == '`')
            quoted += '\\';
        quoted += c;
    }
    return quoted;
}

std::string inside_single_quotes(std::string_view text) {
    std::string quoted;
    for (const char c : text) {
        if (c == '\'')
            quoted += "'\\''";
        else
            quoted += c;
    }
    return quoted;
}
