// An element of a result is not finite just where the formula of that element makes it so: the kernels of level 2,
// their complex symmetric kin and the routines of level 3, with one infinity or NaN in each place of each array in
// turn, against the published formulas in plain loops. Some of the other numbers are zeros. None of them hides
// anything: no routine here leaves out the products with a zero, so that what a vector holds elsewhere, the triangle
// that is stored and the instruction set make no difference to where a NaN comes out.
//
// All of them take their arguments by reference, so that the names of the arguments say how to call a routine. Nothing
// here is compiled for each routine or each precision.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "support/options.hpp"
#include "support/random.hpp"
#include "support/reported_errors.hpp"
#include "support/sanitized.hpp"

namespace nuv::test {
namespace {

// ------------------------------------------------------------------------------------------------------------ numbers

/// A number of any precision. One that is real multiplies part by part, two complex ones by the plain formula.
struct Number {
  double re = 0, im = 0;
  bool is_complex = false;

  bool operator==(double x) const { return re == x && im == 0; }
};

Number operator+(Number x, Number y) {
  return {x.re + y.re, x.im + y.im, x.is_complex || y.is_complex};
}
Number operator-(Number x, Number y) {
  return {x.re - y.re, x.im - y.im, x.is_complex || y.is_complex};
}
Number operator*(Number x, Number y) {
  if (!x.is_complex) return {x.re * y.re, y.is_complex ? x.re * y.im : 0, y.is_complex};
  if (!y.is_complex) return y * x;
  return {x.re * y.re - x.im * y.im, x.re * y.im + x.im * y.re, true};
}
/// Complex ones by the ratio of the divisor's parts.
Number operator/(Number x, Number y) {
  if (!y.is_complex) return {x.re / y.re};
  if (std::abs(y.re) > std::abs(y.im)) {
    const double e = y.im / y.re, f = y.re + y.im * e;
    return {(x.re + x.im * e) / f, (x.im - x.re * e) / f, true};
  }
  const double e = y.re / y.im, f = y.im + y.re * e;
  return {(x.im + x.re * e) / f, (x.im * e - x.re) / f, true};
}
Number conjugate(Number x) {
  return {x.re, -x.im, x.is_complex};
}
Number real_part(Number x) {
  return {x.re};
}

// ----------------------------------------------------------------------------------------------------------- routines

enum class Work { product, solution, update };

/// Of A in products and solutions, of C in updates. A Hermitian general update is one by x y^H.
enum class Shape { general, symmetric, hermitian, triangular };

/// A product op(A) B + C, a solution with A, or an update C + A B'. Vectors are matrices of one column. Where there is
/// no B, a product and a solution take C for it, an update A.
struct Routine {
  const char *precisions, *name;
  Work work;
  Shape shape;
  const char* arguments;

