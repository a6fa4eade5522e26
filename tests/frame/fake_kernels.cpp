// A kernel library that can be told from the real one, and from its siblings, by a number.

#include <cstdio>

extern "C" {

/// Found nowhere, which keeps a loader from binding this library's functions before they are called.
void fake_kernels_missing_function();

/// A name that no other library has.
void fake_kernels_own_function() {
  fake_kernels_missing_function();
}

int nuv_blas_idamax(const int*, const double*, const int*) {
  return NUV_FAKE_NUMBER;
}

#ifndef NUV_FAKE_WITHOUT_DGEMV
void nuv_blas_dgemv(const char*, const int*, const int*, const double*, const double*, const int*, const double*,
                    const int*, const double*, double* y, const int*, int) {
  *y = NUV_FAKE_NUMBER;
}
#endif

int nuv_serv_default_xerbla(const char* name, const int* code, int length) {
  return std::fprintf(stderr, "kernel library %d: %.*s, %d\n", NUV_FAKE_NUMBER, length, name, *code);
}
}
