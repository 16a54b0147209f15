// SPDX-License-Identifier: MIT
// How work goes to another thread, and how that thread hands its result back to the main loop.
#pragma once

#include <functional>

/// Runs `task` once on the main loop's thread, at default priority (0). Any thread may call. What the caller
/// wrote before is visible to the task. An exception that leaves the task is printed and ends there.
void post_to_main_loop(std::function<void()> task);

/// The same at the default idle priority (200).
void post_when_idle(std::function<void()> task);

/// Runs `body` on a detached thread of its own, which must own all that it uses. An exception that leaves
/// the body is printed and ends there. False, with a printed line, when no thread can be made.
bool start_worker(std::function<void()> body);

/// Runs `task` here; an exception that leaves it is printed and ends there. For handlers that others call.
void run_guarded(const std::function<void()>& task);