  /// Whether it has an argument of this name.
  bool has(const std::string& argument) const {
    return (" " + std::string(arguments) + " ").find(" " + argument + " ") != std::string::npos;
  }
};

constexpr Routine routines[] = {
    {"sdcz", "gemv", Work::product, Shape::general, "trans m n alpha a lda b incb beta c incc"},
    {"sdcz", "gbmv", Work::product, Shape::general, "trans m n kl ku alpha a lda b incb beta c incc"},
    {"sdcz", "symv", Work::product, Shape::symmetric, "uplo n alpha a lda b incb beta c incc"},
    {"cz", "hemv", Work::product, Shape::hermitian, "uplo n alpha a lda b incb beta c incc"},
    {"sd", "symv_nb", Work::product, Shape::symmetric, "uplo n n alpha a lda b incb beta c incc"},
    {"cz", "hemv_nb", Work::product, Shape::hermitian, "uplo n n alpha a lda b incb beta c incc"},
    {"sd", "sbmv", Work::product, Shape::symmetric, "uplo n kd alpha a lda b incb beta c incc"},
    {"cz", "hbmv", Work::product, Shape::hermitian, "uplo n kd alpha a lda b incb beta c incc"},
    {"sdcz", "spmv", Work::product, Shape::symmetric, "uplo n alpha a b incb beta c incc"},
    {"cz", "hpmv", Work::product, Shape::hermitian, "uplo n alpha a b incb beta c incc"},
    {"sdcz", "trmv", Work::product, Shape::triangular, "uplo trans diag n a lda c incc"},
    {"sdcz", "tbmv", Work::product, Shape::triangular, "uplo trans diag n kd a lda c incc"},
    {"sdcz", "tpmv", Work::product, Shape::triangular, "uplo trans diag n a c incc"},
    {"sdcz", "trsv", Work::solution, Shape::triangular, "uplo trans diag n a lda c incc"},
    {"sdcz", "tbsv", Work::solution, Shape::triangular, "uplo trans diag n kd a lda c incc"},
    {"sdcz", "tpsv", Work::solution, Shape::triangular, "uplo trans diag n a c incc"},
    {"sd", "ger", Work::update, Shape::symmetric, "m n alpha a inca b incb c ldc"},
    {"cz", "geru", Work::update, Shape::symmetric, "m n alpha a inca b incb c ldc"},
    {"cz", "gerc", Work::update, Shape::hermitian, "m n alpha a inca b incb c ldc"},
    {"sdcz", "syr", Work::update, Shape::symmetric, "uplo n alpha a inca c ldc"},
    {"cz", "her", Work::update, Shape::hermitian, "uplo n real_alpha a inca c ldc"},
    {"sdcz", "spr", Work::update, Shape::symmetric, "uplo n alpha a inca c"},
    {"cz", "hpr", Work::update, Shape::hermitian, "uplo n real_alpha a inca c"},
    {"sd", "syr2", Work::update, Shape::symmetric, "uplo n alpha a inca b incb c ldc"},
    {"cz", "her2", Work::update, Shape::hermitian, "uplo n alpha a inca b incb c ldc"},
    {"sd", "syr2_nb", Work::update, Shape::symmetric, "uplo n n alpha a inca b incb c ldc"},
    {"cz", "her2_nb", Work::update, Shape::hermitian, "uplo n n alpha a inca b incb c ldc"},
    {"sd", "spr2", Work::update, Shape::symmetric, "uplo n alpha a inca b incb c"},
    {"cz", "hpr2", Work::update, Shape::hermitian, "uplo n alpha a inca b incb c"},
    {"sdcz", "gemm", Work::product, Shape::general, "trans transb m n k alpha a lda b ldb beta c ldc"},
    {"cz", "gemm3m", Work::product, Shape::general, "trans transb m n k alpha a lda b ldb beta c ldc"},
    {"sdcz", "symm", Work::product, Shape::symmetric, "side uplo m n alpha a lda b ldb beta c ldc"},
    {"cz", "hemm", Work::product, Shape::hermitian, "side uplo m n alpha a lda b ldb beta c ldc"},
    {"sdcz", "trmm", Work::product, Shape::triangular, "side uplo trans diag m n alpha a lda c ldc"},
    {"sdcz", "trsm", Work::solution, Shape::triangular, "side uplo trans diag m n alpha a lda c ldc"},
    {"sdcz", "syrk", Work::update, Shape::symmetric, "uplo trans n k alpha a lda beta c ldc"},
    {"cz", "herk", Work::update, Shape::hermitian, "uplo trans n k real_alpha a lda real_beta c ldc"},
    {"sdcz", "syr2k", Work::update, Shape::symmetric, "uplo trans n k alpha a lda b ldb beta c ldc"},
    {"cz", "her2k", Work::update, Shape::hermitian, "uplo trans n k alpha a lda b ldb real_beta c ldc"},
    {"sd", "syr2k_nb", Work::update, Shape::symmetric, "uplo trans n k alpha a lda b ldb beta c ldc n"},
    {"cz", "her2k_nb", Work::update, Shape::hermitian, "uplo trans n k alpha a lda b ldb real_beta c ldc n"},
};

// ----------------------------------------------------------------------------------------------------------- matrices

/// A matrix, or the part of it that is there: zeros that are known as such take no part in anything. From zero.
struct Elements {
  Int rows, columns;
  std::vector<std::optional<Number>> all;

