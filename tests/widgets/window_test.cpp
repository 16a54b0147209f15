// SPDX-License-Identifier: MIT
#include "process/client_processes.h"
#include "ui/dialogs.h"
#include "ui/settings_window.h"
#include "ui/status_cache.h"

#include "harness.h"

#include <gtkmm/clipboard.h>

namespace {
class WindowTest : public ShellTest {
  protected:
    void SetUp() override { fs::create_directories(folder); }

    // With the client answering `dump` and `config`, until the first refresh is through.
    std::unique_ptr<Skyfold> make_window(const std::string& dump = "", const std::string& config = "") {
        expect_calls(call("--display-sync-status", says(dump), "repeat") +
                     call("--display-config", says(config), "repeat"));
        forget_status_cache();
        auto window = std::make_unique<Skyfold>(&application, folder);
        EXPECT_TRUE(turn_until([] { return status_cache_loaded(); }));
        turn_for(0.1);
        return window;
    }

    static std::string rows(Skyfold& window) {
        std::string all;
        for (auto* child : SkyfoldProbe::list(window).get_children()) {
            auto& row = dynamic_cast<FileRow&>(*child);
            all += fs::path(row.get_full_path()).filename().string() + ":" + row.get_status_text().raw() +
                   (row.get_style_context()->has_class("even") ? "+ " : "- ");
        }
        return all;
    }
};

TEST_F(WindowTest, ListsFoldersFirstInByteOrderAndKeepsAnyName) {
    for (const char* name : {"Z", "elsewhere"})
        fs::create_directory(folder + "/" + name);
    for (const char* name : {"b", "A", "a", ".hidden", "\xFF\xC3("})
        home.write(std::string("OneDrive/") + name, "");
    fs::create_directory_symlink("elsewhere", folder + "/a link");
    fs::create_symlink("nowhere", folder + "/broken");
    const auto window = make_window();
    EXPECT_EQ(rows(*window), "Z:Unknown+ a link:Unknown- elsewhere:Unknown+ .hidden:Unknown- A:Unknown+ "
                             "a:Unknown- b:Unknown+ broken:Online-only- \xFF\xC3(:Unknown+ ");
    EXPECT_EQ(SkyfoldProbe::status_line(*window), "Sync: Idle");
    testing::internal::CaptureStderr();
    folder += "/gone";
    EXPECT_EQ(rows(*make_window()), "");
    EXPECT_TRUE(testing::internal::GetCapturedStderr().starts_with("Error populating tree view: Er"));
}

TEST_F(WindowTest, StatusesComeFromTheNewestAnswerOfTheClient) {
    for (const char* name : {"a", "b", "Private"})
        fs::create_directory(folder + "/" + name);
    folder += "/"; // as somebody may type it
    const auto window = make_window(R"(a: synced\nb: sync pending)", R"(skip_dir = \"Private\")");
    EXPECT_EQ(rows(*window), "Private:Skipped+ a:Synced- b:Pending+ ");
    window->notify_sync_activity("No new or changed items\nUploading: a/x ... 5%\n");
    EXPECT_EQ(rows(*window), "Private:Skipped+ a:Uploading- b:Synced+ ");
    fs::remove(folder + "/b");
    expect_calls(
        call("--display-sync-status", says("a: remote")) +
        call("--display-config", marks("asked") + R"({"wait_for": "{home}/go"}, )" + marks("answered")) +
        call("--display-sync-status", "", "repeat"));
    window->refresh_sync_status();
    ASSERT_TRUE(appears("asked"));
    window->refresh_sync_status(); // while the first, slower one is under way
    ASSERT_TRUE(turn_until(status_cache_loaded));
    home.write("go", "");
    ASSERT_TRUE(appears("answered"));
    turn_for(0.3);
    EXPECT_EQ(rows(*window), "Private:Unknown+ a:Uploading- b:Online-only+ ")
        << "the live state wins; the older answer came last and counts no more";
    window->set_sync_status(false);
    EXPECT_EQ(window->get_file_sync_status("a"), "Unknown");
}

// A start of the sync kills the query of the refresh before it. That one is asked again, but only once.
TEST_F(WindowTest, QueryThatWasKilledIsAskedOnceMore) {
    const auto window = make_window();
    const auto ask = [](const std::string& steps) { return call("--display-sync-status", steps); };
    expect_calls(ask(marks("first") + hang) + ask(marks("second") + hang) + ask(marks("third") + hang) +
                 ask(marks("fourth") + says("a: remote")) +
                 call("--display-config", says(R"(skip_dir = \"a\")")));
    window->refresh_sync_status();
    for (const std::string query : {"first", "second", "third"}) {
        ASSERT_TRUE(appears(query)) << query;
        EXPECT_FALSE(status_cache_loaded());
        kill_clients();
        if (query == "second") {
            ASSERT_TRUE(turn_until(status_cache_loaded)) << "asked a third time";
            window->refresh_sync_status();
        }
    }
    ASSERT_TRUE(turn_until(status_cache_loaded));
    EXPECT_EQ(window->get_file_sync_status("a"), "Skipped");
}

TEST_F(WindowTest, ToggleKeepsWhatItCannotReadAndLetsAStartGoOn) {
    const std::string config = ".config/onedrive/config";
    const std::string kept = "# skip_dir = \"X\"\nsync_dir = \"y\"";
    const auto path = folder + "/Private";
    home.write(config, kept);
    const auto window = make_window();
    ApplicationProbe::pid(application) = -1; // the start of a restart is still under way
    window->on_file_sync_toggle_clicked(path, false);
    ApplicationProbe::pid(application) = 0;
    EXPECT_EQ(ApplicationProbe::config(application).get("sync_enabled"), "true");
    testing::internal::CaptureStderr();
    window->on_file_sync_toggle_clicked(folder + "/a\nb", false);
    EXPECT_EQ(home.read(config), kept + "\nskip_dir = \"Private\"\n");
    fs::remove(home.file(config));
    fs::create_symlink("/proc/self/mem", home.file(config)); // opens, and cannot be read
    window->on_file_sync_toggle_clicked(folder, false);
    window->on_file_sync_toggle_clicked(path, false);
    unsetenv("HOME");
    window->on_file_sync_toggle_clicked(path, false);
    setenv("HOME", home.path.c_str(), 1);
    const auto told = testing::internal::GetCapturedStderr();
    for (const auto& line : {std::string("Cannot toggle sync for root directory\n"),
                             "Error toggling sync: could not read all of " + home.file(config) + ": ",
                             std::string("Error toggling sync: a name with a line end cannot be stored in the"),
                             std::string("Error toggling sync: HOME is not set\n")})
        EXPECT_NE(told.find(line), std::string::npos) << told;
    turn_for(0.3); // the refreshes
    ApplicationProbe::config(application).set("sync_dir", folder + std::string("\0x", 2));
    application.remove_account(true);
    EXPECT_TRUE(fs::exists(folder)) << "not the folder that was shown";
}

TEST_F(WindowTest, OutsideProgramsGetEachNameAsItIs) {
    const auto path = folder + "/-$(touch x)`\"\\,\n'";
    home.write("OneDrive/" + path.substr(folder.size() + 1), "");
    for (const char* name : {"xdg-open", "dbus-send"}) {
        const auto program = std::string(std::getenv("SKYFOLD_ISOLATED")) + "/bin/" + name;
        EXPECT_TRUE(replace_file(program, "#!/bin/sh\nprintf '%s|' \"$@\" >>\"$HOME/calls\"\nexit 1\n"));
        fs::permissions(program, fs::perms::owner_all);
    }
    const auto window = make_window();
    testing::internal::CaptureStderr();
    for (const auto& each : {path, folder + "/gone", std::string("/no/such/place")})
        window->on_open_location_clicked(each);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Failed to open file location: " + path +
                                                          "\nFailed to open parent directory: " + folder +
                                                          "\n");
    EXPECT_EQ(
        home.read("calls"),
        "--session|--dest=org.freedesktop.FileManager1|--type=method_call|/org/freedesktop/FileManager1|"
        "org.freedesktop.FileManager1.ShowItems|array:string:file://" +
            folder + "/-$(touch x)`\"\\%2C\n'|string:|" + folder + "|" + folder + "|");
}

