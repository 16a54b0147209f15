// SPDX-License-Identifier: MIT
// What the window takes for lists of three sizes. Times are processor time of the main thread, so that
// neither other programs nor the workers count.
#include "app/toolkit.h"
#include "isolated_toolkit.h"
#include "ui/file_row.h"
#include "ui/skyfold.h"
#include "ui/status_cache.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <glibmm/main.h>

struct SkyfoldProbe {
    static void refresh(Skyfold& window) { window.show_refreshed_statuses(); }
    static auto& rows(Skyfold& window) { return window.rows_by_name; }
};

namespace {
double thread_seconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// Until nothing is left to lay out or to draw. Waiting costs no processor time.
void settle() {
    double start = 0;
    do {
        start = thread_seconds();
        bool over = false;
        Glib::signal_timeout().connect_once([&over] { over = true; }, 60);
        while (!over)
            Glib::MainContext::get_default()->iteration(true);
    } while (!status_cache_loaded() || thread_seconds() - start > 0.005);
}

// Every fourth entry is a folder; the files are of three kinds.
std::string folder_with(std::int64_t entries) {
    const auto folder = std::filesystem::temp_directory_path() / (std::to_string(entries) + " entries");
    std::filesystem::create_directory(folder);
    for (std::int64_t number = 0; number < entries; number += 4) {
        const auto path = (folder / ("Entry " + std::to_string(number))).string();
        std::filesystem::create_directory(path);
        for (const auto* kind : {".odt", ".png", ".txt"})
            std::ofstream(path + kind);
    }
    return folder;
}

void sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgName("rows")->Arg(100)->Arg(1000)->Arg(10'000);
    benchmark->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);
}

void list_folder(benchmark::State& state) {
    const auto folder = folder_with(state.range(0));
    for (auto _ : state) {
        Skyfold window(nullptr, folder_with(0));
        settle();
        const auto start = thread_seconds();
        window.populate_file_list(folder);
        state.SetIterationTime(thread_seconds() - start);
    }
}
BENCHMARK(list_folder)->Apply(sizes);

// Each with what it leaves to the main loop: layout and drawing. All rows change in the first two.
void change_rows(benchmark::State& state) {
    Skyfold window(nullptr, folder_with(state.range(0)));
    window.show();
    settle();
    const auto& row = *SkyfoldProbe::rows(window).find("Entry 0")->second; // the first
    const auto time = [&](const char* name, const char* status, const auto& change) {
        const auto start = thread_seconds();
        change();
        settle();
        const auto seconds = thread_seconds() - start;
        state.counters[name].value += seconds * 1000 / static_cast<double>(state.max_iterations);
        if (row.get_status_text() != status)
            state.SkipWithError("the row does not show the change");
        return seconds;
    };
    const auto complete = [&] { window.notify_sync_activity("Sync with Microsoft OneDrive is complete\n"); };
    const auto mark = [&] { window.notify_sync_activity("Downloading file: Entry 0/a.odt ... 5%\n"); };
    for (auto _ : state)
        state.SetIterationTime(time("pass_complete_ms", "Synced", complete) +
                               time("all_refreshed_ms", "Unknown", [&] { SkyfoldProbe::refresh(window); }) +
                               time("one_row_marked_ms", "Downloading", mark));
}
BENCHMARK(change_rows)->Apply(sizes);
} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv) || !start_isolated_toolkit())
        return EXIT_FAILURE;
    apply_toolkit_settings();
    // What the window prints would mix with the results: they keep the standard output.
    std::ios::sync_with_stdio(false);
    stdout = stderr = std::fopen("/dev/null", "we");
    benchmark::RunSpecifiedBenchmarks();
}
