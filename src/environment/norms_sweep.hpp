#pragma once

// What the norms are made of: maxima, sums of squares, and sums over columns and rows of a matrix that is given as a
// function from a column's number to its run of entries.
//
// Maxima are taken as the processor's instruction takes them, x > m ? x : m: nothing looks for NaN.

#include "environment/magnitudes.hpp"
#include "environment/norms_columns.hpp"
#include "environment/packs.hpp"
#include "environment/sums_of_squares.hpp"
#include "frame/option_matching.hpp"

namespace nuv {

/// Which norm a letter asks for; `none` for any other, whose norm is zero.
enum class Norm { none, largest, one, infinity, frobenius };

inline Norm norm_of(char letter) {
  if (same_letter(letter, 'M')) return Norm::largest;
  if (same_letter(letter, 'O') || letter == '1') return Norm::one;
  if (same_letter(letter, 'I')) return Norm::infinity;
  if (is_one_of(letter, 'F', 'E')) return Norm::frobenius;
  return Norm::none;
}

template <RealScalar R>
R larger(R x, R m) {
  return x > m ? x : m;
}

namespace detail {

template <RealScalar R>
Pack<R> absolute(Pack<R> x) {
  using Bits = typename PackOf<R>::bits;
  return reinterpret_cast<Pack<R>>(reinterpret_cast<Bits>(x) & PackOf<R>::all_but_sign);
}

/// Folds the numbers x(0) ... x(count - 1) into one by `step(folded, x)` and `join(folded, folded)`, in several chains
/// that start from zero.
template <RealScalar R, class Step, class Join>
[[gnu::always_inline]] inline R fold(const R* x, std::ptrdiff_t count, Step step, Join join) {
  constexpr int chains = 4, width = pack_width<R>;
  Pack<R> folded[chains] = {};
  std::ptrdiff_t i = 0;
  for (; i + chains * width <= count; i += chains * width) {
#pragma GCC unroll 4
    for (int k = 0; k < chains; ++k) folded[k] = step(folded[k], load(x + i + k * width));
  }
  Pack<R> all = join(join(folded[0], folded[1]), join(folded[2], folded[3]));
  for (; i + width <= count; i += width) all = step(all, load(x + i));
  for (; i < count; ++i) all = step(all, Pack<R>{x[i]});
  R result = all[0];
  for (int k = 1; k < width; ++k) result = join(Pack<R>{result}, Pack<R>{all[k]})[0];
  return result;
}

/// Entries of a complex column that are turned into magnitudes at a time.
inline constexpr int chunk = 128;

}  // namespace detail

/// Largest magnitude of a run, zero for none.
template <RealScalar R>
[[gnu::noinline]] R largest_magnitude(const R* x, Int count) {
  using Pack = detail::Pack<R>;
  const auto join = [](Pack a, Pack b) { return a > b ? a : b; };
  return detail::fold(
      x, count, [&](Pack largest, Pack v) { return join(detail::absolute<R>(v), largest); }, join);
}

template <RealScalar R>
R largest_magnitude(const std::complex<R>* x, Int count) {
  R largest = 0;
  R buffer[detail::chunk];
  for (std::ptrdiff_t i = 0; i < count; i += detail::chunk) {
    const auto size = static_cast<int>(std::min<std::ptrdiff_t>(detail::chunk, count - i));
    magnitudes(x + i, size, buffer);
    largest = larger(largest_magnitude(buffer, size), largest);
  }
  return largest;
}

/// Sum of squares of any numbers, held as scale^2 sumsq; the entries go in one by one, in their order.
template <RealScalar R>
struct SquareSum {
  R scale = 0;
  R sumsq = 1;

  template <Scalar T>
  void add(Int count, const T* x) {
    lassq(count, x, 1, scale, sumsq);
  }

