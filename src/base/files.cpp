// SPDX-License-Identifier: MIT
#include "base/files.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <glib.h>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>
#include <wordexp.h>

namespace {
constexpr mode_t new_file_mode = 0666; // the umask applies
constexpr mode_t mode_bits = 07777;
constexpr int most_links = 40; // the kernel's own limit

// Follows `path` while it is a symbolic link, and returns where it leads; nothing need exist there.
std::string behind_links(const std::string& path) {
    std::filesystem::path reached = path;
    std::error_code error;
    for (int links = 0; links < most_links; ++links) {
        const auto next = std::filesystem::read_symlink(reached, error);
        if (error)
            break;
        reached = reached.parent_path() / next;
    }
    return reached.string();
}

// The status of the regular file at `path`; else nothing, and `error` says why (it is empty without a file).
std::optional<struct stat> look_at_file(const std::string& path, std::string& error) {
    struct stat status = {};
    const bool exists = stat(path.c_str(), &status) == 0;
    error.clear();
    if (!exists && errno != ENOENT && errno != ENOTDIR)
        error = g_strerror(errno);
    else if (exists && !S_ISREG(status.st_mode))
        error = "not a regular file";
    return exists && error.empty() ? std::optional(status) : std::nullopt;
}
} // namespace

std::optional<std::string> read_file(const std::string& path, std::string& error) {
    if (!look_at_file(path, error))
        return std::nullopt;
    g_autofree char* content = nullptr;
    gsize size = 0;
    g_autoptr(GError) failure = nullptr;
    if (g_file_get_contents(path.c_str(), &content, &size, &failure))
        return std::string(content, size);
    error = failure->message;
    return std::nullopt;
}

std::optional<std::string> read_file(const std::string& path) {
    std::string error;
    return read_file(path, error);
}

bool replace_file(const std::string& path, std::string_view content, std::string& error) {
    const auto target = behind_links(path);
    const auto old = look_at_file(target, error);
    if (old && access(target.c_str(), W_OK) != 0)
        error = g_strerror(errno);
    if (!error.empty())
        return false;
    const auto mode = old ? old->st_mode & mode_bits : new_file_mode;
    g_autoptr(GError) failure = nullptr;
    if (!g_file_set_contents_full(target.c_str(), content.data(), static_cast<gssize>(content.size()),
                                  G_FILE_SET_CONTENTS_CONSISTENT, static_cast<int>(mode), &failure)) {
        error = failure->message;
        return false;
    }
    if (!old)
        return true;
    // Restores the owner (root may replace other users' files) and the mode bits that the umask removed.
    if (old->st_uid != geteuid() || old->st_gid != getegid())
        std::ignore = chown(target.c_str(), old->st_uid, old->st_gid);
    chmod(target.c_str(), mode);
    return true;
}

bool replace_file(const std::string& path, std::string_view content) {
    std::string error;
    return replace_file(path, content, error);
}

bool make_file(const std::string& path) {
    const int made =
        open(path.c_str(), O_WRONLY | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, new_file_mode);
    return made >= 0 && close(made) == 0;
}

std::optional<std::string> expand_path(const char* path) {
    wordexp_t words{};
    const int failure = wordexp(path, &words, 0);
    std::optional<std::string> first;
    if (failure == 0 && words.we_wordc > 0)
        first = words.we_wordv[0];
    if (failure == 0 || failure == WRDE_NOSPACE)
        wordfree(&words);
    return first;
}
