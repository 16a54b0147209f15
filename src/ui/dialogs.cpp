// SPDX-License-Identifier: MIT
#include "ui/dialogs.h"

#include "ui/display_text.h"

#include <atkmm/object.h>

static std::unique_ptr<Gtk::MessageDialog> make_dialog(Gtk::Window* parent, const std::string& primary,
                                                       Gtk::MessageType type, Gtk::ButtonsType buttons) {
    const auto text = display_text(primary);
    auto dialog = std::make_unique<Gtk::MessageDialog>(text, false, type, buttons, true);
    if (parent != nullptr)
        dialog->set_transient_for(*parent);
    dialog->get_accessible()->set_name(text);
    return dialog;
}

std::unique_ptr<Gtk::MessageDialog> make_error_dialog(Gtk::Window* parent, const std::string& primary,
                                                      const std::string& secondary) {
    auto dialog = make_dialog(parent, primary, Gtk::MESSAGE_ERROR, Gtk::BUTTONS_OK);
    dialog->set_secondary_text(display_text(secondary), false);
    return dialog;
}

std::unique_ptr<Gtk::MessageDialog> make_question_dialog(Gtk::Window& parent, const std::string& primary,
                                                         const std::string& secondary) {
    auto dialog = make_dialog(&parent, primary, Gtk::MESSAGE_QUESTION, Gtk::BUTTONS_YES_NO);
    if (!secondary.empty())
        dialog->set_secondary_text(display_text(secondary), false);
    return dialog;
}
