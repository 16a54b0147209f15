// SPDX-License-Identifier: MIT
// The first line is a value, the others are a configuration file. No edit changes a line but the key line,
// and adding a value and removing it again gives the list back.
#include "ui/skip_dir.h"

#include "base/text.h"
#include "fuzz.h"
#include "ui/status_dump.h"

#include <algorithm>
#include <span>

namespace {
using Lines = std::vector<std::string>;
constexpr const char* key = "skip_dir";

std::size_t key_line(const Lines& lines) {
    const auto found = std::ranges::find_if(lines, [](const std::string& line) {
        const auto start = std::min(line.find_first_not_of(blanks), line.size());
        const auto text = std::string_view(line).substr(start);
        return text.starts_with(key) && contains(text, "="); // no "=" is in the key
    });
    return static_cast<std::size_t>(found - lines.begin());
}

Lines list_in(const Lines& lines) {
    Lines list;
    if (key_line(lines) == lines.size())
        return list;
    const auto& line = lines[key_line(lines)];
    for_each_piece(std::string_view(line).substr(line.find('=') + 1), ',', [&list](std::string_view piece) {
        if (std::ranges::count(piece, '"') > 1)
            list.emplace_back(piece.substr(piece.find('"') + 1, piece.rfind('"') - piece.find('"') - 1));
    });
    return list;
}

Lines without(Lines lines, std::size_t at) {
    if (at < lines.size())
        lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(at));
    return lines;
}

// Whether `edited` can have come from `lines` by changing, deleting or appending the key line.
bool others_are_kept(const Lines& lines, const Lines& edited) {
    const auto at = key_line(lines);
    const bool deleted = edited.size() < lines.size();
    return without(lines, at) == (deleted ? edited : without(edited, at));
}

void add_and_remove(const Lines& lines, const std::string& value, const Lines& added) {
    const auto removed = edit_list(added, key, value, false);
    must_hold(removed && others_are_kept(added, *removed), "what was added can be removed");
    // With its last entry the line goes, and a second line of the key, if there is one, is the list now.
    if (list_in(lines).empty())
        must_hold(*removed == without(lines, key_line(lines)), "the line goes with its last entry");
    else
        must_hold(list_in(*removed) == list_in(lines) && key_line(*removed) == key_line(lines),
                  "adding and removing gives the list back");
}

void add(const Lines& lines, const std::string& value, Lines list) {
    const auto added = edit_list(lines, key, value, true);
    const bool is_new = std::ranges::find(list, value) == list.end();
    must_hold(added.has_value() == is_new, "what is in the list is not added");
    if (!added)
        return;
    must_hold(others_are_kept(lines, *added), "adding changes no other line");
    must_hold(!edit_list(*added, key, value, true) || contains(value, ","), "nothing is added twice");
    // A value with a comma is read back as pieces of it, or not at all: the list is split at every comma,
    // between quotes, too. It can be added, harms no other entry, and cannot be removed.
    if (contains(value, ",")) {
        const auto read = list_in(*added);
        must_hold(std::ranges::equal(list, std::span(read).first(std::min(list.size(), read.size()))),
                  "a comma harms no other entry");
        must_hold(!edit_list(*added, key, value, false), "a value with a comma is never found");
        return;
    }
    list.push_back(value);
    must_hold(list_in(*added) == list, "the value is added at the end");
    std::erase(list, ""); // the reader passes over them
    must_hold(read_skipped_directories((*added)[key_line(*added)]) == list,
              "the reader sees what is written");
    add_and_remove(lines, value, *added);
}
} // namespace

void try_text(std::string_view text) {
    Lines lines;
    for_each_line(text, [&lines](std::string_view line) { lines.emplace_back(line); });
    if (lines.empty())
        return;
    const auto value = lines.front();
    lines.erase(lines.begin());
    const auto list = list_in(lines);
    add(lines, value, list);

    const auto removed = edit_list(lines, key, value, false);
    const bool was_there = std::ranges::find(list, value) != list.end();
    must_hold(removed.has_value() == was_there, "only what is in the list is removed");
    must_hold(!removed || others_are_kept(lines, *removed), "removing changes no other line");
}
