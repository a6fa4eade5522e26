// Balancing, reduction to Hessenberg form with its Q, the QR iteration, eigenvectors of both forms, and what is made of
// Schur forms, in the list.

#include <algorithm>
#include <cmath>
#include <vector>

#include "drivers/drivers.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

/// Rows and columns that are reduced, of a matrix of order n.
struct Range {
  Int ilo, ihi;

  Range(auto& c, Int n) : ilo(c.one_of({1, 2})), ihi(n - ilo + 1) {}
};

/// Options of the QR iteration.
struct Wanted {
  char job, compz;
};

/// Calls run(w...) with the arrays that a member takes for n eigenvalues.
template <Scalar T>
void with_eigenvalues(CallIn<T>& c, Int n, auto run) {
  if constexpr (RealScalar<T>) {
    run(c.real_result("wr", n), c.real_result("wi", n));
  } else {
    run(c.result("w", n, 1).data);
  }
}

std::vector<Logical> every_other(Int n) {
  std::vector<Logical> select;
  for (Int k = 1; k <= n; ++k) select.push_back(to_logical(k % 2 == 1));
  return select;
}

/// Makes a Schur form of a matrix, real with a pair in front if its order allows.
template <Scalar T>
Matrix<T> schur_form(Matrix<T> S, Int n) {
  for (Int j = 1; j <= n; ++j) {
    for (Int i = j + 1; i <= n; ++i) S(i, j) = T(0);
  }
  if (RealScalar<T> && n > 1) {
    S(2, 2) = S(1, 1);
    S(2, 1) = -S(1, 2);
  }
  return S;
}

/// The sums of the eigenvalues of a Hessenberg matrix and of their squares. Its elements themselves hang on roundings:
/// where a subdiagonal element is small, all that follow may be others.
template <Scalar T>
void note_invariants(const Range& range, Int n, Matrix<T> H, T* sums) {
  sums[0] = sums[1] = T(0);
  for (Int i = 1; i <= n; ++i) {
    sums[0] += H(i, i);
    sums[1] += H(i, i) * H(i, i);
    if (range.ilo < i && i <= range.ihi) sums[1] += T(2) * H(i, i - 1) * H(i - 1, i);
  }
}

}  // namespace

