// SPDX-License-Identifier: MIT
// One text as the reply of the token endpoint, and as what the request to it is made of.
#include "auth/token_reply.h"
#include "base/text.h"
#include "fuzz.h"

#include <array>
#include <string>

namespace {
std::string decoded(std::string_view text) {
    std::string bytes;
    for (; !text.empty(); text.remove_prefix(1)) {
        if (text.front() != '%') {
            bytes += text.front();
            continue;
        }
        bytes += static_cast<char>(std::stoi(std::string(text.substr(1, 2)), nullptr, 16));
        text.remove_prefix(2);
    }
    return bytes;
}

void read_reply(std::string_view reply) {
    const auto token = cut_refresh_token(reply);
    must_hold(!contains(token, "\""), "no quote is in the token");
    if (token.empty())
        return;
    const auto start = static_cast<std::size_t>(token.data() - reply.data()); // it is a part of the reply
    must_hold(start < reply.size() && reply[start - 1] == '"' && reply[start + token.size()] == '"',
              "the token stands in quotes");
    must_hold(contains(reply.substr(0, start), "\"refresh_token\""), "the token follows its key");
}

// The text is cut into the four values at its line ends.
void write_request(std::string_view text) {
    std::array<std::string, 4> values;
    std::size_t next = 0;
    for_each_piece(text, '\n', [&](std::string_view piece) {
        // They come from addresses, where no NUL can be.
        if (next < values.size())
            values[next++] = piece.substr(0, piece.find('\0'));
    });
    const auto body = token_request_body({values[3], values[0], values[2]}, values[1]);
    constexpr std::array<std::string_view, 5> keys = {
        "client_id=", "grant_type=", "code=", "redirect_uri=", "code_verifier="};
    const std::array<std::string, 5> contents = {values[0], "authorization_code", values[1], values[2],
                                                 values[3]};
    std::size_t field = 0;
    for_each_piece(body, '&', [&](std::string_view piece) {
        must_hold(field < keys.size() && piece.starts_with(keys[field]), "no value adds a field");
        must_hold(decoded(piece.substr(keys[field].size())) == contents[field], "each value comes through");
        ++field;
    });
    must_hold(field == keys.size(), "all fields are there");
}
} // namespace

void try_text(std::string_view text) {
    read_reply(text);
    write_request(text);
}
