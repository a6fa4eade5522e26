// What reflectors are computed by, operation by operation: larfg, larf, larf2, larft and the unblocked factorisations
// leave the bits that the same kernels leave when they are called from here.

#include "blas.hpp"
#include "orthogonal/factored.hpp"
#include "support/options.hpp"
#include "support/reported_errors.hpp"

namespace nuv::test {
namespace {

template <class T>
class ReflectorArithmetic : public ReportingTest {
 protected:
  Random random{47};
};
TYPED_TEST_SUITE(ReflectorArithmetic, Precisions, PrecisionLetter);

// ------------------------------------------------------------------------------------------------------------- larfg

template <RealScalar R>
R length(R alpha, R xnorm) {
  return routine_call::lapy2(alpha, xnorm);
}
template <RealScalar R>
R length(std::complex<R> alpha, R xnorm) {
  return routine_call::lapy3(alpha.real(), alpha.imag(), xnorm);
}

template <RealScalar R>
R factor_of(R alpha, R beta) {
  return (beta - alpha) / beta;
}
template <RealScalar R>
std::complex<R> factor_of(std::complex<R> alpha, R beta) {
  return {(beta - alpha.real()) / beta, negated(alpha.imag()) / beta};
}

template <RealScalar R>
R reciprocal(R x) {
  return 1 / x;
}
template <RealScalar R>
std::complex<R> reciprocal(std::complex<R> x) {
  return routine_call::ladiv(std::complex<R>(1), x);
}

template <Scalar T>
void generate_by_hand(Int n, T& alpha, Vector<T> x, T& tau) {
  using R = Real<T>;
  tau = T(0);
  if (n < (ComplexScalar<T> ? 1 : 2)) return;
  R xnorm = blas::nrm2(n - 1, x);
  if (xnorm == 0 && std::imag(alpha) == 0) return;
  const auto reflected = [&] { return std::copysign(length(alpha, xnorm), std::real(alpha) < 0 ? R(1) : R(-1)); };
  R beta = reflected();
  const R safmin = routine_call::lamch<R>('S') / routine_call::lamch<R>('E'), rsafmn = 1 / safmin;
  const bool is_tiny = std::abs(beta) < safmin;
  Int scalings = 0;
  while (std::abs(beta) < safmin) {
    ++scalings;
    blas::scal(n - 1, rsafmn, x);
    beta *= rsafmn;
    alpha *= rsafmn;
  }
  if (is_tiny) {
    xnorm = blas::nrm2(n - 1, x);
    beta = reflected();
  }
  tau = factor_of(alpha, beta);
  blas::scal(n - 1, reciprocal(alpha - beta), x);
  for (; scalings > 0; --scalings) beta *= safmin;
  alpha = beta;
}

/// The size that a vector must not fall below to be reflected without scaling.
template <Scalar T>
Real<T> least_plain_size() {
  return std::numeric_limits<Real<T>>::min() / (epsilon<T> / 2);
}

TYPED_TEST(ReflectorArithmetic, GeneratesByTheseSteps) {
  using T = TypeParam;
  using R = Real<T>;
  const R least = least_plain_size<T>(), smallest = std::numeric_limits<R>::min();
  for (const R size : {R(1), least * 4, least, least / 2, least / 64, smallest, smallest / 8}) {
    for (const Int n : {0, 1, 2, 3, 5, 18, 70}) {
      for (const Int inc : {1, 3}) {
        for (const T direction : {T(1), T(-1), this->random.template scalar<T>(), T(0), T(R(0x1p-20))}) {
          SCOPED_TRACE("size 2^" + std::to_string(std::log2(size)) + ", order " + std::to_string(n));
          GuardedVector<T> x = random_vector<T>(this->random, std::max(0, n - 1), inc);
          for (Int i = 1; i < n; ++i) x(i) *= size;
          GuardedVector<T> expected_x = x;
          const T first = direction * size * this->random.template divisor<T>();
          T alpha = first, expected_alpha = first, tau = guard<T>(), expected_tau = guard<T>();
          routine_call::larfg(n, alpha, x, tau);
          generate_by_hand<T>(n, expected_alpha, expected_x, expected_tau);
          EXPECT_TRUE(same_bits(alpha, expected_alpha)) << alpha << " and " << expected_alpha;
          EXPECT_TRUE(same_bits(tau, expected_tau)) << tau << " and " << expected_tau;
          EXPECT_TRUE(x.same_as(expected_x));
        }
      }
    }
  }
}

// -------------------------------------------------------------------------------------------------------------- larf

TYPED_TEST(ReflectorArithmetic, AppliesByTwoKernels) {
  using T = TypeParam;
  for (const auto& [m, n] : {Shape{1, 1}, {3, 7}, {17, 12}, {40, 33}, {33, 70}}) {
    for (const char side : sides) {
      for (const Int inc : {1, 2, -1}) {
        SCOPED_TRACE(to_string(Shape{m, n}) + ", side " + side);
        const bool left = is_left(side);
        GuardedMatrix<T> C = random_matrix<T>(this->random, m, n, m + 2), expected = C;
        const GuardedVector<T> v = random_vector<T>(this->random, left ? m : n, inc);
        const T tau = this->random.template scalar<T>();
        GuardedVector<T> work(left ? n : m), w = work;
        routine_call::larf(side, m, n, v, tau, C, work.data());
        blas::gemv(left ? adjoint_letter<T> : 'N', m, n, T(1), expected, v, T(0), w);
        const Vector<const T> x = left ? Vector<const T>(v) : Vector<const T>(w), y = left ? w : v;
        if constexpr (ComplexScalar<T>) {
          blas::gerc(m, n, negated(tau), x, y, expected);
        } else {
          blas::ger(m, n, negated(tau), x, y, expected);
        }
        EXPECT_TRUE(C.same_as(expected));
        EXPECT_TRUE(work.same_as(w));
      }
    }
  }
}

// ------------------------------------------------------------------------------------------------------------- larf2

/// Column after column, each by the products of its reflector with the finished ones.
void plain_factor_by_hand(const ReflectorBlock<double>& block_of_reflectors, Matrix<double> t) {
  ReflectorBlock<double> b = block_of_reflectors;
  const Int n = b.n, k = b.k;
  const Matrix<double> V(b.V);
  const bool forward = b.form.forward(), columnwise = b.form.columnwise();
  for (Int step = 1; step <= k; ++step) {
    const Int i = forward ? step : k + 1 - step;
    const double tau = b.tau(i);
    const Int first = forward ? 1 : i + 1, finished = forward ? i - 1 : k - i;  // the finished columns
    double* const column_of_t = &t(first, i);
    t(i, i) = tau;
    if (tau == 0) {
      std::fill_n(column_of_t, finished, 0.0);
      continue;
    }
    const Int e = forward ? i : 1, count = forward ? n - i + 1 : n - k + i;  // the elements of reflector i
    const Int unit = forward ? i : n - k + i;
    double& unit_element = columnwise ? V(unit, i) : V(i, unit);
    const double kept = unit_element;
    unit_element = 1;
    if (columnwise) {
      blas::gemv('T', count, finished, negated(tau), block(V, e, first), column(V, e, i), 0.0, {column_of_t, 1});
    } else {
      blas::gemv('N', finished, count, negated(tau), block(V, first, e), row(V, i, e), 0.0, {column_of_t, 1});
    }
    unit_element = kept;
    blas::trmv(forward ? 'U' : 'L', 'N', 'N', finished, block(t, first, first), {column_of_t, 1});
  }
}

struct Size {
  Int n, k;
};

/// With and without rows beside the triangle, and an identity among the reflectors.
template <Scalar T, class Visit>
void for_each_block_of_reflectors(Random& random, std::initializer_list<Size> sizes, Visit visit) {
  for (const Form& form : forms) {
    for (const auto& [n, k] : sizes) {
      for (const Int identity : {0, (k + 1) / 2}) {
        SCOPED_TRACE(to_string(form) + ", " + std::to_string(k) + " of order " + std::to_string(n) + ", identity " +
                     std::to_string(identity));
        ReflectorBlock<T> block(random, form, n, k);
        if (identity > 0) block.tau(identity) = T(0);
        visit(block);
      }
    }
  }
}

TEST(PlainFactorArithmetic, GoesColumnByColumn) {
  Random random(48);
  for_each_block_of_reflectors<double>(random, {{1, 1}, {9, 2}, {20, 20}, {50, 33}, {70, 48}}, [](auto& block) {
    GuardedMatrix<double> t(block.k, block.k, block.k + 1), expected = t;
    routine_call::larf2(block.form.direct, block.form.storev, block.n, block.k, block.V, block.tau.data(), t);
    plain_factor_by_hand(block, expected);
    EXPECT_TRUE(t.same_as(expected));
  });
}

// ------------------------------------------------------------------------------------------------------------- larft

/// The factor of a block of reflectors, some columns at a time.
template <Scalar T>
class FactorByHand {
 public:
  FactorByHand(const ReflectorBlock<T>& block, Matrix<T> t)
      : form_(block.form), n_(block.n), k_(block.k), V_(block.V), tau_(block.tau), t_(t), x_(block.n) {
    const Int nb = k_ <= 64 || n_ >= 15000 ? 16 : 32;
    for (Int done = 0; done < k_; done += nb) {
      const Int ib = std::min(nb, k_ - done);
      form_.forward() ? add_columns_forward(done + 1, ib) : add_columns_backward(k_ - done - ib + 1, k_ - done);
    }
  }

