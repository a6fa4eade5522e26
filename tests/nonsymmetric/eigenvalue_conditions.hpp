#pragma once

// What tests of condition numbers of single eigenvalues and eigenvectors share, of one matrix and of a pencil.

#include <complex>
#include <vector>

#include "support/guarded.hpp"
#include "support/reported_errors.hpp"
#include "support/wide.hpp"

namespace nuv::test {

/// Puts an eigenvector into column k of V, or that of a pair into two. Of a real one the largest element becomes 3: it
/// may come with a factor of any argument, and lengths are anything.
template <Scalar T>
void put_vector(const WideMatrix<std::complex<Real<T>>>& x, bool of_pair, GuardedMatrix<T>& V, Int k) {
  Eigen::Index largest = 0;
  x.cwiseAbs().col(0).maxCoeff(&largest);
  for (Int i = 1; i <= V.rows(); ++i) {
    const auto element = x(i - 1, 0);
    if constexpr (ComplexScalar<T>) {
      V(i, k) = T(element);
    } else if (of_pair) {
      V(i, k) = T(element.real());
      V(i, k + 1) = T(element.imag());
    } else {
      V(i, k) = T(3 * (element / x(largest, 0)).real());
    }
  }
}

/// Expects of calls for some of six eigenvalues, in every choice, what a call for all finds of them. Of a pair either
/// selects both.
///
/// problem          a call for all, without vectors
/// spectrum         of which find_vectors(spectrum) makes vectors for a call
/// second           the condition numbers of eigenvectors; those of eigenvalues are s
/// position_of_mm   of the argument that is too small for what is selected
template <class Call, class Spectrum, class Numbers>
void expect_selected_conditions(const Call& problem, const Spectrum& spectrum, Numbers Call::*second,
                                Int position_of_mm) {
  Call all = problem;
  all.find_vectors(spectrum).judge();
  for (int flags = 0; flags < 1 << 6; ++flags) {
    SCOPED_TRACE(flags);
    Call call = problem;
    call.howmny = flags % 2 == 0 ? 'S' : 's';
    std::vector<Int> wanted;
    for (Int j = 1; j <= 6; ++j) {
      // The lowest bit is the truth, in any words.
      const bool flag = (flags >> (j - 1) & 1) != 0;
      call.select(j) = flag ? (j % 2 == 0 ? 1 : -1) : j % 2 * 2;
      const Int partner = call.is_pair(j) ? j + 1 : call.is_pair(j - 1) ? j - 1 : j;
      if (flag || (flags >> (partner - 1) & 1) != 0) wanted.push_back(j);
    }
    call.select.seal();
    call.mm = Int(wanted.size());
    call.find_vectors(spectrum).judge();
    EXPECT_EQ(call.m, call.mm);
    for (Int k = 1; k <= call.m; ++k) {
      EXPECT_EQ(call.s(k), all.s(wanted[std::size_t(k - 1)]));
      EXPECT_EQ((call.*second)(k), (all.*second)(wanted[std::size_t(k - 1)]));
    }
    EXPECT_TRUE(call.s.unchanged_outside(1, call.m) && (call.*second).unchanged_outside(1, call.m));
    if (call.m > 0) {
      call.mm = call.m - 1;
      EXPECT_EQ(call.run(), -position_of_mm);
      EXPECT_EQ(take_error_reports().size(), 1u);
    }
  }
}

/// Expects what a call for both finds, and nothing else, of calls whose jobs name one of them. with_job(letter) makes
/// room for a job; vectors_workspace_unchanged() is about what none but condition numbers of eigenvectors take.
template <class Call, class Spectrum, class Numbers>
void expect_conditions_of_jobs(const Call& problem, const Spectrum& spectrum, Numbers Call::*second) {
  Call both = problem;
  both.find_vectors(spectrum).judge();
  for (const char job : {'E', 'e', 'V', 'v', 'b'}) {
    SCOPED_TRACE(job);
    const bool of_values = job != 'V' && job != 'v', of_vectors = job != 'E' && job != 'e';
    Call call = problem;
    call.with_job(job);
    if (of_values) {
      call.find_vectors(spectrum);
    } else {
      call.ldvl = call.ldvr = 1;
    }
    call.judge();
    EXPECT_TRUE(of_values ? call.s.same_as(both.s) : call.s.unchanged());
    EXPECT_TRUE(of_vectors ? (call.*second).same_as(both.*second) : (call.*second).unchanged());
    EXPECT_TRUE(of_vectors || call.vectors_workspace_unchanged());
  }
}

}  // namespace nuv::test
