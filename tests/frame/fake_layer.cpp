// A thread layer that can be told from the real ones by a number.

extern "C" {

int nuv_serv_nuv_get_max_threads() { return NUV_FAKE_NUMBER; }

void nuv_lapack_dgetrf(const int*, const int*, double*, const int*, int*, int* info) { *info = NUV_FAKE_NUMBER; }

#ifndef NUV_FAKE_WITHOUT_DGEMM
void nuv_blas_dgemm(const char*, const char*, const int*, const int*, const int*, const double*, const double*,
                    const int*, const double*, const int*, const double*, double* c, const int*, int, int) {
  *c = NUV_FAKE_NUMBER;
}
#endif

}
