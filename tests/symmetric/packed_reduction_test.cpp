// Reduction of packed matrices to tridiagonal form: ?sptrd, ?hptrd and the serial bodies behind them, ?sptd2, ?latdp.

#include <cctype>
#include <limits>

#include "layer.hpp"
#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/fenced_array.hpp"
#include "support/memory_requests.hpp"
#include "symmetric/eigen_checks.hpp"
#include "symmetric/symmetric_cases.hpp"
#include "x_variants.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

/// Columns of a panel; up to so many are reduced one after the other.
constexpr Int nb = 32;

constexpr Int orders[] = {1, 2, 3, 9, nb - 1, nb, nb + 1, nb + 2, 2 * nb, 2 * nb + 1, 2 * nb + 2, 3 * nb + 7};

/// What a reduction leaves.
template <Scalar T>
struct Reduced {
  GuardedVector<T> ap, tau;
  GuardedVector<Real<T>> d, e;

  Reduced(const GuardedVector<T>& ap_, Int n) : ap(ap_), tau(n - 1), d(n), e(n - 1) {}

  Tridiagonal<Real<T>> tridiagonal() const { return tridiagonal_of(d, e); }

  testing::AssertionResult same_as(const Reduced& other) const {
    for (const auto& [one, another] : {std::pair{&ap, &other.ap}, std::pair{&tau, &other.tau}}) {
      if (const auto same = one->same_as(*another); !same) return same;
    }
    for (const auto& [one, another] : {std::pair{&d, &other.d}, std::pair{&e, &other.e}}) {
      if (const auto same = one->same_as(*another); !same) return same;
    }
    return testing::AssertionSuccess();
  }
};

/// A way to reduce, by panels or, where the memory is refused, without.
template <Scalar T>
struct Way {
  const char* name;
  void (*reduce)(char uplo, Int n, T* ap, Real<T>* d, Real<T>* e, T* tau, Int& info);
  int refused;
};

template <Scalar T>
const Way<T> layered = {"sptrd", layer::sptrd, MemoryRequests::none};
template <Scalar T>
const Way<T> serial = {"xsptrd", x_variant::sptrd, MemoryRequests::none};
template <Scalar T>
const Way<T> without_buffer = {"xsptrd without memory", x_variant::sptrd, MemoryRequests::all};
template <Scalar T>
const Way<T> ways[] = {layered<T>, serial<T>, without_buffer<T>};

template <Scalar T>
Reduced<T> reduce(const Way<T>& way, char uplo, Int n, const GuardedVector<T>& ap) {
  Reduced<T> result(ap, n);
  const MemoryRequests memory(way.refused);
  Int info = 99;
  way.reduce(uplo, n, result.ap.data(), result.d.data(), result.e.data(), result.tau.data(), info);
  EXPECT_EQ(info, 0);
  // Up to a panel's width no memory is asked for.
  EXPECT_EQ(memory.count() > 0, n > nb);
  EXPECT_EQ(memory.included(std::size_t(3) * n * nb * sizeof(T)), n > nb);
  EXPECT_EQ(memory.kept(), 0);
  for (const GuardedVector<T>* array : {&result.ap, &result.tau}) EXPECT_TRUE(array->guards_unchanged());
  for (const GuardedVector<Real<T>>* array : {&result.d, &result.e}) EXPECT_TRUE(array->guards_unchanged());
  return result;
}

template <Scalar T>
GuardedMatrix<T> q_of(char uplo, Int n, const Reduced<T>& reduced) {
  GuardedMatrix<T> Q(n, n, n);
  GuardedVector<T> work(n - 1);
  Int info = 99;
  routine_call::opgtr(uplo, n, reduced.ap.data(), reduced.tau.data(), Q, work.data(), info);
  EXPECT_EQ(info, 0);
  return Q;
}

template <class T>
class PackedReduction : public ReportingTest {
 protected:
  Random random{71};
};
TYPED_TEST_SUITE(PackedReduction, Precisions, PrecisionLetter);

