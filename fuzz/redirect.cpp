// SPDX-License-Identifier: MIT
// One parameter of any address, as of the redirect that ends a sign-in.
#include "auth/authorise_address.h"
#include "auth/identity.h"
#include "auth/pkce.h"
#include "base/text.h"
#include "fuzz.h"

void try_text(std::string_view text) {
    const std::string address(text);
    const auto code = extract_url_param(address, "code");
    must_hold(code.empty() || contains(text, "code=" + code), "the value stands in the address, undecoded");
    must_hold(!contains(code, "&"), "the value ends at the next parameter");
    // A parameter that comes later, or whose name only ends or begins alike, changes nothing.
    const auto* mark = contains(text, "?") ? "&" : "?";
    must_hold(extract_url_param(address + mark + "code=last", "code") == (code.empty() ? "last" : code),
              "the first one counts");
    must_hold(extract_url_param(address + mark + "xcode=1&code_x=2&code", "code") == code,
              "the whole name counts");
    must_hold(!is_sign_in_redirect(text) || text.substr(identity_origin.size()).starts_with(redirect_path),
              "a redirect begins with its address");
}
