// SPDX-License-Identifier: MIT
// What the tests of the shell share: a main loop to turn, a home with a scenario for the played client, and
// the ways into the private members of the application and its window.
#pragma once

#include "app/application.h"
#include "process/main_loop.h"
#include "test_files.h"
#include "ui/file_row.h"
#include "ui/skyfold.h"
#include "ui/status_cache.h"

#include <chrono>
#include <functional>
#include <glibmm/main.h>
#include <gtest/gtest.h>
#include <gtkmm/messagedialog.h>
#include <thread>

/// Turns the main loop until `done`, at most `seconds`; returns whether it came to be.
inline bool turn_until(const std::function<bool()>& done, double seconds = 20) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!done()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        if (!Glib::MainContext::get_default()->iteration(false))
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

/// Turns the main loop for a while in which something must not happen.
inline void turn_for(double seconds) {
    turn_until([] { return false; }, seconds);
}

struct ApplicationProbe {
    // As after construction, with the settings of the present home.
    static void reset(Application& application) {
        application.config = ConfigManager();
        application.daemon_mode = false;
        application.login_window = nullptr;
        application.main_window = nullptr;
        application.m_sync_process_pid = 0;
        application.gui_exchange_succeeded = application.redirect_captured = false;
        application.login_stdin.reset();
    }
    static auto& pid(Application& application) { return application.m_sync_process_pid; }
    static auto& watch(Application& application) { return application.sync_watch_connection; }
    static auto& config(Application& application) { return application.config; }
    static auto& login_window(Application& application) { return application.login_window; }
    static auto& main_window(Application& application) { return application.main_window; }
    static auto& login_instance(Application& application) { return application.login_instance; }
    static auto& login_pid(Application& application) { return application.login_pid; }
    static auto& login_output(Application& application) { return application.login_output; }
    static auto& verifier(Application& application) { return application.pkce_verifier; }
    static auto& client_id(Application& application) { return application.pkce_client_id; }
    static auto& daemon_mode(Application& application) { return application.daemon_mode; }
    static void activate(Application& application) { application.on_activate(); }
    static void on_token_saved(Application& application, int instance) {
        application.on_token_saved(instance);
    }
};

struct SkyfoldProbe {
    static auto& list(Skyfold& window) { return window.file_list_box; }
    static auto& live(Skyfold& window) { return window.live_status_map; }
    static auto& sync_switch(Skyfold& window) { return *window.sync_switch; }
    static auto& autostart_switch(Skyfold& window) { return *window.autostart_switch; }
    static auto& notifications_switch(Skyfold& window) { return *window.notifications_switch; }
    static Glib::ustring sync_state(Skyfold& window) { return window.sync_state_label->get_text(); }
    static Glib::ustring autostart_state(Skyfold& window) { return window.autostart_state_label->get_text(); }
    static Glib::ustring status_line(Skyfold& window) { return window.status_label.get_text(); }
    static auto& tray_available(Skyfold& window) { return window.tray_available; }
    static auto& tray_icon(Skyfold& window) { return window.tray_icon; }

    static FileRow* row(Skyfold& window, const std::string& name) {
        const auto found = window.rows_by_name.find(name);
        return found == window.rows_by_name.end() ? nullptr : found->second;
    }
    static std::string status(Skyfold& window, const std::string& name) {
        auto* found = row(window, name);
        return found == nullptr ? "(no row)" : found->get_status_text().raw();
    }
};

struct RowProbe {
    static auto& toggle(FileRow& row) { return row.toggle_button; }
    static auto& icon(FileRow& row) { return row.icon_image; }
};

/// A home of its own, an application registered under it, and the calls that the client must get, as JSON.
/// Every test ends with the check that the client was called like that and no otherwise.
class ShellTest : public testing::Test {
  protected:
    void expect_calls(const std::string& calls) {
        home.write("scenario", "{\"calls\": [" + calls + "]}");
        setenv("PLAYED_CLIENT_SCENARIO", home.file("scenario").c_str(), 1);
    }

    void TearDown() override {
        // Nothing but the test's own children may outlive it.
        application.quit_sync_process();
        for (auto* window : Gtk::Window::list_toplevels())
            window->hide();
        turn_until([this] { return !ApplicationProbe::watch(application).connected(); }, 2);
        if (std::filesystem::exists(home.file("scenario"))) {
            EXPECT_EQ(std::system("onedrive-cli --scenario-check \"$PLAYED_CLIENT_SCENARIO\" >&2"), 0);
        }
        unsetenv("PLAYED_CLIENT_SCENARIO");
    }

    /// The dialog in front, or null.
    [[nodiscard]] static Gtk::MessageDialog* dialog() {
        for (auto* window : Gtk::Window::list_toplevels()) {
            auto* found = dynamic_cast<Gtk::MessageDialog*>(window);
            if (found != nullptr && found->get_visible())
                return found;
        }
        return nullptr;
    }

    static std::string secondary_text(Gtk::MessageDialog& shown) {
        return shown.property_secondary_text().get_value();
    }

    // One for all tests: a second one of the same id cannot be registered in a process.
    static Application& shared_application() {
        static const auto made = Application::create();
        if (!made->is_registered())
            made->register_application();
        ApplicationProbe::reset(*made.operator->());
        return *made.operator->();
    }

    TestHome home;
    Application& application = shared_application();
    std::string folder = home.file("OneDrive");
};
