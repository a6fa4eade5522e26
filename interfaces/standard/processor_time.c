/* Processor time that the process has used, in seconds. */

#include <time.h>

double dsecnd_(void) {
  struct timespec used;
  return clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used) == 0 ? used.tv_sec + 1e-9 * used.tv_nsec : 0;
}

float second_(void) {
  return dsecnd_();
}
