// NaN, infinities and signed zeros through the scalar primitives. A NaN shows in every result whose formula reads it;
// infinities and zeros give what the formulas give.

#include <array>

#include "environment/quad.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

template <RealScalar R>
constexpr R inf = std::numeric_limits<R>::infinity();
template <RealScalar R>
constexpr R nan = std::numeric_limits<R>::quiet_NaN();

template <RealScalar R>
constexpr std::array<R, 9> numbers = {
    0, R(-0.0), 1, -2, std::numeric_limits<R>::max(), -std::numeric_limits<R>::min(), nan<R>, inf<R>, -inf<R>};

template <class R>
class SpecialValues : public testing::Test {};
TYPED_TEST_SUITE(SpecialValues, RealPrecisions, PrecisionLetter);

/// Calls a function of Count numbers with all choices of them that have a NaN.
template <std::size_t Count, RealScalar R, class Function>
void for_each_with_nan(Function function) {
  std::array<R, Count> choice;
  const auto choose = [&](auto self, std::size_t place, bool has_nan) -> void {
    if (place == Count) {
      if (!has_nan) return;
      SCOPED_TRACE(testing::PrintToString(choice));
      return std::apply(function, choice);
    }
    for (const R value : numbers<R>) {
      choice[place] = value;
      self(self, place + 1, has_nan || std::isnan(value));
    }
  };
  choose(choose, 0, false);
}

template <RealScalar R>
bool is_nan(R x) {
  return std::isnan(x);
}
template <RealScalar R>
bool is_nan(std::complex<R> z) {
  return std::isnan(z.real()) || std::isnan(z.imag());
}

/// Bit by bit, but any NaN for any other.
template <std::size_t Count, RealScalar R>
void expect_results(const std::array<R, Count>& found, const std::array<R, Count>& expected) {
  for (std::size_t i = 0; i < Count; ++i) {
    EXPECT_TRUE(is_nan(expected[i]) ? is_nan(found[i]) : same_bits(found[i], expected[i]))
        << "result " << i << " is " << found[i] << ", not " << expected[i];
  }
}

template <RealScalar R>
using Triple = std::array<R, 3>;

/// What goes in and what comes out, one call a row.
template <RealScalar R, std::size_t Results>
struct Row {
  Triple<R> in;
  std::array<R, Results> out;
};

template <RealScalar R, std::size_t Results, class Function>
void expect_rows(Function function, std::initializer_list<Row<R, Results>> rows) {
  for (const auto& [in, out] : rows) {
    SCOPED_TRACE(testing::PrintToString(in));
    expect_results(std::apply(function, in), out);
  }
}

/// Expects the same of all signs that the zeros among three numbers may have.
template <RealScalar R, std::size_t Results, class Function>
void expect_for_zeros_of_any_sign(Function function, std::initializer_list<Row<R, Results>> rows) {
  for (const auto& [in, out] : rows) {
    for (int signs = 0; signs < 8; ++signs) {
      Triple<R> turned = in;
      for (int i = 0; i < 3; ++i) {
        if (in[i] == 0 && (signs >> i & 1) != 0) turned[i] = R(-0.0);
      }
      SCOPED_TRACE(testing::PrintToString(turned));
      expect_results(std::apply(function, turned), out);
    }
  }
}

// ------------------------------------------------------------------------------------------------- norms and rotations

TYPED_TEST(SpecialValues, NaNInNorms) {
  using R = TypeParam;
  for_each_with_nan<2, R>([](R x, R y) { EXPECT_TRUE(is_nan(routine_call::lapy2(x, y))); });
  for_each_with_nan<3, R>([](R x, R y, R z) { EXPECT_TRUE(is_nan(routine_call::lapy3(x, y, z))); });
}

TYPED_TEST(SpecialValues, NaNInRotations) {
  using R = TypeParam;
  for_each_with_nan<2, R>([](R f, R g) {
    R cs = guard<R>(), sn = cs, r = cs;
    routine_call::lartg(f, g, cs, sn, r);
    EXPECT_TRUE(is_nan(r));
    EXPECT_EQ(is_nan(cs) && is_nan(sn), f != 0 && g != 0) << cs << ", " << sn;
  });
}

TYPED_TEST(SpecialValues, NaNInComplexRotations) {
  using R = TypeParam;
  using C = std::complex<R>;
  for_each_with_nan<4, R>([](R f_re, R f_im, R g_re, R g_im) {
    R cs = guard<R>();
    C sn = guard<C>(), r = sn;
    routine_call::lartg(C(f_re, f_im), C(g_re, g_im), cs, sn, r);
    EXPECT_TRUE(is_nan(r)) << r;
    if (g_re != 0 || g_im != 0) {
      EXPECT_TRUE(is_nan(cs) && is_nan(sn)) << cs << ", " << sn;
    }
  });
}

