// The steps of the iteration with many shifts: which windows it looks at, when sweeps follow and with which shifts, and
// how long it goes on. What it calls answers as it is told, and notes what it was asked.

#include <gtest/gtest.h>

#include <algorithm>
#include <complex>
#include <limits>
#include <string>
#include <vector>

#include "environment/matrix_utilities.hpp"
#include "environment/tuning.hpp"
#include "nonsymmetric/double_shift_qr.hpp"
#include "nonsymmetric/early_deflation.hpp"
#include "nonsymmetric/eigenvalue_array.hpp"
#include "nonsymmetric/small_bulge_sweep.hpp"

namespace nuv {
namespace test {
namespace {

using Complex = std::complex<double>;
using Shifts = std::vector<Complex>;

/// What a search for deflations finds. Without shifts of their own eigenvalues are the numbers of their places.
struct Deflation {
  Int ns, nd;
  Shifts shifts = {};
};

struct Window {
  Int n, ktop, kbot, nw, nh, nv;
  std::ptrdiff_t v, t, wv;  ///< from the first element of H on
  bool is_recursive = true;
};

struct Sweep {
  Int kacc22, ktop, kbot, nh, nv;
  std::ptrdiff_t u, wh, wv;
  Shifts shifts = {};
  std::size_t windows = 0;  ///< before it
};

/// What to answer, and what was asked.
struct Script {
  Int window = 6, shifts = 4, smallest = 11, nibble = 14, kacc22 = 2;  ///< of the tuning tables
  std::vector<Deflation> deflations{};  ///< one search after another; later ones split off the whole active block
  bool endless = false;                 ///< later ones find nothing
  Int failed = 0;                       ///< rows for which lahqr finds no eigenvalues

