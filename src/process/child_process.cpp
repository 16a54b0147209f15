// SPDX-License-Identifier: MIT
#include "process/child_process.h"

#include "base/print.h"
#include "process/main_loop.h"
#include "process/process_setup.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <glibmm/main.h>
#include <memory>
#include <sys/wait.h>
#include <unistd.h>

namespace {
constexpr std::size_t chunk_size = 4096; // bytes

// The two ends of a pipe, in the order in which pipe2 returns them.
using Pipe = std::array<int, 2>;
constexpr std::size_t read_end = 0;
constexpr std::size_t write_end = 1;

// Runs between fork and exec in a program with threads, so it may call only async-signal-safe functions.
[[noreturn]] void run_shell(const char* command, const Pipe& output, const Pipe& input) {
    setpgid(0, 0); // a process group of its own, for signal_child
    dup2(output[write_end], STDOUT_FILENO);
    dup2(output[write_end], STDERR_FILENO);
    dup2(input[read_end], STDIN_FILENO);
    restore_for_child();
    execl("/bin/sh", "sh", "-c", command, nullptr);
    _exit(127);
}

Glib::RefPtr<Glib::IOChannel> raw_channel(int descriptor) {
    auto channel = Glib::IOChannel::create_from_fd(descriptor);
    channel->set_encoding("");    // raw bytes, no conversion
    channel->set_buffered(false); // each write arrives at once, and each chunk is one read
    return channel;
}

// Returning false removes the watch.
bool read_chunk(Glib::IOCondition condition, const Glib::RefPtr<Glib::IOChannel>& channel,
                const std::function<void(const std::string&)>& on_output) {
    if ((condition & (Glib::IO_IN | Glib::IO_PRI)) == Glib::IOCondition{})
        return false;
    std::array<char, chunk_size> buffer{};
    gsize size = 0;
    const auto status = channel->read(buffer.data(), buffer.size(), size);
    if (status == Glib::IO_STATUS_NORMAL && size > 0)
        run_guarded([&] { on_output({buffer.data(), size}); }); // an exception must not end the reading
    return status == Glib::IO_STATUS_NORMAL || status == Glib::IO_STATUS_AGAIN;
}

sigc::connection watch_output(int descriptor, std::function<void(const std::string&)> on_output) {
    const auto channel = raw_channel(descriptor);
    channel->set_flags(channel->get_flags() | Glib::IO_FLAG_NONBLOCK);
    return Glib::signal_io().connect(
        [channel, on_output = std::move(on_output)](Glib::IOCondition condition) {
            return read_chunk(condition, channel, on_output);
        },
        channel, Glib::IO_IN | Glib::IO_PRI | Glib::IO_HUP);
}

int exit_code(int wait_status) {
    return WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : -1;
}

void wait_for_child(int pid, const std::function<void(int)>& on_exit) {
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    on_exit(exit_code(status));
}
} // namespace

void launch_process(const std::string& command, std::function<void(const std::string&)> on_output,
                    std::function<void(int)> on_exit, Glib::RefPtr<Glib::IOChannel>* stdin_channel, int* pid,
                    sigc::connection* watch) {
    Pipe output{};
    Pipe input{};
    // Close-on-exec: the child inherits only its own three descriptors. A failure below leaves the pipes
    // open: they are four descriptors at most, and nothing retries a failed launch on its own.
    if (pipe2(output.data(), O_CLOEXEC) != 0 || pipe2(input.data(), O_CLOEXEC) != 0) {
        print_error("ERROR: Failed to create pipes");
        return;
    }
    const int child = fork();
    if (child < 0) {
        print_error("ERROR: Failed to fork process");
        return;
    }
    if (child == 0)
        run_shell(command.c_str(), output, input);

    setpgid(child, child); // the child does this too; either may run first
    close(output[write_end]);
    close(input[read_end]);
    if (pid != nullptr)
        *pid = child;
    if (stdin_channel != nullptr)
        *stdin_channel = raw_channel(input[write_end]);
    const auto connection = watch_output(output[read_end], std::move(on_output));
    if (watch != nullptr)
        *watch = connection;
    const auto report = std::make_shared<const std::function<void(int)>>(std::move(on_exit));
    if (!start_worker([child, report] { wait_for_child(child, *report); }))
        Glib::signal_child_watch().connect([report](GPid, int status) { (*report)(exit_code(status)); },
                                           child);
}

void signal_child(int pid, int signal) {
    kill(pid, signal);
    kill(-pid, signal);
}
