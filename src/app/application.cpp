// SPDX-License-Identifier: MIT
#include "app/application.h"

#include "base/print.h"
#include "process/child_process.h"
#include "process/client_files.h"
#include "process/client_locator.h"
#include "process/client_processes.h"
#include "process/main_loop.h"
#include "process/process_setup.h"
#include "ui/dialogs.h"
#include "ui/settings_window.h"
#include "ui/skyfold.h"

#include <csignal>
#include <cstdlib>
#include <gdk/gdkx.h>
#include <glib-unix.h>
#include <unistd.h>

Application::Application() : Gtk::Application("org.skyfold", Gio::APPLICATION_NON_UNIQUE) {
    signal_shutdown().connect(sigc::mem_fun(*this, &Application::handle_shutdown), true);
}

Glib::RefPtr<Application> Application::create() {
    return Glib::RefPtr<Application>(new Application());
}

// Replaces the toolkit's own option handling, which rejects options that it does not know and acts on some
// that it does. Only main reads the arguments.
bool Application::local_command_line_vfunc(char**& /*arguments*/, int& exit_status) {
    exit_status = EXIT_SUCCESS;
    try {
        register_application();
        activate();
    } catch (const Glib::Error& error) {
        print_error("ERROR: Could not register the application: " + error.what().raw());
        exit_status = EXIT_FAILURE;
    }
    return true;
}

void Application::on_startup() {
    print_line("DEBUG: Application::on_startup() - BEGIN");
    Gtk::Application::on_startup();
    survive_closed_pipes();
    quit_on_signals();
    end_children_with_display();
    hold(); // never released: nothing else keeps the program alive while its windows are hidden
    print_line("DEBUG: Application::on_startup() - END (app is held)");
}

// At the end of a session, or on Ctrl+C, the client must not go on alone. While the main thread waits for a
// command, a signal is not handled. After one was handled, a second of its kind ends the program at once.
void Application::quit_on_signals() {
    const auto quit_once = +[](gpointer application) -> gboolean {
        static_cast<Application*>(application)->close_and_quit();
        return G_SOURCE_REMOVE;
    };
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction inherited = {};
        sigaction(signal, nullptr, &inherited);
        if (inherited.sa_handler != SIG_IGN) // under nohup the program survives the session
            g_unix_signal_add(signal, quit_once, this);
    }
}

// When the X server goes, at the end of a session or by a crash, Xlib ends the program without a shutdown,
// and the client would go on alone. Every call to the toolkit fails here, so only the children are ended.
void Application::end_children_with_display() {
    static const Application* const running = this;
    if (GDK_IS_X11_DISPLAY(gdk_display_get_default()))
        XSetIOErrorHandler([](Display* /*display*/) -> int {
            for (const int child : {running->login_pid, running->m_sync_process_pid})
                for (const int signal : {SIGTERM, SIGKILL})
                    if (child > 0)
                        signal_child(child, signal);
            _exit(EXIT_FAILURE);
        });
}

void Application::close_and_quit() {
    for (auto* dialog : open_dialogs())
        dialog->response(Gtk::RESPONSE_NONE); // an answer that no person can give
    quit();
}

void Application::on_activate() {
    if (main_window != nullptr) {
        print_line("DEBUG: Application::on_activate() - Main window exists, showing it.");
        main_window->show_in_front();
        return;
    }
    print_line("DEBUG: Application::on_activate() - First launch, beginning startup sequence.");
    Gtk::Application::on_activate();
    if (std::getenv("HOME") == nullptr) {
        print_error("HOME environment variable not set. Cannot determine login status.");
        quit();
    } else if (is_client_token_present()) {
        start_logged_in();
    } else {
        print_line("DEBUG: User is NOT logged in. Starting login process.");
        if (daemon_mode) {
            print_error("Daemon mode requires the user to be logged in.");
            quit();
        } else {
            start_login_process(false);
        }
    }
    print_line("DEBUG: Application::on_activate() - END");
}

void Application::start_logged_in() {
    print_line("DEBUG: User is logged in.");
    config.set("is_logged_in", "true");
    const auto sync_dir = config.get("sync_dir");
    if (sync_dir.empty()) {
        if (daemon_mode) {
            print_error("Daemon mode requires sync_dir to be configured.");
            quit();
        } else {
            show_settings_window();
        }
        return;
    }
    main_window = new Skyfold(this, sync_dir); // never deleted, like every top-level window
    print_line("DEBUG: Skyfold object created.");
    add_window(*main_window);
    print_line("DEBUG: Skyfold window created (hidden).");
    if (config.get("sync_enabled") != "false")
        post_when_idle([this, sync_dir] { on_sync_started(sync_dir); });
}

void Application::show_settings_window() {
    auto* window = new SettingsWindow();
    window->signal_sync_started().connect(sigc::mem_fun(*this, &Application::on_sync_started));
    window->signal_hide().connect([this, window] {
        if (login_window == window) // the user closed it
            go_on_without_login_window();
    });
    add_window(*window);
    window->show();
    login_window = window;
}

// Quits without a main window, because nothing could reach the program any more; and without a token, which
// the client deletes before a new sign-in, because no sync could run before the next start.
void Application::go_on_without_login_window() {
    if (main_window == nullptr || !is_client_token_present()) {
        quit();
        return;
    }
    login_window = main_window;
    main_window->show_in_front();
}

void Application::handle_shutdown() {
    print_line("DEBUG: Application shutting down");
    quit_sync_process();
    end_client_queries(); // first, because a killed query would be retried
    kill_existing_onedrive_processes();
}

std::string Application::get_onedrive_cli_path() const {
    return find_client_for_children();
}
