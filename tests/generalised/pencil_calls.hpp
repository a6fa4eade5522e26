#pragma once

// Calls of the drivers for pencils of general matrices. Questions for workspace and solutions go as for one matrix:
// asked_for<Driver>(call) and solve<Driver>(call).

#include "frame/option_matching.hpp"
#include "generalised/pencil_checks.hpp"
#include "nonsymmetric/general_calls.hpp"

namespace nuv::test {

/// What the calls of all drivers have. alpha has the real parts where the members are real; vectors are eigenvectors or
/// Schur vectors.
template <Scalar T>
struct PencilDriverCall : Workspaces<T> {
  using R = Real<T>;

  char job_left, job_right;
  Int n, lda, ldb, ldvl, ldvr, info = 99;
  GuardedMatrix<T> A, B, VL, VR;
  GuardedVector<T> alpha, alphai, beta;
  GuardedVector<Logical> bwork;

  PencilDriverCall(char job_left_, char job_right_, const Pencil<T>& pencil)
      : job_left(job_left_),
        job_right(job_right_),
        n(pencil.A.rows()),
        lda(pencil.A.ld()),
        ldb(pencil.B.ld()),
        ldvl(wants_left() ? n + 1 : 1),
        ldvr(wants_right() ? n + 2 : 1),
        A(pencil.A),
        B(pencil.B),
        VL(wants_left() ? n : 0, wants_left() ? n : 0, ldvl),
        VR(wants_right() ? n : 0, wants_right() ? n : 0, ldvr),
        alpha(n),
        alphai(n),
        beta(n),
        bwork(n) {}

  bool wants_left() const { return same_letter(job_left, 'V'); }
  bool wants_right() const { return same_letter(job_right, 'V'); }

  std::vector<PencilValue> values() const { return pencil_values<T>(alpha, alphai, beta); }

  bool unchanged() const {
    return Workspaces<T>::unchanged() && A.unchanged() && B.unchanged() && VL.unchanged() && VR.unchanged() &&
           alpha.unchanged() && alphai.unchanged() && beta.unchanged() && bwork.unchanged();
  }

  testing::AssertionResult guards_unchanged() const {
    return testing::AssertionResult(Workspaces<T>::guards_unchanged() && A.guards_unchanged() && B.guards_unchanged() &&
                                    VL.guards_unchanged() && VR.guards_unchanged() && alpha.guards_unchanged() &&
                                    alphai.guards_unchanged() && beta.guards_unchanged() && bwork.guards_unchanged());
  }
};

/// Arguments of ggev, ggevx and gegv.
template <Scalar T>
struct PencilEigenCall : PencilDriverCall<T> {
  using R = Real<T>;

  char balanc = 'P', sense = 'N';
  Int ilo = 99, ihi = 99;
  GuardedVector<R> lscale, rscale, rconde, rcondv;
  R abnrm = 99, bbnrm = 99;

  PencilEigenCall(char jobvl, char jobvr, const Pencil<T>& pencil)
      : PencilDriverCall<T>(jobvl, jobvr, pencil), lscale(this->n), rscale(this->n), rconde(this->n), rcondv(this->n) {}

  bool unchanged() const {
    return PencilDriverCall<T>::unchanged() && lscale.unchanged() && rscale.unchanged() && ilo == 99 && ihi == 99 &&
           abnrm == 99 && bbnrm == 99 && rconde.unchanged() && rcondv.unchanged();
  }

  testing::AssertionResult guards_unchanged() const {
    return testing::AssertionResult(PencilDriverCall<T>::guards_unchanged() && lscale.guards_unchanged() &&
                                    rscale.guards_unchanged() && rconde.guards_unchanged() &&
                                    rcondv.guards_unchanged());
  }
};

/// A function that selects eigenvalues of a pencil.
template <Scalar T>
using PencilSelector =
    std::conditional_t<ComplexScalar<T>, Logical (*)(const T*, const T*), Logical (*)(const T*, const T*, const T*)>;

/// A function for the library that asks predicate(value), a lambda without captures.
template <Scalar T, class Predicate>
PencilSelector<T> pencil_selector(Predicate) {
  if constexpr (ComplexScalar<T>) {
    return [](const T* alpha, const T* beta) {
      return Logical(Predicate()(PencilValue{std::complex<double>(*alpha), double(beta->real())}));
    };
  } else {
    return [](const T* alphar, const T* alphai, const T* beta) {
      return Logical(Predicate()(PencilValue{{double(*alphar), double(*alphai)}, double(*beta)}));
    };
  }
}

/// Arguments of gges, ggesx and gegs.
template <Scalar T>
struct PencilSchurCall : PencilDriverCall<T> {
  using R = Real<T>;

