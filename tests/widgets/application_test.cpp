// SPDX-License-Identifier: MIT
// The two children of the application: who of them is heard, and what their ends lead to.
#include "harness.h"

namespace {
class ApplicationTest : public ShellTest {
  protected:
    ApplicationTest() {
        acts["start"] = [this](Given) { application.on_sync_started(folder); };
        acts["start-elsewhere"] = [this](Given) { application.on_sync_started("/elsewhere"); };
        acts["stop"] = [this](Given) { application.quit_sync_process(); };
        acts["restart"] = [this](Given a) { restart(a.at(0) == "its end first"); };
        acts["dismiss"] = [](Given) {
            for (auto* dialog : open_dialogs())
                dialog->response(Gtk::RESPONSE_NONE);
        };
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
};

TEST_P(ApplicationTest, Day) {
    play();
}

INSTANTIATE_TEST_SUITE_P(Played, ApplicationTest,
                         testing::Values("SyncEnds", "RestartIsOneThing", "LeavingOutRestarts", "HiddenStart",
                                         "SignIn"),
                         [](const auto& day) { return day.param; });
} // namespace
