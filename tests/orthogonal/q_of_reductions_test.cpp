// The Q and P of bidiagonal and the Q of tridiagonal reductions, applied and formed: ormbr, ormtr, orgbr, orgtr.

#include <array>
#include <vector>

#include "orthogonal/products_with_q.hpp"
#include "support/argument_checks.hpp"
#include "support/options.hpp"

namespace nuv::test {
namespace {

template <class T>
class QOfReductions : public ReportingTest {
 protected:
  Random random{95};
};
TYPED_TEST_SUITE(QOfReductions, Precisions, PrecisionLetter);

inline constexpr Form columns_forward = forms[0], rows_forward = forms[1], columns_backward = forms[2];

/// An orthogonal matrix of order n whose reflectors stand in a corner of another matrix: from row and column on. They
/// leave the first elements of a vector alone, or the last.
template <Scalar T>
struct Embedded {
  Int n;
  bool at_the_end;  ///< whether the reflectors work on the last elements of vectors
  ReflectorBlock<T> H;
  Int row, column;

  /// H x or H^H x for each column of X.
  WideMatrix<T> times(bool adjoint_of_h, WideMatrix<T> X) const {
    const Int start = at_the_end ? n - H.n : 0;
    const WideMatrix<T> part = X.middleRows(start, H.n);
    X.middleRows(start, H.n) = H.times(adjoint_of_h, part);
    return X;
  }

