// SPDX-License-Identifier: MIT
// Starts the toolkit as the program does, and only where it can reach nothing of the person's: the supervisor
// kills clients.
#pragma once

#include "app/toolkit.h"
#include "process/process_setup.h"

#include <cstdlib>
#include <gtkmm/main.h>
#include <iostream>

/// False, with a printed line, outside scripts/isolate; false as well when there is no display.
inline bool start_isolated_toolkit() {
    if (std::getenv("SKYFOLD_ISOLATED") == nullptr) {
        std::cerr << "Run this through scripts/isolate.\n";
        return false;
    }
    prepare_process();
    if (!open_display())
        return false;
    Gtk::Main::init_gtkmm_internals();
    install_style();
    return true;
}
