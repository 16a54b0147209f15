// SPDX-License-Identifier: MIT
// Reads what a sign-in client prints: the authorise address, or that a fresh authorisation is needed. And
// reads addresses: which one is the answering redirect, and one parameter. Acting on it is the login flow's.
#pragma once

#include <optional>
#include <string>
#include <string_view>

/// The first authorise address in `output` (bytes): it starts with the identity origin, has "authorize?"
/// before the next white space, and ends there or at "After completing", which may follow without a
/// separator; else it runs to the end of the text. Nothing when there is none yet.
///
/// `searched` (0 at first) is where the next search of the same, longer output may start; it only saves work.
std::optional<std::string> find_authorise_address(std::string_view output, std::size_t& searched);

/// True when the output (bytes) of an ended sign-in says that a fresh authorisation is needed.
bool asks_for_reauth_at_login(std::string_view output);

/// True for the redirect that ends a sign-in: the redirect address, then somewhere "code=" or "error=".
bool is_sign_in_redirect(std::string_view address);

/// The value of query parameter `key`, undecoded, up to the next "&" or the end (a fragment is not cut).
/// Empty when `url` has no such parameter; one with an empty value does not count, and the search goes on
/// after it.
std::string extract_url_param(const std::string& url, const std::string& key);