  Elements(Int m, Int n) : rows(m), columns(n), all(std::size_t(m) * n) {}
  std::optional<Number>& operator()(Int i, Int j) { return all[i + std::size_t(j) * rows]; }
  const std::optional<Number>& operator()(Int i, Int j) const { return all[i + std::size_t(j) * rows]; }
};

template <class Function>
Elements transformed(Int m, Int n, Function element) {
  Elements X(m, n);
  for (Int j = 0; j < n; ++j) {
    for (Int i = 0; i < m; ++i) X(i, j) = element(i, j);
  }
  return X;
}

Elements op(char trans, const Elements& X) {
  if (trans == 'N') return X;
  return transformed(X.columns, X.rows, [&](Int i, Int j) {
    std::optional<Number> x = X(j, i);
    if (x && trans == 'C') x = conjugate(*x);
    return x;
  });
}

/// The numbers of an array, and where in it a matrix stands.
struct Array {
  Int rows = 0, columns = 0;
  Int inc = 0;               ///< of a vector; else zero
  Int ld = 0;                ///< zero where a triangle is packed
  Int below = 0, above = 0;  ///< diagonals that a band or a packed triangle has beside the main one
  bool is_band = false;
  std::vector<Number> numbers = {};

  /// Where element (i, j) stands, or -1 where it is not stored.
  std::ptrdiff_t place(Int i, Int j) const {
    if (inc != 0) return std::ptrdiff_t{inc > 0 ? i : i - rows + 1} * inc;
    if (!is_band && ld != 0) return i + std::ptrdiff_t{j} * ld;
    if (j - i > above || i - j > below) return -1;
    if (is_band) return above + i - j + std::ptrdiff_t{j} * ld;
    return above > 0 ? i + std::ptrdiff_t{j} * (j + 1) / 2 : i + std::ptrdiff_t{j} * (2 * rows - j - 1) / 2;
  }
  Elements elements() const {
    return transformed(rows, columns, [&](Int i, Int j) {
      const std::ptrdiff_t at = place(i, j);
      return at < 0 ? std::optional<Number>() : numbers[at];
    });
  }
};

/// What the elements stand for.
Elements whole(Elements X, Shape shape, bool upper, bool unit_diagonal) {
  if (shape == Shape::general) return X;
  return transformed(X.rows, X.columns, [&](Int i, Int j) {
    const bool is_stored = upper ? i <= j : i >= j;
    if (shape == Shape::triangular) {
      if (i == j && unit_diagonal) return std::optional(Number{1});
      return is_stored ? X(i, j) : std::nullopt;
    }
    std::optional<Number> x = is_stored ? X(i, j) : X(j, i);
    if (x && shape == Shape::hermitian) x = i == j ? real_part(*x) : is_stored ? *x : conjugate(*x);
    return x;
  });
}

// ---------------------------------------------------------------------------------------------------------- formulas

/// When alpha is multiplied. Numbers that are not finite may come out one infinite or NaN by the one and the other by
/// the other.
enum class Alpha { first, last };

/// alpha (x1 y1 + x2 y2 + ...), where term(l) gives the factors of a term if there is one.
template <class Term>
Number sum_of_products(Int count, Number alpha, Alpha when, Term term) {
  Number sum{};
  for (Int l = 0; l < count; ++l) {
    const auto [x, y] = term(l);
    if (x && y) sum = sum + (when == Alpha::first ? *x * (alpha * *y) : *x * *y);
  }
  return when == Alpha::first ? sum : alpha * sum;
}

Number scaled(Number beta, Number c) {
  return beta == 0 ? Number{0, 0, c.is_complex} : beta == 1 ? c : beta * c;
}

Elements product(Number alpha, Alpha when, const Elements& A, const Elements& B, Number beta, const Elements& C) {
  return transformed(C.rows, C.columns, [&](Int i, Int j) {
    const Number c = scaled(beta, *C(i, j));
    if (alpha == 0 || A.columns == 0) return c;
    const Number sum = sum_of_products(A.columns, alpha, when, [&](Int l) { return std::pair(A(i, l), B(l, j)); });
    return beta == 0 ? sum : sum + c;
  });
}

/// The X with A X = alpha B for a triangular A.
Elements solution(bool is_lower, const Elements& A, Number alpha, const Elements& B) {
  Elements X = transformed(B.rows, B.columns, [&](Int i, Int j) { return scaled(alpha, *B(i, j)); });
  if (alpha == 0) return X;
  for (Int j = 0; j < X.columns; ++j) {
    for (Int step = 0; step < X.rows; ++step) {
      const Int i = is_lower ? step : X.rows - 1 - step;
      Number x = *X(i, j);
      for (Int l = 0; l < X.rows; ++l) {
        if (l != i && A(i, l)) x = x - *A(i, l) * *X(l, j);
      }
      X(i, j) = *A(i, i) == 1 ? x : x / *A(i, i);
    }
  }
  return X;
}

// --------------------------------------------------------------------------------------------------------------- calls

/// Sizes of a call; a routine takes what its arguments name.
struct Sizes {
  Int m, n, k;
};

/// The class of a number that is not finite.
enum class Kind { finite, plus_infinity, minus_infinity, nan };
Kind kind_of(double x) {
  if (std::isfinite(x)) return Kind::finite;
  return std::isnan(x) ? Kind::nan : x > 0 ? Kind::plus_infinity : Kind::minus_infinity;
}

/// A routine with its arguments.
class Call {
 public:
  char side = 'L', uplo = 'U', trans = 'N', transb = 'N', diag = 'N';
  Int m, n, k, kl = 2, ku = 3, kd = 3;
  Number alpha{1}, beta{1};
  std::array<Array, 3> arrays;

