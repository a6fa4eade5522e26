// Aggressive early deflation in a window of a Hessenberg matrix: laqr3 and laqr2.

#include <limits>

#include "nonsymmetric/hessenberg_call.hpp"
#include "nonsymmetric/hessenberg_matrices.hpp"

namespace nuv::test {
namespace {

/// A window of order nw at the end of rows ktop ... kbot of a matrix of order n.
struct Place {
  Int n, ktop, kbot, nw;

  Int order() const { return std::min(nw, kbot - ktop + 1); }
  Int first() const { return kbot - order() + 1; }
};

template <Scalar T>
struct WindowCall {
  Place place;
  bool wantt = true, wantz = true;
  Int iloz = 1, ihiz, ns = 99, nd = 99, nh, nv, lwork;
  GuardedMatrix<T> H, Z, V, F, WV;
  EigenvalueArrays<T> w;
  GuardedVector<T> work;

  WindowCall(const GuardedMatrix<T>& matrix, const Place& where)
      : place(where),
        ihiz(where.n),
        nh(where.nw + 3),
        nv(where.nw + 1),
        lwork(34 * where.nw),
        H(matrix),
        Z(identity_matrix<T>(where.n, where.n + 1)),
        V(where.nw, where.nw, where.nw + 2),
        F(where.nw, nh, where.nw + 1),
        WV(nv, where.nw, nv + 1),
        w(where.n),
        work(lwork) {}

  template <class Routine>
  WindowCall& by(Routine routine) {
    w.give_to([&](auto*... shifts) {
      routine(to_logical(wantt), to_logical(wantz), place.n, place.ktop, place.kbot, place.nw, Matrix<T>(H), iloz, ihiz,
              Matrix<T>(Z), ns, nd, shifts..., Matrix<T>(V), nh, Matrix<T>(F), nv, Matrix<T>(WV), work.data(), lwork);
    });
    EXPECT_TRUE(H.guards_unchanged() && Z.guards_unchanged() && V.guards_unchanged() && F.guards_unchanged());
    EXPECT_TRUE(WV.guards_unchanged() && work.guards_unchanged());
    return *this;
  }
  WindowCall& laqr3() {
    return by([](auto&&... arguments) { routine_call::laqr3(arguments...); });
  }
  WindowCall& laqr2() {
    return by([](auto&&... arguments) { routine_call::laqr2(arguments...); });
  }

  std::vector<std::complex<double>> found() const { return w.list(place.first(), place.kbot); }

  /// Rows and columns from ... place.kbot of H.
  GuardedMatrix<T> end_of_block(Int from) const {
    const Int order = place.kbot - from + 1;
    GuardedMatrix<T> end(order, order, std::max(1, order));
    for (Int j = 1; j <= order; ++j) {
      for (Int i = 1; i <= order; ++i) end(i, j) = H(from + i - 1, from + j - 1);
    }
    return end;
  }
};

/// H Z = Z H' for orthonormal Z and a Hessenberg matrix H'.
template <Scalar T>
void expect_similar(const GuardedMatrix<T>& H, const WindowCall<T>& call) {
  EXPECT_LT(schur_residual<T>(wide(H), wide(call.Z), wide(call.H)), schur_threshold);
  EXPECT_LT(departure_from_unitary<T>(wide(call.Z)), schur_threshold);
  for (Int j = 1; j <= call.place.n; ++j) {
    for (Int i = j + 2; i <= call.place.n; ++i) ASSERT_EQ(call.H(i, j), T(0)) << i << ' ' << j;
  }
}

/// What deflated is in Schur form, split off, and its eigenvalues are told; those of the whole window are.
template <Scalar T>
void expect_deflated(const WindowCall<T>& before, const WindowCall<T>& call) {
  const Int first = call.place.kbot - call.nd + 1;
  const GuardedMatrix<T> split_off = call.end_of_block(first);
  EXPECT_TRUE(is_schur_form(split_off));
  if (call.nd > 0 && first > 1) {
    EXPECT_EQ(call.H(first, first - 1), T(0));
  }
  EXPECT_LE(spectrum_distance(call.w.list(first, call.place.kbot), eigenvalues_of(split_off)), 100 * epsilon<T>);

  const Int order = call.place.order();
  HessenbergCall<T> window(before.end_of_block(call.place.first()));
  window.lahqr();
  EXPECT_LT(spectrum_distance(call.found(), window.w.list(1, order)), 1e4 * order * epsilon<T>);
  EXPECT_TRUE(call.w.unchanged_outside(call.place.first(), call.place.kbot));
}

template <class T>
class EarlyDeflation : public testing::Test {
 protected:
  Random random{77};

