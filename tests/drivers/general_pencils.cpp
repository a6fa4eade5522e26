// The drivers for pencils of general matrices in the list.

#include <algorithm>
#include <cmath>
#include <span>
#include <vector>

#include "drivers/drivers.hpp"
#include "generalised/pencil_calls.hpp"

namespace nuv::test {
namespace {

/// The order from which on the factorisation of B and the products with its Q go by blocks.
constexpr Int blocked_order = 80;

/// Where half of the eigenvalues are of a pencil as the list makes them, or so.
constexpr auto beyond_one = [](const PencilValue& x) { return x.alpha.real() > x.beta; };

/// Whether all eigenvalues were found.
template <Scalar T>
bool has_values(const PencilDriverCall<T>& solved) {
  return solved.info == 0 || (solved.info > solved.n + 1 && solved.info <= solved.n + 3);
}

template <Scalar T>
std::span<Real<T>> zeros(CallIn<T>& c, const char* name, Int n) {
  Real<T>* const x = c.real_result(name, n);
  std::fill_n(x, n, Real<T>(0));
  return {x, std::size_t(n)};
}

/// Sums over the eigenvalues alpha / beta: single ones may hang on roundings much more, and so may the common factor of
/// alpha and beta.
template <Scalar T>
void add_sums(CallIn<T>& c, const PencilDriverCall<T>& solved) {
  const std::span<Real<T>> sums = zeros(c, "sums", 2);
  if (!has_values(solved)) return;
  for (const PencilValue& x : solved.values()) {
    const std::complex<double> value = x.alpha / x.beta;
    sums[0] += Real<T>(value.real());
    sums[1] += Real<T>(value.imag());
  }
}

/// Numbers about one, or less, that hang on roundings more, and come in any order: sorted, each times eps^(1/4) and
/// beside one, so that they are compared by eps^(3/4).
template <Scalar T>
void add_sensitive(CallIn<T>& c, const char* name, std::vector<double> x) {
  const double weight = std::sqrt(std::sqrt(double(epsilon<T>)));
  if (std::ranges::none_of(x, [](double number) { return std::isnan(number); })) std::ranges::sort(x);
  const std::span<Real<T>> result = zeros(c, name, Int(x.size()));
  for (std::size_t i = 0; i < x.size(); ++i) result[i] = Real<T>(1 + weight * x[i]);
}

/// Estimates in any order, which look ahead and so may take another way for a rounding error: sorted, their logarithms
/// beside one, so that they are compared up to a factor of 2^2.5.
template <Scalar T>
void add_estimates(CallIn<T>& c, const char* name, Int n, std::vector<double> x) {
  const double weight = 4.0 * n * (ComplexScalar<T> ? 2 : 1) * double(epsilon<T>);
  if (std::ranges::none_of(x, [](double number) { return std::isnan(number); })) std::ranges::sort(x);
  const std::span<Real<T>> result = zeros(c, name, Int(x.size()));
  for (std::size_t i = 0; i < x.size(); ++i) result[i] = Real<T>(1 + weight * std::log2(x[i]));
}

template <Scalar T>
std::vector<double> numbers(const GuardedVector<T>& x) {
  return {x.data(), x.data() + x.size()};
}

/// The eigenvalues one by one.
template <Scalar T>
void add_values(CallIn<T>& c, const PencilDriverCall<T>& solved) {
  const auto size = std::size_t(solved.n);
  std::vector<double> real(size), imaginary(size);
  if (has_values(solved)) {
    const std::vector<PencilValue> values = solved.values();
    for (std::size_t i = 0; i < size; ++i) {
      const std::complex<double> value = values[i].alpha / values[i].beta;
      real[i] = value.real();
      imaginary[i] = value.imag();
    }
  }
  add_sensitive(c, "real parts", real);
  add_sensitive(c, "imaginary parts", imaginary);
}

// Vectors and forms are unique but for signs, and for orders. What is so is what they are made of, and what they make
// zero: all of it times a few columns of signs.

/// n by 4.
template <Scalar T>
WideMatrix<T> signs(Int n) {
  Random random(18);
  WideMatrix<T> V(n, 4);
  for (Eigen::Index j = 0; j < V.cols(); ++j) {
    for (Eigen::Index i = 0; i < V.rows(); ++i) V(i, j) = random.integer(0, 1) == 0 ? 1 : -1;
  }
  return V;
}

/// The rows of what is zero up to rounding, beside one.
template <Scalar T, class Rest>
void add_zero(CallIn<T>& c, const char* name, const Rest& rest) {
  const std::span<Real<T>> rows = zeros(c, name, Int(rest.rows()));
  for (std::size_t i = 0; i < rows.size(); ++i) rows[i] = Real<T>(1 + rest.row(Eigen::Index(i)).cwiseAbs().sum());
}

/// beta A x - alpha B x of right vectors of length one, or the same of left ones.
template <Scalar T>
void add_eigenvectors(CallIn<T>& c, const char* name, bool right, const Pencil<T>& pencil,
                      const PencilEigenCall<T>& solved) {
  using C = std::complex<Real<T>>;
  const std::vector<PencilValue> values = solved.values();
  const Int n = solved.n;
  WideMatrix<C> X = pencil_vectors<T>(right ? solved.VR : solved.VL, values), of_a = signs<C>(n), of_b = of_a;
  for (Int k = 0; k < n; ++k) {
    const auto& [alpha, beta] = values[std::size_t(k)];
    const double size = std::hypot(std::abs(alpha), beta);
    X.col(k) /= Wide<C>(X.col(k).norm());
    of_a.row(k) *= Wide<C>(WideReal<T>(beta / size));
    of_b.row(k) *= Wide<C>((right ? alpha : std::conj(alpha)) / size);
  }
  const auto times = [&](const GuardedMatrix<T>& M, const WideMatrix<C>& V) {
    return product<C>(op<C>(right ? 'N' : 'C', wide(M).template cast<Wide<C>>()), product<C>(X, V));
  };
  add_zero(c, name, WideMatrix<C>(times(pencil.A, of_a) - times(pencil.B, of_b)));
}

template <Scalar T>
void add_results(CallIn<T>& c, const Pencil<T>& pencil, const PencilEigenCall<T>& solved) {
  const auto add = [&](const char* name, bool right) {
    if (solved.info == 0) add_eigenvectors(c, name, right, pencil, solved);
    else zeros(c, name, solved.n);
  };
  if (solved.wants_left()) add("left vectors", false);
  if (solved.wants_right()) add("right vectors", true);
}

/// A - Q S Z^H, B - Q P Z^H, I - Q^H Q and I - Z^H Z.
template <Scalar T>
void add_results(CallIn<T>& c, const Pencil<T>& pencil, const PencilSchurCall<T>& solved) {
  c.add_result(solved.sdim);
  if (!solved.wants_left() || !solved.wants_right()) return;
  if (!has_values(solved)) {
    for (const char* const name : {"form of A", "form of B", "left vectors", "right vectors"}) zeros(c, name, solved.n);
    return;
  }
  c.add_result(bool(is_pencil_schur_form(solved.A, solved.B)));
  const WideMatrix<T> Q = wide(solved.VL), Z = wide(solved.VR), V = signs<T>(solved.n);
  const auto add_form = [&](const char* name, const GuardedMatrix<T>& M, const GuardedMatrix<T>& form) {
    const WideMatrix<T> again = product<T>(Q, product<T>(wide(form), product<T>(Z.adjoint(), V)));
    add_zero(c, name, WideMatrix<T>(product<T>(wide(M), V) - again));
  };
  const auto add_vectors = [&](const char* name, const WideMatrix<T>& W) {
    add_zero(c, name, WideMatrix<T>(V - product<T>(W.adjoint(), product<T>(W, V))));
  };
  add_form("form of A", pencil.A, solved.A);
  add_form("form of B", pencil.B, solved.B);
  add_vectors("left vectors", Q);
  add_vectors("right vectors", Z);
}

/// Condition numbers of the expert drivers, and what balancing told.
template <class Driver, Scalar T>
void add_conditions(CallIn<T>& c, const PencilDriverCall<T>& call) {
  if constexpr (std::same_as<Driver, Ggevx<T>>) {
    const auto& solved = static_cast<const PencilEigenCall<T>&>(call);
    for (const double told : {double(solved.ilo), double(solved.ihi), double(solved.abnrm), double(solved.bbnrm)}) {
      c.add_result(told);
    }
    if (!same_letter(solved.sense, 'B')) return;
    const bool are_there = solved.info == 0;
    add_sensitive(c, "rconde", are_there ? numbers(solved.rconde) : std::vector<double>(std::size_t(solved.n)));
    add_estimates(c, "rcondv", solved.n,
                  are_there ? numbers(solved.rcondv) : std::vector<double>(std::size_t(solved.n)));
  } else if constexpr (std::same_as<Driver, Ggesx<T>>) {
    const auto& solved = static_cast<const PencilSchurCall<T>&>(call);
    if (!same_letter(solved.sense, 'B')) return;
    const bool are_there = has_values(solved);
    add_sensitive(c, "rconde", are_there ? numbers(solved.rconde) : std::vector<double>(2));
    add_estimates(c, "rcondv", solved.n, are_there ? numbers(solved.rcondv) : std::vector<double>(2));
  }
}

/// Runs a driver with arrays of its own, which it knows to be kept to.
template <template <class> class Driver>
void add_driver(DriverList& drivers, const std::string& name, auto make_call) {
  drivers.add(name, blocked_order, [make_call]<Scalar T>(CallIn<T> c, Int n) {
    const Pencil<T> pencil{copy_of(c.matrix("A", n, n), n, n), copy_of(c.matrix("B", n, n), n, n)};
    const auto solved = solve<Driver<T>>(make_call(c, pencil));
    c.info() = solved.info;
    add_sums(c, solved);
    add_values(c, solved);
    add_results(c, pencil, solved);
    add_conditions<Driver<T>>(c, solved);
  });
}

}  // namespace

void add_general_pencils(DriverList& drivers) {
  const auto eigen = []<Scalar T>(auto& c, const Pencil<T>& pencil) {
    const char job = c.one_of({'N', 'V'});
    return PencilEigenCall<T>(job, job, pencil);
  };
  add_driver<Ggev>(drivers, "ggev", eigen);
  add_driver<Gegv>(drivers, "gegv", eigen);
  add_driver<Ggevx>(drivers, "ggevx", []<Scalar T>(auto& c, const Pencil<T>& pencil) {
    PencilEigenCall<T> call('V', 'V', pencil);
    call.balanc = call.sense = c.one_of({'N', 'B'});
    return call;
  });
  add_driver<Gges>(drivers, "gges", []<Scalar T>(auto& c, const Pencil<T>& pencil) {
    const char sort = c.one_of({'N', 'S'});
    return sort == 'N' ? PencilSchurCall<T>('N', 'N', pencil)
                       : PencilSchurCall<T>(pencil_selector<T>(beyond_one), pencil);
  });
  add_driver<Gegs>(drivers, "gegs", []<Scalar T>(auto& c, const Pencil<T>& pencil) {
    const char job = c.one_of({'N', 'V'});
    return PencilSchurCall<T>(job, job, pencil);
  });
  add_driver<Ggesx>(drivers, "ggesx", []<Scalar T>(auto& c, const Pencil<T>& pencil) {
    return PencilSchurCall<T>(pencil_selector<T>(beyond_one), pencil, c.one_of({'N', 'B'}));
  });
}

}  // namespace nuv::test
