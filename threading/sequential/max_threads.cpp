#include <nuv/nuv_lapack.h>

int nuv_serv_nuv_get_max_threads() {
  return 1;
}
