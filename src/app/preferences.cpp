// SPDX-License-Identifier: MIT
#include "app/application.h"
#include "app/autostart_entry.h"

bool Application::are_notifications_enabled() const {
    return config.get("notifications_enabled") != "false";
}

void Application::toggle_notifications() {
    config.set("notifications_enabled", are_notifications_enabled() ? "false" : "true");
}

bool Application::is_autostart_enabled() const {
    return config.get("autostart") == "true";
}

void Application::toggle_autostart() {
    const bool was = is_autostart_enabled();
    config.set("autostart", was ? "false" : "true");
    set_autostart(!was);
}

void Application::set_autostart(bool enable) {
    write_autostart_entry(enable);
}
