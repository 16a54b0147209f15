// SPDX-License-Identifier: MIT
// The client: where it is, what it says and how it is configured, and what guards a sign-in or a shell.
#include "auth/authorise_address.h"
#include "auth/pkce.h"
#include "auth/token_reply.h"
#include "process/client_locator.h"
#include "process/shell_command.h"
#include "table.h"
#include "ui/display_text.h"
#include "ui/skip_dir.h"
#include "ui/status_dump.h"

#include <set>

namespace {
using Lines = std::vector<std::string>;

std::string shown_lines(const Lines& lines) {
    std::string text;
    for (const auto& line : lines)
        text.append(shown(line)).append("\n");
    return lines.empty() ? "(none)" : text;
}

Lines lines_of(std::string_view text) {
    Lines lines;
    for_each_line(text, [&](std::string_view line) { lines.emplace_back(line); });
    return lines;
}

// What was found after each chunk.
std::string find_address(const Arguments& chunks) {
    std::string output, found;
    std::size_t searched = 0;
    for (const auto& chunk : chunks)
        found += shown(find_authorise_address(output += chunk, searched).value_or("(none yet)")) + "\n";
    return found;
}

// With the challenge, which is another one each time, replaced by a word.
std::string add_challenge(const Arguments& given) {
    auto address = given.at(0);
    const auto sign_in = add_pkce_challenge(address);
    if (!sign_in)
        return "no verifier\n" + shown(address);
    const auto challenge = compute_pkce_challenge(sign_in->verifier);
    const auto at = address.find(challenge);
    if (at != std::string::npos)
        address.replace(at, challenge.size(), "CHALLENGE");
    return shown_lines({address, "client_id=" + sign_in->client_id, "redirect_uri=" + sign_in->redirect_uri});
}

TEST(SignIn, OfEachText) {
    expect_table(
        "auth.txt",
        {{"find", find_address},
         {"challenge", add_challenge},
         {"s256", [](const Arguments& given) { return shown(compute_pkce_challenge(given.at(0))); }},
         {"param", [](const Arguments& given) { return shown(extract_url_param(given.at(1), given.at(0))); }},
         {"redirect", [](const Arguments& given) { return yes_or_no(is_sign_in_redirect(given.at(0))); }},
         {"reauth", [](const Arguments& given) { return yes_or_no(asks_for_reauth_at_login(given.at(0))); }},
         {"token", [](const Arguments& given) { return shown(cut_refresh_token(given.at(0))); }},
         {"request", [](const Arguments& given) {
              return shown(token_request_body({given.at(0), given.at(1), given.at(2)}, given.at(3)));
          }}});
}

TEST(SignIn, VerifiersAreFreshAndOfTheAlphabet) {
    std::set<std::string> verifiers;
    std::string all;
    for (int count = 0; count < 50; ++count) {
        const auto verifier = generate_pkce_verifier();
        verifiers.insert(verifier);
        all += verifier;
    }
    EXPECT_EQ(verifiers.size(), 50U);
    for (const auto& verifier : verifiers)
        EXPECT_EQ(verifier.size(), 43U) << verifier;
    const std::set<char> used(all.begin(), all.end());
    EXPECT_EQ(std::string(used.begin(), used.end()),
              "-0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz");
}

std::string statuses(const Arguments& given) {
    Lines lines;
    for (const auto& [path, status] : read_status_dump(given.at(0)))
        lines.push_back(path + ": " + status);
    return shown_lines(lines);
}

auto edit(bool add) {
    return [add](const Arguments& given) {
        const auto edited = edit_list(lines_of(given.at(1)), "skip_dir", given.at(0), add);
        return edited ? shown_lines(*edited) : "(no change)";
    };
}

TEST(Dumps, AndTheListOfSkippedFolders) {
    StatusMap live, cache;
    bool loaded = false;
    const auto remember = [](StatusMap& map, bool* is_there) {
        return [&map, is_there](const Arguments& given) {
            map[given.at(0)] = given.at(1);
            *is_there = true;
            return "";
        };
    };
    const auto look_up = [&](bool exists, bool running) {
        return [&, exists, running](const Arguments& given) {
            return look_up_status(given.at(0), {live, loaded ? &cache : nullptr, exists, running});
        };
    };
    bool any = false;
    expect_table("dumps.txt",
                 {{"statuses", statuses},
                  {"skipped",
                   [](const Arguments& given) { return shown_lines(read_skipped_directories(given.at(0))); }},
                  {"live", remember(live, &any)},
                  {"cached", remember(cache, &loaded)},
                  {"look-up", look_up(true, false)},
                  {"look-up-running", look_up(true, true)},
                  {"look-up-gone", look_up(false, false)},
                  {"look-up-gone-running", look_up(false, true)},
                  {"add", edit(true)},
                  {"remove", edit(false)}});
}

// Which client runs as a child, and which one answers a query.
std::string locate(const Arguments& given) {
    std::set<std::string> executables;
    for_each_piece(given.at(0), ' ', [&](std::string_view path) { executables.emplace(path); });
    const auto qualifies = [&](const char* path) { return executables.contains(path); };
    auto child = find_client_for_children(qualifies);
    const auto here = fs::current_path().string() + "/";
    if (child.starts_with(here))
        child.replace(0, here.size(), "(current folder)/");
    return child + ", " + get_onedrive_path_local(qualifies);
}

// Between double quotes in a command, and what the shell makes of it.
std::string quote(const Arguments& given) {
    const auto quoted = inside_double_quotes(given.at(0));
    const auto read_back = run_shell_command("printf '%s' \"" + quoted + "\"");
    return shown(quoted) + (read_back->output == given.at(0) ? "" : "\nbut " + shown(read_back->output));
}

std::string run(const Arguments& given) {
    const auto end = run_shell_command(given.at(0));
    return shown(end->output) + (end->killed ? "\nkilled" : "");
}

TEST(Commands, OfTheShell) {
    expect_table(
        "commands.txt",
        {{"locate", locate},
         {"quote", quote},
         {"run", run},
         {"exec", [](const Arguments& given) { return shown(exec(given.at(0).c_str())); }},
         {"display", [](const Arguments& given) { return shown(display_text(given.at(0)).raw()); }}});
    EXPECT_EQ(exec("head -c 100000 /dev/zero").size(), 100000U);
    EXPECT_EQ(display_text(std::string_view("a\0b", 3)), "a\uFFFDb");
}
} // namespace
