#include "frame/binding.hpp"

#include <nuv/nuv_services.h>

#include <cstdio>
#include <cstdlib>

#include "base/platform.hpp"
#include "frame/configuration.hpp"
#include "frame/plain_word.hpp"
#include "frame/processor.hpp"

namespace nuv {

void* nuv_serv_dll_handle = nullptr;
void* nuv_thread_handle = nullptr;
void* nuv_serv_lapack_handle = nullptr;
void* nuv_serv_oql_handle = nullptr;

namespace {

char Orvo_omp_thread_library_name[] = NUV_LIBRARY_FILE("libnuv_orvo_thread");
char Orvo_Seq_thread_library_name[] = NUV_LIBRARY_FILE("libnuv_sequential");

void* open(const char (&name_entry)[name_room]) {
  return dlopen(LibraryName(name_entry).text(), platform::load_lazily);
}

/// Opens a library that the process can't go on without.
void* open_or_exit(const char (&name_entry)[name_room]) {
  void* handle = open(name_entry);
  if (handle == nullptr) {
    std::printf("NUV FATAL ERROR: %s\n", dlerror());
    std::exit(1);
  }
  return handle;
}

/// Looks a symbol up; where it is missing, prints the loader's text in the given format and ends the process.
void* find_or_exit(void* handle, const char* name, const char* format) {
  void* address = dlsym(handle, name);
  if (const char* text = dlerror()) {
    std::printf(format, text);
    std::exit(1);
  }
  return address;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

void nuv_serv_load_dll() {
  if (plain_load(nuv_serv_dll_handle) != nullptr) return;
  if (plain_load(nuv_cpu_type) == -1) {
    const int tier = detect_tier();
    plain_store(nuv_cpu_type, tier);
    read_configuration(0);
    if (tier >= 1) {
      void* handle = open(dll_cfg_names[tier]);
      plain_store(nuv_serv_dll_handle, handle);
      if (handle != nullptr) return;
      plain_store(nuv_cpu_type, -tier);
    }
  }
  // Another thread may have set the tier and not yet filled the tables.
  if (plain_load(cfg_file_readed) == 0) read_configuration(0);
  plain_store(nuv_serv_dll_handle, open_or_exit(dll_cfg_names[0]));
}

void* nuv_serv_load_fun(const char* name) {
  return find_or_exit(plain_load(nuv_serv_dll_handle), name, "%s\n ");
}

void* nuv_serv_load_thread_fun(const char* name) {
  if (plain_load(nuv_thread_handle) == nullptr) {
    void* handle = dlopen(Orvo_omp_thread_library_name, platform::only_if_present);
    if (handle == nullptr) handle = dlopen(Orvo_Seq_thread_library_name, platform::only_if_present);
    if (handle == nullptr) {
      std::printf("\nNUV FATAL ERROR: Can't load nuv-thread-layer library.");
      std::exit(1);
    }
    plain_store(nuv_thread_handle, handle);
  }
  return dlsym(plain_load(nuv_thread_handle), name);
}

void* nuv_serv_load_lapack_dll() {
  if (plain_load(nuv_serv_lapack_handle) == nullptr) {
    read_configuration(0);
    plain_store(nuv_serv_lapack_handle, open_or_exit(dll_cfg_names_l));
  }
  return plain_load(nuv_serv_lapack_handle);
}

void* nuv_serv_load_lapack_fun(const char* name) {
  return find_or_exit(plain_load(nuv_serv_lapack_handle), name, "%s\n");
}

void* nuv_serv_load_oql_dll() {
  if (plain_load(nuv_serv_oql_handle) == nullptr) {
    read_configuration(0);
    plain_store(nuv_serv_oql_handle, open_or_exit(dll_cfg_names_oql));
  }
  return plain_load(nuv_serv_oql_handle);
}

void* nuv_serv_load_oql_fun(const char* name) {
  return find_or_exit(plain_load(nuv_serv_oql_handle), name, "%s\n");
}

__attribute__((weak)) void _BUGWORKAROUND() {}
