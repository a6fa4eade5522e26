#pragma once

// The routines of the library that the commands call, by the scalar that they work on.

#include <nuv/nuv_lapack.h>

#include <complex>

#include "base/types.hpp"

namespace nuv::tools {

template <Scalar T>
struct Routines;

// The routines for Hermitian matrices are those for symmetric ones where matrices are real, and unitary matrices are
// orthogonal there.
#define NUV_ROUTINES(T, letter, he, un)                         \
  template <>                                                   \
  struct Routines<T> {                                          \
    static constexpr auto gemm = nuv_blas_##letter##gemm;       \
    static constexpr auto gemv = nuv_blas_##letter##gemv;       \
    static constexpr auto gbcon = nuv_lapack_##letter##gbcon;   \
    static constexpr auto gbsvx = nuv_lapack_##letter##gbsvx;   \
    static constexpr auto gbtrf = nuv_lapack_##letter##gbtrf;   \
    static constexpr auto gecon = nuv_lapack_##letter##gecon;   \
    static constexpr auto gees = nuv_lapack_##letter##gees;     \
    static constexpr auto geev = nuv_lapack_##letter##geev;     \
    static constexpr auto geevx = nuv_lapack_##letter##geevx;   \
    static constexpr auto gelsy = nuv_lapack_##letter##gelsy;   \
    static constexpr auto geqp3 = nuv_lapack_##letter##geqp3;   \
    static constexpr auto gesdd = nuv_lapack_##letter##gesdd;   \
    static constexpr auto gesvx = nuv_lapack_##letter##gesvx;   \
    static constexpr auto getrf = nuv_lapack_##letter##getrf;   \
    static constexpr auto getri = nuv_lapack_##letter##getri;   \
    static constexpr auto ggev = nuv_lapack_##letter##ggev;     \
    static constexpr auto ggevx = nuv_lapack_##letter##ggevx;   \
    static constexpr auto gglse = nuv_lapack_##letter##gglse;   \
    static constexpr auto ggsvd = nuv_lapack_##letter##ggsvd;   \
    static constexpr auto heev = nuv_lapack_##letter##he##ev;   \
    static constexpr auto heevd = nuv_lapack_##letter##he##evd; \
    static constexpr auto heevr = nuv_lapack_##letter##he##evr; \
    static constexpr auto hegv = nuv_lapack_##letter##he##gv;   \
    static constexpr auto hegvd = nuv_lapack_##letter##he##gvd; \
    static constexpr auto hegvx = nuv_lapack_##letter##he##gvx; \
    static constexpr auto hemm = nuv_blas_##letter##he##mm;     \
    static constexpr auto her2k = nuv_blas_##letter##he##r2k;   \
    static constexpr auto hesvx = nuv_lapack_##letter##he##svx; \
    static constexpr auto larfb = nuv_lapack_##letter##larfb;   \
    static constexpr auto larft = nuv_lapack_##letter##larft;   \
    static constexpr auto larnv = nuv_lapack_##letter##larnv;   \
    static constexpr auto latms = nuv_lapack_##letter##latms;   \
    static constexpr auto pbsvx = nuv_lapack_##letter##pbsvx;   \
    static constexpr auto posvx = nuv_lapack_##letter##posvx;   \
    static constexpr auto symm = nuv_blas_##letter##symm;       \
    static constexpr auto syr2k = nuv_blas_##letter##syr2k;     \
    static constexpr auto sysvx = nuv_lapack_##letter##sysvx;   \
    static constexpr auto trmm = nuv_blas_##letter##trmm;       \
    static constexpr auto trtrs = nuv_lapack_##letter##trtrs;   \
    static constexpr auto unmqr = nuv_lapack_##letter##un##mqr; \
  };

NUV_ROUTINES(float, s, sy, or)
NUV_ROUTINES(double, d, sy, or)
NUV_ROUTINES(std::complex<float>, c, he, un)
NUV_ROUTINES(std::complex<double>, z, he, un)
#undef NUV_ROUTINES

}  // namespace nuv::tools
