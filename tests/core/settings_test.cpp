// SPDX-License-Identifier: MIT
#include "app/autostart_entry.h"
#include "app/config_manager.h"
#include "test_files.h"

#include <atomic>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>

namespace {
constexpr const char* settings_file = ".config/skyfold/config";

TEST(Settings, NewFileGetsTheTwoDefaultsAndEachInstanceWritesItsOwnCopy) {
    const TestHome home;
    std::filesystem::remove(home.file(".config/skyfold")); // it makes the last folder itself
    ConfigManager ours;
    EXPECT_TRUE(ours.get("sync_dir").empty() && !ours.key_exists("sync_dir"));
    EXPECT_EQ(home.read(settings_file), "autostart=true\nsync_enabled=true\n");
    ConfigManager().set("notifications", "true");
    EXPECT_NE(home.read(settings_file).find("notifications=true"), std::string::npos);
    ours.set("sync_dir", "/x");
    EXPECT_EQ(home.read(settings_file), "autostart=true\nsync_dir=/x\nsync_enabled=true\n");
}

TEST(Settings, LinesAreTakenVerbatim) {
    const TestHome home;
    home.write(
        settings_file,
        std::string("b = c=d \n=empty\n\nnothing\nautostart=true\r\nsync_enabled=\nb = last\nz=\xFF\0x", 69));
    ConfigManager config;
    EXPECT_EQ(config.get("b "), " last");
    EXPECT_EQ(config.get("autostart"), "true\r");
    config.set("a", "1=2");
    EXPECT_EQ(home.read(settings_file),
              "=empty\na=1=2\nautostart=true\r\nb = last\nsync_enabled=\nz=" + std::string("\xFF\0x\n", 4));
}

namespace fs = std::filesystem;

// While it lives no file grows beyond some bytes: a disk that is full in the middle of one.
struct FullDisk {
    FullDisk() {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before);
        const rlimit small{4096, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
    }
    FullDisk(const FullDisk&) = delete;
    ~FullDisk() { setrlimit(RLIMIT_FSIZE, &before); }
    rlimit before{};
};

TEST(Files, AreReplacedWholeOrLeftAsTheyAre) {
    const TestHome home;
    const std::string large(5'000'000, 'x');
    std::string error;
    home.write("kept/file", "old");
    fs::permissions(home.file("kept/file"), fs::perms(0646)); // the process's mask must not narrow it
    fs::create_symlink("kept/file", home.file("link"));
    fs::create_hard_link(home.file("kept/file"), home.file("second name"));
    {
        const FullDisk full;
        EXPECT_FALSE(replace_file(home.file("link"), large, error));
        EXPECT_NE(error, "");
        EXPECT_EQ(home.read("link"), "old");
        EXPECT_EQ(std::distance(fs::directory_iterator(home.file("kept")), {}), 1)
            << "something is left over";
    }
    EXPECT_TRUE(replace_file(home.file("link"), large, error)) << error;
    EXPECT_TRUE(fs::is_symlink(home.file("link")));
    EXPECT_TRUE(home.read("kept/file") == large);
    EXPECT_EQ(fs::status(home.file("kept/file")).permissions(), fs::perms(0646));
    EXPECT_EQ(home.read("second name"), "old");
    fs::create_symlink("kept/new", home.file("dangling"));
    EXPECT_TRUE(replace_file(home.file("dangling"), std::string("a\0\r\n", 4), error)) << error;
    EXPECT_EQ(home.read("kept/new"), std::string("a\0\r\n", 4));
    EXPECT_FALSE(read_file(home.file("nothing"), error));
    EXPECT_EQ(error, "");
}

TEST(Files, WhatIsNoFileIsNeitherReadNorReplaced) {
    const TestHome home;
    mkfifo(home.file("fifo").c_str(), 0666);
    fs::create_directory(home.file("folder"));
    fs::create_symlink("loop", home.file("loop"));
    fs::create_symlink("/dev/zero", home.file("device"));
    home.write("protected", "old");
    fs::permissions(home.file("protected"), fs::perms::owner_read);
    for (const char* name : {"fifo", "folder", "loop", "device", "protected"}) {
        std::string error;
        const bool is_file = name == std::string("protected");
        EXPECT_EQ(read_file(home.file(name), error).has_value(), is_file) << name;
        EXPECT_EQ(error.empty(), is_file) << name;
        if (!is_file || geteuid() != 0) { // no protection counts for the superuser
            EXPECT_FALSE(replace_file(home.file(name), "new", error)) << name;
            EXPECT_NE(error, "") << name;
        }
    }
    EXPECT_TRUE(fs::is_fifo(home.file("fifo")) && fs::is_symlink(home.file("device")));
}

// The first read of the one fails, though it can be opened and calls itself a regular file; the other has no
// folder.
TEST(Settings, FileThatCannotBeReadOrMadeIsReportedAndNotWritten) {
    for (const std::string way : {"/proc/self/mem", "no/such/folder"}) {
        const TestHome home;
        fs::create_symlink(way, home.file(settings_file));
        testing::internal::CaptureStderr();
        ConfigManager config;
        EXPECT_EQ(config.get("autostart"), "true");
        const auto printed = testing::internal::GetCapturedStderr();
        EXPECT_TRUE(way[0] != '/' || printed.starts_with("Error: Could not read config file: ")) << printed;
        EXPECT_NE(printed.find("Error: Could not open config file for writing: "), std::string::npos);
        fs::remove(home.file(settings_file));
        config.set("sync_dir", "/x");
        EXPECT_EQ(fs::exists(home.file(settings_file)), way[0] != '/');
    }
}

TEST(Settings, ProgramsStartedAtOnceSeeAllOfThem) {
    const TestHome home;
    home.write(settings_file, "sync_dir=/x\n");
    std::atomic<bool> done{false};
    std::thread other([&done] {
        while (!done)
            ConfigManager().set("is_logged_in", "true");
    });
    int lost = 0;
    for (int start = 0; start < 1000; ++start)
        lost += ConfigManager().get("sync_dir") == "/x" ? 0 : 1;
    done = true;
    other.join();
    EXPECT_EQ(lost, 0);
}

TEST(Autostart, EntryHasItsEightLinesAndIsRemovedQuietly) {
    const TestHome home;
    const std::string entry = ".config/autostart/skyfold.desktop";
    testing::internal::CaptureStderr();
    write_autostart_entry(false); // nothing there: nothing to complain about
    write_autostart_entry(true);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Could not create autostart file\n");
    std::filesystem::create_directories(home.file(".config/autostart"));
    write_autostart_entry(true);
    EXPECT_EQ(home.read(entry),
              "[Desktop Entry]\nType=Application\nExec=" + home.file("dev/skyfold/skyfold/build/skyfold") +
                  " --daemon\nHidden=false\nNoDisplay=false\nName=Skyfold\n"
                  "Comment=Start Skyfold in daemon mode\nX-GNOME-Autostart-enabled=true\n");
    write_autostart_entry(false);
    EXPECT_FALSE(std::filesystem::exists(home.file(entry)));
}
} // namespace
