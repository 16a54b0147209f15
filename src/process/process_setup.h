// SPDX-License-Identifier: MIT
// What this process is set up with once at start, and what its children take back before they execute.
#pragma once

/// Call first in `main`. Opens missing standard descriptors on /dev/null, takes inherited signal dispositions
/// back that the program cannot work with, and raises the limit of open descriptors (each child keeps two for
/// good).
void prepare_process();

/// Makes writing to a closed pipe an error instead of a death, by a handler that does nothing: unlike an
/// ignored signal it does not cross into the programs that are started. GLib ignores the signal when it makes
/// its first socket, so this is called again once the bus is connected.
void survive_closed_pipes();

/// In a child of `launch_process`, between fork and exec: system calls only.
void restore_for_child();
