// SPDX-License-Identifier: MIT
#include "app/application.h"
#include "base/print.h"
#include "process/child_process.h"
#include "process/client_processes.h"
#include "process/main_loop.h"
#include "sync/sync_end.h"
#include "ui/dialogs.h"
#include "ui/settings_window.h"
#include "ui/skyfold.h"

#include <csignal>
#include <utility>

namespace {
constexpr std::int32_t none = 0;
constexpr std::int32_t starting = -1;

// The folder is not escaped within its quotes, unlike the names of rows: the command stays as the client's
// users know and type it, and docs/troubleshooting.md names the characters that a folder's path cannot have.
// stdbuf makes the client write line by line.
std::string monitor_command(const std::string& client, const std::string& sync_dir, bool resync) {
    std::string command = "stdbuf -oL " + client + " --monitor --syncdir \"" + sync_dir + "\"";
    if (resync)
        command += " --resync --resync-auth";
    return command + " 2>&1";
}
} // namespace

// One sync child, as its handlers share it.
struct Application::SyncLaunch {
    std::string sync_dir;
    bool resync = false;
    std::string output; // everything the child printed, as bytes
    sigc::connection watch;
};

void Application::on_sync_started(const std::string& sync_dir) {
    print_line("DEBUG: Application::on_sync_started() - BEGIN");
    print_line("DEBUG: Current m_sync_process_pid: " + std::to_string(m_sync_process_pid));
    if (is_sync_running()) {
        print_line("DEBUG: Sync already running or starting, ignoring");
        return;
    }
    if (login_pid > none) { // a start would kill the client of the sign-in
        if (main_window != nullptr)
            main_window->set_sync_status(false);
        return;
    }
    m_sync_process_pid = starting;
    let_launch_go();
    config.set("sync_dir", sync_dir);
    // In daemon mode only the window of an accepted folder: an error dialog stays.
    if (login_window != main_window &&
        (!daemon_mode || dynamic_cast<SettingsWindow*>(login_window) != nullptr))
        hide_login_window();
    const bool underway = start_worker([this, sync_dir] {
        kill_existing_onedrive_processes();
        post_to_main_loop([this, sync_dir] { launch_sync_process(sync_dir, false); });
    });
    if (!underway)
        report_failed_launch();
}

// A launch that has not ended yet is ignored from here on. The rest of its unfinished line is not interpreted
// either, so that line and its live states are forgotten. After a launch that has ended, the line is kept.
void Application::let_launch_go() {
    if (std::exchange(current_launch, nullptr) && main_window != nullptr)
        main_window->forget_activity();
}

void Application::kill_existing_onedrive_processes() {
    print_line("DEBUG: Cleaning up any existing onedrive monitor processes...");
    kill_clients();
}

void Application::launch_sync_process(const std::string& sync_dir, bool resync) {
    const auto command = monitor_command(get_onedrive_cli_path(), sync_dir, resync);
    print_line("DEBUG: Launching: " + command);
    const auto launch = std::make_shared<SyncLaunch>();
    launch->sync_dir = sync_dir;
    launch->resync = resync;
    current_launch = launch;
    launch_process(
        command, [this, launch](const std::string& chunk) { on_sync_output(*launch, chunk); },
        // Idle priority comes after the output watch, so all output is read before the end is judged.
        [this, launch](int exit_code) {
            post_when_idle([this, launch, exit_code] { on_sync_exit(*launch, exit_code); });
        },
        nullptr, &m_sync_process_pid, &sync_watch_connection);
    if (m_sync_process_pid == starting) {
        report_failed_launch();
        return;
    }
    launch->watch = sync_watch_connection;
    show_sync_running(sync_dir);
}

void Application::report_failed_launch() {
    print_error("ERROR: Failed to launch sync process.");
    m_sync_process_pid = none;
    for (auto* window : Gtk::Window::list_toplevels()) // hidden, it is not one of get_windows() any more
        if (main_window == nullptr && dynamic_cast<SettingsWindow*>(window) != nullptr) {
            window->present(); // the very first launch: nothing else leads to the program
            login_window = window;
        }
}

// Daemon mode creates no main window, but it updates an existing one, which may be hidden.
void Application::show_sync_running(const std::string& sync_dir) {
    if (main_window == nullptr && !daemon_mode) {
        main_window = new Skyfold(this, sync_dir); // never deleted
        add_window(*main_window);
    }
    if (main_window != nullptr)
        main_window->set_sync_status(true);
    if (daemon_mode)
        return;
    login_window = main_window;
    if (!main_window->is_within_reach()) // a sign-in has hidden it, and no icon can show it
        activate();
}

