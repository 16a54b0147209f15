// SPDX-License-Identifier: MIT
// The two children of the application: who of them is heard, and what their ends lead to. And any child.
#include "harness.h"
#include "process/child_process.h"

#include <atomic>
#include <sys/resource.h>
#include <unistd.h>

namespace {
struct Child {
    explicit Child(const std::string& command, const std::string& line = "") {
        const auto take = [this](const std::string& chunk) {
            EXPECT_LE(chunk.size(), 4096U);
            output += chunk;
            if (output == "sleeps\n")
                signal_child(pid, SIGTERM);
            throw std::runtime_error("caught");
        };
        const auto end = [this, main = std::this_thread::get_id()](int code) {
            EXPECT_NE(std::this_thread::get_id(), main);
            exit_code = code;
        };
        launch_process(command, take, end, &input, &pid, &watch);
        gsize written = 0;
        if (!line.empty())
            input->write(line.data(), static_cast<gssize>(line.size()), written); // arrives without a flush
        wait_for(command, [this] { return exit_code != -1000 && !watch.connected(); });
    }

    std::string output;
    std::atomic<int> exit_code{-1000};
    int pid = 0;
    Glib::RefPtr<Glib::IOChannel> input;
    sigc::connection watch;
};

TEST(ChildProcess, ReportsOutputAndExitCode) {
    using Case = std::tuple<const char*, int, std::string>;
    for (const auto& [command, exit_code, output] : {
             Case{"echo out; echo err >&2; echo out; exit 3", 3, "out\nerr\nout\n"},
             Case{"printf 'a\\0\\303'; kill -KILL $$", -1, std::string("a\0\303", 3)},
             Case{"kill -PIPE $$; echo on", -1, ""},
             Case{"sleep 99 & echo sleeps; wait", -1, "sleeps\n"}, // and would hold the pipe open
             Case{"read line; echo \"got $line\"", 0, "got x\n"},
         }) {
        const Child child(command, exit_code == 0 ? "x\n" : "");
        EXPECT_EQ(child.exit_code, exit_code) << command;
        EXPECT_EQ(child.output, output) << command;
    }
}

TEST(ChildProcess, NothingThatIsOpenedCrossesAndAnExceptionEndsNothing) {
    const std::string list = "ls -m /proc/self/fd; seq 100000";
    const Child first(list);
    const Child second(list);
    EXPECT_TRUE(first.output.ends_with("\n100000\n")) << "reading ended with what a handler threw";
    EXPECT_EQ(second.output, first.output) << "what was opened for the first crossed into the second";
}

const std::string monitor = "--monitor --syncdir {home}/OneDrive";

using ApplicationTest = ShellTest;

TEST_F(ApplicationTest, Activation) {
    struct Case {
        const char* settings;
        bool token;
        bool daemon;
        std::string calls;
        bool client;
    };
    const auto sync_dir = "sync_dir=" + folder + "\n";
    const auto off = sync_dir + "sync_enabled=false\n";
    const auto runs = call(monitor, marks("begun") + hang);
    const auto asks = call("--display-sync-status", "", "repeat");
    for (const auto& [settings, token, daemon, calls, client] :
         {Case{"", false, false, call("--display-quota --verbose", marks("begun") + hang), true},
          Case{"", false, true, "", false}, Case{"autostart=false\n", true, false, "", false},
          Case{"", true, true, "", false}, Case{off.c_str(), true, false, asks, false},
          Case{off.c_str(), true, true, asks, false}, Case{sync_dir.c_str(), true, false, runs + asks, true},
          Case{sync_dir.c_str(), true, true, runs + asks, true}}) {
        fs::remove(home.file(".config/onedrive/refresh_token"));
        if (token)
            home.write(".config/onedrive/refresh_token", "T");
        home.write(".config/skyfold/config", settings);
        ApplicationProbe::reset(application);
        application.set_daemon_mode(daemon);
        forget_status_cache();
        expect_calls(calls);
        const auto activate = [&] {
            application.activate();
            if (client)
                wait_for_file("begun");
        };
        step(std::string(token ? "with a token " : "without a token ") + (daemon ? "at login " : "") +
                 settings,
             activate, client ? 1 : 0);
        if (ApplicationProbe::main_window(application) != nullptr)
            step("again", activate, client ? 1 : 0);
        fs::remove(home.file("begun"));
        tidy();
    }
}

TEST_F(ApplicationTest, SyncEnds) {
    home.write("OneDrive/a", "");
    make_window();
    const auto ask_for = [](const std::string& phrase, int code) { return says(phrase) + exits(code); };
    const auto resync = monitor + " --resync --resync-auth";
    using Case = std::tuple<const char*, std::string, const char*>;
    for (const auto& [name, calls, file] :
         {Case{"well", call(monitor, says("Uploading: a ... 5%"), ""), ""},
          Case{"badly", call(monitor, ask_for("<b>said</b> \\udcff", 3), ""), ""},
          Case{"badly once more", call(monitor, ask_for("said", 4), ""), ""},
          Case{"for a resync",
               call(monitor, ask_for("a --resync is required", 0), "") +
                   call(resync, marks("resynced") + hang),
               "resynced"},
          Case{"for a resync again",
               call(monitor, ask_for("AADSTS, --resync needed", 126), "") +
                   call(resync, ask_for("--resync needed", 126), ""),
               ""},
          Case{"for a sign-in",
               call(monitor, ask_for("need to re-authorise", 0), "") +
                   call("--reauth --verbose", marks("asked") + hang),
               "asked"}}) {
        expect_calls(calls);
        step(
            name,
            [&, file = std::string(file)] {
                application.on_sync_started(folder);
                if (!file.empty())
                    wait_for_file(file);
            },
            *file == '\0' ? 0 : 1);
        if (std::string(name) != "badly")
            step(
                "put away",
                [this] {
                    application.quit_sync_process();
                    settle(ApplicationProbe::login_pid(application) > 0 ? 1 : 0);
                    for (auto* dialog : open_dialogs())
                        dialog->response(Gtk::RESPONSE_OK);
                },
                ApplicationProbe::login_pid(application) > 0 ? 1 : 0);
    }
}

// Whether the end of the child that was stopped comes before or after the new start, with or without a window
// in front, and whatever the child had printed: a person sees one sync going on.
TEST_F(ApplicationTest, RestartIsOneThing) {
    home.write("OneDrive/a", "");
    make_window();
    const auto client =
        call(monitor, says("AADSTS70000, --resync needed\\nFetching items from the OneDrive API") +
                          marks("begun") + waits("go") +
                          R"({"print": "Uploading: a/x ... 5%\nUploading: a/x"}, )" + marks("said") + hang);
    expect_calls(client + client + client + client + replaced(client, "AADSTS70000, --resync needed\\n", ""));
    const auto begins = [this] {
        wait_for_file("begun");
        settle(1);
        fs::remove(home.file("begun"));
    };
    application.on_sync_started(folder);
    begins();
    for (const bool daemon : {false, true}) {
        for (const bool end_comes_first : {false, true}) {
            const auto before = state();
            application.set_daemon_mode(daemon);
            home.write("go", "");
            wait_for_file("said", false);
            for (const char* name : {"go", "said"})
                fs::remove(home.file(name));
            application.quit_sync_process();
            if (end_comes_first) {
                settle(0, false); // the end is posted
                application.toggle_sync();
            } else {
                application.on_sync_started(folder);
                settle(0, false); // the start is posted, and overtakes the end
            }
            begins();
            EXPECT_EQ(state(), before)
                << (daemon ? "at login" : "") << (end_comes_first ? ", end first" : "");
        }
    }
}

// Started at login there is no window, or it is hidden and must not say that nothing runs.
TEST_F(ApplicationTest, HiddenStart) {
    application.set_daemon_mode(true);
    const auto start = [&](const std::string& name) {
        return [this, name] {
            application.on_sync_started(folder);
            application.on_sync_started("/elsewhere"); // ignored
            wait_for_file(name);
        };
    };
    expect_calls(call(monitor, marks("1") + hang));
    step("without a window", start("1"), 1);
    step("stopped", [this] { application.quit_sync_process(); });
    step("told", [] { close_dialogs(); });
    make_window().hide();
    expect_calls(call(monitor, marks("2") + hang) + call(monitor, marks("3") + hang));
    step("with a hidden window", start("2"), 1);
    // Without an icon, as a renewed sign-in may leave it, it has to come back by itself.
    application.quit_sync_process();
    application.set_daemon_mode(false);
    SkyfoldProbe::give_up_icon(*ApplicationProbe::main_window(application));
    step("no way to it", start("3"), 1);
}

TEST_F(ApplicationTest, RemovalStopsTheClient) {
    const auto home_before = fs::current_path();
    fs::current_path(home.path); // where a client is found first
    home.write("onedrive-cli",
               "#!/usr/bin/python3\nimport os\nwhile True:\n try:\n  os.makedirs('OneDrive', exist_ok=True)\n"
               "  open('OneDrive/x', 'w').close()\n  open('begun', 'w').close()\n except OSError: pass\n");
    fs::permissions(home.path / "onedrive-cli", fs::perms::owner_all);
    make_window();
    step(
        "runs",
        [this] {
            application.on_sync_started(folder);
            wait_for_file("begun");
        },
        1);
    step("removed before it could write again", [this] { application.remove_account(true); });
    fs::current_path(home_before);
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
        while (ApplicationProbe::pid(application) == -1)
            Glib::MainContext::get_default()->iteration(true);
        setrlimit(RLIMIT_NOFILE, &usual);
    });
    expect_calls(call(monitor, marks("begun") + hang));
    step(
        "again",
        [this] {
            application.on_sync_started(folder);
            wait_for_file("begun");
        },
        1);
}

