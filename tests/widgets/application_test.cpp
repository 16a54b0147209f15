// SPDX-License-Identifier: MIT
// The two children of the application: who of them is heard, and what their ends lead to. And any child.
#include "harness.h"
#include "process/child_process.h"

#include <atomic>

namespace {
struct Child {
    explicit Child(const std::string& command, const std::string& line = "") {
        const auto take = [this](const std::string& chunk) {
            EXPECT_TRUE(!chunk.empty() && chunk.size() <= 4096);
            output += chunk;
            if (output == "sleeps\n")
                signal_child(pid, SIGTERM);
            throw std::runtime_error("caught");
        };
        const auto end = [this, main = std::this_thread::get_id()](int code) {
            EXPECT_NE(std::this_thread::get_id(), main);
            exit_code = code;
        };
        launch_process(command, take, end, &input, &pid, &watch);
        gsize written = 0;
        if (!line.empty())
            input->write(line.data(), static_cast<gssize>(line.size()), written); // arrives without a flush
        EXPECT_TRUE(turn_until([this] { return exit_code != -1000 && !watch.connected(); })) << command;
    }

    std::string output;
    std::atomic<int> exit_code{-1000};
    int pid = 0;
    Glib::RefPtr<Glib::IOChannel> input;
    sigc::connection watch;
};

TEST(ChildProcess, ReportsOutputAndExitCode) {
    using Case = std::tuple<const char*, int, std::string>;
    for (const auto& [command, exit_code, output] : {
             Case{"echo out; echo err >&2; echo out; exit 3", 3, "out\nerr\nout\n"},
             Case{"printf 'a\\0\\303'; kill -KILL $$", -1, std::string("a\0\303", 3)},
             Case{"kill -PIPE $$; echo on", -1, ""},
             Case{"sleep 99 & echo sleeps; wait", -1, "sleeps\n"}, // and would hold the pipe open
             Case{"read line; echo \"got $line\"", 0, "got x\n"},
         }) {
        const Child child(command, exit_code == 0 ? "x\n" : "");
        EXPECT_EQ(child.exit_code, exit_code) << command;
        EXPECT_EQ(child.output, output) << command;
    }
}

TEST(ChildProcess, NothingThatIsOpenedCrossesAndAnExceptionEndsNothing) {
    const std::string list = "ls -m /proc/self/fd; seq 100000";
    const Child first(list);
    const Child second(list);
    EXPECT_TRUE(first.output.ends_with("\n100000\n")) << "reading ended with what a handler threw";
    EXPECT_EQ(second.output, first.output) << "what was opened for the first crossed into the second";
}

const std::string monitor = "--monitor --syncdir {home}/OneDrive";

class ApplicationTest : public ShellTest {
  protected:
    void start_sync(const std::string& calls) {
        expect_calls(calls + call("--display-sync-status", "", "repeat"));
        fs::create_directories(folder + "/a");
        application.on_sync_started(folder);
    }