// -------------------------------------------------------------------------------------------------- symmetric matrices

template <RealScalar R>
std::array<R, 2> lae2(R a, R b, R c) {
  R rt1 = guard<R>(), rt2 = rt1;
  routine_call::lae2(a, b, c, rt1, rt2);
  return {rt1, rt2};
}

template <RealScalar R>
std::array<R, 4> laev2(R a, R b, R c) {
  R rt1 = guard<R>(), rt2 = rt1, cs1 = rt1, sn1 = rt1;
  routine_call::laev2(a, b, c, rt1, rt2, cs1, sn1);
  expect_results(lae2(a, b, c), {rt1, rt2});
  return {rt1, rt2, cs1, sn1};
}

TYPED_TEST(SpecialValues, NaNInSymmetricMatrices) {
  using R = TypeParam;
  for_each_with_nan<3, R>([](R a, R b, R c) {
    const auto [rt1, rt2, cs1, sn1] = laev2(a, b, c);
    EXPECT_TRUE(is_nan(rt1) && is_nan(rt2)) << rt1 << ", " << rt2;
    // The vectors of a diagonal matrix are the axes.
    EXPECT_EQ(is_nan(cs1) && is_nan(sn1), b != 0) << cs1 << ", " << sn1;
  });
}

TYPED_TEST(SpecialValues, NaNInHermitianMatrices) {
  using R = TypeParam;
  using C = std::complex<R>;
  for_each_with_nan<4, R>([](R a, R b_re, R b_im, R c) {
    R rt1 = guard<R>(), rt2 = rt1, cs1 = rt1;
    C sn1 = guard<C>();
    routine_call::laev2(C(a, 1), C(b_re, b_im), C(c, 1), rt1, rt2, cs1, sn1);
    // An infinite part of b makes its magnitude infinite, whatever the other is; its direction is NaN all the same.
    if (is_nan(a) || is_nan(c) || !(std::isinf(b_re) || std::isinf(b_im))) {
      EXPECT_TRUE(is_nan(rt1) && is_nan(rt2)) << rt1 << ", " << rt2;
    }
    EXPECT_TRUE(is_nan(rt1) || is_nan(sn1)) << rt1 << ", " << sn1;
  });
}

TYPED_TEST(SpecialValues, InfinitiesInSymmetricMatrices) {
  using R = TypeParam;
  constexpr R oo = inf<R>, no = nan<R>;
  expect_rows<R, 4>(laev2<R>, {{{oo, 1, 2}, {oo, no, -1, 0}},
                               {{-oo, 1, 2}, {-oo, no, -1, 0}},
                               {{1, 0, oo}, {oo, no, 0, 1}},
                               {{1, -3, -oo}, {-oo, no, 0, 1}},
                               {{1, oo, 2}, {oo, no, no, no}},
                               {{1, -oo, 1}, {oo, no, no, no}},
                               {{oo, -oo, 1}, {oo, no, no, no}},
                               {{0, oo, 0}, {oo, -oo, no, no}},
                               // Infinities of one sign have no difference, those of both no sum.
                               {{oo, 1, oo}, {oo, no, no, no}},
                               {{-oo, 1, -oo}, {-oo, no, no, no}},
                               {{oo, 1, -oo}, {oo, -oo, -1, 0}},
                               {{-oo, 0, oo}, {oo, -oo, 0, 1}}});
}

TYPED_TEST(SpecialValues, ZerosInSymmetricMatrices) {
  using R = TypeParam;
  const R half_root = 1 / std::sqrt(R(2));
  expect_for_zeros_of_any_sign<R, 4>(laev2<R>, {{{0, 0, 0}, {0, 0, 0, 1}},
                                                {{5, 0, 1}, {5, 1, -1, 0}},
                                                {{1, 0, -5}, {-5, 1, 0, 1}},
                                                {{0, 2, 0}, {2, -2, half_root, half_root}},
                                                {{0, -2, 0}, {2, -2, -half_root, half_root}}});
  // The second eigenvalue is a zero of the diagonal with its sign.
  constexpr R minus = R(-0.0);
  expect_rows<R, 4>(laev2<R>, {{{3, 0, 0}, {3, 0, -1, 0}},
                               {{3, minus, minus}, {3, minus, -1, 0}},
                               {{minus, 0, 5}, {5, minus, 0, 1}},
                               {{0, minus, -5}, {-5, 0, 0, 1}}});
}

