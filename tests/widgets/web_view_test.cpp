// SPDX-License-Identifier: MIT
// The sign-in window with the real web engine. No page of these tests is on a network.
#include "auth/oauth_window.h"

#include "harness.h"

#include <csignal>
#include <glibmm/uriutils.h>

namespace {
const std::string redirect = "https://login.microsoftonline.com/common/oauth2/nativeclient";
const std::string authorise = "https://login.microsoftonline.com/common/oauth2/v2.0/authorize?client_id=i";
const std::string visit = R"({"print": "Visit )" + authorise + R"( "}, )";

std::string page_that_goes_to(const std::string& address) {
    return "data:text/html," + Glib::uri_escape_string("<script>location.href='" + address + "'</script>");
}

class WebViewTest : public ShellTest {
  protected:
    // Runs the login child until its sign-in window is in front.
    bool sign_in_window_opens(bool reauth) {
        application.start_login_process(reauth);
        return reaches("OneDrive Login");
    }
};

TEST_F(WebViewTest, OnlyANavigationToTheRedirectItselfIsCaptured) {
    std::string error;
    const auto* engine = load_web_engine(error);
    ASSERT_NE(engine, nullptr) << error;
    OAuthWindow window(*engine);
    EXPECT_TRUE(window.get_visible());
    std::vector<std::string> captured;
    window.signal_url_captured().connect([&](const std::string& address) {
        captured.push_back(address);
        EXPECT_TRUE(window.get_visible()) << "handlers run before the window hides";
    });
    int failed_loads = 0;
    const auto count_failure = +[](int* count) -> gboolean { return ++*count > 0; };
    g_signal_connect_swapped(window.get_child()->gobj(), "load-failed", G_CALLBACK(count_failure),
                             &failed_loads);
    // Nobody answers there: the load fails, and by then the decision has been made.
    for (const auto& address :
         {"http://127.0.0.1:45678/?to=" + redirect + "?code=1", redirect + "?state=1"}) {
        failed_loads = 0;
        window.load_url(page_that_goes_to(address));
        ASSERT_TRUE(turn_until([&] { return failed_loads > 0; })) << address;
        EXPECT_TRUE(captured.empty()) << address;
    }
    failed_loads = 0;
    window.load_url(page_that_goes_to(redirect + "?code=M.C1%2Fx#end"));
    ASSERT_TRUE(turn_until([&] { return !captured.empty(); }));
    EXPECT_EQ(captured, std::vector<std::string>{redirect + "?code=M.C1%2Fx#end"});
    EXPECT_FALSE(window.get_visible());
    turn_for(0.3);
    EXPECT_EQ(failed_loads, 0) << "the redirect's page was asked for";
}

// The client may finish a sign-in by itself; what the page does afterwards is nothing to anybody.
TEST_F(WebViewTest, PageOfAnAttemptThatSucceededCountsNoMore) {
    answer_dialogs();
    expect_calls(login_call("--reauth", visit + R"({"wait_for": "{home}/go"},
        {"write": {"{home}/.config/onedrive/refresh_token": "t"}}, {"exit": 0})"));
    ASSERT_TRUE(sign_in_window_opens(true));
    auto* page = dynamic_cast<OAuthWindow*>(ApplicationProbe::login_window(application));
    home.write("go", "");
    ASSERT_TRUE(reaches("Configure Sync Directory"));
    page->signal_url_captured().emit(redirect + "?code=late");
    EXPECT_FALSE(ApplicationProbe::redirect_captured(application));
    application.do_token_exchange(redirect + "?error=late", 1); // one that was under way fails
    turn_for(0.3);
    EXPECT_TRUE(reaches("Configure Sync Directory"));
    EXPECT_TRUE(ApplicationProbe::login_window(application)->get_visible());
    EXPECT_TRUE(dialogs.empty());
}

TEST_F(WebViewTest, OlderWindowCountsNoMoreAndClosingTheNewerOneEndsItsClient) {
    const auto steps = visit + R"({"hang": true})";
    answer_dialogs();
    expect_calls(login_call("--display-quota", steps, "true") + "," + login_call("--reauth", steps, "true"));
    ASSERT_TRUE(sign_in_window_opens(false));
    auto* older = dynamic_cast<OAuthWindow*>(ApplicationProbe::login_window(application));
    kill(ApplicationProbe::login_pid(application), SIGTERM);
    ASSERT_TRUE(sign_in_window_opens(true));
    const auto verifier = ApplicationProbe::verifier(application);
    EXPECT_EQ(verifier.size(), 43U);
    EXPECT_EQ(ApplicationProbe::client_id(application), "i");
    const int client = ApplicationProbe::login_pid(application);
    ASSERT_GT(client, 0);
    older->signal_url_captured().emit(redirect + "?code=old");
    older->hide();
    EXPECT_EQ(ApplicationProbe::verifier(application), verifier);
    EXPECT_FALSE(ApplicationProbe::redirect_captured(application));
    EXPECT_EQ(ApplicationProbe::login_pid(application), client);

    ApplicationProbe::login_window(application)->hide();
    EXPECT_EQ(ApplicationProbe::login_instance(application), -1);
    EXPECT_EQ(ApplicationProbe::login_pid(application), 0);
    EXPECT_TRUE(turn_until([client] { return kill(client, 0) != 0; })) << "the client lives on";
    EXPECT_TRUE(dialogs.empty());
}
} // namespace
