// SPDX-License-Identifier: MIT
// The window in which a person signs in: an embedded web view that stops at the redirect and hands its
// address over. It knows nothing of the client, of challenges or of tokens.
#pragma once

#include "process/shared_library.h"

#include <gtkmm/window.h>
#include <string>
#include <webkit2/webkit2.h>

/// The few functions of WebKitGTK that the window uses, found when they are first needed: the engine is more
/// than half of the memory of a program that links it, and an account is signed in once.
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

/// Loads the engine, once and for good. Null when it cannot be loaded; `error` then says why and which
/// package has it. Main thread only.
const WebEngine* load_web_engine(std::string& error);

class OAuthWindow : public Gtk::Window {
  public:
    /// Builds the window and shows it. Nothing of a session outlives it: no cookie, no cache, no file.
    explicit OAuthWindow(const WebEngine& engine);

    void load_url(const std::string& url);

    /// Emitted with each captured redirect address, before the window hides itself.
    sigc::signal<void, const std::string&>& signal_url_captured() { return url_captured; }

    /// Handler of the view's "decide-policy"; `user_data` is the window. Always decides, always returns true.
    static gboolean on_decide_policy(WebKitWebView* view, WebKitPolicyDecision* decision,
                                     WebKitPolicyDecisionType type, void* user_data);

    /// The decision for a navigation.
    bool handle_decide_policy(WebKitPolicyDecision* decision);

  private:
    [[nodiscard]] std::string navigation_address(WebKitPolicyDecision* decision) const;

    const WebEngine& web_engine;
    sigc::signal<void, const std::string&> url_captured;
    WebKitWebView* web_view = nullptr; // the widget tree's
};
