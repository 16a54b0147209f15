// SPDX-License-Identifier: MIT
#include "process/process_setup.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {
// For 4,000 children, each of which keeps two, if the hard limit allows; one-shot commands inherit it.
constexpr rlim_t enough_descriptors = 8192;

rlimit limit_at_start{};
bool limit_is_raised = false;
} // namespace

static void open_standard_descriptors() {
    int opened = STDERR_FILENO;
    while (opened >= 0 && opened <= STDERR_FILENO)
        opened = open("/dev/null", O_RDWR); // NOLINT(*-cloexec): children are meant to inherit these
    if (opened > STDERR_FILENO)
        close(opened);
}

static void raise_descriptor_limit() {
    if (getrlimit(RLIMIT_NOFILE, &limit_at_start) != 0 || limit_at_start.rlim_cur >= enough_descriptors)
        return;
    const rlimit raised{std::min(enough_descriptors, limit_at_start.rlim_max), limit_at_start.rlim_max};
    limit_is_raised = setrlimit(RLIMIT_NOFILE, &raised) == 0;
}

void prepare_process() {
    open_standard_descriptors();
    survive_closed_pipes();
    std::signal(SIGCHLD, SIG_DFL); // if it were ignored, waitpid would not report how a child ended
    raise_descriptor_limit();
}

void survive_closed_pipes() {
    std::signal(SIGPIPE, [](int /*signal*/) {});
}

void restore_for_child() {
    std::signal(SIGPIPE, SIG_DFL);
    if (limit_is_raised)
        setrlimit(RLIMIT_NOFILE, &limit_at_start);
}