TYPED_TEST(PackedReduction, IsASimilarityWithAnOrthogonalMatrix) {
  using T = TypeParam;
  for (const Int n : orders) {
    for (const char uplo : uplos) {
      const GuardedMatrix<T> A = random_symmetric<T>(this->random, uplo, n);
      const WideMatrix<T> dense = wide_hermitian(A, is_upper(uplo));
      const GuardedVector<T> ap = packed(is_upper(uplo), A);
      for (const Way<T>& way : ways<T>) {
        SCOPED_TRACE(std::string(way.name) + " " + uplo + " of order " + std::to_string(n));
        const Reduced<T> reduced = reduce(way, uplo, n, ap);
        const GuardedMatrix<T> Q = q_of(uplo, n, reduced);
        EXPECT_LT(reduction_residual(dense, Q, reduced.tridiagonal()), threshold);
        EXPECT_LT(orthogonality(Q, n), threshold);
        EXPECT_TRUE(reduce(way, char(std::tolower(uplo)), n, ap).same_as(reduced));
      }
    }
  }
}

TYPED_TEST(PackedReduction, LeavesTheTridiagonalMatrixInItsPlace) {
  using T = TypeParam;
  for (const Int n : orders) {
    for (const char uplo : uplos) {
      const GuardedVector<T> ap = packed(is_upper(uplo), random_symmetric<T>(this->random, uplo, n));
      for (const Way<T>& way : ways<T>) {
        const Reduced<T> reduced = reduce(way, uplo, n, ap);
        for_each_packed(is_upper(uplo), n, [&](Int i, Int j, Int k) {
          if (i == j) {
            EXPECT_EQ(reduced.ap(k), T(reduced.d(i))) << way.name << ' ' << uplo << n;
          }
          if (std::abs(i - j) == 1) {
            EXPECT_EQ(reduced.ap(k), T(reduced.e(std::min(i, j)))) << way.name << ' ' << uplo << n;
          }
        });
      }
    }
  }
}

TYPED_TEST(PackedReduction, HasTheSameSpectrumWithAndWithoutMemory) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Int n : {nb + 1, 2 * nb + 2, 3 * nb}) {
    for (const char uplo : uplos) {
      const GuardedVector<T> ap = packed(is_upper(uplo), random_symmetric<T>(this->random, uplo, n));
      const auto with = wide_values(reduce(serial<T>, uplo, n, ap).tridiagonal());
      const auto without = wide_values(reduce(without_buffer<T>, uplo, n, ap).tridiagonal());
      GuardedVector<R> rounded(n);
      for (Int i = 1; i <= n; ++i) rounded(i) = R(without[std::size_t(i - 1)]);
      EXPECT_LT(value_error(rounded, n, with), threshold) << uplo << ", order " << n;
    }
  }
}

TYPED_TEST(PackedReduction, IsTheSameThroughTheLayerAndBesideIt) {
  using T = TypeParam;
  for (const Int n : {3, nb, 2 * nb + 3}) {
    for (const char uplo : uplos) {
      const GuardedVector<T> ap = packed(is_upper(uplo), random_symmetric<T>(this->random, uplo, n));
      EXPECT_TRUE(reduce(layered<T>, uplo, n, ap).same_as(reduce(serial<T>, uplo, n, ap))) << uplo << ", order " << n;
    }
  }
}

/// Without memory, and up to a panel's width, it is the loop without blocks.
TYPED_TEST(PackedReduction, FallsBackOnTheUnblockedLoop) {
  using T = TypeParam;
  if constexpr (RealScalar<T>) {
    const Way<T> loop = {"sptd2", routine_call::sptd2, MemoryRequests::none};
    for (const Int n : {1, 2, nb, 2 * nb + 1}) {
      for (const char uplo : uplos) {
        const GuardedVector<T> ap = packed(is_upper(uplo), random_symmetric<T>(this->random, uplo, n));
        Reduced<T> expected(ap, n);
        Int info = 99;
        loop.reduce(uplo, n, expected.ap.data(), expected.d.data(), expected.e.data(), expected.tau.data(), info);
        EXPECT_EQ(info, 0);
        EXPECT_TRUE(reduce(without_buffer<T>, uplo, n, ap).same_as(expected)) << uplo << ", order " << n;
        if (n <= nb) {
          EXPECT_TRUE(reduce(serial<T>, uplo, n, ap).same_as(expected));
        }
      }
    }
  }
}

