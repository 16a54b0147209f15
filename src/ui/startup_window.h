// SPDX-License-Identifier: MIT
// A small window with one line of text, shown while a sign-in begins. The login flow sets the text.
#pragma once

#include <gtkmm/box.h>
#include <gtkmm/label.h>
#include <gtkmm/window.h>
#include <string>

class StartupWindow : public Gtk::Window {
  public:
    /// Builds the window without showing it.
    StartupWindow() {
        set_title("Skyfold");
        set_default_size(300, 100);
        set_border_width(10);
        set_position(Gtk::WIN_POS_CENTER);
        main_box.pack_start(status_label, Gtk::PACK_SHRINK, 0);
        add(main_box);
        show_all_children();
    }

    void set_loading_text(const std::string& text) { status_label.set_text(text); }

  private:
    Gtk::Label status_label{"Checking OneDrive status..."};
    Gtk::Box main_box{Gtk::ORIENTATION_VERTICAL, 10};
};
