// Reductions of full symmetric and Hermitian matrices to tridiagonal form, and the drivers for them, in the list.

#include "drivers/drivers.hpp"
#include "layer.hpp"
#include "symmetric/dense_driver_calls.hpp"

namespace nuv::test {
namespace {

template <class Call>
using ScalarOf = std::remove_pointer_t<decltype(std::declval<Call>().scratch(1))>;

/// A routine that goes by other letters where it is Hermitian.
template <class Run>
void add(DriverList& drivers, const std::string& real_name, const std::string& complex_name, Int order, Run run) {
  drivers.add_real(real_name, order, run);
  drivers.add_complex(complex_name, order, run);
}

/// Runs a driver with arrays of its own, which it knows to be kept to. The eigenvalues are compared: the signs of
/// eigenvectors hang on roundings.
template <template <class> class Driver>
void add_driver(DriverList& drivers, const std::string& ending, Int order) {
  add(drivers, "sy" + ending, "he" + ending, order, [](auto c, Int n) {
    using T = ScalarOf<decltype(c)>;
    const char jobz = c.one_of({'N', 'V'}), uplo = c.one_of({'U', 'L'});
    const GuardedMatrix<T> copy = copy_of(c.matrix("A", n, n), n, n);
    const DenseCall<T> solved = solve<Driver<T>>(DenseCall<T>(jobz, uplo, copy));
    c.info() = solved.info;
    Real<T>* const w = c.real_result("w", n);
    for (Int j = 1; j <= n; ++j) w[j - 1] = j <= solved.m ? solved.w(j) : 0;
    c.add_result(solved.m);
  });
}

}  // namespace

void add_dense_eigen(DriverList& drivers) {
  add(drivers, "sytrd", "hetrd", 290, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    c.with_workspace(1, [&](auto* work, Int lwork) {
      layer::sytrd(uplo, n, c.matrix("A", n, n), c.real_result("d", n), c.real_result("e", n - 1),
                   c.result("tau", n - 1, 1).data, work, lwork, c.info());
    });
  });
  add(drivers, "sytd2", "hetd2", unblocked_order, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    routine_call::sytd2(uplo, n, c.matrix("A", n, n), c.real_result("d", n), c.real_result("e", n - 1),
                        c.result("tau", n - 1, 1).data, c.info());
  });
  drivers.add("latrd", unblocked_order, [](auto c, Int n) {
    constexpr Int nb = 2;
    const char uplo = c.one_of({'U', 'L'});
    auto* const e = c.real_result("e", n - 1);
    auto* const tau = c.result("tau", n - 1, 1).data;
    const auto W = c.result("W", n, nb);
    std::fill_n(e, n - 1, 0);
    std::fill_n(tau, n - 1, 0);
    for (Int j = 1; j <= nb; ++j) std::fill_n(W.at(1, j), n, 0);
    layer::latrd(uplo, n, nb, c.matrix("A", n, n), e, tau, W);
  });
  add_driver<Ev>(drivers, "ev", 60);
  add_driver<Evd>(drivers, "evd", 60);
  add_driver<Evr>(drivers, "evr", 60);
  add_driver<Evx>(drivers, "evx", 60);
}

}  // namespace nuv::test
