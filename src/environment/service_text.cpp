// Character assignment and concatenation of compiled Fortran: targets of fixed length, filled with blanks.

#include <nuv/nuv_services.h>

#include <algorithm>
#include <cstring>

namespace {

/// Copies what fits into dest from position `at` on; the position behind it.
int put(char* dest, int dest_length, int at, const char* text, int length) {
  const int count = std::clamp(length, 0, std::max(dest_length - at, 0));
  std::memmove(dest + at, text, static_cast<std::size_t>(count));
  return at + count;
}

void fill_with_blanks(char* dest, int dest_length, int from) {
  if (from < dest_length) std::memset(dest + from, ' ', static_cast<std::size_t>(dest_length - from));
}

}  // namespace

void nuv_serv_strcpy(char* dest, const char* src, int dest_length, int src_length) {
  fill_with_blanks(dest, dest_length, put(dest, dest_length, 0, src, src_length));
}

void nuv_serv_strcat2(char* dest, const char* s1, const char* s2, int dest_length, int s1_length, int s2_length) {
  const int behind_s1 = put(dest, dest_length, 0, s1, s1_length);
  fill_with_blanks(dest, dest_length, put(dest, dest_length, behind_s1, s2, s2_length));
}
