// The orthogonal matrix of a packed reduction: ?opgtr, ?opmtr, ?upgtr, ?upmtr.

#include "layer.hpp"
#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/memory_requests.hpp"
#include "symmetric/eigen_checks.hpp"
#include "symmetric/symmetric_cases.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

/// Orders around the widths of blocks of reflectors, and around the least number of them that is taken by blocks.
constexpr Int orders[] = {1, 2, 3, 12, 17, 18, 32, 33, 34, 35, 66, 70, 99};

template <Scalar T>
constexpr char adjoint_letter = ComplexScalar<T> ? 'C' : 'T';

/// The reflectors of a random matrix.
template <Scalar T>
struct Reflectors {
  GuardedVector<T> ap, tau;

  Reflectors(Random& random, char uplo, Int n)
      : ap(packed(is_upper(uplo), random_symmetric<T>(random, uplo, n))), tau(n - 1) {
    GuardedVector<Real<T>> d(n), e(n - 1);
    Int info = 99;
    layer::sptrd(uplo, n, ap.data(), d.data(), e.data(), tau.data(), info);
    ap.seal();
    tau.seal();
  }

  testing::AssertionResult unchanged() const {
    const auto same = ap.unchanged();
    return same ? tau.unchanged() : same;
  }
};

template <Scalar T>
GuardedMatrix<T> form_q(char uplo, Int n, const Reflectors<T>& reflectors, Int ldq, int refused) {
  GuardedMatrix<T> Q(n, n, ldq);
  GuardedVector<T> work(n - 1);
  const MemoryRequests memory(refused);
  Int info = 99;
  routine_call::opgtr(uplo, n, reflectors.ap.data(), reflectors.tau.data(), Q, work.data(), info);
  EXPECT_EQ(info, 0);
  EXPECT_EQ(memory.kept(), 0);
  EXPECT_EQ(memory.count() > 0, n - 1 > 32);
  EXPECT_TRUE(Q.guards_unchanged());
  EXPECT_TRUE(work.guards_unchanged());
  EXPECT_TRUE(reflectors.unchanged());
  return Q;
}

/// The product of the reflectors, one after the other.
template <Scalar T>
WideMatrix<T> wide_q(char uplo, Int n, const Reflectors<T>& reflectors) {
  const GuardedMatrix<T> V = unpacked(is_upper(uplo), n, reflectors.ap);
  WideMatrix<T> Q = WideMatrix<T>::Identity(n, n);
  for (Int step = 1; step < n; ++step) {
    const Int i = is_upper(uplo) ? n - step : step;
    WideMatrix<T> v = WideMatrix<T>::Zero(n, 1);
    for (Int k = 1; k <= n; ++k) {
      if (is_upper(uplo) ? k < i : k > i + 1) v(k - 1, 0) = wide(is_upper(uplo) ? V(k, i + 1) : V(k, i));
    }
    v(is_upper(uplo) ? i - 1 : i, 0) = Wide<T>(1);
    Q = Q - product<T>(product<T>(Q, v), v.adjoint()) * wide(reflectors.tau(i));
  }
  return Q;
}

template <Scalar T>
double difference(const WideMatrix<T>& X, const WideMatrix<T>& Y) {
  return X.size() == 0 ? 0 : double((X - Y).norm() / (std::max(X.rows(), X.cols()) * epsilon<T>));
}

template <class T>
class PackedQ : public ReportingTest {
 protected:
  Random random{73};
};
TYPED_TEST_SUITE(PackedQ, Precisions, PrecisionLetter);

TYPED_TEST(PackedQ, IsTheProductOfItsReflectors) {
  using T = TypeParam;
  for (const Int n : orders) {
    for (const char uplo : {'U', 'u', 'L', 'l'}) {
      SCOPED_TRACE(testing::Message() << uplo << ", order " << n);
      const Reflectors<T> reflectors(this->random, uplo, n);
      for (const int refused : {MemoryRequests::none, MemoryRequests::all}) {
        const GuardedMatrix<T> Q = form_q(uplo, n, reflectors, n + n % 3, refused);
        EXPECT_LT(orthogonality(Q, n), threshold);
        EXPECT_LT(difference<T>(wide(Q), wide_q(uplo, n, reflectors)), threshold);
      }
    }
  }
}