 private:
  /// The stored matrix from element e of reflector i on.
  Matrix<const T> from(Int e, Int i) const {
    const Matrix<const T> V(V_);
    return form_.columnwise() ? block(V, e, i) : block(V, i, e);
  }
  Int unit(Int i) const { return unit_element(form_, n_, k_, i); }

  /// y := V^H X for elements from e on of reflectors from i and of those from j on.
  void multiply(Int rows, Int columns, Int elements, Int e, Int i, Int j, Matrix<T> y) const {
    const char t = adjoint_letter<T>;
    blas::gemm(form_.columnwise() ? t : 'N', form_.columnwise() ? 'N' : t, rows, columns, elements, T(1), from(e, i),
               from(e, j), T(0), y);
  }

  /// y := s V^H x + beta y for `count` elements, from e on, of `columns` reflectors, from i on.
  void multiply_vector(Int count, Int columns, Int e, Int i, T s, Vector<const T> x, T beta, Vector<T> y) const {
    if (form_.columnwise()) {
      blas::gemv(adjoint_letter<T>, count, columns, s, from(e, i), x, beta, y);
    } else {
      blas::gemv('N', columns, count, s, from(e, i), x, beta, y);
    }
  }

  /// The same with the elements of reflector j for x, among them its unit element, which is not counted. Real kernels
  /// take it as a vector of its own; where it is alone no product applies beta. Complex ones take a copy that has it.
  void add_column(Int count, Int columns, Int e, Int i, Int j, T beta, Vector<T> y) {
    const T s = negated(tau_(j));
    if constexpr (ComplexScalar<T>) {
      for (Int element = e; element < e + count; ++element) {
        x_(element) = form_.columnwise() ? V_(element, j) : conjugate(V_(j, element));
      }
      x_(unit(j)) = T(1);
      const Int first = std::min(e, unit(j));
      multiply_vector(count + 1, columns, first, i, s, {&x_(first), 1}, beta, y);
    } else {
      const Int along = form_.columnwise() ? 1 : V_.ld(), across = form_.columnwise() ? V_.ld() : 1;
      if (count > 0) {
        multiply_vector(count, columns, e, i, s, {from(e, j).data, along}, beta, y);
      } else if (beta == 0) {
        std::fill_n(y.data, columns, T(0));
      } else {
        blas::scal(columns, beta, y);
      }
      blas::axpy(columns, s, {from(unit(j), i).data, across}, y);
    }
  }

