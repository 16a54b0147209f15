// SPDX-License-Identifier: MIT
// Starts the tests of the shell, and only where they can reach nothing of the person's: the supervisor kills
// clients.
#include "app/toolkit.h"
#include "process/process_setup.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <gtkmm/main.h>
#include <gtkmm/settings.h>
#include <iostream>

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (std::getenv("SKYFOLD_ISOLATED") == nullptr) {
        std::cerr << "Run this through scripts/isolate.\n";
        return EXIT_FAILURE;
    }
    prepare_process();
    if (!open_display())
        return EXIT_FAILURE;
    Gtk::Main::init_gtkmm_internals();
    install_style();
    // Else a hidden switch would never flip.
    Gtk::Settings::get_default()->property_gtk_enable_animations() = false;
    return RUN_ALL_TESTS();
}
