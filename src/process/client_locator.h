// SPDX-License-Identifier: MIT
// Chooses which client executable to run. The two search orders differ on purpose: a build tree's client can
// be tried for the children, while one-shot calls do not depend on the current folder.
#pragma once

#include <functional>
#include <string>

/// Nothing constructs this: the name is reserved for a state that the functions below may one day share.
class OneDriveClient {
  public:
    OneDriveClient() {} // NOLINT(modernize-use-equals-default): a constructor with an empty body is wanted
};

/// True when the file may be executed (`access` with X_OK).
bool is_executable(const char* path);

/// The command for the sign-in and monitor children: the current folder's client first, then the installed
/// ones, then the parent folder's. "onedrive-cli" (for the shell to find) when nothing qualifies.
std::string find_client_for_children(const std::function<bool(const char*)>& qualifies = is_executable);

/// The command for one-shot calls: the installed clients only, else "onedrive-cli".
std::string get_onedrive_path_local(const std::function<bool(const char*)>& qualifies = is_executable);
