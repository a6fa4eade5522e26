#pragma once

// How many numbers that measure a matrix are more than its rounding errors.

#include <algorithm>
#include <limits>
#include <optional>
#include <string>

#include "base/types.hpp"
#include "error.hpp"

namespace nuv::tools {

/// The share of the largest number up to which others count as zero.
template <Scalar T>
double rank_tolerance(std::optional<double> given, Int rows, Int columns) {
  return given.value_or(std::max(rows, columns) * double{std::numeric_limits<Real<T>>::epsilon()});
}

/// Throws UsageError for a tolerance that leaves no number, or isn't one.
inline void require_tolerance(std::optional<double> given, const std::string& option = "--rank") {
  if (given && !(*given >= 0 && *given < 1)) throw UsageError(option + " takes a number from 0 to below 1");
}

/// How many of the first `count` numbers value(1), value(2), ..., the largest first, stand above that share of it
/// before one does not.
template <class Value>
Int numerical_rank(Int count, double tolerance, Value value) {
  Int rank = 0;
  while (rank < count && value(rank + 1) > static_cast<long double>(tolerance) * value(1)) ++rank;
  return rank;
}

}  // namespace nuv::tools
