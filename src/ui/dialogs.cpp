// SPDX-License-Identifier: MIT
#include "ui/dialogs.h"

#include "ui/display_text.h"

#include <algorithm>
#include <atkmm/object.h>
#include <gtkmm/box.h>
#include <gtkmm/scrolledwindow.h>
#include <gtkmm/textview.h>

namespace {
// A label with a text within these limits fits on any screen.
constexpr std::size_t label_bytes = 1200;
constexpr std::ptrdiff_t label_lines = 15;

constexpr int view_width = 640;         // px
constexpr int view_height = 320;        // px
constexpr std::size_t view_line = 1000; // characters

std::unique_ptr<Gtk::MessageDialog> make_dialog(Gtk::Window* parent, const std::string& primary,
                                                Gtk::MessageType type, Gtk::ButtonsType buttons) {
    const auto text = display_text(primary);
    auto dialog = std::make_unique<Gtk::MessageDialog>(text, false, type, buttons, true);
    if (parent != nullptr)
        dialog->set_transient_for(*parent);
    dialog->get_accessible()->set_name(text);
    return dialog;
}

bool fits_a_label(const std::string& text) {
    return text.size() <= label_bytes && std::ranges::count(text, '\n') <= label_lines;
}

// The toolkit lays out a line as a whole, which takes minutes for a line of megabytes. The view would wrap
// such a line anyway, so it is broken beforehand.
std::string with_long_lines_broken(std::string_view text) {
    std::string broken;
    broken.reserve(text.size() + text.size() / view_line);
    std::size_t length = 0;
    for (const char c : text) {
        const bool begins_character = (static_cast<unsigned char>(c) & 0xC0U) != 0x80U;
        if (c == '\n')
            length = 0;
        else if (begins_character && ++length > view_line) {
            broken += '\n';
            length = 1;
        }
        broken += c;
    }
    return broken;
}

Gtk::ScrolledWindow* make_text_view(const std::string& text) {
    auto* view = Gtk::make_managed<Gtk::TextView>();
    view->set_editable(false);
    view->set_cursor_visible(false);
    view->set_wrap_mode(Gtk::WRAP_CHAR);
    view->get_buffer()->set_text(with_long_lines_broken(text));
    auto* scrolled = Gtk::make_managed<Gtk::ScrolledWindow>();
    scrolled->set_size_request(view_width, view_height);
    scrolled->set_shadow_type(Gtk::SHADOW_IN);
    scrolled->add(*view);
    scrolled->show_all();
    return scrolled;
}

// The dialog's secondary text is always the whole text. The label of a long one is hidden, where it costs no
// layout, and a scrolling view replaces it: the label would push the OK button off the screen.
void set_secondary(Gtk::MessageDialog& dialog, const std::string& secondary) {
    const auto text = display_text(secondary);
    dialog.set_secondary_text(text, false);
    if (fits_a_label(text.raw()))
        return;
    auto* area = dialog.get_message_area();
    for (auto* child : area->get_children()) {
        const auto* label = dynamic_cast<Gtk::Label*>(child);
        if (label != nullptr && label->get_text().raw() == text.raw())
            child->hide();
    }
    area->pack_start(*make_text_view(text.raw()), Gtk::PACK_EXPAND_WIDGET);
    dialog.set_resizable(true);
    // The view must not have the focus, because it keeps the Return key.
    dialog.get_widget_for_response(Gtk::RESPONSE_OK)->grab_focus();
}
} // namespace

std::unique_ptr<Gtk::MessageDialog> make_error_dialog(Gtk::Window* parent, const std::string& primary,
                                                      const std::string& secondary) {
    auto dialog = make_dialog(parent, primary, Gtk::MESSAGE_ERROR, Gtk::BUTTONS_OK);
    set_secondary(*dialog, secondary);
    return dialog;
}

std::vector<Gtk::Dialog*> open_dialogs() {
    std::vector<Gtk::Dialog*> dialogs;
    for (auto* window : Gtk::Window::list_toplevels())
        if (auto* dialog = dynamic_cast<Gtk::Dialog*>(window); dialog != nullptr && dialog->get_visible())
            dialogs.push_back(dialog);
    return dialogs;
}

std::unique_ptr<Gtk::MessageDialog> make_question_dialog(Gtk::Window& parent, const std::string& primary,
                                                         const std::string& secondary) {
    auto dialog = make_dialog(&parent, primary, Gtk::MESSAGE_QUESTION, Gtk::BUTTONS_YES_NO);
    if (!secondary.empty())
        dialog->set_secondary_text(display_text(secondary), false);
    return dialog;
}
