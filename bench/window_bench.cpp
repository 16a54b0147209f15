// SPDX-License-Identifier: MIT
// What the window costs beside the same widgets without a program behind them. Times are processor time of
// the main thread, so that neither other programs nor the workers count; each pair is measured turn by turn.
#include "app/toolkit.h"
#include "bare_row.h"
#include "isolated_toolkit.h"
#include "ui/file_row.h"
#include "ui/skyfold.h"
#include "ui/status_cache.h"

#include <algorithm>
#include <array>
#include <benchmark/benchmark.h>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <giomm/file.h>
#include <glibmm/main.h>
#include <gtkmm/icontheme.h>
#include <iostream>
#include <memory>
#include <sstream>
#include <unistd.h>
#include <vector>

struct SkyfoldProbe {
    static void show_refreshed_statuses(Skyfold& window) { window.show_refreshed_statuses(); }
};

namespace {
double thread_seconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

double seconds_of(const std::function<void()>& work) {
    const auto start = thread_seconds();
    work();
    return thread_seconds() - start;
}

// Long enough for what is due at the next frame; waiting costs no processor time.
void turn_for(unsigned milliseconds) {
    bool over = false;
    Glib::signal_timeout().connect_once([&over] { over = true; }, milliseconds);
    while (!over)
        Glib::MainContext::get_default()->iteration(true);
}

void turn_until_loaded() {
    while (!status_cache_loaded())
        Glib::MainContext::get_default()->iteration(true);
    turn_for(20);
}

double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values[values.size() / 2];
}

// Every fourth entry is a folder; the files are of three kinds. Removed with the object.
class Folder {
  public:
    explicit Folder(std::int64_t count) {
        std::string pattern = (std::filesystem::temp_directory_path() / "folder-XXXXXX").string();
        path = mkdtemp(pattern.data());
        constexpr std::array kinds = {".odt", ".png", ".txt"};
        for (std::int64_t number = 0; number < count; ++number) {
            const auto name = "Entry " + std::to_string(number);
            if (number % 4 == 3)
                std::filesystem::create_directory(path / name);
            else
                std::ofstream(path / (name + kinds[static_cast<std::size_t>(number % 4)]));
            names.push_back(number % 4 == 3 ? name : name + kinds[static_cast<std::size_t>(number % 4)]);
        }
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    Folder(Folder&&) = delete;
    Folder& operator=(Folder&&) = delete;
    ~Folder() { std::filesystem::remove_all(path); }

    std::filesystem::path path;
    std::vector<std::string> names;
};

struct BareWindow : Gtk::Window {
    explicit BareWindow(const Folder& folder) {
        set_default_size(600, 400);
        list.set_selection_mode(Gtk::SELECTION_NONE);
        const auto icon = Gtk::IconTheme::get_default()->load_icon("folder", 22, Gtk::IconLookupFlags{});
        for (const auto& name : folder.names) {
            rows.push_back(Gtk::make_managed<BareRow>(icon, name, rows.size() % 2 == 0));
            list.append(*rows.back());
        }
        scrolled.add(list);
        add(scrolled);
        show_all_children();
    }

    Gtk::ScrolledWindow scrolled;
    Gtk::ListBox list;
    std::vector<BareRow*> rows;
};

std::unique_ptr<Skyfold> open_folder(const Folder& folder) {
    return std::make_unique<Skyfold>(nullptr, folder.path.string());
}

// Runs both turn by turn, as often as the benchmark wants, and tells the middle of the ratios.
void compare(benchmark::State& state, const std::function<double()>& ours,
             const std::function<double()>& bare) {
    std::vector<double> times;
    std::vector<double> ratios;
    for (auto _ : state) {
        const auto time = ours();
        const auto bare_time = bare();
        state.SetIterationTime(time);
        times.push_back(bare_time);
        ratios.push_back(time / bare_time);
    }
    state.counters["bare_ms"] = median(times) * 1000;
    state.counters["ratio"] = median(ratios);
}

// What the toolkit's file layer takes to tell of every entry what the list asks for.
double read_folder(const Folder& folder) {
    return seconds_of([&folder] {
        const auto entries = Gio::File::create_for_path(folder.path)->enumerate_children("*");
        while (entries->next_file()) {
        }
    });
}

// The frame (menu bar, status bar) is the same for every folder and is taken off on both sides.
void list_folder(benchmark::State& state) {
    const Folder folder(state.range(0));
    const Folder empty(0);
    const auto time = [](const auto& make, const Folder& over) {
        decltype(make(over)) window;
        const auto seconds = seconds_of([&] { window = make(over); });
        turn_until_loaded();
        return seconds;
    };
    const auto bare = [](const Folder& over) { return std::make_unique<BareWindow>(over); };
    std::vector<double> read;
    compare(
        state, [&] { return time(open_folder, folder) - time(open_folder, empty); },
        [&] {
            read.push_back(read_folder(folder));
            return time(bare, folder) - time(bare, empty);
        });
    state.counters["read_ms"] = median(read) * 1000;
}

// A window of each kind on the screen, so that a change has its layout and drawing to pay for as well.
struct Shown {
    explicit Shown(std::int64_t entries) : folder(entries), ours(open_folder(folder)), bare(folder) {
        ours->show();
        bare.show();
        turn_until_loaded();
        while (seconds_of([] { turn_for(500); }) > 0.005) { // all is laid out and drawn
        }
    }

