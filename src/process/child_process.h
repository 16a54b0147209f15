// SPDX-License-Identifier: MIT
// Runs a shell command as a long-lived child process. Its output arrives in chunks on the main loop, its
// input can be written to, and its exit code is reported once. The callers split lines and stop the child.
#pragma once

#include <functional>
#include <glibmm/iochannel.h>
#include <sigc++/connection.h>
#include <string>

/// Starts `/bin/sh -c command`. Call on the main loop's thread.
///
/// `on_output` is called on the main loop with each chunk of standard output and error (bytes, at most 4096,
/// never empty). An exception in it is printed, and reading goes on.
///
/// `on_exit` is called once with the exit status, or with -1 for a child that a signal ended. It runs on a
/// thread of its own, or on the main loop if no thread can be made; the last chunk may arrive later. The last
/// three arguments may be null: `stdin_channel` receives an unbuffered channel to the child's standard input,
/// `pid` the child's id, `watch` the connection of the output watch.
///
/// When no child can be made, prints an error, stores nothing and calls nothing. The program's ends of both
/// pipes are never closed, because a process that the child leaves behind may still use the pipes;
/// `prepare_process` raises their number for that. Without `stdin_channel` the child never reads an end of
/// file.
void launch_process(const std::string& command, std::function<void(const std::string&)> on_output,
                    std::function<void(int)> on_exit, Glib::RefPtr<Glib::IOChannel>* stdin_channel, int* pid,
                    sigc::connection* watch);

/// Sends `signal` to a child of `launch_process` and to its process group: a shell that a signal ends does
/// not forward it, and the client below it would go on. A child that has already ended is not an error.
void signal_child(int pid, int signal);
