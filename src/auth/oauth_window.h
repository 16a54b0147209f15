// SPDX-License-Identifier: MIT
// The window in which the user signs in: an embedded web view that stops at the redirect and emits its
// address. It knows nothing of the client, of PKCE or of tokens.
#pragma once

#include "process/shared_library.h"

#include <gtkmm/window.h>
#include <string>
#include <webkit2/webkit2.h>

/// The functions of WebKitGTK that the window uses. They are found at the first sign-in, because an account
/// signs in once, and the engine takes more than half of the memory of a program that links it.
struct WebEngine {
    SharedLibrary library{"libwebkit2gtk-4.1.so.0"};
    FOUND_IN_LIBRARY(webkit_website_data_manager_new_ephemeral);
    FOUND_IN_LIBRARY(webkit_web_context_new_with_website_data_manager);
    FOUND_IN_LIBRARY(webkit_web_view_new_with_context);
    FOUND_IN_LIBRARY(webkit_web_view_load_uri);
    FOUND_IN_LIBRARY(webkit_policy_decision_use);
    FOUND_IN_LIBRARY(webkit_policy_decision_ignore);
    FOUND_IN_LIBRARY(webkit_navigation_policy_decision_get_navigation_action);
    FOUND_IN_LIBRARY(webkit_navigation_action_get_request);
    FOUND_IN_LIBRARY(webkit_uri_request_get_uri);
};

/// Loads the engine at the first call. Returns null when it cannot be loaded; `error` then says why, and
/// which package contains it. Main thread only.
const WebEngine* load_web_engine(std::string& error);

class OAuthWindow : public Gtk::Window {
  public:
    /// Builds the window and shows it. No cookie, cache or file of the session outlives it.
    explicit OAuthWindow(const WebEngine& engine);

    void load_url(const std::string& url);

    /// Emitted with each captured redirect address, before the window hides itself.
    sigc::signal<void, const std::string&>& signal_url_captured() { return url_captured; }

    /// Handler of the view's "decide-policy" signal; `user_data` is the window. Always returns true.
    static gboolean on_decide_policy(WebKitWebView* view, WebKitPolicyDecision* decision,
                                     WebKitPolicyDecisionType type, void* user_data);

    /// Decides about a navigation; always returns true.
    bool handle_decide_policy(WebKitPolicyDecision* decision);

  private:
    [[nodiscard]] std::string navigation_address(WebKitPolicyDecision* decision) const;

    const WebEngine& web_engine;
    sigc::signal<void, const std::string&> url_captured;
    WebKitWebView* web_view = nullptr; // owned by the widget tree
};
