#pragma once

// What the operating system decides: how library files are named and how dlopen spells its modes. No other file knows.

#include <dlfcn.h>
#include <limits.h>

#include <cstring>

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

using Path = char[PATH_MAX];

/// The path of a file beside the library that holds an address; false if there is no such path.
inline bool path_beside(const void* address, const char* file, Path& path) {
  Dl_info library;
  if (dladdr(address, &library) == 0) return false;
  const char* slash = std::strrchr(library.dli_fname, '/');
  const std::size_t folder_length = slash != nullptr ? slash + 1 - library.dli_fname : 0;
  const std::size_t file_room = std::strlen(file) + 1;
  if (folder_length + file_room > sizeof path) return false;
  std::memcpy(path, library.dli_fname, folder_length);
  std::memcpy(path + folder_length, file, file_room);
  return true;
}

}  // namespace nuv::platform
