#pragma once

// A system of linear equations in each storage form, with the routines of that form behind one interface, so that what
// holds for all forms is tested once.

#include <memory>
#include <string>
#include <vector>

#include "support/guarded.hpp"
#include "support/precisions.hpp"

namespace nuv::test {

/// What a form can hold.
enum class Structure { general, symmetric, hermitian, definite };

/// An integer in the real precisions, a real number in the complex ones: the second workspace of the routines.
template <Scalar T>
using SecondWork = std::conditional_t<RealScalar<T>, Int, Real<T>>;

/// The arguments of an expert driver beside the matrix.
template <Scalar T>
struct ExpertCall {
  using R = Real<T>;

  char fact, trans;
  char equed = '?';
  GuardedVector<R> r, c;  ///< symmetric forms have their factors in r
  GuardedMatrix<T> B, X;
  R rcond = -1;
  GuardedVector<R> ferr, berr;
  R growth = -1;  ///< general and band matrices alone
  Int info = 99;

  ExpertCall(char fact_, char trans_, const GuardedMatrix<T>& B_)
      : fact(fact_),
        trans(trans_),
        r(B_.rows()),
        c(B_.rows()),
        B(B_),
        X(B_.rows(), B_.columns(), B_.rows() + 2),
        ferr(B_.columns()),
        berr(B_.columns()) {}
};

template <Scalar T>
class StoredSystem {
 public:
  using R = Real<T>;

  virtual ~StoredSystem() = default;

  /// Factors a copy of the matrix and gives info.
  virtual Int factor() = 0;

  // From the factors: the reciprocal condition number, solutions in the place of B, and their refinement.
  virtual R condition(char norm, R anorm) = 0;
  virtual Int solve(char trans, GuardedMatrix<T>& B) = 0;
  virtual Int refine(char trans, const GuardedMatrix<T>& B, GuardedMatrix<T>& X, GuardedVector<R>& ferr,
                     GuardedVector<R>& berr) = 0;

  /// The simple driver, on copies of the matrix; solutions in the place of B.
  virtual Int drive(GuardedMatrix<T>& B) = 0;

  /// The expert driver, on the matrix and the factors of this system.
  virtual void drive_expertly(ExpertCall<T>& call) = 0;

  /// Element (i, j) as the matrix stands now, for those that are stored.
  virtual T element(Int i, Int j) const = 0;

  /// Whether nothing was written beside the arrays.
  virtual testing::AssertionResult guards_unchanged() const = 0;
};

struct Form {
  const char* name;
  Structure structure;
  bool is_scaled;     ///< by the expert driver, where that is asked for
  Int diagonals = -1;  ///< above and below the main one; -1: all
};

/// The forms that a precision has.
template <Scalar T>
const std::vector<Form>& forms_of();

/// A matrix of which both triangles are given in a form of that structure.
template <Scalar T>
std::unique_ptr<StoredSystem<T>> store(const Form& form, char uplo, const GuardedMatrix<T>& A);

}  // namespace nuv::test
