// SPDX-License-Identifier: MIT
#include "ui/status_dump.h"

#include "test_files.h"
#include "ui/skip_dir.h"

#include <gtest/gtest.h>

namespace {
using Lines = std::vector<std::string>;
using Entries = std::vector<std::pair<std::string, std::string>>;

TEST(StatusDump, FirstPhraseDecidesAndOtherLinesAreIgnored) {
    EXPECT_EQ(
        read_status_dump("File Status: synced\nDocuments/report.pdf: synced\n \ta.txt \t: sync pending\r\n"
                         "b: downloading, then uploading\nc: remote\nd: online-only\n"
                         "no colon synced\ne: Synced\n: synced\n\n10:30 is synced"),
        (Entries{{"Documents/report.pdf", "Synced"},
                 {"a.txt", "Pending"},
                 {"b", "Uploading"},
                 {"c", "Online-only"},
                 {"d", "Online-only"},
                 {"10", "Synced"}}));
}

TEST(ConfigDump, EntriesAreSeparatedByCommasOnly) {
    EXPECT_EQ(read_skipped_directories("skip_dir = \"Private\", \"Temp\"\n# skip_dir = \"Old\"\n"
                                       "x # skip_dir = 1\nskip_dir\nskip_dir = \"A|B\" trailing,  bare ,,\"\n"
                                       "sync_dir = \"x\""),
              (Lines{"Private", "Temp", "A|B", "bare", "\""}));
    // The real client prints the value bare, and a longer option name is read as well.
    EXPECT_EQ(read_skipped_directories(recorded("g-config-none.txt")), (Lines{"false"}));
    EXPECT_EQ(read_skipped_directories(recorded("g-config-comma.txt")),
              (Lines{"Private\"", "\"Temp", "false"}));
}

TEST(StatusLookup, SourcesAreAskedInOrder) {
    const StatusMap live = {{"up", "Uploading"}};
    const StatusMap cache = {
        {"up", "Skipped"}, {"Private", "Skipped"}, {"a", "Synced"}, {"Private/b", "Pending"}};
    struct Case {
        const char* path;
        bool cached, exists, running;
        const char* status;
    };
    for (const auto& [path, cached, exists, running, status] : {
             Case{"up", true, true, true, "Uploading"},
             Case{"a", false, true, true, "Pending"},
             Case{"Private/b", true, true, true, "Pending"},
             Case{"Private/c/d.txt", true, true, true, "Skipped"},
             Case{"a/x", true, true, false, "Unknown"},
             Case{"gone", true, false, true, "Online-only"},
         })
        EXPECT_EQ(look_up_status(path, {live, cached ? &cache : nullptr, exists, running}), status) << path;
}

TEST(SkipDir, EditsOneLineAndNoOther) {
    struct Case {
        Lines before;
        const char* edit; // "+" adds, "-" removes
        std::optional<Lines> after;
    };
    const std::vector<Case> cases = {
        {{R"(skip_dir = "A", "B")"}, "-A", Lines{R"(skip_dir = "B")"}},
        {{"x = 1", R"(skip_dir = "A")", "# end"}, "-A", Lines{"x = 1", "# end"}},
        {{R"(  skip_dir="A",junk)"}, "+A", std::nullopt},
        {{R"(skip_dir = "A")"}, "-B", std::nullopt},
        {{}, "+A\"\nsync_dir = \"/", std::nullopt},
        {{"\t# skip_dir = \"X\""}, "+X", Lines{"\t# skip_dir = \"X\"", R"(skip_dir = "X")"}},
        {{R"(skip_dir_strict_match = "f")"}, "+X", Lines{R"(skip_dir = "f", "X")"}},
        {{"skip_dir", R"(skip_dir = "A")"}, "+B", Lines{"skip_dir", R"(skip_dir = "A", "B")"}},
        {{R"( skip_dir = a, "B" # c)", "skip_dir = z"},
         "+D",
         Lines{R"(skip_dir = "B", "D")", "skip_dir = z"}},
        {{R"(skip_dir = "a,b", "c")"}, "-c", Lines{}},
        {{R"(skip_dir = "A", "B", "A")"}, "-A", Lines{R"(skip_dir = "B")"}},
        {{"a = 1\r", "skip_dir = \"A\"\r"}, "+B", Lines{"a = 1\r", R"(skip_dir = "A", "B")"}},
        {{"\xFF\xFE"}, "+\xC3(", Lines{"\xFF\xFE", "skip_dir = \"\xC3(\""}},
    };
    for (const auto& [before, edit, after] : cases)
        EXPECT_EQ(edit_list(before, "skip_dir", edit + 1, *edit == '+'), after)
            << edit << " in " << testing::PrintToString(before);
}
} // namespace
