// SPDX-License-Identifier: MIT
// Plays days with windows and clients: tables (see core/table.h) whose steps, "> STEP ARGUMENT | ...", do
// something; what that showed, changed and printed stands below. Here is what plays them, with the ways into
// private members; most of the steps are in window_test.cpp. What the next steps meet is told by
//     > client ARGUMENTS | STEP | ...   a call that the client gets, and what it does then (tests/client)
//     > client-always ARGUMENTS | ...   the same for as many calls as come
//     > answer WORD | ...               what is answered to the dialogs of the next step
//     > clients NUMBER                  how many clients stay; every other worker has to end in each step
// A step whose last argument is "until NAME" waits for the file of that name as well.
#pragma once

#include "app/application.h"
#include "shown.h"
#include "ui/dialogs.h"
#include "ui/file_row.h"
#include "ui/skyfold.h"
#include "ui/status_cache.h"

#include <chrono>
#include <glibmm/main.h>
#include <thread>
#include <utility>

/// Seconds; less where much of what is waited for will not come.
inline const double patience = std::getenv("IMPATIENT") != nullptr ? 10 : 40;

/// Turns the main loop (or only waits) until `done`. A wait in vain says for `what`.
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
#ifdef __SANITIZE_THREAD__
inline constexpr int threads_at_rest = 2; // it has one of its own that bears that name, too
#else
inline constexpr int threads_at_rest = 1;
#endif

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
    static void on_token_saved(Application& application, int attempt) { application.on_token_saved(attempt); }
};

struct SkyfoldProbe {
    static auto& list(Skyfold& window) { return window.file_list_box; }
    static void give_up_icon(Skyfold& window) { window.tray_given_up = true; }
    static auto settings(Skyfold& window) { return window.settings_menu->get_children(); }
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

class ShellTest : public testing::TestWithParam<std::string> {
  protected:
    using Act = std::function<void(Given)>;

    ShellTest() {
        fs::create_directories(home.path / ".config/autostart");
        fs::create_directories(folder);
        home.write("scenario", "");
        setenv("CLIENT_SCENARIO", home.file("scenario").c_str(), 1);
        rules["client"] = [this](Given a) { return add_call("client", a), ""; };
        rules["client-always"] = [this](Given a) { return add_call("client-always", a), ""; };
        rules["clients"] = [this](Given a) { return clients = std::stoi(a.at(0)), ""; };
        rules["answer"] = [this](Given a) { return answers = a, ""; };
        acts["file"] = [this](Given a) { home.write(a.at(0), a.at(1)); };
        acts["folder"] = [this](Given a) { fs::create_directories(home.path / a.at(0)); };
        acts["daemon"] = [this](Given a) { application.set_daemon_mode(a.at(0) == "yes"); };
        acts["open"] = [this](Given a) { open(a); };
        acts["close"] = [this](Given) { close(); };
        acts["dismiss"] = [](Given) { dismiss_dialogs(); };
        acts["leave-out"] = [this](Given a) {
            main_window->on_file_sync_toggle_clicked(folder + "/" + a.at(0), false);
        };
    }

    ~ShellTest() override {
        close();
        EXPECT_EQ(std::system("onedrive-cli --scenario-check \"$CLIENT_SCENARIO\" >&2"), 0);
    }

    void play() {
        last_state = state();
        for (const auto& [name, act] : acts)
            rules[name] = [this, act = act](Given given) { return step(act, given); };
        expect_table("window-" + GetParam() + ".txt", rules);
    }

    void add_call(const std::string& kind, Given given) {
        calls += kind + " " + shown(given.at(0));
        for (const auto& step : std::span(given).subspan(1))
            calls += " | " + shown(step);
        home.write("scenario", calls += "\n");
    }

    /// The main window. Its refresh asks the client twice, for a dump of states and for the configuration.
    void open(Given given) {
        add_call("client", {"--display-sync-status", "says " + (given.empty() ? "" : given.at(0))});
        add_call("client", {"--display-config", "says " + (given.size() < 2 ? "" : given.at(1))});
        forget_status_cache();
        main_window = new Skyfold(&application, folder);
        main_window->show();
    }

    /// Ends the clients and closes the windows.
    void close() {
        application.quit_sync_process();
        for (auto* window : Gtk::Window::list_toplevels())
            window->hide();
        EXPECT_NO_THROW(settle()) << "a worker or a client outlives the test";
        dismiss_dialogs(); // one tells the end of the client
        delete std::exchange(main_window, nullptr);
        EXPECT_NO_THROW(settle()) << "a worker of the main window outlives it";
    }

