// SPDX-License-Identifier: MIT
// What an ended sign-in client asks for. Acting on it is left to the login flow.
#pragma once

#include <string_view>

/// True when the output (bytes) of a sign-in attempt says that a fresh authorisation is needed.
bool asks_for_reauth_at_login(std::string_view output);
