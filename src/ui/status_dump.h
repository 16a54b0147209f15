// SPDX-License-Identifier: MIT
// Reads the client's two dumps, and looks up the status of one entry. Running the client and keeping the
// result is left to the status cache.
#pragma once

#include "base/status_words.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// The entries of a "--display-sync-status" dump in its order, path and status word. "a/b.pdf: synced" gives
/// {"a/b.pdf", "Synced"}; lines of another shape are passed over.
std::vector<std::pair<std::string, std::string>> read_status_dump(std::string_view dump);

/// The excluded folders named in a "--display-config" dump, in its order. Only commas separate entries, as in
/// the key that the program writes; a value joined by bars is one entry.
std::vector<std::string> read_skipped_directories(std::string_view config_dump);

/// What the lookup of one entry may use.
struct StatusSources {
    const StatusMap& live;
    const StatusMap* cache = nullptr; // null until the cache is loaded
    bool exists = false;              // something of that name is on disk
    bool sync_running = false;
};

/// The status word for a path below the sync folder: live state, cache, an excluded parent, local facts.
std::string look_up_status(std::string_view relative_path, const StatusSources& sources);
