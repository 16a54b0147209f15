// SPDX-License-Identifier: MIT
// Reads the client's two dumps, and looks up one entry's status. The status cache runs the client.
#pragma once

#include "base/status_words.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// The entries of a "--display-sync-status" dump in its order, as pairs of path and status word.
/// "a/b.pdf: synced" gives {"a/b.pdf", "Synced"}; other lines are ignored.
std::vector<std::pair<std::string, std::string>> read_status_dump(std::string_view dump);

/// The excluded folders named in a "--display-config" dump, in its order. Only commas separate entries, as in
/// the line that this program writes; entries joined by "|" count as one.
std::vector<std::string> read_skipped_directories(std::string_view config_dump);

/// What the lookup of one entry may use.
struct StatusSources {
    const StatusMap& live;
    const StatusMap* cache = nullptr; // null until the cache is loaded
    bool exists = false;              // something of that name is on disk
    bool sync_running = false;
};

/// The status word for a relative path: the live state, else the cache, an excluded parent, or local facts.
std::string look_up_status(std::string_view relative_path, const StatusSources& sources);