  Call(const Routine& routine, char precision) : routine_(routine), precision_(precision) {
    const std::string name = precision + std::string(routine.name);
    entry_ = dlsym(RTLD_DEFAULT, ("nuv_blas_" + name).c_str());
    if (entry_ == nullptr) entry_ = dlsym(RTLD_DEFAULT, ("nuv_lapack_" + name).c_str());
    EXPECT_NE(entry_, nullptr) << name;
    if (!has("alpha") && !has("real_alpha")) alpha = {1};
    if (!has("beta") && !has("real_beta")) beta = {routine.work == Work::update ? 1.0 : 0.0};
  }

  bool has(const char* argument) const { return routine_.has(argument); }
  bool is_complex() const { return precision_ == 'c' || precision_ == 'z'; }
  bool is_right() const { return side == 'R'; }

  /// Sets the sizes and arrays of random numbers.
  void fill(Random& random, Sizes sizes) {
    m = sizes.m;
    n = sizes.n;
    k = has("k") ? sizes.k : 1;
    const bool transposed = trans != 'N', is_square = has("uplo");
    const auto stored = [](Array X, bool as_transposed) {
      if (as_transposed) std::swap(X.rows, X.columns);
      return X;
    };
    auto& [A, B, C] = arrays;
    if (routine_.work == Work::update) {
      C = {is_square ? n : m, n};
      A = stored({C.rows, k}, transposed);
      B = stored({n, k}, transposed);
    } else if (has("transb")) {
      C = {m, n};
      A = stored({m, k}, transposed);
      B = stored({k, n}, transb != 'N');
    } else if (has("side")) {
      B = C = {m, n};
      A.rows = A.columns = is_right() ? n : m;
    } else {
      A = {is_square ? n : m, n};
      C = {transposed ? A.columns : A.rows, 1};
      B = {transposed ? A.rows : A.columns, 1};
    }
    for (const int x : {0, 1, 2}) lay_out(random, x);
  }