    static void dismiss_dialogs() {
        for (auto* dialog : open_dialogs())
            dialog->response(Gtk::RESPONSE_NONE);
    }

    void wait_for_file(const std::string& name, bool turning = true) {
        const auto exists = [&] { return fs::exists(home.file(name)); };
        wait_for("the file " + name, exists, turning);
    }

    FileRow& row(const std::string& name) {
        for (auto* each : SkyfoldProbe::list(*main_window).get_children())
            if (auto* found = dynamic_cast<FileRow*>(each); found->get_full_path() == folder + "/" + name)
                return *found;
        throw std::runtime_error("no row " + name);
    }

    /// All that a person finds, and the next start of the program.
    std::string state() {
        const auto one_line = [](const std::string& text) {
            return std::regex_replace(text, std::regex("\n"), "|") + "\n";
        };
        std::string text = std::string("client: ") + (pid > 0 ? "runs" : pid < 0 ? "starts" : "none") + "\n";
        for (const std::string name :
             {".config/skyfold/config", ".config/onedrive/config", ".config/onedrive/refresh_token",
              ".config/onedrive/.lock", ".config/autostart/skyfold.desktop", "calls", "OneDrive"})
            if (fs::exists(home.file(name)))
                text += name + ": " + one_line(read_file(home.file(name)).value_or("is there"));
        if (main_window != nullptr) {
            text += "main window: " + SkyfoldProbe::line(*main_window) + "\n";
            for (auto* each : SkyfoldProbe::list(*main_window).get_children())
                if (auto* found = dynamic_cast<FileRow*>(each))
                    text += "row " + found->get_full_path() + ": " + found->get_status_text().raw() + "\n";
        }
        for (auto* window : Gtk::Window::list_toplevels()) {
            const auto* dialog = dynamic_cast<Gtk::MessageDialog*>(window);
            const std::string title = dialog == nullptr
                                          ? window->get_title().raw()
                                          : dialog->property_text().get_value().raw() + ": " +
                                                dialog->property_secondary_text().get_value().raw();
            if (window->get_visible() && !title.empty())
                text += (window == login_window ? "in front: " : "open: ") + one_line(title);
        }
        return text;
    }

    /// The dialog that is open is shown and gets the next of the answers. One that nobody expects must not
    /// stay for ever, as its own loop would go on.
    void answer_dialog(bool too_late) {
        const std::map<std::string, int> responses{{"ok", Gtk::RESPONSE_OK},
                                                   {"yes", Gtk::RESPONSE_YES},
                                                   {"closes", Gtk::RESPONSE_DELETE_EVENT},
                                                   {"quits", Gtk::RESPONSE_NONE}};
        const auto open = open_dialogs();
        if (open.empty() || (answers.empty() && !too_late))
            return;
        seen += (answers.empty() ? "nobody expects:\n" : "") + shown(*open.front());
        const auto answer = answers.empty() ? "quits" : answers.front();
        answers.erase(answers.begin(), answers.empty() ? answers.end() : answers.begin() + 1);
        open.front()->response(responses.at(answer));
    }

    /// What came of a step: what it showed, what it changed and what it printed as an error.
    std::string step(const Act& act, Given given) {
        if (std::exchange(broken, true)) // until it has come to its end
            return "(not tried)";
        seen.clear();
        testing::internal::CaptureStderr();
        const auto begin = std::chrono::steady_clock::now();
        const auto look = [&] {
            answer_dialog(std::chrono::steady_clock::now() > begin + std::chrono::duration<double>(patience));
            return true;
        };
        sigc::connection looking = Glib::signal_timeout().connect(look, 5);
        try {
            const bool asked = !answers.empty();
            act(given);
            wait_for("a dialog to answer", [&] { return !asked || answers.empty(); });
            if (!given.empty() && given.back().starts_with("until "))
                wait_for_file(given.back().substr(6));
            settle(clients);
            broken = false;
        } catch (const std::exception& error) {
            seen += std::string("failed: ") + error.what() + "\n";
        }
        looking.disconnect();
        const auto before = std::exchange(last_state, state());
        seen += changed_lines(before, last_state);
        for_each_line(testing::internal::GetCapturedStderr(), [this](std::string_view line) {
            if (!line.empty() && !line.starts_with('(') && !contains(line, "ray icon")) // not the toolkit's
                seen.append("! ").append(line).append("\n");
        });
        return std::regex_replace(seen, std::regex(home.path.string()), "{home}");
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
    Rules rules;                      // what the next steps meet, and then the steps
    std::map<std::string, Act> acts;  // steps
    std::vector<std::string> answers; // to dialogs
    std::string calls;
    std::string last_state;
    std::string seen;
    int clients = 0;
    bool broken = false;
};
