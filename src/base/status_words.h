// SPDX-License-Identifier: MIT
// The status words that rows show. The activity rules and the status cache produce them.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace status_word {
inline constexpr std::string_view synced = "Synced";
inline constexpr std::string_view online_only = "Online-only";
inline constexpr std::string_view skipped = "Skipped";
inline constexpr std::string_view pending = "Pending";
inline constexpr std::string_view uploading = "Uploading";
inline constexpr std::string_view downloading = "Downloading";
inline constexpr std::string_view syncing = "Syncing...";
inline constexpr std::string_view unknown = "Unknown";
} // namespace status_word

/// Maps a path relative to the sync folder to a status word, in byte order of the paths.
using StatusMap = std::map<std::string, std::string, std::less<>>;
