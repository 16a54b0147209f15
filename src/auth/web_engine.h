// SPDX-License-Identifier: MIT
// The few functions of WebKitGTK that the sign-in window uses, resolved when they are first needed: the
// engine is more than half of the memory of a program that links it, and an account is signed in once.
// Headers give the types.
#pragma once

#include <string>
#include <webkit2/webkit2.h>

struct WebEngine {
    decltype(&webkit_website_data_manager_new_ephemeral) website_data_manager_new_ephemeral = nullptr;
    decltype(&webkit_web_context_new_with_website_data_manager) web_context_new = nullptr;
    decltype(&webkit_web_view_new_with_context) web_view_new_with_context = nullptr;
    decltype(&webkit_web_view_load_uri) web_view_load_uri = nullptr;
    decltype(&webkit_policy_decision_use) policy_decision_use = nullptr;
    decltype(&webkit_policy_decision_ignore) policy_decision_ignore = nullptr;
    decltype(&webkit_navigation_policy_decision_get_navigation_action) get_navigation_action = nullptr;
    decltype(&webkit_navigation_action_get_request) navigation_action_get_request = nullptr;
    decltype(&webkit_uri_request_get_uri) uri_request_get_uri = nullptr;
};

/// Loads the engine, once and for good. Null when it cannot be loaded; `error` then says why and which
/// package has it. Main thread only.
const WebEngine* load_web_engine(std::string& error);
