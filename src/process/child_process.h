// SPDX-License-Identifier: MIT
// Runs one shell command as a long-lived child: output as chunks on the main loop, an input to write to, one
// exit code. Splitting lines and stopping the child are left to the callers.
#pragma once

#include <functional>
#include <glibmm/iochannel.h>
#include <sigc++/connection.h>
#include <string>

/// Starts `/bin/sh -c command`. Call on the main loop's thread.
///
/// `on_output` gets each chunk of standard output and error (bytes, at most 4096, never empty) on the main
/// loop; what it throws is printed, and reading goes on.
///
/// `on_exit` gets the exit status, or -1 for a child ended by a signal, once and on a thread of its own (on
/// the main loop's where no thread can be made); the last chunk may arrive after it. The last three may be
/// null: `stdin_channel` receives an unbuffered channel to the child's standard input, `pid` the child's id,
/// `watch` the connection of the output watch.
///
/// When no child can be made, prints a line on standard error, stores nothing and calls nothing. The
/// program's ends of both pipes stay open for good: a child without `stdin_channel` never reads an end of
/// file.
void launch_process(const std::string& command, std::function<void(const std::string&)> on_output,
                    std::function<void(int)> on_exit, Glib::RefPtr<Glib::IOChannel>* stdin_channel, int* pid,
                    sigc::connection* watch);

/// Sends `signal` to a child of `launch_process` and to what it started: a shell does not hand on the signal
/// that ends it, and the client that it runs would go on. A child that has ended is not an error.
void signal_child(int pid, int signal);
