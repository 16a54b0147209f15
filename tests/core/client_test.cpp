// SPDX-License-Identifier: MIT
#include "process/client_locator.h"
#include "process/shell_command.h"

#include <gtest/gtest.h>
#include <set>

namespace {
ClientSearch search_with(std::set<std::string> executables, std::optional<std::string> folder = "/here") {
    return {[=](const char* path) { return executables.contains(path); }, [=] { return folder; }};
}

TEST(ClientLocator, TheTwoOrdersDiffer) {
    struct Case {
        std::set<std::string> executables;
        const char* for_children;
        const char* installed;
    };
    for (const auto& [executables, for_children, installed] : std::initializer_list<Case>{
             {{"./onedrive-cli", "/usr/bin/onedrive"}, "/here/onedrive-cli", "/usr/bin/onedrive"},
             {{"/usr/bin/onedrive", "/usr/local/bin/onedrive-cli"},
              "/usr/local/bin/onedrive-cli",
              "/usr/local/bin/onedrive-cli"},
             {{"/usr/bin/onedrive", "/usr/bin/onedrive-cli"},
              "/usr/bin/onedrive-cli",
              "/usr/bin/onedrive-cli"},
             {{"/usr/local/bin/onedrive", "../onedrive-cli"},
              "/usr/local/bin/onedrive",
              "/usr/local/bin/onedrive"},
             {{"../onedrive-cli"}, "../onedrive-cli", "onedrive-cli"},
             {{}, "onedrive-cli", "onedrive-cli"},
         }) {
        EXPECT_EQ(find_client_for_children(search_with(executables)), for_children);
        EXPECT_EQ(find_installed_client(search_with(executables)), installed);
    }
    EXPECT_EQ(find_client_for_children(search_with({"./onedrive-cli"}, std::nullopt)), "./onedrive-cli");
}

TEST(ShellCommand, ReturnsAllOutputWhateverTheExitStatus) {
    EXPECT_EQ(run_shell_command("printf 'a\\nb'; printf x >&2; exit 3"), "a\nb");
    EXPECT_EQ(run_shell_command("printf 'a\\0b\\n'"), std::string("a\0b\n", 4));
    EXPECT_EQ(run_shell_command("head -c 100000 /dev/zero")->size(), 100000U);
    EXPECT_EQ(exec("printf '%0300d' 7").size(), 300U);
}
} // namespace
