// SPDX-License-Identifier: MIT
// Finds the authorise address, or the request for a new authorisation, in the output of a sign-in. Also
// recognises the redirect that ends it, and reads a parameter of an address. The login flow acts on them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

/// The first authorise address in `output` (bytes), or nothing if there is none yet. It starts with the
/// identity origin and has "authorize?" before the next white space. It ends there, or at "After completing"
/// (which may follow without a separator), or with the text.
///
/// `searched` (0 at first) says where to begin when the same output has grown; it only saves work.
std::optional<std::string> find_authorise_address(std::string_view output, std::size_t& searched);

/// True when the output (bytes) of an ended sign-in says that a new authorisation is needed.
bool asks_for_reauth_at_login(std::string_view output);

/// True for the redirect that ends a sign-in: the redirect address with "code=" or "error=" after it.
bool is_sign_in_redirect(std::string_view address);

/// The value of query parameter `key`, not decoded, up to the next "&" or the end of `url` (a fragment is
/// part of it). Empty when there is none; a parameter with an empty value is skipped.
std::string extract_url_param(const std::string& url, const std::string& key);
