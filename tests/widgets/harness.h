// SPDX-License-Identifier: MIT
// What the tests of the shell share, among it the ways into private members of the application.
#pragma once

#include "app/application.h"
#include "test_files.h"
#include "ui/file_row.h"
#include "ui/skyfold.h"

#include <chrono>
#include <csignal>
#include <functional>
#include <glibmm/main.h>
#include <gtest/gtest.h>
#include <gtkmm/messagedialog.h>
#include <thread>
#include <utility>

/// Seconds; less where much of what is waited for will not come.
inline const double patience = std::getenv("IMPATIENT") != nullptr ? 10 : 40;

/// Turns the main loop until `done`, at most `seconds`; returns whether it came to be.
inline bool turn_until(const std::function<bool()>& done, double seconds = patience) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!done()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        if (!Glib::MainContext::get_default()->iteration(false))
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

/// Turns the main loop for a while in which something must not happen, after the event that might cause it.
inline void turn_for(double seconds) {
    turn_until([] { return false; }, seconds);
}

inline bool ends(int child) {
    return turn_until([child] { return kill(child, 0) != 0; });
}

struct ApplicationProbe {
    static void reset(Application& application) {
        application.config = ConfigManager();
        application.daemon_mode = false;
        application.login_window = nullptr;
        application.main_window = nullptr;
        application.m_sync_process_pid = 0;
    }
    static auto& pid(Application& application) { return application.m_sync_process_pid; }
    static auto& config(Application& application) { return application.config; }
    static auto& login_window(Application& application) { return application.login_window; }
    static auto& main_window(Application& application) { return application.main_window; }
    static auto& login_instance(Application& application) { return application.login_instance; }
    static auto& login_pid(Application& application) { return application.login_pid; }
    static void on_token_saved(Application& application, int attempt) { application.on_token_saved(attempt); }
};

struct SkyfoldProbe {
    static auto& list(Skyfold& window) { return window.file_list_box; }
    static void give_up_icon(Skyfold& window) { window.tray_given_up = true; }
    static auto& sync_switch(Skyfold& window) { return *window.sync_switch; }
    static Glib::ustring status_line(Skyfold& window) { return window.status_label.get_text(); }
};

struct RowProbe {
    static auto& toggle(FileRow& row) { return row.toggle_button; }
    static auto& icon(FileRow& row) { return row.icon_image; }
};

const std::string hang = R"({"hang": true})"; // the last step of a client that runs until it is ended

inline std::string says(const std::string& text) {
    return R"({"print": ")" + text + R"(\n"}, )";
}

inline std::string marks(const std::string& name) {
    return R"({"write": {"{home}/)" + name + R"(": ""}}, )";
}

/// One call that the client must get. `option` tells what else goes: it may be killed before its end.
inline std::string call(const std::string& arguments, const std::string& steps,
                        const std::string& option = "cut_short") {
    std::string listed;
    for (const char c : arguments)
        listed += c == ' ' ? R"(", ")" : std::string(1, c);
    return R"({"args": [")" + listed + R"("], ")" + option + R"(": true, "steps": [)" +
           steps.substr(0, steps.find_last_not_of(", ") + 1) + "]}, ";
}

/// A home and an application registered under it. At the end the client was called as expected, no otherwise.
class ShellTest : public testing::Test {
  protected:
    void expect_calls(const std::string& calls) {
        fs::remove(home.file("scenario.state")); // of calls expected earlier
        home.write("scenario", "{\"calls\": [" + calls.substr(0, calls.size() - 2) + "]}");
        setenv("CLIENT_SCENARIO", home.file("scenario").c_str(), 1);
    }

    bool appears(const std::string& name) {
        return turn_until([&] { return fs::exists(home.file(name)); });
    }

    void TearDown() override {
        // Nothing but the test's own children may outlive it.
        if (application.is_sync_running()) {
            application.quit_sync_process();
            turn_until(dialog, 2); // its end is reported, and not to the next test
        }
        for (auto* window : Gtk::Window::list_toplevels())
            window->hide();
        delete std::exchange(ApplicationProbe::main_window(application), nullptr); // and what it waits for
        EXPECT_TRUE(!fs::exists(home.file("scenario")) ||
                    std::system("onedrive-cli --scenario-check \"$CLIENT_SCENARIO\" >&2") == 0);
    }

    static Gtk::MessageDialog* dialog() {
        for (auto* window : Gtk::Window::list_toplevels())
            if (auto* found = dynamic_cast<Gtk::MessageDialog*>(window);
                found != nullptr && found->get_visible())
                return found;
        return nullptr;
    }
    static std::string dialog_text() {
        return dialog()->property_text().get_value() + "|" + dialog()->property_secondary_text().get_value();
    }

    /// Answers the next dialog, from within where it runs a loop of its own. Its text, or nothing.
    static std::string answered_dialog(double seconds) {
        std::string text;
        const auto answer = [&text] {
            if (dialog() != nullptr) {
                text = dialog_text();
                dialog()->response(Gtk::RESPONSE_OK);
            }
            return text.empty();
        };
        sigc::connection answering = Glib::signal_timeout().connect(answer, 10);
        turn_until([&text] { return !text.empty(); }, seconds);
        answering.disconnect();
        return text;
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
