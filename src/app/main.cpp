// SPDX-License-Identifier: MIT
#include "app/application.h"
#include "app/toolkit.h"
#include "base/print.h"
#include "process/main_loop.h"
#include "process/process_setup.h"

#include <algorithm>
#include <cstdlib>
#include <glibmm/exceptionhandler.h>
#include <span>
#include <string_view>

namespace {
bool is_daemon = false;

bool asks_for_daemon(std::string_view argument) {
    return argument == "--daemon" || argument == "-d";
}
} // namespace

int main(int argc, char** argv) {
    prepare_process();
    const std::span arguments(argv, static_cast<std::size_t>(argc));
    is_daemon = argc > 1 && std::ranges::any_of(arguments.subspan(1), asks_for_daemon);
    if (!open_display()) {
        print_error("ERROR: Skyfold needs a display: none can be opened. Look at DISPLAY, WAYLAND_DISPLAY "
                    "and GDK_BACKEND.");
        return EXIT_FAILURE;
    }
    Glib::add_exception_handler([] { run_guarded([] { throw; }); }); // an exception must not end the program
    const auto application = Application::create();
    application->set_daemon_mode(is_daemon);
    install_style();
    apply_toolkit_settings();
    return application->run(argc, argv);
}