    int pid() { return ApplicationProbe::pid(application); }
    Skyfold& window() { return *ApplicationProbe::main_window(application); }
    bool shows(const std::string& status_line) {
        return turn_until([&] { return pid() != -1 && SkyfoldProbe::status_line(window()) == status_line; });
    }
};

// Whether the end of the child that was stopped comes before or after the new start, with or without a window
// in front, and whatever the child had printed, be it read already or not.
TEST_F(ApplicationTest, RestartIsOneThing) {
    const auto fetches = says("Fetching items from the OneDrive API");
    const auto first =
        call(monitor, says("AADSTS70000, --resync needed") + fetches + R"({"wait_for": "{home}/go"}, )" +
                          R"({"print": "Uploading: a/x ... 5%\nUploading: a/x"}, )" + marks("said") + hang);
    start_sync(first + first + first + first + call(monitor, fetches + hang));
    const auto uploads = [this] { return window().get_file_sync_status("a") == "Uploading"; };
    for (const bool daemon : {false, true}) {
        for (const bool end_comes_first : {false, true}) {
            ASSERT_TRUE(shows("Sync: Fetching file list from OneDrive...") && !uploads());
            application.set_daemon_mode(daemon);
            home.write("go", "");
            for (int waits = 0; waits < 4000 && !fs::remove(home.file("said")); ++waits)
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            fs::remove(home.file("go"));
            const int stopped = pid();
            application.quit_sync_process();
            if (end_comes_first) {
                ASSERT_TRUE(turn_until(uploads)); // no further, or the end would be judged
                while (kill(stopped, 0) == 0)
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
                std::this_thread::sleep_for(std::chrono::milliseconds(50)); // until that is posted
                application.toggle_sync();
            } else {
                application.on_sync_started(folder);
                EXPECT_TRUE(Glib::MainContext::get_default()->iteration(false)); // reads what was printed
                EXPECT_FALSE(uploads()) << "what the stopped client said last holds no more";
                std::this_thread::sleep_for(
                    std::chrono::milliseconds(300)); // the new start overtakes the end
            }
            ASSERT_TRUE(turn_until([this] { return pid() > 0; }) && ends(stopped));
            turn_for(0.1);
            EXPECT_TRUE(SkyfoldProbe::sync_switch(window()).get_active());
            EXPECT_EQ(ApplicationProbe::config(application).get("sync_enabled"), "true");
            EXPECT_TRUE(dialog() == nullptr && ApplicationProbe::login_pid(application) == 0);
        }
    }
    ASSERT_TRUE(shows("Sync: Fetching file list from OneDrive..."));
}

// Started at login the window is there, hidden, and must not say that nothing runs.
TEST_F(ApplicationTest, HiddenStartTellsItsWindowButMakesNone) {
    application.set_daemon_mode(true);
    start_sync(call(monitor, marks("first") + hang) + call(monitor, marks("second") + hang) +
               call(monitor, marks("third") + hang));
    EXPECT_EQ(pid(), -1);
    application.on_sync_started("/elsewhere"); // ignored
    EXPECT_EQ(application.get_sync_dir(), folder);
    ASSERT_TRUE(appears("first"));
    EXPECT_EQ(ApplicationProbe::main_window(application), nullptr);
    application.quit_sync_process();
    ASSERT_TRUE(turn_until(dialog));
    dialog()->response(Gtk::RESPONSE_OK);
    ApplicationProbe::main_window(application) = new Skyfold(&application, folder);
    application.on_sync_started(folder);
    ASSERT_TRUE(appears("second"));
    EXPECT_TRUE(SkyfoldProbe::sync_switch(window()).get_active());
    EXPECT_EQ(SkyfoldProbe::status_line(window()), "Sync: Starting...");
    EXPECT_FALSE(window().get_visible());
    // Without an icon, as a renewed sign-in may leave it, it has to come back by itself.
    application.quit_sync_process();
    application.set_daemon_mode(false);
    SkyfoldProbe::give_up_icon(window());
    application.on_sync_started(folder);
    ASSERT_TRUE(appears("third"));
    EXPECT_TRUE(window().get_visible());
}

TEST_F(ApplicationTest, LateResultsOfAnOlderSignInChangeNothing) {
    expect_calls(
        call("--display-quota --verbose", marks("first") + R"({"wait_for": "{home}/go"}, )" +
                                              says("https://login.microsoftonline.com/authorize?late ")) +
        call("--reauth --verbose", marks("second") + R"({"wait_for": "{home}/end"}, {"exit": 3})"));
    application.start_login_process(false);
    ASSERT_TRUE(appears("first"));
    const int older = ApplicationProbe::login_instance(application);
    const int client = ApplicationProbe::login_pid(application);
    application.start_login_process(true);
    ASSERT_TRUE(appears("second"));
    home.write("go", "");
    ApplicationProbe::on_token_saved(application, older); // an exchange of the older attempt ends well
    ASSERT_TRUE(ends(client));
    EXPECT_EQ(answered_dialog(0.3), "");
    EXPECT_EQ(ApplicationProbe::login_window(application)->get_title(), "Skyfold") << "still waits";
    Gtk::Dialog about; // open in the main window
    about.signal_response().connect([&about](int /*response*/) { about.hide(); });
    about.show();
    home.write("end", "");
    EXPECT_TRUE(answered_dialog(patience).ends_with("Exit Code: 3\n\nClient Output:\n"))
        << "nothing of the older one's";
    EXPECT_FALSE(about.get_visible()) << "would keep the program that quits now";
    application.do_token_exchange("https://login.microsoftonline.com/x?code=", older);
    EXPECT_EQ(answered_dialog(0.1), "") << "no attempt is left that could fail";
}
} // namespace