  /// T(rows, j) with the columns from first to before j finished: the product with those first.
  void finish_column(char uplo, Int earlier, Int rows, Int done, Int first, Int j) {
    t_(j, j) = T(0);
    if (tau_(j) == T(0)) return;
    blas::gemv('N', earlier, done, T(1), block(t_, rows, first), column(t_, first, j), T(1), column(t_, rows, j));
    blas::trmv(uplo, 'N', 'N', done, block(t_, first, first), column(t_, first, j));
    t_(j, j) = tau_(j);
  }

  void add_columns_forward(Int p, Int ib) {
    const Int q = p + ib - 1, earlier = p - 1;
    multiply(earlier, ib, n_ - q, q + 1, 1, p, block(t_, 1, p));
    for (Int j = p; j <= q; ++j) {
      add_column(q - j, earlier, j + 1, 1, j, negated(tau_(j)), column(t_, 1, j));
      add_column(n_ - j, j - p, j + 1, p, j, T(0), column(t_, p, j));
    }
    blas::trmm('L', 'U', 'N', 'N', earlier, ib, T(1), t_, block(t_, 1, p));
    for (Int j = p; j <= q; ++j) finish_column('U', earlier, 1, j - p, p, j);
  }

  void add_columns_backward(Int p, Int q) {
    const Int earlier = k_ - q, shift = n_ - k_;
    multiply(earlier, q - p + 1, shift + p - 1, 1, q + 1, p, block(t_, q + 1, p));
    for (Int j = q; j >= p; --j) {
      add_column(j - p, earlier, shift + p, q + 1, j, negated(tau_(j)), column(t_, q + 1, j));
      add_column(shift + j - 1, q - j, 1, j + 1, j, T(0), column(t_, j + 1, j));
    }
    blas::trmm('L', 'L', 'N', 'N', earlier, q - p + 1, T(1), block(t_, q + 1, q + 1), block(t_, q + 1, p));
    for (Int j = q; j >= p; --j) finish_column('L', earlier, q + 1, q - j, j + 1, j);
  }

