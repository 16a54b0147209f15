// SPDX-License-Identifier: MIT
// Compares a whole text with the approved one in tests/approved. CONTRIBUTING.md says how a new text is
// accepted.
#pragma once

#include "base/files.h"
#include "process/shell_command.h"

#include <cstdlib>
#include <filesystem>
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
    ADD_FAILURE() << "tests/approved/" << name << " differs:\n" << (diff ? diff->output : "(no diff)");
    if (std::getenv("APPROVE") != nullptr) {
        EXPECT_TRUE(replace_file(approved, text)) << approved;
    }
}
