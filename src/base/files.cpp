// SPDX-License-Identifier: MIT
#include "base/files.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <glib.h>
#include <sys/stat.h>
#include <unistd.h>
#include <wordexp.h>

namespace {
constexpr mode_t new_file_mode = 0666; // less the process's mask
constexpr mode_t mode_bits = 07777;
constexpr int most_links = 40; // as many as the system follows

// Where symbolic links at the end of `path` lead to, whether or not something is there.
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

// The mode of the regular file at `path`, or nothing; `error` is empty where there is no file.
std::optional<mode_t> mode_of_file(const std::string& path, std::string& error) {
    struct stat status = {};
    const bool exists = stat(path.c_str(), &status) == 0;
    error.clear();
    if (!exists && errno != ENOENT && errno != ENOTDIR)
        error = g_strerror(errno);
    else if (exists && !S_ISREG(status.st_mode))
        error = "not a regular file";
    return exists && error.empty() ? std::optional(status.st_mode & mode_bits) : std::nullopt;
}
} // namespace

std::optional<std::string> read_file(const std::string& path, std::string& error) {
    if (!mode_of_file(path, error))
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
    const auto mode = mode_of_file(target, error);
    if (mode && access(target.c_str(), W_OK) != 0)
        error = g_strerror(errno);
    if (!error.empty())
        return false;
    g_autoptr(GError) failure = nullptr;
    if (!g_file_set_contents_full(target.c_str(), content.data(), static_cast<gssize>(content.size()),
                                  G_FILE_SET_CONTENTS_CONSISTENT,
                                  static_cast<int>(mode.value_or(new_file_mode)), &failure)) {
        error = failure->message;
        return false;
    }
    if (mode)
        chmod(target.c_str(), *mode); // what the process's mask took from it
    return true;
}

bool replace_file(const std::string& path, std::string_view content) {
    std::string error;
    return replace_file(path, content, error);
}

bool make_file(const std::string& path) {
    const int made = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, new_file_mode);
    return made >= 0 ? close(made) == 0 : errno == EEXIST;
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
