#pragma once

// A call of a routine as the lists of tests see it, whatever the precision: arrays by their names, and the options that
// it was made with.
//
// The same names and options give the same numbers, so that a call can be made again with one thing changed.

#include <algorithm>
#include <array>
#include <initializer_list>
#include <string>
#include <variant>
#include <vector>

#include "support/guarded.hpp"

namespace nuv::test {

/// Goes through all combinations of the options that a call asks for.
class Options {
 public:
  template <class T>
  T one_of(std::initializer_list<T> choices) {
    return choices.begin()[choose(choices.size())];
  }

  /// To the next combination; false after the last.
  bool advance();

  /// Before each call.
  void rewind() { asked_ = 0; }

  std::string text() const;

 private:
  struct Digit {
    std::size_t at, count;
  };

  std::size_t choose(std::size_t count);

  std::vector<Digit> digits_;
  std::size_t asked_ = 0;
};

/// An array of a call. A complex number is two real ones below each other.
struct Array {
  enum class Role { input, result, scratch };

  std::string name;
  Role role;
  std::variant<GuardedMatrix<float>, GuardedMatrix<double>, GuardedMatrix<Int>> numbers;

  int size() const;
  int longer_side() const;
  double operator[](int place) const;
  void set(int place, double value);
  std::string describe(int place) const;
};

/// A number put in the place of another, counted down the columns of an array.
struct Spoiled {
  std::string array;
  int place;
  double value;
};

class Call {
 public:
  explicit Call(Options& options) : options_(options) { options_.rewind(); }
  Call(Options& options, const Spoiled& spoiled) : Call(options) { spoiled_ = spoiled; }

  enum class Numbers {
    near_identity,  ///< of small condition: plus twice the identity
    definite,       ///< Hermitian, of small condition
    near_one,       ///< such as factors of reflectors
    rows,           ///< row exchanges
    none
  };
  struct Precision {
    bool is_single, is_complex;
  };

  /// The array of that name; made if there is none.
  Array& array(const std::string& name, Array::Role role, Numbers numbers, Precision precision, Int m, Int n);

  Options& options() { return options_; }
  const std::vector<Array>& arrays() const { return arrays_; }

  /// Notes a number as a result.
  void add_result(double number) { results_.push_back(number); }
  const std::vector<double>& results() const { return results_; }

  /// The largest size of an array.
  int longest_side() const;

  testing::AssertionResult guards_unchanged() const;

  Int info = 0;

 private:
  Options& options_;
  Spoiled spoiled_ = {};
  std::vector<Array> arrays_;
  std::vector<double> results_;
};

/// A copy of an m by n matrix for routines that are called with arrays of their own.
template <Scalar T>
GuardedMatrix<T> copy_of(Matrix<T> A, Int m, Int n) {
  GuardedMatrix<T> copy(m, n, m);
  for (Int j = 1; j <= n; ++j) std::copy_n(A.at(1, j), m, &copy(1, j));
  copy.seal();
  return copy;
}

/// Whether a call gave what another one did, up to rounding: in each result an error of at most 10 n eps times its
/// largest magnitude, with n the longest side of an array.
testing::AssertionResult equal_up_to_rounding(const Call& call, const Call& expected);

/// A call as the routines of one precision see it.
template <Scalar T>
class CallIn {
 public:
  /// Letter of the operation that takes A to A^H.
  static constexpr char adjoint = ComplexScalar<T> ? 'C' : 'T';

  explicit CallIn(Call& call) : call_(call) {}

  Int& info() { return call_.info; }

  template <class Choice>
  Choice one_of(std::initializer_list<Choice> choices) {
    return call_.options().one_of(choices);
  }

  /// Near the identity: a matrix to factor, or any factor of one.
  Matrix<T> matrix(const char* name, Int m, Int n) { return make(name, Role::input, Numbers::near_identity, m, n); }

  Matrix<T> definite(const char* name, Int n) { return make(name, Role::input, Numbers::definite, n, n); }

  /// The factors of k reflectors that stand in a matrix as made above.
  T* reflector_factors(Int k) { return make("tau", Role::input, Numbers::near_one, k, 1).data; }

  Matrix<T> result(const char* name, Int m, Int n) { return make(name, Role::result, Numbers::none, m, n); }

  /// Real numbers in any precision.
  Real<T>* real_result(const char* name, Int n) {
    constexpr Call::Precision precision{.is_single = std::same_as<Real<T>, float>, .is_complex = false};
    return std::get<GuardedMatrix<Real<T>>>(call_.array(name, Role::result, Numbers::none, precision, n, 1).numbers)
        .data();
  }

  T* scratch(Int n) { return make("work", Role::scratch, Numbers::none, n, 1).data; }

  /// Row exchanges, in or out.
  Int* pivots(Int n) {
    return std::get<GuardedMatrix<Int>>(
               call_.array("ipiv", Role::result, Numbers::rows, {.is_single = false, .is_complex = false}, n, 1)
                   .numbers)
        .data();
  }

  /// Notes a number as a result.
  void add_result(double number) { call_.add_result(number); }

  /// Makes a call (work, lwork) with the least workspace, the one that the routine asks for, or a generous one.
  template <class Routine>
  void with_workspace(Int least, Routine routine) {
    T best;
    routine(&best, Int{-1});
    const Int asked_for = std::max(least, Int(std::real(best)));
    const Int lwork = one_of({least, asked_for, 4 * asked_for});
    T* const work = scratch(lwork);
    routine(work, lwork);
    call_.add_result(std::real(work[0]));
  }

 private:
  using Role = Array::Role;
  using Numbers = Call::Numbers;

  Matrix<T> make(const char* name, Role role, Numbers numbers, Int m, Int n) {
    constexpr bool is_complex = ComplexScalar<T>;
    Array& array =
        call_.array(name, role, numbers, {.is_single = std::same_as<Real<T>, float>, .is_complex = is_complex}, m, n);
    auto& reals = std::get<GuardedMatrix<Real<T>>>(array.numbers);
    return {reinterpret_cast<T*>(reals.data()), reals.ld() / (is_complex ? 2 : 1)};
  }

  Call& call_;
};

}  // namespace nuv::test
