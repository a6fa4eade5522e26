#pragma once

#include "environment/hermitian.hpp"

namespace nuv {

/// Conjugates elements while an instance lives; those that are not to be `turned` stay as they are.
template <Scalar T>
class Conjugated {
 public:
  Conjugated(Int count, Vector<T> x, bool turned = true) : count_(turned ? count : 0), x_(x) { turn(); }
  Conjugated(const Conjugated&) = delete;
  Conjugated& operator=(const Conjugated&) = delete;
  ~Conjugated() { turn(); }

 private:
  void turn() const { conjugate_vector(count_, x_); }

  Int count_;
  Vector<T> x_;
};

}  // namespace nuv
