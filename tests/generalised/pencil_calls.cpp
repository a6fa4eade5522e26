#include "generalised/pencil_calls.hpp"

#include <cmath>

#include "routines.hpp"

namespace nuv::test {

// -------------------------------------------------------------------------------------------------------------- calls

namespace {

/// Workspaces of so many times n elements in real and in complex members, and so many real ones in the latter.
template <Scalar T>
WorkSizes columns(std::int64_t n, Int real_columns, Int complex_columns, Int columns_of_rwork) {
  const std::int64_t work = (RealScalar<T> ? real_columns : complex_columns) * n;
  return {std::max<std::int64_t>(1, work), ComplexScalar<T> ? columns_of_rwork * n : 0, 0};
}

/// Gives function(...) the arrays of eigenvalues as the member takes them.
template <Scalar T, class Function>
void with_values(PencilDriverCall<T>& c, Function function) {
  if constexpr (ComplexScalar<T>) {
    function(c.alpha.data(), c.beta.data());
  } else {
    function(c.alpha.data(), c.alphai.data(), c.beta.data());
  }
}

/// Gives function(...) the workspace, and behind it that which complex members have alone.
template <Scalar T, class Function>
void with_work(PencilDriverCall<T>& c, Function function) {
  if constexpr (ComplexScalar<T>) {
    function(c.work.data(), c.lwork, c.rwork.data());
  } else {
    function(c.work.data(), c.lwork);
  }
}

template <Scalar T>
struct Views {
  Matrix<T> A, B, VL, VR;
  explicit Views(PencilDriverCall<T>& c)
      : A(c.A.data(), c.lda), B(c.B.data(), c.ldb), VL(c.VL.data(), c.ldvl), VR(c.VR.data(), c.ldvr) {}
};

}  // namespace

template <Scalar T>
WorkSizes Gges<T>::least(const Call& c) {
  WorkSizes sizes = columns<T>(c.n, 8, 2, 8);
  if (RealScalar<T> && c.n > 0) sizes.work = std::max<std::int64_t>(sizes.work, 6 * c.n + 16);
  return sizes;
}

template <Scalar T>
void Gges<T>::run(Call& c) {
  const Views<T> v(c);
  with_values(c, [&](auto... values) {
    with_work(c, [&](auto... work) {
      routine_call::gges(c.job_left, c.job_right, c.sort, c.selctg, c.n, v.A, v.B, c.sdim, values..., v.VL, v.VR,
                         work..., c.bwork.data(), c.info);
    });
  });
}

template <Scalar T>
WorkSizes Ggesx<T>::least(const Call& c) {
  WorkSizes sizes = Gges<T>::least(c);
  sizes.iwork = same_letter(c.sense, 'N') || c.n == 0 ? 1 : c.n + (RealScalar<T> ? 6 : 2);
  return sizes;
}

template <Scalar T>
void Ggesx<T>::run(Call& c) {
  const Views<T> v(c);
  with_values(c, [&](auto... values) {
    with_work(c, [&](auto... work) {
      routine_call::ggesx(c.job_left, c.job_right, c.sort, c.selctg, c.sense, c.n, v.A, v.B, c.sdim, values..., v.VL,
                          v.VR, c.rconde.data(), c.rcondv.data(), work..., c.iwork.data(), c.liwork, c.bwork.data(),
                          c.info);
    });
  });
}

template <Scalar T>
WorkSizes Gegs<T>::least(const Call& c) {
  return columns<T>(c.n, 4, 2, 3);
}

template <Scalar T>
void Gegs<T>::run(Call& c) {
  const Views<T> v(c);
  with_values(c, [&](auto... values) {
    with_work(c, [&](auto... work) {
      routine_call::gegs(c.job_left, c.job_right, c.n, v.A, v.B, values..., v.VL, v.VR, work..., c.info);
    });
  });
}

template <Scalar T>
WorkSizes Ggev<T>::least(const Call& c) {
  return columns<T>(c.n, 8, 2, 8);
}

template <Scalar T>
void Ggev<T>::run(Call& c) {
  const Views<T> v(c);
  with_values(c, [&](auto... values) {
    with_work(c, [&](auto... work) {
      routine_call::ggev(c.job_left, c.job_right, c.n, v.A, v.B, values..., v.VL, v.VR, work..., c.info);
    });
  });
}

template <Scalar T>
WorkSizes Ggevx<T>::least(const Call& c) {
  const bool scales = is_one_of(c.balanc, 'S', 'B'), vectors = c.wants_left() || c.wants_right();
  WorkSizes sizes = columns<T>(c.n, scales || vectors ? 6 : 2, 2, scales ? 6 : 2);
  const std::int64_t n = c.n;
  if (n == 0) return sizes;
  if (same_letter(c.sense, 'E')) sizes.work = (RealScalar<T> ? 10 : 4) * n;
  if (is_one_of(c.sense, 'V', 'B')) {
    sizes.work = RealScalar<T> ? 2 * n * n + 8 * n + 16 : 2 * n * n + 2 * n;
    sizes.iwork = n + (RealScalar<T> ? 6 : 2);
  }
  return sizes;
}

template <Scalar T>
void Ggevx<T>::run(Call& c) {
  const Views<T> v(c);
  with_values(c, [&](auto... values) {
    with_work(c, [&](auto... work) {
      routine_call::ggevx(c.balanc, c.job_left, c.job_right, c.sense, c.n, v.A, v.B, values..., v.VL, v.VR, c.ilo,
                          c.ihi, c.lscale.data(), c.rscale.data(), c.abnrm, c.bbnrm, c.rconde.data(), c.rcondv.data(),
                          work..., c.iwork.data(), c.bwork.data(), c.info);
    });
  });
}

template <Scalar T>
WorkSizes Gegv<T>::least(const Call& c) {
  return columns<T>(c.n, 8, 2, 8);
}

template <Scalar T>
void Gegv<T>::run(Call& c) {
  const Views<T> v(c);
  with_values(c, [&](auto... values) {
    with_work(c, [&](auto... work) {
      routine_call::gegv(c.job_left, c.job_right, c.n, v.A, v.B, values..., v.VL, v.VR, work..., c.info);
    });
  });
}

// ------------------------------------------------------------------------------------------------------- expectations

template <Scalar T>
testing::AssertionResult are_normalised(const PencilEigenCall<T>& call, const GuardedMatrix<T>& V) {
  const std::vector<PencilValue> values = call.values();
  const PencilVectors<T> vectors = pencil_vectors<T>(V, values);
  for (Eigen::Index j = 0; j < vectors.cols(); ++j) {
    double largest = 0;
    for (Eigen::Index i = 0; i < vectors.rows(); ++i) {
      const std::complex<double> x(vectors(i, j));
      largest = std::max(largest, std::abs(x.real()) + std::abs(x.imag()));
    }
    if (!(std::abs(largest - 1) <= 4 * double(epsilon<T>))) {
      return testing::AssertionFailure() << "vector " << j + 1 << " has the largest component " << largest;
    }
  }
  return testing::AssertionSuccess();
}

template <Scalar T>
void expect_solution(const Pencil<T>& pencil, const PencilEigenCall<T>& call) {
  ASSERT_EQ(call.info, 0);
  const std::vector<PencilValue> values = call.values();
  EXPECT_TRUE(are_proper(values, RealScalar<T>));
  if (call.wants_right()) {
    const double residual = pencil_vector_residual('R', pencil.A, pencil.B, values, pencil_vectors<T>(call.VR, values));
    EXPECT_LT(residual, pencil_threshold) << "right vectors";
    EXPECT_TRUE(are_normalised(call, call.VR));
  }
  if (call.wants_left()) {
    const double residual = pencil_vector_residual('L', pencil.A, pencil.B, values, pencil_vectors<T>(call.VL, values));
    EXPECT_LT(residual, pencil_threshold) << "left vectors";
    EXPECT_TRUE(are_normalised(call, call.VL));
  }
}

template <Scalar T>
void expect_schur_form(const Pencil<T>& pencil, const PencilSchurCall<T>& call) {
  EXPECT_TRUE(is_pencil_schur_form(call.A, call.B));
  const std::vector<PencilValue> values = call.values();
  EXPECT_TRUE(are_proper(values, RealScalar<T>));
  const std::vector<PencilValue> of_form = values_of_form(call.A, call.B);
  ASSERT_EQ(values.size(), of_form.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    // Both parts stand in the form where they are those of an eigenvalue by itself.
    const Int k = Int(i) + 1;
    if (ComplexScalar<T> || values[i].alpha.imag() == 0) {
      EXPECT_EQ(call.alpha(k), call.A(k, k)) << k;
      EXPECT_EQ(call.beta(k), call.B(k, k)) << k;
    } else {
      EXPECT_LT(chordal_distance(values[i], of_form[i]), 1000 * double(epsilon<T>)) << k;
    }
  }
  if (call.n == 0) return;
  if (call.wants_left()) {
    EXPECT_LT(unitary_residual(call.VL), pencil_threshold);
  }
  if (call.wants_right()) {
    EXPECT_LT(unitary_residual(call.VR), pencil_threshold);
  }
  if (call.wants_left() && call.wants_right()) {
    EXPECT_LT(pencil_residual(pencil.A, call.VL, call.A, call.VR), pencil_threshold) << "A";
    EXPECT_LT(pencil_residual(pencil.B, call.VL, call.B, call.VR), pencil_threshold) << "B";
  }
}

#define NUV_INSTANTIATE(T)                                                                              \
  template struct Gges<T>;                                                                              \
  template struct Ggesx<T>;                                                                             \
  template struct Gegs<T>;                                                                              \
  template struct Ggev<T>;                                                                              \
  template struct Ggevx<T>;                                                                             \
  template struct Gegv<T>;                                                                              \
  template testing::AssertionResult are_normalised(const PencilEigenCall<T>&, const GuardedMatrix<T>&); \
  template void expect_solution(const Pencil<T>&, const PencilEigenCall<T>&);                           \
  template void expect_schur_form(const Pencil<T>&, const PencilSchurCall<T>&);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)
#undef NUV_INSTANTIATE

}  // namespace nuv::test
