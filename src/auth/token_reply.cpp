// SPDX-License-Identifier: MIT
#include "auth/token_reply.h"

#include <glib.h>

static std::string escaped(const std::string& value) {
    g_autofree char* text = g_uri_escape_string(value.c_str(), nullptr, FALSE);
    return text;
}

std::string token_request_body(const PkceSignIn& sign_in, const std::string& code) {
    return "client_id=" + escaped(sign_in.client_id) + "&grant_type=authorization_code" +
           "&code=" + escaped(code) + "&redirect_uri=" + escaped(sign_in.redirect_uri) +
           "&code_verifier=" + escaped(sign_in.verifier);
}

std::string_view cut_refresh_token(std::string_view reply) {
    constexpr auto none = std::string_view::npos;
    const auto key = reply.find("\"refresh_token\"");
    const auto colon = key == none ? none : reply.find(':', key);
    const auto opening = colon == none ? none : reply.find('"', colon);
    const auto closing = opening == none ? none : reply.find('"', opening + 1);
    return closing == none ? std::string_view() : reply.substr(opening + 1, closing - opening - 1);
}
