// SPDX-License-Identifier: MIT
// What the tests of the shell share, among it the ways into private members of the application.
#pragma once

#include "app/application.h"
#include "approved.h"
#include "shown.h"
#include "test_files.h"
#include "ui/file_row.h"
#include "ui/skyfold.h"

#include <chrono>
#include <csignal>
#include <fstream>
#include <functional>
#include <glibmm/main.h>
#include <gtest/gtest.h>
#include <thread>
#include <utility>

/// Seconds; less where much of what is waited for will not come.
inline const double patience = std::getenv("IMPATIENT") != nullptr ? 10 : 40;

inline void sleep_ms(int duration) {
    std::this_thread::sleep_for(std::chrono::milliseconds(duration));
}

/// Turns the main loop until `done`. A wait in vain ends the test and says for `what`.
inline void wait_for(const std::string& what, const std::function<bool()>& done, bool turning = true) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(patience);
    while (!done()) {
        if (std::chrono::steady_clock::now() > end)
            throw std::runtime_error("waited in vain for " + what);
        if (!turning || !Glib::MainContext::get_default()->iteration(false))
            sleep_ms(1);
    }
}

/// How many threads of this process are of its own making: they bear its name. The toolkit names its own.
inline std::ptrdiff_t own_threads() {
    const auto name = read_file("/proc/self/comm");
    return std::ranges::count_if(fs::directory_iterator("/proc/self/task"), [&name](const auto& task) {
        std::ifstream comm(task.path() / "comm");
        return std::string(std::istreambuf_iterator<char>(comm), {}) == name;
    });
}
inline const auto threads_at_rest = own_threads();

/// Waits until no worker runs but one for each client that stays, and all that they posted is done.
inline void settle(int clients = 0, bool turning = true) {
    const auto rest = [clients] { return own_threads() == threads_at_rest + clients; };
    wait_for(
        "the workers of " + std::to_string(clients) + " clients to be all there are",
        [&] {
            const bool resting = rest();
            return resting && (!turning || !Glib::MainContext::get_default()->pending());
        },
        turning);
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
    static auto& settings_menu(Skyfold& window) { return *window.settings_menu; }
    static auto& icon(Skyfold& window) { return window.tray_icon; }
    static auto& sync_switch(Skyfold& window) { return *window.sync_switch; }
    static auto& autostart_switch(Skyfold& window) { return *window.autostart_switch; }
    static auto& notifications_switch(Skyfold& window) { return *window.notifications_switch; }
    static Glib::ustring status_line(Skyfold& window) { return window.status_label.get_text(); }
};

struct RowProbe {
    static auto& open(FileRow& row) { return row.open_button; }
    static auto& sync(FileRow& row) { return row.sync_button; }
    static auto& toggle(FileRow& row) { return row.toggle_button; }
    static auto& stack(FileRow& row) { return row.action_stack; }
    static auto& event_box(FileRow& row) { return row.event_box; }
};

const std::string hang = R"({"hang": true})"; // the last step of a client that runs until it is ended

inline std::string says(const std::string& text) {
    return R"({"print": ")" + text + R"(\n"}, )";
}

inline std::string marks(const std::string& name) {
    return R"({"write": {"{home}/)" + name + R"(": ""}}, )";
}

inline std::string waits(const std::string& name) {
    return R"({"wait_for": "{home}/)" + name + R"("}, )";
}

/// One call that the client must get. `option` tells what else goes: it may be killed before its end.
inline std::string call(const std::string& arguments, const std::string& steps,
                        const std::string& option = "cut_short") {
    return R"({"args": [")" + replaced(arguments, " ", R"(", ")") + R"("], ")" + option +
           R"(": true, "steps": [)" + steps.substr(0, steps.find_last_not_of(", ") + 1) + "]}, ";
}

/// A home and an application registered under it. At the end the client was called as expected, no otherwise.
class ShellTest : public testing::Test {
  protected:
    void expect_calls(const std::string& calls) {
        fs::remove(home.file("scenario.state")); // of calls expected earlier
        home.write("scenario", "{\"calls\": [" + calls.substr(0, calls.size() - 2) + "]}");
        setenv("CLIENT_SCENARIO", home.file("scenario").c_str(), 1);
    }

