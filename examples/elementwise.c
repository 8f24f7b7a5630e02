/* Powers of e at two accuracy levels, and what happens on a numerical error. */
#include <orv/elementwise.h>
#include <stdio.h>

static int on_error(OrvErrorRecord* error) {
  printf("element %d of %s: status %d\n", (int)error->index, error->name, (int)error->code);
  return 0; /* go on; error->res1 may be changed here */
}

int main(void) {
  const double x[4] = {0, 1, 2.5, 1000};
  double accurate[4], fast[4];
  int i;
  orv_elw_kernel_SetMode(ORV_ERRMODE_IGNORE);
  orv_elw_kernel_SetErrorCallBack(on_error);
  _elwdExp_HA(4, x, accurate); /* below 1 ulp */
  _elwdExp_26(4, x, fast);     /* 26 good bits */
  for (i = 0; i < 4; ++i) printf("%-6g %.17g %.17g\n", x[i], accurate[i], fast[i]);
  return accurate[0] == 1 ? 0 : 1;
}
