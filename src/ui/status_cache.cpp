// SPDX-License-Identifier: MIT
#include "ui/status_cache.h"

#include "app/application.h"
#include "base/print.h"
#include "process/client_locator.h"
#include "process/shell_command.h"
#include "ui/skyfold.h"
#include "ui/status_dump.h"

#include <atomic>
#include <glibmm/fileutils.h>
#include <glibmm/miscutils.h>
#include <mutex>

namespace {
// Never destroyed: a worker may still be at it when the process ends.
struct StatusCache {
    std::mutex guard; // of the two below, for the moment of a publication: a shared_ptr cannot be swapped
                      // without one
    std::shared_ptr<const StatusMap> map = std::make_shared<StatusMap>();
    unsigned forgotten = 0;          // how many times
    std::atomic<bool> loaded{false}; // set last

    std::mutex kill_guard; // held while clients are killed, so that no load starts in the midst of it
    unsigned kills = 0;
};

StatusCache& status_cache() {
    static auto* cache = new StatusCache();
    return *cache;
}

unsigned times_killed() {
    auto& cache = status_cache();
    const std::lock_guard lock(cache.kill_guard);
    return cache.kills;
}

void publish(StatusMap map, unsigned refresh) {
    auto& cache = status_cache();
    auto whole = std::make_shared<const StatusMap>(std::move(map));
    const std::lock_guard lock(cache.guard);
    if (cache.forgotten != refresh)
        return; // asked for before the last refresh: its content is old
    cache.map = std::move(whole);
    cache.loaded = true;
}

// Null until the cache is loaded.
std::shared_ptr<const StatusMap> loaded_map() {
    auto& cache = status_cache();
    if (!cache.loaded)
        return nullptr;
    const std::lock_guard lock(cache.guard);
    return cache.map;
}

// The client's answer; asks again when the sync's start killed the client that was to give it.
std::string ask_client(const char* arguments) {
    for (;;) {
        const auto kills = times_killed();
        auto answer = Skyfold::execute_onedrive_command(arguments);
        if (kills == times_killed())
            return answer;
    }
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

unsigned times_forgotten() {
    auto& cache = status_cache();
    const std::lock_guard lock(cache.guard);
    return cache.forgotten;
}

bool is_status_cache_loaded() {
    return status_cache().loaded;
}

void forget_status_cache() {
    auto& cache = status_cache();
    const std::lock_guard lock(cache.guard);
    cache.loaded = false;
    cache.map = std::make_shared<StatusMap>();
    ++cache.forgotten;
}

void kill_clients_around_loads(const std::function<void()>& kill) {
    auto& cache = status_cache();
    const std::lock_guard lock(cache.kill_guard);
    ++cache.kills;
    kill();
}

void Skyfold::load_sync_status_cache(unsigned refresh) {
    if (is_status_cache_loaded())
        return;
    print_line("DEBUG: Loading sync status cache...");
    StatusMap map;
    const auto dump = ask_client("--display-sync-status");
    if (dump.empty()) {
        // The configuration is not asked for either, so nothing counts as skipped.
        print_line("DEBUG: No sync status output from OneDrive CLI");
        publish({}, refresh);
        return;
    }
    add_statuses(dump, map);
    add_skipped(ask_client("--display-config"), map);
    print_line("DEBUG: Loaded " + std::to_string(map.size()) + " items into sync status cache");
    publish(std::move(map), refresh);
}

std::string Skyfold::get_file_sync_status(const std::string& relative_path) const {
    const bool exists =
        Glib::file_test(Glib::build_filename(sync_dir, relative_path), Glib::FILE_TEST_EXISTS);
    const auto cached = loaded_map();
    return look_up_status(relative_path,
                          {live_status_map, cached.get(), exists, app != nullptr && app->is_sync_running()});
}

std::string Skyfold::execute_onedrive_command(const std::string& arguments) {
    return run_shell_command(get_onedrive_path_local() + " " + arguments + " 2>/dev/null").value_or("");
}
