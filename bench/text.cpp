// SPDX-License-Identifier: MIT
// How fast the rules are over the client's output, without a window.
#include "sync/activity.h"
#include "ui/status_dump.h"

#include <benchmark/benchmark.h>
#include <map>
#include <string>
#include <vector>

namespace {
constexpr std::int64_t mebibyte = 1 << 20;

// One window's state from its first chunk on; finds rows by name, as the window does.
struct Reader : ActivityView {
    void read(std::string_view chunk) {
        Activity activity{folder, buffer, scan, live, *this};
        read_activity(chunk, activity);
    }
    void set_status_line(const std::string& /*text*/) override {}
    void set_entry_status(std::string_view name, std::string_view status) override {
        const auto [first, last] = rows.equal_range(name);
        for (auto row = first; row != last; ++row)
            row->second = status;
    }
    void set_all_synced() override {} // no text here ends a pass

    std::string folder = "/home/user/OneDrive";
    std::string buffer;
    PhraseScan scan;
    StatusMap live;
    std::multimap<std::string, std::string, std::less<>> rows;
};

// A real line that neither sets the status line nor names an entry.
std::string plain_line(std::int64_t /*number*/, std::int64_t /*rows*/) {
    return "Performing a database consistency and integrity check on locally stored data .. \n";
}

// Names rows all over the list.
std::string transfer_line(std::int64_t number, std::int64_t rows) {
    return "Downloading file: Folder " + std::to_string(number * 7919 % rows) +
           "/Reports/2024/summary of the year.odt ... done\n";
}

void lines(benchmark::State& state, std::string (*line)(std::int64_t number, std::int64_t rows)) {
    Reader reader;
    for (std::int64_t number = 0; number < state.range(0); ++number)
        reader.rows.emplace("Folder " + std::to_string(number), "Synced");
    std::vector<std::string> texts(1024);
    for (std::size_t number = 0; number < texts.size(); ++number)
        texts[number] = line(static_cast<std::int64_t>(number), state.range(0));
    std::size_t next = 0;
    for (auto _ : state)
        reader.read(texts[next++ % texts.size()]);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK_CAPTURE(lines, without_entry, plain_line)->ArgName("rows")->Arg(1000);
BENCHMARK_CAPTURE(lines, with_entry, transfer_line)->ArgName("rows")->Arg(100)->Arg(1000)->Arg(10'000);

void lines_in_one_chunk(benchmark::State& state) {
    std::string chunk;
    while (std::ssize(chunk) < state.range(0) * mebibyte)
        chunk += plain_line(0, 0);
    for (auto _ : state)
        Reader().read(chunk);
}
BENCHMARK(lines_in_one_chunk)->ArgName("MiB")->Arg(1)->Arg(2)->Arg(4)->Unit(benchmark::kMillisecond);

// In the pieces in which a pipe is read.
void line_without_end(benchmark::State& state) {
    const std::string piece(4096, 'D');
    for (auto _ : state) {
        Reader reader;
        for (std::int64_t size = 0; size < state.range(0) * mebibyte; size += std::ssize(piece))
            reader.read(piece);
    }
}
BENCHMARK(line_without_end)->ArgName("MiB")->Arg(1)->Arg(2)->Arg(4)->Unit(benchmark::kMillisecond);

void status_dump(benchmark::State& state) {
    std::string dump;
    for (std::int64_t line = 0; line < state.range(0); ++line)
        dump += "Documents/Reports/file " + std::to_string(line * 7919 % state.range(0)) + ".odt: synced\n";
    for (auto _ : state) {
        StatusMap map;
        for (auto& [path, status] : read_status_dump(dump))
            map.insert_or_assign(std::move(path), std::move(status));
        benchmark::DoNotOptimize(map);
    }
}
BENCHMARK(status_dump)->ArgName("lines")->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);
} // namespace
