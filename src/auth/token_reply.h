// SPDX-License-Identifier: MIT
// Makes the text of the token request and reads its reply (RFC 6749 section 4.1.3, RFC 7636 section 4.5).
#pragma once

#include "auth/pkce.h"

#include <string>
#include <string_view>

/// The form body that redeems an authorisation code; each value is percent-encoded byte by byte. An escape in
/// a value is encoded a second time ("%3A" becomes "%253A"), on purpose: client id and redirect address are
/// sent as the client printed them, and it prints them unescaped, so a "%" in them belongs to the value.
std::string token_request_body(const PkceSignIn& sign_in, const std::string& code);

/// The text between the quotes after the key "refresh_token", or the empty string. A plain search instead of
/// a JSON parser, on purpose: it works for any shape of reply. Even an escaped quote ends the token.
std::string_view cut_refresh_token(std::string_view reply);
