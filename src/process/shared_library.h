// SPDX-License-Identifier: MIT
// Loads a shared library when it is first needed. What only a sign-in uses would otherwise be in memory for
// weeks. The library's own headers declare the types of its functions.
#pragma once

#include <dlfcn.h>
#include <string>

/// The library stays loaded until the process ends: it may have started threads. Any thread may use this.
class SharedLibrary {
  public:
    /// `name` is the library's soname, such as "libsoup-3.0.so.0".
    explicit SharedLibrary(const char* name) : handle(dlopen(name, RTLD_LAZY | RTLD_GLOBAL)) {
        keep_error_of(handle);
    }

    /// Returns the function called `name`, or null.
    template<typename Function>
    Function* find(const char* name) {
        void* function = handle == nullptr ? nullptr : dlsym(handle, name);
        keep_error_of(function);
        return reinterpret_cast<Function*>(function);
    }

    /// The dynamic linker's first error; empty when the library and every function looked for were found.
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

/// Declares a member called `name`: the function of that name in `library`, a member declared before it.
// NOLINTNEXTLINE(bugprone-macro-parentheses): a name that is declared takes none
#define FOUND_IN_LIBRARY(name) decltype(&::name) name = library.find<decltype(::name)>(#name)