  char sort = 'N', sense = 'N';
  PencilSelector<T> selctg = nullptr;
  Int sdim = 99;
  GuardedVector<R> rconde{2}, rcondv{2};

  PencilSchurCall(char jobvsl, char jobvsr, const Pencil<T>& pencil) : PencilDriverCall<T>(jobvsl, jobvsr, pencil) {}

  /// With all vectors, and eigenvalues in front.
  PencilSchurCall(PencilSelector<T> selector, const Pencil<T>& pencil, char sense_ = 'N')
      : PencilSchurCall('V', 'V', pencil) {
    sort = 'S';
    sense = sense_;
    selctg = selector;
  }

  bool unchanged() const {
    return PencilDriverCall<T>::unchanged() && sdim == 99 && rconde.unchanged() && rcondv.unchanged();
  }

  testing::AssertionResult guards_unchanged() const {
    return testing::AssertionResult(PencilDriverCall<T>::guards_unchanged() && rconde.guards_unchanged() &&
                                    rcondv.guards_unchanged());
  }
};

// Each driver has
//
//     name           by which it reports bad arguments
//     least(call)    its least workspaces
//     run(call)

template <Scalar T>
struct Gges {
  using Call = PencilSchurCall<T>;
  static constexpr const char* name = "GGES";
  static WorkSizes least(const Call& c);
  static void run(Call& c);
};

template <Scalar T>
struct Ggesx {
  using Call = PencilSchurCall<T>;
  static constexpr const char* name = "GGESX";
  static WorkSizes least(const Call& c);
  static void run(Call& c);
};

template <Scalar T>
struct Gegs {
  using Call = PencilSchurCall<T>;
  static constexpr const char* name = "GEGS";
  static WorkSizes least(const Call& c);
  static void run(Call& c);
};

template <Scalar T>
struct Ggev {
  using Call = PencilEigenCall<T>;
  static constexpr const char* name = "GGEV";
  static WorkSizes least(const Call& c);
  static void run(Call& c);
};

template <Scalar T>
struct Ggevx {
  using Call = PencilEigenCall<T>;
  static constexpr const char* name = "GGEVX";
  static WorkSizes least(const Call& c);
  static void run(Call& c);
};

template <Scalar T>
struct Gegv {
  using Call = PencilEigenCall<T>;
  static constexpr const char* name = "GEGV";
  static WorkSizes least(const Call& c);
  static void run(Call& c);
};

/// The same eigenvalues, bit by bit.
template <Scalar T>
testing::AssertionResult same_values(const PencilDriverCall<T>& call, const PencilDriverCall<T>& other) {
  return testing::AssertionResult(call.alpha.same_as(other.alpha) && call.alphai.same_as(other.alphai) &&
                                  call.beta.same_as(other.beta));
}

/// A random pencil with eigenvalues that balancing isolates in the first and in the last place: 7 / 2 and 5 / 4.
template <Scalar T>
Pencil<T> pencil_with_isolated_ends(Random& random, Int n) {
  Pencil<T> pencil = random_pencil<T>(random, n, n + 1);
  for (GuardedMatrix<T>* const M : {&pencil.A, &pencil.B}) {
    for (Int i = 2; i <= n; ++i) (*M)(i, 1) = (*M)(n, i - 1) = T(0);
  }
  pencil.A(1, 1) = T(7);
  pencil.B(1, 1) = T(2);
  pencil.A(n, n) = T(5);
  pencil.B(n, n) = T(4);
  pencil.A.seal();
  pencil.B.seal();
  return pencil;
}

/// The same with other orders of rows and of columns, which balancing has to find.
template <Scalar T>
Pencil<T> pencil_with_hidden_ends(Random& random, Int n) {
  const Pencil<T> ordered = pencil_with_isolated_ends<T>(random, n);
  Pencil<T> pencil = ordered;
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) {
      pencil.A(i % n + 1, n + 1 - j) = ordered.A(i, j);
      pencil.B(i % n + 1, n + 1 - j) = ordered.B(i, j);
    }
  }
  pencil.A.seal();
  pencil.B.seal();
  return pencil;
}

/// Whether the largest |re| + |im| of each vector is one.
template <Scalar T>
testing::AssertionResult are_normalised(const PencilEigenCall<T>& call, const GuardedMatrix<T>& V);

/// Expects of the values and vectors that were wanted that they are those of the pencil.
template <Scalar T>
void expect_solution(const Pencil<T>& pencil, const PencilEigenCall<T>& call);

/// Expects a generalised Schur form of the pencil with the eigenvalues that the call gives, and unitary vectors, as far
/// as they are wanted.
template <Scalar T>
void expect_schur_form(const Pencil<T>& pencil, const PencilSchurCall<T>& call);

}  // namespace nuv::test
