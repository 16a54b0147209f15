// SPDX-License-Identifier: MIT
// Sets this process up once at start, and undoes in each child what the child must not inherit.
#pragma once

/// Call first in `main`. Opens missing standard descriptors on /dev/null, stops ignoring SIGCHLD and SIGPIPE
/// if that was inherited, and raises the limit of open descriptors (each child leaves two open for good).
void prepare_process();

/// Makes a write to a closed pipe fail instead of ending the program. It installs an empty SIGPIPE handler,
/// because started programs would inherit an ignored signal. GLib ignores the signal when it makes its first
/// socket, so call this again once the bus is connected.
void survive_closed_pipes();

/// Resets SIGPIPE and the descriptor limit in a child, between fork and exec, by system calls only.
void restore_for_child();
