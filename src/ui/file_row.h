// SPDX-License-Identifier: MIT
// One row of the file list: icon, name and status. While the pointer is on the row, three buttons replace the
// status; Shift+F10 opens a menu with the same actions. The row only emits signals with its full path.
#pragma once

#include <gdkmm/pixbuf.h>
#include <gtkmm/box.h>
#include <gtkmm/button.h>
#include <gtkmm/eventbox.h>
#include <gtkmm/icontheme.h>
#include <gtkmm/image.h>
#include <gtkmm/label.h>
#include <gtkmm/listboxrow.h>
#include <gtkmm/menu.h>
#include <gtkmm/stack.h>
#include <memory>
#include <string>

inline constexpr int row_icon_size = 22; // px
/// How to look up a row's icon of that size on a screen of `scale`.
constexpr Gtk::IconLookupFlags row_icon_lookup(int scale) {
    // At scale 1, an icon of nearly that size looks sharper without scaling.
    return scale == 1 ? Gtk::ICON_LOOKUP_USE_BUILTIN
                      : Gtk::ICON_LOOKUP_USE_BUILTIN | Gtk::ICON_LOOKUP_FORCE_SIZE;
}

class FileRow : public Gtk::ListBoxRow {
  public:
    /// The texts may be any bytes. For a screen of scale 2, `icon` has twice as many pixels on each side.
    FileRow(const Glib::RefPtr<Gdk::Pixbuf>& icon, const Glib::ustring& name, const Glib::ustring& status,
            const Glib::ustring& full_path);
    ~FileRow() override;

    /// Shows any text. If it contains "Skipped", the toggle offers "Enable Sync". If it is exactly one of the
    /// four words for a pending or running transfer, the row shows the activity icon. Main thread only.
    void set_status(const Glib::ustring& status);

    /// Shows the three actions as a menu, because the buttons appear only under the pointer.
    void show_menu();

    [[nodiscard]] const std::string& get_full_path() const { return full_path; }
    [[nodiscard]] Glib::ustring get_status_text() const { return status_label.get_text(); }

  protected:
    void on_map() override;
    void on_style_updated() override;

  private:
    friend struct RowProbe; // the tests' way in

    void build_labels(const Glib::RefPtr<Gdk::Pixbuf>& icon, const Glib::ustring& name,
                      const Glib::ustring& status);
    void build_buttons();
    void build_stack();
    void show_toggle(bool skipped);
    void name_for_screen_reader();
    void show_activity_icon();
    [[nodiscard]] GdkRGBA text_colour();
    void on_toggle_clicked();

    bool on_enter(GdkEventCrossing* event);
    bool on_leave(GdkEventCrossing* event);
    void schedule_action_update(bool show);
    bool on_hover_timeout();
    void show_actions();
    void hide_actions();

    Gtk::EventBox event_box;
    Gtk::Box content_box;
    Gtk::Image icon_image;
    Gtk::Label name_label;
    Gtk::Label status_label;
    Gtk::Stack action_stack;
    Gtk::Box action_box;
    Gtk::Button open_button;
    Gtk::Button sync_button;
    Gtk::Button toggle_button;
    Glib::RefPtr<Gdk::Pixbuf> base_icon;
    std::string full_path;
    bool hovered = false;
    sigc::connection hover_timeout;
    std::unique_ptr<Gtk::Menu> menu; // lives until the next one: it must outlast its own signals

  public:
    sigc::signal<void, std::string> signal_open_location;
    sigc::signal<void, std::string> signal_force_sync;
    sigc::signal<void, std::string, bool> signal_toggle_sync; // true: enable

  private:
    bool status_shown = false;   // set_status was called, which also chooses the icon
    bool toggle_enables = false; // toggle_button says "Enable Sync"
    bool activity_shown = false; // icon_image shows the activity icon, in activity_colour
    GdkRGBA activity_colour = {};
};