void Application::on_sync_output(SyncLaunch& launch, const std::string& chunk) {
    print_line("[SYNC] " + chunk);
    launch.output += chunk;
    // A child that a restart stopped may still print; its transfers have ended, so that is not interpreted.
    if (main_window != nullptr && &launch == current_launch.get())
        main_window->notify_sync_activity(chunk);
}

void Application::on_sync_exit(SyncLaunch& launch, int exit_code) {
    launch.watch.disconnect();
    if (&launch != current_launch.get()) { // stopped by a restart: the state belongs to the next child
        report_exit_code(exit_code);
        return;
    }
    current_launch.reset(); // its output is judged below, and is freed when the caller returns
    m_sync_process_pid = none;
    const auto end = judge_sync_end({sync_quit_requested, launch.resync, exit_code, launch.output});
    if (end == SyncEnd::resync || end == SyncEnd::reauth) {
        continue_after_sync(launch, end);
        return;
    }
    if (end == SyncEnd::stopped)
        print_line("OneDrive sync process stopped.");
    else
        report_exit_code(exit_code);
    if (end == SyncEnd::failed && dynamic_cast<Gtk::MessageDialog*>(login_window) == nullptr)
        show_sync_error(exit_code, launch.output);
    if (main_window != nullptr)
        main_window->set_sync_status(false);
}

void Application::continue_after_sync(const SyncLaunch& launch, SyncEnd end) {
    if (end == SyncEnd::resync) {
        print_line("DEBUG: Resync required, retrying automatically.");
        m_sync_process_pid = starting;
        launch_sync_process(launch.sync_dir, true); // the switch stays on: to the user this is one sync
        return;
    }
    print_line("DEBUG: Reauth required, starting login process.");
    if (main_window != nullptr)
        main_window->set_sync_status(false);
    start_login_process(true);
}

void Application::report_exit_code(int exit_code) {
    if (exit_code == 0)
        print_line("OneDrive sync process exited cleanly.");
    else
        print_error("ERROR: Sync process exited with code " + std::to_string(exit_code));
}

// Shown in daemon mode, too: the user must see that the sync has ended.
void Application::show_sync_error(int exit_code, const std::string& output) {
    // The tags appear as written, on purpose: without markup, no output of the client can break the text.
    auto dialog =
        make_error_dialog(main_window, "Sync Process Error",
                          "The OneDrive sync process terminated unexpectedly.\n\n<b>Exit Code:</b> " +
                              std::to_string(exit_code) + "\n<b>Output:</b>\n" + output);
    auto* shown = dialog.release(); // deletes itself when it is hidden
    shown->signal_response().connect([this, shown](int /*response*/) {
        if (login_window == shown) // otherwise a sign-in or a newer start has replaced it
            login_window = main_window;
        shown->hide();
    });
    shown->signal_hide().connect(
        [shown] { post_when_idle([shown] { delete shown; }); }); // not within its own signal
    login_window = shown;
    shown->show();
}

void Application::quit_sync_process() {
    if (m_sync_process_pid <= none)
        return;
    // Set and cleared before the child's end is handled, on purpose, so that `SyncEnd::stopped` is not
    // reached: a stopped child is judged by its output and exit code like any other, unless a restart lets it
    // go. Switching off therefore ends in the error dialog, with exit code -1.
    sync_quit_requested = true;
    signal_child(m_sync_process_pid, SIGTERM);
    signal_child(m_sync_process_pid, SIGKILL);
    m_sync_process_pid = none;
    sync_quit_requested = false;
    if (main_window != nullptr)
        main_window->set_sync_status(false);
}

bool Application::is_sync_running() const {
    return m_sync_process_pid > none || m_sync_process_pid == starting;
}

void Application::toggle_sync() {
    if (is_sync_running()) {
        config.set("sync_enabled", "false");
        quit_sync_process();
        return;
    }
    const auto sync_dir = config.get("sync_dir");
    if (sync_dir.empty())
        return;
    config.set("sync_enabled", "true");
    let_launch_go(); // here, not in the idle task: the end of the stopped child may come first
    post_when_idle([this, sync_dir] {
        if (m_sync_process_pid == none)
            on_sync_started(sync_dir);
    });
}
