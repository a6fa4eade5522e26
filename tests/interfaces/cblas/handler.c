/* Gives a program a handler of its own. */
#include <stdarg.h>
#include <stdio.h>

#include <nuv/cblas.h>

void cblas_xerbla(CBLAS_INT p, const char* rout, const char* form, ...) {
  va_list arguments;
  va_start(arguments, form);
  printf("%s, argument %d: ", rout, p);
  vprintf(form, arguments);
  va_end(arguments);
}
