// SPDX-License-Identifier: MIT
// What the client prints in monitor mode, and what it asks for at its end.
#include "sync/activity.h"

#include "sync/sync_end.h"
#include "table.h"

#include <ctime>

namespace {
class Window : public ActivityView {
  public:
    void set_status_line(const std::string& text) override { said += "line: " + shown(text) + "\n"; }
    void set_entry_status(std::string_view name, std::string_view status) override {
        said.append("row ").append(shown(name)).append(": ").append(status).append("\n");
    }
    void set_all_synced() override { said += "all rows: Synced\n"; }

    /// What the window is told because of this chunk, and the live states where they have changed.
    std::string read(std::string_view chunk, const char* otherwise = "(nothing)") {
        said.clear();
        const auto before = live;
        Activity activity{sync_dir, buffer, scan, live, *this};
        read_activity(chunk, activity);
        std::string states;
        for (const auto& [name, status] : live)
            states.append(states.empty() ? "" : ", ").append(shown(name)).append(" ").append(status);
        said += live == before ? "" : "live: " + (states.empty() ? "none" : states) + "\n";
        return said.empty() ? otherwise : said;
    }

    std::string sync_dir, said, buffer;
    PhraseScan scan;
    StatusMap live;
};

// Each line with what it does below it.
std::string play(Given recording) {
    Window window;
    window.sync_dir = "/home/user/OneDrive";
    std::string played;
    for_each_line(recording.at(0), [&](std::string_view line) {
        played += "| " + shown(line) + "\n";
        played += std::regex_replace(window.read(std::string(line) + "\n", ""), std::regex(".+\n"), "    $&");
    });
    return played;
}

TEST(Activity, OfOutput) {
    Window window;
    Rules rules{{"play", play}};
    rules["folder"] = [&](Given path) { return window = {}, window.sync_dir = path.at(0), ""; };
    rules["chunk"] = [&](Given text) { return window.read(text.at(0)); };
    expect_table("activity.txt", rules);
    expect_table("activity-recorded.txt", rules);
}

// A reader that begins anew at each chunk would look at 40 GB here.
TEST(Activity, OfLineWithoutEndIsNotReadAgain) {
    Window window;
    const auto start = std::clock();
    for (int chunk = 0; chunk < 4500; ++chunk)
        window.read(std::string(4096, 'x'));
    EXPECT_LT(std::clock() - start, CLOCKS_PER_SEC) << "more than a second of processor time";
}

TEST(SyncEnd, OfExitCodeAndOutput) {
    Rules rules;
    rules["ended"] = [](Given a) {
        constexpr std::array names = {"stopped", "resync", "new sign-in", "failed", "clean"}; // as declared
        const bool stopped = contains(a.at(0), "on purpose");
        const EndedClient client{stopped, contains(a.at(0), "after a resync"), std::stoi(a.at(0)), a.at(1)};
        return names.at(static_cast<std::size_t>(judge_sync_end(client)));
    };
    expect_table("activity-end.txt", rules);
}
} // namespace
