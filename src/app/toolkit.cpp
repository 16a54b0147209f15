// SPDX-License-Identifier: MIT
#include "app/toolkit.h"

#include "base/print.h"

#include <cstdlib>
#include <gdkmm/screen.h>
#include <gtkmm/cssprovider.h>
#include <gtkmm/icontheme.h>
#include <gtkmm/settings.h>
#include <gtkmm/stylecontext.h>
#include <gtkmm/window.h>

bool open_display() {
    // When the toolkit opens a display it looks for OpenGL, and maps a driver of some 50 MB that nothing here
    // draws with, not even the sign-in page. The variable prevents that; children must not inherit it.
    const bool chosen_by_user = std::getenv("GDK_GL") != nullptr;
    if (!chosen_by_user)
        setenv("GDK_GL", "disable", 1);
    // Prefers X11, unless GDK_BACKEND says otherwise: Wayland has no icons in the notification area.
    gdk_set_allowed_backends("x11,*");
    const bool opened = gtk_init_check(nullptr, nullptr);
    if (!chosen_by_user)
        unsetenv("GDK_GL");
    return opened;
}

void install_style() {
    for (const char* sheet : {"/org/skyfold/style/list.css", "/org/skyfold/style/menu.css"}) {
        const auto provider = Gtk::CssProvider::create();
        provider->load_from_resource(sheet);
        Gtk::StyleContext::add_provider_for_screen(Gdk::Screen::get_default(), provider,
                                                   GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
    }
    // Fallback icons, searched after every theme, for names that some themes lack.
    gtk_icon_theme_add_resource_path(Gtk::IconTheme::get_default()->gobj(), "/org/skyfold/icons");
    Gtk::Window::set_default_icon_name("org.skyfold");
}

void apply_toolkit_settings() {
    try {
        const auto settings = Gtk::Settings::get_default();
        settings->property_gtk_icon_theme_name() = "oxygen";
        settings->property_gtk_enable_mnemonics() = true;
    } catch (const Glib::Exception& error) {
        print_error("Failed to set GTK settings: " + error.what().raw());
    }
}
