// SPDX-License-Identifier: MIT
#include "app/application.h"
#include "base/files.h"
#include "base/print.h"
#include "base/text.h"
#include "process/client_files.h"
#include "process/shell_command.h"
#include "ui/skip_dir.h"
#include "ui/skyfold.h"

#include <cstdlib>
#include <glibmm/fileutils.h>
#include <glibmm/miscutils.h>
#include <glibmm/shell.h>
#include <glibmm/uriutils.h>
#include <numeric>
#include <stdexcept>
#include <vector>

namespace {
bool run_command(const std::string& command) {
    return std::system(command.c_str()) == 0;
}

bool is_folder(const std::string& path) {
    return Glib::file_test(path, Glib::FILE_TEST_IS_DIR);
}

bool open_folder(const std::string& folder) {
    return run_command("xdg-open \"" + inside_double_quotes(folder) + "\"");
}

// Percent-encodes what dbus-send cannot carry: commas, at which it splits an array, and all of a path that
// is not ASCII if some of it is not UTF-8, which it rejects. The file manager decodes them.
std::string path_for_dbus_send(const std::string& path) {
    std::string kept(127, ' ');
    std::iota(kept.begin(), kept.end(), '\1');
    std::erase(kept, ',');
    return Glib::uri_escape_string(path, kept, Glib::ustring(path).validate());
}

bool show_in_file_manager(const std::string& path) {
    return run_command("dbus-send --session --dest=org.freedesktop.FileManager1 --type=method_call "
                       "/org/freedesktop/FileManager1 org.freedesktop.FileManager1.ShowItems "
                       "array:string:\"file://" +
                       inside_double_quotes(path_for_dbus_send(path)) + R"(" string:"")");
}

void open_location(const std::string& path) {
    if (is_folder(path)) {
        if (!open_folder(path))
            print_error("Failed to open directory: " + path);
        return;
    }
    const auto parent = Glib::path_get_dirname(path);
    if (Glib::file_test(path, Glib::FILE_TEST_EXISTS)) {
        if (!show_in_file_manager(path) && !open_folder(parent))
            print_error("Failed to open file location: " + path);
    } else if (is_folder(parent) && !open_folder(parent)) {
        print_error("Failed to open parent directory: " + parent);
    }
}

// Adds `value` to the list of `key` in the client's configuration file, or removes it. Throws when `HOME` is
// unset, when the file cannot be read or when `value` contains a line end. When the file cannot be written,
// prints an error and returns false. None of these failures changes the file.
bool modify_onedrive_config(const std::string& key, const std::string& value, bool add) {
    const auto path = client_file("config");
    if (!path)
        throw std::runtime_error("HOME is not set");
    std::string error;
    const auto text = read_file(*path, error);
    if (!text && !error.empty())
        throw std::runtime_error("could not read all of " + *path + ": " + error);
    std::vector<std::string> lines;
    for_each_line(text.value_or(""), [&lines](std::string_view line) { lines.emplace_back(line); });
    const auto edited = edit_list(std::move(lines), key, value, add);
    if (!edited)
        return true;
    std::string content;
    for (const auto& line : *edited)
        content.append(line).append("\n");
    return write_client_file("config", content);
}
} // namespace

// Compares only the beginning ("/home/u/Cloud2/x" counts as below "/home/u/Cloud"): rows are always below.
std::string Skyfold::relative_path(const std::string& path) const {
    if (!path.starts_with(sync_dir))
        return path;
    const auto rest = path.substr(sync_dir.size());
    return rest.starts_with('/') ? rest.substr(1) : rest;
}

void Skyfold::on_open_location_clicked(const std::string& path) {
    try {
        if (!path.empty())
            open_location(path);
    } catch (const std::exception& error) {
        print_error(std::string("Error opening location: ") + error.what());
    }
}

void Skyfold::force_sync_file(const std::string& path) {
    try {
        // Blocks until the client has finished; the window does not respond meanwhile.
        execute_onedrive_command("--synchronize --single-directory " +
                                 Glib::shell_quote(relative_path(path)));
        refresh_sync_status();
    } catch (const std::exception& error) {
        print_error(std::string("Error forcing sync: ") + error.what());
    }
}

void Skyfold::on_file_sync_toggle_clicked(const std::string& path, bool enable) {
    try {
        change_folder_sync(path, enable);
    } catch (const std::exception& error) {
        print_error(std::string("Error toggling sync: ") + error.what());
    }
}

void Skyfold::change_folder_sync(const std::string& path, bool enable) {
    const auto relative = relative_path(path);
    if (relative.empty()) {
        print_error("Cannot toggle sync for root directory");
        return;
    }
    const bool stored = modify_onedrive_config("skip_dir", relative, !enable);
    print_line((enable ? "Removed from skip_dir: " : "Added to skip_dir: ") + relative);
    if (app != nullptr && app->is_sync_running()) {
        print_line("Restarting sync process to apply config changes...");
        app->quit_sync_process();
        // Nothing runs now, so this starts the client again. A client that was still starting has not been
        // stopped; it reads the new configuration anyway.
        if (!app->is_sync_running())
            app->toggle_sync();
    }
    refresh_sync_status();
    if (stored && app != nullptr && app->are_notifications_enabled())
        send_notification("Sync Settings Changed", (enable ? "Enabled sync for " : "Disabled sync for ") +
                                                       Glib::path_get_basename(path));
}
