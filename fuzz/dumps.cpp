// SPDX-License-Identifier: MIT
// One text read as the client's status dump and as its configuration dump.
#include "base/text.h"
#include "fuzz.h"
#include "ui/status_dump.h"

namespace {
template<typename Read>
auto read_and_compare(std::string_view text, Read read) {
    auto whole = read(text);
    decltype(whole) lines;
    for_each_line(text, [&](std::string_view line) {
        for (const auto& entry : read(line))
            lines.push_back(entry);
    });
    must_hold(lines == whole, "no line changes how another one is read");
    return whole;
}

bool is_dump_status(std::string_view status) {
    return status == status_word::pending || status == status_word::uploading ||
           status == status_word::downloading || status == status_word::synced ||
           status == status_word::online_only;
}
} // namespace

void try_text(std::string_view text) {
    StatusMap cache;
    for (const auto& [path, status] : read_and_compare(text, read_status_dump)) {
        must_hold(!path.empty() && path == trimmed(path, blanks), "a path is trimmed and not empty");
        must_hold(!contains(path, ":") && !contains(path, "\n"), "a path ends at the colon");
        must_hold(is_dump_status(status), "the status is a word of the dump");
        cache.insert_or_assign(path, status);
    }
    const StatusMap live;
    for (const auto& [path, status] : cache)
        must_hold(look_up_status(path, {live, &cache}) == status, "what was cached is found");

    for (const auto& entry : read_and_compare(text, read_skipped_directories)) {
        must_hold(!entry.empty() && !contains(entry, ",") && !contains(entry, "\n"), "entries are separated");
        const bool quoted = contains(text, "\"" + entry + "\""); // blanks between quotes belong to the entry
        must_hold(quoted || entry == trimmed(entry, blanks), "what stands without quotes is trimmed");
        cache.insert_or_assign(entry, status_word::skipped);
        const auto below = entry + "/x/y";
        must_hold(cache.contains(below) || look_up_status(below, {live, &cache}) == status_word::skipped,
                  "what is below an excluded folder is excluded");
    }
}
