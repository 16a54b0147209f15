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
#include <unordered_map>
#include <vector>

namespace {
constexpr int icon_size = 22; // px

using Entry = Glib::RefPtr<Gio::FileInfo>;
using Icon = Glib::RefPtr<Gdk::Pixbuf>;

void sort_by_name(std::vector<Entry>& entries) {
    std::vector<std::pair<std::string, Entry>> named;
    named.reserve(entries.size());
    for (auto& entry : entries)
        named.emplace_back(entry->get_name(), entry);
    // Plain byte order, whatever the locale.
    std::ranges::sort(named, {}, &std::pair<std::string, Entry>::first);
    std::ranges::transform(named, entries.begin(), [](const auto& pair) { return pair.second; });
}

bool is_folder(const Entry& entry) {
    return entry->get_file_type() == Gio::FILE_TYPE_DIRECTORY;
}

// The icons of one listing: many entries share one.
class ListIcons {
  public:
    Icon find(const Entry& entry) {
        auto icon = themed(entry);
        return icon ? icon : named(is_folder(entry) ? "folder" : "text-x-generic");
    }

  private:
    Icon themed(const Entry& entry) {
        try {
            const auto wanted = Glib::RefPtr<const Gio::Icon>(entry->get_icon());
            if (!wanted)
                return {};
            const std::string description = wanted->to_string();
            auto& known = by_description[description];
            if (!known || description.empty()) { // not every icon has a description
                const auto found = theme->lookup_icon(Glib::RefPtr<Gio::Icon>::cast_const(wanted), icon_size,
                                                      Gtk::ICON_LOOKUP_USE_BUILTIN);
                if (found)
                    known = found.load_icon();
            }
            return known;
        } catch (const Glib::Error&) {
            return {};
        }
    }

    // Not guarded: without even these the listing ends.
    Icon named(const char* name) {
        auto& known = by_description[name];
        if (!known)
            known = theme->load_icon(name, icon_size, Gtk::IconLookupFlags{});
        return known;
    }

    Glib::RefPtr<Gtk::IconTheme> theme = Gtk::IconTheme::get_default();
    std::unordered_map<std::string, Icon> by_description;
};
} // namespace

struct Skyfold::Listing {
    std::vector<Entry> folders;
    std::vector<Entry> files;
    ListIcons icons;

    explicit Listing(const std::string& path) {
        const auto entries =
            Gio::File::create_for_path(path)->enumerate_children("*", Gio::FILE_QUERY_INFO_NONE);
        while (const auto entry = entries->next_file())
            (is_folder(entry) ? folders : files).push_back(entry);
        sort_by_name(folders);
        sort_by_name(files);
    }
};

// The keyboard's menu key or Shift+F10. The toolkit's C++ face has no such signal.
void Skyfold::connect_row_menus() {
    const auto show = +[](GtkWidget* /*list*/, Gtk::ListBox* list) -> gboolean {
        auto* row = dynamic_cast<FileRow*>(list->get_focus_child());
        if (row != nullptr)
            row->show_menu();
        return row != nullptr;
    };
    g_signal_connect(file_list_box.gobj(), "popup-menu", G_CALLBACK(show), &file_list_box);
}

void Skyfold::populate_file_list(const std::string& path) {
    try {
        Listing listing(path);
        for (const auto* group : {&listing.folders, &listing.files}) {
            for (const auto& entry : *group)
                append_row(entry, path, listing);
        }
        style_list_box_rows();
    } catch (const Glib::Exception& error) {
        print_error("Error populating tree view: " + error.what().raw());
    }
}

void Skyfold::append_row(const Glib::RefPtr<Gio::FileInfo>& info, const std::string& folder,
                         Listing& listing) {
    const auto name = info->get_name();
    auto* row = Gtk::make_managed<FileRow>(listing.icons.find(info), name, get_file_sync_status(name),
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
    const bool underway = start_worker([show, refresh = times_forgotten()] {
        load_status_cache(refresh);
        post_when_idle(show);
    });
    if (!underway)
        print_error("ERROR: The statuses cannot be refreshed now.");
}

void Skyfold::show_refreshed_statuses() {
    // Not loaded: a newer refresh was asked for meanwhile, and this one's content is old.
    if (is_status_cache_loaded()) {
        for (auto* child : file_list_box.get_children()) {
            if (auto* row = dynamic_cast<FileRow*>(child)) {
                const auto from = std::min(sync_dir.size() + 1, row->get_full_path().size());
                row->set_status(get_file_sync_status(row->get_full_path().substr(from)));
            }
        }
    }
    print_line("DEBUG: Async file status update complete.");
}
