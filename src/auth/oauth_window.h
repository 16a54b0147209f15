// SPDX-License-Identifier: MIT
// The window in which a person signs in: an embedded web view that stops at the redirect and hands its
// address over. It knows nothing of the client, of challenges or of tokens.
#pragma once

#include "auth/web_engine.h"

#include <gtkmm/window.h>
#include <string>

class OAuthWindow : public Gtk::Window {
  public:
    /// Builds the window and shows it. Nothing of a session outlives it: no cookie, no cache, nothing on
    /// disk.
    explicit OAuthWindow(const WebEngine& engine);

    void load_url(const std::string& url);

    /// Emitted with each captured redirect address, before the window hides itself.
    sigc::signal<void, const std::string&>& signal_url_captured();

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
