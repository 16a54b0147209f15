// SPDX-License-Identifier: MIT
#include "ui/skyfold.h"

#include "app/application.h"
#include "base/print.h"
#include "ui/dialogs.h"
#include "ui/status_cache.h"

#include <glibmm/main.h>
#include <gtkmm/main.h>
#include <gtkmm/separator.h>

static constexpr unsigned tray_delay = 1000; // ms

Skyfold::Skyfold(Application* application, const std::string& folder)
    : app(application), sync_dir(folder), main_box(Gtk::ORIENTATION_VERTICAL) {
    print_line("DEBUG: Skyfold constructor - START");
    set_title("Skyfold");
    set_default_size(600, 400);
    set_border_width(10);
    print_line("DEBUG: Window properties set");
    build_list_area();

    print_line("DEBUG: About to create menu bar...");
    accel_group = Gtk::AccelGroup::create();
    add_accel_group(accel_group);
    create_menu_bar();
    print_line("DEBUG: Menu bar created");
    build_main_box();

    print_line("DEBUG: Scheduling tray icon creation...");
    Glib::signal_timeout().connect_once(sigc::mem_fun(*this, &Skyfold::try_create_tray_icon), tray_delay);
    print_line("DEBUG: Preparing children (but not showing window)...");
    show_all_children(); // so that the window is complete when it is shown later
    hide();
    update_file_statuses_async();
    print_line("DEBUG: Skyfold constructor - END");
}

void Skyfold::build_list_area() {
    file_list_box.set_selection_mode(Gtk::SELECTION_NONE);
    connect_row_menus();
    print_line("DEBUG: ListBox created");
    print_line("DEBUG: About to populate file list...");
    populate_file_list(sync_dir);
    print_line("DEBUG: File list populated");
    scrolled_window.add(file_list_box);
    scrolled_window.set_policy(Gtk::POLICY_AUTOMATIC, Gtk::POLICY_AUTOMATIC);
    print_line("DEBUG: ScrolledWindow configured");
    overlay.add(scrolled_window);
    print_line("DEBUG: Overlay configured");
}

void Skyfold::build_main_box() {
    main_box.pack_start(menu_bar, Gtk::PACK_SHRINK);
    main_box.pack_start(overlay, Gtk::PACK_EXPAND_WIDGET);
    build_status_bar();
    print_line("DEBUG: Main box configured");
    add(main_box);
    print_line("DEBUG: Main box added to window");
}

void Skyfold::build_status_bar() {
    status_label.set_text("Sync: Idle");
    status_label.set_halign(Gtk::ALIGN_START);
    status_label.set_ellipsize(Pango::ELLIPSIZE_END); // otherwise a long path would widen the window for good
    status_label.set_margin_start(6);
    status_label.set_margin_top(3);
    status_label.set_margin_bottom(3);
    auto* status_bar = Gtk::make_managed<Gtk::Box>(Gtk::ORIENTATION_HORIZONTAL);
    status_bar->get_style_context()->add_class("dim-label");
    status_bar->pack_start(status_label, Gtk::PACK_SHRINK);
    main_box.pack_end(*status_bar, Gtk::PACK_SHRINK);
    main_box.pack_end(*Gtk::make_managed<Gtk::Separator>(Gtk::ORIENTATION_HORIZONTAL), Gtk::PACK_SHRINK);
}

void Skyfold::set_sync_status(bool running) {
    show_state(sync_switch, sync_state_label, running);
    if (!running)
        live_status_map.clear();
    status_label.set_text(running ? "Sync: Starting..." : "Sync: Stopped");
}

void Skyfold::forget_activity() {
    live_status_map.clear();
    activity_buffer.clear();
    activity_scan = {};
}

bool Skyfold::on_delete_event(GdkEventAny* /*event*/) {
    if (tray_icon && tray_icon->is_embedded()) {
        hide();
        return true;
    }
    on_quit();
    return false;
}

void Skyfold::show_in_front() {
    show();
    present();
    for (auto* dialog : open_dialogs()) // modal, and without an answer behind the window
        dialog->present();
}

void Skyfold::on_show_hide() {
    if (is_visible())
        hide();
    else
        show_in_front();
}

void Skyfold::on_quit() {
    if (app != nullptr)
        app->close_and_quit();
    else
        Gtk::Main::quit();
}

void Skyfold::refresh_sync_status() {
    forget_status_cache();
    update_file_statuses_async();
}

void Skyfold::style_list_box_rows() {
    bool even = true;
    for (auto* row : file_list_box.get_children()) {
        const auto style = row->get_style_context();
        style->remove_class("even");
        style->remove_class("odd");
        style->add_class(even ? "even" : "odd");
        even = !even;
    }
}
