// SPDX-License-Identifier: MIT
// Any settings file: what was loaded is saved and loaded again without a change. That holds for what a file
// can hold; a value that is set with a line end in it would be read back as two lines.
#include "app/config_manager.h"
#include "base/text.h"
#include "fuzz.h"

void try_text(std::string_view text) {
    Settings loaded;
    read_settings(text, loaded);
    for (const auto& [key, value] : loaded) {
        const auto line = settings_text({{key, value}});
        must_hold(contains(std::string(text) + "\n", line), "both halves are verbatim");
        must_hold(!contains(key, "="), "a line splits at its first sign");
    }
    const auto saved = settings_text(loaded);
    Settings again;
    read_settings(saved, again);
    must_hold(again == loaded, "load, save, load is stable");
    must_hold(settings_text(again) == saved, "save, load, save is stable");
    read_settings(text, loaded);
    must_hold(again == loaded, "loading twice adds nothing");
}
