// SPDX-License-Identifier: MIT
// Tables of cases, in tests/approved. A line "> RULE ARGUMENT | ARGUMENT" is a case; what came of it stands
// indented below. A new case is its line alone until what comes of it is approved. Control characters, bytes
// that are no text and a blank at either end are written as in C, in octal; "@NAME" is a recording.
#pragma once

#include "approved.h"
#include "base/text.h"
#include "test_files.h"

#include <functional>
#include <glib.h>
#include <map>
#include <regex>
#include <span>
#include <vector>

using Given = const std::vector<std::string>&;
using Rules = std::map<std::string, std::function<std::string(Given)>>;

/// Any bytes on one line.
inline std::string shown(std::string_view bytes) {
    const std::string text(bytes);
    std::string as_it_is = "\"";
    std::string line;
    for (int byte = 0x80; byte < 0x100 && g_utf8_validate(text.c_str(), -1, nullptr); ++byte)
        as_it_is += static_cast<char>(byte);
    for_each_piece(text, '\0', [&](std::string_view piece) {
        g_autofree char* escaped = g_strescape(std::string(piece).c_str(), as_it_is.c_str());
        line.append("\\000").append(escaped);
    });
    line.erase(0, 4); // before the first piece was no NUL
    return line.empty() ? "(empty)" : std::regex_replace(line, std::regex("^ | $"), "\\040");
}

inline std::vector<std::string> read_arguments(const std::string& text) {
    std::vector<std::string> arguments;
    g_auto(GStrv) words = g_strsplit(text.c_str(), " | ", -1);
    for (const std::string word : std::span(words, g_strv_length(words))) {
        g_autofree char* bytes = g_strcompress(word == "(empty)" ? "" : word.c_str());
        arguments.push_back(word.starts_with('@') ? recorded(word.substr(1)) : bytes);
    }
    return arguments;
}

inline std::string result_of(const std::string& line, const Rules& rules) try {
    const auto end = std::min(line.find(' '), line.size());
    return rules.at(line.substr(0, end))(read_arguments(line.substr(std::min(end + 1, line.size()))));
} catch (const std::exception& exception) {
    return std::string("exception: ") + exception.what();
}

inline void expect_table(const std::string& name, const Rules& rules) {
    std::string text;
    for_each_line(read_file(std::string(APPROVED) + "/" + name).value_or(""), [&](std::string_view line) {
        if (line.starts_with("  "))
            return; // what came of it when it was approved
        text.append(line).append("\n");
        if (line.starts_with("> "))
            for_each_line(result_of(std::string(line.substr(2)), rules),
                          [&](std::string_view result) { text.append("  ").append(result).append("\n"); });
    });
    expect_approved(name, text);
}
