#pragma once

// The peer that is a header library.

#include <Eigen/Core>
#include <Eigen/LU>

namespace nuv::bench {

template <class T>
using EigenMatrix = Eigen::Matrix<T, Eigen::Dynamic, Eigen::Dynamic, Eigen::ColMajor>;

}  // namespace nuv::bench
