// SPDX-License-Identifier: MIT
// Tables of cases, in tests/approved. A line "> RULE ARGUMENT | ARGUMENT" is a case; what came of it stands
// below, indented, and is compared with the rest of the file. To add a case, write its line and approve what
// comes of it. Control characters, bytes that are no text and a blank at either end are written as in C, in
// octal; "@NAME" is a recording.
#pragma once

#include "approved.h"
#include "base/text.h"
#include "test_files.h"

#include <functional>
#include <glib.h>
#include <map>
#include <vector>

using Arguments = std::vector<std::string>;
using Rules = std::map<std::string, std::function<std::string(const Arguments&)>, std::less<>>;

/// Any bytes on one line.
inline std::string shown(std::string_view bytes) {
    const std::string text(bytes);
    std::string as_it_is = "\"";
    for (int byte = 0x80; byte < 0x100 && g_utf8_validate(text.c_str(), -1, nullptr); ++byte)
        as_it_is += static_cast<char>(byte);
    std::string line;
    for_each_piece(text, '\0', [&](std::string_view piece) {
        g_autofree char* escaped = g_strescape(std::string(piece).c_str(), as_it_is.c_str());
        line.append("\\000").append(escaped);
    });
    line.erase(0, 4);
    if (line.starts_with(' '))
        line.replace(0, 1, "\\040");
    if (line.ends_with(' '))
        line.replace(line.size() - 1, 1, "\\040");
    return line.empty() ? "(empty)" : line;
}

inline std::string yes_or_no(bool holds) {
    return holds ? "yes" : "no";
}

inline Arguments read_arguments(const std::string& text) {
    Arguments arguments;
    for (std::size_t start = 0, end = 0; end != std::string::npos; start = end + 3) {
        end = text.find(" | ", start);
        const auto word = text.substr(start, end - start);
        g_autofree char* bytes = g_strcompress(word.c_str());
        arguments.push_back(word.starts_with('@') ? recorded(word.substr(1))
                            : word == "(empty)"   ? ""
                                                  : bytes);
    }
    return arguments;
}

inline std::string result_of(const std::string& line, const Rules& rules) {
    const auto blank = line.find(' ', 2);
    const auto rule = rules.find(line.substr(2, blank - 2));
    try {
        return rule == rules.end()
                   ? "(no such rule)"
                   : rule->second(read_arguments(line.substr(std::min(blank, line.size() - 1) + 1)));
    } catch (const std::exception& exception) {
        return std::string("exception: ") + exception.what();
    }
}

inline void expect_table(const std::string& name, const Rules& rules) {
    const auto approved = read_file(std::string(APPROVED) + "/" + name);
    ASSERT_TRUE(approved) << name;
    std::string text;
    for_each_line(*approved, [&](std::string_view line) {
        if (line.starts_with("  "))
            return; // what came of it when it was approved
        text.append(line).append("\n");
        if (line.starts_with("> "))
            for_each_line(result_of(std::string(line), rules),
                          [&](std::string_view result) { text.append("  ").append(result).append("\n"); });
    });
    expect_approved(name, text);
}
