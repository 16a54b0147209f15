// SPDX-License-Identifier: MIT
// The text of the token request and of its reply (RFC 6749 section 4.1.3, RFC 7636 section 4.5). Sending is
// left to the token exchange.
#pragma once

#include "auth/pkce.h"

#include <string>
#include <string_view>

/// The form body that redeems an authorisation code, each value percent-encoded byte by byte. The values come
/// from addresses undecoded, and an escape in one of them is encoded a second time ("%3A" becomes "%253A"),
/// on purpose: the client writes its addresses unescaped, so a "%" there belongs to the value, and the
/// service compares values.
std::string token_request_body(const PkceSignIn& sign_in, const std::string& code);

/// The text between the quotes after the key "refresh_token", or the empty string. Found by plain search, not
/// by parsing, on purpose: whatever shape the reply has, a backslash-escaped quote ends the token.
std::string_view cut_refresh_token(std::string_view reply);
