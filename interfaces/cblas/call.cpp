#include "interfaces/cblas/call.hpp"

#include <cstdarg>
#include <cstdio>

#include "base/platform.hpp"

// Weak, so that a program which links these objects themselves can have a handler of its own.
[[gnu::weak]] void cblas_xerbla(int p, const char* rout, const char* form, ...) {
  if (p != 0) std::fprintf(stderr, "Parameter %d to routine %s was incorrect\n", p, rout);
  std::va_list arguments;
  va_start(arguments, form);
  std::vfprintf(stderr, form, arguments);
  va_end(arguments);
}

float cblas_scabs1(const void* z) {
  const float* const parts = nuv::cblas::typed<float>(z);
  return __builtin_fabsf(parts[0]) + __builtin_fabsf(parts[1]);
}

namespace nuv::cblas {
namespace {

using Handler = decltype(cblas_xerbla)*;

/// The application's handler, if it has one. It is looked for, since a shared library that binds its own functions when
/// it is linked would otherwise never hear of it.
Handler handler() {
  const auto found = reinterpret_cast<Handler>(platform::find_in_process("cblas_xerbla"));
  return found != nullptr ? found : &cblas_xerbla;
}

}  // namespace

void Call::report_unknown(int position, const char* name, int value) const {
  handler()(position, routine, "%s is %d, which is none of its settings\n", name, value);
}

void Call::report_zero(int position, const char* name) const {
  handler()(position, routine, "%s is zero\n", name);
}

void Call::report_less(int position, const char* name, int value, std::int64_t least) const {
  handler()(position, routine, "%s is %d, less than %lld\n", name, value, static_cast<long long>(least));
}

}  // namespace nuv::cblas
