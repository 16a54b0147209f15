// SPDX-License-Identifier: MIT
#include "isolated_toolkit.h"

#include <gtest/gtest.h>
#include <gtkmm/settings.h>
#include <string>

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (!start_isolated_toolkit())
        return EXIT_FAILURE;
    setenv("PATH", (CLIENT_FOLDER ":" + std::string(std::getenv("PATH"))).c_str(), 1); // the scripted client
    const auto settings = Gtk::Settings::get_default();
    settings->property_gtk_enable_animations() = false;   // else a hidden switch would never flip
    settings->property_gtk_icon_theme_name() = "hicolor"; // without icons of its own: the program's are found
    return RUN_ALL_TESTS();
}
