#pragma once

// As many numbers as a register of the baseline holds: for loops of this library whose order of operations is of
// interest, or for which there is no kernel.

#include <type_traits>

#include "base/types.hpp"

namespace nuv::detail {

inline constexpr int pack_bytes = 16;

template <RealScalar R>
struct PackOf;
template <>
struct PackOf<float> {
  typedef float type __attribute__((vector_size(pack_bytes)));
  typedef std::int32_t bits __attribute__((vector_size(pack_bytes)));
  static constexpr std::int32_t all_but_sign = 0x7FFFFFFF;
};
template <>
struct PackOf<double> {
  typedef double type __attribute__((vector_size(pack_bytes)));
  typedef std::int64_t bits __attribute__((vector_size(pack_bytes)));
  static constexpr std::int64_t all_but_sign = 0x7FFFFFFFFFFFFFFF;
};
template <RealScalar R>
using Pack = typename PackOf<R>::type;

template <RealScalar R>
inline constexpr int pack_width = pack_bytes / static_cast<int>(sizeof(R));

template <RealScalar R>
Pack<R> load(const R* x) {
  Pack<R> pack;
  __builtin_memcpy(&pack, x, sizeof pack);
  return pack;
}

template <RealScalar R>
void store(R* x, std::type_identity_t<Pack<R>> pack) {
  __builtin_memcpy(x, &pack, sizeof pack);
}

}  // namespace nuv::detail
