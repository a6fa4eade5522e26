#pragma once

// Calls of the drivers for general matrices.

#include <algorithm>
#include <complex>
#include <vector>

#include "frame/option_matching.hpp"
#include "nonsymmetric/schur_checks.hpp"
#include "support/guarded.hpp"
#include "support/precisions.hpp"
#include "support/random.hpp"

namespace nuv::test {

enum class Room { least, best };

/// Sizes of workspaces; those that a member doesn't have are zero.
struct WorkSizes {
  std::int64_t work, rwork, iwork;
};

/// Workspaces of one element each, until there is room.
template <Scalar T>
struct Workspaces {
  GuardedVector<T> work{1};
  GuardedVector<Real<T>> rwork{1};
  GuardedVector<Int> iwork{1};
  Int lwork = 1, liwork = 1;

  void make_room(const WorkSizes& sizes) {
    lwork = Int(sizes.work);
    liwork = Int(sizes.iwork);
    work = GuardedVector<T>(lwork);
    rwork = GuardedVector<Real<T>>(Int(sizes.rwork));
    iwork = GuardedVector<Int>(liwork);
  }

  /// The best lwork may be told before the workspace is found to be too small.
  bool unchanged() const { return work.unchanged_outside(1, 1) && rwork.unchanged() && iwork.unchanged_outside(1, 1); }

  testing::AssertionResult guards_unchanged() const {
    return testing::AssertionResult(work.guards_unchanged() && rwork.guards_unchanged() && iwork.guards_unchanged());
  }
};

/// What the calls of all drivers have. Eigenvalues stand in w or in wr and wi.
template <Scalar T>
struct GeneralCall : Workspaces<T> {
  using R = Real<T>;

  Int n, lda, info = 99;
  GuardedMatrix<T> A;
  GuardedVector<R> wr, wi;
  GuardedVector<T> w;

  explicit GeneralCall(const GuardedMatrix<T>& matrix)
      : n(matrix.rows()), lda(matrix.ld()), A(matrix), wr(n), wi(n), w(n) {}

  std::complex<R> value(Int i) const {
    if constexpr (ComplexScalar<T>) {
      return w(i);
    } else {
      return {wr(i), wi(i)};
    }
  }

  std::vector<std::complex<double>> values() const {
    std::vector<std::complex<double>> all;
    for (Int i = 1; i <= n; ++i) all.push_back(std::complex<double>(value(i)));
    return all;
  }

  bool unchanged() const {
    return Workspaces<T>::unchanged() && A.unchanged() && wr.unchanged() && wi.unchanged() && w.unchanged();
  }

  testing::AssertionResult guards_unchanged() const {
    return testing::AssertionResult(Workspaces<T>::guards_unchanged() && A.guards_unchanged() &&
                                    wr.guards_unchanged() && wi.guards_unchanged() && w.guards_unchanged());
  }
};

/// Arguments of geev and geevx.
template <Scalar T>
struct EigenCall : GeneralCall<T> {
  using R = Real<T>;

  char jobvl, jobvr, balanc = 'B', sense = 'N';
  Int ldvl, ldvr, ilo = 99, ihi = 99;
  GuardedMatrix<T> VL, VR;
  GuardedVector<R> scale, rconde, rcondv;
  R abnrm = 99;

  EigenCall(char jobvl_, char jobvr_, const GuardedMatrix<T>& matrix)
      : GeneralCall<T>(matrix),
        jobvl(jobvl_),
        jobvr(jobvr_),
        ldvl(wants_left() ? this->n + 1 : 1),
        ldvr(wants_right() ? this->n + 2 : 1),
        VL(wants_left() ? this->n : 0, wants_left() ? this->n : 0, ldvl),
        VR(wants_right() ? this->n : 0, wants_right() ? this->n : 0, ldvr),
        scale(this->n),
        rconde(this->n),
        rcondv(this->n) {}

  bool wants_left() const { return same_letter(jobvl, 'V'); }
  bool wants_right() const { return same_letter(jobvr, 'V'); }

  bool unchanged() const {
    return GeneralCall<T>::unchanged() && VL.unchanged() && VR.unchanged() && scale.unchanged() && ilo == 99 &&
           ihi == 99 && abnrm == 99 && rconde.unchanged() && rcondv.unchanged();
  }