TEST_F(WindowTest, RowShowsItsStatusOnButtonAndIconAndItsMenuDoesWhatItShowed) {
    const auto icon = Gdk::Pixbuf::create(Gdk::COLORSPACE_RGB, true, 8, 22, 22);
    Gtk::Window around;
    FileRow row(icon, "n\xFF", "Was Skipped once", "/x/n\xFF");
    around.add(row);
    around.show();
    std::string toggles;
    std::string shown;
    row.signal_toggle_sync.connect(
        [&](const std::string& path, bool enable) { toggles += path + (enable ? "+ " : "- "); });
    for (const char* status : {"Skipped", "Syncing...", "Synced", "Uploading", "uploading"}) {
        row.set_status(status);
        auto& toggle = RowProbe::toggle(row);
        shown += toggle.get_tooltip_text().raw() + (RowProbe::icon(row).get_pixbuf() == icon ? "+ " : "- ");
        toggle.clicked();
    }
    EXPECT_EQ(shown, "Enable Sync+ Disable Sync- Disable Sync+ Disable Sync- Disable Sync+ ");
    row.show_menu();
    const auto* menus = gtk_menu_get_for_attach_widget(GTK_WIDGET(row.gobj()));
    ASSERT_NE(menus, nullptr);
    const auto items = Glib::wrap(GTK_MENU(menus->data))->get_children();
    row.set_status("Skipped");
    dynamic_cast<Gtk::MenuItem*>(items.at(2))->activate();
    EXPECT_EQ(toggles, "/x/n\xFF+ /x/n\xFF- /x/n\xFF- /x/n\xFF- /x/n\xFF- /x/n\xFF- ");
}

TEST_F(WindowTest, FolderIsProposedAsItIsAndPastedAsOneLine) {
    setenv("HOME", home.file("\xFF").c_str(), 1);
    std::string folders;
    SettingsWindow window;
    window.signal_sync_started().connect([&](const std::string& chosen) { folders += chosen + "|"; });
    const auto children = dynamic_cast<Gtk::Box&>(*window.get_child()).get_children();
    auto& entry = dynamic_cast<Gtk::Entry&>(*children.at(1));
    dynamic_cast<Gtk::Button&>(*children.at(2)).clicked();
    Gtk::Clipboard::get()->set_text("/a\nsync_enabled=false");
    entry.select_region(0, -1);
    entry.paste_clipboard();
    EXPECT_TRUE(turn_until([&entry] { return entry.get_text_length() == 2; }));
    dynamic_cast<Gtk::Button&>(*children.at(2)).clicked();
    setenv("HOME", home.path.c_str(), 1);
    EXPECT_EQ(folders, home.file("\xFF/OneDrive|/a|"));
}

TEST_F(WindowTest, DialogOfALongTextKeepsAllOfItAndFitsTheScreen) {
    const auto text = std::string(2'000'000, '\n') + "\xC3\xBC";
    const auto shown = make_error_dialog(nullptr, "Long", text);
    shown->show(); // from here on it has its height
    EXPECT_TRUE(dialog_text() == "Long|" + text);
    EXPECT_LT(shown->get_height(), 800);
}
} // namespace
