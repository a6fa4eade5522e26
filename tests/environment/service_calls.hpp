#pragma once

// Services under one name for both precisions.

#include <complex>

#include <nuv/nuv_services.h>

namespace nuv::test {

inline double serv_abs(std::complex<double> z) {
  return nuv_serv_z_abs(&z);
}
inline float serv_abs(std::complex<float> z) {
  return nuv_serv_c_abs(&z);
}

}  // namespace nuv::test