/// A matrix that is tridiagonal and real needs no reflector.
TYPED_TEST(PackedReduction, LeavesATridiagonalMatrixAsItIs) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Int n : {2, 5, nb + 3}) {
    for (const char uplo : uplos) {
      const Tridiagonal<R> tridiagonal = random_tridiagonal<R>(n);
      GuardedVector<T> ap(packed_size(n));
      for_each_packed(is_upper(uplo), n, [&](Int i, Int j, Int k) {
        const auto place = std::size_t(std::min(i, j) - 1);
        ap(k) = i == j ? tridiagonal.d[place] : std::abs(i - j) == 1 ? tridiagonal.e[place] : R(0);
      });
      for (const Way<T>& way : ways<T>) {
        const Reduced<T> reduced = reduce(way, uplo, n, ap);
        EXPECT_EQ(reduced.tridiagonal().d, tridiagonal.d) << way.name << ' ' << uplo << n;
        EXPECT_EQ(reduced.tridiagonal().e, tridiagonal.e) << way.name << ' ' << uplo << n;
        for (Int i = 1; i < n; ++i) EXPECT_EQ(reduced.tau(i), T(0));
      }
    }
  }
}

TYPED_TEST(PackedReduction, KeepsToTheTriangle) {
  using T = TypeParam;
  for (const Int n : {1, 2, nb, nb + 1, 2 * nb + 3}) {
    for (const char uplo : uplos) {
      const GuardedVector<T> ap = packed(is_upper(uplo), random_symmetric<T>(this->random, uplo, n));
      for (const Way<T>& way : ways<T>) {
        const Reduced<T> expected = reduce(way, uplo, n, ap);
        FencedArray<T> fenced(ap);
        Reduced<T> other(ap, n);
        const MemoryRequests memory(way.refused);
        Int info = 99;
        way.reduce(uplo, n, fenced.data(), other.d.data(), other.e.data(), other.tau.data(), info);
        EXPECT_TRUE(fenced.same_as(expected.ap)) << way.name << ' ' << uplo << ", order " << n;
      }
    }
  }
}

TYPED_TEST(PackedReduction, ShowsANan) {
  using T = TypeParam;
  using R = Real<T>;
  const Int n = nb + 9;
  for (const char uplo : uplos) {
    for (const Int place : {1, 5, packed_size(n) / 2, packed_size(n)}) {
      GuardedVector<T> ap = packed(is_upper(uplo), random_symmetric<T>(this->random, uplo, n));
      ap(place) = T(std::numeric_limits<R>::quiet_NaN());
      for (const Way<T>& way : ways<T>) {
        const Reduced<T> reduced = reduce(way, uplo, n, ap);
        bool shows = false;
        for (Int i = 1; i <= n; ++i) shows = shows || std::isnan(reduced.d(i));
        EXPECT_TRUE(shows) << way.name << ' ' << uplo << ", element " << place;
      }
    }
  }
}

TYPED_TEST(PackedReduction, DoesNothingToAnEmptyMatrix) {
  using T = TypeParam;
  Real<T>* const reals = nullptr;
  T* const none = nullptr;
  Int info = 99;
  layer::sptrd('U', 0, none, reals, reals, none, info);
  EXPECT_EQ(info, 0);
  if constexpr (RealScalar<T>) {
    info = 99;
    routine_call::sptd2('L', 0, none, none, none, none, info);
    EXPECT_EQ(info, 0);
  }
}

// ------------------------------------------------------------------------------------------------------------- latdp