TYPED_TEST(PackedQ, IsAppliedFromBothSides) {
  using T = TypeParam;
  for (const Int nq : {1, 2, 3, 12, 18, 34, 66, 99}) {
    for (const char uplo : {'U', 'l'}) {
      Reflectors<T> reflectors(this->random, uplo, nq);
      const WideMatrix<T> Q = wide_q(uplo, nq, reflectors);
      for (const Int nw : {0, 1, 7, 40}) {
        for (const char side : {'L', 'r'}) {
          for (const char trans : {'n', adjoint_letter<T>}) {
            for (const int refused : {MemoryRequests::none, MemoryRequests::all}) {
              SCOPED_TRACE(testing::Message() << side << uplo << trans << ", order " << nq << ", beside " << nw
                                              << (refused != 0 ? ", without memory" : ""));
              const bool left = is_left(side);
              const Int m = left ? nq : nw, n = left ? nw : nq;
              GuardedMatrix<T> C = random_matrix<T>(this->random, m, n, std::max(1, m) + nw % 2);
              const WideMatrix<T> before = wide(C), factor = op<T>(trans, Q);
              GuardedVector<T> work(nw);
              const MemoryRequests memory(refused);
              Int info = 99;
              routine_call::opmtr(side, uplo, trans, m, n, reflectors.ap.data(), reflectors.tau.data(), C, work.data(),
                                  info);
              EXPECT_EQ(info, 0);
              EXPECT_EQ(memory.kept(), 0);
              if (nq == 99) {
                EXPECT_EQ(memory.count() > 0, nw > 0);
              }
              EXPECT_LT(difference<T>(wide(C), left ? product<T>(factor, before) : product<T>(before, factor)),
                        threshold);
              EXPECT_TRUE(C.guards_unchanged());
              EXPECT_TRUE(work.guards_unchanged());
              EXPECT_TRUE(reflectors.unchanged());
            }
          }
        }
      }
    }
  }
}

TYPED_TEST(PackedQ, DoesNothingOfOrderZero) {
  using T = TypeParam;
  T* const none = nullptr;
  Int info = 99;
  routine_call::opgtr('U', 0, none, none, {none, 1}, none, info);
  EXPECT_EQ(info, 0);
  info = 99;
  routine_call::opmtr('L', 'U', 'N', 0, 3, none, none, {none, 1}, none, info);
  EXPECT_EQ(info, 0);
}

template <Scalar T>
struct FormCall {
  char uplo = 'U';
  Int n = 3, ldq = 3;
  GuardedVector<T> ap{6}, tau{2}, work{2};
  GuardedMatrix<T> Q{3, 3, 3};

  FormCall() {
    for (Int i = 1; i <= 6; ++i) ap(i) = T(Real<T>(i) / 8);
    for (Int i = 1; i <= 2; ++i) tau(i) = T(1);
  }
  Int run() {
    Int info = 99;
    routine_call::opgtr(uplo, n, ap.data(), tau.data(), {Q.data(), ldq}, work.data(), info);
    return info;
  }
  bool unchanged() const { return Q.unchanged() && work.unchanged(); }
};

template <Scalar T>
struct ApplyCall : FormCall<T> {
  char side = 'L', trans = 'N';
  Int m = 3, ldc = 3;

  Int run() {
    Int info = 99;
    routine_call::opmtr(side, this->uplo, trans, m, this->n, this->ap.data(), this->tau.data(), {this->Q.data(), ldc},
                        this->work.data(), info);
    return info;
  }

  GuardedVector<T> longer_work{3};
  ApplyCall() { this->work = longer_work; }
};

TYPED_TEST(PackedQ, ReportsABadArgument) {
  using T = TypeParam;
  using Form = FormCall<T>;
  expect_argument_checks<Form>(
      reported_name<T>(ComplexScalar<T> ? "UPGTR" : "OPGTR"),
      {{1, [](Form& c) { c.uplo = 'X'; }}, {2, [](Form& c) { c.n = -1; }}, {6, [](Form& c) { c.ldq = 2; }}});
  using Apply = ApplyCall<T>;
  expect_argument_checks<Apply>(reported_name<T>(ComplexScalar<T> ? "UPMTR" : "OPMTR"),
                                {{1, [](Apply& c) { c.side = 'X'; }},
                                 {2, [](Apply& c) { c.uplo = 'X'; }},
                                 {3, [](Apply& c) { c.trans = ComplexScalar<T> ? 'T' : 'C'; }},
                                 {4, [](Apply& c) { c.m = -1; }},
                                 {5, [](Apply& c) { c.n = -1; }},
                                 {9, [](Apply& c) { c.ldc = 2; }}});
}

}  // namespace
}  // namespace nuv::test
