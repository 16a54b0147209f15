// SPDX-License-Identifier: MIT
#include "ui/display_text.h"

#include <glib.h>
#include <memory>

Glib::ustring display_text(std::string_view bytes) {
    const std::unique_ptr<char, decltype(&g_free)> text(
        g_utf8_make_valid(bytes.data(), static_cast<gssize>(bytes.size())), g_free);
    return text.get();
}
