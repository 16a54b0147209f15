// SPDX-License-Identifier: MIT
// Finds the authorise address in what the client printed, adds our own challenge to it, and recognises the
// redirect that answers it. Showing the address is left to the sign-in window.
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

/// The state of one sign-in by our own exchange. All empty: the client exchanges the code itself.
struct PkceSignIn {
    std::string verifier;
    std::string client_id;    // undecoded, as in the address
    std::string redirect_uri; // undecoded, as in the address
};

/// Appends a fresh S256 challenge to `address` and returns what the exchange needs later (RFC 7636
/// section 4.3). Leaves an address that has a challenge already, and returns nothing.
std::optional<PkceSignIn> add_pkce_challenge(std::string& address);

/// True for the redirect that ends a sign-in: it starts with the redirect address and holds "code=" or
/// "error=".
bool is_sign_in_redirect(std::string_view address);
