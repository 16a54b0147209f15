// SPDX-License-Identifier: MIT
#include "process/main_loop.h"

#include "base/print.h"

#include <atomic>
#include <glibmm/exception.h>
#include <memory>
#include <string>
#include <system_error>
#include <thread>

namespace {
struct PostedTask {
    std::function<void()> run;
    // Always true when the task runs. GLib's lock orders the hand-over; ThreadSanitizer sees only this.
    std::atomic<bool> handed_over{false};
};

gboolean run_posted(gpointer data) {
    auto* task = static_cast<PostedTask*>(data);
    if (task->handed_over.load(std::memory_order_acquire))
        run_guarded(task->run);
    return G_SOURCE_REMOVE;
}

void release_posted(gpointer data) {
    delete static_cast<PostedTask*>(data);
}

// Not by g_main_context_invoke: at shutdown, when nobody runs the loop, it runs the task on this thread.
void post(std::function<void()> run, int priority) {
    auto task = std::make_unique<PostedTask>();
    task->run = std::move(run);
    task->handed_over.store(true, std::memory_order_release);
    g_idle_add_full(priority, run_posted, task.release(), release_posted);
}
} // namespace

// No exception may reach the main loop or end a thread.
void run_guarded(const std::function<void()>& task) {
    try {
        task();
    } catch (const std::exception& error) {
        print_error(std::string("ERROR: ") + error.what());
    } catch (const Glib::Exception& error) {
        print_error("ERROR: " + error.what().raw());
    } catch (...) {
        print_error("ERROR: Unknown exception");
    }
}

void post_to_main_loop(std::function<void()> task) {
    post(std::move(task), G_PRIORITY_DEFAULT);
}

void post_when_idle(std::function<void()> task) {
    post(std::move(task), G_PRIORITY_DEFAULT_IDLE);
}

bool start_worker(std::function<void()> body) {
    try {
        std::thread([body = std::move(body)] { run_guarded(body); }).detach();
        return true;
    } catch (const std::system_error& error) {
        print_error(std::string("ERROR: Failed to start a thread: ") + error.what());
        return false;
    }
}
