// SPDX-License-Identifier: MIT
#include "ui/file_row.h"

#include "base/print.h"
#include "base/status_words.h"
#include "base/text.h"
#include "ui/display_text.h"

#include <algorithm>
#include <array>
#include <atkmm/object.h>
#include <glibmm/main.h>
#include <gtkmm/menuitem.h>

namespace {
constexpr unsigned hover_delay = 100;   // ms
constexpr unsigned fade_duration = 150; // ms
constexpr int status_width = 12;        // characters
constexpr const char* activity_icon = "emblem-synchronizing-symbolic";

constexpr std::array on_its_way = {status_word::uploading, status_word::downloading, status_word::pending,
                                   status_word::syncing};

bool is_skipped(const Glib::ustring& status) {
    return contains(status.raw(), status_word::skipped);
}

bool is_on_its_way(const Glib::ustring& status) {
    return std::ranges::find(on_its_way, std::string_view(status.raw())) != on_its_way.end();
}

// On a scaled screen, an icon of full resolution is shown as a surface, because a pixbuf would be scaled up.
// The surface is made once and stored with the icon, which many rows share.
void show_icon(Gtk::Image& image, const Glib::RefPtr<Gdk::Pixbuf>& icon) {
    const int scale = image.get_scale_factor();
    if (scale == 1 || !icon || std::max(icon->get_width(), icon->get_height()) < row_icon_size * scale) {
        image.set(icon);
        return;
    }
    constexpr const char* key = "skyfold-surface";
    auto* owner = G_OBJECT(icon->gobj());
    auto* surface = static_cast<cairo_surface_t*>(g_object_get_data(owner, key));
    if (surface == nullptr) {
        surface = gdk_cairo_surface_create_from_pixbuf(icon->gobj(), scale, nullptr);
        g_object_set_data_full(owner, key, surface, [](gpointer data) {
            cairo_surface_destroy(static_cast<cairo_surface_t*>(data));
        });
    }
    gtk_image_set_from_surface(image.gobj(), surface);
}

// The tooltip is the only text of such a button, so it is also the name for a screen reader. The name is set
// here if the button is on the screen, otherwise in show_actions.
void set_icon_button_text(Gtk::Button& button, const char* text) {
    button.set_tooltip_text(text);
    if (button.get_mapped())
        button.get_accessible()->set_name(text);
}

// The image is added as a child. As the button's own image it would take half of a row's time: the toolkit
// puts two boxes around it and looks up the style for the gap to a text that does not exist.
Gtk::Image* make_icon_button(Gtk::Button& button) {
    auto* image = Gtk::make_managed<Gtk::Image>();
    button.add(*image);
    button.get_style_context()->add_class("image-button"); // themes make such buttons narrower
    button.set_relief(Gtk::RELIEF_NONE);
    return image;
}

void make_icon_button(Gtk::Button& button, const char* icon, const char* text) {
    make_icon_button(button)->set_from_icon_name(icon, Gtk::ICON_SIZE_BUTTON);
    set_icon_button_text(button, text);
}
} // namespace

FileRow::FileRow(const Glib::RefPtr<Gdk::Pixbuf>& icon, const Glib::ustring& name,
                 const Glib::ustring& status, const Glib::ustring& path)
    : content_box(Gtk::ORIENTATION_HORIZONTAL, 10), action_box(Gtk::ORIENTATION_HORIZONTAL, 5),
      base_icon(icon), full_path(path.raw()) {
    build_labels(icon, name, status);
    build_buttons();
    show_toggle(is_skipped(status));
    build_stack();
    event_box.add(content_box);
    add(event_box);
    event_box.signal_enter_notify_event().connect(sigc::mem_fun(*this, &FileRow::on_enter));
    event_box.signal_leave_notify_event().connect(sigc::mem_fun(*this, &FileRow::on_leave));
    show_all();
}

// Sets the accessible name only now: it is expensive, and not needed before the row is on the screen.
void FileRow::on_map() {
    Gtk::ListBoxRow::on_map();
    name_for_screen_reader();
}

void FileRow::name_for_screen_reader() {
    get_accessible()->set_name(name_label.get_text());
    get_accessible()->set_description(status_label.get_text());
}

FileRow::~FileRow() {
    hover_timeout.disconnect();
}

void FileRow::build_labels(const Glib::RefPtr<Gdk::Pixbuf>& icon, const Glib::ustring& name,
                           const Glib::ustring& status) {
    show_icon(icon_image, icon);
    content_box.pack_start(icon_image, Gtk::PACK_SHRINK, 0);
    name_label.set_text(display_text(name.raw()));
    name_label.set_halign(Gtk::ALIGN_START);
    name_label.set_ellipsize(Pango::ELLIPSIZE_END);
    name_label.set_single_line_mode(true); // a name may contain a line end
    content_box.pack_start(name_label, Gtk::PACK_EXPAND_WIDGET);
    status_label.set_text(display_text(status.raw()));
    status_label.get_style_context()->add_class("dim-label");
    status_label.set_halign(Gtk::ALIGN_END);
    status_label.set_hexpand(false);
    status_label.set_width_chars(status_width);
    status_label.set_xalign(1);
}

