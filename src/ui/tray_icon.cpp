// SPDX-License-Identifier: MIT
#include "app/application.h"
#include "base/print.h"
#include "ui/skyfold.h"

#include <array>
#include <gdk/gdkx.h>
#include <glibmm/fileutils.h>
#include <glibmm/main.h>
#include <gtkmm/icontheme.h>
#include <gtkmm/stock.h>

namespace {
constexpr const char* icon_file = "/usr/share/icons/hicolor/scalable/apps/onedrive.png";
constexpr std::array theme_icons = {"folder-cloud", "cloud-storage", "network-server", "folder"};
constexpr unsigned first_check_delay = 500;   // ms
constexpr unsigned second_check_delay = 2000; // ms

// On Wayland no icon can be embedded, and the toolkit warns of each image; there the icon has none.
template<typename Create>
Glib::RefPtr<Gtk::StatusIcon> make_icon(Create create) {
    if (GDK_IS_X11_DISPLAY(gdk_display_get_default()))
        return create();
    return Glib::wrap(static_cast<GtkStatusIcon*>(g_object_new(Gtk::StatusIcon::get_type(), nullptr)));
}

void print_embedded(const Glib::RefPtr<Gtk::StatusIcon>& icon) {
    print_line(std::string("DEBUG: Tray icon is_embedded: ") + (icon->is_embedded() ? "true" : "false"));
}

// Runs one step of the icon's creation. An exception is printed after `failure`, and the result is false.
template<typename Step>
bool attempt(const std::string& failure, Step step) {
    try {
        step();
        return true;
    } catch (const Glib::Exception& error) {
        print_error(failure + error.what().raw());
    } catch (const std::exception& error) {
        print_error(failure + error.what());
    }
    return false;
}
} // namespace

void Skyfold::try_create_tray_icon() {
    const bool finished = attempt("ERROR: Unhandled exception in try_create_tray_icon: ", [this] {
        print_line("DEBUG: try_create_tray_icon() called");
        print_line("DEBUG: Checking if system tray is available...");
        create_tray_icon_from_file();
        if (!tray_icon)
            create_tray_icon_from_theme();
        if (!tray_icon)
            create_tray_icon_from_stock();
        if (!tray_icon) {
            print_error("ERROR: Tray icon creation failed completely.");
            return;
        }
        print_line("DEBUG: Tray icon object created successfully");
        print_embedded(tray_icon);
        print_line("DEBUG: Scheduling embedding check in 500ms...");
        Glib::signal_timeout().connect_once(sigc::mem_fun(*this, &Skyfold::check_tray_embedding),
                                            first_check_delay);
    });
    if (!finished || !tray_icon)
        go_on_without_tray_icon();
}

void Skyfold::create_tray_icon_from_file() {
    const std::string path = icon_file;
    print_line("DEBUG: Checking for custom icon at: " + path);
    if (!Glib::file_test(path, Glib::FILE_TEST_EXISTS)) {
        print_line("DEBUG: Custom icon file not found");
        return;
    }
    attempt("ERROR: Exception creating tray icon from file: ", [this, &path] {
        set_icon_from_file(path);
        tray_icon = make_icon([&] { return Gtk::StatusIcon::create_from_file(path); });
        print_line("DEBUG: Tray icon created from file: " + path);
    });
}

void Skyfold::create_tray_icon_from_theme() {
    print_line("DEBUG: Trying theme icons...");
    for (const std::string name : theme_icons) {
        attempt("ERROR: Exception creating icon from theme '" + name + "': ", [this, &name] {
            print_line("DEBUG: Checking theme icon: " + name);
            if (!Gtk::IconTheme::get_default()->has_icon(name)) {
                print_line("DEBUG: Theme does not have icon: " + name);
                return;
            }
            print_line("DEBUG: Theme has icon: " + name);
            tray_icon = make_icon([&] { return Gtk::StatusIcon::create(name); });
            print_line("DEBUG: Tray icon created from theme icon: " + name);
        });
        if (tray_icon)
            return;
    }
}

