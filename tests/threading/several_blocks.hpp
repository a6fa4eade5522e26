#pragma once

#include "base/types.hpp"

namespace nuv::test {

/// More columns than a block of the packed product has at any instruction set.
template <Scalar T>
inline constexpr Int columns_of_several_blocks = sizeof(T) == 4   ? 1030
                                                 : sizeof(T) == 8 ? 780
                                                                  : 520;

}  // namespace nuv::test
