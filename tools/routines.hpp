#pragma once

// The routines of the library that the commands call, by the scalar that they work on.

#include <nuv/nuv_lapack.h>

#include <complex>

#include "base/types.hpp"

namespace nuv::tools {

template <Scalar T>
struct Routines;

// The routines for Hermitian matrices are those for symmetric ones where matrices are real.
#define NUV_ROUTINES(T, letter, hermitian)                        \
  template <>                                                     \
  struct Routines<T> {                                            \
    static constexpr auto gbcon = nuv_lapack_##letter##gbcon;     \
    static constexpr auto gbsvx = nuv_lapack_##letter##gbsvx;     \
    static constexpr auto gbtrf = nuv_lapack_##letter##gbtrf;     \
    static constexpr auto gecon = nuv_lapack_##letter##gecon;     \
    static constexpr auto gesvx = nuv_lapack_##letter##gesvx;     \
    static constexpr auto getrf = nuv_lapack_##letter##getrf;     \
    static constexpr auto getri = nuv_lapack_##letter##getri;     \
    static constexpr auto hesvx = nuv_lapack_##letter##hermitian; \
    static constexpr auto pbsvx = nuv_lapack_##letter##pbsvx;     \
    static constexpr auto posvx = nuv_lapack_##letter##posvx;     \
    static constexpr auto sysvx = nuv_lapack_##letter##sysvx;     \
  };

NUV_ROUTINES(float, s, sysvx)
NUV_ROUTINES(double, d, sysvx)
NUV_ROUTINES(std::complex<float>, c, hesvx)
NUV_ROUTINES(std::complex<double>, z, hesvx)
#undef NUV_ROUTINES

}  // namespace nuv::tools
