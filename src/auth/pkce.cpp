// SPDX-License-Identifier: MIT
#include "auth/pkce.h"

#include "base/text.h"

#include <algorithm>
#include <array>
#include <glib.h>
#include <memory>

namespace {
constexpr std::size_t digest_size = 32; // bytes, of SHA-256; a verifier draws as many
using Bytes = std::array<guchar, digest_size>;

std::string base64url(const Bytes& bytes) {
    const std::unique_ptr<char, decltype(&g_free)> encoded(g_base64_encode(bytes.data(), bytes.size()),
                                                           g_free);
    std::string text = encoded.get();
    std::ranges::replace(text, '+', '-');
    std::ranges::replace(text, '/', '_');
    text.erase(text.find_last_not_of('=') + 1);
    return text;
}
} // namespace

std::string generate_pkce_verifier() {
    Bytes bytes{};
    // GLib's global generator, which is not a cryptographic one: wanted so.
    for (auto& byte : bytes)
        byte = static_cast<guchar>(g_random_int_range(0, 256));
    return base64url(bytes);
}

std::string compute_pkce_challenge(const std::string& verifier) {
    const std::unique_ptr<GChecksum, decltype(&g_checksum_free)> sum(g_checksum_new(G_CHECKSUM_SHA256),
                                                                     g_checksum_free);
    g_checksum_update(sum.get(), reinterpret_cast<const guchar*>(verifier.data()),
                      static_cast<gssize>(verifier.size()));
    Bytes digest{};
    gsize size = digest.size();
    g_checksum_get_digest(sum.get(), digest.data(), &size);
    return base64url(digest);
}

std::string extract_url_param(const std::string& url, const std::string& key) {
    const auto question = url.find('?');
    if (question == std::string::npos)
        return {};
    const std::string needle = key + "=";
    std::string value;
    for_each_piece(std::string_view(url).substr(question + 1), '&', [&](std::string_view segment) {
        // Strictly longer: a parameter with an empty value does not count as present.
        if (value.empty() && segment.size() > needle.size() && segment.starts_with(needle))
            value = segment.substr(needle.size());
    });
    return value;
}
