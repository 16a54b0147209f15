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

// Every notification that is sent from here on: its icon, title and text.
std::string sent_notifications;
std::mutex sending;
GDBusMessage* note_notification(GDBusConnection*, GDBusMessage* message, gboolean incoming, gpointer) {
    if (incoming == FALSE && std::string_view("Notify") == g_dbus_message_get_member(message)) {
        const std::scoped_lock lock(sending);
        for (const gsize part : {2, 3, 4}) {
            g_autoptr(GVariant) value = g_variant_get_child_value(g_dbus_message_get_body(message), part);
            sent_notifications += std::string(g_variant_get_string(value, nullptr)) + "; ";
        }
    }
    return message;
}

TEST_F(WindowTest, Main) {
    auto& window = make_window();
    window.hide();
    day = shown(window);
    expect_calls(answers(""));
    forget_status_cache();
    Skyfold without(nullptr, folder);
    settle();
    day += "without an application\n" + changed_lines(day, shown(without));
}

TEST_F(WindowTest, FirstRun) {
    setenv("HOME", home.file("\xFF").c_str(), 1);
    SettingsWindow window;
    day = shown(window) + shown(*std::make_unique<StartupWindow>());
    const auto children = dynamic_cast<Gtk::Box&>(*window.get_child()).get_children();
    window.signal_sync_started().connect(
        [this](const std::string& chosen) { day += "chosen: " + chosen + "\n"; });
    auto& entry = dynamic_cast<Gtk::Entry&>(*children.at(1));
    dynamic_cast<Gtk::Button&>(*children.at(2)).clicked();
    Gtk::Clipboard::get()->set_text("~/a b \nsync_enabled=false");
    entry.select_region(0, -1);
    entry.paste_clipboard();
    wait_for("the pasted text", [&] { return entry.get_text_length() == 6; });
    dynamic_cast<Gtk::Button&>(*children.at(2)).clicked();
    setenv("HOME", home.path.c_str(), 1);
    day = with_names(day);
}

// With autostart off nothing is written for it; with it on, the entry is.
TEST_F(WindowTest, FirstRunSwitches) {
    for (const char* settings : {"autostart=false\n", "autostart=true\nnotifications=false\n"}) {
        home.write(".config/skyfold/config", settings);
        step(settings, [] { const SettingsWindow window; });
    }
}

TEST_F(WindowTest, Settings) {
    for (const char* settings :
         {"autostart=false\nnotifications_enabled=false\nsync_enabled=false\n", "", "sync_dir=/x"}) {
        home.write(".config/skyfold/config", settings);
        ApplicationProbe::reset(application);
        if (settings[0] == 's')
            ApplicationProbe::pid(application) = -1; // starts
        auto& window = make_window();
        auto& menu = SkyfoldProbe::settings_menu(window);
        step(std::string("with ") + settings, [] {});
        day += shown(menu);
        for (int item = 0; item < 6; ++item)
            step("item " + std::to_string(item % 3), [&] { choose(menu, item % 3); });
        step("autostart from outside", [&] { window.set_autostart_status(false); });
        step("notifications from outside", [&] { window.set_notification_status(false); });
        ApplicationProbe::pid(application) = 0;
        delete std::exchange(ApplicationProbe::main_window(application), nullptr);
    }
}

TEST_F(WindowTest, Rows) {
    fs::create_directory(folder + "/folder \xFF");
    home.write("OneDrive/file", "");
    auto& window = make_window();
    auto& file = row(window, 1);
    wait_for("the rows", [&] { return file.get_mapped(); });
    day = shown(SkyfoldProbe::list(window));
    auto before = shown(file);
    const auto show = [&](const std::string& what) {
        day += what + "\n" + changed_lines(before, shown(file));
        before = shown(file);
    };
    for (const char* status : {"Synced", "Online-only", "Skipped", "Pending", "Uploading", "Downloading",
                               "Syncing...", "Unknown", "uploading", "Was Skipped once"}) {
        file.set_status(status);
        show(status);
    }
    const auto point = [&](const char* signal, GdkNotifyType detail) {
        GdkEventCrossing event = {};
        event.detail = detail;
        gboolean handled = FALSE;
        g_signal_emit_by_name(RowProbe::pointed_at(file), signal, &event, &handled);
        EXPECT_FALSE(handled) << signal;
    };
    // The main loop serves timers in the order in which they were made, however late it comes to that.
    const auto after = [&](int milliseconds, const std::string& what, const std::function<void()>& then) {
        Glib::signal_timeout().connect_once([=] { show(what), then(); }, milliseconds);
    };
    bool elsewhere = false;
    after(80, "after 80 ms", [] {});
    point("enter-notify-event", GDK_NOTIFY_ANCESTOR);
    point("leave-notify-event", GDK_NOTIFY_ANCESTOR);
    point("enter-notify-event", GDK_NOTIFY_ANCESTOR);
    after(120, "pointed at", [&] {
        point("leave-notify-event", GDK_NOTIFY_INFERIOR);
        after(120, "on one of the buttons", [&] {
            point("leave-notify-event", GDK_NOTIFY_ANCESTOR);
            after(120, "elsewhere", [&] { elsewhere = true; });
        });
    });
    wait_for("the pointer", [&] { return elsewhere; });
    file.show_menu();
    auto& menu = menu_of(file);
    day += shown(menu);
    menu.popdown();
    menu.show();
    menu.hide(); // once more before it is deleted
    settle();
    EXPECT_EQ(gtk_menu_get_for_attach_widget(GTK_WIDGET(file.gobj())), nullptr) << "the menu is not deleted";
}

