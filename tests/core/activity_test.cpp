// SPDX-License-Identifier: MIT
#include "sync/activity.h"

#include "sync/sync_end.h"
#include "test_files.h"

#include <algorithm>
#include <ctime>
#include <gtest/gtest.h>
#include <vector>

namespace {
class ActivityTest : public testing::Test, protected ActivityView {
  protected:
    void set_status_line(const std::string& text) override { status_line = text; }
    void set_entry_status(std::string_view name, std::string_view status) override {
        history.push_back(std::string(name).append(" ").append(status));
    }
    void set_all_synced() override { history.emplace_back("all"); }
    void read(std::string_view chunk) { read_activity(chunk, activity); }

    StatusMap live;
    std::string status_line, buffer, sync_dir = "/home/user/OneDrive";
    std::vector<std::string> history;
    PhraseScan scan;
    Activity activity{sync_dir, buffer, scan, live, *this};
};

TEST(TransferPath, CutsAtTheEndTheFolderAndTheLeadingDot) {
    for (const auto& [line, path] : std::vector<std::pair<const char*, const char*>>{
             {"Downloading file: ./readme.txt ... done", "readme.txt"},
             {"10:02 Downloading file: a ... b ... done", "a"},
             {"Downloading file: /s2/x", "2/x"},
             {"Downloading file: ./", "(none)"},
             {"Downloading file: \t ", "(none)"}})
        EXPECT_EQ(transfer_path(line, "Downloading file:", "/s").value_or("(none)"), path) << line;
    EXPECT_EQ(shown_path(std::string(4, 'a') + std::string(57, 'x')), "..." + std::string(57, 'x'));
}

TEST_F(ActivityTest, TransfersMoveRowsAndLiveStates) {
    read("Uploading new file: Documents/x/report.odt ...\n");
    EXPECT_EQ(status_line, "Sync: Uploading \xE2\x80\x94 Documents/x/report.odt");
    EXPECT_EQ(live, (StatusMap{{"Documents", "Uploading"}}));
    read("Downloading file: /home/user/OneDrive/a/b.txt ... done\r\n\r\n");
    EXPECT_EQ(history, (std::vector<std::string>{"Documents Uploading", "a Downloading", "a Synced"}));
    EXPECT_EQ(status_line, "Sync: Downloading \xE2\x80\x94 a/b.txt");
    EXPECT_FALSE(live.contains("a"));
    history.clear();
    for (const std::string phrase :
         {"Sync with Microsoft OneDrive is complete", "No new or changed items",
          "Number of items to download: 0", "No changes or items that can be applied"})
        read("\nUploading: x\nProcessing\n" + phrase + " now\n");
    EXPECT_EQ(std::ranges::count(history, "all"), 4);
    EXPECT_TRUE(live.empty() && status_line == "Sync: Sync complete") << status_line;
    read(recorded("d-monitor-slow.txt"));
    EXPECT_EQ(std::ranges::count(history, "Documents Synced"), 3);
}

// In processor time; a quadratic reader needs 64 times as much for 8 times the chunks.
TEST_F(ActivityTest, LineWithoutEndCostsEachChunkTheSame) {
    const auto cost = [this](int chunks) {
        buffer.clear();
        scan = {};
        const auto start = std::clock();
        for (; chunks > 0; --chunks)
            read(std::string(4096, 'x'));
        return std::clock() - start;
    };
    const auto few = std::min({cost(250), cost(250), cost(250)});
    EXPECT_LT(std::min({cost(2000), cost(2000), cost(2000)}), 25 * few);
}

TEST(SyncEnd, PhrasesDecideInTheirOrder) {
    const auto resync = recorded("e-resync-monitor.txt");
    const auto refused = recorded("f-token-monitor.txt");
    for (const auto& [client, end] : std::vector<std::pair<EndedClient, SyncEnd>>{
             {{false, false, 126, resync}, SyncEnd::resync},
             {{false, false, 0, "--resync needed AADSTS1"}, SyncEnd::resync},
             {{false, true, 0, "--resync needed AADSTS1"}, SyncEnd::reauth},
             {{false, false, 1, refused}, SyncEnd::reauth},
             {{false, false, -1, "you need to re-authorise"}, SyncEnd::reauth},
             {{false, false, -1, ""}, SyncEnd::failed},
             {{false, false, 0, "--Resync needed"}, SyncEnd::clean},
             {{true, false, 1, resync}, SyncEnd::stopped}})
        EXPECT_EQ(judge_sync_end(client), end) << client.output;
}
} // namespace
