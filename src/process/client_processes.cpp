// SPDX-License-Identifier: MIT
#include "process/client_processes.h"

#include "process/client_files.h"
#include "process/client_locator.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>

namespace {
constexpr int last_rounds = 40;
constexpr std::chrono::milliseconds round_length(50);

// A query counts itself and then checks `ending`; the shutdown sets `ending` and then reads the count. So
// every query either sees the shutdown or is seen by it.
std::atomic<int> queries_running{0};
std::atomic<bool> ending{false};

// Counts a query for as long as it runs, however it ends.
class RunningQuery {
  public:
    RunningQuery() { ++queries_running; }
    RunningQuery(const RunningQuery&) = delete;
    ~RunningQuery() { --queries_running; }
};

void run_ignoring_result(const char* command) {
    [[maybe_unused]] const int result = std::system(command);
}
} // namespace

CommandEnd query_client(const std::string& arguments) {
    const RunningQuery counted;
    if (ending)
        return {};
    return run_shell_command(get_onedrive_path_local() + " " + arguments + " 2>/dev/null")
        .value_or(CommandEnd{});
}

void kill_clients() {
    run_ignoring_result("pkill -9 onedrive-cli 2>/dev/null");
    run_ignoring_result("pkill -9 -x onedrive 2>/dev/null");
    remove_client_file(".lock");
}

void end_client_queries() {
    ending = true;
    // Repeated, because pkill does not find a query whose shell has not yet executed the client.
    for (int round = 0; queries_running > 0 && round < last_rounds; ++round) {
        kill_clients();
        std::this_thread::sleep_for(round_length);
    }
}
