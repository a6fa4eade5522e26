#pragma once

// The peers. One is called by its Fortran names, declared here; the other is a header library.

#include <Eigen/Core>
#include <Eigen/LU>
#include <complex>

extern "C" {
#define NUV_PEER_PRODUCT(name, T)                                                                                   \
  void name(const char*, const char*, const int*, const int*, const int*, const T*, const T*, const int*, const T*, \
            const int*, const T*, T*, const int*);
NUV_PEER_PRODUCT(sgemm_, float)
NUV_PEER_PRODUCT(dgemm_, double)
NUV_PEER_PRODUCT(cgemm_, std::complex<float>)
NUV_PEER_PRODUCT(zgemm_, std::complex<double>)
#undef NUV_PEER_PRODUCT
void daxpy_(const int*, const double*, const double*, const int*, double*, const int*);
double ddot_(const int*, const double*, const int*, const double*, const int*);
void dscal_(const int*, const double*, double*, const int*);
void dcopy_(const int*, const double*, const int*, double*, const int*);
double dnrm2_(const int*, const double*, const int*);
int idamax_(const int*, const double*, const int*);
}

namespace nuv::bench {

inline void peer_gemm(char ta, char tb, int m, int n, int k, const float* a, int lda, const float* b, int ldb, float* c,
                      int ldc) {
  const float one = 1, zero = 0;
  sgemm_(&ta, &tb, &m, &n, &k, &one, a, &lda, b, &ldb, &zero, c, &ldc);
}
inline void peer_gemm(char ta, char tb, int m, int n, int k, const double* a, int lda, const double* b, int ldb,
                      double* c, int ldc) {
  const double one = 1, zero = 0;
  dgemm_(&ta, &tb, &m, &n, &k, &one, a, &lda, b, &ldb, &zero, c, &ldc);
}
inline void peer_gemm(char ta, char tb, int m, int n, int k, const std::complex<float>* a, int lda,
                      const std::complex<float>* b, int ldb, std::complex<float>* c, int ldc) {
  const std::complex<float> one = 1, zero = 0;
  cgemm_(&ta, &tb, &m, &n, &k, &one, a, &lda, b, &ldb, &zero, c, &ldc);
}
inline void peer_gemm(char ta, char tb, int m, int n, int k, const std::complex<double>* a, int lda,
                      const std::complex<double>* b, int ldb, std::complex<double>* c, int ldc) {
  const std::complex<double> one = 1, zero = 0;
  zgemm_(&ta, &tb, &m, &n, &k, &one, a, &lda, b, &ldb, &zero, c, &ldc);
}

template <class T>
using EigenMatrix = Eigen::Matrix<T, Eigen::Dynamic, Eigen::Dynamic, Eigen::ColMajor>;

}  // namespace nuv::bench
