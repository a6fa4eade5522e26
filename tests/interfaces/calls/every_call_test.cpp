// Every routine called in each form the interfaces have. The sources with the calls are made from the catalogue.

#include <gtest/gtest.h>

#include "interfaces/calls/arena.hpp"

namespace nuv_test {
namespace {

#ifndef NUV_TEST_DOUBLE_ALONE
TEST(EveryCall, SinglePrecision) {
  Arena arena;
  call_all_s(arena);
  EXPECT_GT(arena.routines(), 300);
}

TEST(EveryCall, SingleComplex) {
  Arena arena;
  call_all_c(arena);
  EXPECT_GT(arena.routines(), 300);
}
#endif

TEST(EveryCall, DoublePrecision) {
  Arena arena;
  call_all_d(arena);
  EXPECT_GT(arena.routines(), 300);
}

TEST(EveryCall, DoubleComplex) {
  Arena arena;
  call_all_z(arena);
  EXPECT_GT(arena.routines(), 300);
}

}  // namespace
}  // namespace nuv_test
