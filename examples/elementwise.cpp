// The kernel of the thread's accuracy level, taken from the function's table.
#include <cstdio>
#include <orv/elementwise.h>
#include <vector>

int main() {
  std::vector<float> x, y(100);
  for (int i = 0; i < 100; ++i) x.push_back(0.1f * static_cast<float>(i));

  orv_elw_kernel_SetMode(ORV_LA);
  auto const exp = orv_elw_kernel_sExp_ttab[orv_elw_kernel_GetTTableIndex()];
  exp(static_cast<int>(x.size()), x.data(), y.data());

  // Every second element, backwards, in place.
  _elwsSqrI(50, x.data() + 98, -2, x.data() + 98, -2);
  std::printf("exp(5) = %.9g, 9.8 squared = %.9g\n", y[50], x[98]);
  return y[0] == 1.0f ? 0 : 1;
}
