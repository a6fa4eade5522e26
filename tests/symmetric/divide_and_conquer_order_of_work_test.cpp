// The order of work in divide and conquer, seen by the calls that reach the thread layer.

#include <algorithm>
#include <limits>
#include <memory>
#include <set>
#include <sstream>

#include "layer.hpp"
#include "solvers/recording_layer.hpp"
#include "support/real_precisions.hpp"
#include "support/reported_errors.hpp"
#include "symmetric/halves.hpp"

namespace nuv::test {
namespace {

using Calls = std::vector<std::string>;

std::string call(const std::string& routine, std::initializer_list<Int> sizes) {
  std::string text = routine;
  for (const Int size : sizes) text += ' ' + std::to_string(size);
  return text;
}

/// The recorded calls of one routine.
Calls take_calls_of(const std::string& routine) {
  Calls calls = take_recorded_calls();
  std::erase_if(calls, [&](const std::string& text) { return !text.starts_with(routine + ' '); });
  return calls;
}

template <class T>
class DivideAndConquerOrder : public ReportingTest {
 protected:
  using R = Real<T>;

  /// A matrix that falls apart at every cut down to the smallest leaves. In larger ones the rotations of the iteration
  /// go to all rows of the leaf nevertheless.
  static Tridiagonal<R> cut_everywhere(Int n) {
    Tridiagonal<R> matrix = random_tridiagonal<R>(n);
    cut(matrix, 0, n);
    return matrix;
  }

  /// The orders of the leaves in a tree, by the rows to which the iteration brings its rotations.
  static std::set<Int> leaves(Int icompq, Int n) {
    const Tridiagonal<R> matrix = cut_everywhere(n);
    GuardedVector<R> d = guarded(matrix.d), e = guarded(matrix.e);
    constexpr Int levels = 13;
    const bool has_q = ComplexScalar<T> || icompq != 0;
    GuardedVector<R> work(1 + 4 * n + 2 * n * levels + n * n + (has_q ? n * n : n));
    GuardedVector<Int> iwork(6 + 6 * n + 5 * n * levels);
    std::vector<T> q(has_q ? std::size_t(n) * std::size_t(n) : 1), store(q.size());
    for (Int i = 0; i < n && has_q; ++i) q[std::size_t(i) * std::size_t(n + 1)] = 1;
    Int info = 99;
    take_recorded_calls();
    if constexpr (RealScalar<T>) {
      layer::laed0(icompq, n, n, d.data(), e.data(), {q.data(), n}, store.data(), n, work.data(), iwork.data(), info);
    } else {
      layer::laed0(n, n, d.data(), e.data(), {q.data(), n}, store.data(), n, work.data(), iwork.data(), info);
    }
    EXPECT_EQ(info, 0);
    std::set<Int> orders;
    for (const std::string& text : take_calls_of("lasr3")) {
      std::istringstream words(text);
      std::string routine, options;
      Int rows = 0;
      words >> routine >> options >> rows;
      orders.insert(rows);
    }
    return orders;
  }

