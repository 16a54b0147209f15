// SPDX-License-Identifier: MIT
#include "process/client_processes.h"
#include "ui/dialogs.h"
#include "ui/settings_window.h"

#include "harness.h"

#include <gdk/gdkx.h>
#include <gtkmm/settings.h>

namespace {
class WindowTest : public ShellTest {
  protected:
    void SetUp() override { std::filesystem::create_directories(folder); }

    // With the client answering `dump` and `config`, until the first refresh is through.
    std::unique_ptr<Skyfold> make_window(const std::string& dump = "", const std::string& config = "") {
        expect_calls(call("--display-sync-status", says(dump), "repeat") +
                     call("--display-config", says(config), "repeat"));
        forget_status_cache();
        auto window = std::make_unique<Skyfold>(&application, folder);
        EXPECT_TRUE(turn_until([] { return is_status_cache_loaded(); }));
        turn_for(0.1);
        return window;
    }

    std::string names(Skyfold& window) {
        std::string all;
        for (auto* child : SkyfoldProbe::list(window).get_children())
            all += dynamic_cast<FileRow*>(child)->get_full_path().substr(folder.size() + 1) +
                   (child->get_style_context()->has_class("even") ? "+ " : "- ");
        return all;
    }
};

TEST_F(WindowTest, ListsFoldersFirstInByteOrderAndKeepsAnyName) {
    for (const char* name : {"Z", "elsewhere"})
        std::filesystem::create_directory(folder + "/" + name);
    for (const char* name : {"b", "A", "a", ".hidden", "\xFF\xC3("})
        home.write(std::string("OneDrive/") + name, "");
    std::filesystem::create_directory_symlink("elsewhere", folder + "/a link");
    std::filesystem::create_symlink("nowhere", folder + "/broken");
    const auto window = make_window();
    EXPECT_EQ(names(*window), "Z+ a link- elsewhere+ .hidden- A+ a- b+ broken- \xFF\xC3(+ ");
    EXPECT_FALSE(window->get_visible());
    EXPECT_EQ(SkyfoldProbe::status_line(*window), "Sync: Idle");
    EXPECT_EQ(SkyfoldProbe::status(*window, "broken"), "Online-only");
    EXPECT_EQ(SkyfoldProbe::status(*window, "b"), "Unknown");
    testing::internal::CaptureStderr();
    folder += "/gone";
    EXPECT_EQ(names(*make_window()), "");
    EXPECT_TRUE(testing::internal::GetCapturedStderr().starts_with("Error populating tree view: Er"));
}

TEST_F(WindowTest, StatusesComeFromTheNewestAnswerOfTheClient) {
    for (const char* name : {"a", "b", "Private"})
        std::filesystem::create_directory(folder + "/" + name);
    folder += "/"; // as somebody may type it
    const auto window = make_window(R"(a: synced\nb: sync pending)", R"(skip_dir = \"Private\")");
    EXPECT_EQ(SkyfoldProbe::status(*window, "a"), "Synced");
    EXPECT_EQ(SkyfoldProbe::status(*window, "b"), "Pending");
    EXPECT_EQ(SkyfoldProbe::status(*window, "Private"), "Skipped");
    window->notify_sync_activity("No new or changed items\nUploading: a/x ... 5%\n");
    EXPECT_EQ(SkyfoldProbe::status(*window, "b"), "Synced");
    EXPECT_EQ(SkyfoldProbe::status(*window, "Private"), "Skipped");
    std::filesystem::remove(folder + "/b");
    expect_calls(call("--display-sync-status",
                      R"({"write": {"{home}/asked": ""}}, {"wait_for": "{home}/go"}, )" + says("a: remote")) +
                 call("--display-sync-status", "", "repeat"));
    window->refresh_sync_status();
    ASSERT_TRUE(appears("asked"));
    window->refresh_sync_status(); // while the first, slower one is under way
    ASSERT_TRUE(turn_until(is_status_cache_loaded));
    home.write("go", "");
    turn_for(0.3);
    EXPECT_EQ(SkyfoldProbe::status(*window, "a"), "Uploading") << "the live state wins";
    EXPECT_EQ(SkyfoldProbe::status(*window, "b"), "Online-only");
    EXPECT_EQ(SkyfoldProbe::status(*window, "Private"), "Unknown")
        << "the older answer came last and counts no more";
    window->set_sync_status(false);
    EXPECT_EQ(window->get_file_sync_status("a"), "Unknown");
}

// A start of the sync kills the query of the refresh before it. That one is asked again, but only once.
TEST_F(WindowTest, QueryThatWasKilledIsAskedOnceMore) {
    const auto window = make_window();
    const auto asked = [](const std::string& name, const std::string& then) {
        return call("--display-sync-status", R"({"write": {"{home}/)" + name + R"(": ""}}, )" + then);
    };
    expect_calls(asked("first", hang) + asked("second", hang) + asked("third", hang) +
                 asked("fourth", says("a: remote")) + call("--display-config", says(R"(skip_dir = \"a\")")));
    window->refresh_sync_status();
    for (const std::string query : {"first", "second", "third"}) {
        ASSERT_TRUE(appears(query.c_str())) << query;
        EXPECT_FALSE(is_status_cache_loaded());
        kill_clients();
        if (query == "second") {
            ASSERT_TRUE(turn_until(is_status_cache_loaded)) << "asked a third time";
            window->refresh_sync_status();
        }
    }
    ASSERT_TRUE(turn_until(is_status_cache_loaded));
    EXPECT_EQ(window->get_file_sync_status("a"), "Skipped");
}

TEST_F(WindowTest, ToggleKeepsWhatItCannotReadAndLetsAStartGoOn) {
    const std::string config = ".config/onedrive/config";
    const auto path = folder + "/Private";
    home.write(config, "# skip_dir = \"X\"\nsync_dir = \"y\"");
    const auto window = make_window();
    ApplicationProbe::pid(application) = -1; // the start of a restart is still under way
    window->on_file_sync_toggle_clicked(path, false);
    ApplicationProbe::pid(application) = 0;
    EXPECT_EQ(ApplicationProbe::config(application).get("sync_enabled"), "true");
    EXPECT_EQ(home.read(config), "# skip_dir = \"X\"\nsync_dir = \"y\"\nskip_dir = \"Private\"\n");
    std::filesystem::remove(home.file(config));
    std::filesystem::create_symlink("/proc/self/mem", home.file(config)); // opens, and cannot be read
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    window->on_file_sync_toggle_clicked(folder, false);
    window->on_file_sync_toggle_clicked(path, false);
    window->on_file_sync_toggle_clicked(folder + "/a\nb", false);
    unsetenv("HOME");
    window->on_file_sync_toggle_clicked(path, false);
    setenv("HOME", home.path.c_str(), 1);
    const auto told = testing::internal::GetCapturedStderr();
    EXPECT_EQ(testing::internal::GetCapturedStdout().find("Added to"), std::string::npos);
    for (const auto& line : {std::string("Cannot toggle sync for root directory\n"),
                             "Error toggling sync: could not read all of " + home.file(config) + ": ",
                             std::string("Error toggling sync: a name with a line end fits no line of "),
                             std::string("Error toggling sync: HOME is not set\n")})
        EXPECT_NE(told.find(line), std::string::npos) << told;
    turn_for(0.3); // the refreshes
    ApplicationProbe::config(application).set("sync_dir", folder + std::string("\0x", 2));
    application.remove_account(true);
    EXPECT_TRUE(std::filesystem::exists(folder)) << "not the folder that was shown";
}

TEST_F(WindowTest, OutsideProgramsGetEachNameAsItIs) {
    const auto path = folder + "/-$(touch x)`\"\\,\n'";
    home.write("OneDrive/" + path.substr(folder.size() + 1), "");
    for (const char* name : {"xdg-open", "dbus-send"}) {
        const auto program = std::string(std::getenv("SKYFOLD_ISOLATED")) + "/bin/" + name;
        EXPECT_TRUE(replace_file(program, "#!/bin/sh\nprintf '%s|' \"$@\" >>\"$HOME/calls\"\nexit 1\n"));
        std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    }
    const auto window = make_window();
    testing::internal::CaptureStderr();
    for (const auto& each : {path, folder + "/gone", std::string("/no/such/place")})
        window->on_open_location_clicked(each);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Failed to open file location: " + path +
                                                          "\nFailed to open parent directory: " + folder +
                                                          "\n");
    const std::string shows = "org.freedesktop.FileManager1";
    EXPECT_EQ(home.read("calls"), "--session|--dest=" + shows +
                                      "|--type=method_call|/org/freedesktop/FileManager1|" + shows +
                                      ".ShowItems|array:string:file://" + folder +
                                      "/-$(touch x)`\"\\%2C\n'|string:|" + folder + "|" + folder + "|");
}

