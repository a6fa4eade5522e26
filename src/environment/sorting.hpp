#pragma once

// Sorting numbers and merging sorted ones.

#include "base/types.hpp"

namespace nuv {

/// Sorts d(1) ... d(n) into increasing (id 'I') or decreasing ('D') order.
///
/// info    0, or -k: argument k was bad (reported)
template <RealScalar T>
void lasrt(char id, Int n, T* d, Int& info);

/// The permutation that merges two sorted sets into one in increasing order. The first set wins ties.
///
/// a       n1 numbers of the first set, then n2 of the second
/// dtrd1   1 if the first set increases, -1 if it decreases;  dtrd2  the same of the second
/// index   n1 + n2 places in a, from one, so that a(index(1)) <= a(index(2)) <= ...
template <RealScalar T>
void lamrg(Int n1, Int n2, const T* a, Int dtrd1, Int dtrd2, Int* index);

}  // namespace nuv
