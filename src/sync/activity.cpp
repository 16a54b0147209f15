// SPDX-License-Identifier: MIT
#include "sync/activity.h"

#include "base/text.h"

#include <algorithm>

namespace {
constexpr std::size_t shown_path_limit = 60; // bytes
constexpr std::string_view cut_mark = "...";
constexpr std::string_view after_path = " ...";
constexpr std::string_view transfer_done = "... done";

constexpr std::array<std::string_view, 4> completion_phrases = {
    "Sync with Microsoft OneDrive is complete",
    "Number of items to download: 0",
    "No new or changed items",
    "No changes or items that can be applied",
};

struct TransferStart {
    std::string_view prefix;
    std::string_view status;
};

constexpr std::array<TransferStart, 6> transfer_starts = {{
    {"Uploading file:", status_word::uploading},
    {"Uploading new file:", status_word::uploading},
    {"Uploading modified file:", status_word::uploading},
    {"Uploading:", status_word::uploading},
    {"Downloading file:", status_word::downloading},
    {"Downloading:", status_word::downloading},
}};

constexpr std::array<std::string_view, 4> transfer_ends = {
    "Downloading file:",
    "Uploading file:",
    "Uploading modified file:",
    "Uploading new file:",
};

// Every prefix above contains this, so most lines need only this one search.
constexpr std::string_view in_every_prefix = "loading";

constexpr std::size_t longest_phrase =
    std::ranges::max(status_phrases, {}, [](const auto& row) { return row.phrase.size(); }).phrase.size();

void remove_prefix_if(std::string_view& text, std::string_view prefix) {
    if (text.starts_with(prefix))
        text.remove_prefix(prefix.size());
}

void start_transfer(std::string_view path, std::string_view status, Activity& activity) {
    const auto name = top_level_name(path);
    activity.live_status_map.insert_or_assign(std::string(name), status);
    activity.view.set_status_line(
        std::string("Sync: ").append(status).append(" \u2014 ").append(shown_path(path)));
    activity.view.set_entry_status(name, status);
}

void end_transfer(std::string_view path, Activity& activity) {
    const auto name = top_level_name(path);
    activity.live_status_map.erase(std::string(name));
    activity.view.set_entry_status(name, status_word::synced);
}

void complete_pass(Activity& activity) {
    activity.live_status_map.clear();
    activity.view.set_status_line("Sync: Sync complete");
    activity.view.set_all_synced();
}

void read_line(std::string_view line, Activity& activity) {
    if (line.ends_with('\r'))
        line.remove_suffix(1);
    if (line.empty())
        return;
    if (ends_sync_pass(line))
        complete_pass(activity);
    if (!contains(line, in_every_prefix))
        return;
    for (const auto& start : transfer_starts) {
        if (const auto path = transfer_path(line, start.prefix, activity.sync_dir))
            start_transfer(*path, start.status, activity);
    }
    if (!contains(line, transfer_done))
        return;
    for (const auto prefix : transfer_ends) {
        if (const auto path = transfer_path(line, prefix, activity.sync_dir))
            end_transfer(*path, activity);
    }
}

// Searches what was appended after `scan.searched`, with enough before it to find a phrase cut in two.
void search_phrases(Activity& activity) {
    auto& scan = activity.scan;
    const auto overlap = std::min(scan.searched, longest_phrase - 1);
    const auto fresh = std::string_view(activity.activity_buffer).substr(scan.searched - overlap);
    scan.row = first_status_phrase(fresh, scan.row);
    scan.searched = activity.activity_buffer.size();
    if (scan.row == status_phrases.size())
        return;
    activity.view.set_status_line(std::string("Sync: ").append(status_phrases[scan.row].text));
}
} // namespace

std::size_t first_status_phrase(std::string_view text, std::size_t limit) {
    for (std::size_t row = 0; row < limit; ++row) {
        if (contains(text, status_phrases[row].phrase))
            return row;
    }
    return limit;
}

bool ends_sync_pass(std::string_view line) {
    return contains_any(line, completion_phrases);
}

std::optional<std::string_view> transfer_path(std::string_view line, std::string_view prefix,
                                              std::string_view sync_dir) {
    const auto at = line.find(prefix);
    if (at == std::string_view::npos)
        return std::nullopt;
    auto path = line.substr(at + prefix.size());
    path.remove_prefix(std::min(path.find_first_not_of(blanks), path.size()));
    path = path.substr(0, path.find(after_path));
    if (path.starts_with(sync_dir)) {
        path.remove_prefix(sync_dir.size());
        remove_prefix_if(path, "/");
    }
    remove_prefix_if(path, "./"); // how client 2.5 prints entries of the top level
    return path.empty() ? std::nullopt : std::optional(path);
}

std::string_view top_level_name(std::string_view relative_path) {
    return relative_path.substr(0, relative_path.find('/'));
}

std::string shown_path(std::string_view relative_path) {
    if (relative_path.size() <= shown_path_limit)
        return std::string(relative_path);
    const auto kept = shown_path_limit - cut_mark.size();
    return std::string(cut_mark).append(relative_path.substr(relative_path.size() - kept));
}

void read_activity(std::string_view chunk, Activity& activity) {
    auto& buffer = activity.activity_buffer;
    auto line_end = buffer.size(); // the buffer so far contains no line end
    buffer.append(chunk);
    search_phrases(activity);

    const std::string_view text = buffer;
    std::size_t line_start = 0;
    while ((line_end = text.find('\n', line_end)) != std::string_view::npos) {
        read_line(text.substr(line_start, line_end - line_start), activity);
        line_start = ++line_end;
    }
    if (line_start == 0)
        return;
    buffer.erase(0, line_start);
    activity.scan = {buffer.size(), first_status_phrase(buffer)};
}
