// SPDX-License-Identifier: MIT
#include "sync/sync_end.h"

#include "base/text.h"

#include <algorithm>
#include <array>

namespace {
// The third is covered by the first; it is the client's older wording and is kept.
constexpr std::array<std::string_view, 3> resync_phrases = {"--resync is required", "--resync needed",
                                                            "a --resync is required"};
constexpr std::array<std::string_view, 3> reauth_phrases = {"--reauth", "need to re-authorise", "AADSTS"};
constexpr std::array<std::string_view, 2> login_reauth_phrases = {"issue a --reauth", "AADSTS70000"};

bool contains_any(std::string_view text, const auto& phrases) {
    return std::ranges::any_of(phrases, [text](auto phrase) { return contains(text, phrase); });
}
} // namespace

SyncEnd judge_sync_end(const EndedClient& client) {
    if (client.quit_requested)
        return SyncEnd::stopped;
    if (!client.was_resync && contains_any(client.output, resync_phrases))
        return SyncEnd::resync;
    if (contains_any(client.output, reauth_phrases))
        return SyncEnd::reauth;
    return client.exit_code != 0 ? SyncEnd::failed : SyncEnd::clean;
}

bool asks_for_reauth_at_login(std::string_view output) {
    return contains_any(output, login_reauth_phrases);
}
