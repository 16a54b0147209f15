// SPDX-License-Identifier: MIT
#include "auth/web_engine.h"

#include <glibmm/module.h>
#include <memory>

namespace {
constexpr const char* library = "libwebkit2gtk-4.1.so.0";

class Resolver {
  public:
    explicit Resolver(Glib::Module& from) : module(from) {}

    template<typename Function>
    void resolve(Function& function, const char* name) {
        void* symbol = nullptr;
        complete = module.get_symbol(name, symbol) && symbol != nullptr && complete;
        function = reinterpret_cast<Function>(symbol);
    }

    [[nodiscard]] bool is_complete() const { return complete; }

  private:
    Glib::Module& module;
    bool complete = true;
};

bool resolve_all(Glib::Module& module, WebEngine& engine) {
    Resolver from(module);
    from.resolve(engine.website_data_manager_new_ephemeral, "webkit_website_data_manager_new_ephemeral");
    from.resolve(engine.web_context_new, "webkit_web_context_new_with_website_data_manager");
    from.resolve(engine.web_view_new_with_context, "webkit_web_view_new_with_context");
    from.resolve(engine.web_view_load_uri, "webkit_web_view_load_uri");
    from.resolve(engine.policy_decision_use, "webkit_policy_decision_use");
    from.resolve(engine.policy_decision_ignore, "webkit_policy_decision_ignore");
    from.resolve(engine.get_navigation_action, "webkit_navigation_policy_decision_get_navigation_action");
    from.resolve(engine.navigation_action_get_request, "webkit_navigation_action_get_request");
    from.resolve(engine.uri_request_get_uri, "webkit_uri_request_get_uri");
    return from.is_complete();
}
} // namespace

const WebEngine* load_web_engine(std::string& error) {
    static WebEngine engine;
    static bool loaded = false;
    if (loaded)
        return &engine;
    Glib::Module module(library, Glib::MODULE_BIND_LAZY);
    if (!module) {
        error = Glib::Module::get_last_error();
    } else {
        module.make_resident(); // it cannot be unloaded once it has run
        loaded = resolve_all(module, engine);
        if (loaded)
            return &engine;
        error = "it lacks a function that is needed";
    }
    error =
        std::string("The web engine ") + library + " could not be loaded: " + error +
        "\n\nPlease install WebKitGTK (the package libwebkit2gtk-4.1-0 on Debian) and start Skyfold again.";
    return nullptr;
}
