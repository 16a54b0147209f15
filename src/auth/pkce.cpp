// SPDX-License-Identifier: MIT
#include "auth/pkce.h"

#include "auth/authorise_address.h"
#include "base/text.h"

#include <algorithm>
#include <array>
#include <glib.h>

namespace {
constexpr std::size_t digest_size = 32; // bytes of a SHA-256 digest; a verifier has as many random bytes
using Bytes = std::array<guchar, digest_size>;

std::string base64url(const Bytes& bytes) {
    g_autofree char* encoded = g_base64_encode(bytes.data(), bytes.size());
    std::string text = encoded;
    std::ranges::replace(text, '+', '-');
    std::ranges::replace(text, '/', '_');
    text.erase(text.find_last_not_of('=') + 1);
    return text;
}
} // namespace

std::string generate_pkce_verifier() {
    Bytes bytes{};
    // GLib's global generator is not cryptographic, but the system seeds it at each start. That is enough: a
    // verifier is used once, within minutes, and is worthless without the redirect of the same sign-in.
    for (auto& byte : bytes)
        byte = static_cast<guchar>(g_random_int_range(0, 256));
    return base64url(bytes);
}

std::string compute_pkce_challenge(const std::string& verifier) {
    g_autoptr(GChecksum) sum = g_checksum_new(G_CHECKSUM_SHA256);
    g_checksum_update(sum, reinterpret_cast<const guchar*>(verifier.data()),
                      static_cast<gssize>(verifier.size()));
    Bytes digest{};
    gsize size = digest.size();
    g_checksum_get_digest(sum, digest.data(), &size);
    return base64url(digest);
}

std::optional<PkceSignIn> add_pkce_challenge(std::string& address) {
    if (contains(address, "code_challenge="))
        return std::nullopt;
    PkceSignIn sign_in;
    sign_in.verifier = generate_pkce_verifier();
    address += "&code_challenge=" + compute_pkce_challenge(sign_in.verifier) + "&code_challenge_method=S256";
    sign_in.client_id = extract_url_param(address, "client_id");
    sign_in.redirect_uri = extract_url_param(address, "redirect_uri");
    return sign_in;
}
