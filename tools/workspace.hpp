#pragma once

// What calls of the library's routines have in common.

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <limits>
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

/// Makes a work array at least as long as a routine asked for in its first element, and tells its length. An answer in
/// single precision may have been rounded down.
template <class Element, class Answer>
Int grow_to(std::vector<Element>& array, Answer answer) {
  const double size = std::nextafter(answer, std::numeric_limits<Answer>::max());
  if (size > std::numeric_limits<Int>::max()) throw std::length_error("workspace");
  array.resize(std::max(array.size(), static_cast<std::size_t>(std::ceil(size))));
  return static_cast<Int>(array.size());
}

/// A routine that refuses an argument shows an error of the command, not of its user.
inline void require_accepted(Int info) {
  if (info < 0) throw std::logic_error("argument " + std::to_string(-info) + " of a routine was refused");
}

/// Asks a routine for its workspace and then runs it; gives its info. call(work, lwork, info) hands it its arguments.
template <Scalar T, class Call>
Int with_workspace(Call call) {
  std::vector<T> work(1);
  Int lwork = -1, info = 0;
  call(work.data(), &lwork, &info);
  require_accepted(info);
  lwork = grow_to(work, std::real(work.front()));
  call(work.data(), &lwork, &info);
  require_accepted(info);
  return info;
}

}  // namespace nuv::tools