    void wait_for_file(const std::string& name, bool turning = true) {
        wait_for(
            "the file " + name, [&] { return fs::exists(home.file(name)); }, turning);
    }

    void TearDown() override {
        // Nothing but the test's own children may outlive it.
        if (application.is_sync_running())
            application.quit_sync_process();
        EXPECT_NO_THROW(settle()) << "a worker or a client outlives the test";
        for (auto* window : Gtk::Window::list_toplevels())
            window->hide();
        delete std::exchange(ApplicationProbe::main_window(application), nullptr); // and what it waits for
        settle();
        EXPECT_TRUE(!fs::exists(home.file("scenario")) ||
                    std::system("onedrive-cli --scenario-check \"$CLIENT_SCENARIO\" >&2") == 0);
    }

    /// The open dialogs.
    static std::vector<Gtk::Dialog*> dialogs() {
        std::vector<Gtk::Dialog*> found;
        for (auto* window : Gtk::Window::list_toplevels())
            if (auto* dialog = dynamic_cast<Gtk::Dialog*>(window); dialog != nullptr && dialog->get_visible())
                found.push_back(dialog);
        return found;
    }

    /// Does something that asks: each dialog is written down and gets the next of the answers.
    static std::string asked(const std::function<void()>& what, std::vector<int> answers) {
        std::string text;
        const auto answer = [&] {
            if (dialogs().empty() || answers.empty())
                return true;
            text += shown(*dialogs().front());
            const int next = answers.front();
            answers.erase(answers.begin());
            dialogs().front()->response(next);
            return true;
        };
        sigc::connection answering = Glib::signal_timeout().connect(answer, 5);
        what();
        wait_for("a dialog", [&] { return answers.empty(); });
        answering.disconnect();
        return text;
    }

    std::string with_names(const std::string& text) const {
        return replaced(text, home.path.string(), "{home}");
    }

    /// All that a person, or the next start of the program, finds now.
    std::string state() {
        auto& window = ApplicationProbe::main_window(application);
        const int pid = ApplicationProbe::pid(application);
        std::string text = std::string("  client ") + (pid > 0 ? "runs" : pid < 0 ? "starts" : "none");
        text += "\n  settings " + replaced(home.read(".config/skyfold/config"), "\n", " ");
        for (const char* name : {".config/onedrive/refresh_token", ".config/onedrive/.lock",
                                 ".config/onedrive/config", ".config/autostart/skyfold.desktop", "OneDrive"})
            if (fs::exists(home.file(name)))
                text +=
                    std::string("\n  there is ") + name +
                    (fs::is_directory(home.file(name)) ? "" : ": " + replaced(home.read(name), "\n", "|"));
        if (window != nullptr) {
            text += "\n  main window " + SkyfoldProbe::status_line(*window).raw();
            for (auto* shown_switch :
                 {&SkyfoldProbe::sync_switch(*window), &SkyfoldProbe::autostart_switch(*window),
                  &SkyfoldProbe::notifications_switch(*window)})
                text += shown_switch->get_active() ? ", on" : ", off";
            text += rows(*window);
        }
        for (auto* each : Gtk::Window::list_toplevels()) {
            auto* dialog = dynamic_cast<Gtk::MessageDialog*>(each);
            if (each->get_visible() && each->get_window_type() == Gtk::WINDOW_TOPLEVEL)
                text += "\n  open " + (dialog == nullptr ? each->get_title()
                                                         : dialog->property_text() + ": " +
                                                               dialog->property_secondary_text());
            if (each->get_visible() && each == ApplicationProbe::login_window(application))
                text += " (in front)";
        }
        return with_names(text) + "\n";
    }

    static std::string rows(Skyfold& window) {
        std::string all;
        for (auto* child : SkyfoldProbe::list(window).get_children()) {
            auto& row = dynamic_cast<FileRow&>(*child);
            all += ", " + fs::path(row.get_full_path()).filename().string() + ":" +
                   row.get_status_text().raw() + (row.get_style_context()->has_class("even") ? "+" : "-");
        }
        return all;
    }

    /// What a step has led to goes into the day, which is compared with the approved one at the end.
    void note(const std::string& step) { day += step + "\n" + state(); }

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
    std::string day;
};
