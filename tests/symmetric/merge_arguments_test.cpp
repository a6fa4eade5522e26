// The checks that the merges of divide and conquer make of their arguments.

#include <cmath>

#include "layer.hpp"
#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/guarded.hpp"
#include "support/real_precisions.hpp"

namespace nuv::test {
namespace {

// --------------------------------------------------------------------------------------------- eigenvectors at hand

/// What a call of one of these routines takes, large enough for order 2.
template <RealScalar R>
struct MergeArguments {
  Int k = 2, n = 2, n1 = 1, kstart = 1, kstop = 2, ldq = 2, lds = 2, info = 0;
  R rho = 1;
  GuardedVector<R> d{2}, z{2}, dlamda{2}, w{2}, q2{4}, work{12};
  GuardedMatrix<R> Q{2, 2, 2}, S{2, 2, 2};
  GuardedVector<Int> indxq{2}, indx{2}, indxc{2}, indxp{2}, coltyp{4}, iwork{8};

  MergeArguments() {
    for (Int i = 1; i <= 2; ++i) {
      d(i) = dlamda(i) = R(i);
      z(i) = w(i) = std::sqrt(R(0.5));
      for (Int j = 1; j <= 2; ++j) Q(i, j) = R(i == j);
      indxq(i) = 1;
      indx(i) = i;
    }
    for (Int i = 1; i <= 4; ++i) {
      q2(i) = R(1);
      coltyp(i) = i == 1 || i == 3 ? 1 : 0;
    }
    for (GuardedVector<R>* x : {&d, &z, &dlamda, &w, &q2}) x->seal();
    Q.seal();
    indxq.seal();
    coltyp.seal();
    indx.seal();
  }

  bool unchanged() const {
    return d.unchanged() && z.unchanged() && dlamda.unchanged() && w.unchanged() && q2.unchanged() &&
           work.unchanged() && Q.unchanged() && S.unchanged() && indxq.unchanged() && indx.unchanged() &&
           coltyp.unchanged();
  }
};

template <class R>
class MergeArgumentsTest : public ReportingTest {};
TYPED_TEST_SUITE(MergeArgumentsTest, RealPrecisions, PrecisionLetter);

TYPED_TEST(MergeArgumentsTest, AreChecked) {
  using R = TypeParam;
  struct First : MergeArguments<R> {
    Int run() {
      routine_call::laed1(this->n, this->d.data(), {this->Q.data(), this->ldq}, this->indxq.data(), this->rho, this->n1,
                          this->work.data(), this->iwork.data(), this->info);
      return this->info;
    }
  };
  expect_argument_checks<First>(reported_name<R>("LAED1"), {{1, [](First& c) { c.n = -1; }},
                                                            {4, [](First& c) { c.ldq = c.n > 0 ? 1 : 0; }},
                                                            {7, [](First& c) { c.n1 = c.n > 0 ? 2 : 1; }}});
  expect_argument_checks<First>(reported_name<R>("LAED1"), {{7, [](First& c) { c.n1 = 0; }}});

  struct Deflate : MergeArguments<R> {
    Int run() {
      routine_call::laed2(this->k, this->n, this->n1, this->d.data(), {this->Q.data(), this->ldq}, this->indxq.data(),
                          this->rho, this->z.data(), this->dlamda.data(), this->w.data(), this->q2.data(),
                          this->indx.data(), this->indxc.data(), this->indxp.data(), this->coltyp.data(), this->info);
      return this->info;
    }
  };
  // The order of its checks is not that of its arguments: 2, 6, 3.
  for (const auto& [position, spoil] :
       std::initializer_list<std::pair<int, void (*)(Deflate&)>>{{2, [](Deflate& c) { c.n = -1, c.ldq = 0, c.n1 = 9; }},
                                                                 {6, [](Deflate& c) { c.ldq = 1, c.n1 = 9; }},
                                                                 {3, [](Deflate& c) { c.n1 = 0; }},
                                                                 {3, [](Deflate& c) { c.n1 = 2; }}}) {
    Deflate call;
    spoil(call);
    expect_report(call, reported_name<R>("LAED2"), position);
  }

  struct Solve : MergeArguments<R> {
    Int run() {
      routine_call::laed3(this->k, this->n, this->n1, this->d.data(), {this->Q.data(), this->ldq}, this->rho,
                          this->dlamda.data(), this->q2.data(), this->indx.data(), this->coltyp.data(), this->w.data(),
                          this->work.data(), this->info);
      return this->info;
    }
  };
  expect_argument_checks<Solve>(
      reported_name<R>("LAED3"),
      {{1, [](Solve& c) { c.k = -1; }}, {2, [](Solve& c) { c.n = 1; }}, {6, [](Solve& c) { c.ldq = 0; }}});

  struct Vectors : MergeArguments<R> {
    Int run() {
      routine_call::laed9(this->k, this->kstart, this->kstop, this->n, this->d.data(), {this->Q.data(), this->ldq},
                          this->rho, this->dlamda.data(), this->w.data(), {this->S.data(), this->lds}, this->info);
      return this->info;
    }
  };
  const std::string vectors = reported_name<R>("LAED9");
  expect_argument_checks<Vectors>(vectors, {{1, [](Vectors& c) { c.k = -1; }},
                                            {2, [](Vectors& c) { c.kstart = 3; }},
                                            {3, [](Vectors& c) { c.kstop = 4; }},
                                            {4, [](Vectors& c) { c.n = 1; }},
                                            {7, [](Vectors& c) { c.ldq = 0; }},
                                            {12, [](Vectors& c) { c.lds = 0; }}});
  expect_argument_checks<Vectors>(vectors, {{2, [](Vectors& c) { c.kstart = 0; }}});
  expect_argument_checks<Vectors>(vectors, {{3, [](Vectors& c) { c.kstart = 2, c.kstop = 1; }}});
}

// -------------------------------------------------------------------------------- eigenvectors as products of factors

template <Scalar T>
struct FactoredArguments {
  using R = Real<T>;
  static constexpr Int order = 2;

