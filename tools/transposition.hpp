#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include "base/types.hpp"

namespace nuv::tools {

/// The values of a matrix that stand by rows, by columns. An element has one part, or two where it is complex.
inline std::vector<double> to_columns(std::vector<double> by_rows, Int rows, Int columns, std::size_t parts) {
  if (rows <= 1 || columns <= 1) return by_rows;
  constexpr std::size_t tile = 32;  // rows and columns of a tile stay in the cache together
  const auto m = static_cast<std::size_t>(rows), n = static_cast<std::size_t>(columns);
  std::vector<double> by_columns(by_rows.size());
  for (std::size_t i = 0; i < m; i += tile) {
    for (std::size_t j = 0; j < n; j += tile) {
      for (std::size_t c = j; c < std::min(j + tile, n); ++c) {
        for (std::size_t r = i; r < std::min(i + tile, m); ++r) {
          for (std::size_t p = 0; p < parts; ++p)
            by_columns[(c * m + r) * parts + p] = by_rows[(r * n + c) * parts + p];
        }
      }
    }
  }
  return by_columns;
}

}  // namespace nuv::tools
