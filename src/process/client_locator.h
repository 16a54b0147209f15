// SPDX-License-Identifier: MIT
// Chooses which file of the outside client to run. The two search orders differ on purpose; running the file
// is left to the callers.
#pragma once

#include <functional>
#include <optional>
#include <string>

/// A placeholder for the outside client, for what may move here one day. Nothing constructs it.
class OneDriveClient {
  public:
    OneDriveClient() {} // NOLINT(modernize-use-equals-default): an empty constructor is all there is to it
};

/// What the candidate walk asks of the system.
struct ClientSearch {
    /// True when the file may be executed.
    std::function<bool(const char* path)> is_executable;
    /// The current folder, or nothing when it cannot be obtained.
    std::function<std::optional<std::string>()> current_folder;
};

/// The real system's answers (`access` with X_OK, `getcwd`).
ClientSearch system_client_search();

/// The command for the sign-in and monitor children: the current folder's client first, then the installed
/// ones, then the parent folder's. "onedrive-cli" (for the shell to find) when nothing qualifies.
std::string find_client_for_children(const ClientSearch& search);

/// The command for one-shot calls: the installed clients only, else "onedrive-cli".
std::string find_installed_client(const ClientSearch& search);

/// `find_installed_client` on the real system.
std::string get_onedrive_path_local();
