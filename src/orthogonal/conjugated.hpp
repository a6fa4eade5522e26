#pragma once

#include "environment/hermitian.hpp"

namespace nuv {

/// Conjugates elements while an instance lives.
template <Scalar T>
class Conjugated {
 public:
  Conjugated(Int count, Vector<T> x) : count_(count), x_(x) { conjugate_vector(count_, x_); }
  Conjugated(const Conjugated&) = delete;
  Conjugated& operator=(const Conjugated&) = delete;
  ~Conjugated() { conjugate_vector(count_, x_); }

 private:
  Int count_;
  Vector<T> x_;
};

}  // namespace nuv