 private:
  static void cut(Tridiagonal<R>& matrix, Int first, Int size) {
    if (size <= 25) return;
    const Int half = size / 2;
    matrix.e[std::size_t(first + half - 1)] = 0;
    cut(matrix, first, half);
    cut(matrix, first + half, size - half);
  }
};
TYPED_TEST_SUITE(DivideAndConquerOrder, Precisions, PrecisionLetter);

struct LeavesOfOrder {
  Int n;
  std::set<Int> orders;
};

TYPED_TEST(DivideAndConquerOrder, HasLeavesByTheOrder) {
  using T = TypeParam;
  if constexpr (ComplexScalar<T>) {
    const LeavesOfOrder expected[] = {{50, {50}},        {51, {25, 26}},  {199, {49, 50}},  {200, {100}},
                                      {400, {100}},      {401, {50, 51}}, {699, {87, 88}},  {700, {175}},
                                      {799, {199, 200}}, {800, {100}},    {801, {100, 101}}};
    for (const auto& [n, orders] : expected) {
      if (std::same_as<Real<T>, float> || n < 500) {
        EXPECT_EQ(this->leaves(1, n), orders) << n;
      }
    }
  } else {
    const LeavesOfOrder expected[] = {{25, {25}},      {26, {13}},  {50, {25}},      {51, {25, 26}},  {100, {50}},
                                      {399, {49, 50}}, {400, {25}}, {401, {25, 26}}, {500, {31, 32}}, {501, {62, 63}}};
    for (const auto& [n, orders] : expected) EXPECT_EQ(this->leaves(0, n), orders) << n;
    EXPECT_EQ(this->leaves(1, 400), std::set<Int>({25}));
    EXPECT_EQ(this->leaves(1, 100), std::set<Int>({50}));
    // Where the eigenvectors are at hand, all leaves are small.
    for (const auto& [n, orders] :
         {LeavesOfOrder{25, {25}}, {50, {25}}, {100, {25}}, {399, {24, 25}}, {400, {25}}, {401, {12, 13}}}) {
      EXPECT_EQ(this->leaves(2, n), orders) << n;
    }
  }
}

/// The order of the first leaf, which is one of the smallest: where its first number is none, info tells its rows, and
/// the rest of the workspace is never touched. The iteration gives up sooner on three rows than on all.
template <Scalar T>
Int first_leaf(Int icompq, Int n) {
  using R = Real<T>;
  constexpr std::size_t levels = 13;
  const auto order = std::size_t(n);
  std::vector<R> d(order, R(1)), e(order, R(0));
  e[0] = e[1] = 1;
  d[0] = std::numeric_limits<R>::quiet_NaN();
  const auto work = std::make_unique_for_overwrite<R[]>(order * (order + 2 * levels + 4));
  std::vector<Int> iwork(order * (5 * levels + 6) + 6);
  T none = guard<T>();
  Int info = 99;
  if constexpr (RealScalar<T>) {
    layer::laed0(icompq, n, n, d.data(), e.data(), {&none, n}, &none, n, work.get(), iwork.data(), info);
  } else {
    layer::laed0(n, n, d.data(), e.data(), {&none, n}, &none, n, work.get(), iwork.data(), info);
  }
  EXPECT_TRUE(same_bits(none, guard<T>()));
  return info - (n + 1);
}

TYPED_TEST(DivideAndConquerOrder, HasLeavesByTheOrderUpToTheLargest) {
  using T = TypeParam;
  const auto expected = [] {
    if constexpr (ComplexScalar<T>) {
      // The last two tell 200 and 250 apart.
      return std::vector<std::pair<Int, Int>>{{50, 50},   {51, 25},   {199, 49},   {200, 100},  {399, 99},
                                              {400, 100}, {401, 50},  {699, 87},   {700, 175},  {799, 199},
                                              {800, 100}, {801, 100}, {1600, 200}, {6999, 109}, {7000, 218}};
    } else {
      // Leaves of 100 up to 2400, of 150 from 3201 on; for the orders between both give the same tree.
      return std::vector<std::pair<Int, Int>>{{25, 25},  {26, 13},   {50, 25},    {51, 25},    {399, 49},
                                              {400, 25}, {401, 25},  {500, 31},   {501, 62},   {800, 100},
                                              {801, 50}, {2400, 75}, {3201, 100}, {4800, 150}, {4801, 75}};
    }
  }();
  for (const auto& [n, order] : expected) {
    for (const Int icompq : {0, 1}) EXPECT_EQ(first_leaf<T>(icompq, n), order) << n;
  }
}

/// Parts of more than 25 rows go to the tree, which the layer may take over; those below don't.
TYPED_TEST(DivideAndConquerOrder, HandsLargePartsToTheLayer) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = 30 + 1 + 26 + 25;
  for (const char compz : {'I', 'V'}) {
    Tridiagonal<R> matrix = random_tridiagonal<R>(n);
    for (const std::size_t end : {30, 31, 57}) matrix.e[end - 1] = 0;
    GuardedVector<R> d = guarded(matrix.d), e = guarded(matrix.e), rwork(4 * n * n + 20 * n);
    GuardedVector<T> work(4 * n * n + 20 * n);
    GuardedVector<Int> iwork(50 * n);
    GuardedMatrix<T> Z = identity<T>(n, n);
    Int info = 99;
    take_recorded_calls();
    if constexpr (ComplexScalar<T>) {
      routine_call::stedc(compz, n, d.data(), e.data(), Z, work.data(), work.size(), rwork.data(), rwork.size(),
                          iwork.data(), iwork.size(), info);
    } else {
      routine_call::stedc(compz, n, d.data(), e.data(), Z, work.data(), work.size(), iwork.data(), iwork.size(), info);
    }
    EXPECT_EQ(info, 0);
    const bool by_mode = RealScalar<T> || compz == 'I';
    const Int icompq = compz == 'I' ? 2 : 1;
    const Calls expected = by_mode ? Calls{call("laed0", {icompq, n, 30}), call("laed0", {icompq, n, 26})}
                                   : Calls{call("laed0", {n, 30}), call("laed0", {n, 26})};
    EXPECT_EQ(take_calls_of("laed0"), expected) << compz;
  }
}

/// The eigenvectors of a merge are two products, each with the rows of one half and the columns that have elements
/// there: no zero is multiplied.
TYPED_TEST(DivideAndConquerOrder, MultipliesNoHalfOfZeros) {
  using R = TypeParam;
  if constexpr (RealScalar<R>) {
    for (const Int n : {13, 40, 61}) {
      for (const auto& [name, matrix] : matrices_to_merge<R>(n)) {
        SCOPED_TRACE(name + (" of order " + std::to_string(n)));
        const Int n1 = n / 2;
        GuardedVector<Int> coltyp(n), indices(3 * n), iwork(4 * n);
        GuardedVector<R> vectors(2 * n), q2(n * n), work(4 * n + n * n);
        Halves<R> deflated(matrix), merged(matrix);
        std::vector<R> z = deflated.joining_vector();
        R rho = deflated.rho;
        Int k = 99, info = 99;
        routine_call::laed2(k, n, n1, deflated.d.data(), deflated.Q, deflated.indxq.data(), rho, z.data(),
                            vectors.data(), vectors.data() + n, q2.data(), indices.data(), indices.data() + n,
                            indices.data() + 2 * n, coltyp.data(), info);
        Calls expected;
        if (k > 0) {
          const Int upper = coltyp(1) + coltyp(2), lower = coltyp(2) + coltyp(3);
          if (lower > 0) expected.push_back(call("gemm NN", {n - n1, k, lower}));
          if (upper > 0) expected.push_back(call("gemm NN", {n1, k, upper}));
        }
        take_recorded_calls();
        routine_call::laed1(n, merged.d.data(), merged.Q, merged.indxq.data(), merged.rho, n1, work.data(),
                            iwork.data(), info);
        EXPECT_EQ(take_calls_of("gemm"), expected);
      }
    }
  }
}

}  // namespace
}  // namespace nuv::test
