// SPDX-License-Identifier: MIT
// Reads the English (bytes) that the client prints in monitor mode: which phrase sets the status line, which
// line starts or ends a transfer or a whole pass, and which entry a line names. An ActivityView shows it.
#pragma once

#include "base/status_words.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>

/// A phrase of the client and the text that the status line shows for it after "Sync: ".
struct StatusPhrase {
    std::string_view phrase;
    std::string_view text;
};

/// Tested in this order: the first row whose phrase occurs anywhere in the text wins, even if another phrase
/// stands before it. "Processing" is short, general and second on purpose: it outranks every row below it.
inline constexpr std::array<StatusPhrase, 11> status_phrases = {{
    {"Fetching items from the OneDrive API", "Fetching file list from OneDrive..."},
    {"Processing", "Processing file list..."},
    {"Number of items to download", "Starting downloads..."},
    {"Performing initial synchronisation", "Performing initial sync..."},
    {"Starting a sync with Microsoft", "Starting sync..."},
    {"Syncing changes from Microsoft OneDrive", "Syncing changes..."},
    {"Initialising filesystem inotify", "Watching for local changes..."},
    {"OneDrive synchronisation interval", "Monitor running \u2014 waiting for changes"},
    {"interrupted downloads that need to be resumed", "Resuming interrupted downloads..."},
    {"Sync with Microsoft OneDrive is complete", "Sync complete"},
    {"Received termination signal", "Sync stopping..."},
}};

/// The index of the first row before `limit` whose phrase is in `text`, or `limit` if there is none.
std::size_t first_status_phrase(std::string_view text, std::size_t limit = status_phrases.size());

/// True for a line that marks the end of a sync pass.
bool ends_sync_pass(std::string_view line);

/// The entry that `line` names after `prefix`, relative to `sync_dir`: "Downloading file: ./a/b.txt ... done"
/// gives "a/b.txt". Nothing when the prefix is not in the line or no path follows. A view into `line`.
std::optional<std::string_view> transfer_path(std::string_view line, std::string_view prefix,
                                              std::string_view sync_dir);

/// The part of a relative path before its first "/", which names an entry of the sync folder.
std::string_view top_level_name(std::string_view relative_path);

/// The path itself up to 60 bytes, otherwise "..." and its last 57 bytes (which may cut a character).
std::string shown_path(std::string_view relative_path);

/// What the rules ask the window to do. Texts are bytes.
class ActivityView {
  public:
    virtual ~ActivityView() = default;

    virtual void set_status_line(const std::string& text) = 0;
    /// Sets the status of every row whose base name is `name`.
    virtual void set_entry_status(std::string_view name, std::string_view status) = 0;
    /// Sets "Synced" on every row that does not show "Skipped".
    virtual void set_all_synced() = 0;
};

/// How far the unfinished line in the activity buffer has been searched, and the best phrase row found so
/// far. It saves searching a very long line again from its start with every chunk.
struct PhraseScan {
    std::size_t searched = 0; // bytes
    std::size_t row = status_phrases.size();
};

/// Everything that the reading of one chunk uses and changes.
struct Activity {
    const std::string& sync_dir;
    std::string& activity_buffer; // the unfinished last line of the output
    PhraseScan& scan;             // belongs to activity_buffer
    StatusMap& live_status_map;   // top-level name to "Uploading" or "Downloading"
    ActivityView& view;
};

/// Interprets one chunk: sets the status line from the phrase table, then acts on each finished line.
void read_activity(std::string_view chunk, Activity& activity);
