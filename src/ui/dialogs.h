// SPDX-License-Identifier: MIT
// Makes the two kinds of message dialogs: an error with OK, and a question with Yes and No. Both are modal,
// and the callers show them. Texts are bytes; a screen reader announces the primary text.
#pragma once

#include <gtkmm/messagedialog.h>
#include <memory>
#include <string>
#include <vector>

/// An error with one OK button; `parent` may be null. A `secondary` text too long for the screen scrolls.
std::unique_ptr<Gtk::MessageDialog> make_error_dialog(Gtk::Window* parent, const std::string& primary,
                                                      const std::string& secondary);

/// The dialogs that are shown now, whatever their kind.
std::vector<Gtk::Dialog*> open_dialogs();

/// A question with Yes and No; only `Gtk::RESPONSE_YES` is a yes. An empty secondary text is left out.
std::unique_ptr<Gtk::MessageDialog> make_question_dialog(Gtk::Window& parent, const std::string& primary,
                                                         const std::string& secondary);
