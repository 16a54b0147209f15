// SPDX-License-Identifier: MIT
#include "app/application.h"
#include "base/print.h"
#include "process/client_files.h"
#include "ui/dialogs.h"
#include "ui/skyfold.h"
#include "ui/status_cache.h"

#include <filesystem>

void Skyfold::on_remove_account() {
    const auto sure = make_question_dialog(*this, "Are you sure you want to remove your account?",
                                           "This will log you out and remove your OneDrive credentials.");
    if (sure->run() != Gtk::RESPONSE_YES)
        return;
    sure->hide();
    const auto folder = app != nullptr ? app->get_sync_dir() : std::string();
    const auto files = make_question_dialog(*this, "Do you also want to delete the local OneDrive files?",
                                            folder.empty() ? "" : "This will permanently delete: " + folder);
    const int answer = files->run();
    files->hide();
    if (app != nullptr && answer != Gtk::RESPONSE_NONE)   // NONE: the program is quitting
        app->remove_account(answer == Gtk::RESPONSE_YES); // closing the dialog keeps the files
}

void Application::remove_account(bool delete_local_files) {
    // Then a query that is killed below is not retried, and the end of a killed child is not reported.
    forget_status_cache();
    login_instance = no_attempt;
    current_launch.reset();
    quit_sync_process();
    kill_existing_onedrive_processes();
    const auto folder = config.get("sync_dir");
    if (delete_local_files && !folder.empty()) {
        // With a NUL byte in it, the system would delete the folder named before the byte, not the one shown.
        auto error = std::make_error_code(std::errc::invalid_argument);
        if (folder.find('\0') == std::string::npos)
            std::filesystem::remove_all(folder, error);
        if (error)
            print_error("ERROR: Failed to delete sync directory: " + error.message());
    }
    remove_client_file("refresh_token");
    config.set("is_logged_in", "false");
    config.set("sync_dir", "");
    quit();
}
