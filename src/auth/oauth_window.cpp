// SPDX-License-Identifier: MIT
#include "auth/oauth_window.h"

#include "auth/authorise_address.h"
#include "base/print.h"
#include "base/text.h"
#include "process/main_loop.h"

// Casts are plain, because the engine's cast macros would call functions of a library that is not linked.

const WebEngine* load_web_engine(std::string& error) {
    static const WebEngine engine;
    if (engine.library.error().empty())
        return &engine;
    error =
        "The web engine libwebkit2gtk-4.1.so.0 could not be loaded: " + engine.library.error() +
        "\n\nPlease install WebKitGTK (the package libwebkit2gtk-4.1-0 on Debian) and start Skyfold again.";
    return nullptr;
}

OAuthWindow::OAuthWindow(const WebEngine& engine) : web_engine(engine) {
    set_title("OneDrive Login");
    set_default_size(800, 600);
    set_position(Gtk::WIN_POS_CENTER);

    g_autoptr(WebKitWebsiteDataManager) manager =
        reinterpret_cast<WebKitWebsiteDataManager*>(web_engine.webkit_website_data_manager_new_ephemeral());
    g_autoptr(WebKitWebContext) context =
        web_engine.webkit_web_context_new_with_website_data_manager(manager);
    GtkWidget* view = web_engine.webkit_web_view_new_with_context(context);
    web_view = reinterpret_cast<WebKitWebView*>(view);
    auto* widget = Glib::wrap(view);
    add(*widget);
    widget->show();
    g_signal_connect(web_view, "decide-policy", G_CALLBACK(on_decide_policy), this);
    show_all_children();
    show(); // the login flow shows it again
}

void OAuthWindow::load_url(const std::string& url) {
    web_engine.webkit_web_view_load_uri(web_view, url.c_str());
}

gboolean OAuthWindow::on_decide_policy(WebKitWebView* /*view*/, WebKitPolicyDecision* decision,
                                       WebKitPolicyDecisionType type, void* user_data) {
    auto* window = static_cast<OAuthWindow*>(user_data);
    run_guarded([=] { // no exception may pass through the engine's code
        if (type == WEBKIT_POLICY_DECISION_TYPE_NAVIGATION_ACTION)
            window->handle_decide_policy(decision);
        else
            window->web_engine.webkit_policy_decision_use(decision);
    });
    return TRUE;
}

std::string OAuthWindow::navigation_address(WebKitPolicyDecision* decision) const {
    auto* action = web_engine.webkit_navigation_policy_decision_get_navigation_action(
        reinterpret_cast<WebKitNavigationPolicyDecision*>(decision));
    const char* address =
        web_engine.webkit_uri_request_get_uri(web_engine.webkit_navigation_action_get_request(action));
    return address == nullptr ? "" : address;
}

bool OAuthWindow::handle_decide_policy(WebKitPolicyDecision* decision) {
    const auto address = navigation_address(decision);
    if (!is_sign_in_redirect(address)) {
        web_engine.webkit_policy_decision_use(decision);
        return true;
    }
    const std::string redirect(trimmed(address, white_space));
    print_line("DEBUG: Captured valid Redirect URI: " + redirect);
    url_captured.emit(redirect);
    hide();
    web_engine.webkit_policy_decision_ignore(decision); // so the redirect's page is never loaded
    return true;
}
