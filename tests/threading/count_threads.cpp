// Prints how many threads the process has before and after one call of a routine that may take two, on matrices of the
// order that its second argument gives.

#include <nuv/nuv_services.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "blas.hpp"
#include "layer.hpp"
#include "orthogonal/products_with_q.hpp"
#include "solvers/definite.hpp"

namespace nuv::test {
namespace {

long threads_of_the_process() {
  const std::filesystem::directory_iterator tasks("/proc/self/task");
  return std::distance(begin(tasks), end(tasks));
}

void print_counts(const std::string& routine, Int n) {
  Random random(18);
  GuardedMatrix<double> A = random_definite<double>(random, 'L', n);
  GuardedVector<Int> pivots(n);
  GuardedMatrix<double> tau(n, 1, n), work(n, 64, n);
  Int info = 99;
  const long before = threads_of_the_process();
  if (routine == "gemm") {
    GuardedMatrix<double> C(n, n, n);
    blas::gemm('N', 'N', n, n, n, 1.0, A, A, 0.0, C);
  } else if (routine == "syrk") {
    GuardedMatrix<double> C(n, n, n);
    blas::syrk('L', 'N', n, n, 1.0, A, 0.0, C);
  } else if (routine == "trsm") {
    GuardedMatrix<double> B = random_matrix<double>(random, n, n, n);
    blas::trsm('L', 'L', 'N', 'N', n, n, 1.0, A, B);
  } else if (routine == "getrf") {
    layer::getrf(n, n, A, pivots.data(), info);
  } else if (routine == "potrf") {
    layer::potrf('L', n, A, info);
  } else if (routine == "geqrf") {
    layer::geqrf(n, n, A, tau.data(), work.data(), 64 * n, info);
  } else {
    for (const Form& form : forms) {
      if ("orm" + letters_of(form) != routine) continue;
      const ProductWithQ<double> product(random, form, true, true, {n, n, 70});
      product.compute_by<ByLayer>(product.best_lwork());
    }
  }
  std::printf("%ld, %ld\n", before, threads_of_the_process());
}

}  // namespace
}  // namespace nuv::test

int main(int, char** arguments) {
  if (std::getenv("NUV_NUM_THREADS") == nullptr) nuv_thread_set_num_threads(2);
  nuv::test::print_counts(arguments[1], std::atoi(arguments[2]));
}
