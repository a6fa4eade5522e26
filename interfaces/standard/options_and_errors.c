/* Published names of libblas that differ from the functions of nuv behind them, or have none. */

#include <math.h>
#include <nuv/nuv_services.h>

/* True, as a Fortran program tests it, if two option characters are the same letter, whatever their case. */
int lsame_(const char* a, const char* b) {
  return nuv_serv_lsame(a, b) & 1;
}

/* The handler of a process that has none of its own. libnuv_lapack exports one as well; a linker that builds a program
 * must find the name in the library that the program asks for, or it would keep the program's own from the loader. */
int xerbla_(const char* name, const int* position, int length) {
  return nuv_serv_default_xerbla(name, position, length);
}

/* |re z| + |im z| */
float scabs1_(const nuv_complex8* z) {
  const float* parts = (const float*)z;
  return fabsf(parts[0]) + fabsf(parts[1]);
}
