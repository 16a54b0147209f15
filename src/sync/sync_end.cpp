// SPDX-License-Identifier: MIT
#include "sync/sync_end.h"

#include "base/text.h"

#include <array>

namespace {
// The first covers the third, which stays on purpose: this is the list of the client's wordings.
constexpr std::array<std::string_view, 3> resync_phrases = {"--resync is required", "--resync needed",
                                                            "a --resync is required"};
constexpr std::array<std::string_view, 3> reauth_phrases = {"--reauth", "need to re-authorise", "AADSTS"};
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
