// SPDX-License-Identifier: MIT
// Sends one form POST to a token endpoint. token_reply.h makes the form and reads the reply; the application
// acts on the result.
#pragma once

#include <string>

struct TokenReply {
    unsigned status = 0; // HTTP; 0 when no reply came
    std::string text;    // bytes; empty when no reply came
};

/// Posts `body` to the token endpoint below `origin` (scheme and host). Blocks; any thread may call it. A
/// transport error gives status 0, or an empty text if it came after the status. If libsoup cannot be loaded,
/// prints an error and returns status 0.
TokenReply post_token_request(const std::string& origin, const std::string& body);
