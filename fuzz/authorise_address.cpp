// SPDX-License-Identifier: MIT
// What the client prints at the sign-in, cut into chunks at each "|" and after each byte: to search on where
// the last search stopped finds what a search from the start finds.
#include "auth/authorise_address.h"

#include "auth/identity.h"
#include "auth/pkce.h"
#include "base/text.h"
#include "fuzz.h"

#include <algorithm>

namespace {
std::optional<std::string> search_slowly(std::string_view output) {
    for (std::size_t at = 0; at < output.size(); ++at) {
        const auto rest = output.substr(at);
        if (!rest.starts_with(identity_origin))
            continue;
        const auto word = rest.substr(0, rest.find_first_of(white_space));
        if (contains(word, "authorize?"))
            return std::string(word.substr(0, rest.find("After completing")));
    }
    return std::nullopt;
}

struct Search {
    void read(std::string_view chunk) {
        if (found)
            return; // nobody looks for a second one
        output += chunk;
        found = find_authorise_address(output, searched);
        must_hold(found == search_slowly(output), "an interrupted search finds the same");
        must_hold(searched <= output.size(), "the search stays in the output");
    }

    std::string output;
    std::size_t searched = 0;
    std::optional<std::string> found;
};

void extend(const std::string& address) {
    auto extended = address;
    const auto sign_in = add_pkce_challenge(extended);
    must_hold(extended.starts_with(address), "the address is kept");
    must_hold(sign_in.has_value() == (extended != address), "a challenge comes with its verifier");
    if (sign_in)
        must_hold(extract_url_param(extended, "code_challenge") == compute_pkce_challenge(sign_in->verifier),
                  "the challenge is that of the verifier");
    must_hold(!add_pkce_challenge(extended), "there is one challenge");
}
} // namespace

void try_text(std::string_view text) {
    Search marked;
    Search bytes;
    for_each_piece(text, '|', [&](std::string_view chunk) {
        marked.read(chunk);
        for (; !chunk.empty(); chunk.remove_prefix(1))
            bytes.read(chunk.substr(0, 1));
    });
    if (marked.found)
        extend(*marked.found);
}
