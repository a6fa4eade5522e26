#pragma once

// What the operating system decides: how library files are named and how dlopen spells its modes. No other file knows.

#include <dlfcn.h>

#define NUV_LIBRARY_FILE(stem) stem ".so"

namespace nuv::platform {

/// A plain load: brings the file into the process, binds its functions when they are first called.
inline constexpr int load_lazily = RTLD_LAZY;

/// A query: a handle if the library is already in the process, null otherwise. The loader wants a binding flag beside.
inline constexpr int only_if_present = RTLD_NOLOAD | RTLD_LAZY;

/// Searches the whole process in load order.
inline void* find_in_process(const char* symbol) {
  return dlsym(RTLD_DEFAULT, symbol);
}

}  // namespace nuv::platform