// ----------------------------------------------------------------------------------------------------- singular values

template <RealScalar R>
std::array<R, 2> las2(R f, R g, R h) {
  R ssmin = guard<R>(), ssmax = ssmin;
  routine_call::las2(f, g, h, ssmin, ssmax);
  return {ssmin, ssmax};
}

/// ssmin, ssmax, snr, csr, snl, csl
template <RealScalar R>
std::array<R, 6> lasv2(R f, R g, R h) {
  std::array<R, 6> x;
  x.fill(guard<R>());
  routine_call::lasv2(f, g, h, x[0], x[1], x[2], x[3], x[4], x[5]);
  return x;
}

TYPED_TEST(SpecialValues, NaNInSingularValues) {
  using R = TypeParam;
  for_each_with_nan<3, R>([](R f, R g, R h) {
    const auto [ssmin, ssmax] = las2(f, g, h);
    EXPECT_TRUE(is_nan(ssmax)) << ssmax;
    const bool is_singular = !is_nan(f) && !is_nan(h) && (f == 0 || h == 0);
    EXPECT_TRUE(is_singular ? same_bits(ssmin, R(0)) : is_nan(ssmin)) << ssmin;
  });
}

TYPED_TEST(SpecialValues, NaNInSingularValueDecompositions) {
  using R = TypeParam;
  for_each_with_nan<3, R>([](R f, R g, R h) {
    const auto [ssmin, ssmax, snr, csr, snl, csl] = lasv2(f, g, h);
    if (g == 0) {  // diagonal: each element is a singular value
      EXPECT_EQ(is_nan(ssmax), is_nan(f)) << ssmax;
      EXPECT_EQ(is_nan(ssmin), is_nan(h)) << ssmin;
      expect_results<4, R>({snr, csr, snl, csl}, {0, 1, 0, 1});
    } else {
      EXPECT_TRUE(is_nan(ssmin)) << ssmin;
      // A g beyond f is the larger one by itself; h alone is not looked at then.
      const bool is_dominant = !is_nan(g) && std::abs(f / g) < epsilon<R> / 2;
      EXPECT_EQ(is_nan(ssmax), !is_dominant) << ssmax;
      EXPECT_EQ(is_nan(csr) && is_nan(snr) && is_nan(csl), !is_dominant) << csr << ", " << snr << ", " << csl;
      EXPECT_TRUE(is_nan(snl)) << snl;
    }
  });
}

TYPED_TEST(SpecialValues, InfinitiesInSingularValues) {
  using R = TypeParam;
  constexpr R oo = inf<R>, no = nan<R>;
  expect_rows<R, 2>(las2<R>, {{{oo, 0, 0}, {0, oo}},
                              {{0, -oo, 0}, {0, oo}},
                              {{0, 2, -oo}, {0, oo}},
                              {{0, oo, 1}, {0, oo}},
                              {{0, oo, oo}, {0, no}},
                              {{1, -oo, 2}, {0, oo}},
                              {{oo, 1, 1}, {no, no}},
                              {{1, oo, -oo}, {no, no}}});
  expect_rows<R, 6>(lasv2<R>, {{{oo, 1, 1}, {1, oo, 0, 1, 0, 1}},
                               {{oo, 2, -3}, {-3, oo, 0, 1, R(-0.0), 1}},
                               {{2, 0, -oo}, {2, -oo, 1, 0, 1, 0}},
                               {{-oo, 0, 0}, {0, -oo, 0, 1, 0, 1}},
                               {{1, oo, 1}, {0, oo, 1, 0, 0, 1}},
                               {{1, -oo, 4}, {0, -oo, 1, R(-0.0), R(-0.0), 1}},
                               {{0, oo, 3}, {0, oo, 1, 0, 0, 1}},
                               {{oo, oo, 1}, {no, no, no, no, no, no}},
                               {{oo, 1, oo}, {no, no, no, no, no, no}}});
}

