#include "frame/option_matching.hpp"

#include <nuv/nuv_services.h>

namespace nuv {

Logical lsamen(Int n, Text ca, Text cb) {
  if (n > ca.length || n > cb.length) return to_logical(false);
  for (Int i = 0; i < n; ++i) {
    if (!same_letter(ca.data[i], cb.data[i])) return to_logical(false);
  }
  return to_logical(true);
}

}  // namespace nuv

int nuv_serv_lsame(const char* a, const char* b) {
  return nuv::to_logical(nuv::same_letter(*a, *b));
}

#include "frame/option_matching.entries.inc"
