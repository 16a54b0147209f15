// SPDX-License-Identifier: MIT
// Compares a whole text with the approved one in tests/approved. CONTRIBUTING.md says how a new text is
// accepted.
#pragma once

#include "base/files.h"
#include "process/shell_command.h"

#include <cstdlib>
#include <filesystem>
#include <glib.h>
#include <gtest/gtest.h>
#include <string>

/// Fails with a unified diff where `text` is not what the file `name` holds. Where APPROVE is set in the
/// environment, the file is written as well, to be read in the commit.
inline void expect_approved(const std::string& name, const std::string& text) {
    const auto approved = std::string(APPROVED) + "/" + name;
    if (read_file(approved) == text)
        return;
    const auto received = (std::filesystem::temp_directory_path() / ("received-" + name)).string();
    ASSERT_TRUE(replace_file(received, text)) << received;
    const auto diff = run_shell_command("diff -uaN --label 'approved: " + name + "' --label 'now' '" +
                                        approved + "' '" + received + "'");
    const std::string lines = diff ? diff->output : "(no diff)";
    // Not any bytes: the runner gives up at a report that is not UTF-8.
    g_autofree char* readable = g_utf8_make_valid(lines.data(), static_cast<gssize>(lines.size()));
    ADD_FAILURE() << "tests/approved/" << name << " differs:\n" << readable;
    if (std::getenv("APPROVE") != nullptr) {
        EXPECT_TRUE(replace_file(approved, text)) << approved;
    }
}