  /// The matrix as a reduction leaves it; what is not of the reflectors holds guards.
  GuardedMatrix<T> stored(Int m, Int columns, Int ld) const {
    GuardedMatrix<T> A(m, columns, ld);
    for (Int j = 1; j <= H.V.columns(); ++j) {
      for (Int i = 1; i <= H.V.rows(); ++i) A(row - 1 + i, column - 1 + j) = H.V(i, j);
    }
    A.seal();
    return A;
  }
};

/// The Q (vect 'Q') or P of order n of a reduction of a matrix with k columns, or rows.
template <Scalar T>
Embedded<T> bidiagonal_factor(Random& random, char vect, Int n, Int k) {
  const bool is_q = vect == 'Q', whole = is_q ? n >= k : n > k;
  const Form form = is_q ? columns_forward : rows_forward;
  const Int order = whole ? n : std::max(0, n - 1), count = whole ? k : order;
  return {n, true, ReflectorBlock<T>(random, form, order, count), whole || !is_q ? 1 : 2, whole || is_q ? 1 : 2};
}

/// The Q of order n of a reduction of a triangle.
template <Scalar T>
Embedded<T> tridiagonal_factor(Random& random, bool upper, Int n) {
  const Int order = std::max(0, n - 1);
  return {n, !upper, ReflectorBlock<T>(random, upper ? columns_backward : columns_forward, order, order), upper ? 1 : 2,
          upper ? 2 : 1};
}

/// op(X) C or C op(X)
template <Scalar T>
WideMatrix<T> product_with(const Embedded<T>& X, bool left, bool plain, const GuardedMatrix<T>& C) {
  if (left) return X.times(!plain, wide(C));
  return X.times(plain, WideMatrix<T>(wide(C).adjoint())).adjoint();
}

constexpr bool choices[] = {true, false};

// -------------------------------------------------------------------------------------------------------- ormbr, ormtr

/// A product with such a matrix by call(side, trans, m, n, A, tau, C, work, lwork, info), nothing else being written.
template <Scalar T, class Call>
Computed<T> multiply(const Embedded<T>& X, const GuardedMatrix<T>& A, const GuardedMatrix<T>& C, char side, char trans,
                     Int lwork, Call call) {
  GuardedMatrix<T> a = A;
  GuardedVector<T> tau = X.H.tau;
  Computed<T> result{C, GuardedVector<T>(lwork)};
  Int info = 99;
  call(side, trans, C.rows(), C.columns(), Matrix<T>(a), static_cast<const T*>(tau.data()), Matrix<T>(result.C),
       result.work.data(), lwork, info);
  EXPECT_EQ(info, 0);
  EXPECT_TRUE(a.unchanged());
  EXPECT_TRUE(tau.unchanged());
  EXPECT_TRUE(result.C.guards_unchanged());
  EXPECT_TRUE(result.work.guards_unchanged());
  return result;
}

/// The same with the least and the best workspace.
template <Scalar T, class Call>
void expect_product(Random& random, const Embedded<T>& X, const GuardedMatrix<T>& A, bool left, bool plain, Int nw,
                    const std::string& inner_name, Call call) {
  const Int nq = X.n, m = left ? nq : nw, n = left ? nw : nq;
  const GuardedMatrix<T> C = random_matrix<T>(random, m, n, std::max(1, m + random.integer(0, 2)));
  const char side = random.in_some_case(left ? 'L' : 'R');
  const char trans = random.in_some_case(plain ? 'N' : adjoint_letter<T>);
  const Int nb = ask(1, inner_name, {side, trans}, left ? m - 1 : m, left ? n : n - 1, nq - 1);
  const Int best = std::max(1, nw) * nb;
  for (const Int lwork : {std::max(1, nw), best, best + nb * nq}) {
    const Computed<T> computed = multiply(X, A, C, side, trans, lwork, call);
    EXPECT_EQ(computed.work(1), T(Real<T>(m == 0 || n == 0 ? 1 : best)));
    EXPECT_LT(relative_distance<T>(wide(computed.C), product_with(X, left, plain, C), nq), threshold);
  }
  // The question.
  GuardedMatrix<T> a = A, c = C;
  GuardedVector<T> tau = X.H.tau, work(2);
  Int info = 99;
  call(side, trans, m, n, Matrix<T>(a), static_cast<const T*>(tau.data()), Matrix<T>(c), work.data(), -1, info);
  EXPECT_EQ(info, 0);
  EXPECT_EQ(work(1), T(Real<T>(best)));
  EXPECT_TRUE(work.unchanged_outside(1, 1));
  EXPECT_TRUE(a.unchanged());
  EXPECT_TRUE(c.same_as(C));
}

struct BidiagonalSizes {
  Int nq, k;
};

TYPED_TEST(QOfReductions, OfBidiagonalFormMultiply) {
  using T = TypeParam;
  // With one row or column of C left alone, the block size is that of order 64 where Q is of order 65.
  for (const auto& [nq, k] : {BidiagonalSizes{0, 0},
                              {0, 3},
                              {1, 1},
                              {1, 3},
                              {2, 2},
                              {5, 3},
                              {5, 5},
                              {5, 9},
                              {40, 36},
                              {40, 40},
                              {40, 41},
                              {65, 60},
                              {65, 70},
                              {70, 66},
                              {70, 90},
                              {6, 0}}) {
    for (const char vect : {'Q', 'P'}) {
      for (const bool left : choices) {
        for (const bool plain : choices) {
          for (const Int nw : {4, 70, 0}) {
            SCOPED_TRACE((std::string{vect, left ? 'L' : 'R', plain ? 'N' : 'T'}) + ", nq " + std::to_string(nq) +
                         ", k " + std::to_string(k) + ", nw " + std::to_string(nw));
            const Embedded<T> X = bidiagonal_factor<T>(this->random, vect, nq, k);
            const Int lines = std::min(nq, k), m = vect == 'Q' ? nq : lines, n = vect == 'Q' ? lines : nq;
            const GuardedMatrix<T> A = X.stored(m, n, std::max(1, m + this->random.integer(0, 2)));
            const char letter = this->random.in_some_case(vect);
            expect_product(this->random, X, A, left, plain, nw, name_with_q<T>("M", vect == 'Q' ? "QR" : "LQ"),
                           [&, k = k](char side, char trans, Int rows, Int columns, Matrix<T> a, const T* tau,
                                      Matrix<T> c, T* work, Int lwork, Int& info) {
                             routine_call::ormbr(letter, side, trans, rows, columns, k, a, tau, c, work, lwork, info);
                           });
          }
        }
      }
    }
  }
}

TYPED_TEST(QOfReductions, OfTridiagonalFormMultiply) {
  using T = TypeParam;
  for (const Int nq : {0, 2, 3, 17, 40, 65, 70}) {
    for (const bool upper : choices) {
      for (const bool left : choices) {
        for (const bool plain : choices) {
          for (const Int nw : {5, 66, 0}) {
            SCOPED_TRACE((std::string{upper ? 'U' : 'L', left ? 'L' : 'R', plain ? 'N' : 'T'}) + ", nq " +
                         std::to_string(nq) + ", nw " + std::to_string(nw));
            const Embedded<T> Q = tridiagonal_factor<T>(this->random, upper, nq);
            const GuardedMatrix<T> A = Q.stored(nq, nq, std::max(1, nq + this->random.integer(0, 2)));
            const char uplo = this->random.in_some_case(upper ? 'U' : 'L');
            expect_product(this->random, Q, A, left, plain, nw, name_with_q<T>("M", upper ? "QL" : "QR"),
                           [&](char side, char trans, Int rows, Int columns, Matrix<T> a, const T* tau, Matrix<T> c,
                               T* work, Int lwork, Int& info) {
                             routine_call::ormtr(side, uplo, trans, rows, columns, a, tau, c, work, lwork, info);
                           });
          }
        }
      }
    }
  }
}

TYPED_TEST(QOfReductions, OfOrderOneIsTheNumberOne) {
  using T = TypeParam;
  const Int nb = ComplexScalar<T> ? 32 : 16;
  for (const char uplo : uplos) {
    GuardedMatrix<T> A(1, 1, 1);
    GuardedVector<T> tau(1), work(6);
    Int info = 99;
    for (const bool left : choices) {
      GuardedMatrix<T> C = random_matrix<T>(this->random, left ? 1 : 6, left ? 6 : 1, 7);
      routine_call::ormtr(left ? 'L' : 'R', uplo, 'N', C.rows(), C.columns(), Matrix<T>(A),
                          static_cast<const T*>(tau.data()), Matrix<T>(C), work.data(), 6, info);
      EXPECT_EQ(info, 0);
      EXPECT_EQ(work(1), T(1));
      EXPECT_TRUE(C.unchanged());
      EXPECT_TRUE(A.unchanged());
    }

    routine_call::orgtr(uplo, 1, Matrix<T>(A), static_cast<const T*>(tau.data()), work.data(), 6, info);
    EXPECT_EQ(info, 0);
    EXPECT_EQ(work(1), T(Real<T>(nb)));
    EXPECT_EQ(A(1, 1), T(1));
    EXPECT_TRUE(A.guards_unchanged());
  }
}

// -------------------------------------------------------------------------------------------------------- orgbr, orgtr

/// Forms lines of such a matrix: call(a, tau, work, lwork, info), of which the workspace takes at least `least` and at
/// best nb times that.
template <Scalar T, class Call>
void expect_formed(const WideMatrix<T>& expected, const GuardedMatrix<T>& A, const GuardedVector<T>& factors, Int least,
                   Int nb, Call call) {
  const Int order = std::max(A.rows(), A.columns());
  for (const Int lwork : {std::max(1, least), std::max(1, least) * nb, std::max(1, least) * nb + 5}) {
    GuardedMatrix<T> a = A;
    GuardedVector<T> tau = factors, work(lwork);
    Int info = 99;
    call(Matrix<T>(a), static_cast<const T*>(tau.data()), work.data(), lwork, info);
    EXPECT_EQ(info, 0);
    EXPECT_EQ(work(1), T(Real<T>(A.rows() == 0 || A.columns() == 0 ? 1 : std::max(1, least) * nb)));
    EXPECT_LT(relative_distance<T>(wide(a), expected, order), threshold);
    EXPECT_TRUE(tau.unchanged());
    EXPECT_TRUE(a.guards_unchanged());
    EXPECT_TRUE(work.guards_unchanged());
  }
  GuardedMatrix<T> a = A;
  GuardedVector<T> tau = factors, work(2);
  Int info = 99;
  call(Matrix<T>(a), static_cast<const T*>(tau.data()), work.data(), -1, info);
  EXPECT_EQ(info, 0);
  EXPECT_EQ(work(1), T(Real<T>(std::max(1, least) * nb)));
  EXPECT_TRUE(work.unchanged_outside(1, 1));
  EXPECT_TRUE(a.same_as(A));
}

/// Order of Q or P, lines of it to form, columns or rows of the matrix that was reduced.
struct FormSizes {
  Int order, lines, k;
};

TYPED_TEST(QOfReductions, OfBidiagonalFormAreFormed) {
  using T = TypeParam;
  // Q from k reflectors where there are as many rows at least, else from order - 1; P^H from k where there are more
  // columns than k.
  for (const FormSizes& s : {FormSizes{1, 1, 1},
                             {2, 2, 3},
                             {6, 6, 4},
                             {6, 4, 4},
                             {6, 5, 4},
                             {6, 6, 6},
                             {6, 6, 9},
                             {50, 50, 50},
                             {50, 50, 51},
                             {50, 40, 40},
                             {90, 80, 70},
                             {65, 65, 66},
                             {75, 75, 80},
                             {1, 1, 4},
                             {5, 3, 0},
                             {5, 0, 0},
                             {0, 0, 3}}) {
    for (const char vect : {'Q', 'P'}) {
      SCOPED_TRACE(std::string{vect} + ", order " + std::to_string(s.order) + ", lines " + std::to_string(s.lines) +
                   ", k " + std::to_string(s.k));
      const bool is_q = vect == 'Q';
      const Embedded<T> X = bidiagonal_factor<T>(this->random, vect, s.order, s.k);
      const Int m = is_q ? s.order : s.lines, n = is_q ? s.lines : s.order;
      const GuardedMatrix<T> A = X.stored(m, n, std::max(1, m + this->random.integer(0, 2)));
      const WideMatrix<T> columns = X.times(false, WideMatrix<T>::Identity(s.order, s.lines));
      const WideMatrix<T> expected = is_q ? columns : WideMatrix<T>(columns.adjoint());
      const char letter = this->random.in_some_case(vect);
      expect_formed<T>(expected, A, X.H.tau, s.lines, ask(1, name_with_q<T>("G", is_q ? "QR" : "LQ"), " ", m, n, s.k),
                       [&](Matrix<T> a, const T* tau, T* work, Int lwork, Int& info) {
                         routine_call::orgbr(letter, m, n, s.k, a, tau, work, lwork, info);
                       });
    }
  }
}

TYPED_TEST(QOfReductions, OfTridiagonalFormAreFormed) {
  using T = TypeParam;
  for (const Int n : {0, 2, 3, 17, 34, 50, 65, 80, 100}) {
    for (const bool upper : choices) {
      SCOPED_TRACE(std::string(upper ? "upper " : "lower ") + std::to_string(n));
      const Embedded<T> Q = tridiagonal_factor<T>(this->random, upper, n);
      const GuardedMatrix<T> A = Q.stored(n, n, std::max(1, n + this->random.integer(0, 2)));
      const WideMatrix<T> expected = Q.times(false, WideMatrix<T>::Identity(n, n));
      const char uplo = this->random.in_some_case(upper ? 'U' : 'L');
      const Int nb = ask(1, name_with_q<T>("G", upper ? "QL" : "QR"), " ", n - 1, n - 1, n - 1);
      expect_formed<T>(expected, A, Q.H.tau, n - 1, nb, [&](Matrix<T> a, const T* tau, T* work, Int lwork, Int& info) {
        routine_call::orgtr(uplo, n, a, tau, work, lwork, info);
      });
    }
  }
}

// ------------------------------------------------------------------------------------------------------ bad arguments

template <Scalar T>
struct ReductionCall {
  char vect = 'Q', uplo = 'U', side = 'L', trans = 'N';
  Int m = 4, n = 4, k = 4, lda = 4, ldc = 4, lwork = 4;
  GuardedMatrix<T> A = sealed_matrix(8), C = sealed_matrix(9);
  GuardedVector<T> tau = sealed_zeros(), work = GuardedVector<T>(4);
  Int info = 99;

