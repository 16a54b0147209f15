// SPDX-License-Identifier: MIT
// The two kinds of message dialogs: an error with OK, a question with Yes and No. Both modal; showing them is
// left to the callers. Texts are bytes; the primary text is also what a screen reader announces.
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
