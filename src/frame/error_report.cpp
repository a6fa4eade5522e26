// The chain from a routine's report to the text on the error stream. Every library of the set holds it, so that a
// kernel's report finds an application's handler as well.

#include <nuv/nuv_services.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/platform.hpp"
#include "frame/plain_word.hpp"

// Message pieces, writable and kept together in this order.
#define NUV_MESSAGE __attribute__((section(".data.nuv_messages")))

namespace {

NUV_MESSAGE char usrTail[] = " was incorrect on entry to ";
NUV_MESSAGE char usrHead[] = "NUV ERROR : Parameter ";
NUV_MESSAGE char sysTail[] = " detected in function ";
NUV_MESSAGE char sysHead[] = "NUV INTERNAL ERROR : Condition ";

constexpr int first_named_code = 1000;
constexpr int named_codes = 2;
constexpr int longest_name = 12;

using ErrorHandler = int(const char* name, const int* code, int length);

/// The handler in use, null until the first report. Threads that race find and store the same one.
ErrorHandler* process_xerbla_entry = nullptr;

ErrorHandler* as_handler(void* symbol) {
  return reinterpret_cast<ErrorHandler*>(symbol);
}

/// What a library behind the stubs reports to, null in libnuv_lapack itself and without it: the handler of a program
/// that has loaded libnuv_lapack for itself alone is visible there, and hidden from the libraries that it opens.
ErrorHandler* handler_of_caller() {
  void* lapack = dlopen(NUV_LIBRARY_FILE("libnuv_lapack"), nuv::platform::only_if_present);
  ErrorHandler* handler = lapack != nullptr ? as_handler(dlsym(lapack, "nuv_serv_dll_xerbla")) : nullptr;
  return handler != &nuv_serv_dll_xerbla ? handler : nullptr;
}

ErrorHandler* find_handler() {
  if (ErrorHandler* handler = handler_of_caller()) return handler;
  if (void* handler = nuv::platform::find_in_process("xerbla_")) return as_handler(handler);
  return &nuv_serv_default_xerbla;
}

}  // namespace

NUV_MESSAGE const char* named_errors[named_codes] = {
    "NUV INTERNAL ERROR : Not enough work memory in function ",
    "NUV ERROR : Incompatible optional parameters on entry to ",
};

int nuv_serv_default_xerbla(const char* name, const int* code, int length) {
  char shown[longest_name + 1];
  const int shown_length = std::min(length, longest_name);
  std::strncpy(shown, name, shown_length);
  shown[shown_length] = '\0';
  const int p = *code;
  if (p >= first_named_code && p < first_named_code + named_codes) {
    return std::fprintf(stderr, "%s%s\n", named_errors[p - first_named_code], shown);
  }
  if (p < 1) return std::fprintf(stderr, "%s%01d%s%s\n", sysHead, -p, sysTail, shown);
  return std::fprintf(stderr, "%s%01d%s%s\n", usrHead, p, usrTail, shown);
}

int nuv_serv_dll_xerbla(const char* name, const int* code, int length) {
  if (nuv::plain_load(process_xerbla_entry) == nullptr) nuv::plain_store(process_xerbla_entry, find_handler());
  return nuv::plain_load(process_xerbla_entry)(name, code, length);
}

int nuv_serv_xerbla(const char* name, const int* code, int length) {
  return nuv_serv_dll_xerbla(name, code, length);
}
