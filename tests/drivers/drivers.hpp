#pragma once

// The list of routines that the tests of this folder run through, each in all its precisions.

#include <functional>
#include <string>
#include <vector>

#include "drivers/call.hpp"

namespace nuv::test {

/// The order for routines without blocks.
inline constexpr Int unblocked_order = 5;

struct Driver {
  std::string name;  ///< with the letter of the precision
  Int order;         ///< of a problem that it solves by blocks, if it has any
  std::function<void(Call& call, Int n)> run;
};

/// The list. A routine joins it in drivers.cpp.
const std::vector<Driver>& drivers();

}  // namespace nuv::test
