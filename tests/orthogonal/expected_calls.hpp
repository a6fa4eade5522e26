#pragma once

// What blocks of reflectors are to ask of level 3, call by call, as the recording layer writes it down.

#include <algorithm>
#include <initializer_list>
#include <string>
#include <vector>

#include "orthogonal/reflectors.hpp"
#include "support/options.hpp"

namespace nuv::test {

/// A list of calls that grows. Options have a small t for the letter of the adjoint: T, or C in the complex members.
template <Scalar T>
class ExpectedCalls {
 public:
  const std::vector<std::string>& list() const { return list_; }

  void gemm(const std::string& options, Int m, Int n, Int k, Int alpha, Int beta) {
    add("gemm " + options, {m, n, k}, {alpha, beta});
  }
  void trmm(const std::string& options, Int m, Int n, Int alpha = 1) { add("trmm " + options, {m, n}, {alpha}); }

  /// The factor of k reflectors of order n: per block of columns one product for what lies beyond it and one with the
  /// factor of all columns before it.
  void larft(const Form& form, Int n, Int k) {
    const Int nb = k <= 64 || n >= 15000 ? 16 : 32;
    for (Int done = 0; done < k; done += nb) {
      const Int ib = std::min(nb, k - done);
      gemm(form.columnwise() ? "tN" : "Nt", done, ib, n - done - ib, 1, 0);
      trmm(form.forward() ? "LUNN" : "LLNN", done, ib);
    }
  }

  /// The product of the block H of k reflectors, or of its adjoint, with an m by n matrix.
  void larfb(char side, char trans, const Form& form, Int m, Int n, Int k) {
    if (m <= 0 || n <= 0) return;
    // C1 by V1, C2 by V2, C2 less W by V2, W by V1; between them comes W by T.
    struct Branch {
      const char *form, *side, *into_w, *add_to_w, *from_c2, *back;
      bool upper_t;
    };
    static constexpr Branch branches[] = {
        {"FC", "L", "RLNU", "tN", "Nt", "RLtU", true},  {"FC", "R", "RLNU", "NN", "Nt", "RLtU", true},
        {"BC", "L", "RUNU", "tN", "Nt", "RUtU", false}, {"BC", "R", "RUNU", "NN", "Nt", "RUtU", false},
        {"FR", "L", "RUtU", "tt", "tt", "RUNU", true},  {"FR", "R", "RUtU", "Nt", "NN", "RUNU", true},
        {"BR", "L", "RLtU", "tt", "tt", "RLNU", false}, {"BR", "R", "RLtU", "Nt", "NN", "RLNU", false}};
    const auto& branch = *std::find_if(std::begin(branches), std::end(branches),
                                       [&](const Branch& b) { return b.form == to_string(form) && *b.side == side; });
    const bool left = is_left(side);
    // On the left W stands for the adjoint of C, so that it takes the adjoint of T.
    const bool takes_adjoint = left != is_transposed(trans);
    const Int lines = left ? n : m, rest = (left ? m : n) - k;
    trmm(branch.into_w, lines, k);
    gemm(branch.add_to_w, lines, k, rest, 1, 1);
    trmm(std::string("R") + (branch.upper_t ? "U" : "L") + (takes_adjoint ? "t" : "N") + "N", lines, k);
    if (left) {
      gemm(branch.from_c2, rest, n, k, -1, 1);
    } else {
      gemm(branch.from_c2, m, rest, k, -1, 1);
    }
    trmm(branch.back, lines, k);
  }

  /// The panel of a QR factorisation with the factor of its reflectors.
  void laqrf(Int m, Int n) {
    const Int k = std::min(m, n), nb = std::min(m <= 350 ? n : 16, 256);
    if (n <= nb) {
      // The base case. In double it forms the factor by the plain way, without level 3.
      if (!std::same_as<T, double>) larft({'F', 'C'}, m, k);
      return;
    }
    for (Int j = 1; j <= k; j += nb) {
      const Int ib = std::min(nb, k - j + 1), before = j - 1, behind = j + ib;
      laqrf(m - j + 1, ib);
      larfb('L', 'C', {'F', 'C'}, m - j + 1, n - behind + 1, ib);
      trmm("RLNU", before, ib);
      gemm("CN", before, ib, m - behind + 1, 1, 1);
      trmm("LUNN", before, ib);
      trmm("RUNN", before, ib, -1);
    }
  }

 private:
  void add(std::string call, std::initializer_list<Int> sizes, std::initializer_list<Int> factors) {
    // Such calls are not recorded.
    if (std::count(sizes.begin(), sizes.end(), 0) > 0) return;
    std::replace(call.begin() + 5, call.end(), 't', ComplexScalar<T> ? 'C' : 'T');
    for (const Int size : sizes) call += ' ' + std::to_string(size);
    for (const Int factor : factors) call += ", " + std::to_string(factor);
    list_.push_back(call);
  }

  std::vector<std::string> list_;
};

}  // namespace nuv::test
