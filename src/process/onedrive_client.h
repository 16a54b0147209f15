// SPDX-License-Identifier: MIT
// A placeholder type for the outside client. Nothing constructs it; it is kept for what may move here.
#pragma once

class OneDriveClient {
  public:
    OneDriveClient() {} // NOLINT(modernize-use-equals-default): an empty constructor is all there is to it
};
