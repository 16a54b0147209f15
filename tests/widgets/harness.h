// SPDX-License-Identifier: MIT
// What the tests of the shell share, among it the ways into private members of the application.
#pragma once

#include "app/application.h"
#include "approved.h"
#include "shown.h"
#include "test_files.h"
#include "ui/dialogs.h"
#include "ui/file_row.h"
#include "ui/skyfold.h"
#include "ui/status_cache.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <functional>
#include <glibmm/main.h>
#include <thread>
#include <utility>

/// Seconds; less where much of what is waited for will not come.
inline const double patience = std::getenv("IMPATIENT") != nullptr ? 10 : 40;

/// Turns the main loop (or only waits) until `done`. A wait in vain ends the test and says for `what`.
inline void wait_for(const std::string& what, const std::function<bool()>& done, bool turning = true) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(patience);
    while (!done()) {
        if (std::chrono::steady_clock::now() > end)
            throw std::runtime_error("waited in vain for " + what);
        if (!turning || !Glib::MainContext::get_default()->iteration(false))
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

/// The threads that the program has made: they bear its name, and those of the toolkit names of their own.
inline int own_threads() {
    int found = 0;
    for (const auto& task : fs::directory_iterator("/proc/self/task"))
        found += read_file(task.path() / "comm") == read_file("/proc/self/comm") ? 1 : 0;
    return found;
}
inline const int threads_at_rest = own_threads();

/// Waits for every worker but one for each client that stays, and does all that they posted (or only waits).
inline void settle(int clients = 0, bool turning = true) {
    const auto at_rest = [&] {
        const bool resting = own_threads() == threads_at_rest + clients;
        return resting && !(turning && Glib::MainContext::get_default()->pending());
    };
    wait_for("all workers to end but those of " + std::to_string(clients) + " clients", at_rest, turning);
}

struct ApplicationProbe {
    static void reset(Application& application) {
        application.config = ConfigManager();
        application.daemon_mode = false;
        application.login_window = application.main_window = nullptr;
        application.m_sync_process_pid = application.login_pid = 0;
    }
    static auto& pid(Application& application) { return application.m_sync_process_pid; }
    static auto& config(Application& application) { return application.config; }
    static auto& login_window(Application& application) { return application.login_window; }
    static auto& main_window(Application& application) { return application.main_window; }
    static auto& attempt(Application& application) { return application.login_instance; }
    static void on_token_saved(Application& application, int attempt) { application.on_token_saved(attempt); }
};

struct SkyfoldProbe {
    static auto& list(Skyfold& window) { return window.file_list_box; }
    static void give_up_icon(Skyfold& window) { window.tray_given_up = true; }
    static auto& settings_menu(Skyfold& window) { return *window.settings_menu; }
    static std::string line(Skyfold& window) {
        std::string text = window.status_label.get_text().raw();
        for (auto* each : {window.sync_switch, window.autostart_switch, window.notifications_switch})
            text += each->get_active() ? ", on" : ", off";
        for (auto* each :
             {window.sync_state_label, window.autostart_state_label, window.notifications_state_label})
            text += " " + each->get_text().raw();
        return text;
    }
};

struct RowProbe {
    static auto buttons(FileRow& row) { return row.action_box.get_children(); }
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

inline std::string exits(int code) {
    return R"({"exit": )" + std::to_string(code) + "}";
}

/// One call that the client must get. `option` tells what else goes: it may be killed before its end.
inline std::string call(const std::string& arguments, const std::string& steps,
                        const std::string& option = "cut_short") {
    return R"({"args": [")" + replaced(arguments, " ", R"(", ")") + R"("], ")" + option +
           R"(": true, "steps": [)" + steps.substr(0, steps.find_last_not_of(", ") + 1) + "]}, ";
}

/// The two calls of a refresh.
inline std::string answers(const std::string& dump, const std::string& config = "") {
    return call("--display-sync-status", says(dump)) + call("--display-config", says(config));
}

inline void close_dialogs() {
    for (auto* dialog : open_dialogs())
        dialog->response(Gtk::RESPONSE_NONE);
}

/// A home and an application registered under it. Each client was called as expected, no otherwise.
class ShellTest : public testing::Test {
  protected:
    void SetUp() override {
        fs::create_directories(home.path / ".config/autostart");
        fs::create_directories(folder);
    }

    void TearDown() override {
        tidy();
        check_calls();
        const std::string name = testing::UnitTest::GetInstance()->current_test_info()->name();
        if (!day.empty())
            expect_approved("window-" + name + ".txt", day);
    }

    /// Ends the clients and closes the windows.
    void tidy() {
        application.quit_sync_process();
        for (auto* window : Gtk::Window::list_toplevels())
            window->hide();
        EXPECT_NO_THROW(settle()) << "a worker or a client outlives the test";
        close_dialogs(); // one tells the end of the client
        delete std::exchange(main_window, nullptr);
        EXPECT_NO_THROW(settle()) << "a worker of the main window outlives it";
    }

