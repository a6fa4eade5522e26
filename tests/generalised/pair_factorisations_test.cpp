// Generalised QR and RQ factorisation: ggqrf and ggrqf.

#include "orthogonal/factored.hpp"
#include "support/argument_checks.hpp"
#include "support/sanitized.hpp"

namespace nuv::test {
namespace {

template <class T>
class PairFactorisations : public ReportingTest {
 protected:
  Random random{861};
};
TYPED_TEST_SUITE(PairFactorisations, Precisions, PrecisionLetter);

/// A call of either routine, for an n by m and an n by p matrix (QR) or an m by n and a p by n matrix (RQ).
template <Scalar T, bool qr>
struct PairCall {
  Int shared, own_of_a, own_of_b;
  Int lda, ldb, lwork, info = 99;
  GuardedMatrix<T> A, B;
  GuardedVector<T> taua, taub, work;

  PairCall(const GuardedMatrix<T>& a, const GuardedMatrix<T>& b, Int lwork_)
      : shared(qr ? a.rows() : a.columns()),
        own_of_a(qr ? a.columns() : a.rows()),
        own_of_b(qr ? b.columns() : b.rows()),
        lda(a.ld()),
        ldb(b.ld()),
        lwork(lwork_),
        A(a),
        B(b),
        taua(std::min(shared, own_of_a)),
        taub(std::min(shared, own_of_b)),
        work(std::max(lwork_, 1)) {}

  Int longest() const { return std::max({shared, own_of_a, own_of_b}); }

  Int run() {
    const Matrix<T> a{A.data(), lda}, b{B.data(), ldb};
    if constexpr (qr) {
      routine_call::ggqrf(shared, own_of_a, own_of_b, a, taua.data(), b, taub.data(), work.data(), lwork, info);
    } else {
      routine_call::ggrqf(own_of_a, own_of_b, shared, a, taua.data(), b, taub.data(), work.data(), lwork, info);
    }
    EXPECT_TRUE(A.guards_unchanged() && B.guards_unchanged() && taua.guards_unchanged() && taub.guards_unchanged());
    EXPECT_TRUE(work.guards_unchanged());
    return info;
  }

  bool unchanged() const {
    return A.unchanged() && B.unchanged() && taua.unchanged() && taub.unchanged() && work.unchanged_outside(1, 1);
  }

  /// What the library's own steps leave, one after the other with the same workspace, and what they would like.
  T run_by_steps() {
    Int ignored = 0;
    Real<T> best = 0;
    const auto note = [&] { best = std::max(best, std::real(work(1))); };
    const Matrix<T> a{A.data(), lda}, b{B.data(), ldb};
    const Int k = std::min(shared, own_of_a);
    if constexpr (qr) {
      layer::geqrf(shared, own_of_a, a, taua.data(), work.data(), lwork, ignored);
      note();
      layer::ormqr('L', adjoint_letter<T>, shared, own_of_b, k, a, taua.data(), b, work.data(), lwork, ignored);
      note();
      routine_call::gerqf(shared, own_of_b, b, taub.data(), work.data(), lwork, ignored);
    } else {
      routine_call::gerqf(own_of_a, shared, a, taua.data(), work.data(), lwork, ignored);
      note();
      const Matrix<T> reflectors{a.at(std::max(1, own_of_a - shared + 1), 1), lda};
      layer::ormrq('R', adjoint_letter<T>, own_of_b, shared, k, reflectors, taua.data(), b, work.data(), lwork,
                   ignored);
      note();
      layer::geqrf(own_of_b, shared, b, taub.data(), work.data(), lwork, ignored);
    }
    note();
    return T(best);
  }
};

template <Scalar T, bool qr>
struct RandomPair {
  GuardedMatrix<T> A, B;

  RandomPair(Random& random, Int shared, Int own_of_a, Int own_of_b)
      : A(matrix(random, shared, own_of_a)), B(matrix(random, shared, own_of_b)) {}

