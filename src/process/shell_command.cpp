// SPDX-License-Identifier: MIT
#include "process/shell_command.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace {
constexpr int shell_says_killed = 128 + SIGKILL; // the shell's own status after its command was killed

// Closes the pipe and stores its wait status, on every way out of a function.
struct ClosePipe {
    int* wait_status;
    void operator()(std::FILE* pipe) const { *wait_status = pclose(pipe); }
};

bool was_killed(int wait_status) {
    return WIFSIGNALED(wait_status) ? WTERMSIG(wait_status) == SIGKILL
                                    : WEXITSTATUS(wait_status) == shell_says_killed;
}
} // namespace

// Reads the descriptor, not the stream: fread would hold the stream's lock meanwhile, for which newer C
// libraries wait when the process ends, and fgets would lose the rest of a line after a NUL byte.
std::optional<CommandEnd> run_shell_command(const std::string& command) {
    CommandEnd end;
    int wait_status = 0;
    std::unique_ptr<std::FILE, ClosePipe> pipe(popen(command.c_str(), "re"), ClosePipe{&wait_status});
    if (!pipe)
        return std::nullopt;
    std::array<char, 1024> buffer{};
    ssize_t count = 0;
    while ((count = TEMP_FAILURE_RETRY(read(fileno(pipe.get()), buffer.data(), buffer.size()))) > 0)
        end.output.append(buffer.data(), static_cast<std::size_t>(count));
    pipe.reset();
    end.killed = was_killed(wait_status);
    return end;
}

std::string exec(const char* command) {
    auto end = run_shell_command(command);
    if (!end)
        throw std::runtime_error("popen() failed!");
    return std::move(end->output);
}

std::string inside_double_quotes(std::string_view text) {
    std::string quoted;
    for (const char c : text) {
        if (c == '"' || c == '\\' || c == '$' || c == '`')
            quoted += '\\';
        quoted += c;
    }
    return quoted;
}