// A reserve: GTK and our own fallback icons both have "folder", so one of the names above is found.
void Skyfold::create_tray_icon_from_stock() {
    print_line("DEBUG: Trying stock icon...");
    attempt("ERROR: Exception creating tray icon from stock: ", [this] {
        tray_icon = make_icon([] { return Gtk::StatusIcon::create(Gtk::StockID(Gtk::Stock::NETWORK)); });
        print_line("DEBUG: Tray icon created from stock icon.");
    });
}

void Skyfold::check_tray_embedding() {
    print_line("DEBUG: check_tray_embedding() called");
    if (!tray_icon) {
        print_error("ERROR: No tray icon object exists");
        go_on_without_tray_icon();
        return;
    }
    print_embedded(tray_icon);
    if (tray_icon->is_embedded()) {
        print_line("DEBUG: Tray icon embedded successfully!");
        setup_tray_icon();
        return;
    }
    print_line("DEBUG: Tray icon not embedded yet, retrying in 2 seconds...");
    Glib::signal_timeout().connect_once(sigc::mem_fun(*this, &Skyfold::check_tray_embedding_again),
                                        second_check_delay);
}

void Skyfold::check_tray_embedding_again() {
    print_line("DEBUG: Second embedding check...");
    if (tray_icon && tray_icon->is_embedded()) {
        print_line("DEBUG: Tray icon embedded on second check!");
        setup_tray_icon();
        return;
    }
    print_error("ERROR: Tray icon failed to embed after retry");
    if (tray_icon)
        print_line("DEBUG: Tray icon object exists but is not embedded");
    go_on_without_tray_icon();
}

// Without an icon nothing can show the window, so it is shown at once; but not in daemon mode: the program
// was started by the login, not by the user.
void Skyfold::go_on_without_tray_icon() {
    tray_icon.reset();
    tray_available = false;
    tray_given_up = true;
    if (app == nullptr || is_within_reach())
        return;
    if (app->is_daemon_mode())
        print_line("There is no notification area for the icon, and so no way to the window. To see it, quit "
                   "Skyfold (pkill -x skyfold) and start it without --daemon.");
    else
        app->activate();
}

bool Skyfold::is_within_reach() const {
    return get_visible() || !tray_given_up;
}

void Skyfold::setup_tray_icon() {
    print_line("DEBUG: setup_tray_icon() called");
    if (!tray_icon) {
        print_error("ERROR: No tray icon to setup");
        return;
    }
    print_line("DEBUG: Setting up tray icon signals and properties...");
    tray_icon->set_tooltip_text("Skyfold - Click to show/hide");
    tray_icon->signal_activate().connect(sigc::mem_fun(*this, &Skyfold::on_tray_activated), true);
    tray_icon->signal_popup_menu().connect(sigc::mem_fun(*this, &Skyfold::on_tray_right_click), true);
    tray_icon->set_visible(true);
    tray_available = true;
    print_line("DEBUG: Tray icon setup complete! Tray should now be visible.");
}

void Skyfold::on_tray_activated() {
    on_show_hide();
}

void Skyfold::on_tray_right_click(unsigned int button, unsigned int activate_time) {
    struct Item {
        const char* label;
        void (Skyfold::*handler)();
    };
    constexpr std::array<Item, 3> items = {
        {{"About", &Skyfold::on_about}, {"Show/Hide", &Skyfold::on_show_hide}, {"Exit", &Skyfold::on_quit}}};
    auto* menu = Gtk::make_managed<Gtk::Menu>(); // a new one each time; the few old ones are not deleted
    for (const auto& item : items) {
        auto* entry = Gtk::make_managed<Gtk::MenuItem>(item.label);
        entry->signal_activate().connect(sigc::mem_fun(*this, item.handler), true);
        menu->append(*entry);
    }
    menu->show_all();
    menu->popup(button, activate_time);
}
