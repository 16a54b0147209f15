// SPDX-License-Identifier: MIT
// The windows, what each widget in them does, and what the rows show.
#include "app/toolkit.h"
#include "process/client_processes.h"
#include "ui/settings_window.h"
#include "ui/startup_window.h"

#include "harness.h"

#include <gtkmm/clipboard.h>
#include <gtkmm/settings.h>

namespace {
using WindowTest = ShellTest;

void choose(Gtk::Menu& menu, int item) {
    dynamic_cast<Gtk::MenuItem&>(*menu.get_children().at(item)).activate();
}

Gtk::Menu& menu_of(FileRow& row) {
    return *Glib::wrap(GTK_MENU(gtk_menu_get_for_attach_widget(GTK_WIDGET(row.gobj()))->data));
}

// Icon, title and text of every notification that is sent while it lives.
struct Notifications {
    explicit Notifications(Application& application) : bus(application.get_dbus_connection()) {
        filter = g_dbus_connection_add_filter(bus->gobj(), note, this, nullptr);
    }
    ~Notifications() { g_dbus_connection_remove_filter(bus->gobj(), filter); }
    static GDBusMessage* note(GDBusConnection*, GDBusMessage* message, gboolean incoming, gpointer self) {
        if (incoming != FALSE || std::string_view("Notify") != g_dbus_message_get_member(message))
            return message;
        for (const gsize part : {2, 3, 4}) {
            g_autoptr(GVariant) value = g_variant_get_child_value(g_dbus_message_get_body(message), part);
            static_cast<Notifications*>(self)->text +=
                std::string(g_variant_get_string(value, nullptr)) + "; ";
        }
        ++static_cast<Notifications*>(self)->count;
        return message;
    }