void add_nonsymmetric(DriverList& drivers) {
  // Balancing moves numbers and compares sums: its own tests see what it makes of a NaN.
  drivers.add("gehrd", 150, []<Scalar T>(CallIn<T> c, Int n) {
    const Range range(c, n);
    GuardedMatrix<T> H = copy_of(c.matrix("A", n, n), n, n);
    std::vector<T> tau(static_cast<std::size_t>(n));
    c.with_workspace(n, [&](auto* work, Int lwork) {
      routine_call::gehrd(n, range.ilo, range.ihi, Matrix<T>(H), tau.data(), work, lwork, c.info());
    });
    note_invariants(range, n, Matrix<T>(H), c.result("invariants", 2, 1).data);
  });
  drivers.add("gehd2", unblocked_order, [](auto c, Int n) {
    const Range range(c, n);
    routine_call::gehd2(n, range.ilo, range.ihi, c.matrix("A", n, n), c.result("tau", n - 1, 1).data, c.scratch(n),
                        c.info());
  });
  drivers.add("ormhr", 60, [](auto c, Int order) {
    const char side = c.one_of({'L', 'R'}), trans = c.one_of({'N', c.adjoint});
    const Range range(c, order);
    const Int other = order - 3, m = side == 'L' ? order : other, n = side == 'L' ? other : order;
    c.with_workspace(other, [&](auto* work, Int lwork) {
      routine_call::ormhr(side, trans, m, n, range.ilo, range.ihi, c.matrix("A", order, order),
                          c.reflector_factors(order - 1), c.matrix("C", m, n), work, lwork, c.info());
    });
  });
  drivers.add("orghr", 80, [](auto c, Int n) {
    const Range range(c, n);
    c.with_workspace(n, [&](auto* work, Int lwork) {
      routine_call::orghr(n, range.ilo, range.ihi, c.matrix("A", n, n), c.reflector_factors(n - 1), work, lwork,
                          c.info());
    });
  });
  // Elements below the first subdiagonal are not read.
  drivers.add("hseqr", 80, []<Scalar T>(CallIn<T> c, Int n) {
    const auto [job, compz] = c.one_of({Wanted{'S', 'I'}, Wanted{'S', 'V'}, Wanted{'E', 'N'}});
    const Matrix<T> h = c.matrix("H", n, n), z = compz == 'I' ? c.result("Z", n, n) : c.matrix("Z", n, n);
    with_eigenvalues(c, n, [&, job = job, compz = compz](auto*... w) {
      c.with_workspace(n, [&](T* work, Int lwork) {
        routine_call::hseqr(job, compz, n, 2, n - 1, h, w..., z, work, lwork, c.info());
      });
    });
  });
  drivers.add("trevc", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    const char side = c.one_of({'R', 'L', 'B'}), howmny = c.one_of({'A', 'B', 'S'});
    std::vector<Logical> select = every_other(n);
    std::vector<Real<T>> rwork(std::size_t(n), 0);
    Int m = 0;
    const Matrix<T> S = c.matrix("T", n, n), VL = c.matrix("VL", n, n), VR = c.matrix("VR", n, n);
    if constexpr (RealScalar<T>) {
      routine_call::trevc(side, howmny, select.data(), n, S, VL, VR, n, m, c.scratch(3 * n), c.info());
    } else {
      routine_call::trevc(side, howmny, select.data(), n, S, VL, VR, n, m, c.scratch(2 * n), rwork.data(), c.info());
    }
    c.add_result(m);
  });
  drivers.add("hsein", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    const char side = c.one_of({'R', 'L', 'B'}), eigsrc = c.one_of({'Q', 'N'});
    std::vector<Logical> select = every_other(n);
    std::vector<Int> ifaill(std::size_t(n), 0), ifailr(std::size_t(n), 0);
    Int m = 0;
    // Of a quasi-triangular matrix the values are known.
    const Matrix<T> H = c.matrix("H", n, n), VL = c.result("VL", n, n), VR = c.result("VR", n, n);
    for (Int j = 1; j < n; ++j) H(j + 1, j) = T(0);
    std::vector<T> values;
    for (Int j = 1; j <= n; ++j) values.push_back(H(j, j));
    std::vector<Real<T>> imaginary(std::size_t(n), 0);
    if constexpr (RealScalar<T>) {
      H(2, 2) = values[1] = values[0];
      H(2, 1) = -H(1, 2);
      imaginary[0] = std::abs(H(1, 2));
      imaginary[1] = -imaginary[0];
      routine_call::hsein(side, eigsrc, 'N', select.data(), n, H, values.data(), imaginary.data(), VL, VR, n, m,
                          c.scratch((n + 2) * n), ifaill.data(), ifailr.data(), c.info());
    } else {
      routine_call::hsein(side, eigsrc, 'N', select.data(), n, H, values.data(), VL, VR, n, m, c.scratch(n * n),
                          imaginary.data(), ifaill.data(), ifailr.data(), c.info());
    }
    c.add_result(m);
  });
  drivers.add("trexc", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    const char compq = c.one_of({'N', 'V'});
    const bool forward = c.one_of({1, 0}) != 0;
    Int ifst = forward ? 1 : n, ilst = forward ? n : 1;
    const Matrix<T> S = schur_form(c.matrix("T", n, n), n), Q = c.matrix("Q", n, n);
    if constexpr (RealScalar<T>) {
      routine_call::trexc(compq, n, S, Q, ifst, ilst, c.scratch(n), c.info());
    } else {
      routine_call::trexc(compq, n, S, Q, ifst, ilst, c.info());
    }
  });
  drivers.add("trsyl", unblocked_order, []<Scalar T>(CallIn<T> c, Int m) {
    const char trana = c.one_of({'N', c.adjoint}), tranb = c.one_of({'N', c.adjoint});
    const Int isgn = c.one_of({1, -1}), n = m - 1;
    const Matrix<T> A = schur_form(c.matrix("A", m, m), m), B = schur_form(c.matrix("B", n, n), n);
    routine_call::trsyl(trana, tranb, isgn, m, n, Matrix<const T>(A), Matrix<const T>(B), c.matrix("C", m, n),
                        *c.real_result("scale", 1), c.info());
  });
  drivers.add("trsen", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    const char job = c.one_of({'N', 'E', 'V', 'B'}), compq = c.one_of({'N', 'V'});
    const std::vector<Logical> select = every_other(n);
    Int m = 0;
    const Matrix<T> S = schur_form(c.matrix("T", n, n), n), Q = c.matrix("Q", n, n);
    T* const w = c.result("w", n, 1).data;
    Real<T>&s = *c.real_result("s", 1), &sep = *c.real_result("sep", 1);
    const Int lwork = n * n;
    T* const work = c.scratch(lwork);
    if constexpr (RealScalar<T>) {
      std::vector<Int> iwork(std::size_t(lwork), 0);
      routine_call::trsen(job, compq, select.data(), n, S, Q, w, c.real_result("wi", n), m, s, sep, work, lwork,
                          iwork.data(), lwork, c.info());
    } else {
      routine_call::trsen(job, compq, select.data(), n, S, Q, w, m, s, sep, work, lwork, c.info());
    }
    c.add_result(m);
  });
  drivers.add("trsna", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    const char job = c.one_of({'E', 'V', 'B'}), howmny = c.one_of({'A', 'S'});
    const std::vector<Logical> select = every_other(n);
    std::vector<std::conditional_t<RealScalar<T>, Int, Real<T>>> second(std::size_t(2 * n));
    Int m = 0;
    const Matrix<T> S = schur_form(c.matrix("T", n, n), n), VL = c.matrix("VL", n, n), VR = c.matrix("VR", n, n);
    routine_call::trsna(job, howmny, select.data(), n, Matrix<const T>(S), Matrix<const T>(VL), Matrix<const T>(VR),
                        c.real_result("s", n), c.real_result("sep", n), n, m, Matrix<T>(c.scratch(n * (n + 6)), n),
                        second.data(), c.info());
    c.add_result(m);
  });
  drivers.add("lahqr", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    const Logical wantt = c.one_of({0, 1}), wantz = c.one_of({0, 1});
    const Range range(c, n);
    const Matrix<T> H = c.matrix("A", n, n), Z = c.matrix("Z", n, n);
    if constexpr (ComplexScalar<T>) {
      routine_call::lahqr(wantt, wantz, n, range.ilo, range.ihi, H, c.result("w", n, 1).data, 1, n, Z, c.info());
    } else {
      T *const wr = c.real_result("wr", n), *const wi = c.real_result("wi", n);
      routine_call::lahqr(wantt, wantz, n, range.ilo, range.ihi, H, wr, wi, 1, n, Z, c.info());
    }
  });
  drivers.add("laqr5", 30, []<Scalar T>(CallIn<T> c, Int n) {
    const Int nshfts = 4, kdu = 3 * nshfts - 3, kacc22 = c.one_of({0, 1, 2});
    const Logical wantt = c.one_of({0, 1});
    const Range range(c, n);
    const Matrix<T> H = c.matrix("A", n, n), Z = c.matrix("Z", n, n);
    T* const work = c.scratch(3 * nshfts + 3 * kdu * kdu);
    const auto at = [=](Int i) { return Matrix<T>{work + 3 * nshfts + i * kdu * kdu, kdu}; };
    const auto sweep = [&](auto... shifts) {
      routine_call::laqr5(wantt, 1, kacc22, n, range.ilo, range.ihi, nshfts, shifts..., H, 1, n, Z, Matrix<T>{work, 3},
                          at(0), kdu, at(1), kdu, at(2));
    };
    T* const s = c.matrix("s", nshfts, 1).data;
    if constexpr (ComplexScalar<T>) {
      sweep(s);
    } else {
      sweep(s, c.matrix("si", nshfts, 1).data);
    }
  });
}

}  // namespace nuv::test
