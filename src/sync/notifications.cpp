// SPDX-License-Identifier: MIT
#include "app/application.h"
#include "ui/display_text.h"
#include "ui/skyfold.h"

#include <giomm/notification.h>
#include <giomm/themedicon.h>

void Skyfold::send_notification(const std::string& title, const std::string& body) {
    const auto notification = Gio::Notification::create(title);
    notification->set_body(display_text(body));
    notification->set_icon(Gio::ThemedIcon::create("emblem-synchronizing-symbolic"));
    // Sent without an identifier, so that no notification replaces an earlier one.
    Gio::Application::get_default()->send_notification(notification);
}

bool Skyfold::may_notify() const {
    return tray_available && tray_icon && get_application() && app != nullptr &&
           app->are_notifications_enabled();
}

// Nothing calls these two at present: the status bar and the rows show the same without a disturbance.
void Skyfold::show_sync_complete_notification() {
    if (may_notify())
        send_notification("Sync Complete", "Your files are up to date.");
}

void Skyfold::show_file_sync_notification(const std::string& filename, bool is_upload) {
    if (may_notify())
        send_notification(is_upload ? "Uploading" : "Downloading", filename);
}
