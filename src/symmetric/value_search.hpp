#pragma once

// Bisection for one eigenvalue after the other, several side by side.

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/types.hpp"
#include "environment/machine_constants.hpp"
#include "symmetric/sturm_sweeps.hpp"

namespace nuv {

/// How narrow an interval has to be: half its width at most max(absolute, relative max(|left|, |right|)). It is halved
/// so many times at most, and no more where no number is left between its ends.
template <RealScalar R>
struct Accuracy {
  R absolute, relative;
  Int halvings;
};

/// How many times larger margins are than roundings call for.
template <RealScalar R>
inline constexpr R fudge = 2;

template <RealScalar R>
struct Interval {
  R left, right;

  /// With margins for the roundings that n steps of a Sturm count make, and no narrower than `least`.
  Interval widened(Int n, R least) const {
    const R norm = std::max(std::abs(left), std::abs(right));
    const R margin = fudge<R> * norm * Machine<R>::precision * static_cast<R>(n) + least;
    return {left - margin, right + margin};
  }
};

/// After so many halvings an interval as wide as the spectrum is as narrow as the least pivot. NaNs ask for a number
/// that is certain to be enough.
template <RealScalar R>
Int halvings_of(R diameter, R pivmin) {
  constexpr Int enough = 2 * (std::numeric_limits<R>::max_exponent - std::numeric_limits<R>::min_exponent);
  const R halvings = (std::log(diameter + pivmin) - std::log(pivmin)) / std::log(R(2));
  return halvings < R(enough) ? static_cast<Int>(halvings) + 2 : enough;
}

/// The search for eigenvalue `index`, counted from one in ascending order. It asks for the number of eigenvalues below
/// one point after the other.
template <RealScalar R>
class ValueSearch {
 public:
  ValueSearch() = default;

  /// In an interval that holds the value.
  static ValueSearch within(Int index, R left, R right, const Accuracy<R>& accuracy) {
    ValueSearch search(index, left, right, accuracy);
    search.halve_unless_narrow();
    return search;
  }

  /// In an interval that may miss the value; it is widened, twice as far each time.
  static ValueSearch around(Int index, R w, R werr, const Accuracy<R>& accuracy) {
    ValueSearch search(index, w - werr, w + werr, accuracy);
    const R least = std::max(accuracy.absolute, accuracy.relative * std::abs(w));
    search.first_step_ = search.step_ = werr > 0 ? werr : std::max(least, std::numeric_limits<R>::min());
    search.phase_ = Phase::left_end;
    return search;
  }

  Int index() const { return index_; }
  bool is_done() const { return phase_ == Phase::done; }
  bool has_moved() const { return has_moved_; }
  bool is_narrow() const {
    const R larger = std::max(std::abs(left_), std::abs(right_));
    return !(R(0.5) * (right_ - left_) > std::max(accuracy_.absolute, accuracy_.relative * larger));
  }
  R middle() const { return R(0.5) * (left_ + right_); }
  R left() const { return left_; }
  R right() const { return right_; }

  R point() const {
    switch (phase_) {
      case Phase::left_end:
        return left_;
      case Phase::right_end:
        return right_;
      default:
        return middle();
    }
  }

  void tell(Int below) {
    switch (phase_) {
      case Phase::left_end:
        if (below >= index_ && std::isfinite(left_)) {
          widen(left_, negated(step_));
        } else {
          step_ = first_step_;
          phase_ = Phase::right_end;
        }
        break;
      case Phase::right_end:
        if (below < index_ && std::isfinite(right_)) {
          widen(right_, step_);
        } else {
          halve_unless_narrow();
        }
        break;
      default:
        (below >= index_ ? right_ : left_) = middle();
        has_moved_ = true;
        accuracy_.halvings -= 1;
        halve_unless_narrow();
    }
  }

 private:
  enum class Phase { left_end, right_end, middle, done };

  ValueSearch(Int index, R left, R right, const Accuracy<R>& accuracy)
      : index_(index), left_(left), right_(right), accuracy_(accuracy) {}

  void widen(R& end, R step) {
    end += step;
    step_ *= 2;
    has_moved_ = true;
  }

  void halve_unless_narrow() {
    const bool can_halve = accuracy_.halvings > 0 && left_ < middle() && middle() < right_;
    phase_ = can_halve && !is_narrow() ? Phase::middle : Phase::done;
  }

  Int index_;
  R left_, right_, step_, first_step_;
  Accuracy<R> accuracy_;
  Phase phase_ = Phase::done;
  bool has_moved_ = false;
};

/// Takes up to three steps of one search at once, or two of each of two. What a search asks for next hangs on whether a
/// count reaches its index, so the points of its next steps are known, and counting below all of them takes hardly
/// longer than below one.
template <RealScalar R, class Count>
void search_ahead(ValueSearch<R>* searches, Int active, Count count) {
  static_assert(shifts_at_once == 8);
  // Of each search, those behind state k are 2 k + 1 where the count reaches the index, else 2 k + 2.
  const Int states = active == 1 ? 7 : 3;
  ValueSearch<R> ahead[shifts_at_once];
  R points[shifts_at_once];
  Int counts[shifts_at_once];
  for (Int s = 0; s < active; ++s) {
    ValueSearch<R>* const mine = ahead + s * states;
    mine[0] = searches[s];
    for (Int k = 1; k < states; ++k) {
      mine[k] = mine[(k - 1) / 2];
      if (!mine[k].is_done()) mine[k].tell(k % 2 != 0 ? mine[k].index() : mine[k].index() - 1);
    }
  }
  for (Int k = 0; k < shifts_at_once; ++k) points[k] = ahead[k < active * states ? k : 0].point();
  count(points, counts);
  for (Int s = 0; s < active; ++s) {
    for (Int k = 0; k < states && !searches[s].is_done();) {
      const Int below = counts[s * states + k];
      searches[s].tell(below);
      k = 2 * k + (below >= searches[s].index() ? 1 : 2);
    }
  }
}

/// Makes the searches begin(i), i = first ... last, a few at a time, and hands each to end(search) when it is done.
/// count(points, counts) gives the numbers of eigenvalues below each of shifts_at_once points.
template <RealScalar R, class Begin, class Count, class End>
void search_side_by_side(Int first, Int last, Begin begin, Count count, End end) {
  ValueSearch<R> searches[shifts_at_once];
  R points[shifts_at_once];
  Int counts[shifts_at_once];
  Int active = 0, next = first;
  while (true) {
    while (active < shifts_at_once && next <= last) {
      searches[active] = begin(next++);
      if (searches[active].is_done()) end(searches[active]);
      else ++active;
    }
    if (active == 0) return;
    if (active <= 2) {
      search_ahead(searches, active, count);
    } else {
      for (Int k = 0; k < shifts_at_once; ++k) points[k] = searches[k < active ? k : 0].point();
      count(points, counts);
      for (Int k = 0; k < active; ++k) searches[k].tell(counts[k]);
    }
    for (Int k = active - 1; k >= 0; --k) {
      if (!searches[k].is_done()) continue;
      end(searches[k]);
      searches[k] = searches[--active];
    }
  }
}

}  // namespace nuv
