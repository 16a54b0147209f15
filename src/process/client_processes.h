// SPDX-License-Identifier: MIT
// The outside client's processes: asking one and ending all of them. Which file is run is decided by the
// client locator, and the long-lived children belong to child_process.h.
#pragma once

#include "process/shell_command.h"

#include <string>

/// Runs the client once with `arguments` (a piece of shell text), its standard error thrown away. Blocks; any
/// thread may call. Empty when it cannot be started or the program is ending.
CommandEnd query_client(const std::string& arguments);

/// Kills every client that may be signalled, whoever started it, and deletes its lock. Blocks; any thread.
void kill_clients();

/// At the end of the program: no query starts any more, and those that run are killed. Waits until the last
/// one is gone, for some seconds at most.
void end_client_queries();
