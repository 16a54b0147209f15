// SPDX-License-Identifier: MIT
#include "process/child_process.h"
#include "process/main_loop.h"

#include "harness.h"

#include <atomic>
#include <fcntl.h>
#include <set>
#include <sys/resource.h>

namespace {
// One child and what came back from it.
struct Child {
    std::string output;
    std::size_t largest = 0;
    std::atomic<int> exit_code{-1000};
    std::atomic<bool> exit_came_on_main{false};
    Glib::RefPtr<Glib::IOChannel> input;
    int pid = 0;
    sigc::connection watch;

    void launch(const std::string& command) {
        const auto main = std::this_thread::get_id();
        launch_process(
            command,
            [this](const std::string& chunk) {
                EXPECT_FALSE(chunk.empty());
                largest = std::max(largest, chunk.size());
                output += chunk;
            },
            [this, main](int code) {
                exit_came_on_main = std::this_thread::get_id() == main;
                exit_code = code;
            },
            &input, &pid, &watch);
    }

    bool end() {
        return turn_until([this] { return exit_code != -1000 && !watch.connected(); });
    }
};

TEST(ChildProcess, ReportsOutputAndExitCode) {
    struct Case {
        const char* command;
        int exit_code;
        const char* output;
    };
    for (const auto& [command, exit_code, output] : std::initializer_list<Case>{
             {"echo out; echo err >&2; echo out; exit 3", 3, "out\nerr\nout\n"},
             {"printf 'a\\0\\303'; kill -KILL $$", -1, nullptr},
             {"exec no-such-command 2>/dev/null", 127, ""},
             {"read line; echo \"got $line\"", 0, "got x\n"},
         }) {
        Child child;
        child.launch(command);
        EXPECT_GT(child.pid, 0);
        gsize written = 0;
        if (output != nullptr && std::string(output) == "got x\n")
            child.input->write("x\n", 2, written); // arrives without a flush
        ASSERT_TRUE(child.end()) << command;
        EXPECT_EQ(child.exit_code, exit_code) << command;
        EXPECT_EQ(child.output, output != nullptr ? output : std::string("a\0\303", 3)) << command;
        EXPECT_FALSE(child.exit_came_on_main);
    }
}

TEST(ChildProcess, LosesNothingOfAMebibyte) {
    Child child;
    child.launch("seq 200000");
    ASSERT_TRUE(child.end());
    std::string expected;
    for (int i = 1; i <= 200000; ++i)
        expected += std::to_string(i) + "\n";
    EXPECT_TRUE(child.output == expected);
    EXPECT_EQ(child.largest, 4096U);
}

std::set<int> open_descriptors() {
    std::set<int> open;
    for (int descriptor = 0; descriptor < 1024; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) >= 0)
            open.insert(descriptor);
    }
    return open;
}

TEST(ChildProcess, NothingThatIsOpenedCrossesAndSignalsAreDefault) {
    const auto before = open_descriptors();
    Child child;
    child.launch("grep SigIgn /proc/self/status");
    ASSERT_TRUE(child.end());
    EXPECT_EQ(child.output, "SigIgn:\t0000000000000000\n");
    std::size_t kept = 0;
    for (const int descriptor : open_descriptors()) {
        if (!before.contains(descriptor)) {
            ++kept;
            EXPECT_EQ(fcntl(descriptor, F_GETFD), FD_CLOEXEC) << descriptor;
        }
    }
    EXPECT_EQ(kept, 2U) << "the program's ends of both pipes stay open";
}

TEST(ChildProcess, StoppedWatchDeliversNoMore) {
    Child child;
    child.launch("echo one; sleep 0.2; echo two");
    ASSERT_TRUE(turn_until([&] { return child.output == "one\n"; }));
    child.watch.disconnect();
    ASSERT_TRUE(child.end());
    turn_for(0.05);
    EXPECT_EQ(child.output, "one\n");
}

TEST(ChildProcess, FailureToMakePipesCallsNothing) {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit none{3, limit.rlim_max};
    Child child;
    child.pid = -1;
    testing::internal::CaptureStderr();
    setrlimit(RLIMIT_NOFILE, &none);
    child.launch("true");
    setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "ERROR: Failed to create pipes\n");
    EXPECT_EQ(child.pid, -1);
    EXPECT_FALSE(child.input);
}

TEST(MainLoop, HandsOverInOrderOfPriorityAndCatchesWhatIsThrown) {
    std::string order;
    const auto main = std::this_thread::get_id();
    const bool started = start_worker([&] {
        post_when_idle([&] { order += "idle"; });
        post_to_main_loop([&] {
            EXPECT_EQ(std::this_thread::get_id(), main);
            order += "now ";
            throw std::runtime_error("caught");
        });
        throw std::runtime_error("caught as well");
    });
    std::this_thread::sleep_for(
        std::chrono::milliseconds(100)); // nobody runs the loop: nothing may run meanwhile
    EXPECT_TRUE(started && turn_until([&] { return order == "now idle"; })) << order;
}
} // namespace
