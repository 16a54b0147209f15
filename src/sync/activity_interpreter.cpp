// SPDX-License-Identifier: MIT
#include "sync/activity.h"
#include "ui/display_text.h"
#include "ui/file_row.h"
#include "ui/skyfold.h"

// Shows the results of the activity rules on the window.
class Skyfold::ActivityOnWindow : public ActivityView {
  public:
    explicit ActivityOnWindow(Skyfold& shown_on) : window(shown_on) {}

    void set_status_line(const std::string& text) override {
        window.status_label.set_text(display_text(text));
    }

    void set_entry_status(std::string_view name, std::string_view status) override {
        const auto [first, last] = window.rows_by_name.equal_range(name);
        for (auto row = first; row != last; ++row)
            row->second->set_status(std::string(status));
    }

    void set_all_synced() override {
        for (const auto& [name, row] : window.rows_by_name) {
            if (row->get_status_text().raw() != status_word::skipped)
                row->set_status(std::string(status_word::synced));
        }
    }

  private:
    Skyfold& window;
};

void Skyfold::notify_sync_activity(const std::string& chunk) {
    ActivityOnWindow view(*this);
    Activity activity{sync_dir, activity_buffer, activity_scan, live_status_map, view};
    read_activity(chunk, activity);
}