/// The matrix of which a panel is the last or the first columns, and the update that the panel leaves for the rest.
template <Scalar T>
void expect_panel(char uplo, Int n, Int columns, Int ldw, Random& random) {
  SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", " << columns << " columns");
  const bool upper = is_upper(uplo);
  const GuardedMatrix<T> A = random_symmetric<T>(random, uplo, n);
  GuardedVector<T> ap = packed(upper, A), tau(n - 1);
  GuardedVector<Real<T>> e(n - 1);
  GuardedMatrix<T> W(n, 2 * columns, ldw);
  routine_call::latdp(uplo, n, columns, ap.data(), e.data(), tau.data(), W);
  EXPECT_TRUE(W.guards_unchanged());

  // Q of the panel's reflectors, each of which stands whole in the packed panel.
  const GuardedMatrix<T> after = unpacked(upper, n, ap);
  WideMatrix<T> Q = WideMatrix<T>::Identity(n, n);
  const Int rest = n - columns, first_rest = upper ? 0 : columns;
  for (Int step = 1; step <= std::min(columns, n - 1); ++step) {
    const Int column = upper ? n - step + 1 : step, place = upper ? column - 1 : column;
    WideMatrix<T> v = WideMatrix<T>::Zero(n, 1);
    for (Int i = upper ? 1 : column + 1; i <= (upper ? column - 1 : n); ++i) v(i - 1, 0) = wide(after(i, column));
    EXPECT_EQ(after(upper ? column - 1 : column + 1, column), T(1));
    Q = Q - product<T>(product<T>(Q, v), v.adjoint()) * wide(tau(place));
  }
  const WideMatrix<T> original = wide_hermitian(A, upper), turned = product<T>(product<T>(Q.adjoint(), original), Q);
  const double unit = double(original.norm()) * epsilon<T>;

  // The rest loses V W^H + W V^H; its packed elements are the original ones.
  const WideMatrix<T> both = wide(W), W1 = both.leftCols(columns), V1 = both.rightCols(columns);
  for (Int j = first_rest; j < first_rest + rest; ++j) {
    for (Int i = first_rest; i < first_rest + rest; ++i) {
      if (!is_in_triangle(uplo, i, j)) continue;
      EXPECT_TRUE(same_bits(after(i + 1, j + 1), A(i + 1, j + 1)));
      Wide<T> updated = original(i, j);
      for (Int k = 0; k < columns; ++k) {
        updated -= V1(i, k) * Eigen::numext::conj(W1(j, k)) + W1(i, k) * Eigen::numext::conj(V1(j, k));
      }
      EXPECT_LT(double(std::abs(updated - turned(i, j))) / unit, threshold) << i << ", " << j;
    }
  }
  // The panel's own part of T.
  for (Int step = 1; step <= columns; ++step) {
    const Int column = upper ? n - step + 1 : step, next = upper ? column - 1 : column + 1;
    EXPECT_LT(double(std::abs(wide(after(column, column)) - turned(column - 1, column - 1))) / unit, threshold);
    if (next < 1 || next > n) continue;
    const Wide<T> beside = wide(e(std::min(column, next)));
    EXPECT_LT(double(std::abs(beside - turned(next - 1, column - 1))) / unit, threshold);
  }
}

TYPED_TEST(PackedReduction, TakesAPanelAndTellsTheUpdateOfTheRest) {
  using T = TypeParam;
  for (const char uplo : uplos) {
    expect_panel<T>(uplo, 9, 3, 9, this->random);
    expect_panel<T>(uplo, 9, 1, 12, this->random);
    expect_panel<T>(uplo, 6, 5, 7, this->random);
    expect_panel<T>(uplo, 5, 5, 5, this->random);
  }
}

// --------------------------------------------------------------------------------------------------------- arguments

template <Scalar T>
struct Arguments {
  char uplo = 'U';
  Int n = 3;
  GuardedVector<T> ap = packed(true, random_triangle_of_three()), tau{2};
  GuardedVector<Real<T>> d{3}, e{2};

  static GuardedMatrix<T> random_triangle_of_three() {
    Random random(5);
    return random_symmetric<T>(random, 'U', 3);
  }
  bool unchanged() const { return ap.unchanged() && tau.unchanged() && d.unchanged() && e.unchanged(); }
};

template <Scalar T>
struct ReductionCall : Arguments<T> {
  Int run() {
    Int info = 99;
    layer::sptrd(this->uplo, this->n, this->ap.data(), this->d.data(), this->e.data(), this->tau.data(), info);
    return info;
  }
};
template <Scalar T>
struct LoopCall : Arguments<T> {
  Int run() {
    Int info = 99;
    routine_call::sptd2(this->uplo, this->n, this->ap.data(), this->d.data(), this->e.data(), this->tau.data(), info);
    return info;
  }
};

TYPED_TEST(PackedReduction, ReportsABadArgument) {
  using T = TypeParam;
  const std::string name = reported_name<T>(ComplexScalar<T> ? "HPTRD" : "SPTRD");
  using Call = ReductionCall<T>;
  expect_argument_checks<Call>(name, {{1, [](Call& c) { c.uplo = 'X'; }}, {2, [](Call& c) { c.n = -1; }}});
  if constexpr (RealScalar<T>) {
    using Loop = LoopCall<T>;
    expect_argument_checks<Loop>(name, {{1, [](Loop& c) { c.uplo = 'X'; }}, {2, [](Loop& c) { c.n = -1; }}});
  }
}

}  // namespace
}  // namespace nuv::test
