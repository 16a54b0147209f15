// SPDX-License-Identifier: MIT
// What an ended sync client asks for, judged from everything it printed. The supervisor acts on it.
#pragma once

#include <string_view>

enum class SyncEnd {
    stopped, // stopped on purpose
    resync,  // wants to be started once more with a resync
    reauth,  // wants a new sign-in
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

/// The phrases count whatever the exit code; a resync wins over a new sign-in, but never twice in a row.
SyncEnd judge_sync_end(const EndedClient& client);
