// SPDX-License-Identifier: MIT
// What any program of this toolkit costs. Says so when the main loop is idle first.
//   bare          the least there is: one window, hidden
//   bare COUNT    with a list of so many rows in it and, a second later, a status icon: what Skyfold shows
#include "bare_row.h"

#include <cstdlib>
#include <glibmm/main.h>
#include <gtkmm/application.h>
#include <gtkmm/icontheme.h>
#include <gtkmm/listbox.h>
#include <gtkmm/scrolledwindow.h>
#include <gtkmm/settings.h>
#include <gtkmm/statusicon.h>
#include <gtkmm/window.h>
#include <iostream>

namespace {
void add_rows(Gtk::Window& window, int count) {
    Gtk::Settings::get_default()->property_gtk_icon_theme_name() = "oxygen";
    auto* list = Gtk::make_managed<Gtk::ListBox>();
    const auto icon = Gtk::IconTheme::get_default()->load_icon("folder", 22, Gtk::IconLookupFlags{});
    for (int number = 0; number < count; ++number)
        list->append(*Gtk::make_managed<BareRow>(icon, "Entry " + std::to_string(number), number % 2 == 0));
    auto* scrolled = Gtk::make_managed<Gtk::ScrolledWindow>();
    scrolled->add(*list);
    window.add(*scrolled);
    window.show_all_children();
}

void add_status_icon() {
    static Glib::RefPtr<Gtk::StatusIcon> icon;
    icon = Gtk::StatusIcon::create("folder");
}
} // namespace

int main(int argc, char** argv) {
    const int rows = argc > 1 ? static_cast<int>(std::strtol(argv[1], nullptr, 10)) : 0;
    const auto application = Gtk::Application::create("org.skyfold.bare", Gio::APPLICATION_NON_UNIQUE);
    application->hold();
    application->signal_activate().connect([&application, rows] {
        auto* window = new Gtk::Window(); // owned by the process
        window->set_default_size(600, 400);
        if (rows > 0) {
            add_rows(*window, rows);
            Glib::signal_timeout().connect_once(sigc::ptr_fun(add_status_icon), 1000);
        }
        application->add_window(*window);
        Glib::signal_idle().connect_once([] { std::cout << "IDLE" << std::endl; });
    });
    return application->run();
}
