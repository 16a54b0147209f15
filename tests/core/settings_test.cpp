// SPDX-License-Identifier: MIT
// Files that are written: settings, the entry for the login, the client's. And what is printed about them.
#include "app/autostart_entry.h"
#include "app/config_manager.h"
#include "base/print.h"
#include "process/client_files.h"
#include "process/client_locator.h"
#include "process/client_processes.h"
#include "table.h"

#include <optional>
#include <set>
#include <sys/stat.h>

namespace {
// Each path with its mode and, line by line, what is in it.
std::string look_at(const fs::path& home) {
    static const std::regex line_end("\\\\n(?!$)");
    std::string all;
    for (const auto& path : std::set<fs::path>(fs::recursive_directory_iterator(home), {})) {
        const auto status = fs::symlink_status(path);
        g_autofree char* mode = g_strdup_printf(" %04o", static_cast<unsigned>(status.permissions()));
        all +=
            path.string() + (fs::is_symlink(status) ? " -> " + fs::read_symlink(path).string() : mode) + "\n";
        if (fs::is_regular_file(status))
            all += "    " + std::regex_replace(shown(read_file(path).value_or("")), line_end, "\\n\n    ") +
                   "\n";
    }
    return all;
}

// What an act answers and prints, and all that is below the home folder where it has changed something there.
std::string watch(const fs::path& home, const std::function<std::string()>& act) {
    const auto before = look_at(home);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    auto told = act() + "\n";
    told += testing::internal::GetCapturedStdout();
    told += std::regex_replace(testing::internal::GetCapturedStderr(), std::regex(".+\n"), "stderr: $&");
    const auto now = look_at(home);
    told += now == before ? "" : now;
    // The library's words are those of its release.
    told = std::regex_replace(told, std::regex("(Failed to|Error reading) .*"), "$1 ...");
    told = std::regex_replace(told, std::regex(home.string()), "~");
    return told.starts_with('\n') ? told.substr(1) : told;
}

TEST(Files, AfterEachAct) {
    const TestHome home;
    setenv("PATH", home.file("bin").c_str(), 1); // nothing else is killed or asked
    std::optional<ConfigManager> store;
    std::string error;
    Rules rules;
    rules["given"] = [&](Given a) {
        return exec(("PATH=/usr/bin:/bin; cd \"$HOME\" && { " + a.at(0) + "\n} 2>&1").c_str());
    };
    rules["mask"] = [](Given a) { return umask(static_cast<mode_t>(std::stoi(a.at(0), nullptr, 8))), ""; };
    const auto rule = [&](const std::string& name, const std::function<std::string(Given)>& act) {
        rules[name] = [&home, act](Given a) { return watch(home.path, [&] { return act(a); }); };
    };
    const auto yes = [&](bool holds) { return (holds ? "yes" : "no, ") + error; };
    rule("read",
         [&](Given a) { return shown(read_file(home.file(a.at(0)), error).value_or("nothing, " + error)); });
    rule("replace", [&](Given a) { return yes(replace_file(home.file(a.at(0)), a.at(1), error)); });
    rule("expand", [](Given a) { return expand_path(a.at(0).c_str()).value_or("nothing"); });
    rule("settings", [&](Given) { return store.emplace(), ""; });
    rule("load", [&](Given) { return store->load(), ""; });
    rule("set", [&](Given a) { return store->set(a.at(0), a.at(1)), ""; });
    rule("set-elsewhere", [](Given a) { return ConfigManager().set(a.at(0), a.at(1)), ""; });
    rule("get", [&](Given a) {
        return shown(store->get(a.at(0))) + (store->key_exists(a.at(0)) ? "" : ", no key");
    });
    rule("autostart", [](Given a) { return write_autostart_entry(a.at(0) == "on"), ""; });
    rule("save-token", [](Given a) { return save_client_token(a.at(0)) ? "yes" : "no"; });
    rule("has-token", [](Given) { return is_client_token_present() ? "yes" : "no"; });
    rule("client-write", [](Given a) { return write_client_file(a.at(0), a.at(1)) ? "yes" : "no"; });
    rule("client-remove", [](Given a) { return remove_client_file(a.at(0)), ""; });
    rule("client-file", [](Given a) { return client_file(a.at(0)).value_or("nothing"); });
    rule("executable", [&](Given a) { return is_executable(home.file(a.at(0)).c_str()) ? "yes" : "no"; });
    rule("print", [](Given a) { return print_line(a.at(0)), print_error(a.at(0)), ""; });
    rule("query", [](Given a) { return shown(query_client(a.at(0)).output); });
    rule("kill", [](Given) { return kill_clients(), ""; });
    expect_table("files.txt", rules);
}
} // namespace
