// SPDX-License-Identifier: MIT
// The one way from bytes (file names, the client's output) into a widget.
#pragma once

#include <glibmm/ustring.h>
#include <string_view>

/// `bytes` as valid UTF-8 without NUL bytes: what is neither becomes U+FFFD.
inline Glib::ustring display_text(std::string_view bytes) {
    return Glib::ustring(std::string(bytes)).make_valid();
}
