// SPDX-License-Identifier: MIT
// The application object: owns the settings, the top-level windows and the two children. Its members are
// declared here and defined in the files that the headings name. Main thread only, unless marked otherwise.
#pragma once

#include "app/config_manager.h"

#include <cstdint>
#include <glibmm/threads.h>
#include <gtkmm/application.h>
#include <gtkmm/window.h>
#include <memory>
#include <string>

class Skyfold;
enum class SyncEnd;

/// Counts sign-in attempts; each attempt's handlers compare their number with `Application::login_instance`.
extern std::int32_t global_login_instance;

class Application : public Gtk::Application {
  public:
    // app/application.cpp: life cycle, and which window the user sees first
    static Glib::RefPtr<Application> create();
    void set_daemon_mode(bool daemon) { daemon_mode = daemon; }
    /// Answers every open dialog with no and quits: one with a loop of its own would keep the program.
    void close_and_quit();
    [[nodiscard]] bool is_daemon_mode() const { return daemon_mode; }
    /// The client's command for the long-lived children.
    [[nodiscard]] std::string get_onedrive_cli_path() const;

    // app/preferences.cpp
    /// True unless "notifications_enabled" is exactly "false".
    [[nodiscard]] bool are_notifications_enabled() const;
    void toggle_notifications();
    /// True only if "autostart" is exactly "true".
    [[nodiscard]] bool is_autostart_enabled() const;
    void toggle_autostart();
    /// Writes or removes the autostart entry; the flag in the settings stays as it is.
    void set_autostart(bool enable);

    // auth/login_flow.cpp
    /// Starts a sign-in attempt, with "--reauth" if `reauth`; one without may be retried once with it.
    void start_login_process(bool reauth);
    /// Takes the redirect from the sign-in window. Only the first of an attempt counts.
    void on_auth_response_url_captured(const std::string& url);
    void on_login_successful();

    // auth/token_exchange.cpp
    /// Redeems the code in `redirect_url` on a worker thread and returns at once; the result is posted back.
    void do_token_exchange(const std::string& redirect_url, std::int32_t instance);

    // sync/sync_supervisor.cpp
    /// Starts syncing the folder. Ignored while a sync runs or starts, and while a sign-in runs.
    void on_sync_started(const std::string& sync_dir);
    void launch_sync_process(const std::string& sync_dir, bool resync);
    /// Kills every client and removes the client's lock file. Blocks; any thread may call.
    static void kill_existing_onedrive_processes();
    /// Stops a running child; one that is still starting is left alone.
    void quit_sync_process();
    /// True while the child runs or starts.
    [[nodiscard]] bool is_sync_running() const;
    /// Switches syncing off or on. After `quit_sync_process` it restarts: that child's end is only printed.
    void toggle_sync();
    [[nodiscard]] std::string get_sync_dir() const { return config.get("sync_dir"); }

    // sync/account_removal.cpp
    /// Signs out and quits; also deletes the sync folder if asked to.
    void remove_account(bool delete_local_files);

  protected:
    Application();
    void on_startup() override;
    void on_activate() override;
    bool local_command_line_vfunc(char**& arguments, int& exit_status) override;

  private:
    friend struct ApplicationProbe; // the tests' way in

    struct LoginAttempt;
    struct SyncLaunch;

    // app/application.cpp
    void handle_shutdown();
    void quit_on_signals();
    void end_children_with_display();
    void start_logged_in();
    void show_settings_window();
    void go_on_without_login_window();

    // auth/login_flow.cpp
    void show_startup_window();
    void on_login_output(LoginAttempt& attempt, const std::string& chunk);
    void hide_login_window();
    void show_sign_in_window(const std::string& address, std::int32_t instance);
    bool give_up_sign_in(std::int32_t instance);
    void set_startup_text(const std::string& text);
    void hand_back_redirect(const std::string& redirect);
    void on_login_exit(const LoginAttempt& attempt, int exit_code);
    void show_login_error(const std::string& details);
    void stop_login_process();

    // auth/token_exchange.cpp
    void on_token_saved(std::int32_t instance);
    void on_token_exchange_failed(unsigned status, const std::string& reply);

    // sync/sync_supervisor.cpp
    void on_sync_output(SyncLaunch& launch, const std::string& chunk);
    void on_sync_exit(SyncLaunch& launch, int exit_code);
    void continue_after_sync(const SyncLaunch& launch, SyncEnd end);
    static void report_exit_code(int exit_code);
    void show_sync_error(int exit_code, const std::string& output);
    void show_sync_running(const std::string& sync_dir);
    void report_failed_launch();
    void let_launch_go();

    bool daemon_mode = false;
    ConfigManager config;
    // The window in front, or null: startup window, sign-in page, settings window, sync error dialog, or the
    // main window, shown or hidden. Set it to null before you hide a window yourself: a hide handler that
    // finds it set takes the user for having closed the window. (The page hides itself after a capture.)
    Gtk::Window* login_window = nullptr;
    Skyfold* main_window = nullptr;
    [[maybe_unused]] bool spare_flag = false;      // unused: reserved for the next command-line option
    static constexpr std::int32_t no_attempt = -1; // login_instance when the last attempt is over
    std::int32_t login_instance = 0;
    bool redirect_captured = false;
    // Locked while output is added. Only the main thread uses login_output, so its readers need no lock; this
    // one is kept for a child runner that would deliver output on another thread.
    Glib::Threads::Mutex login_output_mutex;
    std::string login_output; // bytes
    Glib::RefPtr<Glib::IOChannel> login_stdin;
    std::int32_t login_pid = 0;          // 0: none
    std::int32_t m_sync_process_pid = 0; // > 0: running, -1: being started, 0: none
    bool sync_quit_requested = false;
    sigc::connection sync_watch_connection;
    std::string pkce_verifier; // empty: the client exchanges the code itself
    std::string pkce_client_id;
    std::string pkce_redirect_uri;
    bool gui_exchange_succeeded = false;
    std::shared_ptr<SyncLaunch> current_launch; // whose output and end count; null where there is none
};
