#include "svd/division_tree.hpp"

#include <algorithm>

namespace nuv {

template <RealScalar T>
void lasdt(Int n, Int& lvl, Int& nd, Int* inode, Int* ndiml, Int* ndimr, Int msub) {
  const auto place = [=](Int node, Int first, Int size) {
    ndiml[node] = size / 2;
    ndimr[node] = size - size / 2 - 1;
    inode[node] = first + size / 2;
  };
  lvl = generations_of_nodes(std::max(1, n), msub);
  place(0, 1, n);
  Int in_generation = 1;
  for (Int generation = 1; generation < lvl; ++generation, in_generation *= 2) {
    for (Int node = in_generation - 1; node < 2 * in_generation - 1; ++node) {
      place(2 * node + 1, inode[node] - ndiml[node], ndiml[node]);
      place(2 * node + 2, inode[node] + 1, ndimr[node]);
    }
  }
  nd = 2 * in_generation - 1;
}

}  // namespace nuv

#include "svd/division_tree.entries.inc"
