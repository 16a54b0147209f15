// SPDX-License-Identifier: MIT
// How fast the rules are over the client's output, without a window. Items are lines.
#include "sync/activity.h"
#include "ui/status_dump.h"

#include <array>
#include <benchmark/benchmark.h>
#include <map>
#include <string>
#include <vector>

namespace {
constexpr std::size_t lines_a_chunk = 64;
constexpr std::int64_t mebibyte = 1 << 20;

// Real lines that neither set the status line nor name an entry.
constexpr std::array<std::string_view, 4> plain_lines = {
    "Using IPv4 and IPv6 (if configured) for all network operations\n",
    "Attempting to contact Microsoft OneDrive Login Service\n",
    "Performing a database consistency and integrity check on locally stored data .. \n",
    "Scanning the local file system '/home/user/OneDrive' for new data to upload . \n",
};

std::string entry_name(std::size_t number) {
    return "Folder " + std::to_string(number);
}

// Keeps a status a row and finds rows by name, as the window does.
class Rows : public ActivityView {
  public:
    explicit Rows(std::size_t count) {
        for (std::size_t number = 0; number < count; ++number)
            by_name.emplace(entry_name(number), "Synced");
    }

    void set_status_line(const std::string& text) override { status_line = text; }
    void set_entry_status(std::string_view name, std::string_view status) override {
        const auto [first, last] = by_name.equal_range(name);
        for (auto row = first; row != last; ++row)
            row->second = status;
    }
    void set_all_synced() override {
        for (auto& [name, status] : by_name)
            status = status_word::synced;
    }

  private:
    std::string status_line;
    std::multimap<std::string, std::string, std::less<>> by_name;
};

// One window's state from its first chunk on.
struct Reader {
    explicit Reader(std::size_t row_count) : rows(row_count) {}

    void read(std::string_view chunk) {
        Activity activity{folder, buffer, scan, live, rows};
        read_activity(chunk, activity);
    }

    std::string folder = "/home/user/OneDrive";
    std::string buffer;
    PhraseScan scan;
    StatusMap live;
    Rows rows;
};

std::string plain_text(std::size_t lines) {
    std::string text;
    for (std::size_t line = 0; line < lines; ++line)
        text += plain_lines[line % plain_lines.size()];
    return text;
}

// Names rows all over the list.
std::string transfer_line(std::size_t number, std::size_t rows) {
    const std::string prefix = number % 2 == 0 ? "Downloading file: " : "Uploading modified file: ";
    return prefix + entry_name(number * 7919 % rows) + "/Reports/2024/summary of the year.odt ... done\n";
}

void plain_line_by_line(benchmark::State& state) {
    Reader reader(1000);
    std::size_t line = 0;
    for (auto _ : state)
        reader.read(plain_lines[line++ % plain_lines.size()]);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(plain_line_by_line);

void plain_lines_64_a_chunk(benchmark::State& state) {
    Reader reader(1000);
    const auto chunk = plain_text(lines_a_chunk);
    for (auto _ : state)
        reader.read(chunk);
    state.SetItemsProcessed(state.iterations() * std::int64_t{lines_a_chunk});
}
BENCHMARK(plain_lines_64_a_chunk);

void transfer_line_by_line(benchmark::State& state) {
    const auto rows = static_cast<std::size_t>(state.range(0));
    Reader reader(rows);
    std::vector<std::string> lines;
    lines.reserve(1024);
    for (std::size_t number = 0; number < 1024; ++number)
        lines.push_back(transfer_line(number, rows));
    std::size_t line = 0;
    for (auto _ : state)
        reader.read(lines[line++ % lines.size()]);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(transfer_line_by_line)->ArgName("rows")->Arg(10)->Arg(1000)->Arg(10'000);

void transfer_lines_64_a_chunk(benchmark::State& state) {
    const auto rows = static_cast<std::size_t>(state.range(0));
    Reader reader(rows);
    std::string chunk;
    for (std::size_t number = 0; number < lines_a_chunk; ++number)
        chunk += transfer_line(number, rows);
    for (auto _ : state)
        reader.read(chunk);
    state.SetItemsProcessed(state.iterations() * std::int64_t{lines_a_chunk});
}
BENCHMARK(transfer_lines_64_a_chunk)->ArgName("rows")->Arg(10)->Arg(1000)->Arg(10'000);

void chunk_of_lines(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0) * mebibyte);
    auto chunk = plain_text(size / 50);
    chunk.resize(size, '.');
    for (auto _ : state)
        Reader(10).read(chunk);
    state.SetBytesProcessed(state.iterations() * state.range(0) * mebibyte);
}
BENCHMARK(chunk_of_lines)->ArgName("MiB")->Arg(1)->Arg(2)->Arg(4)->Unit(benchmark::kMillisecond);

// One line that never ends, in the pieces in which a pipe is read.
void endless_line(benchmark::State& state) {
    const std::string chunk(4096, 'D');
    for (auto _ : state) {
        Reader reader(10);
        for (std::int64_t size = 0; size < state.range(0) * mebibyte; size += std::ssize(chunk))
            reader.read(chunk);
    }
    state.SetBytesProcessed(state.iterations() * state.range(0) * mebibyte);
}
BENCHMARK(endless_line)->ArgName("MiB")->Arg(1)->Arg(2)->Arg(4)->Unit(benchmark::kMillisecond);

void load_status_dump(benchmark::State& state) {
    constexpr std::array<std::string_view, 4> statuses = {"synced", "sync pending", "online-only",
                                                          "uploading"};
    std::string dump = "Status of the folder\n";
    for (std::int64_t line = 0; line < state.range(0); ++line) {
        dump += "Documents/Reports/file " + std::to_string(line * 7919 % state.range(0)) + ".odt: ";
        dump.append(statuses[static_cast<std::size_t>(line) % statuses.size()]).append("\n");
    }
    for (auto _ : state) {
        StatusMap map;
        for (auto& [path, status] : read_status_dump(dump))
            map.insert_or_assign(std::move(path), std::move(status));
        if (std::ssize(map) != state.range(0))
            state.SkipWithError("entries are missing");
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(load_status_dump)->ArgName("lines")->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);
} // namespace

BENCHMARK_MAIN();
