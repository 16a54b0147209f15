// SPDX-License-Identifier: MIT
#include "process/client_files.h"

#include "base/files.h"
#include "base/print.h"

#include <cstdio>
#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

static constexpr std::string_view token_file = "refresh_token";

static std::optional<std::string> client_folder() {
    const char* home = std::getenv("HOME");
    if (home == nullptr)
        return std::nullopt;
    return std::string(home) + "/.config/onedrive";
}

std::optional<std::string> client_file(std::string_view name) {
    auto path = client_folder();
    if (path)
        path->append("/").append(name);
    return path;
}

bool is_client_token_present() {
    const auto path = client_file(token_file);
    return path && access(path->c_str(), R_OK) == 0;
}

void remove_client_file(std::string_view name) {
    if (const auto path = client_file(name))
        std::remove(path->c_str());
}

bool write_client_file(std::string_view name, std::string_view content) {
    const auto path = client_file(name);
    std::string error;
    const bool written = path && replace_file(*path, content, error);
    if (path && !written)
        print_error("ERROR: Could not write " + *path + ": " + error);
    return written;
}

bool save_client_token(std::string_view token) {
    if (const auto folder = client_folder())
        mkdir(folder->c_str(), 0700); // an existing folder is fine
    return write_client_file(token_file, token);
}
