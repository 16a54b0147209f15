// SPDX-License-Identifier: MIT
#include "sync/activity.h"

#include "sync/sync_end.h"
#include "test_files.h"

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

    StatusMap rows;
    StatusMap live;
    std::string status_line = "untouched";
    std::vector<std::string> history;
    std::string sync_dir = "/home/user/OneDrive";
    std::string buffer;
    PhraseScan scan;
    Activity activity{sync_dir, buffer, scan, live, *this};
};

TEST(StatusPhrases, FirstRowOfTheTableWinsWhereverItStands) {
    EXPECT_EQ(first_status_phrase("Sync with Microsoft OneDrive is complete\nProcessing 3 items"), 1U);
    EXPECT_EQ(first_status_phrase("Number of items to download: 3"), 2U);
    EXPECT_EQ(first_status_phrase("processing"), status_phrases.size());
    EXPECT_EQ(status_phrases[7].text, "Monitor running \xE2\x80\x94 waiting for changes");
}

TEST(TransferPath, CutsAtTheEndTheFolderAndTheLeadingDot) {
    for (const auto& [line, path] : std::vector<std::pair<const char*, const char*>>{
             {"Downloading file: ./readme.txt ... done", "readme.txt"},
             {"Downloading file:/home/user/OneDrive/a/b.txt ... done", "a/b.txt"},
             {"Downloading file: \t./.hidden", ".hidden"},
             {"10:02 Downloading file: a ... b ... done", "a"},
             {"Downloading file: ../up", "../up"},
             {"Downloading file: /home/user/OneDrive2/x", "2/x"},
             {"Downloading file: \xFF\xFE/x", "\xFF\xFE/x"},
             {"Downloading file: /home/user/OneDrive/", "(none)"},
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
    read("Uploading file: x ... Downloading: y\n"); // two starts in one line, the last one shows
    EXPECT_EQ(status_line, "Sync: Downloading \xE2\x80\x94 y");
}

TEST_F(ActivityTest, CompletionLeavesSkippedRowsAlone) {
    for (const std::string phrase :
         {"Sync with Microsoft OneDrive is complete", "No new or changed items",
          "Number of items to download: 0", "No changes or items that can be applied"}) {
        rows = {{"a", "Uploading"}, {"b", "Skipped"}};
        live = {{"a", "Uploading"}};
        read("Processing\n" + phrase + " now\n");
        EXPECT_EQ(rows, (StatusMap{{"a", "Synced"}, {"b", "Skipped"}})) << phrase;
        EXPECT_TRUE(live.empty());
        EXPECT_EQ(status_line, "Sync: Sync complete");
    }
}

TEST_F(ActivityTest, UnfinishedLineShowsItsPhraseAtOnceAndActsLater) {
    rows = {{"a", "Pending"}};
    read("Proces");
    EXPECT_EQ(status_line, "untouched");
    for (const char* chunk : {"sing 15 items", " ."}) { // the phrase still stands in the buffer
        status_line = "other";
        read(chunk);
        EXPECT_EQ(status_line, "Sync: Processing file list...") << chunk;
    }
    read("\nSync with Microsoft OneDrive is comp");
    read("lete");
    EXPECT_EQ(status_line, "Sync: Sync complete") << "Processing left the buffer with its line";
    EXPECT_EQ(rows["a"], "Pending");
    read("\n");
    EXPECT_EQ(rows["a"], "Synced");
    EXPECT_TRUE(buffer.empty());
}

TEST_F(ActivityTest, SurvivesNulBytesBrokenTextAndALineWithoutEnd) {
    rows = {{"a", "Pending"}};
    read(std::string("\0\xC3\nUploading file: \xC3", 20));
    for (int i = 0; i < 500; ++i)
        read(std::string(4096, 'x')); // 2 MB: quadratic work would not end in time
    EXPECT_EQ(buffer.size(), 17U + 500U * 4096U);
    read("\nDownloading file: ./a\n");
    EXPECT_EQ(rows["a"], "Downloading");
}

// The recorded first sync, cut anywhere, leaves the same rows and live states.
TEST_F(ActivityTest, RecordingGivesTheSameStatesHoweverItIsCut) {
    const auto output = recorded("d-monitor-slow.txt");
    std::vector<std::string> whole;
    for (const std::size_t size : {output.size(), std::size_t{1}, std::size_t{7}, std::size_t{4096}}) {
        rows = {{"Documents", "Unknown"}, {"Pictures", "Unknown"}, {"readme.txt", "Skipped"}};
        history.clear();
        for (std::size_t at = 0; at < output.size(); at += size)
            read(std::string_view(output).substr(at, size));
        if (whole.empty())
            whole = history;
        EXPECT_EQ(history, whole) << size;
        EXPECT_TRUE(live.empty());
        EXPECT_EQ(rows["Pictures"], "Synced");
    }
    EXPECT_GT(whole.size(), 4U);
}

TEST(SyncEnd, PhrasesDecideInTheirOrder) {
    const auto resync = recorded("e-resync-monitor.txt");
    const auto refused = recorded("f-token-monitor.txt");
    for (const auto& [client, end] : std::vector<std::pair<EndedClient, SyncEnd>>{
             {{false, false, 126, resync}, SyncEnd::resync},
             {{false, true, 126, resync}, SyncEnd::failed},
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
