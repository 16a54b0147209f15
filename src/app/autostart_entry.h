// SPDX-License-Identifier: MIT
// The desktop entry that starts the program at login (freedesktop.org desktop entry and autostart formats).
// When it is written is decided by the preferences and by the settings window.
#pragma once

#include <string>
#include <string_view>

/// The entry's eight lines for the given home folder.
std::string autostart_entry_text(std::string_view home);

/// Writes ("enable") or deletes "~/.config/autostart/skyfold.desktop". The folder is not created. One line on
/// standard error tells of a folder not found or a file not written; deleting a missing file is fine.
void write_autostart_entry(bool enable);
