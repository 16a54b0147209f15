// SPDX-License-Identifier: MIT
// Runs the client once for a query, and kills all client processes. The client locator chooses the
// executable; child_process.h runs the long-lived children.
#pragma once

#include "process/shell_command.h"

#include <string>

/// Runs the client once with `arguments` (shell text) and discards its standard error. Blocks; any thread may
/// call it. The result is empty when the client cannot be started or the program is ending.
CommandEnd query_client(const std::string& arguments);

/// Kills every client that this user may signal and deletes its lock file. Blocks; any thread may call it.
void kill_clients();

/// Called at shutdown: prevents further queries, kills the running ones and waits (seconds) for their ends.
void end_client_queries();
