// SPDX-License-Identifier: MIT
// One form POST to a token endpoint. What is sent and what is read from the reply is in token_reply.h; what
// follows from it is the application's.
#pragma once

#include <string>

struct TokenReply {
    unsigned status = 0; // HTTP; 0 when no reply came
    std::string text;    // bytes; empty when no reply came
};

/// Posts `body` to the token endpoint below `origin` (scheme and host). Blocks the calling thread, any thread
/// may call. A transport error is not reported: it shows as status 0, or as an empty text where it came after
/// the status. So does a libsoup that cannot be loaded, which is printed as well.
TokenReply post_token_request(const std::string& origin, const std::string& body);
