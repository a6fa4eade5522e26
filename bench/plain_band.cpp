#include "plain_band.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace nuv::bench {
namespace {

/// Element (i, j), counted from zero, of a band matrix whose diagonal stands in that row of its storage.
struct Band {
  double* ab;
  std::ptrdiff_t ldab;
  int diagonal;

  double& operator()(int i, int j) const { return ab[diagonal + i - j + j * ldab]; }
};

}  // namespace

void plain_gbsv(int n, int kl, int ku, double* ab, int ldab, int* ipiv, double* b) {
  const int kv = kl + ku;
  const Band A{ab, ldab, kv};
  for (int j = ku + 1; j < std::min(kv, n); ++j) {
    for (int i = 0; i < j - ku; ++i) A(i, j) = 0;
  }
  int last = 0;
  for (int j = 0; j < n; ++j) {
    if (j + kv < n) {
      for (int i = 0; i < kl; ++i) ab[i + (j + kv) * std::ptrdiff_t{ldab}] = 0;
    }
    const int below = std::min(kl, n - 1 - j);
    int p = j;
    for (int i = j + 1; i <= j + below; ++i) {
      if (std::abs(A(i, j)) > std::abs(A(p, j))) p = i;
    }
    ipiv[j] = p;
    if (A(p, j) == 0) return;
    last = std::max(last, std::min(p + ku, n - 1));
    if (p != j) {
      for (int c = j; c <= last; ++c) std::swap(A(p, c), A(j, c));
    }
    const double reciprocal = 1 / A(j, j);
    for (int i = 1; i <= below; ++i) A(j + i, j) *= reciprocal;
    for (int c = j + 1; c <= last; ++c) {
      const double u = A(j, c);
      if (u == 0) continue;
      for (int i = 1; i <= below; ++i) A(j + i, c) -= A(j + i, j) * u;
    }
  }
  for (int j = 0; j < n - 1; ++j) {
    std::swap(b[j], b[ipiv[j]]);
    const int below = std::min(kl, n - 1 - j);
    for (int i = 1; i <= below; ++i) b[j + i] -= A(j + i, j) * b[j];
  }
  for (int j = n - 1; j >= 0; --j) {
    b[j] /= A(j, j);
    for (int i = j - 1; i >= std::max(0, j - kv); --i) b[i] -= b[j] * A(i, j);
  }
}

void plain_pbsv(int n, int kd, double* ab, int ldab, double* b) {
  const Band A{ab, ldab, 0};
  for (int j = 0; j < n; ++j) {
    if (A(j, j) <= 0) return;
    const double root = A(j, j) = std::sqrt(A(j, j));
    const int below = std::min(kd, n - 1 - j);
    for (int i = 1; i <= below; ++i) A(j + i, j) *= 1 / root;
    for (int c = 1; c <= below; ++c) {
      for (int i = c; i <= below; ++i) A(j + i, j + c) -= A(j + i, j) * A(j + c, j);
    }
  }
  for (int j = 0; j < n; ++j) {
    b[j] /= A(j, j);
    for (int i = 1; i <= std::min(kd, n - 1 - j); ++i) b[j + i] -= b[j] * A(j + i, j);
  }
  for (int j = n - 1; j >= 0; --j) {
    double rest = b[j];
    for (int i = std::min(kd, n - 1 - j); i >= 1; --i) rest -= A(j + i, j) * b[j + i];
    b[j] = rest / A(j, j);
  }
}

void plain_gtsv(int n, int nrhs, double* dl, double* d, double* du, double* b, int ldb) {
  const auto B = [=](int i, int j) -> double& { return b[i + j * std::ptrdiff_t{ldb}]; };
  for (int i = 0; i < n - 1; ++i) {
    if (std::abs(d[i]) >= std::abs(dl[i])) {
      if (d[i] == 0) return;
      const double factor = dl[i] / d[i];
      d[i + 1] -= factor * du[i];
      for (int j = 0; j < nrhs; ++j) B(i + 1, j) -= factor * B(i, j);
      dl[i] = 0;
    } else {
      const double factor = d[i] / dl[i], below = d[i + 1];
      d[i] = dl[i];
      d[i + 1] = du[i] - factor * below;
      if (i < n - 2) {
        dl[i] = du[i + 1];
        du[i + 1] = -factor * dl[i];
      }
      du[i] = below;
      for (int j = 0; j < nrhs; ++j) {
        const double upper = B(i, j);
        B(i, j) = B(i + 1, j);
        B(i + 1, j) = upper - factor * B(i + 1, j);
      }
    }
  }
  for (int j = 0; j < nrhs; ++j) {
    B(n - 1, j) /= d[n - 1];
    if (n > 1) B(n - 2, j) = (B(n - 2, j) - du[n - 2] * B(n - 1, j)) / d[n - 2];
    for (int i = n - 3; i >= 0; --i) B(i, j) = (B(i, j) - du[i] * B(i + 1, j) - dl[i] * B(i + 2, j)) / d[i];
  }
}

void plain_ptsv(int n, int nrhs, double* d, double* e, double* b, int ldb) {
  for (int i = 0; i < n - 1; ++i) {
    if (d[i] <= 0) return;
    const double below = e[i];
    e[i] = below / d[i];
    d[i + 1] -= e[i] * below;
  }
  for (int j = 0; j < nrhs; ++j) {
    double* const x = b + j * std::ptrdiff_t{ldb};
    for (int i = 1; i < n; ++i) x[i] -= x[i - 1] * e[i - 1];
    x[n - 1] /= d[n - 1];
    for (int i = n - 2; i >= 0; --i) x[i] = x[i] / d[i] - x[i + 1] * e[i];
  }
}

}  // namespace nuv::bench