  void run() {
    std::array<std::vector<double>, 3> wide;
    std::array<std::vector<float>, 3> narrow;
    double wide_factors[2][2];
    float narrow_factors[2][2];
    const auto put = [&](const Number& x, auto* to) {
      to[0] = static_cast<std::decay_t<decltype(*to)>>(x.re);
      if (is_complex()) to[1] = static_cast<std::decay_t<decltype(*to)>>(x.im);
    };
    const bool single = precision_ == 's' || precision_ == 'c';
    const int parts = is_complex() ? 2 : 1;
    void *data[3], *factors[2];
    const auto take = [&](auto& copies, auto& factor_copies) {
      for (int x = 0; x < 3; ++x) {
        copies[x].resize(arrays[x].numbers.size() * parts);
        for (std::size_t p = 0; p < arrays[x].numbers.size(); ++p) put(arrays[x].numbers[p], &copies[x][p * parts]);
        data[x] = copies[x].data();
      }
      put(alpha, factor_copies[0]);
      put(beta, factor_copies[1]);
      factors[0] = factor_copies[0];
      factors[1] = factor_copies[1];
    };
    single ? take(narrow, narrow_factors) : take(wide, wide_factors);
    call(data, factors);
    const auto give_back = [&](const auto& copies) {
      for (std::size_t p = 0; p < result().numbers.size(); ++p) {
        const auto* const from = &copies[2][p * parts];
        result().numbers[p] = {from[0], is_complex() ? from[1] : 0, is_complex()};
      }
    };
    single ? give_back(narrow) : give_back(wide);
  }

  Array& result() { return arrays[2]; }

  /// What the numbers of C become.
  std::vector<Number> expected(Alpha when) const {
    const auto& [A, B, C] = arrays;
    std::vector<Number> numbers = C.numbers;
    const Elements c = C.elements();
    const Elements found = routine_.work == Work::update    ? updated(when, c)
                           : routine_.work == Work::product ? multiplied(when, c)
                                                            : solved(c);
    for (Int j = 0; j < C.columns; ++j) {
      for (Int i = 0; i < C.rows; ++i) {
        if (found(i, j)) numbers[C.place(i, j)] = *found(i, j);
      }
    }
    return numbers;
  }

  friend std::ostream& operator<<(std::ostream& out, const Call& c) {
    out << c.precision_ << c.routine_.name << ' ' << c.side << c.uplo << c.trans << c.transb << c.diag << ", " << c.m
        << " by " << c.n << " by " << c.k << ", alpha (" << c.alpha.re << ", " << c.alpha.im << "), beta (" << c.beta.re
        << ", " << c.beta.im << "), increments";
    for (const Array& X : c.arrays) out << ' ' << X.inc;
    return out;
  }

 private:
  /// The array of an operand for its sizes, with a zero in five numbers.
  void lay_out(Random& random, int which) {
    constexpr Int increments[] = {1, 1, 1, -1, 2, -3};
    Array& X = arrays[which];
    const char letter[] = {"abc"[which], '\0'};
    if (!has(letter)) return;
    const bool is_matrix_of_shape = which == (routine_.work == Work::update ? 2 : 0);
    std::size_t size = 0;
    if (has((std::string("inc") + letter).c_str())) {
      X.inc = random.pick(increments);
      size = std::size_t(X.rows - 1) * std::abs(X.inc) + 1;
    } else if (is_matrix_of_shape && (has("kl") || has("kd"))) {
      X.is_band = true;
      X.below = has("kl") ? kl : uplo == 'L' ? kd : 0;
      X.above = has("kl") ? ku : uplo == 'U' ? kd : 0;
      X.ld = X.below + X.above + 2;
      size = std::size_t(X.ld) * X.columns;
    } else if (has((std::string("ld") + letter).c_str())) {
      X.ld = X.rows + 1;
      size = std::size_t(X.ld) * X.columns;
    } else {
      X.below = uplo == 'L' ? X.rows : 0;
      X.above = uplo == 'U' ? X.rows : 0;
      size = std::size_t(X.rows) * (X.rows + 1) / 2;
    }
    X.numbers.resize(size);
    // Triangles are easy to solve with.
    const bool is_triangle = routine_.shape == Shape::triangular && which == 0;
    const double scale = is_triangle ? 0.5 / std::sqrt(double(X.rows)) : 1;
    const auto part = [&] { return (random.integer(0, 1) == 0 ? scale : -scale) * random.integer(8, 16) / 16; };
    const auto number = [&] { return Number{float(part()), is_complex() ? float(part()) : 0, is_complex()}; };
    for (Number& x : X.numbers) x = random.integer(0, 4) == 0 ? Number{0, 0, is_complex()} : number();
    for (Int j = 0; is_triangle && j < X.rows; ++j) X.numbers[X.place(j, j)].re = j % 2 == 0 ? 1.5 : -1.25;
  }