TEST_F(WindowTest, Listing) {
    for (const char* name : {"Z", "elsewhere"})
        fs::create_directory(folder + "/" + name);
    for (const char* name : {"b", "A", "a", ".hidden", "\xFF\xC3("})
        home.write(std::string("OneDrive/") + name, "");
    fs::create_directory_symlink("elsewhere", folder + "/a link");
    fs::create_symlink("nowhere", folder + "/broken");
    folder += "/"; // as somebody may type it
    for (const char* below : {"", "gone"}) {
        folder += below;
        step(std::string("OneDrive/") + below, [&] { make_window(); });
        delete std::exchange(ApplicationProbe::main_window(application), nullptr);
    }
}

TEST_F(WindowTest, Statuses) {
    for (const char* name : {"a", "b", "Private", "\xFF"})
        fs::create_directory(folder + "/" + name);
    folder += "/";
    Skyfold* window = nullptr;
    step("synced, pending, skipped", [&] {
        window = &make_window(
            answers(R"(a: synced\nb: sync pending\n\udcff: remote)", R"(skip_dir = \"Private\")"));
    });
    step("a transfer", [&] {
        window->notify_sync_activity("No new or changed items\nUploading: a/x ... 5%\nDownloading: \xFF/x");
    });
    step("the rest of its line", [&] { window->notify_sync_activity(" ... 5%\n"); });
    fs::remove(folder + "b");
    expect_calls(call("--display-sync-status", says("a: remote")) +
                 call("--display-config", marks("asked") + waits("go") + marks("answered")) +
                 call("--display-sync-status", ""));
    step("an older answer comes after a newer one", [&] {
        window->refresh_sync_status();
        wait_for_file("asked");
        window->refresh_sync_status();
        wait_for("the newer", status_cache_loaded);
        home.write("go", "");
    });
    step("stopped", [&] { window->set_sync_status(false); });
    expect_calls(answers(""));
    step("refreshed", [&] { window->refresh_sync_status(); });
}

