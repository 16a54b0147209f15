// SPDX-License-Identifier: MIT
// The program's own settings: a flat map of strings in one small text file, "key=value" a line. What the keys
// mean is left to their users; flags are "true" and "false".
#pragma once

#include <map>
#include <string>
#include <string_view>

using Settings = std::map<std::string, std::string>;

/// Adds the entries of a settings file to `values`: each line splits at its first "=", both halves verbatim;
/// a line without "=" is skipped; a later line wins.
void read_settings(std::string_view text, Settings& values);

/// One "key=value" line per entry, in byte order of the keys.
std::string settings_text(const Settings& values);

/// Main thread only. An instance holds the file as it was when it was made and writes all of it with every
/// `set`, so a key that another instance added meanwhile is lost again. That happens on purpose to the key
/// "notifications", which the settings window writes and nothing but that window reads.
class ConfigManager {
  public:
    /// Finds "~/.config/skyfold" (making that one folder), then loads the file `config` in it.
    ConfigManager();

    /// Reads the file and adds the defaults "autostart" and "sync_enabled" = "true" where they are missing,
    /// each with a save of its own. A missing file is created empty. A file that cannot be created, or is
    /// there and cannot be read, is told on standard error; the latter is never written, so never lost.
    void load();

    /// Replaces the whole file. A failure prints a line on standard error and leaves the file as it was.
    void save() const;

    /// The value, or the empty string for an absent key.
    [[nodiscard]] std::string get(const std::string& key) const;

    /// Stores the value and saves at once.
    void set(const std::string& key, const std::string& value);

    [[nodiscard]] bool key_exists(const std::string& key) const { return values.contains(key); }

  private:
    std::string config_path;
    Settings values;
    bool may_save = true; // false after a file that is there could not be read
};
