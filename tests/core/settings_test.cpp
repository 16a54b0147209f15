// SPDX-License-Identifier: MIT
#include "app/autostart_entry.h"
#include "app/config_manager.h"
#include "base/text.h"
#include "process/client_files.h"
#include "test_files.h"

#include <algorithm>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace {
constexpr const char* settings_file = ".config/skyfold/config";

TEST(Settings, NewFileGetsTheTwoDefaultsAndEachInstanceWritesItsOwnCopy) {
    const TestHome home;
    fs::remove(home.file(".config/skyfold")); // it makes the last folder itself
    ConfigManager ours;
    EXPECT_TRUE(ours.get("sync_dir").empty() && !ours.key_exists("sync_dir"));
    EXPECT_EQ(home.read(settings_file), "autostart=true\nsync_enabled=true\n");
    ConfigManager().set("notifications", "true");
    ours.set("sync_dir", "/x=y\r");
    ours.set("sync_enabled", "");
    EXPECT_EQ(ConfigManager().get("sync_dir"), "/x=y\r");
    EXPECT_EQ(home.read(settings_file), "autostart=true\nsync_dir=/x=y\r\nsync_enabled=\n");
}

// No file grows beyond it: a disk that is full in the middle of one.
void limit_files(rlim_t bytes) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = std::min(bytes, limit.rlim_max);
    setrlimit(RLIMIT_FSIZE, &limit);
}

TEST(Files, AreReplacedWholeOrLeftAsTheyAre) {
    const TestHome home;
    const std::string large(5'000'000, 'x');
    std::string error;
    home.write("kept/file", "old");
    fs::permissions(home.file("kept/file"), fs::perms(0646)); // the process's mask must not narrow it
    fs::create_symlink("kept/file", home.file("link"));
    fs::create_hard_link(home.file("kept/file"), home.file("second name"));
    limit_files(4096);
    EXPECT_FALSE(replace_file(home.file("link"), large, error));
    limit_files(RLIM_INFINITY);
    EXPECT_TRUE(!error.empty() && home.read("link") == "old");
    EXPECT_EQ(std::distance(fs::directory_iterator(home.file("kept")), {}), 1) << "something is left over";
    EXPECT_TRUE(replace_file(home.file("link"), large, error)) << error;
    EXPECT_TRUE(fs::is_symlink(home.file("link")));
    EXPECT_TRUE(home.read("kept/file") == large);
    EXPECT_EQ(fs::status(home.file("kept/file")).permissions(), fs::perms(0646));
    EXPECT_EQ(home.read("second name"), "old");
    fs::create_symlink("kept/new", home.file("dangling"));
    EXPECT_TRUE(replace_file(home.file("dangling"), std::string("a\0\r\n", 4), error)) << error;
    EXPECT_EQ(home.read("kept/new"), std::string("a\0\r\n", 4));
    EXPECT_TRUE(!read_file(home.file("nothing"), error) && error.empty());
}

TEST(Files, WhatIsNoFileIsNeitherReadNorReplaced) {
    const TestHome home;
    mkfifo(home.file("fifo").c_str(), 0666);
    fs::create_directory(home.file("folder"));
    fs::create_symlink("loop", home.file("loop"));
    fs::create_symlink("/dev/zero", home.file("device"));
    home.write("protected", "old");
    fs::permissions(home.file("protected"), fs::perms::owner_read);
    for (const char* name : {"fifo", "folder", "loop", "device"}) {
        std::string error;
        EXPECT_FALSE(read_file(home.file(name), error) || error.empty()) << name;
        EXPECT_FALSE(replace_file(home.file(name), "new", error) || error.empty()) << name;
    }
    EXPECT_TRUE(fs::is_fifo(home.file("fifo")) && fs::is_symlink(home.file("device")));
    fs::create_directory(home.file(".config/onedrive/refresh_token"));
    EXPECT_FALSE(save_client_token("x"));
    // No protection counts for the superuser.
    EXPECT_EQ(replace_file(home.file("protected"), "new"), geteuid() == 0);
}

// Its first read fails, though it can be opened and calls itself a regular file.
TEST(Settings, FileThatCannotBeReadIsReportedAndNotWritten) {
    const TestHome home;
    fs::create_symlink("/proc/self/mem", home.file(settings_file));
    testing::internal::CaptureStderr();
    ConfigManager config;
    EXPECT_EQ(config.get("autostart"), "true");
    fs::remove(home.file(settings_file));
    config.set("sync_dir", "/x");
    EXPECT_FALSE(fs::exists(home.file(settings_file)));
    fs::remove(home.file(".config/skyfold"));
    fs::create_symlink("no/such/folder", home.file(".config/skyfold"));
    EXPECT_EQ(ConfigManager().get("autostart"), "true");
    const auto printed = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(printed.starts_with("Error: Could not read config file: ")) << printed;
    EXPECT_TRUE(
        printed.ends_with("Could not open config file for writing: " + home.file(settings_file) + "\n"));
}

TEST(Autostart, EntryStartsTheProgramHiddenAndIsRemoved) {
    const TestHome home;
    const std::string entry = ".config/autostart/skyfold.desktop";
    fs::create_directories(home.file(".config/autostart"));
    write_autostart_entry(true);
    const auto text = home.read(entry);
    EXPECT_TRUE(contains(text, "\nExec=" + home.file("dev/skyfold/skyfold/build/skyfold --daemon\n")))
        << text;
    write_autostart_entry(false);
    EXPECT_FALSE(fs::exists(home.file(entry)));
}
} // namespace
