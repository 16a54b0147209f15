// SPDX-License-Identifier: MIT
#include "harness.h"

namespace {
// The monitor command's arguments as the scenario has them.
std::string monitor(const std::string& steps, bool resync = false) {
    return R"({"args": ["--monitor", "--syncdir", "{home}/OneDrive")" +
           std::string(resync ? R"(, "--resync", "--resync-auth")" : "") + R"(], "steps": [)" + steps + "]},";
}

// The client that refreshes the window's statuses; how often it runs is of no interest here.
constexpr const char* dumps = R"({"args": ["--display-sync-status"], "repeat": true, "steps": []})";

class SupervisorTest : public ShellTest {
  protected:
    void SetUp() override {
        std::filesystem::create_directories(folder);
        std::filesystem::create_directories(home.file("OneDrive/a"));
    }

    int pid() { return ApplicationProbe::pid(application); }
    Skyfold& window() { return *ApplicationProbe::main_window(application); }
    std::string status_line() {
        return ApplicationProbe::main_window(application) == nullptr
                   ? ""
                   : SkyfoldProbe::status_line(window()).raw();
    }
    bool ended() {
        return turn_until([this] { return pid() == 0 && !ApplicationProbe::watch(application).connected(); });
    }
};

TEST_F(SupervisorTest, RunsTheClientAndShowsWhatItPrints) {
    expect_calls(monitor(R"({"print": "Downloading: a/b ... 5%\n", "cut": [3, 9]}, {"sleep": 0.3},
        {"print": "No new or changed items"}, {"exit": 0})") +
                 dumps);
    home.write(".config/onedrive/.lock", "");
    application.on_sync_started(folder);
    EXPECT_EQ(pid(), -1);
    EXPECT_TRUE(application.is_sync_running());
    testing::internal::CaptureStdout();
    application.on_sync_started("/elsewhere");
    EXPECT_NE(
        testing::internal::GetCapturedStdout().find("DEBUG: Sync already running or starting, ignoring\n"),
        std::string::npos);
    EXPECT_EQ(application.get_sync_dir(), folder);
    ASSERT_TRUE(turn_until([this] { return status_line() == "Sync: Downloading \xE2\x80\x94 a/b"; }));
    EXPECT_FALSE(std::filesystem::exists(home.file(".config/onedrive/.lock")));
    EXPECT_TRUE(SkyfoldProbe::sync_switch(window()).get_active());
    EXPECT_EQ(SkyfoldProbe::status(window(), "a"), "Downloading");
    ASSERT_TRUE(ended());
    EXPECT_EQ(status_line(), "Sync: Stopped");
    EXPECT_FALSE(SkyfoldProbe::sync_switch(window()).get_active());
    EXPECT_TRUE(SkyfoldProbe::live(window()).empty());
    EXPECT_EQ(dialog(), nullptr);
}

TEST_F(SupervisorTest, ResyncsOnceAndReportsTheSecondRefusal) {
    expect_calls(
        monitor(R"({"print": "... a --resync is required\n"}, {"exit": 0})") +
        monitor(R"({"print": "--resync needed \u00fc"}, {"print_b64": "/wA="}, {"exit": 126})", true) +
        dumps);
    application.on_sync_started(folder);
    ASSERT_TRUE(turn_until([] { return dialog() != nullptr; }));
    auto* shown = dialog();
    EXPECT_EQ(shown->property_text().get_value(), "Sync Process Error");
    EXPECT_EQ(secondary_text(*shown),
              "The OneDrive sync process terminated unexpectedly.\n\n<b>Exit Code:</b> 126\n<b>Output:</b>\n"
              "--resync needed \xC3\xBC\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(ApplicationProbe::login_window(application), shown);
    EXPECT_EQ(pid(), 0);
    shown->response(Gtk::RESPONSE_DELETE_EVENT);
    EXPECT_EQ(ApplicationProbe::login_window(application), &window());
    turn_for(0.05);
    EXPECT_EQ(dialog(), nullptr);
}

// All that a client left in the pipe is read before its end is judged.
TEST_F(SupervisorTest, LastWordsOfALongOutputStillCount) {
    expect_calls(monitor(R"({"repeat_print": {"text": "a line of many\n", "count": 4000}},
        {"print": "AADSTS70000: refused"}, {"exit": 1})") +
                 R"({"args": ["--reauth", "--verbose"], "steps": [{"sleep": 0.2}, {"exit": 0}]},)" + dumps);
    home.write(".config/onedrive/refresh_token", "t");
    application.on_sync_started(folder);
    ASSERT_TRUE(turn_until([this] {
        auto* front = ApplicationProbe::login_window(application);
        return front != nullptr && front->get_title() == "Configure Sync Directory";
    })) << "the new sign-in did not come to its end";
    EXPECT_EQ(dialog(), nullptr);
}

TEST_F(SupervisorTest, SwitchStopsAndStartsAndAStoppedChildIsJudgedLikeAnyOther) {
    expect_calls(monitor(R"({"print": "up\n"}, {"hang": true})") +
                 monitor(R"({"print": "up\n"}, {"hang": true})") + dumps);
    application.on_sync_started(folder);
    const auto up = [this] {
        return pid() > 0 && status_line() == "Sync: Starting..." &&
               SkyfoldProbe::sync_switch(window()).get_active();
    };
    ASSERT_TRUE(turn_until(up));
    turn_for(0.5); // until the client has printed
    SkyfoldProbe::sync_switch(window()).activate();
    EXPECT_EQ(pid(), 0);
    EXPECT_EQ(SkyfoldProbe::sync_state(window()), "OFF");
    EXPECT_EQ(ApplicationProbe::config(application).get("sync_enabled"), "false");
    ASSERT_TRUE(turn_until([] { return dialog() != nullptr; }));
    EXPECT_NE(secondary_text(*dialog()).find("<b>Exit Code:</b> -1\n<b>Output:</b>\nup"), std::string::npos);
    dialog()->response(Gtk::RESPONSE_OK);
    SkyfoldProbe::sync_switch(window()).activate();
    EXPECT_EQ(SkyfoldProbe::sync_state(window()), "ON");
    ASSERT_TRUE(turn_until(up));
    EXPECT_EQ(ApplicationProbe::config(application).get("sync_enabled"), "true");
    turn_for(0.5);
}

TEST_F(SupervisorTest, LateEndOfAStoppedChildLeavesItsSuccessorAlone) {
    expect_calls(monitor(R"({"print": "--resync needed\n"}, {"hang": true})") +
                 monitor(R"({"print": "second\n"}, {"hang": true})") + dumps);
    application.on_sync_started(folder);
    ASSERT_TRUE(turn_until([this] { return pid() > 0; }));
    turn_for(0.5);
    application.quit_sync_process();
    application.on_sync_started(folder); // before the first one's end can have been handled
    ASSERT_TRUE(turn_until([this] { return pid() > 0; }));
    const int second = pid();
    turn_for(0.7);
    EXPECT_EQ(pid(), second);
    EXPECT_TRUE(ApplicationProbe::watch(application).connected());
    EXPECT_TRUE(SkyfoldProbe::sync_switch(window()).get_active());
}

TEST_F(SupervisorTest, ToggleWithoutAFolderDoesNothing) {
    application.toggle_sync();
    turn_for(0.05);
    EXPECT_EQ(pid(), 0);
    EXPECT_EQ(ApplicationProbe::config(application).get("sync_enabled"), "true");
    application.quit_sync_process(); // nothing runs: nothing happens
}

TEST_F(SupervisorTest, DaemonStartsWithoutAWindow) {
    expect_calls(monitor(R"({"exit": 5})") + dumps);
    application.set_daemon_mode(true);
    testing::internal::CaptureStderr();
    application.on_sync_started(folder);
    ASSERT_TRUE(turn_until([] { return dialog() != nullptr; }));
    EXPECT_NE(testing::internal::GetCapturedStderr().find("ERROR: Sync process exited with code 5\n"),
              std::string::npos);
    EXPECT_EQ(ApplicationProbe::main_window(application), nullptr);
    dialog()->response(Gtk::RESPONSE_OK);
}
} // namespace