  Int icompq = 1, n = order, qsiz = order, cutpnt = 1, ldq = order, ldq2 = order, ldqs = order, k = 0, givptr_out = 0,
      info = 0;
  R rho = 1;
  GuardedVector<R> d{order}, z{order}, dlamda{order}, w{order}, givnum{8}, blocks{20}, rwork{40};
  GuardedMatrix<T> Q{order, order, order}, Q2{order, order, order};
  GuardedVector<T> work{40};
  GuardedVector<Int> indxq{order}, indxp{order}, indx{order}, perm{8}, givcol{8}, qptr{8}, prmptr{8}, givptr{8},
      iwork{60};

  FactoredArguments() {
    for (Int i = 1; i <= order; ++i) {
      d(i) = R(i);
      z(i) = 1;
      indxq(i) = 1;
      blocks(i) = 1;
      qptr(i) = i;
      prmptr(i) = givptr(i) = 1;
      for (Int j = 1; j <= order; ++j) Q(i, j) = T(i == j);
    }
    qptr(3) = 3;
    prmptr(3) = givptr(3) = 1;
    for (GuardedVector<R>* x : {&d, &z, &blocks}) x->seal();
    for (GuardedVector<Int>* x : {&indxq, &qptr, &prmptr, &givptr}) x->seal();
    Q.seal();
  }

  bool unchanged() const {
    return d.unchanged() && z.unchanged() && dlamda.unchanged() && w.unchanged() && Q.unchanged() && Q2.unchanged() &&
           indxq.unchanged() && perm.unchanged() && qptr.unchanged() && prmptr.unchanged() && givptr.unchanged() &&
           blocks.unchanged() && work.unchanged() && rwork.unchanged() && iwork.unchanged();
  }
};

template <Scalar T>
struct DeflationCall : FactoredArguments<T> {
  Int run() {
    if constexpr (RealScalar<T>) {
      routine_call::laed8(this->icompq, this->k, this->n, this->qsiz, this->d.data(), {this->Q.data(), this->ldq},
                          this->indxq.data(), this->rho, this->cutpnt, this->z.data(), this->dlamda.data(),
                          {this->Q2.data(), this->ldq2}, this->w.data(), this->perm.data(), this->givptr_out,
                          this->givcol.data(), this->givnum.data(), this->indxp.data(), this->indx.data(), this->info);
    } else {
      routine_call::laed8(this->k, this->n, this->qsiz, {this->Q.data(), this->ldq}, this->d.data(), this->rho,
                          this->cutpnt, this->z.data(), this->dlamda.data(), {this->Q2.data(), this->ldq2},
                          this->w.data(), this->indxp.data(), this->indx.data(), this->indxq.data(), this->perm.data(),
                          this->givptr_out, this->givcol.data(), this->givnum.data(), this->info);
    }
    return this->info;
  }
};

template <Scalar T>
struct MergeCall : FactoredArguments<T> {
  Int run() {
    if constexpr (RealScalar<T>) {
      routine_call::laed7(this->icompq, this->n, this->qsiz, 1, 1, 0, this->d.data(), {this->Q.data(), this->ldq},
                          this->indxq.data(), this->rho, this->cutpnt, this->blocks.data(), this->qptr.data(),
                          this->prmptr.data(), this->perm.data(), this->givptr.data(), this->givcol.data(),
                          this->givnum.data(), this->work.data(), this->iwork.data(), this->info);
    } else {
      routine_call::laed7(this->n, this->cutpnt, this->qsiz, 1, 1, 0, this->d.data(), {this->Q.data(), this->ldq},
                          this->rho, this->indxq.data(), this->blocks.data(), this->qptr.data(), this->prmptr.data(),
                          this->perm.data(), this->givptr.data(), this->givcol.data(), this->givnum.data(),
                          this->work.data(), this->rwork.data(), this->iwork.data(), this->info);
    }
    return this->info;
  }
};

template <Scalar T>
struct TreeCall : FactoredArguments<T> {
  GuardedVector<Real<T>> e{1};
  TreeCall() { e(1) = 1; }

