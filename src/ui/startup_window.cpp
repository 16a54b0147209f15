// SPDX-License-Identifier: MIT
#include "ui/startup_window.h"

StartupWindow::StartupWindow()
    : status_label("Checking OneDrive status..."), main_box(Gtk::ORIENTATION_VERTICAL, 10) {
    set_title("Skyfold");
    set_default_size(300, 100);
    set_border_width(10);
    set_position(Gtk::WIN_POS_CENTER);
    main_box.pack_start(status_label, Gtk::PACK_SHRINK, 0);
    add(main_box);
    show_all_children();
}

void StartupWindow::set_loading_text(const std::string& text) {
    status_label.set_text(text);
}
