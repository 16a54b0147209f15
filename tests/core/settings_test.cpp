// SPDX-License-Identifier: MIT
#include "app/autostart_entry.h"
#include "app/config_manager.h"
#include "test_files.h"

#include <gtest/gtest.h>

namespace {
constexpr const char* settings_file = ".config/skyfold/config";

TEST(Settings, NewFileGetsTheTwoDefaultsAndEachInstanceWritesItsOwnCopy) {
    const TestHome home;
    std::filesystem::remove(home.file(".config/skyfold")); // it makes the last folder itself
    ConfigManager ours;
    EXPECT_EQ(ours.get("sync_dir"), "");
    EXPECT_FALSE(ours.key_exists("sync_dir"));
    EXPECT_EQ(home.read(settings_file), "autostart=true\nsync_enabled=true\n");
    ConfigManager().set("notifications", "true");
    EXPECT_NE(home.read(settings_file).find("notifications=true"), std::string::npos);
    ours.set("sync_dir", "/x");
    EXPECT_EQ(home.read(settings_file), "autostart=true\nsync_dir=/x\nsync_enabled=true\n");
}

TEST(Settings, LinesAreTakenVerbatim) {
    const TestHome home;
    home.write(settings_file,
               "b = c=d \n=empty\n\nnothing\nautostart=true\r\nsync_enabled=\nb = last\nz=\xFF\0x");
    ConfigManager config;
    EXPECT_EQ(config.get("b "), " last");
    EXPECT_EQ(config.get("autostart"), "true\r");
    config.set("a", "1=2");
    EXPECT_EQ(home.read(settings_file), "=empty\na=1=2\nautostart=true\r\nb = last\nsync_enabled=\nz=\xFF\n");
}

TEST(Settings, FileThatCannotBeOpenedIsReportedAndSurvived) {
    const TestHome home;
    std::filesystem::remove(home.file(".config/skyfold"));
    home.write(".config/skyfold", "a file where the folder should be");
    testing::internal::CaptureStderr();
    EXPECT_EQ(ConfigManager().get("autostart"), "true");
    EXPECT_NE(testing::internal::GetCapturedStderr().find(
                  "\nError: Could not open config file for writing: " + home.file(settings_file) + "\n"),
              std::string::npos);
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
