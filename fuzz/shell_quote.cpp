// SPDX-License-Identifier: MIT
// Any file name between the quotes of a shell command, read back by the rules of the POSIX shell (section
// 2.2, quoting).
#include "process/shell_quote.h"

#include "base/text.h"
#include "fuzz.h"

namespace {
std::string read_double_quoted(std::string_view text) {
    std::string name;
    for (; !text.empty(); text.remove_prefix(1)) {
        if (text.front() == '\\' && text.size() > 1 && contains("$`\"\\\n", text.substr(1, 1))) {
            text.remove_prefix(1);
            if (text.front() == '\n')
                continue; // the shell joins the two lines
        } else {
            must_hold(!contains("$`\"", text.substr(0, 1)), "nothing is expanded or ends the quotes");
        }
        name += text.front();
    }
    return name;
}

std::string read_single_quoted(std::string_view text) {
    std::string name;
    for (auto end = text.find('\''); end != std::string_view::npos; end = text.find('\'')) {
        name += text.substr(0, end);
        must_hold(text.substr(end).starts_with("'\\''"), "outside the quotes is nothing but a quote");
        name += '\'';
        text.remove_prefix(end + 4);
    }
    return name.append(text);
}
} // namespace

void try_text(std::string_view text) {
    must_hold(read_double_quoted(inside_double_quotes(text)) == text, "double quotes give the name back");
    must_hold(read_single_quoted(inside_single_quotes(text)) == text, "single quotes give the name back");
}
