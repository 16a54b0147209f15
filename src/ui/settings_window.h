// SPDX-License-Identifier: MIT
// Asks a person who has just signed in for the folder to synchronise. The application stores it and starts.
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
    /// Builds the window; does not show it. Switches that start on run their handlers, and so write what they
    /// stand for, before the window is seen.
    SettingsWindow();

    /// Emitted with the folder as it was typed, or as the file system has it while the proposal stands.
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
