#pragma once

// The list of routines that the tests of this folder run through, each in all its precisions.

#include <cctype>
#include <functional>
#include <string>
#include <vector>

#include "drivers/call.hpp"

namespace nuv::test {

/// The order for routines without blocks.
inline constexpr Int unblocked_order = 5;

struct Driver {
  std::string name;  ///< with the letter of the precision
  Int order;         ///< of a problem that it solves by blocks, if it has any
  std::function<void(Call& call, Int n)> run;
};

/// Routines in all their precisions.
class DriverList {
 public:
  /// A routine by its name without the precision, with the order from which on it works by blocks, and run(call, n), a
  /// call for a problem of order n in the precision of the CallIn<T> that it is given.
  template <class Run>
  void add(const std::string& name, Int order, Run run) {
    add_in<float>(name, order, run);
    add_in<double>(name, order, run);
    add_in<std::complex<float>>(name, order, run);
    add_in<std::complex<double>>(name, order, run);
  }

  /// A routine that has real members alone.
  template <class Run>
  void add_real(const std::string& name, Int order, Run run) {
    add_in<float>(name, order, run);
    add_in<double>(name, order, run);
  }

  /// A routine that has complex members alone.
  template <class Run>
  void add_complex(const std::string& name, Int order, Run run) {
    add_in<std::complex<float>>(name, order, run);
    add_in<std::complex<double>>(name, order, run);
  }

  /// A routine that has a member in one precision alone; the name is still without that letter.
  template <Scalar T>
  void add_in(const std::string& name, Int order, auto run) {
    std::string member = precision_letter<T> + name;
    for (char& letter : member) letter = char(std::tolower(letter));
    list.push_back({member, order, [run](Call& call, Int n) { run(CallIn<T>(call), n); }});
  }

  std::vector<Driver> list;
};

// Families with a file of their own.
void add_band_solvers(DriverList& drivers);
void add_bounds(DriverList& drivers);             ///< condition numbers, refinement, scaling and expert drivers
void add_general_eigen(DriverList& drivers);      ///< the drivers for general matrices
void add_general_pencils(DriverList& drivers);    ///< the drivers for pencils of general matrices
void add_generalised_eigen(DriverList& drivers);  ///< and bisection, inverse iteration
void add_generalised_svd(DriverList& drivers);    ///< and the factorisations of pairs
void add_dense_eigen(DriverList& drivers);
void add_divided_svd(DriverList& drivers);
void add_indefinite_solvers(DriverList& drivers);
void add_least_squares_by_rank(DriverList& drivers);  ///< at any rank by QR, under constraints, with weighted errors
void add_nonsymmetric(DriverList& drivers);           ///< balancing, Hessenberg form, iterations on it
void add_packed_band_eigen(DriverList& drivers);      ///< eigenproblems in packed and in band storage
void add_packed_solvers(DriverList& drivers);
void add_pencil_equations(DriverList& drivers);  ///< generalised Sylvester equations, condition numbers
void add_pencil_reduction(DriverList& drivers);
void add_pencil_reordering(DriverList& drivers);  ///< eigenvectors of generalised Schur forms, deflating subspaces
void add_pivoted(DriverList& drivers);            ///< QR with pivoting, trapezoidal matrices, bands to bidiagonal form
void add_scaled_solvers(DriverList& drivers);
void add_svd_drivers(DriverList& drivers);
void add_svd_least_squares(DriverList& drivers);
void add_tridiagonal_eigen(DriverList& drivers);
void add_tridiagonal_solvers(DriverList& drivers);
void add_two_stage(DriverList& drivers);

/// The list. A routine joins it in drivers.cpp, or where its family has a file of its own.
const std::vector<Driver>& drivers();

}  // namespace nuv::test
