// SPDX-License-Identifier: MIT
// The two children of the application: who of them is heard, and what their ends lead to.
#include "harness.h"

#include <sys/resource.h>
#include <unistd.h>

namespace {
const std::string monitor = "--monitor --syncdir {home}/OneDrive";

using ApplicationTest = ShellTest;

TEST_F(ApplicationTest, SyncEnds) {
    home.write("OneDrive/a", "");
    make_window();
    const auto resync = monitor + " --resync --resync-auth";
    const auto ends = [](const std::string& arguments, const std::string& output, int code) {
        return call(arguments, says(output) + exits(code), "optional");
    };
    using Case = std::pair<const char*, std::string>;
    for (const auto& [name, calls] :
         {Case{"well", ends(monitor, "Uploading: a ... 5%", 0)},
          Case{"badly", ends(monitor, "<b>said</b> \\udcff", 3)},
          Case{"badly once more", ends(monitor, "said", 4)},
          Case{"and runs", ends(monitor, "a --resync is required", 0) + call(resync, marks("begun") + hang)},
          Case{"badly twice",
               ends(monitor, "AADSTS, --resync needed", 126) + ends(resync, "--resync needed", 126)},
          Case{"and signs in", ends(monitor, "need to re-authorise", 0) +
                                   call("--reauth --verbose", marks("begun") + hang)}}) {
        const int client = std::string(name).starts_with("and") ? 1 : 0;
        expect_calls(calls);
        step(name, client, [&] {
            application.on_sync_started(folder);
            if (client == 1)
                wait_for_file("begun");
        });
        fs::remove(home.file("begun"));
        if (pid > 0)
            step("stopped", [&] { application.quit_sync_process(); });
        if (std::string(name) != "badly")
            close_dialogs();
    }
}

// Whether the end of the child that was stopped comes before or after the new start, with or without a window
// in front, and whatever the child had printed: a person sees one sync going on.
TEST_F(ApplicationTest, RestartIsOneThing) {
    home.write("OneDrive/a", "");
    make_window();
    const std::string unfinished = R"({"print": "Uploading: a"}, )";
    const auto fetches = says("Fetching items from the OneDrive API") + unfinished + marks("begun");
    const auto client = call(monitor, says("AADSTS70000, --resync needed") + fetches + waits("go") +
                                          says(" ... 5%") + unfinished + marks("said") + hang);
    expect_calls(client + client + client + client + call(monitor, fetches + hang));
    const auto begins = [&] {
        wait_for_file("begun");
        settle(1);
        fs::remove(home.file("begun"));
    };
    application.on_sync_started(folder);
    begins();
    for (const bool at_login : {false, true}) {
        for (const bool end_comes_first : {false, true}) {
            const auto before = state();
            application.set_daemon_mode(at_login);
            home.write("go", "");
            wait_for_file("said", false);
            for (const char* name : {"go", "said"})
                fs::remove(home.file(name));
            application.quit_sync_process();
            if (!end_comes_first)
                application.on_sync_started(folder);
            settle(0, false); // what was begun is posted: a start overtakes the end
            if (end_comes_first)
                application.toggle_sync();
            begins();
            EXPECT_EQ(state(), before)
                << (at_login ? "at login" : "") << (end_comes_first ? ", end first" : "");
        }
    }
}

// What is left out counts from the restart on.
TEST_F(ApplicationTest, LeavingOutRestarts) {
    home.write("OneDrive/a", "");
    make_window();
    expect_calls(call(monitor, marks("1") + hang) + call(monitor, marks("2") + hang) +
                 call("--display-sync-status", says("a: synced"), "repeat") +
                 call("--display-config", says(R"(skip_dir = \"a\")"), "repeat"));
    step("runs", 1, [&] { start("1"); });
    step("left out", 1, [&] {
        main_window->on_file_sync_toggle_clicked(folder + "/a", false);
        wait_for_file("2");
    });
}

// Started at login there is no window, or it is hidden and must not say that nothing runs.
TEST_F(ApplicationTest, HiddenStart) {
    application.set_daemon_mode(true);
    expect_calls(call(monitor, marks("1") + hang));
    step("without a window", 1, [&] {
        application.on_sync_started(folder);
        application.on_sync_started("/elsewhere"); // ignored
        wait_for_file("1");
    });
    step("stopped", [&] { application.quit_sync_process(); });
    close_dialogs();
    make_window().hide();
    expect_calls(call(monitor, marks("2") + hang) + call(monitor, marks("3") + hang));
    step("with a hidden window", 1, [&] { start("2"); });
    // Without an icon, as a renewed sign-in may leave it, it has to come back by itself.
    application.quit_sync_process();
    application.set_daemon_mode(false);
    SkyfoldProbe::give_up_icon(*main_window);
    step("no way to it", 1, [&] { start("3"); });
}

TEST_F(ApplicationTest, RemovalStopsTheClient) {
    const auto here = fs::current_path();
    fs::current_path(home.path); // where a client is found first
    home.write("onedrive-cli", "#!/usr/bin/python3\nimport os\nwhile True:\n try:\n"
                               "  os.makedirs('OneDrive', exist_ok=True)\n  open('OneDrive/x', 'w').close()\n"
                               "  open('begun', 'w').close()\n except OSError: pass\n");
    fs::permissions(home.path / "onedrive-cli", fs::perms::owner_all);
    make_window();
    step("runs", 1, [&] { start("begun"); });
    step("removed before it writes again", [&] { application.remove_account(true); });
    fs::current_path(here);
}

TEST_F(ApplicationTest, LaunchThatFailsIsTriedAgain) {
    make_window();
    rlimit usual{};
    getrlimit(RLIMIT_NOFILE, &usual);
    step("no descriptor is left", [&] {
        application.on_sync_started(folder);
        settle(0, false);
        const int next = dup(0);
        close(next);
        const rlimit none{static_cast<rlim_t>(next), usual.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
        while (pid == -1)
            Glib::MainContext::get_default()->iteration(true);
        setrlimit(RLIMIT_NOFILE, &usual);
    });
    expect_calls(call(monitor, marks("begun") + hang));
    step("again", 1, [&] { start("begun"); });
}

TEST_F(ApplicationTest, SignIn) {
    make_window();
    config.set("autostart", "false");
    expect_calls(
        call("--display-quota --verbose", says("issue a --reauth") + exits(1), "") +
        call("--reauth --verbose", R"({"write": {"{home}/.config/onedrive/refresh_token": "T"}})", ""));
    step("renewed", [&] { application.start_login_process(false); });
    expect_calls(call("--display-quota --verbose",
                      marks("1") + waits("go") + says("https://login.microsoftonline.com/authorize?late ")) +
                 call("--reauth --verbose", marks("2") + waits("end") + exits(3)));
    const auto sign_in = [&](bool again, const char* name) {
        application.start_login_process(again);
        wait_for_file(name);
    };
    step("an attempt", 1, [&] { sign_in(false, "1"); });
    step("no sync meanwhile", 1, [&] { application.on_sync_started(folder); });
    const int older = ApplicationProbe::attempt(application);
    step("another", 2, [&] { sign_in(true, "2"); });
    step("late results of the first", 1, [&] {
        ApplicationProbe::on_token_saved(application, older);
        home.write("go", "");
    });
    step("its end", [&] { ask([&] { home.write("end", ""); }, {Gtk::RESPONSE_OK}); });
    step("no attempt is left", [&] { application.do_token_exchange("https://x?code=", older); });
}
} // namespace
