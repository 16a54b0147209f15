// SPDX-License-Identifier: MIT
// The program's own settings: a map from string to string, stored as one "key=value" a line in a small text
// file. Flags are "true" and "false". The callers know what the keys mean.
#pragma once

#include <map>
#include <string>
#include <string_view>

using Settings = std::map<std::string, std::string>;

/// Adds the entries of a settings file to `values`. A line is split at its first "=", and both halves are
/// taken verbatim; a line without "=" is skipped; a later line wins.
void read_settings(std::string_view text, Settings& values);

/// One "key=value" line per entry, in byte order of the keys.
std::string settings_text(const Settings& values);

/// Main thread only. An instance reads the file when it is constructed, and writes its whole copy with every
/// `set`, so a key that another instance has added meanwhile is lost. That is accepted for the key
/// "notifications", which only the settings window writes and reads.
class ConfigManager {
  public:
    /// Creates the folder "~/.config/skyfold" (one level) if it is missing, then loads its file `config`.
    ConfigManager();

    /// Reads the file and adds the defaults "autostart" and "sync_enabled" = "true" where they are missing,
    /// with a save for each. A missing file is created empty. Prints an error when the file cannot be created
    /// or read. A file that exists but cannot be read is not written, so nothing in it is lost.
    void load();

    /// Replaces the whole file. On failure prints an error and leaves the file as it was.
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
