#pragma once

// The ways to a singular value decomposition by QR iteration where a matrix is so much longer than wide, or wider than
// long, that its QR or LQ factorisation comes first: what stands where on each of them, and the workspace that they
// take.

#include <cstdint>

#include "environment/block_plan.hpp"
#include "frame/option_matching.hpp"
#include "orthogonal/forms.hpp"
#include "svd/long_side.hpp"

namespace nuv {

/// The vectors of one side that are wanted. There are no more short ones than thin has.
enum class Wanted { none, overwriting, thin, full };

inline Wanted wanted_by(char job) {
  if (same_letter(job, 'A')) return Wanted::full;
  if (same_letter(job, 'S')) return Wanted::thin;
  return same_letter(job, 'O') ? Wanted::overwriting : Wanted::none;
}

namespace svd {

/// Where a matrix stands: nowhere, in a, in the caller's array of the long vectors (u) or of the short ones (v), in a
/// square block of the workspace.
enum class Place : std::uint8_t { no, a, u, v, w1, w2 };

/// What stands where.
struct Places {
  Place q;              ///< Q of the factorisation
  Place factor;         ///< the square factor, which is reduced there
  Place long_vectors;   ///< those of the factor; without a place, they multiply Q while they are reflectors
  Place short_vectors;  ///< those of the factor

  /// Without a factorisation.
  constexpr bool is_direct() const { return factor == Place::no; }

  constexpr Int blocks() const { return short_vectors == Place::w2 ? 2 : long_vectors == Place::w1 ? 1 : 0; }
};

/// Steps that have workspace, as bits of a set.
enum Step : std::uint8_t { factor = 1, form_thin_q = 2, form_full_q = 4, reduce = 8, form_short = 16, form_long = 32 };

struct Path {
  Wanted of_long, of_short;
  unsigned steps;
  Places with_blocks, without;  ///< with enough workspace for blocks, and with the least
};

namespace table {

using enum Place;
using enum Wanted;

inline constexpr unsigned values = factor | reduce, short_ones = form_short, thin_q = values | form_thin_q | form_long,
                          full_q = values | form_full_q | form_long;

inline constexpr Places direct{no, no, no, no};

inline constexpr Path paths[] = {
    // Q, the factor, its long vectors and its short ones
    {none, none, values, {no, a, no, no}, {no, a, no, no}},
    {none, overwriting, values | short_ones, {no, a, no, a}, {no, a, no, a}},
    {none, full, values | short_ones, {no, a, no, a}, {no, a, no, a}},
    {overwriting, none, thin_q, {a, w1, w1, no}, direct},
    {overwriting, full, thin_q | short_ones, {a, v, w1, v}, {a, v, no, v}},
    {thin, none, thin_q, {a, w1, w1, no}, {u, a, no, no}},
    {thin, overwriting, thin_q | short_ones, {a, w1, w1, w2}, {u, a, no, a}},
    {thin, full, thin_q | short_ones, {a, w1, w1, v}, {u, v, no, v}},
    {full, none, full_q, {u, w1, w1, no}, {u, a, no, no}},
    {full, overwriting, full_q | short_ones, {u, w1, w1, w2}, {u, a, no, a}},
    {full, full, full_q | short_ones, {u, w1, w1, v}, {u, v, no, v}},
};

}  // namespace table

/// The path for wanted vectors, not overwriting on both sides.
inline const Path& path_for(Wanted of_long, Wanted of_short) {
  if (of_short == Wanted::thin) of_short = Wanted::full;
  const Path* path = table::paths;
  while (path->of_long != of_long || path->of_short != of_short) ++path;
  return *path;
}

/// Leading dimensions of the blocks.
struct Blocks {
  Int first, second;
};

/// Workspace in elements, as far as it is not real where the matrix is complex.
template <Scalar T>
class WorkSizes {
 public:
  explicit WorkSizes(const LongSide<T>& side) : side_(side), k_(side.shorter) {}

  std::int64_t least(const Path& path) const {
    const std::int64_t reduction = before_ + (path.of_long == Wanted::none ? k_ : side_.longer);
    return std::max(reduction, iteration_);
  }
  std::int64_t best(const Path& path) const { return std::max(of_blocks(path) + beside_blocks(path), least(path)); }
  bool has_blocks(const Path& path, Int lwork) const {
    const std::int64_t full_q = path.of_long == Wanted::full ? k_ + side_.longer : 0;
    return lwork >= of_blocks(path) + std::max({before_ + k_, iteration_, full_q});
  }

