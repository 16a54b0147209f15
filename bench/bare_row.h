// SPDX-License-Identifier: MIT
// A row of the file list as any program of this toolkit would build it: the widgets of a FileRow (number,
// kind and properties) with no rules, no signals and no file system behind them. What the rows are measured
// against.
#pragma once

#include <gdkmm/pixbuf.h>
#include <gtkmm/box.h>
#include <gtkmm/button.h>
#include <gtkmm/eventbox.h>
#include <gtkmm/image.h>
#include <gtkmm/label.h>
#include <gtkmm/listboxrow.h>
#include <gtkmm/stack.h>
#include <string>

struct BareRow : Gtk::ListBoxRow {
    BareRow(const Glib::RefPtr<Gdk::Pixbuf>& icon, const std::string& name, bool even) : base_icon(icon) {
        image.set(icon);
        box.pack_start(image, Gtk::PACK_SHRINK, 0);
        label.set_text(name);
        label.set_halign(Gtk::ALIGN_START);
        label.set_ellipsize(Pango::ELLIPSIZE_END);
        label.set_single_line_mode(true);
        box.pack_start(label, Gtk::PACK_EXPAND_WIDGET);
        status.set_text("Unknown");
        status.get_style_context()->add_class("dim-label");
        status.set_halign(Gtk::ALIGN_END);
        status.set_hexpand(false);
        status.set_width_chars(12);
        status.set_xalign(1);
        fill_button(open, "folder-open-symbolic", "Open file location");
        fill_button(sync, "view-refresh-symbolic", "Force Sync");
        fill_button(toggle, "folder", "Disable Sync");
        stack.set_transition_type(Gtk::STACK_TRANSITION_TYPE_CROSSFADE);
        stack.set_transition_duration(150);
        stack.add(status, "status");
        stack.add(actions, "actions");
        stack.set_visible_child("status");
        box.pack_start(stack, Gtk::PACK_SHRINK, 0);
        events.add(box);
        add(events);
        get_style_context()->add_class(even ? "even" : "odd");
        show_all();
    }

    void fill_button(Gtk::Button& button, const char* icon, const char* tooltip) {
        auto* shown = Gtk::make_managed<Gtk::Image>();
        shown->set_from_icon_name(icon, Gtk::ICON_SIZE_BUTTON);
        button.add(*shown);
        button.get_style_context()->add_class("image-button");
        button.set_relief(Gtk::RELIEF_NONE);
        button.set_tooltip_text(tooltip);
        actions.pack_start(button, Gtk::PACK_SHRINK, 0);
    }

    Glib::RefPtr<Gdk::Pixbuf> base_icon;
    Gtk::EventBox events;
    Gtk::Box box{Gtk::ORIENTATION_HORIZONTAL, 10};
    Gtk::Image image;
    Gtk::Label label;
    Gtk::Label status;
    Gtk::Stack stack;
    Gtk::Box actions{Gtk::ORIENTATION_HORIZONTAL, 5};
    Gtk::Button open;
    Gtk::Button sync;
    Gtk::Button toggle;
};
