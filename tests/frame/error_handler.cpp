// An application's own error handler. It tells on standard output what it was given, and its name may be taken no
// further than the length says.

#include <cstdio>

extern "C" int xerbla_(const char* name, const int* code, int length) {
  std::printf("own handler: name [%.*s], length %d, code %d\n", length, name, length, *code);
  return 4711;
}
