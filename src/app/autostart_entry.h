// SPDX-License-Identifier: MIT
// The desktop entry that starts the program at login (freedesktop.org desktop entry and autostart formats).
// The preferences and the settings window decide when it is written.
#pragma once

#include <string>
#include <string_view>

/// The entry's eight lines for the given home folder.
std::string autostart_entry_text(std::string_view home);

/// Writes (`enable`) or deletes "~/.config/autostart/skyfold.desktop". The folder is not created. Prints an
/// error when the path cannot be expanded or the file not written; a missing file need not be deleted.
void write_autostart_entry(bool enable);
