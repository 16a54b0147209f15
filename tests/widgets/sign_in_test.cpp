// SPDX-License-Identifier: MIT
// The conversation with the client up to the sign-in window, and what its end leads to.
#include "auth/token_exchange.h"
#include "harness.h"

namespace {
class SignInTest : public ShellTest {
  protected:
    void SetUp() override { answer_dialogs(); }
    bool client_reaches(const char* name) {
        return turn_until([&] { return std::filesystem::exists(home.file(name)); });
    }
};

TEST_F(SignInTest, SuccessWithoutATokenIsAFailure) {
    expect_calls(login_call("--display-quota", R"({"print": "all is well\u0000\udcff"})"));
    application.start_login_process(false);
    ASSERT_TRUE(dialog_was_answered());
    EXPECT_EQ(dialogs[0], "Login Error|Login failed.\n\nExit Code: 0\n\nClient Output:\nall is well"
                          "\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST_F(SignInTest, RetriesExactlyOnceWithReauth) {
    const auto refused =
        R"({"print": "AADSTS70000: refused. You will need to issue a --reauth"}, {"exit": 1})";
    expect_calls(login_call("--display-quota", refused) + "," + login_call("--reauth", refused));
    application.start_login_process(false);
    ASSERT_TRUE(dialog_was_answered());
    turn_for(0.3);
    EXPECT_EQ(dialogs.size(), 1U);
}

TEST_F(SignInTest, LateResultsOfAnOlderAttemptChangeNothing) {
    expect_calls(login_call("--display-quota", R"({"write": {"{home}/first": ""}}, {"wait_for": "{home}/go"},
        {"print": "https://login.microsoftonline.com/authorize?late "}, {"exit": 1})") +
                 "," +
                 login_call("--reauth",
                            R"({"write": {"{home}/second": ""}}, {"wait_for": "{home}/end"}, {"exit": 3})"));
    application.start_login_process(false);
    ASSERT_TRUE(client_reaches("first"));
    const int older = ApplicationProbe::login_instance(application);
    application.start_login_process(true);
    ASSERT_TRUE(client_reaches("second"));
    home.write("go", "");
    ApplicationProbe::on_token_saved(application, older); // an exchange of the older attempt ends well
    turn_for(0.3);
    EXPECT_TRUE(reaches("Skyfold")) << "the second attempt still waits";
    EXPECT_EQ(ApplicationProbe::verifier(application), "");
    EXPECT_EQ(ApplicationProbe::login_output(application), "");
    EXPECT_TRUE(dialogs.empty());
    home.write("end", "");
    ASSERT_TRUE(dialog_was_answered());
    EXPECT_NE(dialogs[0].find("Exit Code: 3\n"), std::string::npos);
}

TEST_F(SignInTest, RedirectWithoutACodeIsReported) {
    for (const std::string query : {"error=access_denied", "code=", "code_challenge=x"}) {
        dialogs.clear();
        ApplicationProbe::login_instance(application) = 1;
        for (int times = 0; times < 2; ++times) // of one attempt, one error
            application.do_token_exchange("https://login.microsoftonline.com/x?" + query, 1);
        ASSERT_TRUE(dialog_was_answered());
        turn_for(0.1);
        EXPECT_EQ(dialogs, std::vector<std::string>{
                               "Login Error|Could not extract authorization code from redirect URL."});
    }
}

TEST_F(SignInTest, NoAnswerIsStatusZero) {
    for (const char* origin : {"http://127.0.0.1:1", "not an address"}) {
        const auto reply = post_token_request(origin, "x");
        EXPECT_TRUE(reply.status == 0 && reply.text.empty()) << origin;
    }
}
} // namespace
