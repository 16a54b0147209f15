// SPDX-License-Identifier: MIT
// Sets up the toolkit for this program: the display, the style sheets, two settings and the fallback icons.
#pragma once

/// Opens the display without the toolkit's search for OpenGL. False when no display can be opened.
bool open_display();

/// Adds the program's style sheets and fallback icons to the default screen.
void install_style();

/// Chooses the icon theme and turns mnemonics on; a failure is printed and otherwise ignored.
void apply_toolkit_settings();
