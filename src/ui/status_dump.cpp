// SPDX-License-Identifier: MIT
#include "ui/status_dump.h"

#include "base/text.h"

#include <array>

namespace {
struct DumpPhrase {
    std::string_view phrase;
    std::string_view status;
};

// The first of these phrases that occurs anywhere in a line decides, in this order.
constexpr std::array<DumpPhrase, 6> dump_phrases = {{
    {"sync pending", status_word::pending},
    {"uploading", status_word::uploading},
    {"downloading", status_word::downloading},
    {"synced", status_word::synced},
    {"online-only", status_word::online_only},
    {"remote", status_word::online_only},
}};

std::string_view status_in_line(std::string_view line) {
    for (const auto& row : dump_phrases) {
        if (contains(line, row.phrase))
            return row.status;
    }
    return {};
}

// `skip_dir = "a", "b"` gives ` "a", "b"`; a line that does not set the key gives nothing. Only the letters
// are searched for, so options whose name begins with them are read too.
std::string_view skip_dir_value(std::string_view line) {
    const auto key = line.find("skip_dir");
    if (key == std::string_view::npos || line.substr(0, key).find('#') != std::string_view::npos)
        return {};
    const auto equals = line.find('=', key);
    return equals == std::string_view::npos ? std::string_view() : line.substr(equals + 1);
}

bool inherits_skipped(std::string_view path, const StatusMap& cache) {
    while (!path.empty()) {
        const auto entry = cache.find(path);
        if (entry != cache.end() && entry->second == status_word::skipped)
            return true;
        const auto slash = path.rfind('/');
        if (slash == std::string_view::npos)
            return false;
        path = path.substr(0, slash);
    }
    return false;
}
} // namespace

std::vector<std::pair<std::string, std::string>> read_status_dump(std::string_view dump) {
    std::vector<std::pair<std::string, std::string>> entries;
    for_each_line(dump, [&entries](std::string_view line) {
        if (contains(line, "Status"))
            return; // the header
        const auto status = status_in_line(line);
        const auto colon = line.find(':');
        if (status.empty() || colon == std::string_view::npos)
            return;
        const auto path = trimmed(line.substr(0, colon), blanks);
        if (!path.empty())
            entries.emplace_back(path, status);
    });
    return entries;
}

std::vector<std::string> read_skipped_directories(std::string_view config_dump) {
    std::vector<std::string> entries;
    for_each_line(config_dump, [&entries](std::string_view line) {
        for_each_piece(skip_dir_value(line), ',', [&entries](std::string_view piece) {
            const auto entry = between_outer_quotes(piece).value_or(trimmed(piece, blanks));
            if (!entry.empty())
                entries.emplace_back(entry);
        });
    });
    return entries;
}

std::string look_up_status(std::string_view relative_path, const StatusSources& sources) {
    if (const auto live = sources.live.find(relative_path); live != sources.live.end())
        return live->second;
    if (sources.cache != nullptr) {
        if (const auto cached = sources.cache->find(relative_path); cached != sources.cache->end())
            return cached->second;
        if (inherits_skipped(relative_path, *sources.cache))
            return std::string(status_word::skipped);
    }
    if (!sources.exists)
        return std::string(status_word::online_only);
    return std::string(sources.sync_running ? status_word::pending : status_word::unknown);
}
