// SPDX-License-Identifier: MIT
#include "ui/status_dump.h"

#include "test_files.h"
#include "ui/shell_quote.h"
#include "ui/skip_dir.h"

#include <gtest/gtest.h>

namespace {
using Lines = std::vector<std::string>;
using Entries = std::vector<std::pair<std::string, std::string>>;

TEST(StatusDump, FirstPhraseDecidesAndOtherLinesAreIgnored) {
    EXPECT_EQ(read_status_dump("File Status: synced\n"
                               "Documents/report.pdf: synced\n"
                               " \ta.txt \t: sync pending\r\n"
                               "b: downloading, then uploading\n"
                               "c: remote\nd: online-only\n"
                               "no colon synced\ne: Synced\n: synced\n\n"
                               "10:30 is synced"),
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
    for (const auto& [path, cached, exists, running, status] : std::initializer_list<Case>{
             {"up", true, true, true, "Uploading"},
             {"a", true, false, false, "Synced"},
             {"a", false, true, true, "Pending"},
             {"Private/b", true, true, true, "Pending"},
             {"Private/c/d.txt", true, true, true, "Skipped"},
             {"a/x", true, true, false, "Unknown"},
             {"gone", true, false, true, "Online-only"},
             {"Private", false, false, false, "Online-only"},
         })
        EXPECT_EQ(look_up_status(path, {live, cached ? &cache : nullptr, exists, running}), status) << path;
}

TEST(SkipDir, EditsOneLineAndNoOther) {
    struct Case {
        const char* what;
        Lines before;
        const char* value;
        bool add;
        std::optional<Lines> after;
    };
    const std::vector<Case> cases = {
        {"no key line", {"a = 1"}, "Private", true, Lines{"a = 1", "skip_dir = \"Private\""}},
        {"second entry", {"skip_dir = \"Private\""}, "Temp", true, Lines{"skip_dir = \"Private\", \"Temp\""}},
        {"remove first",
         {"skip_dir = \"Private\", \"Temp\""},
         "Private",
         false,
         Lines{"skip_dir = \"Temp\""}},
        {"remove last", {"x = 1", "skip_dir = \"Temp\"", "# end"}, "Temp", false, Lines{"x = 1", "# end"}},
        {"already there", {"  skip_dir=\"A\",junk"}, "A", true, std::nullopt},
        {"not there", {"skip_dir = \"A\""}, "B", false, std::nullopt},
        {"nothing to remove from", {}, "B", false, std::nullopt},
        {"comment", {"\t# skip_dir = \"X\""}, "X", true, Lines{"\t# skip_dir = \"X\"", "skip_dir = \"X\""}},
        {"longer key", {"skip_dir_strict_match = \"f\""}, "X", true, Lines{"skip_dir = \"f\", \"X\""}},
        {"key without =",
         {"skip_dir", "skip_dir = \"A\""},
         "B",
         true,
         Lines{"skip_dir", "skip_dir = \"A\", \"B\""}},
        {"loses unquoted",
         {" skip_dir = a, \"B\" # c", "skip_dir = \"Z\""},
         "D",
         true,
         Lines{"skip_dir = \"B\", \"D\"", "skip_dir = \"Z\""}},
        {"equals in a value", {"skip_dir = \"a=b\""}, "c", true, Lines{"skip_dir = \"a=b\", \"c\""}},
        {"comma in a value", {"skip_dir = \"a,b\", \"c\""}, "c", false, Lines{}},
        {"every equal entry", {"skip_dir = \"A\", \"B\", \"A\""}, "A", false, Lines{"skip_dir = \"B\""}},
        {"carriage return",
         {"a = 1\r", "skip_dir = \"A\"\r"},
         "B",
         true,
         Lines{"a = 1\r", "skip_dir = \"A\", \"B\""}},
        {"any bytes", {"\xFF\xFE"}, "\xC3(", true, Lines{"\xFF\xFE", "skip_dir = \"\xC3(\""}},
    };
    for (const auto& test : cases)
        EXPECT_EQ(edit_list(test.before, "skip_dir", test.value, test.add), test.after) << test.what;
}

TEST(ShellQuote, TheShellReadsBackWhatWasQuoted) {
    EXPECT_EQ(inside_double_quotes("/a b/plain-name.txt"), "/a b/plain-name.txt");
    for (const std::string name :
         {"$(touch x)", "`touch x`", "a\"b", "a\\b", "a'b", "a\nb", "-rf", "$HOME", "!x;&|*"}) {
        for (const auto& word :
             {"\"" + inside_double_quotes(name) + "\"", "'" + inside_single_quotes(name) + "'"}) {
            const std::string command = "printf %s " + word;
            std::string output(64, '\0');
            auto* pipe = popen(command.c_str(), "r");
            output.resize(fread(output.data(), 1, output.size(), pipe));
            EXPECT_EQ(pclose(pipe), 0);
            EXPECT_EQ(output, name) << command;
        }
    }
}
} // namespace
