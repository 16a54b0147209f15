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
        text += shown(line) + "\n";
    return lines.empty() ? "(none)" : text;
}

// What is found after each chunk.
std::string find_address(Given chunks) {
    std::string output;
    std::string found;
    std::size_t searched = 0;
    for (const auto& chunk : chunks)
        found += shown(find_authorise_address(output += chunk, searched).value_or("(none yet)")) + "\n";
    return found;
}

// With the challenge, which is another one each time, replaced by a word.
std::string add_challenge(Given given) {
    auto address = given.at(0);
    const auto sign_in = add_pkce_challenge(address);
    if (!sign_in)
        return "no verifier\n" + shown(address);
    address = std::regex_replace(address, std::regex(compute_pkce_challenge(sign_in->verifier)), "CHALLENGE");
    return shown_lines({address, "client_id=" + sign_in->client_id, "redirect_uri=" + sign_in->redirect_uri});
}

TEST(SignIn, OfTexts) {
    Rules rules{{"find", find_address}, {"challenge", add_challenge}};
    rules["s256"] = [](Given a) { return shown(compute_pkce_challenge(a.at(0))); };
    rules["param"] = [](Given a) { return shown(extract_url_param(a.at(1), a.at(0))); };
    rules["redirect"] = [](Given a) { return is_sign_in_redirect(a.at(0)) ? "yes" : "no"; };
    rules["reauth"] = [](Given a) { return asks_for_reauth_at_login(a.at(0)) ? "yes" : "no"; };
    rules["token"] = [](Given a) { return shown(cut_refresh_token(a.at(0))); };
    rules["request"] = [](Given a) { return token_request_body({a.at(0), a.at(1), a.at(2)}, a.at(3)); };
    expect_table("auth.txt", rules);
}

TEST(SignIn, VerifiersAreFreshAndOfTheAlphabet) {
    std::set<std::string> verifiers;
    std::set<char> used;
    std::string first;
    for (int count = 0; count < 50; ++count) {
        const auto verifier = generate_pkce_verifier();
        EXPECT_EQ(verifier.size(), 43U) << verifier;
        EXPECT_TRUE(verifiers.insert(verifier).second) << verifier;
        used.insert(verifier.begin(), verifier.end());
        first += verifier.front();
    }
    EXPECT_NE(first.find_first_of("ghijklmnopqrstuvwxyz0123456789-_"), std::string::npos)
        << "half a byte's values";
    EXPECT_EQ(std::string(used.begin(), used.end()),
              "-0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz");
}

std::string edit(Given given, bool add) {
    Lines lines;
    for_each_line(given.at(1), [&](std::string_view line) { lines.emplace_back(line); });
    const auto edited = edit_list(lines, "skip_dir", given.at(0), add);
    return edited ? shown_lines(*edited) : "(no change)";
}

TEST(Dumps, AndTheListOfSkippedFolders) {
    StatusMap live;
    StatusMap cache;
    Rules rules;
    rules["statuses"] = [](Given dump) {
        Lines lines;
        for (const auto& [path, status] : read_status_dump(dump.at(0)))
            lines.push_back(path + ": " + status);
        return shown_lines(lines);
    };
    rules["skipped"] = [](Given dump) { return shown_lines(read_skipped_directories(dump.at(0))); };
    rules["live"] = [&](Given entry) { return live[entry.at(0)] = entry.at(1), ""; };
    rules["cached"] = [&](Given entry) { return cache[entry.at(0)] = entry.at(1), ""; };
    rules["look-up"] = [&](Given a) {
        const StatusMap* loaded = cache.empty() ? nullptr : &cache;
        const bool exists = contains(a.at(1), "on disk");
        return look_up_status(a.at(0), {live, loaded, exists, contains(a.at(1), "running")});
    };
    rules["add"] = [](Given given) { return edit(given, true); };
    rules["remove"] = [](Given given) { return edit(given, false); };
    expect_table("dumps.txt", rules);
}

// Which client runs as a child, and which one answers a query.
std::string locate(Given a) {
    const auto all = " " + a.at(0) + " ";
    const auto qualifies = [&](const std::string& path) { return contains(all, " " + path + " "); };
    auto child = find_client_for_children(qualifies);
    if (const auto here = fs::current_path().string(); child.starts_with(here))
        child.replace(0, here.size(), "(current folder)");
    return child + ", " + get_onedrive_path_local(qualifies);
}

// As it stands between double quotes in a command, and what the shell makes of that.
std::string quote(Given name) {
    const auto quoted = inside_double_quotes(name.at(0));
    return shown(quoted) + "\n" + shown(exec(("printf '%s' \"" + quoted + "\"").c_str()));
}

std::string run(Given command) {
    const auto end = run_shell_command(command.at(0));
    return shown(end->output) + (end->killed ? "\nkilled" : "");
}

TEST(Commands, OfTheShell) {
    Rules rules{{"locate", locate}, {"quote", quote}, {"run", run}};
    rules["exec"] = [](Given command) { return shown(exec(command.at(0).c_str())); };
    rules["display"] = [](Given text) { return shown(display_text(text.at(0)).raw()); };
    expect_table("commands.txt", rules);
    EXPECT_EQ(exec("head -c 100000 /dev/zero").size(), 100000U);
    EXPECT_EQ(display_text(std::string_view("a\0b", 3)), "a\uFFFDb");
}
} // namespace
