// SPDX-License-Identifier: MIT
// The least that a program of this toolkit is: one window, hidden. Says so when the main loop is idle first.
#include <glibmm/main.h>
#include <gtkmm/application.h>
#include <gtkmm/window.h>
#include <iostream>

int main() {
    const auto application = Gtk::Application::create("org.skyfold.bare", Gio::APPLICATION_NON_UNIQUE);
    application->hold();
    Gtk::Window* window = nullptr;
    application->signal_activate().connect([&] {
        window = new Gtk::Window(); // owned by the process
        window->set_default_size(600, 400);
        application->add_window(*window);
        Glib::signal_idle().connect_once([] { std::cout << "IDLE" << std::endl; });
    });
    return application->run();
}
