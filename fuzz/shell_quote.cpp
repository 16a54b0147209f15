// SPDX-License-Identifier: MIT
// Any file name between double quotes in a shell command, read back by the rules of the POSIX shell
// (section 2.2, quoting).
#include "process/shell_command.h"

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
} // namespace

void try_text(std::string_view text) {
    must_hold(read_double_quoted(inside_double_quotes(text)) == text, "double quotes give the name back");
}