    Glib::RefPtr<Gio::DBus::Connection> bus;
    guint filter = 0;
    std::string text;
    std::atomic<int> count{0};
};

TEST_F(WindowTest, Main) {
    make_window().hide();
    gboolean kept = FALSE;
    g_signal_emit_by_name(main_window->gobj(), "delete-event", nullptr, &kept);
    day = std::string("without an icon closing it ") + (kept ? "hides\n" : "quits\n");
    const auto with = shown(*main_window);
    expect_calls(answers(""));
    forget_status_cache();
    Skyfold without(nullptr, folder);
    settle();
    day += with + "without an application\n" + changed_lines(with, shown(without));
    apply_toolkit_settings();
    const auto settings = Gtk::Settings::get_default();
    day += std::string(settings->property_gtk_icon_theme_name().get_value()) + " " +
           gtk_window_get_default_icon_name() + "\n";
    settings->property_gtk_icon_theme_name() = "hicolor";
}

TEST_F(WindowTest, FirstRun) {
    setenv("HOME", home.file("\xFF").c_str(), 1);
    SettingsWindow window;
    day = shown(window) + shown(*std::make_unique<StartupWindow>());
    const auto children = dynamic_cast<Gtk::Box&>(*window.get_child()).get_children();
    window.signal_sync_started().connect(
        [&](const std::string& chosen) { day += "chosen: " + chosen + "\n"; });
    auto& entry = dynamic_cast<Gtk::Entry&>(*children.at(1));
    dynamic_cast<Gtk::Button&>(*children.at(2)).clicked();
    Gtk::Clipboard::get()->set_text("~/a b \nsync_enabled=false");
    entry.select_region(0, -1);
    entry.paste_clipboard();
    wait_for("the pasted text", [&] { return entry.get_text_length() == 6; });
    dynamic_cast<Gtk::Button&>(*children.at(2)).clicked();
    setenv("HOME", home.path.c_str(), 1);
    for (const char* settings : {"autostart=false\n", "autostart=true\nnotifications=false\n"}) {
        home.write(".config/skyfold/config", settings);
        step(settings, [] { const SettingsWindow written_at_once; });
    }
    day = with_names(day);
}

TEST_F(WindowTest, Settings) {
    for (const std::string settings : {"autostart=false\nnotifications_enabled=false\n", "", "sync_dir=/x"}) {
        home.write(".config/skyfold/config", settings);
        ApplicationProbe::reset(application);
        pid = settings == "sync_dir=/x" ? -1 : 0; // starts
        auto& menu = SkyfoldProbe::settings_menu(make_window());
        step("with " + settings, [&] { day += shown(menu); });
        for (int item = 0; item < 6; ++item)
            step("item " + std::to_string(item % 3), [&] { choose(menu, item % 3); });
        step("autostart from outside", [&] { main_window->set_autostart_status(false); });
        step("notifications from outside", [&] { main_window->set_notification_status(false); });
        pid = 0;
        tidy();
    }
}

TEST_F(WindowTest, Rows) {
    fs::create_directory(folder + "/folder \xFF");
    home.write("OneDrive/file", "");
    make_window();
    auto& file = row(1);
    wait_for("the rows", [&] { return file.get_mapped(); });
    day = shown(SkyfoldProbe::list(*main_window));
    const auto show = [&, before = std::make_shared<std::string>(shown(file))](const std::string& what) {
        day += what + "\n" + changed_lines(*before, shown(file));
        *before = shown(file);
    };
    for (const char* status : {"Synced", "Online-only", "Skipped", "Pending", "Uploading", "Downloading",
                               "Syncing...", "Unknown", "uploading", "Was Skipped once"}) {
        file.set_status(status);
        show(status);
    }
    file.show_menu();
    auto& menu = menu_of(file);
    day += shown(menu);
    menu.popdown();
    menu.show();
    menu.hide(); // once more before it is deleted
    settle();
    EXPECT_EQ(g_list_length(gtk_menu_get_for_attach_widget(GTK_WIDGET(file.gobj()))), 1U) << "menus pile up";
}

TEST_F(WindowTest, Listing) {
    for (const char* name : {"Z", "elsewhere"})
        fs::create_directory(folder + "/" + name);
    for (const char* name : {"b", "A", "a", ".hidden", "\xFF\xC3("})
        home.write(std::string("OneDrive/") + name, "");
    fs::create_directory_symlink("elsewhere", folder + "/a link");
    fs::create_symlink("nowhere", folder + "/broken");
    for (const char* below : {"/", "gone"}) { // the first as somebody may type it
        folder += below;
        step(below, [&] { make_window(); });
        delete std::exchange(main_window, nullptr);
    }
}

TEST_F(WindowTest, Statuses) {
    for (const char* name : {"a", "b", "Private", "\xFF"})
        fs::create_directory(folder + "/" + name);
    folder += "/";
    step("listed", [&] {
        make_window(answers(R"(a: synced\nb: sync pending\n\udcff: remote)", R"(skip_dir = \"Private\")"));
    });
    for (const char* chunk :
         {"No new or changed items\nUploading: a/x ... 5%\nDownloading: \xFF/x", " ... 5%\n"})
        step("a chunk", [&] { main_window->notify_sync_activity(chunk); });
    fs::remove(folder + "b");
    expect_calls(call("--display-sync-status", says("a: remote")) +
                 call("--display-config", marks("asked") + waits("go")) + call("--display-sync-status", ""));
    step("an older answer comes after a newer one", [&] {
        main_window->refresh_sync_status();
        wait_for_file("asked");
        main_window->refresh_sync_status();
        wait_for("the newer", status_cache_loaded);
        home.write("go", "");
    });
    step("stopped", [&] { main_window->set_sync_status(false); });
    expect_calls(answers(""));
    step("refreshed", [&] { main_window->refresh_sync_status(); });
}

// A start of the sync kills the query of the refresh before it. That one is asked again, but only once.
TEST_F(WindowTest, QueryThatWasKilledIsAskedOnceMore) {
    home.write("OneDrive/a", "");
    make_window();
    std::string calls;
    for (const char* name : {"1", "2", "3"})
        calls += call("--display-sync-status", marks(name) + hang);
    expect_calls(calls + answers("a: remote"));
    for (const auto& names : {std::vector{"1", "2"}, {"3"}})
        step("killed", [&] {
            main_window->refresh_sync_status();
            for (const char* name : names) {
                wait_for_file(name);
                kill_clients();
            }
        });
}

// Of a folder, of a file with every character that a shell, a list or an address could take amiss, and of an
// entry that is gone. Nothing runs, and nothing is started.
TEST_F(WindowTest, RowActions) {
    fs::create_directory(folder + "/d \xFF");
    for (const char* name : {"f$(touch x)`\"\\,'", "gone"})
        home.write(std::string("OneDrive/") + name, "");
    for (const char* name : {"xdg-open", "dbus-send"}) {
        const auto program = fs::path(std::getenv("SKYFOLD_ISOLATED")) / "bin" / name;
        replace_file(program, "#!/bin/sh\nprintf '%s; ' ${0##*/} \"$@\" >>\"$HOME/calls\"\nexit 1\n");
        fs::permissions(program, fs::perms::owner_all);
    }
    make_window();
    fs::remove(folder + "/gone");
    std::size_t index = 0;
    for (const std::string name : {R"(d\u0020\udcff)", R"(f$(touch\u0020x)`\"\\,')", "gone"}) {
        auto& here = row(index++);
        here.show_menu();
        auto& menu = menu_of(here);
        for (int action = 0; action < 6; ++action) {
            if (action % 3 != 0)
                expect_calls((action % 3 == 1 ? call("--synchronize --single-directory " + name, "") : "") +
                             answers("x", action > 1 ? R"(skip_dir = \")" + name + R"(\")" : ""));
            step((action < 3 ? "button of " : "item of ") + name, [&] {
                fs::remove(home.file("calls"));
                action < 3 ? dynamic_cast<Gtk::Button*>(RowProbe::buttons(here).at(action))->clicked()
                           : choose(menu, action - 3);
            });
        }
        menu.popdown();
        expect_calls(answers("x"));
        step("taken back: " + name,
             [&] { dynamic_cast<Gtk::Button*>(RowProbe::buttons(here).at(2))->clicked(); });
    }
}

TEST_F(WindowTest, Toggle) {
    const auto client_config = home.file(".config/onedrive/config");
    home.write(".config/onedrive/config", "# skip_dir = \"X\"\nsync_dir = \"y\"");
    make_window();
    const auto toggle = [&](const std::string& path) {
        step(path, [&] { main_window->on_file_sync_toggle_clicked(path, false); });
    };
    expect_calls(answers(""));
    const Notifications sent(application);
    pid = -1; // a start is under way, and goes on
    toggle(folder + "/Private\xFF");
    pid = 0;
    wait_for("the notification", [&] { return sent.count == 1; });
    config.set("notifications_enabled", "false");
    toggle(folder + "/a\nb");
    toggle(folder);
    fs::remove(client_config);
    fs::create_symlink("/proc/self/mem", client_config); // opens, and cannot be read
    toggle(folder + "/Private");
    unsetenv("HOME");
    toggle(folder + "/Private");
    setenv("HOME", home.path.c_str(), 1);
    for (const char* nowhere : {"/no/such/place", ""})
        step("open nowhere", [&] { main_window->on_open_location_clicked(nowhere); });
    day += sent.text + "\n";
}

TEST_F(WindowTest, Dialogs) {
    make_window();
    ask([&] { main_window->on_about(); }, {Gtk::RESPONSE_DELETE_EVENT});
    for (const auto& text : {std::string("short\nü\xFF <b>"), std::string(15, '\n') + "x",
                             std::string(16, '\n') + "x", std::string(1201, 'x')}) {
        const auto dialog = make_error_dialog(main_window, "A title \xFF", text);
        ask([&] { dialog->show(); }, {Gtk::RESPONSE_OK});
    }
    // All of a long text is there, laid out in a time that a person waits, and no higher than a screen.
    const auto huge =
        make_error_dialog(nullptr, "Long", std::string(2'000'000, '\n') + std::string(3000, 'x'));
    huge->show();
    EXPECT_LT(huge->get_height(), 800);
    EXPECT_EQ(huge->property_secondary_text().get_value().size(), 2'003'000U);
}

TEST_F(WindowTest, Removal) {
    constexpr int yes = Gtk::RESPONSE_YES;
    constexpr int quits = Gtk::RESPONSE_NONE;
    constexpr int closes = Gtk::RESPONSE_DELETE_EVENT;
    for (const auto& answers : {std::vector<int>{closes}, {quits}, {yes, quits}, {yes, closes}, {yes, yes}}) {
        for (const char* file : {"config", "refresh_token", ".lock"})
            home.write(std::string(".config/onedrive/") + file, file);
        config.set("sync_dir", folder);
        make_window();
        step("sign out?", [&] { ask([&] { main_window->on_remove_account(); }, answers); });
        delete std::exchange(main_window, nullptr);
    }
    config.set("sync_dir", folder + std::string("\0x", 2));
    step("not the folder that was shown", [&] { application.remove_account(true); });
}
} // namespace
