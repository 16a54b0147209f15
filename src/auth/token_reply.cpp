// SPDX-License-Identifier: MIT
#include "auth/token_reply.h"

#include <glib.h>
#include <memory>

static std::string escaped(const std::string& value) {
    const std::unique_ptr<char, decltype(&g_free)> text(g_uri_escape_string(value.c_str(), nullptr, FALSE),
                                                        g_free);
    return text.get();
}

std::string token_request_body(const TokenRequest& request) {
    return "client_id=" + escaped(request.client_id) + "&grant_type=authorization_code" +
           "&code=" + escaped(request.code) + "&redirect_uri=" + escaped(request.redirect_uri) +
           "&code_verifier=" + escaped(request.code_verifier);
}

std::string_view cut_refresh_token(std::string_view reply) {
    constexpr auto none = std::string_view::npos;
    const auto key = reply.find("\"refresh_token\"");
    const auto colon = key == none ? none : reply.find(':', key);
    const auto opening = colon == none ? none : reply.find('"', colon);
    const auto closing = opening == none ? none : reply.find('"', opening + 1);
    return closing == none ? std::string_view() : reply.substr(opening + 1, closing - opening - 1);
}
