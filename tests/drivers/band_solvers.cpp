// Band and tridiagonal solvers in the list.

#include <algorithm>

#include "drivers/drivers.hpp"
#include "layer.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

constexpr Int nrhs = 3;
constexpr Int many = 12;  ///< right-hand sides that are solved for by blocks

/// The band of a square matrix in its own storage, with rows for what row exchanges bring; at the end of the call it
/// goes back into the matrix.
template <Scalar T>
class BandOf {
 public:
  BandOf(Matrix<T> A, Int n, Int kl, Int ku, Int extra_rows = 0)
      : A_(A), n_(n), kl_(kl), kv_(ku + extra_rows), ab_(std::size_t(n) * std::size_t(ld())) {
    for_each_element([](T& inside, T& outside) { outside = inside; });
  }
  ~BandOf() {
    for_each_element([](T& inside, T& outside) { inside = outside; });
  }

  operator Matrix<T>() { return {ab_.data(), ld()}; }
  operator Matrix<const T>() { return {ab_.data(), ld()}; }

 private:
  Int ld() const { return kl_ + kv_ + 1; }

  template <class Copy>
  void for_each_element(Copy copy) {
    for (Int j = 1; j <= n_; ++j) {
      for (Int i = std::max(1, j - kv_); i <= std::min(n_, j + kl_); ++i) {
        copy(A_(i, j), *Matrix<T>(*this).at(kv_ + 1 + i - j, j));
      }
    }
  }

  Matrix<T> A_;
  Int n_, kl_, kv_;
  std::vector<T> ab_;
};
template <class T, class... Sizes>
BandOf(Matrix<T>, Sizes...) -> BandOf<T>;

/// Diagonals beside the main one with which a solver works by blocks, if the order is not that of unblocked work.
struct BandSizes {
  Int kl, ku;

  explicit BandSizes(Int n) : kl(n == unblocked_order ? 2 : 36), ku(n == unblocked_order ? 1 : 68) {}
};

/// The diagonals of a square matrix as vectors; at the end of the call they go back into the matrix.
template <Scalar T>
struct DiagonalsOf {
  Matrix<T> A;
  Int n;
  std::vector<T> dl = take(2, 1), d = take(1, 1), du = take(1, 2), du2 = take(1, 3);
  std::vector<Real<T>> real = std::vector<Real<T>>(std::size_t(n));

  DiagonalsOf(Matrix<T> A_, Int n_) : A(A_), n(n_) {
    for (Int i = 0; i < n; ++i) real[std::size_t(i)] = std::real(d[std::size_t(i)]);
  }

  void put_back() {
    put_back_but_lower();
    put(2, 1, dl);
  }
  void put_back_but_lower() {
    put(1, 1, d);
    put(1, 2, du);
  }
  void put_back_definite() {
    put(1, 1, std::vector<T>(real.begin(), real.end()));
    put(2, 1, dl);
  }

 private:
  std::vector<T> take(Int i, Int j) const {
    std::vector<T> diagonal;
    for (; i <= n && j <= n; ++i, ++j) diagonal.push_back(A(i, j));
    return diagonal;
  }
  void put(Int i, Int j, const std::vector<T>& diagonal) {
    for (const T& element : diagonal) A(i++, j++) = element;
  }
};
template <class T>
DiagonalsOf(Matrix<T>, Int) -> DiagonalsOf<T>;

/// The complex members of ?pttrs have an option more.
template <Scalar T>
void solve_definite(char uplo, Int n, const Real<T>* d, const T* e, Matrix<T> B, Int& info) {
  if constexpr (ComplexScalar<T>) layer::pttrs(uplo, n, many, d, e, B, info);
  else layer::pttrs(n, many, d, e, B, info);
}

}  // namespace

