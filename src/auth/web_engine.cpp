// SPDX-License-Identifier: MIT
#include "auth/web_engine.h"

#include "process/shared_library.h"

namespace {
constexpr const char* library = "libwebkit2gtk-4.1.so.0";

void find_all(SharedLibrary& from, WebEngine& engine) {
    from.find(engine.website_data_manager_new_ephemeral, "webkit_website_data_manager_new_ephemeral");
    from.find(engine.web_context_new, "webkit_web_context_new_with_website_data_manager");
    from.find(engine.web_view_new_with_context, "webkit_web_view_new_with_context");
    from.find(engine.web_view_load_uri, "webkit_web_view_load_uri");
    from.find(engine.policy_decision_use, "webkit_policy_decision_use");
    from.find(engine.policy_decision_ignore, "webkit_policy_decision_ignore");
    from.find(engine.get_navigation_action, "webkit_navigation_policy_decision_get_navigation_action");
    from.find(engine.navigation_action_get_request, "webkit_navigation_action_get_request");
    from.find(engine.uri_request_get_uri, "webkit_uri_request_get_uri");
}
} // namespace

const WebEngine* load_web_engine(std::string& error) {
    static WebEngine engine;
    static const SharedLibrary loaded = [] {
        SharedLibrary opened(library);
        find_all(opened, engine);
        return opened;
    }();
    if (loaded.is_complete())
        return &engine;
    error =
        std::string("The web engine ") + library + " could not be loaded: " + loaded.error() +
        "\n\nPlease install WebKitGTK (the package libwebkit2gtk-4.1-0 on Debian) and start Skyfold again.";
    return nullptr;
}