TEST_F(WindowTest, RowShowsItsStatusOnButtonAndIconAndItsMenuDoesWhatItShowed) {
    const auto icon = Gdk::Pixbuf::create(Gdk::COLORSPACE_RGB, true, 8, 22, 22);
    Gtk::Window around;
    FileRow row(icon, "n\xFF", "Was Skipped once", "/x/n\xFF");
    around.add(row);
    around.show();
    std::string toggles;
    row.signal_toggle_sync.connect(
        [&](const std::string& path, bool enable) { toggles += path + (enable ? "+ " : "- "); });
    for (const auto& [status, own_icon] : std::map<std::string, bool>{{"Skipped", true},
                                                                      {"Syncing...", false},
                                                                      {"Synced", true},
                                                                      {"Uploading", false},
                                                                      {"uploading", true}}) {
        row.set_status(status);
        auto& toggle = RowProbe::toggle(row);
        EXPECT_EQ(toggle.get_tooltip_text(), status == "Skipped" ? "Enable Sync" : "Disable Sync") << status;
        EXPECT_EQ(RowProbe::icon(row).get_pixbuf() == icon, own_icon) << status;
        toggle.clicked();
    }
    row.show_menu();
    const auto* menus = gtk_menu_get_for_attach_widget(GTK_WIDGET(row.gobj()));
    ASSERT_NE(menus, nullptr);
    const auto items = Glib::wrap(GTK_MENU(menus->data))->get_children();
    ASSERT_EQ(items.size(), 3U);
    row.set_status("Skipped");
    dynamic_cast<Gtk::MenuItem*>(items[2])->activate();
    EXPECT_EQ(toggles, "/x/n\xFF+ /x/n\xFF- /x/n\xFF- /x/n\xFF- /x/n\xFF- /x/n\xFF- ");
}

