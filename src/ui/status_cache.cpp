// SPDX-License-Identifier: MIT
#include "ui/status_cache.h"

#include "app/application.h"
#include "base/print.h"
#include "process/client_processes.h"
#include "process/main_loop.h"
#include "ui/skyfold.h"
#include "ui/status_dump.h"

#include <atomic>
#include <glibmm/fileutils.h>
#include <glibmm/miscutils.h>

namespace {
std::shared_ptr<const StatusMap> status_cache; // null: not loaded
std::atomic<unsigned> generation{0};

void publish(StatusMap map, unsigned refresh) {
    post_when_idle([whole = std::make_shared<const StatusMap>(std::move(map)), refresh] {
        if (refresh == generation)
            status_cache = whole;
    });
}

// Returns the client's answer. Starting a sync kills every client; then the newest refresh retries once, so
// that a killed query is not taken for an empty answer.
std::string ask_client(const char* arguments, unsigned refresh) {
    auto answer = query_client(arguments);
    if (answer.killed && refresh == generation)
        answer = query_client(arguments);
    return answer.output;
}

void add_statuses(std::string_view dump, StatusMap& map) {
    print_line("DEBUG: OneDrive CLI sync status output:");
    print_line(dump);
    for (auto& [path, status] : read_status_dump(dump)) {
        print_line(std::string("DEBUG: Cached status - ").append(path).append(": ").append(status));
        map.insert_or_assign(std::move(path), std::move(status));
    }
}

void add_skipped(std::string_view config_dump, StatusMap& map) {
    for (const auto& entry : read_skipped_directories(config_dump)) {
        map.insert_or_assign(entry, status_word::skipped);
        print_line("DEBUG: Found skipped directory: " + entry);
    }
}
} // namespace

unsigned status_generation() {
    return generation;
}

bool status_cache_loaded() {
    return status_cache != nullptr;
}

void forget_status_cache() {
    status_cache.reset();
    ++generation;
}

void Skyfold::load_sync_status_cache(unsigned refresh) {
    print_line("DEBUG: Loading sync status cache...");
    const auto dump = ask_client("--display-sync-status", refresh);
    if (refresh != generation)
        return; // stale: a newer refresh has begun
    StatusMap map;
    if (dump.empty()) { // the configuration is not read either, so nothing counts as skipped
        print_line("DEBUG: No sync status output from OneDrive CLI");
    } else {
        add_statuses(dump, map);
        add_skipped(ask_client("--display-config", refresh), map);
        print_line("DEBUG: Loaded " + std::to_string(map.size()) + " items into sync status cache");
    }
    publish(std::move(map), refresh);
}

std::string Skyfold::get_file_sync_status(const std::string& relative_path) const {
    const bool exists =
        Glib::file_test(Glib::build_filename(sync_dir, relative_path), Glib::FILE_TEST_EXISTS);
    return look_up_status(relative_path, {live_status_map, status_cache.get(), exists,
                                          app != nullptr && app->is_sync_running()});
}

std::string Skyfold::execute_onedrive_command(const std::string& arguments) {
    return query_client(arguments).output;
}