  Elements multiplied(Alpha when, const Elements& c) const {
    const Elements a = op(trans, whole(arrays[0].elements(), routine_.shape, uplo == 'U', diag == 'U'));
    const Elements b = has("b") ? op(transb, arrays[1].elements()) : c;
    return is_right() ? product(alpha, when, b, a, beta, c) : product(alpha, when, a, b, beta, c);
  }

  Elements solved(const Elements& c) const {
    const Elements a = op(trans, whole(arrays[0].elements(), routine_.shape, uplo == 'U', diag == 'U'));
    const bool is_lower = (uplo == 'L') == (trans == 'N');
    if (!is_right()) return solution(is_lower, a, alpha, c);
    return op('T', solution(!is_lower, op('T', a), alpha, op('T', c)));
  }

  /// C + alpha A B' or C + alpha A B' + alpha' B A', of a triangle or of all.
  Elements updated(Alpha when, const Elements& c) const {
    const bool hermitian = routine_.shape == Shape::hermitian, is_triangle = has("uplo");
    const auto primed = [&](std::optional<Number> x) { return x && hermitian ? conjugate(*x) : x; };
    const Elements a = op(trans, arrays[0].elements()), b = has("b") ? op(trans, arrays[1].elements()) : a;
    const auto times = [&](Number factor, const Elements& x, const Elements& y, Int i, Int j) {
      return sum_of_products(k, factor, when, [&](Int l) { return std::pair(x(i, l), primed(y(j, l))); });
    };
    if ((alpha == 0 || k == 0) && beta == 1) return Elements(c.rows, c.columns);
    return transformed(c.rows, c.columns, [&](Int i, Int j) -> std::optional<Number> {
      if (is_triangle && (uplo == 'U' ? i > j : i < j)) return std::nullopt;
      const bool is_real = hermitian && is_triangle && i == j;
      Number x = scaled(beta, is_real ? real_part(*c(i, j)) : *c(i, j));
      if (!(alpha == 0) && k > 0) {
        Number sum = times(alpha, a, b, i, j);
        if (is_triangle && has("b")) sum = sum + times(hermitian ? conjugate(alpha) : alpha, b, a, i, j);
        x = beta == 0 ? sum : x + sum;
      }
      if (is_real) x.im = 0;
      return x;
    });
  }

  void call(void* const (&data)[3], void* const (&factors)[2]) {
    constexpr std::size_t most = 20;
    std::array<void*, most> arguments{};
    std::size_t count = 0, letters = 0;
    std::istringstream names(routine_.arguments);
    for (std::string name; names >> name; ++count) {
      arguments[count] = argument(name, data, factors);
      if (name == "side" || name == "uplo" || name == "trans" || name == "transb" || name == "diag") ++letters;
    }
    // The lengths of the letters, in the manner of Fortran.
    for (; letters > 0; --letters) arguments[count++] = reinterpret_cast<void*>(std::intptr_t{1});
    [&]<std::size_t... i>(std::index_sequence<i...>) {
      reinterpret_cast<void (*)(std::tuple_element_t<i, decltype(arguments)>...)>(entry_)(arguments[i]...);
    }
    (std::make_index_sequence<most>());
  }

