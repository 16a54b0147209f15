// SPDX-License-Identifier: MIT
// The addresses of the Microsoft identity platform: its origin, and the two paths that the program uses.
#pragma once

#include <string_view>

inline constexpr std::string_view identity_origin = "https://login.microsoftonline.com";
inline constexpr std::string_view redirect_path = "/common/oauth2/nativeclient";
inline constexpr std::string_view token_path = "/common/oauth2/v2.0/token";
