// SPDX-License-Identifier: MIT
#include "process/client_locator.h"
#include "process/shell_command.h"

#include <gtest/gtest.h>
#include <set>
#include <vector>

namespace {
ClientSearch search_with(std::set<std::string> executables, std::optional<std::string> folder = "/here") {
    return {[=](const char* path) { return executables.contains(path); }, [=] { return folder; }};
}

TEST(ClientLocator, TheTwoOrdersDiffer) {
    for (const auto& [executables, found] : std::vector<std::pair<std::set<std::string>, std::string>>{
             {{"./onedrive-cli", "/usr/bin/onedrive"}, "/here/onedrive-cli, /usr/bin/onedrive"},
             {{"/usr/bin/onedrive", "/usr/local/bin/onedrive-cli"},
              "/usr/local/bin/onedrive-cli, /usr/local/bin/onedrive-cli"},
             {{"/usr/bin/onedrive", "/usr/bin/onedrive-cli"}, "/usr/bin/onedrive-cli, /usr/bin/onedrive-cli"},
             {{"../onedrive-cli", "/usr/local/bin/onedrive"},
              "/usr/local/bin/onedrive, /usr/local/bin/onedrive"},
             {{"../onedrive-cli"}, "../onedrive-cli, onedrive-cli"},
             {{}, "onedrive-cli, onedrive-cli"}}) {
        const auto search = search_with(executables);
        EXPECT_EQ(find_client_for_children(search) + ", " + find_installed_client(search), found);
    }
    EXPECT_EQ(find_client_for_children(search_with({"./onedrive-cli"}, std::nullopt)), "./onedrive-cli");
}

TEST(ShellCommand, ReturnsAllOutputWhateverTheExitStatus) {
    const auto end = run_shell_command("printf 'a\\0b\\n'; printf x >&2; exit 3");
    EXPECT_TRUE(end->output == std::string("a\0b\n", 4) && !end->killed);
    EXPECT_EQ(run_shell_command("head -c 100000 /dev/zero")->output.size(), 100000U);
    EXPECT_TRUE(run_shell_command("kill -9 $$")->killed);
    EXPECT_TRUE(run_shell_command("sh -c 'echo a; kill -9 $$'; exit $?")->killed);
    EXPECT_EQ(exec("printf '%0300d' 7").size(), 300U);
}
} // namespace
