// The drivers for general matrices in the list.

#include <algorithm>

#include "drivers/drivers.hpp"
#include "nonsymmetric/general_calls.hpp"

namespace nuv::test {
namespace {

template <class Call>
using ScalarOf = std::remove_pointer_t<decltype(std::declval<Call>().scratch(1))>;

/// Where half of the eigenvalues are of a matrix as the list makes them, or so.
template <Scalar T>
Selector<T> right_half() {
  if constexpr (ComplexScalar<T>) {
    return [](const T* w) { return Logical(w->real() > 2); };
  } else {
    return [](const T* wr, const T*) { return Logical(*wr > 2); };
  }
}

/// Sums of the eigenvalues and of their squares: single ones may hang on roundings much more.
template <Scalar T>
void add_sums(auto& c, const GeneralCall<T>& solved) {
  Real<T>* const sums = c.real_result("sums", 3);
  std::fill_n(sums, 3, Real<T>(0));
  for (Int i = 1; i <= solved.n; ++i) {
    const std::complex<Real<T>> w = solved.value(i);
    sums[0] += w.real();
    sums[1] += w.imag();
    sums[2] += w.real() * w.real() - w.imag() * w.imag();
  }
}

/// Runs a driver with arrays of its own, which it knows to be kept to.
template <template <class> class Driver>
void add_driver(DriverList& drivers, const std::string& name, Int order, auto make_call) {
  drivers.add(name, order, [make_call](auto c, Int n) {
    using T = ScalarOf<decltype(c)>;
    const auto solved = solve<Driver<T>>(make_call(c, copy_of(c.matrix("A", n, n), n, n)));
    c.info() = solved.info;
    add_sums<T>(c, solved);
  });
}

}  // namespace

void add_general_eigen(DriverList& drivers) {
  add_driver<Geev>(drivers, "geev", 80, []<Scalar T>(auto& c, const GuardedMatrix<T>& A) {
    const char job = c.one_of({'N', 'V'});
    return EigenCall<T>(job, job, A);
  });
  add_driver<Geevx>(drivers, "geevx", unblocked_order, []<Scalar T>(auto& c, const GuardedMatrix<T>& A) {
    EigenCall<T> call('V', 'V', A);
    call.balanc = c.one_of({'N', 'B'});
    call.sense = c.one_of({'N', 'B'});
    return call;
  });
  add_driver<Gees>(drivers, "gees", 80, []<Scalar T>(auto& c, const GuardedMatrix<T>& A) {
    const char sort = c.one_of({'N', 'S'});
    return sort == 'N' ? SchurCall<T>('N', A) : SchurCall<T>('V', right_half<T>(), A);
  });
  add_driver<Geesx>(drivers, "geesx", unblocked_order, []<Scalar T>(auto& c, const GuardedMatrix<T>& A) {
    return SchurCall<T>('V', right_half<T>(), A, c.one_of({'N', 'B'}));
  });
}

}  // namespace nuv::test
