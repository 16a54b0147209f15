// SPDX-License-Identifier: MIT
#include "sync/activity.h"

#include "sync/sync_end.h"
#include "test_files.h"

#include <algorithm>
#include <ctime>
#include <gtest/gtest.h>
#include <vector>

namespace {
// Keeps rows as a window would: name to status.
class ActivityTest : public testing::Test, protected ActivityView {
  protected:
    void set_status_line(const std::string& text) override { status_line = text; }
    void set_entry_status(std::string_view name, std::string_view status) override {
        if (const auto row = rows.find(name); row != rows.end())
            history.push_back(row->first + " " + (row->second = status));
    }
    void set_all_synced() override {
        for (auto& [name, status] : rows)
            status = status == "Skipped" ? status : "Synced";
    }
    void read(std::string_view chunk) { read_activity(chunk, activity); }

    StatusMap rows, live;
    std::string status_line = "untouched", buffer, sync_dir = "/home/user/OneDrive";
    std::vector<std::string> history;
    PhraseScan scan;
    Activity activity{sync_dir, buffer, scan, live, *this};
};

TEST(TransferPath, CutsAtTheEndTheFolderAndTheLeadingDot) {
    for (const auto& [line, path] : std::vector<std::pair<const char*, const char*>>{
             {"Downloading file: ./readme.txt ... done", "readme.txt"},
             {"Downloading file:/home/user/OneDrive/a/b.txt ... done", "a/b.txt"},
             {"10:02 Downloading file: a ... b ... done", "a"},
             {"Downloading file: /home/user/OneDrive2/x", "2/x"},
             {"Downloading file: \xFF\xFE/x", "\xFF\xFE/x"},
             {"Downloading file: ./", "(none)"},
             {"Downloading file: \t ", "(none)"},
             {"Downloading: a", "(none)"}})
        EXPECT_EQ(transfer_path(line, "Downloading file:", "/home/user/OneDrive").value_or("(none)"), path)
            << line;
    EXPECT_EQ(shown_path(std::string(60, 'x')), std::string(60, 'x'));
    EXPECT_EQ(shown_path(std::string(4, 'a') + std::string(57, 'x')), "..." + std::string(57, 'x'));
}

TEST_F(ActivityTest, TransfersMoveRowsAndLiveStates) {
    rows = {{"Documents", "Synced"}, {"a", "Pending"}};
    read("Uploading new file: Documents/x/report.odt ...\n");
    EXPECT_EQ(status_line, "Sync: Uploading \xE2\x80\x94 Documents/x/report.odt");
    EXPECT_EQ(live, (StatusMap{{"Documents", "Uploading"}}));
    read("Downloading file: /home/user/OneDrive/a/b.txt ... done\r\n\r\n");
    EXPECT_EQ(history, (std::vector<std::string>{"Documents Uploading", "a Downloading", "a Synced"}));
    EXPECT_EQ(status_line, "Sync: Downloading \xE2\x80\x94 a/b.txt");
    EXPECT_FALSE(live.contains("a"));
}

TEST_F(ActivityTest, CompletionLeavesSkippedRowsAlone) {
    for (const std::string phrase :
         {"Sync with Microsoft OneDrive is complete", "No new or changed items",
          "Number of items to download: 0", "No changes or items that can be applied"}) {
        rows = {{"a", "Uploading"}, {"b", "Skipped"}};
        live = {{"a", "Uploading"}};
        read("Processing\n" + phrase + " now\n");
        EXPECT_EQ(rows, (StatusMap{{"a", "Synced"}, {"b", "Skipped"}})) << phrase;
        EXPECT_TRUE(live.empty() && status_line == "Sync: Sync complete");
    }
}

TEST_F(ActivityTest, EachPhraseShowsWhereverItIsCutAndTheFirstRowWins) {
    for (const auto& [phrase, text] : status_phrases) {
        for (std::size_t cut = 0; cut < phrase.size(); ++cut) {
            read("\nwhat is left of an earlier line " + std::string(phrase.substr(0, cut)));
            status_line = "untouched";
            read(phrase.substr(cut));
            EXPECT_EQ(status_line, "Sync: " + std::string(text)) << cut;
        }
        read(", the Received termination signal. Processing");
        EXPECT_EQ(status_line, phrase == status_phrases[0].phrase
                                   ? "Sync: Fetching file list from OneDrive..."
                                   : "Sync: Processing file list...");
    }
}

TEST_F(ActivityTest, UnfinishedLineActsWhenItEndsAndMayBeAnything) {
    rows = {{"a", "Pending"}};
    read("Processing 15 items .\nSync with Microsoft OneDrive is comp");
    read("lete");
    EXPECT_EQ(status_line, "Sync: Sync complete") << "Processing left the buffer with its line";
    EXPECT_EQ(rows["a"], "Pending");
    read(std::string("\n\0\xC3\nUploading file: \xC3", 21));
    EXPECT_EQ(rows["a"], "Synced");
    read("\nDownloading file: ./a\n");
    EXPECT_EQ(rows["a"], "Downloading");
    EXPECT_TRUE(buffer.empty());
}

// In processor time, whatever else the machine does: a quadratic reader needs 64 times as much for 8 times
// the chunks.
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

TEST_F(ActivityTest, RecordingGivesTheSameStatesHoweverItIsCut) {
    const std::string output = recorded("d-monitor-slow.txt");
    std::string whole;
    for (const auto size : {output.size(), std::size_t{1}, std::size_t{7}}) {
        rows = {{"Documents", "Unknown"}, {"Pictures", "Unknown"}, {"readme.txt", "Skipped"}};
        history.clear();
        for (std::size_t at = 0; at < output.size(); at += size)
            read(std::string_view(output).substr(at, size));
        whole = whole.empty() ? testing::PrintToString(history) : whole;
        EXPECT_TRUE(history.size() > 4 && testing::PrintToString(history) == whole);
    }
}

TEST(SyncEnd, PhrasesDecideInTheirOrder) {
    const auto resync = recorded("e-resync-monitor.txt");
    for (const auto& [client, end] : std::vector<std::pair<EndedClient, SyncEnd>>{
             {{false, false, 126, resync}, SyncEnd::resync},
             {{false, true, 126, resync}, SyncEnd::failed},
             {{false, false, 0, "--resync needed AADSTS1"}, SyncEnd::resync},
             {{false, false, 1, recorded("f-token-monitor.txt")}, SyncEnd::reauth},
             {{false, false, -1, "you need to re-authorise"}, SyncEnd::reauth},
             {{false, false, -1, ""}, SyncEnd::failed},
             {{false, false, 0, "--Resync needed"}, SyncEnd::clean},
             {{true, false, 1, resync}, SyncEnd::stopped}})
        EXPECT_EQ(judge_sync_end(client), end) << client.output;
}
} // namespace