  static GuardedMatrix<T> sealed_matrix(int seed) {
    Random random(seed);
    return random_matrix<T>(random, 4, 4, 4);
  }
  static GuardedVector<T> sealed_zeros() {
    GuardedVector<T> zeros(4);
    for (Int i = 1; i <= 4; ++i) zeros(i) = T(0);
    zeros.seal();
    return zeros;
  }
  Matrix<T> a() { return {A.data(), lda}; }
  Matrix<T> c() { return {C.data(), ldc}; }
  const T* factors() const { return tau.data(); }
  bool unchanged() const { return A.unchanged() && C.unchanged() && tau.unchanged() && work.unchanged(); }
};

template <Scalar T>
struct OrmbrCall : ReductionCall<T> {
  Int run() {
    routine_call::ormbr(this->vect, this->side, this->trans, this->m, this->n, this->k, this->a(), this->factors(),
                        this->c(), this->work.data(), this->lwork, this->info);
    return this->info;
  }
};
template <Scalar T>
struct OrmtrCall : ReductionCall<T> {
  Int run() {
    routine_call::ormtr(this->side, this->uplo, this->trans, this->m, this->n, this->a(), this->factors(), this->c(),
                        this->work.data(), this->lwork, this->info);
    return this->info;
  }
};
template <Scalar T>
struct OrgbrCall : ReductionCall<T> {
  Int run() {
    routine_call::orgbr(this->vect, this->m, this->n, this->k, this->a(), this->factors(), this->work.data(),
                        this->lwork, this->info);
    return this->info;
  }
};
template <Scalar T>
struct OrgtrCall : ReductionCall<T> {
  Int run() {
    routine_call::orgtr(this->uplo, this->n, this->a(), this->factors(), this->work.data(), this->lwork, this->info);
    return this->info;
  }
};

/// Expects reports of too little workspace, the argument at this position, and of another bad argument of a question.
template <class Call>
void expect_checks_of_workspace(const std::string& name, int position, const Spoiler<Call>& other) {
  for (const Int lwork : {0, -2}) {
    Call call;
    call.lwork = lwork;
    expect_report(call, name, position);
  }
  Call question;
  question.lwork = -1;
  other.spoil(question);
  expect_report(question, name, other.position);
}

/// Expects of products with C that the least leading dimensions and the least workspace are one, also where there is
/// nothing to do.
template <class Call>
void expect_least_sizes_of_products(const std::string& name, int lda, int ldc, int lwork) {
  Call order_zero;
  order_zero.m = order_zero.lda = 0;
  expect_report(order_zero, name, lda);
  Call no_rows;
  no_rows.m = no_rows.ldc = 0;
  expect_report(no_rows, name, ldc);
  Call no_columns;
  no_columns.n = no_columns.lwork = 0;
  expect_report(no_columns, name, lwork);
}

/// The letters of transposition in the other field.
template <class Call>
void expect_checks_of_letters(const std::string& name, bool is_complex) {
  for (const char letter : {is_complex ? 'T' : 'C', is_complex ? 't' : 'c'}) {
    Call call;
    call.trans = letter;
    expect_report(call, name, 3);
  }
}

TYPED_TEST(QOfReductions, ReportBadArguments) {
  using T = TypeParam;
  using Ormbr = OrmbrCall<T>;
  const std::string ormbr = name_with_q<T>("M", "BR");
  expect_argument_checks<Ormbr>(ormbr, {{1, [](Ormbr& call) { call.vect = 'X'; }},
                                        {2, [](Ormbr& call) { call.side = 'U'; }},
                                        {3, [](Ormbr& call) { call.trans = ComplexScalar<T> ? 'T' : 'C'; }},
                                        {4, [](Ormbr& call) { call.m = -1; }},
                                        {5, [](Ormbr& call) { call.n = -1; }},
                                        {6, [](Ormbr& call) { call.k = -1; }},
                                        {8, [](Ormbr& call) { call.lda = 3; }},
                                        {11, [](Ormbr& call) { call.ldc = 3; }},
                                        {13, [](Ormbr& call) { call.lwork = 3; }}});
  expect_checks_of_workspace<Ormbr>(ormbr, 13, {11, [](Ormbr& call) { call.ldc = 3; }});
  expect_least_sizes_of_products<Ormbr>(ormbr, 8, 11, 13);
  expect_checks_of_letters<Ormbr>(ormbr, ComplexScalar<T>);
  // The rows of P that are stored: min(nq, k).
  for (const auto& [k, lda, position] : {std::array<Int, 3>{3, 3, 0}, {3, 2, 8}, {9, 3, 8}, {0, 1, 0}, {0, 0, 8}}) {
    Ormbr call;
    call.vect = 'P';
    call.k = k;
    call.lda = lda;
    expect_report(call, ormbr, position);
  }

  using Ormtr = OrmtrCall<T>;
  const std::string ormtr = name_with_q<T>("M", "TR");
  expect_argument_checks<Ormtr>(ormtr, {{1, [](Ormtr& call) { call.side = 'U'; }},
                                        {2, [](Ormtr& call) { call.uplo = 'X'; }},
                                        {3, [](Ormtr& call) { call.trans = ComplexScalar<T> ? 'T' : 'C'; }},
                                        {4, [](Ormtr& call) { call.m = -1; }},
                                        {5, [](Ormtr& call) { call.n = -1; }},
                                        {7, [](Ormtr& call) { call.lda = 3; }},
                                        {10, [](Ormtr& call) { call.ldc = 3; }},
                                        {12, [](Ormtr& call) { call.lwork = 3; }}});
  expect_checks_of_workspace<Ormtr>(ormtr, 12, {10, [](Ormtr& call) { call.ldc = 3; }});
  expect_least_sizes_of_products<Ormtr>(ormtr, 7, 10, 12);
  expect_checks_of_letters<Ormtr>(ormtr, ComplexScalar<T>);

  using Orgbr = OrgbrCall<T>;
  const std::string orgbr = name_with_q<T>("G", "BR");
  expect_argument_checks<Orgbr>(orgbr, {{1, [](Orgbr& call) { call.vect = 'X'; }},
                                        {2, [](Orgbr& call) { call.m = -1; }},
                                        {3, [](Orgbr& call) { call.n = -1; }},
                                        {4, [](Orgbr& call) { call.k = -1; }},
                                        {6, [](Orgbr& call) { call.lda = 3; }},
                                        {9, [](Orgbr& call) { call.lwork = 3; }}});
  expect_checks_of_workspace<Orgbr>(orgbr, 9, {6, [](Orgbr& call) { call.lda = 3; }});
  struct Shape {
    char vect;
    Int m, n, k;
    int position;
  };
  for (const Shape& shape : {Shape{'Q', 3, 4, 2, 3},
                             {'Q', 4, 2, 3, 3},
                             {'Q', 4, 3, 4, 3},
                             {'Q', 4, 3, 9, 3},
                             {'Q', 4, 3, 3, 0},
                             {'P', 4, 3, 2, 3},
                             {'P', 2, 4, 3, 3},
                             {'P', 3, 4, 9, 3},
                             {'P', 3, 4, 3, 0}}) {
    SCOPED_TRACE(std::string{shape.vect} + ' ' + std::to_string(shape.m) + ' ' + std::to_string(shape.n) + ' ' +
                 std::to_string(shape.k));
    Orgbr call;
    call.vect = shape.vect;
    call.m = shape.m;
    call.n = shape.n;
    call.k = shape.k;
    expect_report(call, orgbr, shape.position);
  }
  // The least leading dimension and the least workspace are one, also where there is nothing to do.
  for (const char vect : {'Q', 'P'}) {
    Orgbr no_rows;
    no_rows.vect = vect;
    no_rows.m = no_rows.k = no_rows.lda = 0;
    if (vect == 'Q') no_rows.n = 0;
    expect_report(no_rows, orgbr, 6);
    Orgbr no_lines;
    no_lines.vect = vect;
    (vect == 'Q' ? no_lines.n : no_lines.m) = no_lines.k = no_lines.lwork = 0;
    expect_report(no_lines, orgbr, 9);
  }

  using Orgtr = OrgtrCall<T>;
  const std::string orgtr = name_with_q<T>("G", "TR");
  expect_argument_checks<Orgtr>(orgtr, {{1, [](Orgtr& call) { call.uplo = 'X'; }},
                                        {2, [](Orgtr& call) { call.n = -1; }},
                                        {4, [](Orgtr& call) { call.lda = 3; }},
                                        {7, [](Orgtr& call) { call.lwork = 2; }}});
  expect_checks_of_workspace<Orgtr>(orgtr, 7, {4, [](Orgtr& call) { call.lda = 3; }});
  Orgtr order_zero;
  order_zero.n = order_zero.lda = 0;
  expect_report(order_zero, orgtr, 4);
  for (const Int n : {0, 1}) {
    Orgtr call;
    call.n = n;
    call.lwork = 0;
    expect_report(call, orgtr, 7);
  }
}

}  // namespace
}  // namespace nuv::test
