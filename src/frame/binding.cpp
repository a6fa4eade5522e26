#include "frame/binding.hpp"

#include <nuv/nuv_services.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/platform.hpp"
#include "frame/configuration.hpp"
#include "frame/layer_files.hpp"
#include "frame/plain_word.hpp"
#include "frame/processor.hpp"

namespace nuv {

void* nuv_serv_dll_handle = nullptr;
void* nuv_thread_handle = nullptr;
void* nuv_serv_lapack_handle = nullptr;
void* nuv_serv_oql_handle = nullptr;

namespace {

char Orvo_omp_thread_library_name[] = NUV_THREADED_LAYER_FILE;
char Orvo_Seq_thread_library_name[] = NUV_SEQUENTIAL_LAYER_FILE;

/// Opens a library by its name, or else beside this one: a sanitizer that intercepts dlopen hides the caller from the
/// loader, and with it the run path that leads there.
void* open(const char (&name_entry)[name_room]) {
  const LibraryName name(name_entry);
  if (void* handle = dlopen(name.text(), platform::load_lazily)) return handle;
  platform::Path path;
  const bool is_bare = std::strchr(name.text(), '/') == nullptr;
  if (!is_bare || !platform::path_beside(&nuv_serv_dll_handle, name.text(), path)) return nullptr;
  return dlopen(path, platform::load_lazily);
}

/// Stores what an open gave, unless another thread has bound a library or the open failed: a handle that is set stays.
/// The handle in use.
void* bind(void*& word, void* handle) {
  void* unbound = nullptr;
  __atomic_compare_exchange_n(&word, &unbound, handle, false, __ATOMIC_RELAXED, __ATOMIC_RELAXED);
  return plain_load(word);
}

/// Binds a library that the process can't go on without.
void* bind_or_exit(void*& word, const char (&name_entry)[name_room]) {
  void* handle = open(name_entry);
  if (handle == nullptr) {
    dlopen(LibraryName(name_entry).text(), platform::load_lazily);  // once more, for what the loader says of the name
    std::printf("NUV FATAL ERROR: %s\n", dlerror());
    std::exit(1);
  }
  return bind(word, handle);
}

/// Binds the library that the configuration names, unless that was done.
void* bind_configured(void*& word, const char (&name_entry)[name_room]) {
  if (void* handle = plain_load(word)) return handle;
  read_configuration(0);
  return bind_or_exit(word, name_entry);
}

/// Looks a symbol up; where it is missing, prints why and the given end of the line, and ends the process.
///
/// The loader would search the whole process for what is asked of a null handle, and answer with the stub that asks.
void* find_or_exit(void* handle, const char* name, const char* line_end) {
  if (handle == nullptr) {
    std::printf("no library is bound: undefined symbol: %s%s", name, line_end);
    std::exit(1);
  }
  void* address = dlsym(handle, name);
  if (const char* text = dlerror()) {
    std::printf("%s%s", text, line_end);
    std::exit(1);
  }
  return address;
}

}  // namespace

bool bind_kernels_of(int tier) {
  void* handle = open(dll_cfg_names[tier]);
  bind(nuv_serv_dll_handle, handle);
  return handle != nullptr;
}

}  // namespace nuv

using namespace nuv;

void nuv_serv_load_dll() {
  if (plain_load(nuv_serv_dll_handle) != nullptr) return;
  if (plain_load(nuv_cpu_type) == -1 && bind_kernels_of_detected_tier() != 0) return;
  // Another thread may have set the tier and not yet filled the tables.
  if (plain_load(cfg_file_readed) == 0) read_configuration(0);
  if (bind_kernels_of(0)) return;
  // Nor opened the tier's own library, which serves as well where there is no fallback.
  const int tier = plain_load(nuv_cpu_type);
  if (tier >= 1 && bind_kernels_of(tier)) return;
  bind_or_exit(nuv_serv_dll_handle, dll_cfg_names[0]);  // once more, for what the loader has to say
}

void* nuv_serv_load_fun(const char* name) {
  return find_or_exit(plain_load(nuv_serv_dll_handle), name, "\n ");
}

void* nuv_serv_load_thread_fun(const char* name) {
  if (plain_load(nuv_thread_handle) == nullptr) {
    void* handle = dlopen(Orvo_omp_thread_library_name, platform::only_if_present);
    if (handle == nullptr) handle = dlopen(Orvo_Seq_thread_library_name, platform::only_if_present);
    if (bind(nuv_thread_handle, handle) == nullptr) {
      std::printf("\nNUV FATAL ERROR: Can't load nuv-thread-layer library.");
      std::exit(1);
    }
  }
  return dlsym(plain_load(nuv_thread_handle), name);
}

void* nuv_serv_load_lapack_dll() {
  return bind_configured(nuv_serv_lapack_handle, dll_cfg_names_l);
}

void* nuv_serv_load_lapack_fun(const char* name) {
  return find_or_exit(plain_load(nuv_serv_lapack_handle), name, "\n");
}

void* nuv_serv_load_oql_dll() {
  return bind_configured(nuv_serv_oql_handle, dll_cfg_names_oql);
}

void* nuv_serv_load_oql_fun(const char* name) {
  return find_or_exit(plain_load(nuv_serv_oql_handle), name, "\n");
}

__attribute__((weak)) void _BUGWORKAROUND() {}
