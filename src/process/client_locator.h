// SPDX-License-Identifier: MIT
// Chooses which file of the outside client to run. The two search orders differ on purpose.
#pragma once

#include <functional>
#include <string>

/// A placeholder for the outside client, for what may move here one day. Nothing constructs it.
class OneDriveClient {
  public:
    OneDriveClient() {} // NOLINT(modernize-use-equals-default): an empty constructor is all there is to it
};

/// True when the file may be executed (`access` with X_OK).
bool is_executable(const char* path);

/// The command for the sign-in and monitor children: the current folder's client first, then the installed
/// ones, then the parent folder's. "onedrive-cli" (for the shell to find) when nothing qualifies.
std::string find_client_for_children(const std::function<bool(const char*)>& qualifies = is_executable);

/// The command for one-shot calls: the installed clients only, else "onedrive-cli".
std::string get_onedrive_path_local(const std::function<bool(const char*)>& qualifies = is_executable);