  std::int64_t least_directly() const { return std::max(before_ + side_.longer, iteration_); }
  std::int64_t best_directly(Wanted of_long, Wanted of_short) const {
    const Int m = side_.rows(side_.shorter), n = side_.columns(side_.shorter);
    const Int count = of_long == Wanted::full ? side_.longer : side_.shorter;
    std::int64_t best = before_ + (std::int64_t{m} + n) * width("GEBRD", m, n);
    if (of_long != Wanted::none) best = std::max(best, to_form_long(side_.rows(count), side_.columns(count), count));
    if (of_short != Wanted::none) best = std::max(best, of_step(form_short));
    return std::max(best, least_directly());
  }

  /// The blocks have the leading dimension of a where there is room for that.
  Blocks lay_out(const Path& path, Int lwork, Int lda) const {
    const bool has_second = path.with_blocks.blocks() == 2;
    const std::int64_t beside = beside_blocks(path);
    const auto fits = [&](std::int64_t lines) { return lwork >= beside + lines * k_; };
    const Int k = side_.shorter;
    if (!has_second) return {fits(lda) ? lda : k, 0};
    return {fits(lda + k_) ? lda : k, fits(2 * std::int64_t{lda}) ? lda : k};
  }

 private:
  static constexpr bool is_real = RealScalar<T>;

  std::int64_t of_blocks(const Path& path) const { return path.with_blocks.blocks() * k_ * k_; }

  Int width(const char (&name)[6], Int m, Int n) const {
    return Tuning<T>{.name = RoutineName<T>(name), .n1 = m, .n2 = n}.block_size();
  }
  Int width_of_q(Int m, Int n) const {
    return Tuning<T>{name_of_form<T>("ORG", "UNG", side_.is_left ? qr : lq), " ", m, n, side_.shorter}.block_size();
  }
  Int width_of_reduction(char letter, Int m, Int n) const {
    return Tuning<T>{name_of<T>("ORGBR", "UNGBR"), {&letter, 1}, m, n, side_.shorter}.block_size();
  }

  /// `count` long vectors in an m by n matrix.
  std::int64_t to_form_long(Int m, Int n, std::int64_t count) const {
    return before_ + count * width_of_reduction(side_.letter_of_long(), m, n);
  }

  std::int64_t of_step(Step step) const {
    const Int k = side_.shorter, l = side_.longer;
    switch (step) {
      case factor:
        return k_ + k_ * width(side_.is_left ? "GEQRF" : "GELQF", side_.rows(k), side_.columns(k));
      case form_thin_q:
        return k_ + k_ * width_of_q(side_.rows(k), side_.columns(k));
      case form_full_q:
        return k_ + std::int64_t{l} * width_of_q(l, l);
      case reduce:
        return before_ + 2 * k_ * width("GEBRD", k, k);
      case form_short:
        return before_ + (k_ - 1) * width_of_reduction(side_.letter_of_short(), k, k);
      case form_long:
        return to_form_long(k, k, k);
    }
    return 0;
  }
  std::int64_t most_of_steps(const Path& path) const {
    std::int64_t most = iteration_;
    for (const Step step : {factor, form_thin_q, form_full_q, reduce, form_short, form_long}) {
      if ((path.steps & step) != 0) most = std::max(most, of_step(step));
    }
    return most;
  }

  /// Vectors that overwrite a are multiplied in the workspace, all at once where there is room for that.
  std::int64_t beside_blocks(const Path& path) const {
    const std::int64_t product = path.of_long == Wanted::overwriting ? side_.longer * k_ + e_ : 0;
    return std::max(most_of_steps(path), product);
  }

  LongSide<T> side_;
  std::int64_t k_;
  std::int64_t before_ = ReductionRoom<T>::vectors * k_;  ///< e and factors of reflectors
  std::int64_t e_ = is_real ? k_ : 0;
  std::int64_t iteration_ = is_real ? 5 * k_ : 0;
};

}  // namespace svd
}  // namespace nuv
