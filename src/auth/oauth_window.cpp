// SPDX-License-Identifier: MIT
#include "auth/oauth_window.h"

#include "auth/authorise_address.h"
#include "base/print.h"
#include "base/text.h"
#include "process/main_loop.h"

#include <memory>

namespace {
// The instance macros of WebKit's headers would call into a library that is not linked.
template<typename To>
To* as(void* object) {
    return static_cast<To*>(object);
}

struct Unref {
    void operator()(void* object) const { g_object_unref(object); }
};
template<typename T>
using Owned = std::unique_ptr<T, Unref>;
} // namespace

OAuthWindow::OAuthWindow(const WebEngine& engine) : web_engine(engine) {
    set_title("OneDrive Login");
    set_default_size(800, 600);
    set_position(Gtk::WIN_POS_CENTER);

    const Owned<WebKitWebsiteDataManager> manager(
        as<WebKitWebsiteDataManager>(web_engine.website_data_manager_new_ephemeral()));
    const Owned<WebKitWebContext> context(web_engine.web_context_new(manager.get()));
    GtkWidget* view = web_engine.web_view_new_with_context(context.get());
    web_view = as<WebKitWebView>(view);
    auto* widget = Glib::wrap(view);
    add(*widget);
    widget->show();
    g_signal_connect(web_view, "decide-policy", G_CALLBACK(on_decide_policy), this);
    show_all_children();
    show(); // the login flow shows it once more
}

void OAuthWindow::load_url(const std::string& url) {
    web_engine.web_view_load_uri(web_view, url.c_str());
}

sigc::signal<void, const std::string&>& OAuthWindow::signal_url_captured() {
    return url_captured;
}

gboolean OAuthWindow::on_decide_policy(WebKitWebView* /*view*/, WebKitPolicyDecision* decision,
                                       WebKitPolicyDecisionType type, void* user_data) {
    auto* window = static_cast<OAuthWindow*>(user_data);
    run_guarded([=] { // nothing may be thrown through the engine's frames
        if (type == WEBKIT_POLICY_DECISION_TYPE_NAVIGATION_ACTION)
            window->handle_decide_policy(decision);
        else
            window->web_engine.policy_decision_use(decision);
    });
    return TRUE;
}

std::string OAuthWindow::navigation_address(WebKitPolicyDecision* decision) const {
    auto* action = web_engine.get_navigation_action(as<WebKitNavigationPolicyDecision>(decision));
    const char* address = web_engine.uri_request_get_uri(web_engine.navigation_action_get_request(action));
    return address == nullptr ? "" : address;
}

bool OAuthWindow::handle_decide_policy(WebKitPolicyDecision* decision) {
    const auto address = navigation_address(decision);
    if (!is_sign_in_redirect(address)) {
        web_engine.policy_decision_use(decision);
        return true;
    }
    const std::string redirect(trimmed(address, white_space));
    print_line("DEBUG: Captured valid Redirect URI: " + redirect);
    url_captured.emit(redirect);
    hide();
    web_engine.policy_decision_ignore(decision); // the redirect's page is never loaded
    return true;
}
