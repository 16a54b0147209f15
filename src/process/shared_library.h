// SPDX-License-Identifier: MIT
// A shared library that is loaded when it is first needed and not at start: what only signing in uses would
// otherwise be in memory for weeks. Headers give the types of what is found in it.
#pragma once

#include <dlfcn.h>
#include <string>

/// Stays loaded until the process ends: what a library has started cannot be taken back. Any thread.
class SharedLibrary {
  public:
    /// `name` is the one that the dynamic linker searches for, with the version of the interface.
    explicit SharedLibrary(const char* name) : handle(dlopen(name, RTLD_LAZY | RTLD_GLOBAL)) {
        keep_error_of(handle);
    }

    /// What `name` names, or null.
    template<typename Function>
    Function* find(const char* name) {
        void* function = handle == nullptr ? nullptr : dlsym(handle, name);
        keep_error_of(function);
        return reinterpret_cast<Function*>(function);
    }

    /// The dynamic linker's first message; empty when the library is loaded and all that was looked for is in
    /// it.
    [[nodiscard]] const std::string& error() const { return first_error; }

  private:
    void keep_error_of(const void* found) {
        if (found != nullptr || !first_error.empty())
            return;
        const char* text = dlerror();
        first_error = text != nullptr ? text : "it lacks a function that is needed";
    }

    void* handle;
    std::string first_error;
};

/// Declares a member that is the function of that name, found in the member `library` before it.
// NOLINTNEXTLINE(bugprone-macro-parentheses): a name that is declared takes none
#define FOUND_IN_LIBRARY(name) decltype(&::name) name = library.find<decltype(::name)>(#name)
