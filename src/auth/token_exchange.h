// SPDX-License-Identifier: MIT
// Sends one form POST to a token endpoint. token_reply.h makes the form and reads the reply.
#pragma once

#include <string>

struct TokenReply {
    unsigned status = 0; // HTTP; 0 when no reply came
    std::string text;    // bytes; empty when no reply came
};

/// Posts `body` to the token endpoint below `origin` (scheme and host). Blocks; any thread may call it.
/// Returns status 0 after a transport error (or an empty text if it came later), and without libsoup.
TokenReply post_token_request(const std::string& origin, const std::string& body);
