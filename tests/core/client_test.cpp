// SPDX-License-Identifier: MIT
#include "process/client_locator.h"
#include "process/shell_command.h"
#include "test_files.h"

#include <gtest/gtest.h>
#include <set>
#include <vector>

namespace {
TEST(ClientLocator, TheTwoOrdersDiffer) {
    const auto here = std::filesystem::current_path().string();
    for (const auto& [executables, found] : std::vector<std::pair<std::set<std::string>, std::string>>{
             {{"./onedrive-cli", "/usr/bin/onedrive"}, here + "/onedrive-cli, /usr/bin/onedrive"},
             {{"/usr/bin/onedrive", "/usr/local/bin/onedrive-cli"},
              "/usr/local/bin/onedrive-cli, /usr/local/bin/onedrive-cli"},
             {{"/usr/bin/onedrive", "/usr/bin/onedrive-cli"}, "/usr/bin/onedrive-cli, /usr/bin/onedrive-cli"},
             {{"../onedrive-cli", "/usr/local/bin/onedrive"},
              "/usr/local/bin/onedrive, /usr/local/bin/onedrive"},
             {{"../onedrive-cli"}, "../onedrive-cli, onedrive-cli"},
             {{}, "onedrive-cli, onedrive-cli"}}) {
        const auto qualifies = [&all = executables](const char* path) { return all.contains(path); };
        EXPECT_EQ(find_client_for_children(qualifies) + ", " + get_onedrive_path_local(qualifies), found);
    }
    std::filesystem::current_path(TestHome().path); // which is gone at once
    EXPECT_EQ(find_client_for_children([](const char*) { return true; }), "./onedrive-cli");
    std::filesystem::current_path(here);
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
