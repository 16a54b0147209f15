// SPDX-License-Identifier: MIT
// Opens the toolkit for this program: the display, the style sheet, two settings and the fallback icons.
#pragma once

/// Opens the display without the toolkit's OpenGL probe. False when there is none to open.
bool open_display();

/// Adds the program's style sheet and fallback icons to the default screen.
void install_style();

/// Chooses the icon theme and turns mnemonics on; a failure is printed and otherwise ignored.
void apply_toolkit_settings();
