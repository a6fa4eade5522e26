#pragma once

// What calls of the library's routines have in common.

#include <cstddef>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "base/types.hpp"

namespace nuv::tools {

/// The two work arrays of estimators and expert drivers, of which the second holds integers for a real matrix.
template <Scalar T>
struct ConditionWorkspace {
  std::vector<T> first;
  std::vector<std::conditional_t<ComplexScalar<T>, Real<T>, Int>> second;

  // Some give a number in the first element even where n is zero.
  explicit ConditionWorkspace(Int n)
      : first(4 * static_cast<std::size_t>(n) + 1), second(2 * static_cast<std::size_t>(n) + 1) {}
};

/// A routine that refuses an argument shows an error of the command, not of its user.
inline void require_accepted(Int info) {
  if (info < 0) throw std::logic_error("argument " + std::to_string(-info) + " of a routine was refused");
}

}  // namespace nuv::tools