  std::vector<Window> windows{};
  std::vector<Sweep> sweeps{};
  std::vector<Int> blocks{};  ///< orders of what lahqr was called with
  std::vector<std::string> questions{};
};

Script script;

template <Scalar T>
void set_value(const EigenvalueArray<T>& w, Int i, Complex value) {
  if constexpr (RealScalar<T>) {
    w.real[i - 1] = T(value.real());
    w.imaginary[i - 1] = T(value.imag());
  } else {
    w.values[i - 1] = T(value);
  }
}

template <Scalar T>
Complex value_of(const EigenvalueArray<T>& w, Int i) {
  if constexpr (RealScalar<T>) {
    return {w.real[i - 1], w.imaginary[i - 1]};
  } else {
    return Complex(w.values[i - 1]);
  }
}

template <Scalar T>
void look_at(const Window& window, const EigenvalueArray<T>& w, Int& ns, Int& nd, T* work, Int lwork) {
  work[0] = T(7);
  if (lwork == -1) return;
  const std::size_t count = script.windows.size();
  const Int active = window.kbot - window.ktop + 1;
  Deflation found = script.endless ? Deflation{std::min(window.nw, active), 0} : Deflation{0, active};
  if (count < script.deflations.size()) found = script.deflations[count];
  script.windows.push_back(window);
  ns = found.ns;
  nd = found.nd;
  for (Int i = 0; i < ns; ++i) {
    const Int place = window.kbot - nd - ns + 1 + i;
    set_value<T>(w, place, found.shifts.empty() ? Complex(place) : found.shifts[std::size_t(i)]);
  }
}

template <Scalar T>
void note_sweep(Sweep sweep, Int count, const EigenvalueArray<T>& w) {
  for (Int i = 1; i <= count; ++i) sweep.shifts.push_back(value_of<T>(w, i));
  sweep.windows = script.windows.size();
  script.sweeps.push_back(sweep);
}

/// Eigenvalues 101, 102 ...
template <Scalar T>
Int find_block(Logical wantt, Logical wantz, Int n, const T* h, const EigenvalueArray<T>& w, Int iloz, Int ihiz) {
  EXPECT_FALSE(is_true(wantt) || is_true(wantz));
  EXPECT_TRUE(iloz == 1 && ihiz == 1);
  script.blocks.push_back(Int(std::real(h[0])));
  script.blocks.push_back(n);
  for (Int i = script.failed + 1; i <= n; ++i) set_value<T>(w, i, Complex(100 + i));
  return script.failed;
}

}  // namespace
}  // namespace test

Int ilaenv(Int ispec, Text name, Text opts, Int, Int, Int, Int) {
  test::Script& s = test::script;
  s.questions.push_back(std::string(name.data, 6) + ' ' + std::string(opts.data, 2));
  const Int answers[] = {s.smallest, s.window, s.nibble, s.shifts, s.kacc22};
  return answers[ispec - 12];
}

template <Scalar T>
void lacpy(char, Int m, Int n, const T* a, Int lda, T* b, Int ldb) {
  for (std::ptrdiff_t j = 0; j < n; ++j) std::copy_n(a + j * lda, m, b + j * ldb);
}

template <RealScalar T>
void laqr3(Logical, Logical, Int n, Int ktop, Int kbot, Int nw, T* h, Int, Int, Int, T*, Int, Int& ns, Int& nd, T* sr,
           T* si, T* v, Int, Int nh, T* t, Int, Int nv, T* wv, Int, T* work, Int lwork) {
  test::look_at<T>({n, ktop, kbot, nw, nh, nv, v - h, t - h, wv - h}, {sr, si}, ns, nd, work, lwork);
}
template <ComplexScalar T>
void laqr3(Logical, Logical, Int n, Int ktop, Int kbot, Int nw, T* h, Int, Int, Int, T*, Int, Int& ns, Int& nd, T* sh,
           T* v, Int, Int nh, T* t, Int, Int nv, T* wv, Int, T* work, Int lwork) {
  test::look_at<T>({n, ktop, kbot, nw, nh, nv, v - h, t - h, wv - h}, {sh}, ns, nd, work, lwork);
}
template <RealScalar T>
void laqr2(Logical, Logical, Int n, Int ktop, Int kbot, Int nw, T* h, Int, Int, Int, T*, Int, Int& ns, Int& nd, T* sr,
           T* si, T* v, Int, Int nh, T* t, Int, Int nv, T* wv, Int, T* work, Int lwork) {
  test::look_at<T>({n, ktop, kbot, nw, nh, nv, v - h, t - h, wv - h, false}, {sr, si}, ns, nd, work, lwork);
}
template <ComplexScalar T>
void laqr2(Logical, Logical, Int n, Int ktop, Int kbot, Int nw, T* h, Int, Int, Int, T*, Int, Int& ns, Int& nd, T* sh,
           T* v, Int, Int nh, T* t, Int, Int nv, T* wv, Int, T* work, Int lwork) {
  test::look_at<T>({n, ktop, kbot, nw, nh, nv, v - h, t - h, wv - h, false}, {sh}, ns, nd, work, lwork);
}

template <RealScalar T>
void laqr5(Logical, Logical, Int kacc22, Int, Int ktop, Int kbot, Int nshfts, T* sr, T* si, T* h, Int, Int, Int, T*,
           Int, T*, Int, T* u, Int, Int nv, T* wv, Int, Int nh, T* wh, Int) {
  test::note_sweep<T>({kacc22, ktop, kbot, nh, nv, u - h, wh - h, wv - h}, nshfts, {sr, si});
}
template <ComplexScalar T>
void laqr5(Logical, Logical, Int kacc22, Int, Int ktop, Int kbot, Int nshfts, T* s, T* h, Int, Int, Int, T*, Int, T*,
           Int, T* u, Int, Int nv, T* wv, Int, Int nh, T* wh, Int) {
  test::note_sweep<T>({kacc22, ktop, kbot, nh, nv, u - h, wh - h, wv - h}, nshfts, {s});
}

template <RealScalar T>
void lahqr(Logical wantt, Logical wantz, Int n, Int, Int, T* h, Int, T* wr, T* wi, Int iloz, Int ihiz, T*, Int,
           Int& info) {
  info = test::find_block<T>(wantt, wantz, n, h, {wr, wi}, iloz, ihiz);
}
template <ComplexScalar T>
void lahqr(Logical wantt, Logical wantz, Int n, Int, Int, T* h, Int, T* w, Int iloz, Int ihiz, T*, Int, Int& info) {
  info = test::find_block<T>(wantt, wantz, n, h, {w}, iloz, ihiz);
}

}  // namespace nuv

#include "nonsymmetric/multishift_qr.cpp"  // on the routines above

