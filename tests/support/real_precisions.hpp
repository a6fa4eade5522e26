#pragma once

// What typed tests over the real or the complex precisions share.

#include "support/precisions.hpp"

namespace nuv::test {

/// As Precisions: the double ones alone where the build says that the others would show nothing new.
#if defined(NUV_TEST_DOUBLE_ALONE)
using RealPrecisions = testing::Types<double>;
using ComplexPrecisions = testing::Types<std::complex<double>>;
#else
using RealPrecisions = testing::Types<float, double>;
using ComplexPrecisions = testing::Types<std::complex<float>, std::complex<double>>;
#endif

}  // namespace nuv::test
