// Memory that is refused costs time and no digit: each request of each routine in the list is refused in turn.

#include <algorithm>

#include "drivers/each_driver.hpp"
#include "support/memory_requests.hpp"

namespace nuv::test {
namespace {

class RefusedMemory : public EachDriver {
 protected:
  /// Makes a call without one of its requests; gives the number of its requests.
  int expect_equal_without(int request, Options& options, const Call& expected) {
    Call call(options);
    const MemoryRequests memory(request);
    driver().run(call, driver().order);
    EXPECT_TRUE(equal_up_to_rounding(call, expected)) << options.text() << ", without request " << request;
    EXPECT_TRUE(call.guards_unchanged()) << options.text() << ", without request " << request;
    EXPECT_EQ(memory.kept(), 0) << options.text() << ", without request " << request;
    return memory.count();
  }
};

TEST_P(RefusedMemory, CostsNoDigit) {
  for_each_choice([&](Options& options) {
    Call expected(options);
    driver().run(expected, driver().order);
    const int requests = expect_equal_without(MemoryRequests::none, options, expected);
    if (requests == 0) return;
    expect_equal_without(MemoryRequests::all, options, expected);
    // A refusal may lead to requests that there were none of.
    for (int request = 1, made = requests; request <= made && !HasFailure(); ++request) {
      made = expect_equal_without(request, options, expected);
    }
  });
}

/// A product with Q asks for its workspace, and for a vector for each of its three factors.
TEST(MemoryRequests, ComeOneByOne) {
  const auto product = std::ranges::find(drivers(), "zormqr", &Driver::name);
  ASSERT_NE(product, drivers().end());
  Options options;
  Call call(options);
  const MemoryRequests memory;
  product->run(call, product->order);
  EXPECT_GE(memory.count(), 4);
}

INSTANTIATE_TEST_SUITE_P(, RefusedMemory, testing::ValuesIn(drivers()), name_of_driver);

}  // namespace
}  // namespace nuv::test