namespace nuv::test {
namespace {

/// A call for a matrix with 1, 2 ... on the diagonal and ones below it. What stands in front of it is large.
template <Scalar T>
struct Iteration {
  Int n, ilo = 1, ihi, lwork, info = 99;
  bool wantt = true, wantz = true;
  std::vector<T> store;
  T answer{};

  explicit Iteration(Int order)
      : n(order), ihi(order), lwork(40 * order), store(std::size_t(order) * std::size_t(order + 1), T(0)) {
    std::fill_n(store.begin(), n, T(1e300));
    for (Int j = 1; j <= n; ++j) {
      H(j, j) = T(Real<T>(j));
      if (j < n) H(j + 1, j) = T(1);
    }
  }

  T& H(Int i, Int j) { return store[std::size_t(i - 1) + std::size_t(j) * std::size_t(n)]; }

  /// With the last so many rows as the active block.
  Iteration& active(Int rows) {
    if (rows < n) H(n - rows + 1, n - rows) = T(0);
    return *this;
  }

  /// By laqr0, or else by laqr4.
  Iteration& run(const Script& what, bool recursive = true) {
    script = what;
    std::vector<T> work(std::size_t(std::max(1, lwork))), z(1), w(store.size()), imaginary(store.size());
    const EigenvalueArray<T> values = [&]() -> EigenvalueArray<T> {
      if constexpr (RealScalar<T>) {
        return {w.data(), imaginary.data()};
      } else {
        return {w.data()};
      }
    }();
    values.give_to([&](auto*... parts) {
      const Logical t = to_logical(wantt), with_z = to_logical(wantz);
      if (recursive) {
        laqr0(t, with_z, n, ilo, ihi, &H(1, 1), n, parts..., ilo, ihi, z.data(), 1, work.data(), lwork, info);
      } else {
        laqr4(t, with_z, n, ilo, ihi, &H(1, 1), n, parts..., ilo, ihi, z.data(), 1, work.data(), lwork, info);
      }
    });
    answer = work[0];
    return *this;
  }
};

/// Orders of the windows that were looked at.
std::vector<Int> orders_of_windows() {
  std::vector<Int> orders;
  for (const Window& window : script.windows) orders.push_back(window.nw);
  return orders;
}

/// How many sweeps followed the k-th window.
Int sweeps_after(std::size_t k) {
  return Int(std::ranges::count(script.sweeps, k, &Sweep::windows));
}

Script settings() {
  return {};
}

Script with(std::vector<Deflation> deflations) {
  Script s;
  s.deflations = std::move(deflations);
  return s;
}

template <class T>
class MultishiftSteps : public testing::Test {};
using Fields = testing::Types<double, Complex>;
TYPED_TEST_SUITE(MultishiftSteps, Fields);

// ------------------------------------------------------------------------------------------------------------- limits

/// 30 for each row, 300 at least.
TYPED_TEST(MultishiftSteps, EndAfterThirtyIterationsForEachRow) {
  using T = TypeParam;
  Script endless;
  endless.endless = true;
  struct Rows {
    Int n, ilo, ihi;
  };
  for (const auto& [n, ilo, ihi] : {Rows{20, 1, 20}, {20, 8, 13}, {20, 3, 12}, {20, 3, 13}, {12, 1, 12}}) {
    SCOPED_TRACE(testing::Message() << ilo << " to " << ihi);
    const Int limit = 30 * std::max(10, ihi - ilo + 1);
    Iteration<T> call(n);
    call.ilo = ilo;
    call.ihi = ihi;
    EXPECT_EQ(call.run(endless).info, ihi);
    EXPECT_EQ(Int(script.windows.size()), limit);
    // In the last one all may still deflate, or some.
    EXPECT_EQ(call.run(with(std::vector<Deflation>(std::size_t(limit - 1), {2, 0}))).info, 0);
    EXPECT_EQ(Int(script.windows.size()), limit);
    Script late = with(std::vector<Deflation>(std::size_t(limit - 1), {2, 0}));
    late.deflations.push_back({2, 3});
    EXPECT_EQ(call.run(late).info, ihi - 3);
    EXPECT_EQ(Int(script.windows.size()), limit);
  }
}

TYPED_TEST(MultishiftSteps, EndWhereNothingIsANumber) {
  using T = TypeParam;
  Iteration<T> call(20);
  for (Int j = 12; j < 20; ++j) call.H(j + 1, j) = T(std::numeric_limits<double>::quiet_NaN());
  call.active(9);
  EXPECT_EQ(call.run(settings()).info, 20);
  EXPECT_TRUE(script.windows.empty());
}

/// Small ones are for lahqr.
TYPED_TEST(MultishiftSteps, GoOnBlockByBlock) {
  using T = TypeParam;
  Iteration<T> call(30);
  call.H(20, 19) = call.H(8, 7) = T(0);
  call.run(with({{2, 4}}));
  EXPECT_EQ(call.info, 0);
  ASSERT_EQ(script.windows.size(), 4u);
  const Int tops[] = {20, 20, 8, 1}, bottoms[] = {30, 26, 19, 7};
  for (std::size_t k = 0; k < 4; ++k) {
    EXPECT_EQ(script.windows[k].ktop, tops[k]);
    EXPECT_EQ(script.windows[k].kbot, bottoms[k]);
    EXPECT_TRUE(script.windows[k].is_recursive);
  }
  call.run(settings(), false);
  EXPECT_FALSE(script.windows.front().is_recursive);
}

TYPED_TEST(MultishiftSteps, AskByTheirNames) {
  using T = TypeParam;
  const std::string letter(1, precision_letter<T>);
  for (const bool recursive : {true, false}) {
    for (const bool wantt : {true, false}) {
      for (const bool wantz : {true, false}) {
        Iteration<T> call(20);
        call.wantt = wantt;
        call.wantz = wantz;
        call.run(settings(), recursive);
        EXPECT_EQ(script.questions.size(), 5u);
        for (const std::string& question : script.questions) {
          EXPECT_EQ(question, letter + (recursive ? "LAQR0 " : "LAQR4 ") + (wantt ? 'S' : 'E') + (wantz ? 'V' : 'N'));
        }
      }
    }
  }
}

/// Room for a sweep, or for a window.
TYPED_TEST(MultishiftSteps, TellTheBestWorkspace) {
  using T = TypeParam;
  for (const auto& [shifts, best] : {std::pair{4, 7}, {8, 12}}) {
    Script s;
    s.shifts = shifts;
    Iteration<T> call(80);
    EXPECT_EQ(call.run(s).answer, T(best));
    call.lwork = -1;
    EXPECT_EQ(call.run(s).answer, T(best));
    EXPECT_TRUE(script.windows.empty());
  }
}

// ------------------------------------------------------------------------------------------------------------ windows

TYPED_TEST(MultishiftSteps, TakeWindowsOfTheOrderThatTheTablesSay) {
  using T = TypeParam;
  const auto first_order = [](Iteration<T> call, Int window) {
    Script s;
    s.window = window;
    call.run(s);
    return script.windows.at(0).nw;
  };
  // Of 60 rows, a third is the most.
  EXPECT_EQ(first_order(Iteration<T>(60), 6), 6);
  EXPECT_EQ(first_order(Iteration<T>(60), 1), 2);
  EXPECT_EQ(first_order(Iteration<T>(60), 30), 19);
  Iteration<T> narrow(60);
  narrow.lwork = 11;
  EXPECT_EQ(first_order(narrow, 6), 5);
  // One more row where the element beside the window is larger than the one above.
  Iteration<T> larger(60), smaller(60), above(60), at_most(60);
  larger.H(55, 54) = at_most.H(42, 41) = T(1.5);
  smaller.H(55, 54) = T(0.5);
  above.H(54, 53) = T(0.5);
  EXPECT_EQ(first_order(larger, 6), 7);
  EXPECT_EQ(first_order(smaller, 6), 6);
  EXPECT_EQ(first_order(above, 6), 7);
  EXPECT_EQ(first_order(at_most, 19), 19);
  // Small blocks as a whole, and those of which but one row would be left.
  EXPECT_EQ(first_order(Iteration<T>(60).active(11), 6), 11);
  EXPECT_EQ(first_order(Iteration<T>(60).active(12), 6), 6);
  EXPECT_EQ(first_order(Iteration<T>(60).active(12), 11), 12);
  EXPECT_EQ(first_order(Iteration<T>(60).active(13), 11), 11);
  EXPECT_EQ(first_order(Iteration<T>(60).active(12), 19), 12);
  EXPECT_EQ(first_order(Iteration<T>(24).active(7), 2), 7);
  EXPECT_EQ(first_order(Iteration<T>(24).active(8), 2), 2);
}

/// Above a block in the first rows there is nothing to compare an element with.
TYPED_TEST(MultishiftSteps, TakeAllOfABlockInTheFirstRows) {
  using T = TypeParam;
  Iteration<T> call(60);
  call.H(13, 12) = T(0);
  Script s = with({{0, 48}});
  s.window = 11;
  call.run(s);
  EXPECT_EQ(orders_of_windows(), (std::vector<Int>{11, 12}));
}

/// From the fifth search without success on they grow, and end one row below the block.
TYPED_TEST(MultishiftSteps, TryOtherWindowsWhereNothingDeflates) {
  using T = TypeParam;
  const auto orders = [](Iteration<T> call, std::vector<Deflation> deflations) {
    call.run(with(std::move(deflations)));
    std::vector<Int> all = orders_of_windows();
    all.resize(9);
    return all;
  };
  const std::vector<Deflation> fruitless(8, {6, 0});
  EXPECT_EQ(orders(Iteration<T>(60), fruitless), (std::vector<Int>{6, 6, 6, 6, 12, 19, 19, 19, 19}));
  EXPECT_EQ(orders(Iteration<T>(60).active(15), fruitless), (std::vector<Int>{6, 6, 6, 6, 12, 15, 14, 14, 14}));
  EXPECT_EQ(orders(Iteration<T>(60).active(11), fruitless), (std::vector<Int>{11, 11, 11, 11, 10, 10, 10, 10, 10}));
  EXPECT_EQ(orders(Iteration<T>(60).active(2), fruitless), (std::vector<Int>{2, 2, 2, 2, 2, 2, 2, 2, 2}));
  // Success brings the first ones back, and so does a block that is smaller than the window.
  std::vector<Deflation> some = fruitless;
  some[5] = {6, 1};
  EXPECT_EQ(orders(Iteration<T>(60), some), (std::vector<Int>{6, 6, 6, 6, 12, 19, 6, 6, 6}));
}

/// V, T and WV are in the lower left corner of H.
TYPED_TEST(MultishiftSteps, PutWindowsWhereHIsNotUsed) {
  using T = TypeParam;
  const Int n = 60, nw = 6, ns = 4, kdu = 3 * ns - 3;
  Script s = with({{4, 0}});
  s.kacc22 = 1;
  Iteration<T>(n).run(s);
  const auto at = [&](Int i, Int j) { return std::ptrdiff_t(i - 1) + std::ptrdiff_t(j - 1) * n; };
  const Window& window = script.windows.at(0);
  EXPECT_EQ(window.v, at(n - nw + 1, 1));
  EXPECT_EQ(window.t, at(n - nw + 1, nw + 1));
  EXPECT_EQ(window.wv, at(nw + 2, 1));
  EXPECT_EQ(window.nh, n - 2 * nw - 1);
  EXPECT_EQ(window.nv, n - 2 * nw - 1);
  const Sweep& sweep = script.sweeps.at(0);
  EXPECT_EQ(sweep.kacc22, 1);
  EXPECT_EQ(sweep.u, at(n - kdu + 1, 1));
  EXPECT_EQ(sweep.wh, at(n - kdu + 1, kdu + 1));
  EXPECT_EQ(sweep.wv, at(kdu + 4, 1));
  EXPECT_EQ(sweep.nh, n - 2 * kdu - 3);
  EXPECT_EQ(sweep.nv, n - 2 * kdu - 3);
}

// ------------------------------------------------------------------------------------------------------------- sweeps

/// After success only where no more than so many per cent of the window deflated, and enough is left for sweeps.
TYPED_TEST(MultishiftSteps, SweepWhereLittleDeflates) {
  using T = TypeParam;
  const auto sweeps = [](Iteration<T> call, Int nibble, Deflation found) {
    Script s = with({found});
    s.window = 10;
    s.nibble = nibble;
    call.run(s);
    EXPECT_EQ(call.info, 0);
    return sweeps_after(1);
  };
  EXPECT_EQ(sweeps(Iteration<T>(60), 20, {10, 0}), 1);
  EXPECT_EQ(sweeps(Iteration<T>(60), 20, {8, 2}), 1);
  EXPECT_EQ(sweeps(Iteration<T>(60), 20, {7, 3}), 0);
  EXPECT_EQ(sweeps(Iteration<T>(60), 0, {10, 0}), 1);
  EXPECT_EQ(sweeps(Iteration<T>(60), 0, {9, 1}), 0);
  EXPECT_EQ(sweeps(Iteration<T>(60).active(14), 50, {8, 2}), 1);
  EXPECT_EQ(sweeps(Iteration<T>(60).active(14), 50, {7, 3}), 0);
  EXPECT_EQ(sweeps(Iteration<T>(60).active(11), 50, {11, 0}), 1);
  // Where windows have seven rows at most, that many.
  EXPECT_EQ(sweeps(Iteration<T>(24).active(9), 50, {6, 1}), 1);
  EXPECT_EQ(sweeps(Iteration<T>(24).active(9), 50, {5, 2}), 0);
}

TYPED_TEST(MultishiftSteps, TakeShiftsOfTheWindow) {
  using T = TypeParam;
  const auto shifts = [](Iteration<T> call, Int most, Deflation found) {
    Script s = with({std::move(found)});
    s.shifts = most;
    s.nibble = 100;
    call.run(s);
    EXPECT_TRUE(script.blocks.empty());
    return script.sweeps.at(0).shifts;
  };
  // An even number of the last ones.
  EXPECT_EQ(shifts(Iteration<T>(80), 8, {5, 0}), Shifts({77, 78, 79, 80}));
  EXPECT_EQ(shifts(Iteration<T>(80), 9, {5, 0}), Shifts({77, 78, 79, 80}));
  EXPECT_EQ(shifts(Iteration<T>(80), 8, {5, 1}), Shifts({76, 77, 78, 79}));
  // If there are more, the smallest: of so many as the tables say, as there is room for, as the block has rows but one.
  EXPECT_EQ(shifts(Iteration<T>(80), 4, {5, 0, {1, 9, -3, 5, 4}}), Shifts({5, 4, -3, 1}));
  EXPECT_EQ(shifts(Iteration<T>(80), 5, {5, 0, {1, 9, -3, 5, 4}}), Shifts({5, 4, -3, 1}));
  EXPECT_EQ(shifts(Iteration<T>(35), 8, {5, 0, {1, 9, -3, 5, 4}}), Shifts({5, 4, -3, 1}));
  EXPECT_EQ(shifts(Iteration<T>(80).active(5), 8, {5, 0, {1, 9, -3, 5, 4}}), Shifts({5, 4, -3, 1}));
  EXPECT_EQ(shifts(Iteration<T>(80).active(4), 8, {4, 0, {1, 9, -3, 5}}), Shifts({-3, 1}));
  EXPECT_EQ(shifts(Iteration<T>(80), 1, {4, 0, {1, 9, -3, 5}}), Shifts({-3, 1}));
  // Of two that are real the nearer one to the last diagonal element.
  EXPECT_EQ(shifts(Iteration<T>(80), 2, {2, 0, {1, 9}}), Shifts({9, 9}));
  EXPECT_EQ(shifts(Iteration<T>(80), 2, {2, 0, {9, 1}}), Shifts({9, 9}));
  Iteration<T> narrow(80);
  narrow.lwork = 8;
  EXPECT_EQ(shifts(narrow, 8, {5, 0, {1, 9, -3, 5, 4}}), Shifts({5, 4, -3, 1}));
  if constexpr (RealScalar<T>) {
    const Complex z(1, 2), zc(1, -2);
    EXPECT_EQ(shifts(Iteration<T>(80), 2, {2, 0, {z, zc}}), Shifts({z, zc}));
    // Pairs of conjugates stay together.
    EXPECT_EQ(shifts(Iteration<T>(80), 4, {3, 0, {z, zc, 8}}), Shifts({z, zc}));
    EXPECT_EQ(shifts(Iteration<T>(80), 4, {5, 0, {8, 0.5, z, zc, 7}}), Shifts({7, 0.5, z, zc}));
  }
}

/// Where the window has no more than half as many shifts as a sweep may take.
TYPED_TEST(MultishiftSteps, TakeShiftsOfTheTrailingBlock) {
  using T = TypeParam;
  const auto shifts = [](Int failed, Int ns) {
    Script s = with({{ns, 0}});
    s.shifts = 8;
    s.failed = failed;
    Iteration<T>(80).run(s);
    return script.sweeps.at(0).shifts;
  };
  EXPECT_EQ(shifts(0, 4), Shifts({101, 102, 103, 104, 105, 106, 107, 108}));
  EXPECT_EQ(script.blocks, (std::vector<Int>{73, 8}));  // the first element of the copy, and its order
  EXPECT_EQ(shifts(0, 0).size(), 8u);
  // Those that fail are missing; where less than two are left the last two rows have to do.
  EXPECT_EQ(shifts(3, 4), Shifts({105, 106, 107, 108}));
  EXPECT_EQ(shifts(4, 4), Shifts({105, 106, 107, 108}));
  EXPECT_EQ(shifts(6, 4), Shifts({107, 107}));
  for (const Int failed : {7, 8}) {
    const Shifts last = shifts(failed, 4);
    ASSERT_EQ(last.size(), 2u);
    for (const Complex& shift : last) EXPECT_NEAR(std::abs(shift - 80.0), 0, 1e-12);
  }
}

/// Of large blocks laqr0 takes them by laqr4, which itself takes none but by lahqr.
TYPED_TEST(MultishiftSteps, TakeShiftsByTheIterationThatDoesNotRecur) {
  using T = TypeParam;
  for (const bool recursive : {true, false}) {
    for (const Int count : {10, 12}) {
      SCOPED_TRACE(testing::Message() << recursive << ' ' << count);
      Script s = with({{2, 0}});
      s.shifts = count;
      Iteration<T>(140).run(s, recursive);
      const bool by_laqr4 = recursive && count > 11;
      EXPECT_EQ(script.blocks.size(), by_laqr4 ? 0u : 2u);
      const Window& next = script.windows.at(1);
      EXPECT_EQ(next.n, by_laqr4 ? count : 140);
      EXPECT_EQ(next.is_recursive, recursive && !by_laqr4);
      EXPECT_EQ(script.sweeps.at(0).windows, by_laqr4 ? 2u : 1u);
      EXPECT_EQ(Int(script.sweeps.at(0).shifts.size()), count);
    }
  }
}

/// Every sixth sweep in a row after which nothing deflates has shifts of its own.
TYPED_TEST(MultishiftSteps, TakeExceptionalShiftsAfterSixIterations) {
  using T = TypeParam;
  constexpr Int n = 60;
  const auto exceptional = [](const std::vector<Deflation>& deflations) {
    Script s = with(deflations);
    s.nibble = 100;
    Iteration<T>(n).run(s);
    EXPECT_EQ(script.sweeps.size(), deflations.size());
    std::vector<Int> which;
    for (std::size_t k = 0; k < script.sweeps.size(); ++k) {
      const Sweep& sweep = script.sweeps[k];
      EXPECT_EQ(sweep.shifts.size(), 4u);
      // Others are the numbers of places; of these, the sums are the last diagonal element and 3/4 of what is below.
      const double last = double(sweep.kbot) + (RealScalar<T> ? 1.5 : 0.75);
      if (sweep.shifts[3].real() != last) continue;
      which.push_back(Int(k) + 1);
      EXPECT_EQ(sweep.shifts[2].real(), last);
      EXPECT_EQ(sweep.shifts[1].real(), last - 2);
      EXPECT_EQ(sweep.shifts[0].real(), last - 2);
      EXPECT_EQ(sweep.shifts[3].imag() != 0, RealScalar<T>);
    }
    return which;
  };
  std::vector<Deflation> fruitless(20, {6, 0});
  EXPECT_EQ(exceptional(fruitless), (std::vector<Int>{6, 12, 18}));
  // Success starts the count anew, after the sweep.
  fruitless[2] = {5, 1};
  EXPECT_EQ(exceptional(fruitless), (std::vector<Int>{9, 15}));
  fruitless[2] = {6, 0};
  fruitless[5] = {5, 1};
  EXPECT_EQ(exceptional(fruitless), (std::vector<Int>{6, 12, 18}));
}

}  // namespace
}  // namespace nuv::test
