// SPDX-License-Identifier: MIT
#include "process/child_process.h"
#include "process/main_loop.h"

#include "harness.h"

#include <atomic>

namespace {
// One child and what came back from it.
struct Child {
    std::string output;
    std::atomic<int> exit_code{-1000};
    Glib::RefPtr<Glib::IOChannel> input;
    int pid = 0;
    sigc::connection watch;

    void launch(const std::string& command) {
        const auto take = [this](const std::string& chunk) {
            EXPECT_TRUE(!chunk.empty() && chunk.size() <= 4096);
            output += chunk;
            throw std::runtime_error("caught");
        };
        const auto end = [this, main = std::this_thread::get_id()](int code) {
            EXPECT_NE(std::this_thread::get_id(), main);
            exit_code = code;
        };
        launch_process(command, take, end, &input, &pid, &watch);
    }

    bool ends() {
        return turn_until([this] { return exit_code != -1000 && !watch.connected(); });
    }
};

TEST(ChildProcess, ReportsOutputAndExitCode) {
    struct Case {
        const char* command;
        int exit_code;
        std::string output;
    };
    for (const auto& [command, exit_code, output] : {
             Case{"echo out; echo err >&2; echo out; exit 3", 3, "out\nerr\nout\n"},
             Case{"printf 'a\\0\\303'; kill -KILL $$", -1, std::string("a\0\303", 3)},
             Case{"exec no-such-command 2>/dev/null", 127, ""},
             Case{"kill -PIPE $$; echo on", -1, ""},
             Case{"read line; echo \"got $line\"", 0, "got x\n"},
         }) {
        Child child;
        child.launch(command);
        EXPECT_GT(child.pid, 0);
        gsize written = 0;
        if (exit_code == 0)
            child.input->write("x\n", 2, written); // arrives without a flush
        ASSERT_TRUE(child.ends()) << command;
        EXPECT_EQ(child.exit_code, exit_code) << command;
        EXPECT_EQ(child.output, output) << command;
    }
}

TEST(ChildProcess, NothingThatIsOpenedCrossesAndAnExceptionEndsNothing) {
    const auto count_open = [] {
        const std::filesystem::directory_iterator open("/proc/self/fd");
        return std::distance(begin(open), end(open));
    };
    const auto before = count_open();
    Child first;
    Child second;
    for (auto* child : {&first, &second}) {
        child->launch("ls -m /proc/self/fd; seq 100000");
        ASSERT_TRUE(child->ends());
    }
    EXPECT_TRUE(first.output.ends_with("\n100000\n")) << "reading ended with what a handler threw";
    EXPECT_EQ(second.output, first.output) << "what was opened for the first crossed into the second";
    EXPECT_EQ(count_open(), before + 4) << "the program's ends of both pipes stay open";
}
} // namespace
