// SPDX-License-Identifier: MIT
#include "app/config_manager.h"

#include "base/files.h"
#include "base/print.h"
#include "base/text.h"

#include <sys/stat.h>

void read_settings(std::string_view text, Settings& values) {
    for_each_line(text, [&values](std::string_view line) {
        const auto equals = line.find('=');
        if (equals != std::string_view::npos)
            values[std::string(line.substr(0, equals))] = line.substr(equals + 1);
    });
}

std::string settings_text(const Settings& values) {
    std::string text;
    for (const auto& [key, value] : values)
        text.append(key).append("=").append(value).append("\n");
    return text;
}

ConfigManager::ConfigManager() {
    // After a failed expansion the file is "/config": an odd place, but always the same one.
    config_path = expand_path("~/.config/skyfold").value_or("");
    mkdir(config_path.c_str(), 0700);
    config_path += "/config";
    load();
}

void ConfigManager::load() {
    std::string error;
    const auto text = read_file(config_path, error);
    may_save = text || error.empty();
    if (text) {
        read_settings(*text, values);
    } else if (!may_save) {
        print_error("Error: Could not read config file: " + config_path + ": " + error);
    } else if (!make_file(config_path)) {
        print_error("Error: Could not create config file: " + config_path);
    }
    for (const char* key : {"autostart", "sync_enabled"}) {
        if (!key_exists(key))
            set(key, "true");
    }
}

void ConfigManager::save() const {
    if (!may_save || !replace_file(config_path, settings_text(values)))
        print_error("Error: Could not open config file for writing: " + config_path);
}

std::string ConfigManager::get(const std::string& key) const {
    const auto entry = values.find(key);
    return entry == values.end() ? std::string() : entry->second;
}

void ConfigManager::set(const std::string& key, const std::string& value) {
    values[key] = value;
    save();
}
