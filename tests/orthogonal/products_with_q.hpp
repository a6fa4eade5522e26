#pragma once

// Products op(Q) C and C op(Q) with the Q of reflectors in the four forms of storage: made by the routines, and
// predicted in a wider type.

#include <algorithm>
#include <string>

#include "orthogonal/reflectors.hpp"
#include "support/reported_errors.hpp"

namespace nuv::test {

/// "DORMQR", "ZUNM2L" and the like, from "M" and "QR" or "2L".
template <Scalar T>
std::string name_with_q(const std::string& kind, const std::string& form) {
  return reported_name<T>((ComplexScalar<T> ? "UN" : "OR") + kind + form);
}

inline Int ask(Int ispec, const std::string& name, const std::string& opts, Int n1, Int n2, Int n3) {
  return routine_call::ilaenv(ispec, {name.data(), Int(name.size())}, {opts.data(), Int(opts.size())}, n1, n2, n3, -1);
}

struct ProductSizes {
  Int nq, nw, k;  ///< order of Q, other size of C, reflectors
};

/// What a product came to.
template <Scalar T>
struct Computed {
  GuardedMatrix<T> C;
  GuardedVector<T> work;
};

/// A product to compute.
template <Scalar T>
struct ProductWithQ {
  bool left, plain;
  ProductSizes sizes;
  ReflectorBlock<T> Q;
  GuardedMatrix<T> C;
  char side, trans;

  ProductWithQ(Random& random, const Form& form, bool left_, bool plain_, ProductSizes sizes_)
      : left(left_),
        plain(plain_),
        sizes(sizes_),
        Q(random, form, sizes.nq, sizes.k),
        C(random_matrix<T>(random, m(), n(), m() + random.integer(1, 3))),
        side(random.in_some_case(left ? 'L' : 'R')),
        trans(random.in_some_case(plain ? 'N' : adjoint_letter<T>)) {}

  Int m() const { return left ? sizes.nq : sizes.nw; }
  Int n() const { return left ? sizes.nw : sizes.nq; }

  std::string name() const { return name_with_q<T>("M", letters_of(Q.form)); }
  std::string opts() const { return {side, trans}; }
  Int block_size() const { return ask(1, name(), opts(), m(), n(), sizes.k); }
  Int best_lwork() const { return (sizes.nw + sizes.k) * block_size(); }
  bool goes_by_blocks() const { return block_size() < sizes.k; }

  /// Whether the first reflector is the first that is applied.
  bool ascends() const {
    const bool q_is_h = Q.form.columnwise();                    // else Q = H^H for the product H that storage means
    const bool h_begins_with_last = left == (plain == q_is_h);  // of the factors of H as they are written
    return h_begins_with_last != Q.form.forward();              // H = H1 ... Hk forward, Hk ... H1 backward
  }

  WideMatrix<T> expected() const {
    const bool adjoint_of_h = plain != Q.form.columnwise();
    if (left) return Q.times(adjoint_of_h, wide(C));
    return Q.times(!adjoint_of_h, WideMatrix<T>(wide(C).adjoint())).adjoint();
  }

  /// ||C - expected|| / (||expected|| nq eps)
  double error_of(const GuardedMatrix<T>& computed) const {
    return relative_distance<T>(wide(computed), expected(), sizes.nq);
  }

  /// The product by a routine with lwork elements of workspace, nothing else being written.
  template <class Routine>
  Computed<T> compute(Routine routine, Int lwork) const {
    ReflectorBlock<T> q = Q;
    Computed<T> result{C, GuardedVector<T>(lwork)};
    Int info = 99;
    routine(side, trans, m(), n(), sizes.k, Matrix<T>(q.V), static_cast<const T*>(q.tau.data()), Matrix<T>(result.C),
            result.work.data(), lwork, info);
    EXPECT_EQ(info, 0);
    EXPECT_TRUE(q.V.unchanged());
    EXPECT_TRUE(q.tau.unchanged());
    EXPECT_TRUE(result.C.guards_unchanged());
    EXPECT_TRUE(result.work.guards_unchanged());
    return result;
  }

  template <class Way>
  Computed<T> compute_by(Int lwork) const {
    return compute([&](auto&&... arguments) { Way::call(Q.form, arguments...); }, lwork);
  }

  GuardedMatrix<T> one_by_one() const { return compute_by<OneByOne>(std::max(1, sizes.nw)).C; }

  /// The calls that a product by blocks makes, in their order, made from here: the factors of all blocks, then each
  /// strip of C through all blocks.
  GuardedMatrix<T> by_blocks() const {
    constexpr Int strip = 256;
    const Int nb = block_size(), nq = sizes.nq, nw = sizes.nw, k = sizes.k;
    const Int blocks = (k + nb - 1) / nb;
    GuardedVector<T> factors(k * nb), work(nw * nb);
    const auto each_block = [&](auto visit) {
      for (Int step = 0; step < blocks; ++step) {
        const Int block_index = ascends() ? step : blocks - 1 - step;
        const Int i = block_index * nb + 1, ib = std::min(nb, k - i + 1);
        const bool forward = Q.form.forward();
        const Int length = forward ? nq - i + 1 : nq - k + i + ib - 1;
        const ::nuv::test::Place place = place_of(Q.form, forward ? i : 1, i);
        visit(i, ib, length, Int(forward ? i : 1), place, Matrix<T>{factors.data() + block_index * nb * nb, nb});
      }
    };
    return compute(
               [&](char, char, Int, Int, Int, Matrix<T> A, const T* tau, Matrix<T> X, T*, Int, Int& info) {
                 each_block([&](Int i, Int ib, Int length, Int, auto place, Matrix<T> factor) {
                   routine_call::larft(Q.form.direct, Q.form.storev, length, ib, block(A, place.row, place.column),
                                       tau + i - 1, factor);
                 });
                 const char letter = plain == Q.form.columnwise() ? 'N' : adjoint_letter<T>;
                 for (Int start = 1; start <= nw; start += strip) {
                   const Int width = std::min(strip, nw - start + 1);
                   each_block([&](Int, Int ib, Int length, Int first, auto place, Matrix<T> factor) {
                     routine_call::larfb(side, letter, Q.form.direct, Q.form.storev, left ? length : width,
                                         left ? width : length, ib, block(A, place.row, place.column), factor,
                                         left ? block(X, first, start) : block(X, start, first),
                                         Matrix<T>{work.data(), nw});
                   });
                 }
                 info = 0;
               },
               1)
        .C;
  }
};

template <Scalar T>
std::string to_string(const ProductWithQ<T>& product) {
  return product.name() + ' ' + product.opts() + ", nq " + std::to_string(product.sizes.nq) + ", nw " +
         std::to_string(product.sizes.nw) + ", k " + std::to_string(product.sizes.k);
}

/// Calls visit(product) for all forms, sides and transpositions.
template <Scalar T, class Visit>
void for_each_product(Random& random, ProductSizes sizes, Visit visit) {
  for (const Form& form : forms) {
    for (const bool left : {true, false}) {
      for (const bool plain : {true, false}) {
        const ProductWithQ<T> product(random, form, left, plain, sizes);
        SCOPED_TRACE(to_string(product));
        visit(product);
      }
    }
  }
}

}  // namespace nuv::test