TYPED_TEST(SpecialValues, ZerosInSingularValues) {
  using R = TypeParam;
  expect_for_zeros_of_any_sign<R, 2>(
      las2<R>, {{{0, 0, 0}, {0, 0}}, {{0, -4, 3}, {0, 5}}, {{3, 0, 0}, {0, 3}}, {{-2, 0, 8}, {2, 8}}});
  expect_for_zeros_of_any_sign<R, 6>(lasv2<R>, {{{0, 0, 0}, {0, 0, 0, 1, 0, 1}},
                                                {{3, 0, 2}, {2, 3, 0, 1, 0, 1}},
                                                {{-2, 0, 3}, {-2, 3, 1, 0, 1, 0}},
                                                {{0, 0, -3}, {0, -3, 1, 0, 1, 0}}});
  // Tangents have the signs of their zeros.
  constexpr R minus = R(-0.0);
  expect_rows<R, 6>(lasv2<R>, {{{0, 1, 0}, {0, 1, 1, 0, 0, 1}},
                               {{minus, 1, 0}, {0, 1, 1, minus, 0, 1}},
                               {{0, 1, minus}, {0, 1, 1, 0, minus, 1}},
                               {{0, -1, 0}, {0, -1, 1, minus, minus, 1}}});
}

// -------------------------------------------------------------------------------------------------------- Schur blocks

/// a, b, c, d, rt1r, rt1i, rt2r, rt2i, cs, sn
template <RealScalar R>
std::array<R, 10> lanv2(R a, R b, R c, R d) {
  std::array<R, 10> x;
  x.fill(guard<R>());
  x[0] = a, x[1] = b, x[2] = c, x[3] = d;
  routine_call::lanv2(x[0], x[1], x[2], x[3], x[4], x[5], x[6], x[7], x[8], x[9]);
  return x;
}

TYPED_TEST(SpecialValues, NaNInSchurBlocks) {
  using R = TypeParam;
  for_each_with_nan<4, R>([](R a, R b, R c, R d) {
    const auto x = lanv2(a, b, c, d);
    EXPECT_TRUE(is_nan(x[0]) || is_nan(x[1]) || is_nan(x[2]) || is_nan(x[3]));
    // Those of a triangle are its diagonal.
    const bool in_eigenvalues = is_nan(x[4]) || is_nan(x[5]) || is_nan(x[6]) || is_nan(x[7]);
    EXPECT_EQ(in_eigenvalues, is_nan(a) || is_nan(d) || (b != 0 && c != 0)) << testing::PrintToString(x);
  });
}

TYPED_TEST(SpecialValues, NaNOfEitherSignIsPositiveInSchurBlocks) {
  using R = TypeParam;
  // Beside a negative element it ends the work as a positive one would, on an equal diagonal.
  for (const R no : {nan<R>, -nan<R>}) {
    expect_results(lanv2<R>(2, no, -3, 2), {2, no, -3, 2, 2, no, 2, no, 1, 0});
    expect_results(lanv2<R>(2, -3, no, 2), {2, -3, no, 2, 2, no, 2, no, 1, 0});
  }
}

TYPED_TEST(SpecialValues, InfinitiesInSchurBlocks) {
  using R = TypeParam;
  constexpr R oo = inf<R>;
  expect_results(lanv2<R>(1, 2, 0, oo), {1, 2, 0, oo, 1, 0, oo, 0, 1, 0});
  expect_results(lanv2<R>(oo, 0, 3, 1), {1, -3, 0, oo, 1, 0, oo, 0, 0, 1});
  expect_results(lanv2<R>(1, oo, -1, 1), {1, oo, -1, 1, 1, oo, 1, -oo, 1, 0});
  for (const auto& [a, b, c, d] :
       {std::array<R, 4>{oo, 1, 1, 1}, {1, oo, 1, 1}, {1, 1, oo, 2}, {1, -1, 1, -oo}, {oo, 1, -1, oo}}) {
    const auto x = lanv2(a, b, c, d);
    EXPECT_TRUE(is_nan(x[0]) && is_nan(x[3]) && is_nan(x[4]) && is_nan(x[6])) << testing::PrintToString(x);
  }
}

TYPED_TEST(SpecialValues, ZerosInSchurBlocks) {
  using R = TypeParam;
  constexpr R minus = R(-0.0);
  expect_results(lanv2<R>(minus, 2, minus, 0), {minus, 2, minus, 0, minus, 0, 0, 0, 1, 0});
  expect_results(lanv2<R>(minus, minus, minus, minus), {minus, minus, minus, minus, minus, 0, minus, 0, 1, 0});
  expect_results(lanv2<R>(minus, minus, 3, 0), {0, -3, 0, minus, 0, 0, minus, 0, 0, 1});
  // Zeros on the diagonal are equal whatever their signs.
  expect_results(lanv2<R>(minus, 4, -9, 0), {minus, 4, -9, 0, minus, 6, 0, -6, 1, 0});
}

}  // namespace
}  // namespace nuv::test
