// SPDX-License-Identifier: MIT
// What the tests need from the file system: a folder of their own and the recorded output of the real client.
#pragma once

#include "base/files.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>

namespace fs = std::filesystem;

inline std::string recorded(const std::string& name) {
    const auto text = read_file(std::string(RECORDINGS) + "/" + name);
    EXPECT_TRUE(text) << "no recording " << name;
    return text.value_or("");
}

/// An empty home folder with the two configuration folders in it, for as long as the object lives.
class TestHome {
  public:
    TestHome() {
        std::string pattern = (fs::temp_directory_path() / "skyfold-test-XXXXXX").string();
        path = mkdtemp(pattern.data());
        fs::create_directories(path / ".config/skyfold");
        fs::create_directories(path / ".config/onedrive");
        setenv("HOME", path.c_str(), 1);
    }
    TestHome(const TestHome&) = delete;
    ~TestHome() { fs::remove_all(path); }

    [[nodiscard]] std::string file(const std::string& below) const { return (path / below).string(); }
    [[nodiscard]] std::string read(const std::string& below) const {
        return read_file(file(below)).value_or("(no such file)");
    }
    void write(const std::string& below, const std::string& text) const {
        fs::create_directories((path / below).parent_path());
        EXPECT_TRUE(replace_file(file(below), text)) << below;
    }

    fs::path path;
};
