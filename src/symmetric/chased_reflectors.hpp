#pragma once

// The reflectors of kd neighbouring chases along a band. Counted from zero, reflector r of chase i works on the
// elements t, t + 1, ..., t = r kd + i + 1, of a vector of n: on kd of them or what there is, and on two at least.

#include "base/types.hpp"

namespace nuv {

/// Z := Z H1 H2 ..., the last reflectors of all chases first, those of the first chase before those of the second; the
/// serial body behind the layer stub `laeh2`. Reflectors whose elements do not meet may change places.
///
/// z       m by n, ldz >= max(1, m)
/// tau     factor t at tau(t)
/// v       n by kd, ldv >= max(1, n): vector t of chase i in v(t ..., i + 1), its unit element in place
/// work    m elements
template <Scalar T>
void xlaeh2(Int m, Int n, Int kd, const T* tau, const T* v, Int ldv, T* z, Int ldz, T* work);

}  // namespace nuv
