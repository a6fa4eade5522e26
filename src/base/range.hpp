#pragma once

#include "base/types.hpp"

namespace nuv {

/// Indices first, first + 1, ...
struct Range {
  Int first, count;

  Int last() const { return first + count - 1; }
};

}  // namespace nuv
