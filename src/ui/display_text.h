// SPDX-License-Identifier: MIT
// Converts bytes (file names, the client's output) for a widget. All such text passes through here.
#pragma once

#include <glibmm/ustring.h>
#include <string_view>

/// Returns `bytes` as UTF-8, with U+FFFD in place of invalid bytes and NUL bytes.
inline Glib::ustring display_text(std::string_view bytes) {
    return Glib::ustring(std::string(bytes)).make_valid();
}