TEST_F(ApplicationTest, SignIn) {
    auto& window = make_window();
    home.write(".config/skyfold/config", "autostart=false\nsync_dir=" + folder + "\n");
    ApplicationProbe::config(application) = ConfigManager();
    expect_calls(
        call("--display-quota --verbose", says("issue a --reauth") + exits(1), "") +
        call("--reauth --verbose", R"({"write": {"{home}/.config/onedrive/refresh_token": "T"}})", ""));
    step("renewed", [this] { application.start_login_process(false); });
    expect_calls(call("--display-quota --verbose",
                      marks("1") + waits("go") + says("https://login.microsoftonline.com/authorize?late ")) +
                 call("--reauth --verbose", marks("2") + waits("end") + exits(3)));
    step(
        "a first attempt",
        [this] {
            application.start_login_process(false);
            wait_for_file("1");
        },
        1);
    step(
        "no sync meanwhile", [this] { application.on_sync_started(folder); }, 1);
    const int older = ApplicationProbe::login_instance(application);
    step(
        "a second",
        [this] {
            application.start_login_process(true);
            wait_for_file("2");
        },
        2);
    step(
        "late results of the first",
        [&] {
            ApplicationProbe::on_token_saved(application, older);
            home.write("go", "");
            settle(1);
        },
        1);
    const auto open = make_error_dialog(&window, "Open", "would keep the program that quits");
    step("its end", [&] { ask([&] { home.write("end", ""); }, {Gtk::RESPONSE_OK}); });
    step("no attempt is left",
         [&] { application.do_token_exchange("https://login.microsoftonline.com/x?code=", older); });
}
} // namespace