  void* argument(const std::string& name, void* const (&data)[3], void* const (&factors)[2]) {
    const int which = name.back() - 'a';
    if (name.size() == 1 && which < 3) return data[which];
    if (name.substr(0, 2) == "ld") return &arrays[which].ld;
    if (name.substr(0, 3) == "inc") return &arrays[which].inc;
    if (name.find("alpha") != std::string::npos) return factors[0];
    if (name.find("beta") != std::string::npos) return factors[1];
    const std::pair<const char*, void*> others[] = {
        {"side", &side}, {"uplo", &uplo}, {"trans", &trans}, {"transb", &transb}, {"diag", &diag}, {"m", &m},
        {"n", &n},       {"k", &k},       {"kl", &kl},       {"ku", &ku},         {"kd", &kd}};
    for (const auto& [other, address] : others) {
      if (name == other) return address;
    }
    ADD_FAILURE() << "no argument is named " << name;
    return nullptr;
  }

  const Routine& routine_;
  char precision_;
  void* entry_;
};

// --------------------------------------------------------------------------------------------------------------- tests

/// A routine in one precision.
struct Member {
  const Routine* routine;
  char precision;

  std::string name() const { return precision + std::string(routine->name); }
  friend void PrintTo(const Member& member, std::ostream* out) { *out << member.name(); }
};

std::vector<Member> members() {
  std::vector<Member> all;
  for (const Routine& routine : routines) {
    for (const char* precision = routine.precisions; *precision != '\0'; ++precision) {
      all.push_back({&routine, *precision});
    }
  }
  return all;
}

class NonFinite : public ReportingTest, public testing::WithParamInterface<Member> {
 protected:
  Random random{77};
  const Routine& routine = *GetParam().routine;
  const bool is_complex = GetParam().precision == 'c' || GetParam().precision == 'z';
  const bool is_single = GetParam().precision == 's' || GetParam().precision == 'c';

  /// Calls visit(call) for all option letters that the routine has.
  template <class Visit>
  void for_each_option(Visit visit) {
    const auto letters = [&](const char* argument, const char* all) {
      return std::string(routine.has(argument) ? all : std::string(all, 1));
    };
    const bool is_update = routine.work == Work::update;
    const char* const transes = !is_update || !is_complex ? "NTC" : routine.shape == Shape::hermitian ? "NC" : "NT";
    for (const char side : letters("side", "LR")) {
      for (const char uplo : letters("uplo", "UL")) {
        for (const char trans : letters("trans", transes)) {
          for (const char transb : letters("transb", "NTC")) {
            for (const char diag : letters("diag", "NU")) {
              Call call(routine, GetParam().precision);
              call.side = side;
              call.uplo = uplo;
              call.trans = trans;
              call.transb = transb;
              call.diag = diag;
              visit(call);
            }
          }
        }
      }
    }
  }

  /// Factors for the call: plain numbers mostly, and those that have rules of their own.
  void choose_factors(Call& call) {
    const Number alphas[] = {{0.75, -0.5}, {0.75, -0.5}, {0.75, -0.5}, {-2, 0}, {1, 0}, {0, 0}};
    const Number betas[] = {{-0.5, 1.25}, {-0.5, 1.25}, {1, 0}, {1, 0}, {0, 0}, {-1, 0}};
    const auto set = [&](Number& factor, const char* name, Number value) {
      if (call.has(name)) factor = {value.re, is_complex ? value.im : 0, is_complex};
      if (call.has((std::string("real_") + name).c_str())) factor = {value.re};
    };
    set(call.alpha, "alpha", random.pick(alphas));
    set(call.beta, "beta", random.pick(betas));
  }

