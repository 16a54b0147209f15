// SPDX-License-Identifier: MIT
// Proof Key for Code Exchange (RFC 7636, method S256) and reading one parameter of an address.
#pragma once

#include <string>

/// A fresh code verifier of 43 characters: base64url of 32 bytes without padding (RFC 7636 section 4.1).
std::string generate_pkce_verifier();

/// The S256 challenge of `verifier`: base64url of its SHA-256 without padding (RFC 7636 section 4.2).
std::string compute_pkce_challenge(const std::string& verifier);

/// The value of query parameter `key`, undecoded, up to the next "&" or the end (a fragment is not cut). The
/// empty string when `url` has no such parameter; one with an empty value does not count, and the search goes
/// on after it.
std::string extract_url_param(const std::string& url, const std::string& key);
