// SPDX-License-Identifier: MIT
#include "app/application.h"
#include "auth/authorise_address.h"
#include "auth/oauth_window.h"
#include "auth/pkce.h"
#include "base/print.h"
#include "base/text.h"
#include "process/child_process.h"
#include "process/client_files.h"
#include "process/main_loop.h"
#include "ui/dialogs.h"
#include "ui/startup_window.h"

#include <csignal>
#include <utility>

std::int32_t global_login_instance = 0;

static constexpr gulong pause_before_hand_back = 500'000; // microseconds

// One sign-in attempt, as the handlers of its child share it.
struct Application::LoginAttempt {
    std::int32_t instance = 0;
    bool reauth = false;
    bool url_detected = false;
    std::size_t searched = 0; // where the search for the address continues
};

void Application::start_login_process(bool reauth) {
    login_instance = ++global_login_instance;
    redirect_captured = false;
    gui_exchange_succeeded = false;
    pkce_verifier.clear();
    pkce_client_id.clear();
    pkce_redirect_uri.clear();
    login_pid = 0;
    login_stdin.reset();

    show_startup_window();
    login_output.clear();

    const std::string command =
        get_onedrive_cli_path() + (reauth ? " --reauth" : " --display-quota") + " --verbose";
    print_line("DEBUG: Login command: " + command);
    const auto attempt = std::make_shared<LoginAttempt>();
    attempt->instance = login_instance;
    attempt->reauth = reauth;
    launch_process(
        command, [this, attempt](const std::string& chunk) { on_login_output(*attempt, chunk); },
        // Idle priority comes after the output watch, so all output is read before the end is judged.
        [this, attempt](int exit_code) {
            post_when_idle([this, attempt, exit_code] { on_login_exit(*attempt, exit_code); });
        },
        &login_stdin, &login_pid, nullptr);
    if (login_pid == 0)
        post_when_idle([this, instance = login_instance] {
            if (login_instance == instance)
                show_login_error("The OneDrive client could not be started.");
        });
}

void Application::show_startup_window() {
    auto* window = new StartupWindow(); // never deleted
    window->set_loading_text("Processing login...");
    window->signal_hide().connect([this, instance = login_instance] {
        if (give_up_sign_in(instance))
            go_on_without_login_window();
    });
    add_window(*window);
    window->show_all();
    login_window = window;
}

void Application::on_login_output(LoginAttempt& attempt, const std::string& chunk) {
    const Glib::Threads::Mutex::Lock lock(login_output_mutex);
    print_line("[CLI Output]: " + chunk);
    if (attempt.instance != login_instance)
        return; // output of an older attempt's child is ignored
    login_output += chunk;
    if (attempt.url_detected)
        return;
    auto address = find_authorise_address(login_output, attempt.searched);
    if (!address)
        return;
    attempt.url_detected = true;
    print_line("DEBUG: Authentication URL detected in CLI output.");
    if (auto sign_in = add_pkce_challenge(*address)) {
        pkce_verifier = std::move(sign_in->verifier);
        pkce_client_id = std::move(sign_in->client_id);
        pkce_redirect_uri = std::move(sign_in->redirect_uri);
        print_line("DEBUG: PKCE added to authorize URL.");
    }
    post_when_idle([=, this, instance = attempt.instance] { show_sign_in_window(*address, instance); });
}

void Application::show_sign_in_window(const std::string& address, std::int32_t instance) {
    if (login_instance != instance)
        return; // the attempt was given up, or succeeded without this window
    hide_login_window();
    std::string error;
    const auto* engine = load_web_engine(error);
    if (engine == nullptr) {
        stop_login_process();
        show_login_error(error);
        return;
    }
    auto* window = new OAuthWindow(*engine); // never deleted
    window->signal_url_captured().connect([this, instance](const std::string& url) {
        if (login_instance == instance) // the page of an attempt that is over may still navigate
            on_auth_response_url_captured(url);
    });
    window->signal_hide().connect([this, instance] {
        if (give_up_sign_in(instance))
            quit();
    });
    add_window(*window);
    window->load_url(address);
    window->show_all();
    window->present();
    login_window = window;
}

// True when the user, not the program, has hidden the window. The attempt is then given up.
bool Application::give_up_sign_in(std::int32_t instance) {
    if (login_instance != instance || redirect_captured || login_window == nullptr)
        return false;
    login_instance = no_attempt;
    stop_login_process();
    return true;
}

void Application::stop_login_process() {
    if (login_pid > 0)
        signal_child(login_pid, SIGTERM);
    login_pid = 0;
}

void Application::on_auth_response_url_captured(const std::string& url) {
    if (redirect_captured)
        return;
    redirect_captured = true;
    const std::string redirect(trimmed(url, white_space));
    print_line("DEBUG: Captured Redirect URI: " + redirect);
    if (pkce_verifier.empty()) {
        hand_back_redirect(redirect);
        set_startup_text("Finalizing login, please wait...");
        return;
    }
    print_line("DEBUG: Using GUI PKCE token exchange.");
    set_startup_text("Completing login, please wait...");
    do_token_exchange(redirect, login_instance);
}

// Usually the sign-in window is in front by now, and this does nothing.
void Application::set_startup_text(const std::string& text) {
    if (auto* startup = dynamic_cast<StartupWindow*>(login_window))
        startup->set_loading_text(text);
}

void Application::hand_back_redirect(const std::string& redirect) {
    if (!login_stdin)
        return;
    print_line("DEBUG: Sending Redirect URI to CLI stdin.");
    g_usleep(pause_before_hand_back); // blocks on purpose, to give the client time to start reading
    try {
        const auto line = redirect + "\n";
        gsize written = 0;
        login_stdin->write(line.data(), static_cast<gssize>(line.size()), written);
        login_stdin->flush();
    } catch (const Glib::Error&) { // NOLINT(bugprone-empty-catch): its exit reports a client that is gone
    }
}

void Application::on_login_exit(const LoginAttempt& attempt, int exit_code) {
    if (login_instance != attempt.instance)
        return;
    login_pid = 0;
    if (gui_exchange_succeeded) { // the program ended the child itself
        gui_exchange_succeeded = false;
        login_instance = no_attempt;
        return;
    }
    if (exit_code == 0 && is_client_token_present()) {
        login_instance = no_attempt; // its page may be open still, and nothing that comes from there counts
        on_login_successful();
    } else if (!attempt.reauth && asks_for_reauth_at_login(login_output)) {
        print_line("DEBUG: Login failed with reauth requirement. Retrying with --reauth...");
        hide_login_window();
        start_login_process(true);
    } else {
        show_login_error("Login failed.\n\nExit Code: " + std::to_string(exit_code) + "\n\nClient Output:\n" +
                         login_output);
    }
}

// Clears the pointer first, so that no hide handler takes the user for having closed the window.
void Application::hide_login_window() {
    if (auto* window = std::exchange(login_window, nullptr))
        window->hide();
}

// Ends the attempt: later results are ignored. When there is no attempt any more it does nothing, so that a
// late error covers neither another error nor a running sync.
void Application::show_login_error(const std::string& details) {
    if (std::exchange(login_instance, no_attempt) == no_attempt)
        return;
    hide_login_window();
    const auto dialog = make_error_dialog(nullptr, "Login Error", details);
    dialog->run();
    dialog->hide();
    close_and_quit();
}

void Application::on_login_successful() {
    config.set("is_logged_in", "true");
    login_window = nullptr;
    for (auto* window : get_windows())
        window->hide();
    show_settings_window();
}
