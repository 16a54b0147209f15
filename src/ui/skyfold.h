// SPDX-License-Identifier: MIT
// The main window: the list of the sync folder's entries, the menu bar, the status bar and the tray icon. Its
// members are declared here and defined in several files; each heading names the file. Everything belongs to
// the main loop's thread unless marked otherwise.
#pragma once

#include "base/status_words.h"
#include "sync/activity.h"

#include <gdkmm/pixbuf.h>
#include <gtkmm/accelgroup.h>
#include <gtkmm/box.h>
#include <gtkmm/label.h>
#include <gtkmm/listbox.h>
#include <gtkmm/menu.h>
#include <gtkmm/menubar.h>
#include <gtkmm/overlay.h>
#include <gtkmm/scrolledwindow.h>
#include <gtkmm/statusicon.h>
#include <gtkmm/switch.h>
#include <gtkmm/treemodel.h>
#include <gtkmm/window.h>
#include <map>
#include <memory>
#include <string>

class Application;
class FileRow;

class Skyfold : public Gtk::Window {
  public:
    /// The columns of an entry, reserved for a list with sortable columns; no model uses them yet.
    class ModelColumns : public Gtk::TreeModel::ColumnRecord {
      public:
        ModelColumns() {
            add(icon);
            add(name);
            add(status);
            add(full_path);
        }

        Gtk::TreeModelColumn<Glib::RefPtr<Gdk::Pixbuf>> icon;
        Gtk::TreeModelColumn<Glib::ustring> name;
        Gtk::TreeModelColumn<Glib::ustring> status;
        Gtk::TreeModelColumn<Glib::ustring> full_path;
    };

    // ui/skyfold.cpp: the frame
    /// Builds the window without showing it. `application` may be null.
    Skyfold(Application* application, const std::string& folder);
    ~Skyfold() override { tray_icon.reset(); }
    /// Shows that syncing has started or ended. Update the state of the process first: this moves the switch,
    /// whose handler compares its position with that state.
    void set_sync_status(bool running);
    /// Forgets the unfinished line and the live states of a client whose output is interpreted no more.
    void forget_activity();
    /// Shows and raises the window; a dialog that is open comes in front of it again.
    void show_in_front();
    void on_show_hide();
    void on_quit();
    /// Resets the status cache and refreshes every row.
    void refresh_sync_status();
    void style_list_box_rows();

    // ui/file_list.cpp
    /// Lists the entries of `path`, folders first, in byte order. Called once; the rows stay with the window.
    void populate_file_list(const std::string& path);
    /// Refreshes every row, after a worker has loaded the status cache if that is needed.
    void update_file_statuses_async();

    // ui/status_cache.cpp
    /// Asks the client for all statuses and publishes them as the cache, unless a refresh newer than
    /// `refresh` (see `status_generation`) has begun. Runs the client and blocks; for worker threads.
    static void load_sync_status_cache(unsigned refresh);
    /// The status word for a path relative to the sync folder.
    [[nodiscard]] std::string get_file_sync_status(const std::string& relative_path) const;
    /// Runs the client once with `arguments` (shell text) and returns its standard output, which is empty
    /// when it cannot be started. Blocks; any thread may call it.
    static std::string execute_onedrive_command(const std::string& arguments);

    // ui/row_actions.cpp
    void on_open_location_clicked(const std::string& path);
    void force_sync_file(const std::string& path);
    void on_force_sync_clicked() {} // empty on purpose: the rows call force_sync_file
    void on_file_sync_toggle_clicked(const std::string& path, bool enable);

    // ui/menu_bar.cpp
    void create_menu_bar();
    void on_about();
    bool on_sync_toggle_clicked(bool state);
    bool on_autostart_toggled(bool state);
    void set_autostart_status(bool enabled);
    bool on_notifications_toggled(bool state);
    void set_notification_status(bool enabled);

    // ui/tray_icon.cpp
    void try_create_tray_icon();
    void check_tray_embedding();
    void setup_tray_icon();
    void on_tray_activated();
    void on_tray_right_click(unsigned int button, unsigned int activate_time);
    /// False when the window is hidden and no icon can show it.
    [[nodiscard]] bool is_within_reach() const;

    // sync/activity_interpreter.cpp
    /// Interprets one chunk of the client's output (bytes).
    void notify_sync_activity(const std::string& chunk);

    // sync/notifications.cpp
    void show_sync_complete_notification();
    void show_file_sync_notification(const std::string& filename, bool is_upload);

    // sync/account_removal.cpp
    void on_remove_account();

  protected:
    bool on_delete_event(GdkEventAny* event) override;

  private:
    friend struct SkyfoldProbe; // the tests' way in

    class ActivityOnWindow;

    // ui/skyfold.cpp
    void build_list_area();
    void build_status_bar();
    void build_main_box();

    // ui/file_list.cpp
    void connect_row_menus();
    void append_row(const std::string& folder, const std::string& name,
                    const Glib::RefPtr<Gdk::Pixbuf>& icon);
    void show_refreshed_statuses();

    // ui/menu_bar.cpp
    void add_file_menu();
    Gtk::Switch* add_settings_row(const char* text, Gtk::Label*& state_label);
    void show_initial_settings();
    /// Sets a switch and the text beside it; either may be null.
    static void show_state(Gtk::Switch* shown, Gtk::Label* label, bool state);

    // ui/tray_icon.cpp
    void create_tray_icon_from_file();
    void create_tray_icon_from_theme();
    void create_tray_icon_from_stock();
    void check_tray_embedding_again();
    void go_on_without_tray_icon();

    // ui/row_actions.cpp
    [[nodiscard]] std::string relative_path(const std::string& path) const;
    void change_folder_sync(const std::string& path, bool enable);

    // sync/notifications.cpp
    [[nodiscard]] bool may_notify() const;
    static void send_notification(const std::string& title, const std::string& body);

    ModelColumns columns;
    Application* app = nullptr;
    bool tray_available = false;
    bool tray_given_up = false;
    std::string sync_dir; // absolute, bytes
    StatusMap live_status_map;
    std::string activity_buffer;
    Gtk::Box main_box;
    Gtk::MenuBar menu_bar;
    Gtk::Overlay overlay;
    Gtk::ScrolledWindow scrolled_window;
    Gtk::ListBox file_list_box;
    Gtk::Label status_label;
    Gtk::Menu* settings_menu = nullptr;
    Gtk::MenuItem* settings_menu_item = nullptr;
    Gtk::Switch* sync_switch = nullptr;
    Gtk::Label* sync_state_label = nullptr;
    Gtk::Switch* autostart_switch = nullptr;
    Gtk::Label* autostart_state_label = nullptr;
    Gtk::Switch* notifications_switch = nullptr;
    Gtk::Label* notifications_state_label = nullptr;
    Glib::RefPtr<Gtk::StatusIcon> tray_icon;
    Glib::RefPtr<Gtk::AccelGroup> accel_group;

    PhraseScan activity_scan;                                       // the search through activity_buffer
    std::multimap<std::string, FileRow*, std::less<>> rows_by_name; // the rows of file_list_box by base name
    std::shared_ptr<Skyfold*> alive = std::make_shared<Skyfold*>(this); // workers keep a weak_ptr to it
};