// A start of the sync kills the query of the refresh before it. That one is asked again, but only once.
TEST_F(WindowTest, QueryThatWasKilledIsAskedOnceMore) {
    home.write("OneDrive/a", "");
    auto& window = make_window();
    const auto ask = [](const std::string& steps) { return call("--display-sync-status", steps); };
    expect_calls(ask(marks("1") + hang) + ask(marks("2") + hang) + ask(marks("3") + hang) +
                 ask(marks("4") + says("a: remote")) + call("--display-config", says(R"(skip_dir = \"b\")")));
    for (const int queries : {2, 1})
        step(std::to_string(queries) + " killed", [&] {
            window.refresh_sync_status();
            for (int query = queries; query > 0; --query) {
                wait_for_file(std::to_string(queries == 2 ? 3 - query : 3));
                EXPECT_FALSE(status_cache_loaded());
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
    auto& window = make_window();
    fs::remove(folder + "/gone");
    int index = 0;
    for (const std::string name : {R"(d\u0020\udcff)", R"(f$(touch\u0020x)`\"\\,')", "gone"}) {
        auto& here = row(window, index++);
        here.show_menu();
        auto& menu = menu_of(here);
        for (int action = 0; action < 6; ++action) {
            if (action % 3 == 1)
                expect_calls(call("--synchronize --single-directory " + name, "") + answers("x"));
            else if (action % 3 == 2)
                expect_calls(answers("x", action == 2 ? R"(skip_dir = \")" + name + R"(\")" : ""));
            step((action < 3 ? "button of " : "item of ") + name, [&, action = action] {
                fs::remove(home.file("calls"));
                action < 3 ? dynamic_cast<Gtk::Button*>(RowProbe::buttons(here).at(action))->clicked()
                           : choose(menu, action - 3);
            });
        }
        menu.popdown();
    }
}

TEST_F(WindowTest, Toggle) {
    const auto config = home.file(".config/onedrive/config");
    home.write(".config/onedrive/config", "# skip_dir = \"X\"\nsync_dir = \"y\"");
    auto& window = make_window();
    const auto toggle = [&](const std::string& step_name, const std::string& path) {
        step(step_name, [&] { window.on_file_sync_toggle_clicked(path, false); });
    };
    ApplicationProbe::pid(application) = -1; // of a restart
    expect_calls(answers(""));
    toggle("while a start is under way", folder + "/Private");
    ApplicationProbe::pid(application) = 0;
    toggle("a line end in the name", folder + "/a\nb");
    toggle("the whole folder", folder);
    fs::remove(config);
    fs::create_symlink("/proc/self/mem", config); // opens, and cannot be read
    toggle("an unreadable configuration", folder + "/Private");
    unsetenv("HOME");
    toggle("no home", folder + "/Private");
    setenv("HOME", home.path.c_str(), 1);
    for (const char* nowhere : {"/no/such/place", ""})
        step("open nowhere", [&] { window.on_open_location_clicked(nowhere); });
}

TEST_F(WindowTest, Dialogs) {
    auto& window = make_window();
    ask([&] { window.on_about(); }, {Gtk::RESPONSE_DELETE_EVENT});
    for (const auto& text : {std::string("short\nü\xFF <b>"), std::string(15, '\n') + "x",
                             std::string(16, '\n') + "x", std::string(1201, 'x')}) {
        const auto dialog = make_error_dialog(&window, "A title \xFF", text);
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
    using Answers = std::vector<int>;
    for (const auto& answers : {Answers{Gtk::RESPONSE_NO},
                                {Gtk::RESPONSE_DELETE_EVENT},
                                {Gtk::RESPONSE_YES, Gtk::RESPONSE_NONE},
                                {Gtk::RESPONSE_YES, Gtk::RESPONSE_DELETE_EVENT},
                                {Gtk::RESPONSE_YES, Gtk::RESPONSE_YES}}) {
        for (const char* file : {"config", "refresh_token", ".lock"})
            home.write(std::string(".config/onedrive/") + file, file);
        home.write(".config/skyfold/config", "is_logged_in=true\nsync_dir=" + folder + "\n");
        ApplicationProbe::reset(application);
        auto& window = make_window();
        step("sign out?", [&] { ask([&] { window.on_remove_account(); }, answers); });
        delete std::exchange(ApplicationProbe::main_window(application), nullptr);
    }
    ApplicationProbe::config(application).set("sync_dir", folder + std::string("\0x", 2));
    step("not the folder that was shown", [&] { application.remove_account(true); });
}

TEST_F(WindowTest, Icon) {
    auto& window = make_window();
    application.add_window(window);
    const auto filter = g_dbus_connection_add_filter(application.get_dbus_connection()->gobj(),
                                                     note_notification, nullptr, nullptr);
    window.show_sync_complete_notification(); // no icon: nothing
    window.try_create_tray_icon();
    window.setup_tray_icon();
    auto* icon = SkyfoldProbe::icon(window)->gobj();
    day += SkyfoldProbe::icon(window)->get_tooltip_text().raw() + "\n";
    std::vector<Gtk::Window*> before = Gtk::Window::list_toplevels();
    g_signal_emit_by_name(icon, "popup-menu", 3U, 0U);
    Gtk::Menu* menu = nullptr;
    for (auto* each : Gtk::Window::list_toplevels())
        if (std::ranges::find(before, each) == before.end())
            menu = dynamic_cast<Gtk::Menu*>(each->get_child());
    ASSERT_NE(menu, nullptr) << "no menu";
    day += shown(*menu);
    step("two clicks", [&] { g_signal_emit_by_name(icon, "activate"); });
    step("two clicks", [&] { g_signal_emit_by_name(icon, "activate"); });
    step("show", [&] { choose(*menu, 1); });
    ask([&] { choose(*menu, 0); }, {Gtk::RESPONSE_DELETE_EVENT});
    const auto open = make_error_dialog(&window, "Open", "");
    open->signal_response().connect([&](int answer) { day += "answered " + std::to_string(answer) + "\n"; });
    open->show();
    choose(*menu, 2);
    menu->hide();
    application.add_window(window); // hiding it has taken it out
    for (const char* enabled : {"true", "false"}) {
        ApplicationProbe::config(application).set("notifications_enabled", enabled);
        window.show_sync_complete_notification();
        window.show_file_sync_notification("f\xFF", true);
        window.show_file_sync_notification("f", false);
    }
    wait_for("three notifications", [] {
        const std::scoped_lock lock(sending);
        return std::ranges::count(sent_notifications, ';') >= 9;
    });
    g_dbus_connection_remove_filter(application.get_dbus_connection()->gobj(), filter);
    day += sent_notifications + "\n";
    sent_notifications.clear();
    apply_toolkit_settings();
    const auto settings = Gtk::Settings::get_default();
    day += std::string(settings->property_gtk_icon_theme_name().get_value()) +
           (settings->property_gtk_enable_mnemonics() ? ", mnemonics\n" : "\n") +
           gtk_window_get_default_icon_name() + "\n";
    settings->property_gtk_icon_theme_name() = "hicolor";
}
} // namespace