    // Made once for all benchmarks of that size.
    static Shown& with(std::int64_t entries) {
        static std::unique_ptr<Shown> shown;
        if (!shown || std::ssize(shown->folder.names) != entries) {
            shown.reset();
            shown = std::make_unique<Shown>(entries);
        }
        return *shown;
    }

    // Whatever the handler leaves to the main loop counts.
    static double with_frame(const std::function<void()>& change) {
        return seconds_of([&change] {
            change();
            turn_for(60);
        });
    }

    Folder folder;
    std::unique_ptr<Skyfold> ours;
    BareWindow bare;
    bool flip = false;
};

void set_bare(BareRow& row, const char* text) {
    row.status.set_text(text);
    row.image.set(row.base_icon);
}

void set_all_bare(Shown& shown, const char* text) {
    for (auto* row : shown.bare.rows)
        set_bare(*row, text);
}

void mark_one_row(benchmark::State& state) {
    auto& shown = Shown::with(state.range(0));
    const auto name = shown.folder.names[shown.folder.names.size() / 2];
    std::vector<double> handler;
    compare(
        state,
        [&] {
            return Shown::with_frame([&] {
                const auto line = (shown.flip ? "Downloading file: " : "Downloading: ") + name +
                                  (shown.flip ? " ... done\n" : " ...   5%\n");
                handler.push_back(seconds_of([&] { shown.ours->notify_sync_activity(line); }));
                shown.flip = !shown.flip;
            });
        },
        [&] {
            return Shown::with_frame([&] {
                set_bare(*shown.bare.rows[shown.bare.rows.size() / 2], shown.flip ? "Downloading" : "Synced");
            });
        });
    state.counters["handler_ms"] = median(handler) * 1000;
}

void change_all_rows(benchmark::State& state, const std::function<void(Skyfold&)>& change, const char* text) {
    auto& shown = Shown::with(state.range(0));
    std::vector<double> handler;
    compare(
        state,
        [&] {
            return Shown::with_frame([&] { handler.push_back(seconds_of([&] { change(*shown.ours); })); });
        },
        [&] { return Shown::with_frame([&] { set_all_bare(shown, text); }); });
    state.counters["handler_ms"] = median(handler) * 1000;
}

void complete_pass(benchmark::State& state) {
    const auto complete = [](Skyfold& window) {
        window.notify_sync_activity("Sync with Microsoft OneDrive is complete\n");
    };
    change_all_rows(state, complete, "Synced");
}

void refresh_all_rows(benchmark::State& state) {
    change_all_rows(state, SkyfoldProbe::show_refreshed_statuses, "Unknown");
}

// By number and not by time: a pair takes seconds when there are many rows.
void register_all() {
    using Sizes = std::vector<std::pair<std::int64_t, int>>; // rows, pairs to measure
    const auto add = [](const char* name, auto* function, std::int64_t rows, int pairs) {
        benchmark::RegisterBenchmark(name, function)
            ->ArgName("rows")
            ->Arg(rows)
            ->Iterations(pairs)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
    };
    for (const auto& [rows, pairs] : Sizes{{100, 15}, {1000, 7}, {5000, 3}, {10'000, 3}})
        add("list_folder", list_folder, rows, pairs);
    for (const auto& [rows, pairs] : Sizes{{100, 15}, {1000, 7}, {10'000, 3}}) {
        add("mark_one_row", mark_one_row, rows, pairs);
        add("complete_pass", complete_pass, rows, pairs);
        add("refresh_all_rows", refresh_all_rows, rows, pairs);
    }
}

// What the program prints would mix with the results. Returns where output went before.
int silence_output() {
    const int output = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
    dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
    return output;
}
} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return EXIT_FAILURE;
    if (!start_isolated_toolkit())
        return EXIT_FAILURE;
    apply_toolkit_settings();
    register_all();
    std::ostringstream results;
    const int output = silence_output();
    benchmark::ConsoleReporter reporter(benchmark::ConsoleReporter::OO_Tabular);
    reporter.SetOutputStream(&results);
    reporter.SetErrorStream(&std::cerr);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    const auto text = results.str();
    return write(output, text.data(), text.size()) == std::ssize(text) ? EXIT_SUCCESS : EXIT_FAILURE;
}
