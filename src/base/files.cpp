// SPDX-License-Identifier: MIT
#include "base/files.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sys/stat.h>
#include <wordexp.h>

namespace {
constexpr std::string_view token_file = "refresh_token";

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
// "e" in the modes below: close-on-exec.
using File = std::unique_ptr<std::FILE, CloseFile>;
} // namespace

std::optional<std::string> read_file(const std::string& path) {
    const File file(std::fopen(path.c_str(), "re"));
    if (!file)
        return std::nullopt;
    std::string content;
    std::array<char, 4096> buffer{};
    while (const auto count = std::fread(buffer.data(), 1, buffer.size(), file.get()))
        content.append(buffer.data(), count);
    return content;
}

WriteEnd replace_file(const std::string& path, std::string_view content) {
    File file(std::fopen(path.c_str(), "we"));
    if (!file)
        return WriteEnd::not_opened;
    const bool written = std::fwrite(content.data(), 1, content.size(), file.get()) == content.size();
    const bool closed = std::fclose(file.release()) == 0;
    return written && closed ? WriteEnd::whole : WriteEnd::cut_short;
}

bool write_file(const std::string& path, std::string_view content) {
    return replace_file(path, content) == WriteEnd::whole;
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

static std::optional<std::string> client_folder() {
    const char* home = std::getenv("HOME");
    if (home == nullptr)
        return std::nullopt;
    return std::string(home) + "/.config/onedrive";
}

std::optional<std::string> client_file(std::string_view name) {
    auto path = client_folder();
    if (path)
        path->append("/").append(name);
    return path;
}

bool is_client_token_present() {
    const auto path = client_file(token_file);
    return path && File(std::fopen(path->c_str(), "re"));
}

void remove_client_file(std::string_view name) {
    if (const auto path = client_file(name))
        std::remove(path->c_str());
}

bool save_client_token(std::string_view token) {
    const auto folder = client_folder();
    if (!folder)
        return false;
    mkdir(folder->c_str(), 0700); // an existing folder is fine
    const auto path = *client_file(token_file);
    const auto end = replace_file(path, token);
    if (end == WriteEnd::cut_short)
        std::remove(path.c_str()); // it would pass for a sign-in
    return end == WriteEnd::whole;
}