  Int run() {
    if constexpr (RealScalar<T>) {
      layer::laed0(this->icompq, this->qsiz, this->n, this->d.data(), e.data(), {this->Q.data(), this->ldq},
                   this->Q2.data(), this->ldqs, this->work.data(), this->iwork.data(), this->info);
    } else {
      layer::laed0(this->qsiz, this->n, this->d.data(), e.data(), {this->Q.data(), this->ldq}, this->Q2.data(),
                   this->ldqs, this->rwork.data(), this->iwork.data(), this->info);
    }
    return this->info;
  }
};

template <class T>
class FactoredMergeArguments : public ReportingTest {};
TYPED_TEST_SUITE(FactoredMergeArguments, Precisions, PrecisionLetter);

TYPED_TEST(FactoredMergeArguments, AreChecked) {
  using T = TypeParam;
  using Deflate = DeflationCall<T>;
  using Merge = MergeCall<T>;
  using Climb = TreeCall<T>;
  const std::string deflate = reported_name<T>("LAED8"), merge = reported_name<T>("LAED7"),
                    climb = reported_name<T>("LAED0");
  if constexpr (RealScalar<T>) {
    expect_argument_checks<Deflate>(deflate, {{1, [](Deflate& c) { c.icompq = 2; }},
                                              {3, [](Deflate& c) { c.n = -1; }},
                                              {4, [](Deflate& c) { c.qsiz = -2; }},
                                              {7, [](Deflate& c) { c.ldq = 0; }},
                                              {10, [](Deflate& c) { c.cutpnt = -1; }},
                                              {14, [](Deflate& c) { c.ldq2 = 0; }}});
    expect_argument_checks<Deflate>(deflate, {{1, [](Deflate& c) { c.icompq = -1; }}});
    expect_argument_checks<Deflate>(deflate, {{10, [](Deflate& c) { c.cutpnt = 3; }}});
    expect_argument_checks<Merge>(merge, {{1, [](Merge& c) { c.icompq = 2; }},
                                          {2, [](Merge& c) { c.n = -1; }},
                                          {4, [](Merge& c) { c.qsiz = -2; }},
                                          {9, [](Merge& c) { c.ldq = 0; }},
                                          {12, [](Merge& c) { c.cutpnt = 3; }}});
    expect_argument_checks<Merge>(merge, {{12, [](Merge& c) { c.cutpnt = 0; }}});
    expect_argument_checks<Climb>(climb, {{1, [](Climb& c) { c.icompq = 3; }},
                                          {2, [](Climb& c) { c.qsiz = -1; }},
                                          {3, [](Climb& c) { c.n = -1; }},
                                          {7, [](Climb& c) { c.ldq = 0; }},
                                          {9, [](Climb& c) { c.ldqs = 0; }}});
    expect_argument_checks<Climb>(climb, {{1, [](Climb& c) { c.icompq = -1; }}});
    expect_argument_checks<Climb>(climb, {{2, [](Climb& c) { c.qsiz = 1; }}});
  } else {
    expect_argument_checks<Deflate>(deflate, {{2, [](Deflate& c) { c.n = -1; }},
                                              {3, [](Deflate& c) { c.qsiz = -2; }},
                                              {5, [](Deflate& c) { c.ldq = 0; }},
                                              {8, [](Deflate& c) { c.cutpnt = -1; }},
                                              {12, [](Deflate& c) { c.ldq2 = 0; }}});
    expect_argument_checks<Deflate>(deflate, {{8, [](Deflate& c) { c.cutpnt = 3; }}});
    expect_argument_checks<Merge>(merge, {{1, [](Merge& c) { c.n = -1; }},
                                          {2, [](Merge& c) { c.cutpnt = 3; }},
                                          {3, [](Merge& c) { c.qsiz = -2; }},
                                          {9, [](Merge& c) { c.ldq = 0; }}});
    expect_argument_checks<Merge>(merge, {{2, [](Merge& c) { c.cutpnt = 0; }}});
    expect_argument_checks<Climb>(climb, {{1, [](Climb& c) { c.qsiz = -1; }},
                                          {2, [](Climb& c) { c.n = -1; }},
                                          {6, [](Climb& c) { c.ldq = 0; }},
                                          {8, [](Climb& c) { c.ldqs = 0; }}});
    expect_argument_checks<Climb>(climb, {{1, [](Climb& c) { c.qsiz = 1; }}});
  }
}

TYPED_TEST(FactoredMergeArguments, JoinNothingWithoutAnOrder) {
  using R = TypeParam;
  if constexpr (RealScalar<R>) {
    R none = guard<R>();
    Int zero = 0, info = 99;
    routine_call::laeda(-1, 1, 1, 0, &zero, &zero, &zero, &zero, &none, &none, &zero, &none, &none, info);
    EXPECT_EQ(info, -1);
    EXPECT_EQ(take_error_reports(), std::vector<ErrorReport>({{reported_name<R>("LAEDA"), 1}}));
    routine_call::laeda(0, 1, 1, 0, &zero, &zero, &zero, &zero, &none, &none, &zero, &none, &none, info);
    EXPECT_EQ(info, 0);
    EXPECT_TRUE(same_bits(none, guard<R>()));
  }
}

}  // namespace
}  // namespace nuv::test
