/* The public headers in C11. */
#include "orv/elementwise.h"

int orv_c_header_works(void);
int orv_c_header_works(void) {
  const double x[2] = {0, 1};
  double r[2];
  _elwdExp(2, x, r);
  orv_elw_kernel_dExp_ttab[0](2, x, r);
  return r[0] == 1;
}
