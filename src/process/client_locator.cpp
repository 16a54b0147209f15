// SPDX-License-Identifier: MIT
#include "process/client_locator.h"

#include <algorithm>
#include <array>
#include <climits>
#include <filesystem>
#include <unistd.h>

namespace {
constexpr const char* beside_us = "./onedrive-cli";
constexpr const char* above_us = "../onedrive-cli";
constexpr const char* on_search_path = "onedrive-cli";
constexpr std::array installed = {"/usr/bin/onedrive-cli", "/usr/local/bin/onedrive-cli", "/usr/bin/onedrive",
                                  "/usr/local/bin/onedrive"};

// An absolute path, unless the current folder cannot be determined.
std::string client_beside_us() {
    std::error_code error;
    const auto folder = std::filesystem::current_path(error);
    return error || folder.native().size() >= PATH_MAX ? beside_us : folder.string() + "/onedrive-cli";
}
} // namespace

bool is_executable(const char* path) {
    return access(path, X_OK) == 0;
}

std::string find_client_for_children(const std::function<bool(const char*)>& qualifies) {
    if (qualifies(beside_us))
        return client_beside_us();
    const auto found = get_onedrive_path_local(qualifies);
    // Stays relative, unlike the client beside us: the shell runs it at once in this same folder, and the
    // printed command shows whoever tries a build tree that its client is the one in use.
    return found == on_search_path && qualifies(above_us) ? above_us : found;
}

std::string get_onedrive_path_local(const std::function<bool(const char*)>& qualifies) {
    const auto* const found = std::ranges::find_if(installed, qualifies);
    return found == installed.end() ? on_search_path : *found;
}
