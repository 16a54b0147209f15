// SPDX-License-Identifier: MIT
// What the client prints in monitor mode, and what it asks for at its end.
#include "sync/activity.h"

#include "sync/sync_end.h"
#include "table.h"

#include <algorithm>
#include <ctime>

namespace {
class Window : public ActivityView {
  public:
    void set_status_line(const std::string& text) override { say("line: ", text); }
    void set_entry_status(std::string_view name, std::string_view status) override {
        rows.append(name).append(" ").append(status).append("\n");
        say("row ", std::string(name).append(": ").append(status));
    }
    void set_all_synced() override {
        rows += "all\n";
        say("all rows: ", "Synced");
    }

    /// What the window is told because of this chunk, and the live states when they have changed.
    std::string read(std::string_view chunk) {
        said.clear();
        const auto before = live;
        Activity activity{sync_dir, buffer, scan, live, *this};
        read_activity(chunk, activity);
        if (live != before) {
            std::string states;
            for (const auto& [name, status] : live)
                states.append(states.empty() ? "" : ", ").append(name).append(" ").append(status);
            say("live: ", states);
        }
        return said.empty() ? "(nothing)" : said;
    }

    std::string sync_dir = "/home/user/OneDrive", rows;
    std::string buffer;
    PhraseScan scan;

  private:
    void say(const char* what, std::string_view value) {
        said.append(what).append(shown(value)).append("\n");
    }

    std::string said;
    StatusMap live;
};

// Each line with what it does below it.
std::string play_recording(const std::string& recording) {
    Window window;
    std::string played;
    for_each_line(recording, [&](std::string_view line) {
        played.append("| ").append(shown(line)).append("\n");
        const auto said = window.read(std::string(line) + "\n");
        for_each_line(said == "(nothing)" ? "" : said,
                      [&](std::string_view call) { played.append("    ").append(call).append("\n"); });
    });
    return played;
}

TEST(Activity, OfEachText) {
    Window window;
    expect_table("activity.txt",
                 {{"folder",
                   [&](const Arguments& given) {
                       window = {};
                       window.sync_dir = given.at(0);
                       return "";
                   }},
                  {"chunk", [&](const Arguments& given) { return window.read(given.at(0)); }}});
}

TEST(Activity, OfRecordedOutput) {
    expect_table("activity-recorded.txt",
                 {{"play", [](const Arguments& given) { return play_recording(given.at(0)); }}});
}

// The status line may depend on the cuts, the rows may not.
TEST(Activity, OfRowsIsTheSameHoweverTheOutputIsCut) {
    const auto recording = recorded("d-monitor-live.txt") + recorded("d-monitor-slow.txt");
    Window whole;
    whole.read(recording);
    for (const std::size_t size : {1, 2, 3, 5, 7, 61, 1000}) {
        Window cut;
        for (std::string_view rest = recording; !rest.empty();
             rest.remove_prefix(std::min(size, rest.size())))
            cut.read(rest.substr(0, size));
        EXPECT_EQ(cut.rows, whole.rows) << "cut after every " << size << " bytes";
    }
}

// In processor time; a quadratic reader needs 64 times as much for 8 times the chunks.
TEST(Activity, OfLineWithoutEndCostsEachChunkTheSame) {
    const auto cost = [](int chunks) {
        Window window;
        const auto start = std::clock();
        for (; chunks > 0; --chunks)
            window.read(std::string(4096, 'x'));
        return std::clock() - start;
    };
    const auto few = std::min({cost(250), cost(250), cost(250)});
    EXPECT_LT(std::min({cost(2000), cost(2000), cost(2000)}), 25 * few);
}

std::string end_named(const EndedClient& client) {
    switch (judge_sync_end(client)) {
    case SyncEnd::stopped:
        return "stopped";
    case SyncEnd::resync:
        return "resync";
    case SyncEnd::reauth:
        return "new sign-in";
    case SyncEnd::failed:
        return "failed";
    default:
        return "clean";
    }
}

TEST(SyncEnd, OfEachOutput) {
    const auto ended = [](bool stopped, bool resync) {
        return [=](const Arguments& given) {
            return end_named({stopped, resync, std::stoi(given.at(0)), given.at(1)});
        };
    };
    expect_table("activity-end.txt", {{"ended", ended(false, false)},
                                      {"ended-resync", ended(false, true)},
                                      {"stopped", ended(true, false)}});
}
} // namespace
