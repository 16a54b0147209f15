// SPDX-License-Identifier: MIT
// Decides what an ended sync client asks for, from everything that it printed. The supervisor acts on it.
#pragma once

#include <string_view>

enum class SyncEnd {
    stopped, // on purpose; quit_sync_process does not lead here and says why
    resync,  // the client asks for one more start with a resync
    reauth,  // the client asks for a new sign-in
    failed,  // ended with an exit code other than 0
    clean,
};

/// How one client ended.
struct EndedClient {
    bool quit_requested = false;
    bool was_resync = false; // this launch was itself a resync
    int exit_code = 0;       // -1 for one ended by a signal
    std::string_view output; // all of it, as bytes
};

/// Searches the output for the client's requests, whatever its exit code, unless a stop was requested. A
/// resync wins over a new sign-in, but never follows a resync.
SyncEnd judge_sync_end(const EndedClient& client);
