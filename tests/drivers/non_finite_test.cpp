// Every routine in the list ends, keeps to its arrays and blames no argument when one of its numbers is not finite; and
// a NaN is seen in what it gives.

#include <cmath>
#include <functional>
#include <limits>

#include "drivers/each_driver.hpp"
#include "support/deadline.hpp"

namespace nuv::test {
namespace {

constexpr double inf = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();

/// Whether some number of a call, but for the one that was put there, stands to that of another call in a relation.
template <class Relation>
bool any_number(const Call& call, const Call& other, const Spoiled& spoiled, Relation relation) {
  for (std::size_t a = 0; a < call.arrays().size(); ++a) {
    const Array &array = call.arrays()[a], &counterpart = other.arrays()[a];
    if (array.role == Array::Role::scratch) continue;
    for (int place = 0; place < array.size(); ++place) {
      const bool is_spoiled = array.name == spoiled.array && place == spoiled.place;
      if (!is_spoiled && relation(array[place], counterpart[place])) return true;
    }
  }
  return false;
}

/// Elements that nobody has set hold no numbers before and after.
bool differ(double x, double y) {
  return x != y && !(std::isnan(x) && std::isnan(y));
}

class NotFinite : public EachDriver {
 protected:
  static std::string describe(Options& options, Int n, const Spoiled& spoiled) {
    return driver().name + " of order " + std::to_string(n) + ' ' + options.text() + ", " + spoiled.array + '[' +
           std::to_string(spoiled.place) + "] = " + std::to_string(spoiled.value);
  }

  static Call expect_end(Options& options, Int n, const Spoiled& spoiled) {
    const std::string what = describe(options, n, spoiled);
    Call call(options, spoiled);
    {
      const Deadline deadline(20, what);
      driver().run(call, n);
    }
    EXPECT_GE(call.info, 0) << what;
    EXPECT_TRUE(call.guards_unchanged()) << what;
    return call;
  }

  /// A NaN shows in the results if any other number in its place would.
  static void expect_nan_to_show(Options& options, Int n, const Call& finite, const Spoiled& spoiled) {
    const Call call = expect_end(options, n, spoiled);
    if (call.info > 0) return;
    const Spoiled other{spoiled.array, spoiled.place, 3.5};
    const Call changed = expect_end(options, n, other);
    if (!any_number(changed, finite, spoiled, differ)) return;
    EXPECT_TRUE(any_number(call, finite, spoiled, [](double x, double y) { return std::isnan(x) && !std::isnan(y); }))
        << describe(options, n, spoiled);
  }

  /// Makes the calls with no number spoiled, and visits each of their arrays with numbers to spoil.
  template <class Visit>
  static void for_each_input(Int n, Visit visit) {
    for_each_choice([&](Options& options) {
      Call finite(options);
      driver().run(finite, n);
      for (const Array& array : finite.arrays()) {
        if (array.role == Array::Role::input) visit(options, finite, array);
      }
    });
  }
};

TEST_P(NotFinite, EndsInASmallProblem) {
  constexpr Int n = unblocked_order;
  for_each_input(n, [](Options& options, const Call& finite, const Array& array) {
    for (int place = 0; place < array.size(); ++place) {
      expect_nan_to_show(options, n, finite, {array.name, place, nan});
      for (const double value : {inf, -inf}) expect_end(options, n, {array.name, place, value});
    }
  });
}

/// The values by turns in some places, the first and the last among them.
TEST_P(NotFinite, EndsInALargerProblem) {
  const Int n = driver().order;
  if (n == unblocked_order) return;
  constexpr double values[] = {nan, inf, -inf};
  constexpr int count = 6;
  for_each_input(n, [=](Options& options, const Call&, const Array& array) {
    for (int i = 0; i < count; ++i) {
      expect_end(options, n, {array.name, int(std::int64_t{array.size() - 1} * i / (count - 1)), values[i % 3]});
    }
  });
}

INSTANTIATE_TEST_SUITE_P(, NotFinite, testing::ValuesIn(drivers()), name_of_driver);

}  // namespace
}  // namespace nuv::test
