// The chain of error reports alone, in a program where no library holds the name xerbla_.

#include <nuv/nuv_services.h>

int main() {
  const int code = 4;
  return nuv_serv_xerbla("DGESV ", &code, 6);
}
