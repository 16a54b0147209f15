// SPDX-License-Identifier: MIT
// The windows, what each widget in them does, what the rows show, and the two children of the application:
// who of them is heard, and what their ends lead to.
#include "app/toolkit.h"
#include "harness.h"
#include "process/client_processes.h"
#include "ui/settings_window.h"
#include "ui/startup_window.h"

#include <gtkmm/settings.h>
#include <set>

namespace {
void choose(const std::vector<Gtk::Widget*>& among, const std::string& name) {
    for (auto* each : among) {
        if (each->get_tooltip_text().raw() != name && each->get_accessible()->get_name() != name)
            continue;
        if (auto* button = dynamic_cast<Gtk::Button*>(each))
            button->clicked();
        else
            each->activate();
        return;
    }
    throw std::runtime_error("nothing is named " + name);
}

std::vector<Gtk::Menu*> menus_of(FileRow& row) {
    std::vector<Gtk::Menu*> menus;
    for (auto* each = gtk_menu_get_for_attach_widget(GTK_WIDGET(row.gobj())); each != nullptr;
         each = each->next)
        menus.push_back(Glib::wrap(GTK_MENU(each->data)));
    return menus;
}

class WindowTest : public ShellTest {
  protected:
    WindowTest() {
        add_acts_of_windows_and_children();
        add_acts_of_rows_and_surroundings();
    }

    void add_acts_of_windows_and_children() {
        acts["show"] = [this](Given) { seen += shown(*main_window); };
        acts["flip"] = [this](Given a) { choose(SkyfoldProbe::settings(*main_window), a.at(0)); };
        acts["key"] = [this](Given a) {
            const auto held = a.size() > 1 ? GDK_MOD1_MASK : GdkModifierType{};
            const auto key = gdk_keyval_from_name(a.at(0).c_str());
            if (gtk_accel_groups_activate(G_OBJECT(main_window->gobj()), key, held) == FALSE)
                seen += "nothing has this key\n";
        };
        acts["refresh"] = [this](Given) { main_window->refresh_sync_status(); };
        acts["stopped"] = [this](Given) { main_window->set_sync_status(false); };
        acts["printed"] = [this](Given a) { main_window->notify_sync_activity(a.at(0)); };
        acts["set-autostart-off"] = [this](Given) { main_window->set_autostart_status(false); };
        acts["set-notifications-off"] = [this](Given) { main_window->set_notification_status(false); };
        acts["open-location"] = [this](Given a) { main_window->on_open_location_clicked(a.at(0)); };
        acts["first-run"] = [this](Given a) { confirm_folder(a); };
        acts["startup-window"] = [this](Given) { seen += shown(*std::make_unique<StartupWindow>()); };
        acts["start"] = [this](Given) { application.on_sync_started(folder); };
        acts["start-elsewhere"] = [this](Given) { application.on_sync_started("/elsewhere"); };
        acts["stop"] = [this](Given) { application.quit_sync_process(); };
        acts["restart"] = [this](Given a) { restart(a.at(0) == "its end first"); };
        acts["hide"] = [this](Given) { main_window->hide(); };
        acts["give-up-icon"] = [this](Given) { SkyfoldProbe::give_up_icon(*main_window); };
        acts["sign-in"] = [this](Given a) { application.start_login_process(a.at(0) == "again"); };
        acts["late-token"] = [this](Given) {
            ApplicationProbe::on_token_saved(application, global_login_instance - 1);
        };
        acts["late-page"] = [this](Given) {
            application.do_token_exchange("https://x?code=", global_login_instance - 1);
        };
    }

    // Whether the end of the child that was stopped comes before or after the new start, with or without a
    // window in front, and whatever the child had printed: a person sees one sync going on.
    void restart(bool end_comes_first) {
        fs::remove(home.file("begun"));
        home.write("go", "");
        wait_for_file("said", false);
        for (const char* name : {"go", "said"})
            fs::remove(home.file(name));
        application.quit_sync_process();
        if (!end_comes_first)
            application.on_sync_started(folder);
        settle(0, false); // what was begun is posted: a start overtakes the end
        if (end_comes_first)
            application.toggle_sync();
    }