void add_band_solvers(DriverList& drivers) {
  const auto factor = [](auto routine) {
    return [=](auto c, Int n) {
      const BandSizes sizes(n);
      BandOf AB(c.matrix("A", n, n), n, sizes.kl, sizes.ku, sizes.kl);
      routine(n, n, sizes.kl, sizes.ku, AB, c.pivots(n), c.info());
    };
  };
  drivers.add("gbtrf", 110, factor([](auto&&... arguments) { layer::gbtrf(arguments...); }));
  drivers.add("gbtf2", unblocked_order, factor([](auto&&... arguments) { routine_call::gbtf2(arguments...); }));
  const auto solve = [](auto routine) {
    return [=](auto c, Int n) {
      const char trans = c.one_of({'N', 'T', 'C'});
      const BandSizes sizes(n);
      BandOf AB(c.matrix("A", n, n), n, sizes.kl, sizes.ku, sizes.kl);
      routine(trans, n, sizes.kl, sizes.ku, nrhs, AB, c.pivots(n), c.matrix("B", n, nrhs), c.info());
    };
  };
  drivers.add("gbtrs", 130, solve([](auto&&... arguments) { layer::gbtrs(arguments...); }));
  drivers.add("gbts2", unblocked_order, solve([](auto&&... arguments) { routine_call::gbts2(arguments...); }));
  drivers.add("gbsv", 130, [](auto c, Int n) {
    const BandSizes sizes(n);
    BandOf AB(c.matrix("A", n, n), n, sizes.kl, sizes.ku, sizes.kl);
    routine_call::gbsv(n, sizes.kl, sizes.ku, nrhs, AB, c.pivots(n), c.matrix("B", n, nrhs), c.info());
  });

  const auto definite = [](auto routine) {
    return [=](auto c, Int n) {
      const char uplo = c.one_of({'U', 'L'});
      const Int kd = BandSizes(n).ku;
      BandOf AB(c.definite("A", n), n, uplo == 'L' ? kd : 0, uplo == 'U' ? kd : 0);
      routine(c, uplo, n, kd, AB);
    };
  };
  drivers.add("pbtrf", 110, definite([](auto c, char uplo, Int n, Int kd, auto& AB) {
                routine_call::pbtrf(uplo, n, kd, AB, c.info());
              }));
  drivers.add("pbtf2", unblocked_order, definite([](auto c, char uplo, Int n, Int kd, auto& AB) {
                routine_call::pbtf2(uplo, n, kd, AB, c.info());
              }));
  drivers.add("pbtrs", 130, definite([](auto c, char uplo, Int n, Int kd, auto& AB) {
                layer::pbtrs(uplo, n, kd, nrhs, AB, c.matrix("B", n, nrhs), c.info());
              }));
  drivers.add("pbts2", unblocked_order, definite([](auto c, char uplo, Int n, Int kd, auto& AB) {
                routine_call::pbts2(uplo, n, kd, nrhs, AB, c.matrix("B", n, nrhs), c.info());
              }));
  drivers.add("pbsv", 130, definite([](auto c, char uplo, Int n, Int kd, auto& AB) {
                routine_call::pbsv(uplo, n, kd, nrhs, AB, c.matrix("B", n, nrhs), c.info());
              }));
  drivers.add("tbtrs", 130, definite([](auto c, char uplo, Int n, Int kd, auto& AB) {
                const char trans = c.one_of({'N', 'T', 'C'}), diag = c.one_of({'N', 'U'});
                layer::tbtrs(uplo, trans, diag, n, kd, nrhs, AB, c.matrix("B", n, nrhs), c.info());
              }));
}

void add_tridiagonal_solvers(DriverList& drivers) {
  constexpr Int order = 12;
  drivers.add("gttrf", unblocked_order, [](auto c, Int n) {
    DiagonalsOf A(c.matrix("A", n, n), n);
    routine_call::gttrf(n, A.dl.data(), A.d.data(), A.du.data(), A.du2.data(), c.pivots(n), c.info());
    A.put_back();
  });
  drivers.add("gttrs", order, [](auto c, Int n) {
    const char trans = c.one_of({'N', 'T', 'C'});
    DiagonalsOf A(c.matrix("A", n, n), n);
    layer::gttrs(trans, n, many, A.dl.data(), A.d.data(), A.du.data(), A.du2.data(), c.pivots(n),
                 c.matrix("B", n, many), c.info());
  });
  drivers.add("gtsv", order, [](auto c, Int n) {
    const Int count = c.one_of({nrhs, many});
    DiagonalsOf A(c.matrix("A", n, n), n);
    routine_call::gtsv(n, count, A.dl.data(), A.d.data(), A.du.data(), c.matrix("B", n, count), c.info());
    A.put_back_but_lower();  // what stands below depends on the way that memory allows
  });
  drivers.add("lagtm", unblocked_order, [](auto c, Int n) {
    const char trans = c.one_of({'N', 'T', 'C'});
    const auto alpha = c.one_of({1.0f, -1.0f}), beta = c.one_of({1.0f, -1.0f, 0.0f});
    DiagonalsOf A(c.matrix("A", n, n), n);
    routine_call::lagtm(trans, n, nrhs, alpha, A.dl.data(), A.d.data(), A.du.data(), c.matrix("X", n, nrhs), beta,
                        c.matrix("B", n, nrhs));
  });
  drivers.add("pttrf", unblocked_order, [](auto c, Int n) {
    DiagonalsOf A(c.definite("A", n), n);
    routine_call::pttrf(n, A.real.data(), A.dl.data(), c.info());
    A.put_back_definite();
  });
  drivers.add("pttrs", unblocked_order, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    DiagonalsOf A(c.definite("A", n), n);
    solve_definite(uplo, n, A.real.data(), A.dl.data(), c.matrix("B", n, many), c.info());
  });
  drivers.add("ptsv", unblocked_order, [](auto c, Int n) {
    DiagonalsOf A(c.definite("A", n), n);
    routine_call::ptsv(n, many, A.real.data(), A.dl.data(), c.matrix("B", n, many), c.info());
    A.put_back_definite();
  });
}

}  // namespace nuv::test