// Whether its solid points are.
bool is_light(const Glib::RefPtr<Gdk::Pixbuf>& icon) {
    const auto* points = icon->get_pixels();
    const auto* end = points + static_cast<std::ptrdiff_t>(icon->get_rowstride()) * (icon->get_height() - 1);
    while (points < end && points[3] != 0xFF)
        points += 4;
    return points[1] > 0x80;
}

TEST_F(WindowTest, ActivityIconIsLightOnADarkTheme) {
    const auto settings = Gtk::Settings::get_default();
    Gtk::Window shown;
    FileRow row({}, "n", "Pending", "/x/n");
    row.set_status("Pending");
    shown.add(row);
    shown.show();
    for (const bool dark : {false, true, false}) {
        settings->property_gtk_application_prefer_dark_theme() = dark;
        EXPECT_TRUE(turn_until([&] { return is_light(RowProbe::icon(row).get_pixbuf()) == dark; }, 5))
            << dark;
    }
}

TEST_F(WindowTest, IconsOfRowsHaveThePointsOfTheScreen) {
    std::filesystem::create_directory(folder + "/a");
    for (const int scale : {2, 1}) {
        gdk_x11_display_set_window_scale(gdk_display_get_default(), scale);
        const auto window = make_window();
        auto& row = dynamic_cast<FileRow&>(*SkyfoldProbe::list(*window).get_row_at_index(0));
        for (const char* status : {"Synced", "Pending", "Synced"}) {
            row.set_status(status);
            cairo_surface_t* surface = nullptr;
            g_object_get(RowProbe::icon(row).gobj(), "surface", &surface, nullptr);
            const int width = surface == nullptr ? 0 : cairo_image_surface_get_width(surface);
            EXPECT_EQ(width, scale == 2 ? 44 : 0) << status << " at " << scale;
            if (surface != nullptr)
                cairo_surface_destroy(surface);
        }
    }
}

TEST_F(WindowTest, SettingsWindowProposesTheFolderAsItIsAndNotAsItIsShown) {
    setenv("HOME", home.file("\xFF").c_str(), 1);
    SettingsWindow window;
    std::string folders;
    window.signal_sync_started().connect([&](const std::string& chosen) { folders = chosen; });
    dynamic_cast<Gtk::Button*>(dynamic_cast<Gtk::Box*>(window.get_child())->get_children()[2])->clicked();
    setenv("HOME", home.path.c_str(), 1);
    EXPECT_EQ(folders, home.file("\xFF/OneDrive"));
}

TEST_F(WindowTest, DialogOfALongTextKeepsAllOfItAndFitsTheScreen) {
    std::string text;
    while (text.size() < 2'000'000)
        text += "a text of many lines, \xC3\xBC...\n";
    const auto shown = make_error_dialog(nullptr, "Long", text);
    shown->show();
    ASSERT_TRUE(turn_until([&] { return shown->get_mapped(); }));
    EXPECT_TRUE(dialog_text() == "Long|" + text);
    EXPECT_LT(shown->get_height(), 800);
}
} // namespace
