// SPDX-License-Identifier: MIT
#include "ui/settings_window.h"

#include "app/autostart_entry.h"
#include "app/config_manager.h"
#include "base/files.h"
#include "ui/display_text.h"

static const char* flag(bool value) {
    return value ? "true" : "false";
}

SettingsWindow::SettingsWindow()
    : prompt_label("Please confirm the location to sync your OneDrive files."),
      start_sync_button("Start Sync"), main_box(Gtk::ORIENTATION_VERTICAL, 10) {
    set_title("Configure Sync Directory");
    set_default_size(500, 150);
    set_border_width(10);
    sync_dir_entry.property_truncate_multiline() = true; // a setting is one line
    sync_dir_entry.set_text(display_text(get_default_sync_dir()));

    // The two rows are destroyed when this constructor ends, with their labels. The switches stay, but
    // without a parent and never shown, on purpose: only the effect of their handlers below is wanted.
    Gtk::Box autostart_row(Gtk::ORIENTATION_HORIZONTAL, 5);
    Gtk::Box notifications_row(Gtk::ORIENTATION_HORIZONTAL, 5);
    main_box.pack_start(prompt_label, Gtk::PACK_SHRINK, 0);
    main_box.pack_start(sync_dir_entry, Gtk::PACK_SHRINK, 0);
    add_switch_row("Start on login", autostart_row, autostart_switch);
    add_switch_row("Enable Notifications", notifications_row, notifications_switch);
    main_box.pack_start(start_sync_button, Gtk::PACK_SHRINK, 0);
    add(main_box);

    start_sync_button.signal_clicked().connect(sigc::mem_fun(*this, &SettingsWindow::on_confirm_clicked));
    autostart_switch.property_active().signal_changed().connect(
        sigc::mem_fun(*this, &SettingsWindow::on_autostart_toggled));
    notifications_switch.property_active().signal_changed().connect(
        sigc::mem_fun(*this, &SettingsWindow::on_notifications_toggled));

    // Set after the handlers are connected, on purpose: a switch that is turned on here writes its setting.
    const ConfigManager config;
    autostart_switch.set_active(config.get("autostart") == "true");
    notifications_switch.set_active(config.get("notifications") != "false");
    show_all_children();
}

void SettingsWindow::add_switch_row(const char* text, Gtk::Box& row, Gtk::Switch& row_switch) {
    row.pack_start(*Gtk::make_managed<Gtk::Label>(text), Gtk::PACK_SHRINK, 0);
    row.pack_start(row_switch, Gtk::PACK_SHRINK, 0);
    main_box.pack_start(row, Gtk::PACK_SHRINK, 0);
}

std::string SettingsWindow::get_default_sync_dir() {
    return expand_path("~/OneDrive").value_or("");
}

// An unchanged proposal is emitted as its own bytes, not as the text shown: a home folder need not be UTF-8.
void SettingsWindow::on_confirm_clicked() {
    const auto typed = sync_dir_entry.get_text().raw();
    const auto proposed = get_default_sync_dir();
    m_signal_sync_started.emit(typed == display_text(proposed).raw() ? proposed : typed);
}

void SettingsWindow::on_autostart_toggled() {
    const bool enabled = autostart_switch.get_active();
    ConfigManager().set("autostart", flag(enabled));
    set_autostart(enabled);
}

// The rest of the program reads "notifications_enabled". The two keys are never reconciled, on purpose.
void SettingsWindow::on_notifications_toggled() {
    ConfigManager().set("notifications", flag(notifications_switch.get_active()));
}

void SettingsWindow::set_autostart(bool enable) {
    write_autostart_entry(enable);
}