  testing::AssertionResult guards_unchanged() const {
    return testing::AssertionResult(GeneralCall<T>::guards_unchanged() && VL.guards_unchanged() &&
                                    VR.guards_unchanged() && scale.guards_unchanged() && rconde.guards_unchanged() &&
                                    rcondv.guards_unchanged());
  }
};

/// A function that selects eigenvalues.
template <Scalar T>
using Selector = std::conditional_t<ComplexScalar<T>, Logical (*)(const T*), Logical (*)(const T*, const T*)>;

/// Arguments of gees and geesx.
template <Scalar T>
struct SchurCall : GeneralCall<T> {
  using R = Real<T>;

  char jobvs, sort = 'N', sense = 'N';
  Selector<T> select = nullptr;
  Int ldvs, sdim = 99;
  GuardedMatrix<T> VS;
  GuardedVector<Logical> bwork;
  R rconde = 99, rcondv = 99;

  SchurCall(char jobvs_, const GuardedMatrix<T>& matrix)
      : GeneralCall<T>(matrix),
        jobvs(jobvs_),
        ldvs(wants_vectors() ? this->n + 1 : 1),
        VS(wants_vectors() ? this->n : 0, wants_vectors() ? this->n : 0, ldvs),
        bwork(this->n) {}

  /// With eigenvalues in front.
  SchurCall(char jobvs_, Selector<T> selector, const GuardedMatrix<T>& matrix, char sense_ = 'N')
      : SchurCall(jobvs_, matrix) {
    sort = 'S';
    sense = sense_;
    select = selector;
  }

  bool wants_vectors() const { return same_letter(jobvs, 'V'); }

  bool unchanged() const {
    return GeneralCall<T>::unchanged() && VS.unchanged() && bwork.unchanged() && sdim == 99 && rconde == 99 &&
           rcondv == 99;
  }

  testing::AssertionResult guards_unchanged() const {
    return testing::AssertionResult(GeneralCall<T>::guards_unchanged() && VS.guards_unchanged() &&
                                    bwork.guards_unchanged());
  }
};

// Each driver has
//
//     name           by which it reports bad arguments
//     least(call)    its least workspaces
//     run(call)

template <Scalar T>
struct Geev {
  using Call = EigenCall<T>;
  static constexpr const char* name = "GEEV";
  static WorkSizes least(const Call& c);
  static void run(Call& c);
};

template <Scalar T>
struct Geevx {
  using Call = EigenCall<T>;
  static constexpr const char* name = "GEEVX";
  static WorkSizes least(const Call& c);
  static void run(Call& c);
};

template <Scalar T>
struct Gees {
  using Call = SchurCall<T>;
  static constexpr const char* name = "GEES";
  static WorkSizes least(const Call& c);
  static void run(Call& c);
};

template <Scalar T>
struct Geesx {
  using Call = SchurCall<T>;
  static constexpr const char* name = "GEESX";
  static WorkSizes least(const Call& c);
  static void run(Call& c);
};

/// What a driver answers when it is asked for its workspaces; nothing else is touched.
template <class Driver>
WorkSizes asked_for(const typename Driver::Call& call) {
  auto question = call;
  question.make_room({1, 1, 1});
  question.lwork = -1;
  Driver::run(question);
  EXPECT_EQ(question.info, 0);
  EXPECT_TRUE(question.unchanged());
  const WorkSizes least = Driver::least(call);
  // Those that tell no number of integers leave the guard.
  const bool has_answer = !same_bits(question.iwork(1), guard<Int>());
  return {Int(std::real(question.work(1))), least.rwork, has_answer ? question.iwork(1) : least.iwork};
}

/// Runs a call in its least or its best workspaces.
template <class Driver>
typename Driver::Call solve(typename Driver::Call call, Room room = Room::best) {
  call.make_room(room == Room::least ? Driver::least(call) : asked_for<Driver>(call));
  Driver::run(call);
  EXPECT_TRUE(call.guards_unchanged());
  return call;
}

/// A random matrix with eigenvalues 7 and 5 that balancing isolates, in the first and in the last place, and with x on
/// the diagonal between.
template <Scalar T>
GuardedMatrix<T> matrix_with_isolated_ends(Random& random, Int n, Real<T> x) {
  GuardedMatrix<T> A = random_matrix<T>(random, n, n, n);
  for (Int i = 2; i <= n; ++i) A(i, 1) = A(n, i - 1) = T(0);
  A(1, 1) = T(7);
  A(n, n) = T(5);
  A(3, 3) = T(x);
  A.seal();
  return A;
}

/// The first of these with NaN on the diagonal, multiplied by a power of two.
template <Scalar T>
GuardedMatrix<T> failing_matrix_of_size(Random& random, Int n, int exponent) {
  GuardedMatrix<T> A = matrix_with_isolated_ends<T>(random, n, std::numeric_limits<Real<T>>::quiet_NaN());
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) A(i, j) *= std::ldexp(Real<T>(1), exponent);
  }
  A.seal();
  return A;
}

