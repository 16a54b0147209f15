// SPDX-License-Identifier: MIT
// Asks a user who has just signed in for the folder to sync. The application stores it and starts the sync.
#pragma once

#include <gtkmm/box.h>
#include <gtkmm/button.h>
#include <gtkmm/entry.h>
#include <gtkmm/label.h>
#include <gtkmm/switch.h>
#include <gtkmm/window.h>
#include <string>

class SettingsWindow : public Gtk::Window {
  public:
    /// Builds the window hidden. A switch that starts on runs its handler here and so writes its setting.
    SettingsWindow();

    /// Emitted with the typed folder, or with the bytes of the proposal if it was not changed.
    sigc::signal<void, std::string>& signal_sync_started() { return m_signal_sync_started; }

    /// "~/OneDrive" expanded, or the empty string.
    static std::string get_default_sync_dir();

    /// Writes or removes the autostart entry.
    void set_autostart(bool enable);

  private:
    void add_switch_row(const char* text, Gtk::Box& row, Gtk::Switch& row_switch);
    void on_confirm_clicked();
    void on_autostart_toggled();
    void on_notifications_toggled();

    Gtk::Label prompt_label;
    Gtk::Entry sync_dir_entry;
    Gtk::Button start_sync_button;
    Gtk::Switch autostart_switch;
    Gtk::Switch notifications_switch;
    Gtk::Box main_box;
    sigc::signal<void, std::string> m_signal_sync_started;
};
