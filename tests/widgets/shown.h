// SPDX-License-Identifier: MIT
// Writes down what a window is made of, a line for each widget, for comparison with an approved text. What
// the toolkit makes by itself is left out, and so is what hangs on the theme, the fonts or the toolkit's
// release.
#pragma once

#include "base/text.h"
#include "version.h"

#include <gtkmm/aboutdialog.h>
#include <gtkmm/icontheme.h>
#include <gtkmm/image.h>
#include <gtkmm/menu.h>
#include <gtkmm/menuitem.h>
#include <gtkmm/messagedialog.h>
#include <string>

/// Of widgets; and of their places in their parents. What has its default value is not told.
inline constexpr std::string_view widget_properties =
    "title program-name version copyright comments license website website-label authors documenters "
    "artists logo-icon-name message-type label text secondary-text use-markup secondary-use-markup "
    "use-underline icon-name icon-size tooltip-text active state sensitive default-width "
    "default-height border-width window-position modal resizable transient-for attach-widget "
    "accel-widget orientation spacing homogeneous halign valign hexpand vexpand margin-start "
    "margin-end margin-top margin-bottom width-request height-request xalign width-chars ellipsize "
    "wrap wrap-mode single-line-mode selectable relief right-justified selection-mode "
    "hscrollbar-policy vscrollbar-policy shadow-type visible-child-name transition-type "
    "transition-duration editable visibility cursor-visible truncate-multiline max-length opacity";
inline constexpr std::string_view place_properties = "expand fill padding pack-type name";

inline std::string replaced(std::string text, const std::string& from, const std::string& to) {
    for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

inline std::string type_name(gconstpointer object) {
    return replaced(replaced(G_OBJECT_TYPE_NAME(object), "gtkmm__", ""), "Gtk", "");
}

/// Those properties of a widget, or of its place in its parent, that have not their default value.
inline std::string told(std::string_view names, GtkWidget* widget, GtkWidget* parent) {
    std::string text;
    for_each_piece(names, ' ', [&](std::string_view piece) {
        const std::string name(piece);
        auto* type = G_OBJECT_GET_CLASS(parent != nullptr ? parent : widget);
        auto* found = parent != nullptr ? gtk_container_class_find_child_property(type, name.c_str())
                                        : g_object_class_find_property(type, name.c_str());
        GValue value = G_VALUE_INIT;
        if (found == nullptr)
            return;
        if (g_value_init(&value, found->value_type); parent != nullptr)
            gtk_container_child_get_property(GTK_CONTAINER(parent), widget, name.c_str(), &value);
        else
            g_object_get_property(G_OBJECT(widget), name.c_str(), &value);
        g_autofree char* contents = g_strdup_value_contents(&value);
        if (g_param_value_defaults(found, &value) == FALSE)
            text += " " + name + "=" +
                    (G_VALUE_HOLDS_OBJECT(&value) ? type_name(g_value_get_object(&value))
                     : G_VALUE_HOLDS_ENUM(&value)
                         ? g_enum_get_value(G_PARAM_SPEC_ENUM(found)->enum_class, g_value_get_enum(&value))
                               ->value_nick
                         : contents);
        g_value_unset(&value);
    });
    return text;
}

/// A picture by the name of the icon that has the same pixels.
inline std::string picture_name(GtkWidget* image) {
    if (!GTK_IS_IMAGE(image) || gtk_image_get_storage_type(GTK_IMAGE(image)) != GTK_IMAGE_PIXBUF)
        return "";
    const auto pixels = [](GdkPixbuf* of) {
        return std::string(reinterpret_cast<const char*>(gdk_pixbuf_read_pixels(of)),
                           gdk_pixbuf_get_byte_length(of));
    };
    for (const char* name : {"folder", "text-x-generic", "emblem-synchronizing-symbolic"}) {
        auto icon = Gtk::IconTheme::get_default()->lookup_icon(name, 22, Gtk::ICON_LOOKUP_USE_BUILTIN);
        bool symbolic = false;
        const auto drawn = icon.load_symbolic(Glib::wrap(image)->get_style_context(), symbolic);
        if (pixels(drawn->gobj()) == pixels(gtk_image_get_pixbuf(GTK_IMAGE(image))))
            return std::string(" picture=") + name;
    }
    return " picture=(another)";
}

inline std::string accelerators(GtkWidget* widget) {
    std::string text;
    g_autoptr(GList) closures = gtk_widget_list_accel_closures(widget);
    for (auto* each = closures; each != nullptr; each = each->next) {
        auto* closure = static_cast<GClosure*>(each->data);
        const auto is_it = [](GtkAccelKey*, GClosure* one, gpointer it) -> gboolean { return one == it; };
        const auto* key = gtk_accel_group_find(gtk_accel_group_from_accel_closure(closure), is_it, closure);
        g_autofree char* name = gtk_accelerator_name(key->accel_key, key->accel_mods);
        text += std::string(" key=") + name + ((key->accel_flags & GTK_ACCEL_VISIBLE) == 0 ? "" : " (told)");
    }
    return text;
}

inline std::string line_of(GtkWidget* widget, GtkWidget* parent) {
    auto text = type_name(widget) + (gtk_widget_get_visible(widget) != FALSE ? "" : " hidden");
    text += told(widget_properties, widget, nullptr);
    if (GTK_IS_CONTAINER(parent))
        text += told(place_properties, widget, parent);
    for (const char* name : {"dim-label", "even", "odd", "image-button"})
        if (gtk_style_context_has_class(gtk_widget_get_style_context(widget), name) != FALSE)
            text += std::string(" class=") + name;
    const char* name = atk_object_get_name(gtk_widget_get_accessible(widget));
    const char* description = atk_object_get_description(gtk_widget_get_accessible(widget));
    text += picture_name(widget);
    if (name != nullptr && !GTK_IS_LABEL(widget) && !GTK_IS_IMAGE(widget)) // theirs is the toolkit's
        text += std::string(" named=\"") + name + "\"";
    if (description != nullptr && Glib::wrap(widget)->get_tooltip_text() != description)
        text += std::string(" described=\"") + description + "\"";
    return text + accelerators(widget) + "\n";
}

/// The widget and all that the program put into it, menus as well.
inline std::string shown(Gtk::Widget& widget, const std::string& indent = "", GtkWidget* parent = nullptr) {
    std::string text = indent + line_of(widget.gobj(), parent);
    auto* inside = dynamic_cast<Gtk::Container*>(&widget);
    if (auto* dialog = dynamic_cast<Gtk::MessageDialog*>(&widget)) {
        for (int answer = GTK_RESPONSE_HELP; answer < 0; ++answer)
            if (auto* button = dynamic_cast<Gtk::Button*>(dialog->get_widget_for_response(answer)))
                text += "  [" + button->get_label().raw() + "]" +
                        (dialog->get_focus() == button ? " has the focus\n" : "\n");
        inside = dialog->get_message_area();
    }
    const auto* button = dynamic_cast<Gtk::Button*>(inside);
    const bool made_here = inside != nullptr && dynamic_cast<Gtk::AboutDialog*>(inside) == nullptr &&
                           (button == nullptr || button->get_label().empty());
    auto children = made_here ? inside->get_children() : std::vector<Gtk::Widget*>();
    if (auto* item = dynamic_cast<Gtk::MenuItem*>(&widget); item != nullptr && item->has_submenu())
        children.push_back(item->get_submenu());
    for (auto* child : children)
        text += shown(*child, indent + "  ", widget.gobj());
    return parent != nullptr ? text : replaced(text, SKYFOLD_VERSION, "{version}");
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
