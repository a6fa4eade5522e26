#pragma once

// Where eigenvalues are to be found after a diagonal block of a Schur form has moved.

#include <vector>

#include "base/types.hpp"

namespace nuv::test {

/// Where blocks of these orders stand after one of them has moved, and where that begins.
struct Moved {
  std::vector<Int> rows;  ///< the row from which the eigenvalue in each row came
  Int first = 0, destination = 0;

  Moved(const std::vector<Int>& blocks, Int ifst, Int ilst) {
    std::vector<std::vector<Int>> order;
    std::size_t from = 0, to = 0;
    Int row = 1;
    for (std::size_t k = 0; k < blocks.size(); ++k) {
      order.emplace_back();
      for (Int i = 0; i < blocks[k]; ++i, ++row) {
        order.back().push_back(row);
        if (row == ifst) from = k;
        if (row == ilst) to = k;
      }
    }
    const std::vector<Int> block = order[from];
    first = block.front();
    order.erase(order.begin() + std::ptrdiff_t(from));
    order.insert(order.begin() + std::ptrdiff_t(to), block);
    for (std::size_t k = 0; k < order.size(); ++k) {
      if (k == to) destination = Int(rows.size()) + 1;
      rows.insert(rows.end(), order[k].begin(), order[k].end());
    }
  }

  /// Eigenvalues in their new order.
  template <class Value>
  std::vector<Value> order_of(const std::vector<Value>& values) const {
    std::vector<Value> moved;
    for (const Int row : rows) moved.push_back(values[std::size_t(row - 1)]);
    return moved;
  }
};

}  // namespace nuv::test