void FileRow::build_buttons() {
    make_icon_button(open_button, "folder-open-symbolic", "Open file location");
    open_button.signal_clicked().connect([this] { signal_open_location.emit(full_path); });
    make_icon_button(sync_button, "view-refresh-symbolic", "Force Sync");
    sync_button.signal_clicked().connect([this] { signal_force_sync.emit(full_path); });
    make_icon_button(toggle_button);
    toggle_button.signal_clicked().connect(sigc::mem_fun(*this, &FileRow::on_toggle_clicked));
    for (auto* button : {&open_button, &sync_button, &toggle_button})
        action_box.pack_start(*button, Gtk::PACK_SHRINK, 0);
}

void FileRow::build_stack() {
    action_stack.set_transition_type(Gtk::STACK_TRANSITION_TYPE_CROSSFADE);
    action_stack.set_transition_duration(fade_duration);
    action_stack.add(status_label, "status");
    action_stack.add(action_box, "actions");
    action_stack.set_visible_child("status");
    content_box.pack_start(action_stack, Gtk::PACK_SHRINK, 0);
}

void FileRow::show_toggle(bool skipped) {
    toggle_enables = skipped;
    auto* image = dynamic_cast<Gtk::Image*>(toggle_button.get_child());
    if (image == nullptr)
        return;
    image->set_from_icon_name(skipped ? "emblem-prohibited" : "folder", Gtk::ICON_SIZE_BUTTON);
    set_icon_button_text(toggle_button, skipped ? "Enable Sync" : "Disable Sync");
}

void FileRow::set_status(const Glib::ustring& status) {
    const auto text = display_text(status.raw());
    if (status_shown && text.raw() == status_label.get_text().raw())
        return; // setting the same text would lay out the whole list again
    status_shown = true;
    status_label.set_text(text);
    if (get_mapped())
        name_for_screen_reader();
    if (const bool skipped = is_skipped(text); skipped != toggle_enables)
        show_toggle(skipped);
    activity_shown = is_on_its_way(text);
    if (activity_shown)
        show_activity_icon();
    else
        show_icon(icon_image, base_icon);
}

GdkRGBA FileRow::text_colour() {
    GdkRGBA colour;
    gtk_style_context_get_color(get_style_context()->gobj(), static_cast<GtkStateFlags>(get_state_flags()),
                                &colour);
    return colour;
}

// Redraws the activity icon in the new text colour: the theme may change while the program runs.
void FileRow::on_style_updated() {
    Gtk::ListBoxRow::on_style_updated();
    if (!activity_shown)
        return;
    const auto colour = text_colour();
    if (gdk_rgba_equal(&colour, &activity_colour) == FALSE)
        show_activity_icon();
}

void FileRow::show_activity_icon() {
    activity_colour = text_colour();
    try {
        const int scale = get_scale_factor();
        auto found = Gtk::IconTheme::get_default()->lookup_icon(activity_icon, row_icon_size, scale,
                                                                row_icon_lookup(scale));
        bool was_symbolic = false;
        if (found) {
            show_icon(icon_image, found.load_symbolic(get_style_context(), was_symbolic));
            return;
        }
    } catch (...) { // NOLINT(bugprone-empty-catch): the icon is then set by its name
    }
    icon_image.set_from_icon_name(activity_icon, Gtk::ICON_SIZE_BUTTON);
}

void FileRow::show_menu() {
    menu = std::make_unique<Gtk::Menu>();
    menu->attach_to_widget(*this);
    const auto add = [this](const Gtk::Button& shown, const sigc::slot<void>& chosen) {
        auto* item = Gtk::make_managed<Gtk::MenuItem>(shown.get_tooltip_text());
        item->signal_activate().connect(chosen);
        menu->append(*item);
    };
    add(open_button, [this] { open_button.clicked(); });
    add(sync_button, [this] { sync_button.clicked(); });
    // Does what the item says: the row may show another status by the time the item is chosen.
    add(toggle_button, [this, enable = toggle_enables] { signal_toggle_sync.emit(full_path, enable); });
    menu->show_all();
    menu->popup_at_widget(this, Gdk::GRAVITY_SOUTH_WEST, Gdk::GRAVITY_NORTH_WEST, nullptr);
}

// The action follows from the status that the row shows now, not from the one it was built with.
void FileRow::on_toggle_clicked() {
    const auto text = get_status_text();
    const bool enable = is_skipped(text);
    print_line("DEBUG: Toggle clicked. Status: '" + text.raw() +
               "' -> Action: " + (enable ? "Enable" : "Disable"));
    signal_toggle_sync.emit(full_path, enable);
}

bool FileRow::on_enter(GdkEventCrossing* /*event*/) {
    hovered = true;
    schedule_action_update(true);
    return false;
}

bool FileRow::on_leave(GdkEventCrossing* event) {
    if (event->detail == GDK_NOTIFY_INFERIOR) // the pointer went to one of the row's own buttons
        return false;
    hovered = false;
    schedule_action_update(false);
    return false;
}

// The timer reads `hovered` when it fires, so a quick pass across the row changes nothing.
void FileRow::schedule_action_update(bool /*show*/) {
    hover_timeout.disconnect();
    hover_timeout =
        Glib::signal_timeout().connect(sigc::mem_fun(*this, &FileRow::on_hover_timeout), hover_delay);
}

bool FileRow::on_hover_timeout() {
    if (hovered)
        show_actions();
    else
        hide_actions();
    return false;
}

void FileRow::show_actions() {
    if (!hovered)
        return;
    for (auto* button : {&open_button, &sync_button, &toggle_button})
        button->get_accessible()->set_name(button->get_tooltip_text());
    action_stack.set_visible_child("actions");
}

void FileRow::hide_actions() {
    if (!hovered)
        action_stack.set_visible_child("status");
}
