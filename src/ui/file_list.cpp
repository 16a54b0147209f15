// SPDX-License-Identifier: MIT
#include "base/print.h"
#include "process/main_loop.h"
#include "ui/file_row.h"
#include "ui/skyfold.h"
#include "ui/status_cache.h"

#include <algorithm>
#include <giomm/fileenumerator.h>
#include <glibmm/miscutils.h>
#include <gtkmm/icontheme.h>
#include <map>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace {
using Icon = Glib::RefPtr<Gdk::Pixbuf>;
using Wanted = Glib::RefPtr<Gio::Icon>;

// The fields that a row needs; a whole `Gio::FileInfo` takes about 3 KiB.
struct Entry {
    std::string name; // bytes
    Wanted icon;      // may be empty
    bool is_folder;
};

// Folders come first; otherwise the order is that of the bytes, whatever the locale.
bool comes_before(const Entry& one, const Entry& other) {
    return one.is_folder != other.is_folder ? one.is_folder : one.name < other.name;
}

std::vector<Entry> read_folder(const std::string& path) {
    std::vector<Entry> entries;
    const auto found = Gio::File::create_for_path(path)->enumerate_children("*", Gio::FILE_QUERY_INFO_NONE);
    while (const auto info = found->next_file())
        entries.push_back(
            {info->get_name(), info->get_icon(), info->get_file_type() == Gio::FILE_TYPE_DIRECTORY});
    std::ranges::sort(entries, comes_before);
    return entries;
}

// Loads the icons of one listing, each only once: many entries share an icon.
class ListIcons {
  public:
    explicit ListIcons(int screen_scale) : scale(screen_scale) {}

    Icon find(const Entry& entry) {
        auto icon = themed(entry);
        return icon ? icon : named(entry.is_folder ? "folder" : "text-x-generic");
    }

  private:
    using Hash = decltype([](const Wanted& icon) { return icon->hash(); });
    using Equal = decltype([](const Wanted& one, const Wanted& other) { return one->equal(other); });

    Icon themed(const Entry& entry) {
        try {
            if (!entry.icon)
                return {};
            auto& known = by_wanted[entry.icon];
            if (!known) {
                const auto found = theme->lookup_icon(Glib::RefPtr<const Gio::Icon>(entry.icon),
                                                      row_icon_size, scale, row_icon_lookup(scale));
                if (found)
                    known = found.load_icon();
            }
            return known;
        } catch (const Glib::Error&) {
            return {};
        }
    }

    // Not guarded: if even these fallback icons are missing, the exception ends the listing.
    Icon named(const char* name) {
        auto& known = by_name[name];
        if (!known)
            known = theme->load_icon(name, row_icon_size, scale,
                                     scale == 1 ? Gtk::IconLookupFlags{} : Gtk::ICON_LOOKUP_FORCE_SIZE);
        return known;
    }

    int scale;
    Glib::RefPtr<Gtk::IconTheme> theme = Gtk::IconTheme::get_default();
    std::unordered_map<Wanted, Icon, Hash, Equal> by_wanted;
    std::map<std::string_view, Icon> by_name;
};
} // namespace

// Opens a row's menu on the menu key or Shift+F10.
void Skyfold::connect_row_menus() {
    const auto show = [this] {
        auto* row = dynamic_cast<FileRow*>(file_list_box.get_focus_child());
        if (row != nullptr)
            row->show_menu();
        return row != nullptr;
    };
    file_list_box.signal_popup_menu().connect(show, false);
}

void Skyfold::populate_file_list(const std::string& path) {
    try {
        ListIcons icons(get_scale_factor());
        for (const auto& entry : read_folder(path))
            append_row(path, entry.name, icons.find(entry));
        style_list_box_rows();
    } catch (const Glib::Exception& error) {
        print_error("Error populating tree view: " + error.what().raw());
    }
}

void Skyfold::append_row(const std::string& folder, const std::string& name,
                         const Glib::RefPtr<Gdk::Pixbuf>& icon) {
    auto* row = Gtk::make_managed<FileRow>(icon, name, get_file_sync_status(name),
                                           Glib::build_filename(folder, name));
    row->signal_open_location.connect(sigc::mem_fun(*this, &Skyfold::on_open_location_clicked));
    row->signal_force_sync.connect(sigc::mem_fun(*this, &Skyfold::force_sync_file));
    row->signal_toggle_sync.connect(sigc::mem_fun(*this, &Skyfold::on_file_sync_toggle_clicked));
    row->show();
    file_list_box.append(*row);
    rows_by_name.emplace(name, row);
}

void Skyfold::update_file_statuses_async() {
    const auto show = [window = std::weak_ptr<Skyfold*>(alive)] {
        if (const auto living = window.lock())
            (*living)->show_refreshed_statuses();
    };
    if (status_cache_loaded()) {
        post_when_idle(show);
        return;
    }
    start_worker([show, refresh = status_generation()] {
        load_sync_status_cache(refresh);
        post_when_idle(show); // the cache that the load has posted arrives first
    });
}

void Skyfold::show_refreshed_statuses() {
    // If it is not loaded, a newer refresh has been requested and this one is stale.
    if (status_cache_loaded()) {
        // A row's name is its path relative to the sync folder.
        for (const auto& [name, row] : rows_by_name)
            row->set_status(get_file_sync_status(name));
    }
    print_line("DEBUG: Async file status update complete.");
}
