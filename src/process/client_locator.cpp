// SPDX-License-Identifier: MIT
#include "process/client_locator.h"

#include <array>
#include <unistd.h>

namespace {
constexpr const char* beside_us = "./onedrive-cli";
constexpr const char* above_us = "../onedrive-cli";
constexpr const char* on_search_path = "onedrive-cli";
constexpr std::array installed = {"/usr/bin/onedrive-cli", "/usr/local/bin/onedrive-cli", "/usr/bin/onedrive",
                                  "/usr/local/bin/onedrive"};

std::optional<std::string> first_installed(const ClientSearch& search) {
    for (const char* candidate : installed) {
        if (search.is_executable(candidate))
            return candidate;
    }
    return std::nullopt;
}
} // namespace

ClientSearch system_client_search() {
    return {[](const char* path) { return access(path, X_OK) == 0; },
            []() -> std::optional<std::string> {
                std::array<char, 4096> buffer{};
                if (getcwd(buffer.data(), buffer.size()) == nullptr)
                    return std::nullopt;
                return buffer.data();
            }};
}

std::string find_client_for_children(const ClientSearch& search) {
    if (search.is_executable(beside_us)) {
        const auto folder = search.current_folder();
        return folder ? *folder + "/onedrive-cli" : beside_us;
    }
    if (const auto found = first_installed(search))
        return *found;
    // Returned relative, unlike the one beside us: the command is run at once, from this folder, and printed,
    // and a person who tries a build tree finds the client there as it is called.
    return search.is_executable(above_us) ? above_us : on_search_path;
}

std::string find_installed_client(const ClientSearch& search) {
    return first_installed(search).value_or(on_search_path);
}

std::string get_onedrive_path_local() {
    return find_installed_client(system_client_search());
}