  /// Runs the call and compares the numbers of C with those of the formula. Says whether all is well.
  bool agrees(Call call, bool has_nan) {
    const std::vector<Number> last = call.expected(Alpha::last);
    const std::vector<Number> first = is_complex ? call.expected(Alpha::first) : last;
    call.run();
    const std::vector<Number>& found = call.result().numbers;
    double largest = 1;
    for (const Number& x : last) {
      for (const double part : {x.re, x.im}) {
        if (std::isfinite(part)) largest = std::max(largest, std::abs(part));
      }
    }
    const double tolerance = largest * (is_single ? 1e-4 : 1e-12);
    const auto is_right = [&](double x, double one, double other) {
      if (std::isfinite(one)) return std::abs(x - one) <= tolerance;
      if (std::isfinite(x)) return false;
      if (kind_of(one) != kind_of(other) || std::string(routine.name) == "gemm3m") return true;
      return kind_of(x) == kind_of(one) || (is_complex && !has_nan && std::isnan(one));
    };
    for (std::size_t p = 0; p < found.size(); ++p) {
      if (is_right(found[p].re, first[p].re, last[p].re) && is_right(found[p].im, first[p].im, last[p].im)) continue;
      ADD_FAILURE() << call << "\nC holds (" << found[p].re << ", " << found[p].im << ") in place " << p
                    << ", but should hold (" << first[p].re << ", " << first[p].im << ") or (" << last[p].re << ", "
                    << last[p].im << ")";
      return false;
    }
    return true;
  }

  /// The same with this value in a place of an array.
  bool agrees_with(double value, Call call, int which, std::size_t place) {
    Number& x = call.arrays[which].numbers[place];
    (is_complex && random.integer(0, 1) == 0 ? x.im : x.re) = value;
    choose_factors(call);
    if (agrees(call, std::isnan(value))) return true;
    ADD_FAILURE() << "with (" << x.re << ", " << x.im << ") in place " << place << " of "
                  << "ABC"[which];
    return false;
  }

  /// All values in all places of the arrays.
  void expect_agreement(Call& call, Sizes sizes) {
    call.fill(random, sizes);
    for (int which = 0; which < 3; ++which) {
      for (std::size_t p = 0; p < call.arrays[which].numbers.size(); ++p) {
        for (const double value : values) {
          if (!agrees_with(value, call, which, p)) return;
        }
      }
    }
  }

  /// One value in each of some places.
  void expect_agreement_in_places(Call& call, Sizes sizes, int count) {
    call.fill(random, sizes);
    for (int which = 0; which < 3; ++which) {
      const Int size = Int(call.arrays[which].numbers.size());
      for (int k = 0; k < count && size > 0; ++k) {
        if (!agrees_with(random.pick(values), call, which, std::size_t(random.integer(0, size - 1)))) return;
      }
    }
  }

 private:
  static constexpr double infinity = std::numeric_limits<double>::infinity();
  static constexpr double values[] = {infinity, -infinity, std::numeric_limits<double>::quiet_NaN()};
};

/// Corners, tiles and vectors in parts, and several of them with edges.
TEST_P(NonFinite, NumbersComeOfTheFormulaAlone) {
  std::vector<Sizes> large = {{37, 21, 5}, {12, 70, 9}};
  if (routine.has("transb")) large.push_back({4, 5, 530});                                         // inner products
  if (std::string(routine.name) == "hemm") large.insert(large.end(), {{420, 2, 1}, {2, 420, 1}});  // blocks of steps
  for_each_option([&](Call& call) {
    for (const Sizes sizes : {Sizes{5, 4, 3}, {3, 7, 2}}) expect_agreement(call, sizes);
    for (const Sizes sizes : large)
      expect_agreement_in_places(call, sizes, is_sanitized ? 1 : sizes.m * sizes.n > 800 ? 2 : 4);
  });
}

INSTANTIATE_TEST_SUITE_P(Routines, NonFinite, testing::ValuesIn(members()),
                         [](const auto& one) { return one.param.name(); });

}  // namespace
}  // namespace nuv::test
