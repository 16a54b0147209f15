// SPDX-License-Identifier: MIT
#include "process/process_setup.h"

#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {
rlimit limit_at_start{};
bool limit_is_raised = false;
} // namespace

static void open_standard_descriptors() {
    int opened = open("/dev/null", O_RDWR); // NOLINT(*-cloexec): these are meant for children too
    while (opened >= 0 && opened <= STDERR_FILENO)
        opened = open("/dev/null", O_RDWR); // NOLINT(*-cloexec)
    if (opened > STDERR_FILENO)
        close(opened);
}

void prepare_process() {
    open_standard_descriptors();
    std::signal(SIGPIPE, SIG_IGN);
    if (getrlimit(RLIMIT_NOFILE, &limit_at_start) != 0)
        return;
    const rlimit raised{limit_at_start.rlim_max, limit_at_start.rlim_max};
    limit_is_raised = setrlimit(RLIMIT_NOFILE, &raised) == 0;
}

void restore_for_child() {
    std::signal(SIGPIPE, SIG_DFL);
    if (limit_is_raised)
        setrlimit(RLIMIT_NOFILE, &limit_at_start);
}
