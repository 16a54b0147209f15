// SPDX-License-Identifier: MIT
#include "process/client_processes.h"
#include "ui/dialogs.h"
#include "ui/settings_window.h"
#include "ui/startup_window.h"
#include "ui/status_cache.h"

#include "scene.h"

#include <gtkmm/clipboard.h>

namespace {
class LookTest : public ShellTest {
  protected:
    void SetUp() override { fs::create_directories(folder); }

    // With the client answering `dump` and `config`, until the first refresh is through.
    Skyfold& make_window(const std::string& dump = "", const std::string& config = "") {
        expect_calls(call("--display-sync-status", says(dump), "repeat") +
                     call("--display-config", says(config), "repeat"));
        forget_status_cache();
        auto*& window = ApplicationProbe::main_window(application);
        window = new Skyfold(&application, folder);
        settle();
        return *window;
    }

    static FileRow& row(Skyfold& window, int index) {
        return dynamic_cast<FileRow&>(*SkyfoldProbe::list(window).get_children().at(index));
    }
};

TEST_F(LookTest, MainWindowIsAsApproved) {
    fs::remove(home.file(".config/skyfold/config"));
    expect_approved("window-main.txt", shown(make_window()));
}

TEST_F(LookTest, RowsAreAsApproved) {
    fs::create_directory(folder + "/folder \xFF");
    home.write("OneDrive/file", "");
    auto& window = make_window();
    window.show();
    wait_for("the rows", [&] { return row(window, 1).get_mapped(); });
    auto text = shown(SkyfoldProbe::list(window));
    auto& file = row(window, 1);
    for (const char* status : {"Synced", "Online-only", "Skipped", "Pending", "Uploading", "Downloading",
                               "Syncing...", "Unknown", "uploading", "Was Skipped once"}) {
        const auto before = shown(file);
        file.set_status(status);
        text += changed_lines(before, shown(file));
    }
    expect_approved("window-rows.txt", text);
}

TEST_F(LookTest, FirstRunWindowsAreAsApproved) {
    SettingsWindow settings;
    expect_approved("window-first-run.txt", with_names(shown(settings)));
    StartupWindow startup;
    expect_approved("window-startup.txt", shown(startup));
}

TEST_F(LookTest, AboutIsAsApproved) {
    auto& window = make_window();
    expect_approved("window-about.txt", asked([&] { window.on_about(); }, {Gtk::RESPONSE_DELETE_EVENT}));
}
} // namespace