  Form form_;
  Int n_, k_;
  const GuardedMatrix<T>& V_;
  const GuardedVector<T>& tau_;
  Matrix<T> t_;
  GuardedVector<T> x_;
};

TYPED_TEST(ReflectorArithmetic, FormsAFactorSomeColumnsAtATime) {
  using T = TypeParam;
  for_each_block_of_reflectors<T>(
      this->random, {{1, 1}, {5, 2}, {16, 16}, {17, 17}, {18, 17}, {50, 40}, {64, 64}, {65, 65}, {90, 70}},
      [](const ReflectorBlock<T>& block) {
        GuardedMatrix<T> t(block.k, block.k, block.k + 1), expected = t;
        routine_call::larft(block.form.direct, block.form.storev, block.n, block.k, block.V, block.tau.data(), t);
        FactorByHand<T>(block, expected);
        EXPECT_TRUE(t.same_as(expected));
      });
}

// --------------------------------------------------------------------------------------- geqr2, gelq2, geql2, gerq2

template <Scalar T>
void conjugate_row(Int n, Matrix<T> A, Int i, Int j) {
  if constexpr (ComplexScalar<T>) routine_call::lacgv(n, row(A, i, j));
}

/// Calls work with an element that is one meanwhile.
template <Scalar T, class Work>
void with_one_for(T& element, Work work) {
  const T kept = element;
  element = T(1);
  work();
  element = kept;
}

template <Scalar T>
void qr_by_hand(Int m, Int n, Matrix<T> A, T* tau, T* work) {
  for (Int i = 1; i <= std::min(m, n); ++i) {
    routine_call::larfg(m - i + 1, A(i, i), column(A, std::min(i + 1, m), i), tau[i - 1]);
    with_one_for(A(i, i), [&] {
      routine_call::larf('L', m - i + 1, n - i, column(A, i, i), conjugate(tau[i - 1]), block(A, i, i + 1), work);
    });
  }
}

template <Scalar T>
void lq_by_hand(Int m, Int n, Matrix<T> A, T* tau, T* work) {
  for (Int i = 1; i <= std::min(m, n); ++i) {
    conjugate_row(n - i + 1, A, i, i);
    routine_call::larfg(n - i + 1, A(i, i), row(A, i, std::min(i + 1, n)), tau[i - 1]);
    with_one_for(A(i, i), [&] {
      routine_call::larf('R', m - i, n - i + 1, row(A, i, i), tau[i - 1], block(A, i + 1, i), work);
    });
    conjugate_row(n - i + 1, A, i, i);
  }
}

template <Scalar T>
void ql_by_hand(Int m, Int n, Matrix<T> A, T* tau, T* work) {
  const Int k = std::min(m, n);
  for (Int i = k; i >= 1; --i) {
    const Int r = m - k + i, c = n - k + i;
    routine_call::larfg(r, A(r, c), column(A, 1, c), tau[i - 1]);
    with_one_for(A(r, c), [&] { routine_call::larf('L', r, c - 1, column(A, 1, c), conjugate(tau[i - 1]), A, work); });
  }
}

template <Scalar T>
void rq_by_hand(Int m, Int n, Matrix<T> A, T* tau, T* work) {
  const Int k = std::min(m, n);
  for (Int i = k; i >= 1; --i) {
    const Int r = m - k + i, c = n - k + i;
    conjugate_row(c, A, r, 1);
    routine_call::larfg(c, A(r, c), row(A, r, 1), tau[i - 1]);
    with_one_for(A(r, c), [&] { routine_call::larf('R', r - 1, c, row(A, r, 1), tau[i - 1], A, work); });
    conjugate_row(c, A, r, 1);
  }
}

TYPED_TEST(ReflectorArithmetic, FactorsOneReflectorAfterAnother) {
  using T = TypeParam;
  using ByHand = void (*)(Int m, Int n, Matrix<T> A, T * tau, T * work);
  const std::pair<Form, ByHand> factorisations[] = {
      {qr_form, qr_by_hand<T>}, {lq_form, lq_by_hand<T>}, {ql_form, ql_by_hand<T>}, {rq_form, rq_by_hand<T>}};
  for (const auto& [form, by_hand] : factorisations) {
    for (const Shape& shape : {Shape{1, 1}, {1, 9}, {9, 1}, {12, 12}, {40, 33}, {33, 40}}) {
      SCOPED_TRACE(to_string(form) + ", " + to_string(shape));
      const GuardedMatrix<T> A = random_matrix<T>(this->random, shape.m, shape.n, padded(shape.m));
      expect_same(factor_unblocked(form, A),
                  factor(form, A, lines_of(form, shape),
                         [&, by_hand = by_hand](Int m, Int n, Matrix<T> a, T* tau, T* work, Int, Int& info) {
                           info = 0;
                           by_hand(m, n, a, tau, work);
                         }));
    }
  }
}

}  // namespace
}  // namespace nuv::test