  /// With an active block in the rows of a place, and subdiagonal elements of its window multiplied by a factor.
  GuardedMatrix<T> matrix(const Place& place, double factor) {
    GuardedMatrix<T> H = random_hessenberg<T>(random, place.n, place.n + 2);
    for (Int j = place.first(); j < place.kbot; ++j) H(j + 1, j) *= T(Real<T>(factor));
    if (place.ktop > 1) H(place.ktop, place.ktop - 1) = T(0);
    if (place.kbot < place.n) H(place.kbot + 1, place.kbot) = T(0);
    H.seal();
    return H;
  }
};
TYPED_TEST_SUITE(EarlyDeflation, Precisions, PrecisionLetter);

constexpr Place small_places[] = {{30, 4, 25, 9}, {30, 1, 30, 8}, {30, 1, 22, 10}, {30, 12, 30, 7}};

TYPED_TEST(EarlyDeflation, ChangesNothingWhereNothingDeflates) {
  using T = TypeParam;
  for (const Place& place : small_places) {
    const GuardedMatrix<T> H = this->matrix(place, 1);
    const WindowCall<T> before(H, place);
    for (const bool recursive : {true, false}) {
      WindowCall<T> call(H, place);
      recursive ? call.laqr3() : call.laqr2();
      EXPECT_EQ(call.ns, place.nw);
      EXPECT_EQ(call.nd, 0);
      EXPECT_TRUE(call.H.unchanged() && call.Z.unchanged());
      expect_deflated(before, call);
    }
  }
}

TYPED_TEST(EarlyDeflation, SplitsOffWhatTheSpikeHardlyTouches) {
  using T = TypeParam;
  const double factor = std::same_as<Real<T>, float> ? 3e-2 : 1e-3;
  for (const Place& place : small_places) {
    SCOPED_TRACE(testing::Message() << place.ktop << " to " << place.kbot);
    const GuardedMatrix<T> H = this->matrix(place, factor);
    const WindowCall<T> before(H, place);
    WindowCall<T> call(H, place);
    call.laqr3();
    EXPECT_GT(call.nd, 0);
    EXPECT_LT(call.nd, place.nw);
    EXPECT_EQ(call.ns + call.nd, place.nw);
    expect_similar(H, call);
    expect_deflated(before, call);
    // Shifts come by falling magnitude.
    const auto shifts = call.w.list(place.first(), place.kbot - call.nd);
    for (std::size_t i = 1; i < shifts.size(); ++i) {
      const auto size = [&](std::size_t k) { return std::abs(shifts[k].real()) + std::abs(shifts[k].imag()); };
      EXPECT_GE(size(i - 1) * (1 + 100 * epsilon<T>), size(i)) << i;
    }
    // What is left is a block of its own with the same method's other member.
    WindowCall<T> other(H, place);
    other.laqr2();
    EXPECT_TRUE(other.H.same_as(call.H) && other.Z.same_as(call.Z) && other.w.same_as(call.w));
  }
}

/// Without an element beside the window all of it converges.
TYPED_TEST(EarlyDeflation, SplitsOffAWholeBlock) {
  using T = TypeParam;
  for (const Place& place : {Place{20, 5, 14, 10}, {20, 5, 14, 13}, {20, 1, 20, 20}, {9, 4, 5, 6}, {9, 1, 1, 4}}) {
    SCOPED_TRACE(testing::Message() << place.ktop << " to " << place.kbot);
    const GuardedMatrix<T> H = this->matrix(place, 1);
    const WindowCall<T> before(H, place);
    WindowCall<T> call(H, place);
    call.laqr3();
    EXPECT_EQ(call.ns, 0);
    EXPECT_EQ(call.nd, place.order());
    expect_similar(H, call);
    expect_deflated(before, call);
  }
}

TYPED_TEST(EarlyDeflation, LooksAtOneElement) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr Place place{8, 2, 6, 1};
  constexpr R tiny = std::numeric_limits<R>::min();
  for (const auto& [beside, diagonal, deflates] : {std::tuple{R(1), R(2), false},
                                                   {R(1.9) * epsilon<T>, R(2), true},
                                                   {R(2.1) * epsilon<T>, R(2), false},
                                                   {tiny, R(0), true},
                                                   {R(9) * tiny / epsilon<T>, R(0), false},
                                                   {R(7.9) * tiny / epsilon<T>, R(0), true}}) {
    SCOPED_TRACE(beside);
    GuardedMatrix<T> H = this->matrix(place, 1);
    H(6, 5) = T(beside);
    H(6, 6) = T(diagonal);
    H.seal();
    WindowCall<T> call(H, place);
    call.laqr3();
    EXPECT_EQ(call.nd, deflates ? 1 : 0);
    EXPECT_EQ(call.ns, deflates ? 0 : 1);
    EXPECT_EQ(call.w(6), std::complex<double>(diagonal));
    EXPECT_EQ(call.H(6, 5), T(deflates ? R(0) : beside));
    EXPECT_TRUE(call.H.unchanged_except([](Int i, Int j) { return i == 6 && j == 5; }));
    EXPECT_TRUE(call.Z.unchanged() && call.w.unchanged_outside(6, 6));
    EXPECT_EQ(call.work(1), T(1));
  }
}

TYPED_TEST(EarlyDeflation, LooksAtTwoElements) {
  using T = TypeParam;
  constexpr Place place{9, 2, 7, 2};
  for (const double factor : {1.0, 1e-30}) {
    const GuardedMatrix<T> H = this->matrix(place, factor);
    const WindowCall<T> before(H, place);
    WindowCall<T> call(H, place);
    call.lwork = 4;
    call.laqr3();
    EXPECT_EQ(call.nd, factor == 1 ? 0 : 1);
    EXPECT_EQ(call.ns, 2 - call.nd);
    EXPECT_EQ(call.work(1), T(1));
    expect_similar(H, call);
    expect_deflated(before, call);
  }
}

/// An eigenvalue that is zero has no size that a component of the spike could be compared with; the element beside the
/// window has.
TYPED_TEST(EarlyDeflation, MeasuresZeroEigenvaluesByTheSpike) {
  using T = TypeParam;
  constexpr Place place{4, 1, 4, 3};
  GuardedMatrix<T> H(4, 4, 4);
  const auto small = T(std::same_as<Real<T>, float> ? 0x1p-13f : 0x1p-28f);
  for (Int j = 1; j <= 4; ++j) {
    for (Int i = 1; i <= 4; ++i) H(i, j) = i == j + 1 ? small : T(0);
  }
  H(1, 1) = H(2, 1) = H(3, 3) = T(1);
  H(2, 2) = T(-1);
  H.seal();
  WindowCall<T> call(H, place);
  call.laqr3();
  EXPECT_EQ(call.nd, 1);
  EXPECT_EQ(call.ns, 2);
  expect_similar(H, call);
}

/// A pair of conjugate eigenvalues stays together: it deflates as a whole, or not at all.
TYPED_TEST(EarlyDeflation, KeepsPairsTogether) {
  using T = TypeParam;
  constexpr Place place{12, 1, 12, 6};
  GuardedMatrix<T> H = this->matrix(place, 1e-12);
  for (Int i = 7; i <= 11; i += 2) {
    H(i, i) = H(i + 1, i + 1) = T(Real<T>(i));
    H(i, i + 1) = T(2);
    H(i + 1, i) = T(-1);
  }
  H.seal();
  const WindowCall<T> before(H, place);
  WindowCall<T> call(H, place);
  call.laqr3();
  EXPECT_GE(call.nd, 2);
  EXPECT_EQ(call.nd % 2, 0);
  EXPECT_EQ(call.ns + call.nd, 6);
  expect_similar(H, call);
  expect_deflated(before, call);
}

/// Both for windows up to 75, beyond which laqr3 takes an iteration with windows of its own.
TYPED_TEST(EarlyDeflation, BringsLargeWindowsToSchurForm) {
  using T = TypeParam;
  for (const Int nw : {75, 76}) {
    SCOPED_TRACE(nw);
    const Place place{nw + 15, 3, nw + 12, nw};
    const GuardedMatrix<T> H = this->matrix(place, 0.2);
    WindowCall<T> call(H, place), plain(H, place);
    call.laqr3();
    plain.laqr2();
    EXPECT_EQ(call.w.same_as(plain.w), nw <= 75);
    for (const WindowCall<T>* one : {&call, &plain}) {
      EXPECT_GT(one->nd, 0);
      EXPECT_EQ(one->ns + one->nd, nw);
      expect_similar(H, *one);
    }
  }
}

/// Without wantt rows above and columns behind the active block are left alone, and Z beside its rows.
TYPED_TEST(EarlyDeflation, UpdatesWhatIsWanted) {
  using T = TypeParam;
  const Place place = small_places[0];
  const GuardedMatrix<T> H = this->matrix(place, 1e-3);
  WindowCall<T> whole(H, place), block_alone(H, place);
  whole.laqr3();
  block_alone.wantt = false;
  block_alone.iloz = 3;
  block_alone.ihiz = 28;
  block_alone.laqr3();
  ASSERT_GT(whole.nd, 0);
  EXPECT_EQ(block_alone.nd, whole.nd);
  EXPECT_TRUE(block_alone.w.same_as(whole.w));
  const auto is_inside = [&](Int i) { return i >= place.ktop && i <= place.kbot; };
  EXPECT_TRUE(block_alone.H.unchanged_except([&](Int i, Int j) { return is_inside(i) && is_inside(j); }));
  EXPECT_TRUE(block_alone.Z.unchanged_except(
      [&](Int i, Int j) { return i >= 3 && i <= 28 && j >= place.first() && j <= place.kbot; }));
  const double rounding = 100 * epsilon<T>;
  for (Int j = 1; j <= place.n; ++j) {
    for (Int i = 1; i <= place.n; ++i) {
      if (is_inside(i) && is_inside(j)) {
        EXPECT_LE(std::abs(block_alone.H(i, j) - whole.H(i, j)), rounding);
      }
      if (i >= 3 && i <= 28) {
        EXPECT_LE(std::abs(block_alone.Z(i, j) - whole.Z(i, j)), rounding);
      }
    }
  }
  WindowCall<T> without_z(H, place);
  without_z.wantz = false;
  without_z.laqr3();
  EXPECT_TRUE(without_z.Z.unchanged());
  EXPECT_TRUE(without_z.H.same_as(whole.H));
}

TYPED_TEST(EarlyDeflation, WorksInStripsOfAnyWidth) {
  using T = TypeParam;
  const Place place{40, 5, 27, 8};
  const GuardedMatrix<T> H = this->matrix(place, 1e-3);
  for (const Int width : {8, 9, 19, 50}) {
    WindowCall<T> call(H, place);
    call.nh = call.nv = width;
    call.F = GuardedMatrix<T>(8, width, 8);
    call.WV = GuardedMatrix<T>(width, 8, width);
    call.laqr3();
    EXPECT_GT(call.nd, 0);
    expect_similar(H, call);
  }
}

/// The first rows of a window that do not converge are neither shifts nor deflated.
TYPED_TEST(EarlyDeflation, GoesOnWithRowsThatDidNotConverge) {
  using T = TypeParam;
  const Place place{20, 2, 18, 8};
  GuardedMatrix<T> H = this->matrix(place, 1);
  H(15, 14) = T(0);
  const WindowCall<T> before(H, place);
  H(11, 13) = T(std::numeric_limits<Real<T>>::quiet_NaN());
  H.seal();
  WindowCall<T> call(H, place);
  call.laqr3();
  EXPECT_EQ(call.nd, 4);
  EXPECT_EQ(call.ns, 0);
  HessenbergCall<T> end(before.end_of_block(15));
  end.lahqr();
  EXPECT_LT(spectrum_distance(call.w.list(15, 18), end.w.list(1, 4)), 1e4 * epsilon<T>);
  EXPECT_EQ(call.H(15, 14), T(0));
}

TYPED_TEST(EarlyDeflation, HasNothingToDoForEmptyWindows) {
  using T = TypeParam;
  for (const Place& place : {Place{9, 5, 4, 3}, {9, 2, 8, 0}}) {
    const GuardedMatrix<T> H = random_hessenberg<T>(this->random, 9, 9);
    WindowCall<T> call(H, place);
    call.work = GuardedVector<T>(1);
    call.laqr3();
    EXPECT_EQ(call.ns, 0);
    EXPECT_EQ(call.nd, 0);
    EXPECT_TRUE(call.H.unchanged() && call.Z.unchanged() && call.w.unchanged_outside(1, 0));
    EXPECT_EQ(call.work(1), T(1));
  }
}

TYPED_TEST(EarlyDeflation, TellsItsWorkspace) {
  using T = TypeParam;
  // The order of the window counts, which has no more rows than the block.
  for (const auto& [place, order] : {std::pair{Place{40, 2, 38, 1}, 1},
                                     {Place{40, 2, 38, 2}, 2},
                                     {Place{40, 2, 38, 3}, 3},
                                     {Place{40, 2, 38, 20}, 20},
                                     {Place{40, 20, 38, 25}, 19}}) {
    const GuardedMatrix<T> H = random_hessenberg<T>(this->random, 40, 40);
    for (const bool recursive : {true, false}) {
      WindowCall<T> call(H, place);
      call.lwork = -1;
      recursive ? call.laqr3() : call.laqr2();
      EXPECT_EQ(call.ns, 99);
      EXPECT_EQ(call.nd, 99);
      EXPECT_TRUE(call.H.unchanged() && call.Z.unchanged() && call.V.unchanged() && call.F.unchanged());
      EXPECT_TRUE(call.WV.unchanged() && call.w.unchanged_outside(1, 0) && call.work.unchanged_outside(1, 1));
      EXPECT_EQ(call.work(1), T(Real<T>(order <= 2 ? 1 : 33 * order)));
    }
  }
}

}  // namespace
}  // namespace nuv::test
