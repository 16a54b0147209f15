// SPDX-License-Identifier: MIT
// The conversation with the client up to the sign-in window, and what its end leads to.
#include "harness.h"

namespace {
class SignInTest : public ShellTest {
  protected:
    void SetUp() override {
        // Dialogs of this flow run loops of their own.
        answers = Glib::signal_timeout().connect(
            [this] {
                if (auto* shown = dialog()) {
                    dialogs.push_back(shown->property_text().get_value().raw() + "|" +
                                      secondary_text(*shown));
                    shown->response(Gtk::RESPONSE_OK);
                }
                return true;
            },
            10);
    }
    void TearDown() override {
        answers.disconnect();
        ShellTest::TearDown();
    }

    std::string front() {
        auto* window = ApplicationProbe::login_window(application);
        return window == nullptr ? "" : window->get_title().raw();
    }
    bool reaches_settings() {
        return turn_until([this] { return front() == "Configure Sync Directory"; });
    }

    static std::string call(const std::string& option, const std::string& steps) {
        return R"({"args": [")" + option + R"(", "--verbose"], "steps": [)" + steps + "]}";
    }

    sigc::connection answers;
    std::vector<std::string> dialogs;
};

TEST_F(SignInTest, ClientThatIsSignedInLeadsToTheSettings) {
    expect_calls(call("--display-quota", R"({"sleep": 0.2}, {"write": {"path":
        "{home}/.config/onedrive/refresh_token", "text": "t"}}, {"exit": 0})"));
    application.start_login_process(false);
    EXPECT_EQ(front(), "Skyfold");
    ASSERT_TRUE(reaches_settings());
    EXPECT_EQ(ApplicationProbe::config(application).get("is_logged_in"), "true");
    EXPECT_TRUE(dialogs.empty());
}

TEST_F(SignInTest, SuccessWithoutATokenIsAFailure) {
    expect_calls(call("--display-quota", R"({"print": "all is well"}, {"print_b64": "AP8="}, {"exit": 0})"));
    application.start_login_process(false);
    ASSERT_TRUE(turn_until([this] { return !dialogs.empty(); }));
    EXPECT_EQ(dialogs[0], "Login Error|Login failed.\n\nExit Code: 0\n\nClient Output:\nall is well"
                          "\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST_F(SignInTest, RetriesExactlyOnceWithReauth) {
    const auto refused =
        R"({"print": "AADSTS70000: refused. You will need to issue a --reauth"}, {"exit": 1})";
    expect_calls(call("--display-quota", refused) + "," + call("--reauth", refused));
    application.start_login_process(false);
    ASSERT_TRUE(turn_until([this] { return !dialogs.empty(); }));
    turn_for(0.3);
    EXPECT_EQ(dialogs.size(), 1U);
}

TEST_F(SignInTest, LateResultsOfAnOlderAttemptChangeNothing) {
    expect_calls(call("--display-quota", R"({"touch": "{home}/first"}, {"wait_for": "{home}/go"},
        {"print": "https://login.microsoftonline.com/authorize?late "}, {"exit": 1})") +
                 "," +
                 call("--reauth", R"({"touch": "{home}/second"}, {"wait_for": "{home}/end"}, {"exit": 3})"));
    const auto there = [this](const char* name) { return std::filesystem::exists(home.file(name)); };
    application.start_login_process(false);
    ASSERT_TRUE(turn_until([&] { return there("first"); }));
    const int older = ApplicationProbe::login_instance(application);
    application.start_login_process(true);
    ASSERT_TRUE(turn_until([&] { return there("second"); }));
    home.write("go", "");
    ApplicationProbe::on_token_saved(application, older); // an exchange of the older attempt ends well
    turn_for(0.3);
    EXPECT_EQ(front(), "Skyfold") << "the second attempt still waits";
    EXPECT_EQ(ApplicationProbe::verifier(application), "");
    EXPECT_EQ(ApplicationProbe::login_output(application), "");
    EXPECT_TRUE(dialogs.empty());
    home.write("end", "");
    ASSERT_TRUE(turn_until([this] { return !dialogs.empty(); }));
    EXPECT_NE(dialogs[0].find("Exit Code: 3\n"), std::string::npos);
}

TEST_F(SignInTest, RedirectWithoutACodeIsReported) {
    for (const char* query : {"error=access_denied", "code=", "code_challenge=x"}) {
        dialogs.clear();
        application.do_token_exchange(std::string("https://login.microsoftonline.com/x?") + query, 1);
        ASSERT_TRUE(turn_until([this] { return !dialogs.empty(); }));
        EXPECT_EQ(dialogs[0], "Login Error|Could not extract authorization code from redirect URL.");
    }
}
} // namespace
