#include "environment/sorting.hpp"

#include <algorithm>
#include <utility>

#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"

namespace nuv {
namespace {

/// Parts of this length or less are sorted by insertion.
constexpr Int insertion_length = 20;

struct Increasing {
  template <RealScalar T>
  static bool before(T x, T y) {
    return x < y;
  }
};
struct Decreasing {
  template <RealScalar T>
  static bool before(T x, T y) {
    return x > y;
  }
};

/// Places from ... to, counted from zero.
struct Part {
  Int from, to;

  Int length() const { return to - from + 1; }
};

template <class Order, RealScalar T>
void sort_by_insertion(T* d, Part part) {
  for (Int i = part.from + 1; i <= part.to; ++i) {
    for (Int j = i; j > part.from && Order::before(d[j], d[j - 1]); --j) std::swap(d[j], d[j - 1]);
  }
}

template <RealScalar T>
T median(T x, T y, T z) {
  if (x < y) return z < x ? x : z < y ? z : y;
  return z < y ? y : z < x ? z : x;
}

/// Hoare's partition; the last place of the first part. Both scans stop at entries equal to the pivot.
template <class Order, RealScalar T>
Int partition(T* d, Part part) {
  const T pivot = median(d[part.from], d[part.to], d[part.from + (part.to - part.from) / 2]);
  Int i = part.from - 1, j = part.to + 1;
  while (true) {
    do --j;
    while (Order::before(pivot, d[j]));
    do ++i;
    while (Order::before(d[i], pivot));
    if (i >= j) return j;
    std::swap(d[i], d[j]);
  }
}

/// Quick sort. The larger of two parts waits, so that no more than one part waits for each bit of n.
template <class Order, RealScalar T>
void sort(Int n, T* d) {
  Part waiting[32];
  int count = 0;
  waiting[count++] = {0, n - 1};
  while (count > 0) {
    const Part part = waiting[--count];
    if (part.length() <= insertion_length) {
      sort_by_insertion<Order>(d, part);
      continue;
    }
    const Int cut = partition<Order>(d, part);
    Part larger{part.from, cut}, smaller{cut + 1, part.to};
    if (larger.length() <= smaller.length()) std::swap(larger, smaller);
    waiting[count++] = larger;
    waiting[count++] = smaller;
  }
}

}  // namespace

template <RealScalar T>
void lasrt(char id, Int n, T* d, Int& info) {
  info = 0;
  if (!is_one_of(id, 'I', 'D')) info = -1;
  else if (n < 0) info = -2;
  if (info != 0) return report_bad_argument<T>("LASRT", info);
  if (n <= 1) return;

  if (same_letter(id, 'I')) {
    sort<Increasing>(n, d);
  } else {
    sort<Decreasing>(n, d);
  }
}

template <RealScalar T>
void lamrg(Int n1, Int n2, const T* a, Int dtrd1, Int dtrd2, Int* index) {
  Int first = dtrd1 > 0 ? 1 : n1;
  Int second = dtrd2 > 0 ? n1 + 1 : n1 + n2;
  while (n1 > 0 && n2 > 0) {
    if (a[first - 1] <= a[second - 1]) {
      *index++ = first;
      first += dtrd1;
      --n1;
    } else {
      *index++ = second;
      second += dtrd2;
      --n2;
    }
  }
  for (; n1 > 0; --n1, first += dtrd1) *index++ = first;
  for (; n2 > 0; --n2, second += dtrd2) *index++ = second;
}

}  // namespace nuv

#include "environment/sorting.entries.inc"
