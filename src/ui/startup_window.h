// SPDX-License-Identifier: MIT
// A small window with one line of text, shown while a sign-in gets under way. The texts are the login flow's.
#pragma once

#include <gtkmm/box.h>
#include <gtkmm/label.h>
#include <gtkmm/window.h>
#include <string>

class StartupWindow : public Gtk::Window {
  public:
    /// Builds the window; does not show it.
    StartupWindow();

    void set_loading_text(const std::string& text);

  private:
    Gtk::Label status_label;
    Gtk::Box main_box;
};
