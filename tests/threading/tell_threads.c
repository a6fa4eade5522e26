/* Prints the number of threads that the layer would use. */

#include <nuv/nuv_services.h>
#include <stdio.h>

int main(void) {
  printf("%d\n", nuv_thread_get_num_threads());
  return 0;
}
