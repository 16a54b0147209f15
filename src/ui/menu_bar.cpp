// SPDX-License-Identifier: MIT
#include "app/application.h"
#include "ui/skyfold.h"
#include "version.h"

#include <atkmm/object.h>
#include <gtkmm/aboutdialog.h>
#include <gtkmm/image.h>
#include <gtkmm/menuitem.h>

namespace {
const char* on_or_off(bool state) {
    return state ? "ON" : "OFF";
}

// A press anywhere on the row flips its switch once. The keyboard and a screen reader activate the row, which
// does the same. The release is swallowed: it would activate the row again and close the menu before the flip
// is seen. The switch's own activation is not used: its animation needs the menu to stay open.
void make_row_flip(Gtk::MenuItem& row, Gtk::Switch& row_switch) {
    const auto flip = [&row_switch] { row_switch.set_active(!row_switch.get_active()); };
    row.signal_button_press_event().connect(
        [flip](GdkEventButton* event) {
            if (event->type == GDK_BUTTON_PRESS) // a double click sends two of these and an event of its own
                flip();
            return true;
        },
        true);
    row.signal_button_release_event().connect([](GdkEventButton* /*event*/) { return true; }, false);
    row.signal_activate().connect(flip);
}
} // namespace

void Skyfold::create_menu_bar() {
    add_file_menu();
    settings_menu = Gtk::make_managed<Gtk::Menu>();
    settings_menu_item = Gtk::make_managed<Gtk::MenuItem>();
    auto* image = Gtk::make_managed<Gtk::Image>();
    image->set_from_icon_name("applications-system", Gtk::ICON_SIZE_MENU);
    settings_menu_item->add(*image);
    settings_menu_item->set_submenu(*settings_menu);
    settings_menu_item->set_tooltip_text("Settings");
    settings_menu_item->get_accessible()->set_name("Settings");

    sync_switch = add_settings_row("Enable Sync", sync_state_label);
    autostart_switch = add_settings_row("Start on login", autostart_state_label);
    notifications_switch = add_settings_row("Enable Notifications", notifications_state_label);
    show_initial_settings(); // before the handlers are connected, so that none runs
    sync_switch->signal_state_set().connect(sigc::mem_fun(*this, &Skyfold::on_sync_toggle_clicked), false);
    autostart_switch->signal_state_set().connect(sigc::mem_fun(*this, &Skyfold::on_autostart_toggled), false);
    notifications_switch->signal_state_set().connect(sigc::mem_fun(*this, &Skyfold::on_notifications_toggled),
                                                     false);
    settings_menu_item->set_right_justified(true);
    menu_bar.append(*settings_menu_item);
}

void Skyfold::add_file_menu() {
    struct Item {
        const char* label;
        void (Skyfold::*handler)();
        guint key;
    };
    // Plain letters that the menu does not show, on purpose: the labels underline the same letters.
    constexpr std::array<Item, 3> items = {{
        {"_About", &Skyfold::on_about, GDK_KEY_a},
        {"_Remove Account", &Skyfold::on_remove_account, GDK_KEY_r},
        {"_Quit", &Skyfold::on_quit, GDK_KEY_q},
    }};
    auto* file_item = Gtk::make_managed<Gtk::MenuItem>("_File", true);
    auto* file_menu = Gtk::make_managed<Gtk::Menu>();
    file_item->set_submenu(*file_menu);
    file_item->add_accelerator("activate", accel_group, GDK_KEY_f, Gdk::MOD1_MASK, Gtk::AccelFlags{});
    for (const auto& item : items) {
        auto* entry = Gtk::make_managed<Gtk::MenuItem>(item.label, true);
        entry->signal_activate().connect(sigc::mem_fun(*this, item.handler));
        entry->add_accelerator("activate", accel_group, item.key, Gdk::ModifierType{}, Gtk::AccelFlags{});
        // Otherwise the label would announce the hidden accelerator as "-/-".
        gtk_accel_label_set_accel_widget(GTK_ACCEL_LABEL(entry->get_child()->gobj()), nullptr);
        file_menu->append(*entry);
    }
    menu_bar.append(*file_item);
}

void Skyfold::show_state(Gtk::Switch* shown, Gtk::Label* label, bool state) {
    if (shown != nullptr)
        shown->set_active(state);
    if (label != nullptr)
        label->set_text(on_or_off(state));
}

Gtk::Switch* Skyfold::add_settings_row(const char* text, Gtk::Label*& state_label) {
    auto* row = Gtk::make_managed<Gtk::MenuItem>();
    auto* box = Gtk::make_managed<Gtk::Box>(Gtk::ORIENTATION_HORIZONTAL, 10);
    auto* label = Gtk::make_managed<Gtk::Label>(text, Gtk::ALIGN_START);
    auto* row_switch = Gtk::make_managed<Gtk::Switch>();
    auto* state = Gtk::make_managed<Gtk::Label>();
    state->set_width_chars(4); // "ON" is narrower than "OFF"; this keeps the switches in line
    box->pack_start(*label, true, true, 0);
    box->pack_start(*row_switch, false, false);
    box->pack_start(*state, false, false);
    row->add(*box);
    // A screen reader reads the menu item, but not the widgets in it.
    row->get_accessible()->set_name(text);
    state->property_label().signal_changed().connect(
        [row, state] { row->get_accessible()->set_description(state->get_text()); });
    make_row_flip(*row, *row_switch);
    settings_menu->append(*row);
    state_label = state;
    return row_switch;
}

void Skyfold::show_initial_settings() {
    if (app == nullptr)
        return;
    show_state(sync_switch, sync_state_label, app->is_sync_running());
    show_state(autostart_switch, autostart_state_label, app->is_autostart_enabled());
    show_state(notifications_switch, notifications_state_label, app->are_notifications_enabled());
}

bool Skyfold::on_sync_toggle_clicked(bool state) {
    if (app == nullptr)
        return false;
    if (state != app->is_sync_running())
        app->toggle_sync();
    sync_state_label->set_text(on_or_off(state));
    return false;
}

// These two flip the stored preference instead of storing `state`, on purpose: the switch starts with the
// preference's value, and only the user moves it.
bool Skyfold::on_autostart_toggled(bool state) {
    if (app != nullptr)
        app->toggle_autostart();
    autostart_state_label->set_text(on_or_off(state));
    return false;
}

bool Skyfold::on_notifications_toggled(bool state) {
    if (app != nullptr)
        app->toggle_notifications();
    notifications_state_label->set_text(on_or_off(state));
    return false;
}

// Nothing calls these two. They do not block the handlers, on purpose: moving a switch flips its setting.
void Skyfold::set_autostart_status(bool enabled) {
    show_state(autostart_switch, autostart_state_label, enabled);
}

void Skyfold::set_notification_status(bool enabled) {
    show_state(notifications_switch, notifications_state_label, enabled);
}

void Skyfold::on_about() {
    Gtk::AboutDialog about;
    about.set_transient_for(*this);
    about.set_program_name("Skyfold");
    about.set_version(SKYFOLD_VERSION);
    about.set_comments("A GUI for the OneDrive Linux Client.\n\n"
                       "It uses the onedrive command-line client "
                       "(packaged with this application as 'onedrive-cli' to avoid conflicts).");
    about.set_website("https://github.com/abraunegg/onedrive");
    about.set_website_label("OneDrive Client for Linux");
    about.set_authors({"The Skyfold developers"});
    about.set_logo_icon_name("applications-internet");
    about.run();
}