  static GuardedMatrix<T> matrix(Random& random, Int shared, Int own) {
    const Int rows = qr ? shared : own, columns = qr ? own : shared;
    return random_matrix<T>(random, rows, columns, padded(rows));
  }
};

/// A = Q R and Q^H B = T Z, or A = R Q and B Q^H = Z T, each of which is a factorisation by itself.
template <Scalar T, bool qr>
void expect_pair_factored(const PairCall<T, qr>& call, const RandomPair<T, qr>& pair) {
  const Factored<T> of_a{qr ? qr_form : rq_form, wide(pair.A), call.A, call.taua, call.work, call.info};
  const WideMatrix<T> B = wide(pair.B);
  const WideMatrix<T> turned =
      qr ? of_a.times(true, B) : WideMatrix<T>(of_a.times(true, WideMatrix<T>(B.adjoint())).adjoint());
  const Factored<T> of_b{qr ? rq_form : qr_form, turned, call.B, call.taub, call.work, call.info};
  expect_factored(of_a);
  expect_factored(of_b);
}

template <Scalar T, bool qr>
Int best_lwork(const RandomPair<T, qr>& pair) {
  PairCall<T, qr> question(pair.A, pair.B, -1);
  EXPECT_EQ(question.run(), 0);
  EXPECT_TRUE(question.unchanged());
  return Int(std::real(question.work(1)));
}

struct Sizes {
  Int shared, own_of_a, own_of_b;
};

std::vector<Sizes> all_sizes() {
  std::vector<Sizes> all;
  for (const Int shared : {1, 4, 31, 32, 33, 70}) {
    for (const Int own_of_a : {1, 3, 32, 33, 80}) {
      for (const Int own_of_b : {1, 5, 32, 34, 75}) all.push_back({shared, own_of_a, own_of_b});
    }
  }
  for (const Sizes& large : {Sizes{150, 100, 130}, {100, 150, 130}, {100, 60, 170}}) all.push_back(large);
  if (is_sanitized) std::erase_if(all, [](const Sizes& s) { return s.shared * (s.own_of_a + s.own_of_b) > 6000; });
  return all;
}

template <Scalar T, bool qr>
void expect_all_sizes(Random& random) {
  for (const auto& [shared, own_of_a, own_of_b] : all_sizes()) {
    const RandomPair<T, qr> pair(random, shared, own_of_a, own_of_b);
    const Int least = std::max({shared, own_of_a, own_of_b}), best = best_lwork(pair);
    for (const Int lwork : {least, best, 2 * least + 1, 20 * best}) {
      SCOPED_TRACE(testing::Message() << shared << ", " << own_of_a << ", " << own_of_b << ", lwork " << lwork);
      PairCall<T, qr> call(pair.A, pair.B, lwork), steps = call;
      ASSERT_EQ(call.run(), 0);
      if (lwork == least || lwork == best) expect_pair_factored(call, pair);
      const T liked = steps.run_by_steps();
      EXPECT_EQ(call.work(1), liked);
      EXPECT_TRUE(call.A.same_as(steps.A) && call.taua.same_as(steps.taua));
      EXPECT_TRUE(call.B.same_as(steps.B) && call.taub.same_as(steps.taub));
    }
  }
}

TYPED_TEST(PairFactorisations, ByQrOfAllShapes) {
  expect_all_sizes<TypeParam, true>(this->random);
}

TYPED_TEST(PairFactorisations, ByRqOfAllShapes) {
  expect_all_sizes<TypeParam, false>(this->random);
}

template <Scalar T, bool qr>
void expect_answers(Random& random) {
  const auto nb = [](const std::string& operation, Int n1, Int n2, Int n3) {
    const std::string name = reported_name<T>(operation);
    return routine_call::ilaenv(1, {name.data(), Int(name.size())}, " ", n1, n2, n3, -1);
  };
  const std::string form = RealScalar<T> ? "ORM" : "UNM";
  for (const auto& [shared, own_of_a, own_of_b] :
       {Sizes{3, 4, 5}, {100, 20, 30}, {20, 300, 40}, {30, 40, 500}, {0, 0, 0}, {0, 5, 0}, {2000, 100, 1}}) {
    const RandomPair<T, qr> pair(random, shared, own_of_a, own_of_b);
    const Int widest = qr ? std::max({nb("GEQRF", shared, own_of_a, -1), nb("GERQF", shared, own_of_b, -1),
                                      nb(form + "QR", shared, own_of_a, own_of_b)})
                          : std::max({nb("GERQF", own_of_a, shared, -1), nb("GEQRF", own_of_b, shared, -1),
                                      nb(form + "RQ", own_of_a, shared, own_of_b)});
    EXPECT_EQ(best_lwork(pair), std::max(1, widest * std::max({shared, own_of_a, own_of_b})));
  }
}

TYPED_TEST(PairFactorisations, AnswerTheQuestionForWorkspace) {
  expect_answers<TypeParam, true>(this->random);
  expect_answers<TypeParam, false>(this->random);
}

template <Scalar T, bool qr>
void expect_empty(Random& random) {
  for (const auto& [shared, own_of_a, own_of_b] :
       {Sizes{0, 0, 0}, {0, 3, 2}, {4, 0, 0}, {4, 0, 3}, {4, 3, 0}, {0, 0, 5}}) {
    SCOPED_TRACE(testing::Message() << shared << ", " << own_of_a << ", " << own_of_b);
    const RandomPair<T, qr> pair(random, shared, own_of_a, own_of_b);
    PairCall<T, qr> call(pair.A, pair.B, std::max({1, shared, own_of_a, own_of_b}));
    EXPECT_EQ(call.run(), 0);
    EXPECT_GE(std::real(call.work(1)), 1);
    if (shared > 0) expect_pair_factored(call, pair);
  }
}

TYPED_TEST(PairFactorisations, OfMatricesWithoutElements) {
  expect_empty<TypeParam, true>(this->random);
  expect_empty<TypeParam, false>(this->random);
}

/// The shared size is 4, A has 3 lines of its own and B 5.
template <Scalar T, bool qr>
struct ValidPairCall : PairCall<T, qr> {
  ValidPairCall() : ValidPairCall(made()) {}

