// Every routine called in each form the interfaces have. The sources with the calls are made from the catalogue.

#include <gtest/gtest.h>

#include "interfaces/calls/arena.hpp"

namespace nuv_test {
namespace {

using Calls = void (*)(Arena&);

class EveryCall : public testing::TestWithParam<Calls> {};

TEST_P(EveryCall, LeavesWhatTheExportedRoutineLeaves) {
  Arena arena;
  GetParam()(arena);
  EXPECT_GT(arena.routines(), 300);
}

INSTANTIATE_TEST_SUITE_P(Double, EveryCall, testing::Values(call_all_d, call_all_z));
#ifndef NUV_TEST_DOUBLE_ALONE
INSTANTIATE_TEST_SUITE_P(Single, EveryCall, testing::Values(call_all_s, call_all_c));
#endif

}  // namespace
}  // namespace nuv_test
