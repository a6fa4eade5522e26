#pragma once

#include "base/types.hpp"

namespace nuv::threading::inline NUV_ISA {

/// Columns from + 1 to until.
struct Columns {
  Int from, until;
  Int count() const { return until - from; }
  bool contains(Int column) const { return from <= column && column < until; }
};

}  // namespace nuv::threading::inline NUV_ISA
