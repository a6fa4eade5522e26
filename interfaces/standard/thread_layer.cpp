// Brings a thread layer into a process that has none, as soon as a library of standard names is loaded: libnuv_lapack
// itself only looks for one that is there.

#include <nuv/nuv_services.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/platform.hpp"
#include "frame/layer_files.hpp"

namespace {

using namespace nuv;

bool is_present(const char* library) {
  return dlopen(library, platform::only_if_present) != nullptr;
}

bool sequential_is_wanted() {
  const char* choice = std::getenv("NUV_THREAD_LAYER");
  return choice != nullptr && std::strcmp(choice, "sequential") == 0;
}

/// A layer calls back what libnuv_lapack exports, and must not name it as a dependency. A companion that names both
/// lets the layer find it, also where a program has loaded this library for itself alone, and nothing becomes visible
/// to others by that.
[[gnu::constructor]] void bring_thread_layer() {
  if (is_present(NUV_THREADED_LAYER_FILE) || is_present(NUV_SEQUENTIAL_LAYER_FILE)) return;
  const char* companion =
      sequential_is_wanted() ? NUV_LIBRARY_FILE("libnuv_with_sequential") : NUV_LIBRARY_FILE("libnuv_with_threads");
  platform::Path path;
  if (!platform::path_beside(reinterpret_cast<const void*>(&nuv_serv_load_thread_fun), companion, path)) {
    std::fprintf(stderr, "NUV ERROR : the folder of libnuv_lapack, where the thread layer is, has too long a name\n");
  } else if (dlopen(path, platform::load_lazily) == nullptr) {
    std::fprintf(stderr, "NUV ERROR : no thread layer can be loaded: %s\n", dlerror());
  }
}

}  // namespace
