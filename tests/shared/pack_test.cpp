// Pack and Unpack by their named entries and, in the wide form, by the tables.
#include "orv/pack.h"

#include <gtest/gtest.h>
#include <limits>
#include <vector>

namespace {

template <class T>
T element(int i);
template <>
float element(int i) {
  return static_cast<float>(i);
}
template <>
double element(int i) {
  return i;
}
template <>
orv_complex_float element(int i) {
  return {static_cast<float>(i), static_cast<float>(-i)};
}
template <>
orv_complex_double element(int i) {
  return {static_cast<double>(i), static_cast<double>(-i)};
}
int number(float x) { return static_cast<int>(x); }
int number(double x) { return static_cast<int>(x); }
template <class C>
int number(C x) {
  EXPECT_EQ(x.re, -x.im);
  return static_cast<int>(x.re);
}
template <class T>
std::vector<int> numbers(std::vector<T> const& v) {
  std::vector<int> out;
  for (T const& x : v) out.push_back(number(x));
  return out;
}
template <class T>
std::vector<T> elements(std::vector<int> const& v) {
  std::vector<T> out;
  for (int x : v) out.push_back(element<T>(x));
  return out;
}
using List = std::vector<int>;

#define CHECK_TYPE(x, T, LA, EP)                                                                             \
  TEST(Pack, Type_##x) {                                                                                     \
    auto const a = elements<T>({10, 11, 12, 13, 14, 15, 16});                                                \
    std::vector<T> y(4, element<T>(0));                                                                      \
    _elw##x##PackI(3, a.data(), 2, y.data());                                                                \
    EXPECT_EQ(numbers(y), (List{10, 12, 14, 0}));                                                            \
    _elw##x##PackI##LA(4, a.data() + 6, -2, y.data());                                                       \
    EXPECT_EQ(numbers(y), (List{16, 14, 12, 10}));                                                           \
    _elw##x##PackI##EP(4, a.data(), 0, y.data());                                                            \
    EXPECT_EQ(numbers(y), (List{10, 10, 10, 10}));                                                           \
    const int32_t mask[7] = {0, 1, 0, 0, -5, 1, 0};                                                          \
    y.assign(4, element<T>(0));                                                                              \
    _elw##x##PackM_HA(7, a.data(), mask, y.data());                                                          \
    EXPECT_EQ(numbers(y), (List{11, 14, 15, 0}));                                                            \
    const int32_t index[4] = {6, 0, 0, 3};                                                                   \
    _elw##x##PackV(4, a.data(), index, y.data());                                                            \
    EXPECT_EQ(numbers(y), (List{16, 10, 10, 13}));                                                           \
    std::vector<T> w(7, element<T>(0));                                                                      \
    _elw##x##UnpackI(3, a.data(), w.data() + 1, 2);                                                          \
    EXPECT_EQ(numbers(w), (List{0, 10, 0, 11, 0, 12, 0}));                                                   \
    w.assign(7, element<T>(0));                                                                              \
    _elw##x##UnpackM(7, a.data(), w.data(), mask);                                                           \
    EXPECT_EQ(numbers(w), (List{0, 10, 0, 0, 11, 12, 0}));                                                   \
    w.assign(7, element<T>(0));                                                                              \
    _elw##x##UnpackV(4, a.data(), w.data(), index);                                                          \
    EXPECT_EQ(numbers(w), (List{12, 0, 0, 13, 0, 0, 10}));                                                   \
    _elw##x##UnpackI(0, nullptr, nullptr, 1);                                                                \
    _elw##x##PackM(-3, nullptr, nullptr, nullptr);                                                           \
    /* The tables: 64 bits where the switch is not 1, and only the low half where it is. */                  \
    const int64_t wide_mask[3] = {0, int64_t{1} << 40, 1};                                                   \
    y.assign(4, element<T>(0));                                                                              \
    orv_elw_kernel_##x##PackM_ttab[2](3, a.data(), wide_mask, y.data(), 0);                                  \
    EXPECT_EQ(numbers(y), (List{11, 12, 0, 0}));                                                             \
    const int64_t wide_index[2] = {5, 4};                                                                    \
    orv_elw_kernel_##x##PackV_ttab[0](2, a.data(), wide_index, y.data(), 64);                                \
    EXPECT_EQ(numbers(y), (List{15, 14, 0, 0}));                                                             \
    orv_elw_kernel_##x##PackI_ttab[1]((int64_t{7} << 32) + 2, a.data(), (int64_t{9} << 32) + 3, y.data(),    \
                                      1);                                                                    \
    EXPECT_EQ(numbers(y), (List{10, 13, 0, 0}));                                                             \
    EXPECT_EQ(orv_elw_kernel_##x##UnpackV_ctab[1], 1111.0f);                                                 \
  }
CHECK_TYPE(s, float, _21, _11)
CHECK_TYPE(d, double, _50, _26)
CHECK_TYPE(c, orv_complex_float, _21, _11)
CHECK_TYPE(z, orv_complex_double, _50, _26)

TEST(Pack, PayloadsOfNanPassUntouched) {
  const float a[2] = {std::numeric_limits<float>::signaling_NaN(), 1};
  float y[1];
  _elwsPackI(1, a, 1, y);
  EXPECT_EQ(__builtin_memcmp(a, y, 4), 0);
}

} // namespace
