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
        if (handle == nullptr)
            keep_error();
    }

    /// Sets `function` to what `name` names, or to null.
    template<typename Function>
    void find(Function*& function, const char* name) {
        function = handle == nullptr ? nullptr : reinterpret_cast<Function*>(dlsym(handle, name));
        if (function == nullptr)
            keep_error();
    }

    /// True when the library is loaded and all that was looked for is in it.
    [[nodiscard]] bool is_complete() const { return complete; }
    /// The reason why it is not: the dynamic linker's first message.
    [[nodiscard]] const std::string& error() const { return first_error; }

  private:
    void keep_error() {
        const char* text = dlerror();
        if (complete)
            first_error = text != nullptr ? text : "it lacks a function that is needed";
        complete = false;
    }

    void* handle;
    bool complete = true;
    std::string first_error;
};
