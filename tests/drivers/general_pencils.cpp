// The drivers for pencils of general matrices in the list.

#include <algorithm>

#include "drivers/drivers.hpp"
#include "generalised/pencil_calls.hpp"

namespace nuv::test {
namespace {

template <class Call>
using ScalarOf = std::remove_pointer_t<decltype(std::declval<Call>().scratch(1))>;

/// Where half of the eigenvalues are of a pencil as the list makes them, or so.
constexpr auto beyond_one = [](const PencilValue& x) { return x.alpha.real() > x.beta; };

/// Sums over the eigenvalues alpha / beta, as points of the circle where they are real: single ones may hang on
/// roundings much more, and so may the common factor of alpha and beta.
template <Scalar T>
void add_sums(auto& c, const PencilCall<T>& solved) {
  Real<T>* const sums = c.real_result("sums", 2);
  std::fill_n(sums, 2, Real<T>(0));
  if (solved.info > solved.n + 3 || (solved.info > 0 && solved.info <= solved.n + 1)) return;
  for (const PencilValue& x : solved.values()) {
    const std::complex<double> value = x.alpha / x.beta;
    sums[0] += Real<T>(value.real());
    sums[1] += Real<T>(value.imag());
  }
}

/// Runs a driver with arrays of its own, which it knows to be kept to.
template <template <class> class Driver>
void add_driver(DriverList& drivers, const std::string& name, Int order, auto make_call) {
  drivers.add(name, order, [make_call](auto c, Int n) {
    using T = ScalarOf<decltype(c)>;
    const Pencil<T> pencil{copy_of(c.matrix("A", n, n), n, n), copy_of(c.matrix("B", n, n), n, n)};
    const auto solved = solve<Driver<T>>(make_call(c, pencil));
    c.info() = solved.info;
    add_sums<T>(c, solved);
  });
}

}  // namespace

void add_general_pencils(DriverList& drivers) {
  const auto eigen = []<Scalar T>(auto& c, const Pencil<T>& pencil) {
    const char job = c.one_of({'N', 'V'});
    return PencilEigenCall<T>(job, job, pencil);
  };
  add_driver<Ggev>(drivers, "ggev", 80, eigen);
  add_driver<Gegv>(drivers, "gegv", unblocked_order, eigen);
  add_driver<Ggevx>(drivers, "ggevx", unblocked_order, []<Scalar T>(auto& c, const Pencil<T>& pencil) {
    PencilEigenCall<T> call('V', 'V', pencil);
    call.balanc = c.one_of({'N', 'B'});
    call.sense = c.one_of({'N', 'B'});
    return call;
  });
  add_driver<Gges>(drivers, "gges", 80, []<Scalar T>(auto& c, const Pencil<T>& pencil) {
    const char sort = c.one_of({'N', 'S'});
    return sort == 'N' ? PencilSchurCall<T>('N', 'N', pencil)
                       : PencilSchurCall<T>(pencil_selector<T>(beyond_one), pencil);
  });
  add_driver<Gegs>(drivers, "gegs", unblocked_order, []<Scalar T>(auto& c, const Pencil<T>& pencil) {
    const char job = c.one_of({'N', 'V'});
    return PencilSchurCall<T>(job, job, pencil);
  });
  add_driver<Ggesx>(drivers, "ggesx", unblocked_order, []<Scalar T>(auto& c, const Pencil<T>& pencil) {
    return PencilSchurCall<T>(pencil_selector<T>(beyond_one), pencil, c.one_of({'N', 'B'}));
  });
}

}  // namespace nuv::test
