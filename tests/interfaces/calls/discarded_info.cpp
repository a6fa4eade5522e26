// Does not compile where warnings are errors: what gesv has to say is not looked at.
#include <nuv/nuv.hpp>

void solve(double* a, int* pivots, double* b) {
  nuv::gesv(1, 1, a, 1, pivots, b, 1);
}
