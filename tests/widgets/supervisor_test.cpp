// SPDX-License-Identifier: MIT
#include "harness.h"

#include <csignal>

namespace {
class SupervisorTest : public ShellTest {
  protected:
    // The monitor, then the client that refreshes the window's statuses, as often as it likes.
    void expect_monitor(const std::string& steps, const std::string& then = "") {
        expect_calls(monitor(steps) + then +
                     R"({"args": ["--display-sync-status"], "repeat": true, "steps": []})");
        std::filesystem::create_directories(folder + "/a");
        application.on_sync_started(folder);
    }
    static std::string monitor(const std::string& steps, const std::string& more = "") {
        return R"({"args": ["--monitor", "--syncdir", "{home}/OneDrive")" + more +
               R"(], "cut_short": true, "steps": [)" + steps + "]},";
    }

    int pid() { return ApplicationProbe::pid(application); }
    static bool ends(int child) {
        return turn_until([child] { return kill(child, 0) != 0; });
    }
    Skyfold& window() { return *ApplicationProbe::main_window(application); }
    bool shows(const std::string& status_line) {
        return turn_until([&] { return pid() != -1 && SkyfoldProbe::status_line(window()) == status_line; });
    }
};

TEST_F(SupervisorTest, RunsTheClientAndShowsWhatItPrints) {
    home.write(".config/onedrive/.lock", "");
    expect_monitor(R"({"print": "Downloading: a/b ... 5%\n", "cut": [3, 9]}, {"sleep": 0.3},
        {"print": "No new or changed items"}, {"exit": 0})");
    EXPECT_EQ(pid(), -1);
    EXPECT_TRUE(application.is_sync_running());
    application.on_sync_started("/elsewhere"); // ignored
    EXPECT_EQ(application.get_sync_dir(), folder);
    ASSERT_TRUE(shows("Sync: Downloading \xE2\x80\x94 a/b"));
    EXPECT_FALSE(std::filesystem::exists(home.file(".config/onedrive/.lock")));
    EXPECT_TRUE(SkyfoldProbe::sync_switch(window()).get_active());
    EXPECT_EQ(SkyfoldProbe::status(window(), "a"), "Downloading");
    ASSERT_TRUE(shows("Sync: Stopped"));
    EXPECT_TRUE(pid() == 0 && !ApplicationProbe::watch(application).connected());
    EXPECT_FALSE(SkyfoldProbe::sync_switch(window()).get_active());
    EXPECT_EQ(window().get_file_sync_status("a"), "Unknown") << "no live state is left";
    EXPECT_EQ(dialog(), nullptr);
}

// The shell sees a folder unescaped; here it leaves a process behind that keeps the pipe open.
TEST_F(SupervisorTest, NothingIsReadAfterTheClientHasEnded) {
    folder += R"("; sleep 9 & exit 0; ")";
    expect_monitor(R"({"exit": 0})");
    ASSERT_TRUE(shows("Sync: Stopped"));
    EXPECT_FALSE(ApplicationProbe::watch(application).connected());
}

TEST_F(SupervisorTest, ResyncsOnceAndReportsTheSecondRefusal) {
    expect_monitor(R"({"print": "... a --resync is required\n"}, {"exit": 0})",
                   monitor(R"({"print": "--resync needed \u00fc\udcff\u0000"}, {"exit": 126})",
                           R"(, "--resync", "--resync-auth")"));
    ASSERT_TRUE(turn_until(dialog));
    EXPECT_EQ(dialog_text(), "Sync Process Error|The OneDrive sync process terminated unexpectedly.\n\n"
                             "<b>Exit Code:</b> 126\n<b>Output:</b>\n"
                             "--resync needed \xC3\xBC\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(ApplicationProbe::login_window(application), dialog());
    EXPECT_EQ(pid(), 0);
    dialog()->response(Gtk::RESPONSE_DELETE_EVENT);
    EXPECT_EQ(ApplicationProbe::login_window(application), &window());
    turn_for(0.05);
    EXPECT_EQ(dialog(), nullptr);
}

// All that a client left in the pipe is read before its end is judged.
TEST_F(SupervisorTest, LastWordsOfALongOutputStillCount) {
    home.write(".config/onedrive/refresh_token", "t");
    expect_monitor(R"({"print": "a line of many\n", "times": 4000},
        {"print": "AADSTS70000: refused"}, {"exit": 1})",
                   login_call("--reauth", R"({"sleep": 0.2}, {"exit": 0})") + ",");
    ASSERT_TRUE(reaches("Configure Sync Directory")) << "the new sign-in did not come to its end";
    EXPECT_EQ(dialog(), nullptr);
}

TEST_F(SupervisorTest, SwitchStopsAndStartsAndAStoppedChildIsJudgedLikeAnyOther) {
    const std::string steps = R"({"print": "up\n"}, {"hang": true})";
    expect_monitor(steps, monitor(steps));
    ASSERT_TRUE(turn_until([this] { return pid() > 0; }));
    auto& sync_switch = SkyfoldProbe::sync_switch(window());
    turn_for(0.5); // until the client has printed
    sync_switch.activate();
    EXPECT_EQ(pid(), 0);
    EXPECT_EQ(SkyfoldProbe::sync_state(window()), "OFF");
    EXPECT_EQ(ApplicationProbe::config(application).get("sync_enabled"), "false");
    ASSERT_TRUE(turn_until(dialog));
    EXPECT_NE(dialog_text().find("<b>Exit Code:</b> -1\n<b>Output:</b>\nup"), std::string::npos);
    dialog()->response(Gtk::RESPONSE_OK);
    sync_switch.activate();
    EXPECT_EQ(SkyfoldProbe::sync_state(window()), "ON");
    ASSERT_TRUE(shows("Sync: Starting..."));
    EXPECT_TRUE(pid() > 0 && sync_switch.get_active());
    EXPECT_EQ(ApplicationProbe::config(application).get("sync_enabled"), "true");
    turn_for(0.5);
}

// Whether the end of the child that was stopped comes before or after the new start, with or without a window
// in front, and whatever the child had printed.
TEST_F(SupervisorTest, RestartIsOneThing) {
    const std::string steps =
        R"({"print": "Fetching items from the OneDrive API, AADSTS70000, --resync needed\n"},
        {"hang": true})";
    const std::string last = R"({"print": "Fetching items from the OneDrive API\n"}, {"hang": true})";
    expect_monitor(steps, monitor(steps) + monitor(steps) + monitor(steps) + monitor(last));
    for (const bool daemon : {false, true}) {
        for (const bool end_comes_first : {false, true}) {
            ASSERT_TRUE(shows("Sync: Fetching file list from OneDrive..."));
            application.set_daemon_mode(daemon);
            const int stopped = pid();
            application.quit_sync_process();
            if (end_comes_first) {
                ASSERT_TRUE(ends(stopped));
                std::this_thread::sleep_for(std::chrono::milliseconds(50)); // until that is posted
            }
            application.toggle_sync();
            ASSERT_TRUE(turn_until([this] { return pid() > 0; }));
            ASSERT_TRUE(ends(stopped));
            turn_for(0.1);
            EXPECT_NE(pid(), stopped);
            EXPECT_TRUE(ApplicationProbe::watch(application).connected());
            EXPECT_TRUE(SkyfoldProbe::sync_switch(window()).get_active());
            EXPECT_EQ(ApplicationProbe::config(application).get("sync_enabled"), "true");
            EXPECT_EQ(dialog(), nullptr);
            EXPECT_EQ(ApplicationProbe::login_pid(application), 0);
        }
    }
    ASSERT_TRUE(shows("Sync: Fetching file list from OneDrive..."));
}

// Started at login the window is there, hidden, and must not say that nothing runs.
TEST_F(SupervisorTest, HiddenStartTellsItsWindowButMakesNone) {
    application.set_daemon_mode(true);
    const std::string steps = R"({"write": {"{home}/up": ""}}, {"hang": true})";
    const auto client_is_up = [this] { return std::filesystem::remove(home.file("up")); };
    expect_monitor(steps, monitor(steps));
    ASSERT_TRUE(turn_until(client_is_up));
    EXPECT_EQ(ApplicationProbe::main_window(application), nullptr);
    application.quit_sync_process();
    ASSERT_TRUE(turn_until(dialog));
    dialog()->response(Gtk::RESPONSE_OK);
    ApplicationProbe::main_window(application) = new Skyfold(&application, folder);
    application.on_sync_started(folder);
    ASSERT_TRUE(turn_until(client_is_up));
    EXPECT_TRUE(SkyfoldProbe::sync_switch(window()).get_active());
    EXPECT_EQ(SkyfoldProbe::status_line(window()), "Sync: Starting...");
    EXPECT_FALSE(window().get_visible());
}
} // namespace
