// SPDX-License-Identifier: MIT
// The client: where it is, what it says and how it is configured. The corpus of the fuzzer tries any text.
#include "auth/authorise_address.h"
#include "auth/pkce.h"
#include "auth/token_reply.h"
#include "process/client_locator.h"
#include "process/shell_command.h"
#include "test_files.h"
#include "ui/skip_dir.h"
#include "ui/status_dump.h"

#include <gtest/gtest.h>
#include <set>
#include <utility>
#include <vector>

namespace {
TEST(ClientLocator, TheTwoOrdersDiffer) {
    const auto here = fs::current_path().string();
    const std::string usr = "/usr/bin/onedrive";
    const std::string local = "/usr/local/bin/onedrive";
    for (const auto& [executables, found] : std::vector<std::pair<std::set<std::string>, std::string>>{
             {{"./onedrive-cli", usr}, here + "/onedrive-cli, " + usr},
             {{usr, local + "-cli"}, local + "-cli, " + local + "-cli"},
             {{"../onedrive-cli", local}, local + ", " + local},
             {{"../onedrive-cli"}, "../onedrive-cli, onedrive-cli"},
             {{}, "onedrive-cli, onedrive-cli"}}) {
        const auto qualifies = [&all = executables](const char* path) { return all.contains(path); };
        EXPECT_EQ(find_client_for_children(qualifies) + ", " + get_onedrive_path_local(qualifies), found);
    }
}

TEST(ShellCommand, ReturnsAllOutputWhateverTheExitStatus) {
    const auto end = run_shell_command("printf 'a\\0b\\n'; printf x >&2; exit 3");
    EXPECT_TRUE(end->output == std::string("a\0b\n", 4) && !end->killed);
    EXPECT_EQ(run_shell_command("head -c 100000 /dev/zero")->output.size(), 100000U);
    EXPECT_TRUE(run_shell_command("kill -9 $$")->killed);
    EXPECT_TRUE(run_shell_command("sh -c 'echo a; kill -9 $$'; exit $?")->killed);
}

TEST(ClientOutput, RealOneIsUnderstood) {
    std::size_t searched = 0;
    const auto real = find_authorise_address(recorded("a-quota-signin.txt"), searched);
    EXPECT_EQ(extract_url_param(real.value_or(""), "client_id"), "d50ca740-c83f-4d1b-b616-12c519384f0c");
    EXPECT_TRUE(asks_for_reauth_at_login(recorded("f-token-AADSTS700082.txt")));
    EXPECT_FALSE(asks_for_reauth_at_login("AADSTS65004: --reauth"));
}

// The example is that of RFC 7636, appendix B.
TEST(TokenExchange, ChallengeFollowsFromTheVerifierAndTheTokenIsCut) {
    EXPECT_EQ(compute_pkce_challenge("dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk"),
              "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM");
    EXPECT_TRUE(generate_pkce_verifier().size() == 43 &&
                generate_pkce_verifier() != generate_pkce_verifier());
    EXPECT_EQ(cut_refresh_token(R"({"id":"y","refresh_token" : "M.C1!x\"b"})"), "M.C1!x\\");
    EXPECT_EQ(cut_refresh_token(R"({"refresh_token":"cut)"), "");
}

using Lines = std::vector<std::string>;

TEST(StatusDump, FirstPhraseDecidesAndOtherLinesAreIgnored) {
    std::string entries;
    for (const auto& [path, status] :
         read_status_dump("File Status: synced\nDocuments/report.pdf: synced\n \ta.txt \t: sync pending\r\n"
                          "b: downloading, then uploading\nc: remote\nd: online-only\n"
                          "no colon synced\ne: Synced\n: synced\n\n10:30 is synced"))
        entries += path + " " + status + ", ";
    EXPECT_EQ(
        entries,
        "Documents/report.pdf Synced, a.txt Pending, b Uploading, c Online-only, d Online-only, 10 Synced, ");
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

TEST(SkipDir, EditsOneLineAndNoOther) {
    const std::string key = "skip_dir";
    Lines lines = {"\t# skip_dir = \"X\"", R"( skip_dir="A", b, "B", "A" # c)", "a = 1\r", "skip_dir = z"};
    const auto before = std::exchange(lines[1], R"(skip_dir = "A", "B", "A", "X")");
    EXPECT_EQ(edit_list({lines[0], before, lines[2], lines[3]}, key, "X", true), lines);
    lines[1] = R"(skip_dir = "B")";
    EXPECT_EQ(edit_list({lines[0], before, lines[2], lines[3]}, key, "A", false), lines);
    EXPECT_THROW(edit_list(lines, key, "A\"\nsync_dir = \"/", true), std::invalid_argument);
    EXPECT_EQ(edit_list({"", R"(skip_dir_strict_match = "f")"}, key, "f", false), Lines{""});
}
} // namespace