    void check_calls() const {
        if (fs::exists(home.file("scenario"))) {
            EXPECT_EQ(std::system("onedrive-cli --scenario-check \"$CLIENT_SCENARIO\" >&2"), 0);
        }
    }

    void expect_calls(const std::string& calls) {
        check_calls();
        fs::remove(home.file("scenario.state"));
        home.write("scenario", R"({"calls": [)" + calls.substr(0, calls.rfind(',')) + "]}");
        setenv("CLIENT_SCENARIO", home.file("scenario").c_str(), 1);
    }

    void wait_for_file(const std::string& name, bool turning = true) {
        const auto exists = [&] { return fs::exists(home.file(name)); };
        wait_for("the file " + name, exists, turning);
    }

    Skyfold& make_window(const std::string& calls = answers("")) {
        expect_calls(calls);
        forget_status_cache();
        main_window = new Skyfold(&application, folder);
        main_window->show();
        settle();
        return *main_window;
    }

    FileRow& row(std::size_t index) {
        return dynamic_cast<FileRow&>(*SkyfoldProbe::list(*main_window).get_children().at(index));
    }

    /// Does what asks; each dialog goes into the day and gets the next of the answers.
    void ask(const std::function<void()>& what, const std::vector<int>& answers) {
        std::size_t given = 0;
        const auto answer = [&] {
            if (const auto open = open_dialogs(); !open.empty() && given < answers.size()) {
                day += with_names(shown(*open.front()));
                const int next = answers[given++];
                next == Gtk::RESPONSE_NONE ? close_dialogs() : open.front()->response(next);
            }
            return true;
        };
        sigc::connection answering = Glib::signal_timeout().connect(answer, 5);
        what();
        wait_for("a dialog", [&] { return given == answers.size(); });
        answering.disconnect();
    }

    [[nodiscard]] std::string with_names(const std::string& text) const {
        return replaced(text, home.path.string(), "{home}");
    }

    /// All that a person finds, and the next start of the program.
    std::string state() {
        const auto one_line = [](const std::string& text) { return replaced(text, "\n", "|") + "\n"; };
        std::string text = std::string("client: ") + (pid > 0 ? "runs" : pid < 0 ? "starts" : "none") + "\n";
        for (const std::string name :
             {".config/skyfold/config", ".config/onedrive/config", ".config/onedrive/refresh_token",
              ".config/onedrive/.lock", ".config/autostart/skyfold.desktop", "calls", "OneDrive"})
            if (fs::exists(home.file(name)))
                text += name + ": " + one_line(read_file(home.file(name)).value_or("is there"));
        if (main_window != nullptr)
            text += "main window: " + SkyfoldProbe::line(*main_window) + "\n";
        for (std::size_t i = 0;
             main_window != nullptr && i < SkyfoldProbe::list(*main_window).get_children().size(); ++i)
            text += "row " + row(i).get_full_path() + ": " + row(i).get_status_text().raw() + "\n";
        for (auto* window : Gtk::Window::list_toplevels()) {
            const auto* dialog = dynamic_cast<Gtk::MessageDialog*>(window);
            const std::string title = dialog == nullptr
                                          ? window->get_title().raw()
                                          : dialog->property_text().get_value().raw() + ": " +
                                                dialog->property_secondary_text().get_value().raw();
            if (window->get_visible() && !title.empty())
                text += (window == login_window ? "in front: " : "open: ") + one_line(title);
        }
        return with_names(text);
    }

    /// One step of the day, which is compared with the approved one at the end: what it changed and printed.
    void step(const std::string& name, int clients, const std::function<void()>& act) {
        testing::internal::CaptureStderr();
        std::string failure;
        const auto give_up = [&] {
            failure = "a dialog that nobody expects: " + state();
            close_dialogs(); // else its own loop would go on
            return true;
        };
        sigc::connection watch =
            Glib::signal_timeout().connect_seconds(give_up, static_cast<unsigned>(patience));
        try {
            act();
            settle(clients);
        } catch (const std::exception& error) {
            failure += error.what();
        }
        watch.disconnect();
        const auto printed = testing::internal::GetCapturedStderr();
        if (!failure.empty())
            throw std::runtime_error(name + ": " + failure + "\n" + printed);
        const auto before = std::exchange(last_state, state());
        day += with_names(name) + "\n" + changed_lines(before, last_state);
        for_each_line(printed, [this](std::string_view line) {
            if (!line.empty() && !line.starts_with('(') && !contains(line, "ray icon")) // not the toolkit's
                day.append("! ").append(with_names(std::string(line))).append("\n");
        });
    }

    void step(const std::string& name, const std::function<void()>& act) { step(name, 0, act); }

    /// Asks for a sync and waits until its client has made a file of that name.
    void start(const std::string& name) {
        application.on_sync_started(folder);
        wait_for_file(name);
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
    std::int32_t& pid = ApplicationProbe::pid(application);
    ConfigManager& config = ApplicationProbe::config(application);
    Gtk::Window*& login_window = ApplicationProbe::login_window(application);
    Skyfold*& main_window = ApplicationProbe::main_window(application);
    std::string folder = home.file("OneDrive");
    std::string day;
    std::string last_state;
};