 private:
  explicit ValidPairCall(const RandomPair<T, qr>& pair) : PairCall<T, qr>(pair.A, pair.B, 5) {}
  static RandomPair<T, qr> made() {
    Random random(7);
    return {random, 4, 3, 5};
  }
};

template <Scalar T, bool qr>
void expect_checks() {
  using C = ValidPairCall<T, qr>;
  const std::string name = reported_name<T>(qr ? "GGQRF" : "GGRQF");
  constexpr int of_shared = qr ? 1 : 3, of_a = qr ? 2 : 1, of_b = qr ? 3 : 2;
  expect_argument_checks<C>(name, {{of_shared, [](C& c) { c.shared = -1; }},
                                   {of_a, [](C& c) { c.own_of_a = -1; }},
                                   {of_b, [](C& c) { c.own_of_b = -1; }},
                                   {5, [](C& c) { c.lda = (qr ? 4 : 3) - 1; }},
                                   {8, [](C& c) { c.ldb = (qr ? 4 : 5) - 1; }},
                                   {11, [](C& c) { c.lwork = 4; }}});
  for (const Int lwork : {0, -2}) {
    C call;
    call.lwork = lwork;
    expect_report(call, name, 11);
  }
  C question;
  question.lwork = -1;
  question.ldb = 1;
  expect_report(question, name, 8);
  // Also where there is nothing to do.
  const auto expect_of_nothing = [&](int position, auto spoil) {
    C call;
    call.shared = call.own_of_a = call.own_of_b = 0;
    spoil(call);
    expect_report(call, name, position);
  };
  expect_of_nothing(5, [](C& c) { c.lda = 0; });
  expect_of_nothing(8, [](C& c) { c.ldb = 0; });
  expect_of_nothing(11, [](C& c) { c.lwork = 0; });
}

TYPED_TEST(PairFactorisations, CheckTheirArguments) {
  expect_checks<TypeParam, true>();
  expect_checks<TypeParam, false>();
}

}  // namespace
}  // namespace nuv::test
