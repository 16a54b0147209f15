// SPDX-License-Identifier: MIT
// The two children of the application: who of them is heard, and what their ends lead to.
#include "auth/token_exchange.h"
#include "harness.h"

namespace {
const std::string monitor = "--monitor --syncdir {home}/OneDrive";
const std::string queries = call("--display-sync-status", "", "repeat"); // as often as the window likes

class ApplicationTest : public ShellTest {
  protected:
    void start_sync(const std::string& calls) {
        expect_calls(calls + queries);
        std::filesystem::create_directories(folder + "/a");
        application.on_sync_started(folder);
    }

    int pid() { return ApplicationProbe::pid(application); }
    Skyfold& window() { return *ApplicationProbe::main_window(application); }
    bool shows(const std::string& status_line) {
        return turn_until([&] { return pid() != -1 && SkyfoldProbe::status_line(window()) == status_line; });
    }
};

// Whether the end of the child that was stopped comes before or after the new start, with or without a window
// in front, and whatever the child had printed.
TEST_F(ApplicationTest, RestartIsOneThing) {
    const std::string last = says("Fetching items from the OneDrive API") + hang;
    const auto first = call(monitor, says("AADSTS70000, --resync needed") + last);
    start_sync(first + first + first + first + call(monitor, last));
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
            ASSERT_TRUE(turn_until([this] { return pid() > 0; }) && ends(stopped));
            turn_for(0.1);
            EXPECT_NE(pid(), stopped);
            EXPECT_TRUE(ApplicationProbe::watch(application).connected());
            EXPECT_TRUE(SkyfoldProbe::sync_switch(window()).get_active());
            EXPECT_EQ(ApplicationProbe::config(application).get("sync_enabled"), "true");
            EXPECT_TRUE(dialog() == nullptr && ApplicationProbe::login_pid(application) == 0);
        }
    }
    ASSERT_TRUE(shows("Sync: Fetching file list from OneDrive..."));
}

// Started at login the window is there, hidden, and must not say that nothing runs.
TEST_F(ApplicationTest, HiddenStartTellsItsWindowButMakesNone) {
    application.set_daemon_mode(true);
    const auto up = [](const std::string& name) {
        return call(monitor, R"({"write": {"{home}/)" + name + R"(": ""}}, )" + hang);
    };
    start_sync(up("first") + up("second") + up("third"));
    EXPECT_EQ(pid(), -1);
    application.on_sync_started("/elsewhere"); // ignored
    EXPECT_EQ(application.get_sync_dir(), folder);
    ASSERT_TRUE(appears("first"));
    EXPECT_EQ(ApplicationProbe::main_window(application), nullptr);
    application.quit_sync_process();
    ASSERT_TRUE(turn_until(dialog));
    dialog()->response(Gtk::RESPONSE_OK);
    ApplicationProbe::main_window(application) = new Skyfold(&application, folder);
    application.on_sync_started(folder);
    ASSERT_TRUE(appears("second"));
    EXPECT_TRUE(SkyfoldProbe::sync_switch(window()).get_active());
    EXPECT_EQ(SkyfoldProbe::status_line(window()), "Sync: Starting...");
    EXPECT_FALSE(window().get_visible());
    // Not hidden on purpose, and without an icon, as a renewed sign-in leaves it, it has to come back by
    // itself.
    application.quit_sync_process();
    application.set_daemon_mode(false);
    SkyfoldProbe::give_up_icon(window());
    application.on_sync_started(folder);
    ASSERT_TRUE(appears("third"));
    EXPECT_TRUE(window().get_visible());
}

TEST_F(ApplicationTest, LateResultsOfAnOlderSignInChangeNothing) {
    answer_dialogs();
    expect_calls(call("--display-quota --verbose",
                      R"({"write": {"{home}/first": ""}}, {"wait_for": "{home}/go"}, )" +
                          says("https://login.microsoftonline.com/authorize?late ") + R"({"exit": 1})") +
                 call("--reauth --verbose",
                      R"({"write": {"{home}/second": ""}}, {"wait_for": "{home}/end"}, {"exit": 3})"));
    application.start_login_process(false);
    ASSERT_TRUE(appears("first"));
    const int older = ApplicationProbe::login_instance(application);
    const int client = ApplicationProbe::login_pid(application);
    application.start_login_process(true);
    ASSERT_TRUE(appears("second"));
    home.write("go", "");
    ApplicationProbe::on_token_saved(application, older); // an exchange of the older attempt ends well
    ASSERT_TRUE(ends(client));
    turn_for(0.3);
    EXPECT_EQ(ApplicationProbe::login_window(application)->get_title(), "Skyfold")
        << "the second still waits";
    EXPECT_EQ(ApplicationProbe::verifier(application) + ApplicationProbe::login_output(application), "");
    EXPECT_TRUE(dialogs.empty());
    home.write("end", "");
    ASSERT_TRUE(dialog_was_answered());
    EXPECT_NE(dialogs[0].find("Exit Code: 3\n"), std::string::npos);
}

TEST_F(ApplicationTest, ExchangeThatCannotBeTellsItOnce) {
    answer_dialogs();
    ApplicationProbe::login_instance(application) = 1;
    for (const std::string query : {"code=", "code_challenge=x"})
        application.do_token_exchange("https://login.microsoftonline.com/x?" + query, 1);
    ASSERT_TRUE(dialog_was_answered());
    turn_for(0.1);
    EXPECT_EQ(dialogs.size(), 1U);
    for (const char* origin : {"http://127.0.0.1:1", "not an address"})
        EXPECT_EQ(post_token_request(origin, "x").status, 0U) << origin;
}
} // namespace
