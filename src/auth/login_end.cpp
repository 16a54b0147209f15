// SPDX-License-Identifier: MIT
#include "auth/login_end.h"

#include "base/text.h"

#include <array>

static constexpr std::array<std::string_view, 2> reauth_phrases = {"issue a --reauth", "AADSTS70000"};

bool asks_for_reauth_at_login(std::string_view output) {
    return contains_any(output, reauth_phrases);
}
