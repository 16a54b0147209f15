// SPDX-License-Identifier: MIT
#include "base/files.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <glib.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <wordexp.h>

namespace {
constexpr mode_t new_file_mode = 0666; // less the process's mask
constexpr mode_t mode_bits = 07777;
constexpr int most_links = 40; // as many as the system follows
constexpr const char* not_regular = "not a regular file";

class Descriptor {
  public:
    explicit Descriptor(int opened) : number(opened) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    Descriptor(Descriptor&&) = delete;
    Descriptor& operator=(Descriptor&&) = delete;
    ~Descriptor() {
        if (is_open())
            close(number);
    }
    [[nodiscard]] bool is_open() const { return number >= 0; }
    [[nodiscard]] int get() const { return number; }

  private:
    int number;
};

// Without waiting: a FIFO would be opened only when somebody writes to it.
Descriptor open_for_reading(const std::string& path) {
    return Descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
}

bool read_all(int descriptor, std::string& content) {
    std::array<char, 4096> buffer{};
    for (;;) {
        const auto count = read(descriptor, buffer.data(), buffer.size());
        if (count == 0)
            return true;
        if (count > 0)
            content.append(buffer.data(), static_cast<std::size_t>(count));
        else if (errno != EINTR)
            return false;
    }
}

// The path that symbolic links at its end lead to, whether or not there is something.
std::string behind_links(const std::string& path) {
    std::filesystem::path reached = path;
    for (int links = 0; links < most_links; ++links) {
        std::error_code error;
        const auto next = std::filesystem::read_symlink(reached, error);
        if (error)
            break;
        reached = reached.parent_path() / next;
    }
    return reached.string();
}

// Why what is at `path` may not be replaced, or nothing.
std::string reason_to_leave(const std::string& path, const struct stat& status) {
    if (!S_ISREG(status.st_mode))
        return not_regular;
    if (access(path.c_str(), W_OK) != 0)
        return g_strerror(errno);
    return {};
}
} // namespace

std::optional<std::string> read_file(const std::string& path, std::string& error) {
    error.clear();
    const auto file = open_for_reading(path);
    struct stat status {};
    if (!file.is_open()) {
        if (errno != ENOENT && errno != ENOTDIR)
            error = g_strerror(errno);
        return std::nullopt;
    }
    std::string content;
    if (fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        error = not_regular;
    else if (!read_all(file.get(), content))
        error = g_strerror(errno);
    else
        return content;
    return std::nullopt;
}

std::optional<std::string> read_file(const std::string& path) {
    std::string error;
    return read_file(path, error);
}

bool replace_file(const std::string& path, std::string_view content, std::string& error) {
    const auto target = behind_links(path);
    struct stat old {};
    const bool exists = stat(target.c_str(), &old) == 0;
    error = exists ? reason_to_leave(target, old) : errno == ENOENT ? "" : g_strerror(errno);
    if (!error.empty())
        return false;
    const auto mode = exists ? old.st_mode & mode_bits : new_file_mode;
    GError* failure = nullptr;
    if (!g_file_set_contents_full(target.c_str(), content.data(), static_cast<gssize>(content.size()),
                                  G_FILE_SET_CONTENTS_CONSISTENT, static_cast<int>(mode), &failure)) {
        error = failure->message;
        g_error_free(failure);
        return false;
    }
    if (exists)
        chmod(target.c_str(), mode); // what the process's mask took from it
    return true;
}

bool replace_file(const std::string& path, std::string_view content) {
    std::string error;
    return replace_file(path, content, error);
}

bool make_file(const std::string& path) {
    const Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, new_file_mode));
    return file.is_open() || errno == EEXIST;
}

bool can_open(const std::string& path) {
    return open_for_reading(path).is_open();
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
