#include "drivers/call.hpp"

#include <cmath>
#include <limits>
#include <map>
#include <tuple>

#include "support/random.hpp"

namespace nuv::test {

// ----------------------------------------------------------------------------------------------------------- options

std::size_t Options::choose(std::size_t count) {
  if (asked_ == digits_.size()) digits_.push_back({0, count});
  return digits_[asked_++].at;
}

bool Options::advance() {
  for (Digit& digit : digits_) {
    if (++digit.at < digit.count) return true;
    digit.at = 0;
  }
  return false;
}

std::string Options::text() const {
  std::string choices;
  for (const Digit& digit : digits_) choices += (choices.empty() ? "choices " : ", ") + std::to_string(digit.at);
  return choices;
}

// ------------------------------------------------------------------------------------------------------------ arrays

namespace {

template <class Visit>
auto visit_numbers(auto& array, Visit visit) {
  return std::visit(visit, array.numbers);
}

/// Element `place` of a matrix, counted down its columns.
auto& element(auto& A, int place) {
  return A(place % A.rows() + 1, place / A.rows() + 1);
}

/// Random numbers that belong to a name.
Random random_for(const std::string& name) {
  std::uint64_t seed = 17;
  for (const char letter : name) seed = 31 * seed + std::uint64_t(letter);
  return Random(seed);
}

using Complex = std::complex<double>;

/// Element (i, j) of the numbers wanted; off the diagonal a matrix has elements of size 1 / sqrt(n), n its longer side,
/// so that its norm is about one.
Complex make_element(Call::Numbers numbers, Random& random, Int i, Int j, double size) {
  const Complex any = random.scalar<Complex>();
  switch (numbers) {
    case Call::Numbers::near_identity:
      return any * size + (i == j ? 2.0 : 0.0);
    case Call::Numbers::near_one:
      return 1.0 + any / 4.0;
    default:
      return 0;
  }
}

/// A Hermitian matrix takes the numbers of its lower triangle.
void fill(Call::Numbers numbers, Random random, Int m, Int n, auto set) {
  const double size = 1 / std::sqrt(double(std::max({m, n, 1})));
  const bool definite = numbers == Call::Numbers::definite;
  for (Int j = 1; j <= n; ++j) {
    for (Int i = definite ? j : 1; i <= m; ++i) {
      if (!definite) {
        set(i, j, make_element(numbers, random, i, j, size));
        continue;
      }
      const Complex any = make_element(Call::Numbers::near_identity, random, i, j, size / 2);
      set(i, j, i == j ? any.real() : any);
      set(j, i, i == j ? any.real() : std::conj(any));
    }
  }
}

template <class R>
GuardedMatrix<R> make_numbers(Call::Numbers numbers, const std::string& name, bool is_complex, Int m, Int n) {
  const Int parts = is_complex ? 2 : 1;
  GuardedMatrix<R> A(parts * m, n, parts * std::max(1, m + 2));
  if (numbers == Call::Numbers::none) return A;
  if constexpr (std::same_as<R, Int>) {
    for (Int i = 1; i <= m; ++i) A(i, 1) = std::min(i + 1, m);
  } else {
    fill(numbers, random_for(name), m, n, [&](Int i, Int j, Complex x) {
      A(parts * (i - 1) + 1, j) = R(x.real());
      if (is_complex) A(parts * i, j) = R(x.imag());
    });
  }
  return A;
}

/// The same, but made once: most calls are made with numbers that another one had.
template <class R>
const GuardedMatrix<R>& known_numbers(Call::Numbers numbers, const std::string& name, bool is_complex, Int m, Int n) {
  using Key = std::tuple<Call::Numbers, std::string, bool, Int, Int>;
  static std::map<Key, GuardedMatrix<R>> known;
  const auto at = known.find({numbers, name, is_complex, m, n});
  if (at != known.end()) return at->second;
  return known.emplace(Key{numbers, name, is_complex, m, n}, make_numbers<R>(numbers, name, is_complex, m, n))
      .first->second;
}

}  // namespace

int Array::size() const {
  return visit_numbers(*this, [](auto& A) { return A.rows() * A.columns(); });
}

int Array::longer_side() const {
  return visit_numbers(*this, [](auto& A) { return std::max(A.rows(), A.columns()); });
}

double Array::operator[](int place) const {
  return visit_numbers(*this, [&](auto& A) { return double(element(A, place)); });
}

void Array::set(int place, double value) {
  visit_numbers(*this, [&](auto& A) {
    auto& number = element(A, place);
    number = static_cast<std::remove_reference_t<decltype(number)>>(value);
  });
}

std::string Array::describe(int place) const {
  return visit_numbers(*this, [&](auto& A) {
    return name + ", row " + std::to_string(place % A.rows() + 1) + " of " + std::to_string(A.rows()) + ", column " +
           std::to_string(place / A.rows() + 1) + " of " + std::to_string(A.columns());
  });
}

// -------------------------------------------------------------------------------------------------------------- calls

Array& Call::array(const std::string& name, Array::Role role, Numbers numbers, Precision precision, Int m, Int n) {
  for (Array& array : arrays_) {
    if (array.name == name) return array;
  }
  const bool is_complex = precision.is_complex;
  Array array{name, role, GuardedMatrix<Int>(0, 0, 1)};
  if (numbers == Numbers::rows) {
    array.numbers = known_numbers<Int>(numbers, name, is_complex, m, n);
  } else if (precision.is_single) {
    array.numbers = known_numbers<float>(numbers, name, is_complex, m, n);
  } else {
    array.numbers = known_numbers<double>(numbers, name, is_complex, m, n);
  }
  if (name == spoiled_.array) array.set(spoiled_.place, spoiled_.value);
  arrays_.push_back(std::move(array));
  return arrays_.back();
}

int Call::longest_side() const {
  int longest = 1;
  for (const Array& array : arrays_) {
    if (array.role != Array::Role::scratch) longest = std::max(longest, array.longer_side());
  }
  return longest;
}

testing::AssertionResult Call::guards_unchanged() const {
  for (const Array& array : arrays_) {
    const auto result = visit_numbers(array, [](auto& A) { return A.guards_unchanged(); });
    if (!result) return testing::AssertionFailure() << array.name << ": " << result.message();
  }
  return testing::AssertionSuccess();
}

namespace {

/// The distance from 1 to the next number; zero for integers, which have no rounding.
double epsilon_of(const Array& array) {
  return visit_numbers(
      array, [](auto& A) { return double(std::numeric_limits<std::remove_cvref_t<decltype(A(1, 1))>>::epsilon()); });
}

/// Of elements that nobody set both are guards.
bool same_number(double x, double y) {
  return x == y || (std::isnan(x) && std::isnan(y));
}

testing::AssertionResult equal_up_to_rounding(const Array& array, const Array& expected, int n) {
  double largest = 0;
  for (int place = 0; place < expected.size(); ++place) largest = std::fmax(largest, std::abs(expected[place]));
  const double allowed = 10 * n * epsilon_of(expected) * largest;
  for (int place = 0; place < expected.size(); ++place) {
    const double x = array[place], y = expected[place];
    if (!same_number(x, y) && !(std::abs(x - y) <= allowed)) {
      return testing::AssertionFailure() << array.describe(place) << ": " << x << " where " << y
                                         << " was expected, in an array of size " << largest;
    }
  }
  return testing::AssertionSuccess();
}

}  // namespace

testing::AssertionResult equal_up_to_rounding(const Call& call, const Call& expected) {
  if (call.info != expected.info) {
    return testing::AssertionFailure() << "info " << call.info << " where " << expected.info << " was expected";
  }
  if (call.results() != expected.results()) return testing::AssertionFailure() << "another answer in the workspace";
  for (std::size_t i = 0; i < expected.arrays().size(); ++i) {
    const Array& array = expected.arrays()[i];
    if (array.role == Array::Role::scratch) continue;
    const auto result = equal_up_to_rounding(call.arrays()[i], array, expected.longest_side());
    if (!result) return result;
  }
  return testing::AssertionSuccess();
}

}  // namespace nuv::test
