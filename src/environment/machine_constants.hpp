#pragma once

// The constants of IEEE arithmetic by the names that routines use; the values stand in machine.hpp.

#include "environment/machine.hpp"

namespace nuv {

template <RealScalar R>
struct Machine {
  static constexpr R eps = lamch<R>('E');        ///< half the distance from 1 to the next number
  static constexpr R safe_min = lamch<R>('S');   ///< least number whose reciprocal is finite
  static constexpr R precision = lamch<R>('P');  ///< eps times base
  static constexpr R overflow = lamch<R>('O');
  static constexpr R safmx2 = lamch<R>('X');  ///< large scale
  static constexpr R safmn2 = lamch<R>('F');  ///< small scale, 1 / safmx2
};

}  // namespace nuv