  R root() const { return scale * std::sqrt(sumsq); }
};

/// What a sweep over the columns adds up.
enum class Sums { of_columns, of_rows, of_both };

namespace detail {

/// Adds the magnitudes of `count` rows of some columns to the columns' sums and to the sums of those rows, each sum in
/// the order of its entries.
template <Sums sums, std::size_t width, RealScalar R>
[[gnu::noinline]] void add_magnitudes(const R* const (&x)[width], Int count, R (&column_sums)[width], R* row_sums) {
  constexpr bool to_columns = sums != Sums::of_rows, to_rows = sums != Sums::of_columns;
  R sum[width];
  for (std::size_t k = 0; k < width; ++k) sum[k] = column_sums[k];
#pragma GCC ivdep
  for (std::ptrdiff_t i = 0; i < count; ++i) {
    R row = to_rows ? row_sums[i] : R(0);
#pragma GCC unroll 8
    for (std::size_t k = 0; k < width; ++k) {
      const R a = std::abs(x[k][i]);
      if (to_columns) sum[k] += a;
      if (to_rows) row += a;
    }
    if (to_rows) row_sums[i] = row;
  }
  for (std::size_t k = 0; k < width; ++k) column_sums[k] = sum[k];
}

template <Sums sums, std::size_t width, RealScalar R>
void add_magnitudes(const std::complex<R>* const (&x)[width], Int count, R (&column_sums)[width], R* row_sums) {
  R buffer[width][chunk];
  const R* columns[width];
  for (std::size_t k = 0; k < width; ++k) columns[k] = buffer[k];
  for (std::ptrdiff_t i = 0; i < count; i += chunk) {
    const auto size = static_cast<int>(std::min<std::ptrdiff_t>(chunk, count - i));
    for (std::size_t k = 0; k < width; ++k) magnitudes(x[k] + i, size, buffer[k]);
    add_magnitudes<sums>(columns, size, column_sums, sums == Sums::of_columns ? row_sums : row_sums + i);
  }
}

/// The same for rows from ... to of one column.
template <Sums sums, Scalar T>
void add_rows(const Run<T>& run, Int from, Int to, Real<T>& column_sum, Real<T>* work) {
  if (from > to) return;
  const T* const x[] = {run.entries + (from - run.first)};
  Real<T> sum[] = {column_sum};
  add_magnitudes<sums>(x, to - from + 1, sum, sums == Sums::of_columns ? work : work + (from - 1));
  column_sum = sum[0];
}

}  // namespace detail

/// Adds up the magnitudes of columns 1 ... n.
///
/// columns     column number -> Run
/// work        sums of the rows; not looked at for sums of columns alone
/// begin(j)    what the sum of column j starts from; asked when all columns before j have added to row j
/// end(j, sum) takes the sum of column j, before a later column adds to row j
///
/// Both promises hold for triangles. Several columns go side by side through the rows that all of them have, so that
/// their sums do not wait for one another; within a column and within a row the order is that of the entries.
template <Sums sums, Scalar T, class Columns, class Begin, class End>
void sweep(Int n, const Columns& columns, Real<T>* work, Begin begin, End end) {
  constexpr int width = sums == Sums::of_both ? 4 : 8;
  for (Int done = 0; done < n;) {
    const Int j = done + 1, left = n - done;
    const int group = std::min(width, left);
    Run<T> run[width];
    Int from = 1, to = std::numeric_limits<Int>::max();
    for (int k = 0; k < group; ++k) {
      run[k] = columns(j + k);
      from = std::max(from, run[k].first);
      to = std::min(to, run[k].last());
    }
    if (group == width && from <= to) {
      const T* common[width];
      Real<T> sum[width];
      for (int k = 0; k < width; ++k) {
        sum[k] = begin(j + k);
        detail::add_rows<sums>(run[k], run[k].first, from - 1, sum[k], work);
        common[k] = run[k].entries + (from - run[k].first);
      }
      detail::add_magnitudes<sums>(common, to - from + 1, sum, sums == Sums::of_columns ? work : work + (from - 1));
      for (int k = 0; k < width; ++k) {
        detail::add_rows<sums>(run[k], to + 1, run[k].last(), sum[k], work);
        end(j + k, sum[k]);
      }
    } else {
      for (int k = 0; k < group; ++k) {
        Real<T> sum = begin(j + k);
        detail::add_rows<sums>(run[k], run[k].first, run[k].last(), sum, work);
        end(j + k, sum);
      }
    }
    done += group;
  }
}

/// Norm of an m by n matrix, each of whose entries stands in one run. With `unit_diagonal` the runs leave the diagonal
/// out and it counts as ones. work is of length m, for the infinity-norm alone.
template <Scalar T, class Columns>
Real<T> norm_by_columns(Norm norm, Int m, Int n, const Columns& columns, bool unit_diagonal, Real<T>* work) {
  using R = Real<T>;
  const R start = unit_diagonal ? 1 : 0;
  const Int diagonal = std::min(m, n);
  R value = start;
  switch (norm) {
    case Norm::largest:
      for (Int j = 1; j <= n; ++j) {
        const Run<T> run = columns(j);
        value = larger(largest_magnitude(run.entries, run.count), value);
      }
      return value;
    case Norm::one:
      sweep<Sums::of_columns, T>(
          n, columns, work, [&](Int j) { return j <= diagonal ? start : R(0); },
          [&](Int, R sum) { value = larger(sum, value); });
      return value;
    case Norm::infinity:
      for (Int i = 0; i < m; ++i) work[i] = i < diagonal ? start : R(0);
      sweep<Sums::of_rows, T>(
          n, columns, work, [](Int) { return R(0); }, [](Int, R) {});
      return larger(largest_magnitude(work, m), value);
    case Norm::frobenius: {
      SquareSum<R> squares;
      if (unit_diagonal) squares = {.scale = 1, .sumsq = R(diagonal)};
      for (Int j = 1; j <= n; ++j) squares.add(columns(j).count, columns(j).entries);
      return squares.root();
    }
    case Norm::none:
      break;
  }
  return 0;
}

}  // namespace nuv
