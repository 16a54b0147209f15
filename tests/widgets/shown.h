// SPDX-License-Identifier: MIT
// Writes down what a window is made of, a line for each widget, for comparison with an approved text. What
// the toolkit makes by itself is left out, and so is what hangs on the theme, the fonts or the toolkit's
// release.
#pragma once

#include "table.h"
#include "version.h"

#include <atkmm/object.h>
#include <gtkmm/aboutdialog.h>
#include <gtkmm/icontheme.h>
#include <gtkmm/image.h>
#include <gtkmm/menu.h>
#include <gtkmm/menuitem.h>
#include <gtkmm/messagedialog.h>

/// Of widgets. What has its default value is not told.
inline constexpr std::string_view widget_properties =
    "title program-name version copyright comments license website website-label authors documenters "
    "artists logo-icon-name message-type label text secondary-text use-markup secondary-use-markup "
    "use-underline icon-name icon-size tooltip-text active state sensitive is-focus default-width "
    "default-height border-width window-position modal resizable transient-for accel-widget orientation "
    "spacing homogeneous halign valign hexpand vexpand margin-start margin-end margin-top margin-bottom "
    "width-request height-request xalign width-chars ellipsize wrap wrap-mode single-line-mode selectable "
    "relief right-justified selection-mode hscrollbar-policy vscrollbar-policy shadow-type "
    "visible-child-name transition-type transition-duration editable visibility cursor-visible "
    "truncate-multiline max-length opacity";

inline std::string told(GParamSpec* property, const std::function<void(GValue*)>& read) {
    if (property == nullptr)
        return "";
    GValue value = G_VALUE_INIT;
    read(g_value_init(&value, property->value_type));
    g_autofree char* contents = g_strdup_value_contents(&value);
    const auto text = std::regex_replace(contents, std::regex(R"(\(\(\w+\) (\w+)\))"), "$1"); // of an enum
    const bool is_default = g_param_value_defaults(property, &value) != FALSE;
    g_value_unset(&value);
    return is_default ? "" : std::string(" ") + property->name + "=" + text;
}

/// A picture by the name of the icon that has the same pixels.
inline std::string picture_of(Gtk::Image& image) {
    const auto pixels = [](const Glib::RefPtr<Gdk::Pixbuf>& picture) {
        return std::string(reinterpret_cast<const char*>(picture->get_pixels()), picture->get_byte_length());
    };
    for (const std::string name : {"folder", "text-x-generic", "emblem-synchronizing-symbolic"}) {
        auto icon = Gtk::IconTheme::get_default()->lookup_icon(name, 22, Gtk::ICON_LOOKUP_USE_BUILTIN);
        bool symbolic = false;
        if (pixels(icon.load_symbolic(image.get_style_context(), symbolic)) == pixels(image.get_pixbuf()))
            return " picture=" + name;
    }
    return " picture=(another)";
}

inline std::string line_of(Gtk::Widget& widget) {
    auto* self = widget.gobj();
    auto* parent = widget.get_parent();
    std::string text = G_OBJECT_TYPE_NAME(self) + std::string(widget.get_visible() ? "" : " hidden");
    for_each_piece(widget_properties, ' ', [&](std::string_view piece) {
        const std::string name(piece);
        text += told(g_object_class_find_property(G_OBJECT_GET_CLASS(self), name.c_str()),
                     [&](GValue* value) { g_object_get_property(G_OBJECT(self), name.c_str(), value); });
    });
    for (const char* place : {"expand", "fill", "padding", "pack-type", "name"})
        if (parent != nullptr)
            text += told(
                gtk_container_class_find_child_property(G_OBJECT_GET_CLASS(parent->gobj()), place),
                [&](GValue* value) { gtk_container_child_get_property(parent->gobj(), self, place, value); });
    for (const char* name : {"dim-label", "even", "odd", "image-button"})
        if (widget.get_style_context()->has_class(name))
            text += std::string(" class=") + name;
    auto* image = dynamic_cast<Gtk::Image*>(&widget);
    if (image != nullptr && image->get_storage_type() == Gtk::IMAGE_PIXBUF)
        text += picture_of(*image);
    const std::string name = widget.get_accessible()->get_name();
    const std::string description = widget.get_accessible()->get_description();
    if (!name.empty() && image == nullptr && !GTK_IS_LABEL(self)) // theirs is the toolkit's
        text += " named=" + name;
    if (!description.empty() && description != widget.get_tooltip_text().raw())
        text += " described=" + description;
    return text + "\n";
}

/// The widget and all that the program put into it, menus as well.
inline std::string shown(Gtk::Widget& widget, const std::string& indent = "") {
    std::string text = indent + line_of(widget);
    std::vector<Gtk::Widget*> children;
    auto* dialog = dynamic_cast<Gtk::MessageDialog*>(&widget);
    if (dialog != nullptr) {
        children = dialog->get_message_area()->get_children();
        for (const int answer : {Gtk::RESPONSE_OK, Gtk::RESPONSE_NO, Gtk::RESPONSE_YES})
            if (auto* button = dialog->get_widget_for_response(answer))
                children.push_back(button);
    } else if (auto* inside = dynamic_cast<Gtk::Container*>(&widget);
               inside != nullptr && dynamic_cast<Gtk::AboutDialog*>(inside) == nullptr) {
        children = inside->get_children();
    }
    if (auto* item = dynamic_cast<Gtk::MenuItem*>(&widget); item != nullptr && item->has_submenu())
        children.push_back(item->get_submenu());
    for (auto* child : children)
        text += shown(*child, indent + "  ");
    // Neither addresses nor what the C++ toolkit calls its own types nor the version of the day.
    const std::regex varying(" 0x[0-9a-f]+|(gtkmm__)?Gtk|" SKYFOLD_VERSION);
    return std::regex_replace(text, varying, "");
}

/// The lines that only one of the two has, as a diff marks them.
inline std::string changed_lines(const std::string& before, const std::string& after) {
    std::string changed;
    const auto only_in = [&changed](const char* mark, const std::string& one, const std::string& other) {
        for_each_line(one, [&](std::string_view line) {
            if (!contains("\n" + other, "\n" + std::string(line) + "\n"))
                changed.append(mark).append(line).append("\n");
        });
    };
    only_in("- ", before, after);
    only_in("+ ", after, before);
    return changed;
}