/// An upper triangle whose largest element has this magnitude. Nothing but a scaling changes anything of it.
template <Scalar T>
GuardedMatrix<T> triangle_of_size(Random& random, Int n, Real<T> size) {
  GuardedMatrix<T> A = random_matrix<T>(random, n, n, n + 1);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) A(i, j) = i <= j ? A(i, j) * (size / 2) : T(0);
  }
  A(2, 3) = T(size);
  A.seal();
  return A;
}

/// The sizes between which matrices are not scaled.
template <RealScalar R>
inline constexpr R least_unscaled = std::same_as<R, float> ? R(0x1p-40) : R(0x1p-459);
template <RealScalar R>
inline constexpr R largest_unscaled = 1 / least_unscaled<R>;

/// A random matrix with infinities: where the others are zero, balancing isolates the first place, and all behind the
/// fourth.
template <Scalar T>
GuardedMatrix<T> matrix_with_infinities(Random& random, Int n) {
  GuardedMatrix<T> A = random_matrix<T>(random, n, n, n);
  A(1, 3) = A(3, 4) = A(4, 5) = A(5, 3) = T(std::numeric_limits<Real<T>>::infinity());
  A.seal();
  return A;
}

// --------------------------------------------------------------------------------------------------------- measures

/// Complex matrices for both members of a precision, counted from zero.
template <Scalar T>
using ComplexMatrix = WideMatrix<std::complex<Real<T>>>;

/// ||Z^H Z - I|| / (n eps) in the one-norm of the whole: a few columns of random signs would show sqrt(n) times as much
/// of errors that are random, too.
template <Scalar T>
double unitarity(const GuardedMatrix<T>& Z);

/// The eigenvectors that a call gave, one a column; those of pairs put together.
template <Scalar T>
ComplexMatrix<T> eigenvectors(const EigenCall<T>& call, const GuardedMatrix<T>& V);

/// ||(A V - V W) X|| / (||A|| ||V|| n eps) for a few columns X of random signs; of left vectors, with A^H and W^H.
template <Scalar T>
double right_residual(const GuardedMatrix<T>& A, const EigenCall<T>& call);
template <Scalar T>
double left_residual(const GuardedMatrix<T>& A, const EigenCall<T>& call);

/// Whether each vector has norm 1 and a largest component without imaginary part.
template <Scalar T>
testing::AssertionResult are_normalised(const EigenCall<T>& call, const GuardedMatrix<T>& V);

/// Whether conjugates stand side by side, positive imaginary part first; nothing for complex members.
template <Scalar T>
testing::AssertionResult are_pairs(const GeneralCall<T>& call);

/// Eigenvalues and their condition numbers 1 / |u^H v|, computed in the wider type.
struct ExactSpectrum {
  std::vector<std::complex<double>> values;
  std::vector<double> conditions;
  double norm;  ///< of the matrix
};
template <Scalar T>
ExactSpectrum exact_spectrum(const GuardedMatrix<T>& A);
ExactSpectrum spectrum_of(const WideMatrix<std::complex<double>>& A);

/// The largest |w - exact| / (condition ||A|| n eps) when each eigenvalue takes the nearest that is left.
template <Scalar T>
double value_error(const GeneralCall<T>& call, const ExactSpectrum& exact);

}  // namespace nuv::test
