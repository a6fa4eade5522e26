#pragma once

// Steps of which the routines that work with stored reflectors are made.

#include "orthogonal/stored_reflectors.hpp"

namespace nuv {

/// The factor T of a block of reflectors, as larft forms it, but for any memory: where the pool refuses some, the same
/// T is formed without, and nobody hears of it.
///
/// t       k by k; the triangle is written
template <Scalar T>
void form_factor(const StoredReflectors<const T>& V, const T* tau, Matrix<T> t);

}  // namespace nuv
