// SPDX-License-Identifier: MIT
// Proof Key for Code Exchange (RFC 7636, method S256): makes the verifier and the challenge, and adds the
// challenge to the authorise address. token_exchange.h redeems the code.
#pragma once

#include <optional>
#include <string>

/// A fresh code verifier of 43 characters: base64url of 32 bytes without padding (RFC 7636 section 4.1).
std::string generate_pkce_verifier();

/// The S256 challenge of `verifier`: base64url of its SHA-256 without padding (RFC 7636 section 4.2).
std::string compute_pkce_challenge(const std::string& verifier);

/// What our own token exchange needs of a sign-in. All empty if the client exchanges the code itself.
struct PkceSignIn {
    std::string verifier;
    std::string client_id;    // undecoded, as in the address
    std::string redirect_uri; // undecoded, as in the address
};

/// Appends a fresh S256 challenge to `address` and returns what the exchange needs later (RFC 7636 section
/// 4.3). Returns nothing for an address that already has a challenge, and leaves it unchanged.
std::optional<PkceSignIn> add_pkce_challenge(std::string& address);
