// SPDX-License-Identifier: MIT
#include "auth/authorise_address.h"

#include "auth/identity.h"
#include "base/text.h"

#include <algorithm>
#include <array>

static constexpr std::array<std::string_view, 2> reauth_phrases = {"issue a --reauth", "AADSTS70000"};

// "After completing" also ends an address, because the client's next sentence can follow without a separator.
// An address at the very end of the output so far is taken as it is.
static std::string_view cut_at_end(std::string_view address) {
    const auto end = std::min(address.find_first_of(white_space), address.find("After completing"));
    return address.substr(0, end);
}

std::optional<std::string> find_authorise_address(std::string_view output, std::size_t& searched) {
    for (;;) {
        const auto start = output.find(identity_origin, searched);
        if (start == std::string_view::npos) {
            // The output may end in the middle of the origin; the next search begins there.
            searched =
                std::max(searched, output.size() - std::min(output.size(), identity_origin.size() - 1));
            return std::nullopt;
        }
        const auto rest = output.substr(start);
        const auto word_end = rest.find_first_of(white_space);
        if (contains(rest.substr(0, word_end), "authorize?"))
            return std::string(cut_at_end(rest));
        searched = start;
        if (word_end == std::string_view::npos)
            return std::nullopt;
        searched += word_end + 1;
    }
}

bool asks_for_reauth_at_login(std::string_view output) {
    return contains_any(output, reauth_phrases);
}

bool is_sign_in_redirect(std::string_view address) {
    return address.starts_with(identity_origin) &&
           address.substr(identity_origin.size()).starts_with(redirect_path) &&
           (contains(address, "code=") || contains(address, "error="));
}

std::string extract_url_param(const std::string& url, const std::string& key) {
    const auto question = url.find('?');
    if (question == std::string::npos)
        return {};
    const std::string needle = key + "=";
    std::string value;
    for_each_piece(std::string_view(url).substr(question + 1), '&', [&](std::string_view segment) {
        // Strictly longer, because a parameter with an empty value does not count as present.
        if (value.empty() && segment.size() > needle.size() && segment.starts_with(needle))
            value = segment.substr(needle.size());
    });
    return value;
}
