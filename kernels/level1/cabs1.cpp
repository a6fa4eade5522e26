#include "kernels/level1/magnitude.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// |re z| + |im z|
inline double dcabs1(std::complex<double> z) {
  return magnitude(z);
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level1/cabs1.entries.inc"
