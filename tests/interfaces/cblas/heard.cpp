#include "interfaces/cblas/heard.hpp"

#include <nuv/cblas.h>

#include <cstdarg>
#include <cstdio>
#include <utility>

namespace {

std::vector<nuv::test::Heard> heard;

}  // namespace

void cblas_xerbla(int p, const char* rout, const char* form, ...) {
  char reason[200];
  std::va_list arguments;
  va_start(arguments, form);
  std::vsnprintf(reason, sizeof reason, form, arguments);
  va_end(arguments);
  heard.push_back({p, rout, reason});
}

namespace nuv::test {

std::vector<Heard> take_heard() {
  return std::exchange(heard, {});
}

}  // namespace nuv::test