    void add_acts_of_rows_and_surroundings() {
        acts["status"] = [this](Given a) {
            const auto before = shown(row(a.at(0)));
            row(a.at(0)).set_status(a.at(1));
            seen += changed_lines(before, shown(row(a.at(0))));
        };
        acts["press"] = [this](Given a) { choose(RowProbe::buttons(row(a.at(0))), a.at(1)); };
        acts["menu"] = [this](Given a) {
            row(a.at(0)).show_menu();
            for (auto* menu : menus_of(row(a.at(0))))
                seen += shown(*menu);
        };
        acts["choose"] = [this](Given a) {
            auto* menu = menus_of(row(a.at(0))).at(0);
            choose(menu->get_children(), a.at(1));
            menu->popdown();
        };
        acts["remove"] = [this](Given a) { fs::remove(home.path / a.at(0)); };
        acts["link"] = [this](Given a) { fs::create_symlink(a.at(1), home.path / a.at(0)); };
        acts["program"] = [](Given a) {
            const auto program = fs::path(std::getenv("SKYFOLD_ISOLATED")) / "bin" / a.at(0);
            replace_file(program, a.at(1));
            fs::permissions(program, fs::perms::owner_all);
        };
        acts["home"] = [this](Given a) { setenv("HOME", (home.path.string() + a.at(0)).c_str(), 1); };
        acts["no-home"] = [](Given) { unsetenv("HOME"); };
        acts["sync-folder"] = [this](Given a) { folder = home.file(a.at(0)); };
        acts["reset"] = [this](Given) { ApplicationProbe::reset(application); };
        acts["starts"] = [this](Given a) { pid = a.at(0) == "yes" ? -1 : 0; };
        acts["kill-clients"] = [](Given) { kill_clients(); };
        acts["remove-account"] = [this](Given) { application.remove_account(true); };
        acts["set-folder"] = [this](Given) { config.set("sync_dir", folder); };
        acts["set-folder-with-nul"] = [this](Given) {
            config.set("sync_dir", folder + std::string("\0x", 2));
        };
        acts["error"] = [this](Given a) { show_error(a.at(0), a.at(1)); };
        acts["toolkit-settings"] = [this](Given) {
            apply_toolkit_settings();
            auto theme = Gtk::Settings::get_default()->property_gtk_icon_theme_name();
            seen += theme.get_value() + " " + gtk_window_get_default_icon_name() + "\n";
            theme = "hicolor";
        };
    }

    // What the person typed, or what is proposed.
    void confirm_folder(Given typed) {
        SettingsWindow window;
        seen += shown(window);
        const auto children = dynamic_cast<Gtk::Box&>(*window.get_child()).get_children();
        window.signal_sync_started().connect(
            [&](const std::string& chosen) { seen += "chosen: " + chosen + "\n"; });
        if (!typed.empty())
            dynamic_cast<Gtk::Entry&>(*children.at(1)).set_text(typed.at(0));
        dynamic_cast<Gtk::Button&>(*children.at(2)).clicked();
    }

    void show_error(const std::string& count, const std::string& repeated) {
        std::string text;
        for (int times = std::stoi(count); times > 0; --times)
            text += repeated;
        const auto dialog = make_error_dialog(main_window, "A title \xFF", text + "x");
        dialog->show();
        wait_for("an answer", [&] { return answers.empty(); });
    }
};

TEST_P(WindowTest, Day) {
    play();
}

// "Main" for window-Main.txt.
std::set<std::string> days() {
    std::set<std::string> found;
    for (const auto& file : fs::directory_iterator(APPROVED))
        if (const auto name = file.path().stem().string(); name.starts_with("window-"))
            found.insert(name.substr(name.find('-') + 1));
    return found;
}
INSTANTIATE_TEST_SUITE_P(Played, WindowTest, testing::ValuesIn(days()),
                         [](const auto& day) { return day.param; });

// All of a long text is there, laid out in a time that a person waits, and no higher than a screen.
TEST(ErrorDialog, ShowsAllOfAHugeTextOnAScreen) {
    const auto text = std::string(2'000'000, '\n') + std::string(3000, 'x');
    const auto huge = make_error_dialog(nullptr, "Long", text);
    huge->show();
    EXPECT_LT(huge->get_height(), 800);
    EXPECT_EQ(huge->property_secondary_text().get_value().size(), text.size());
}
} // namespace
