// Jumps of the congruential generators and of MRG32K3A: powers of the multiplier or the matrix.
#include "streams/powers.h"

#include "streams/stream.h"

using namespace orv;
using namespace orv::streams;

namespace orv::streams {

namespace {
constexpr PowerTable make_powers(Matrix3 a, uint64_t m) {
  PowerTable t{};
  for (auto& p : t.power) {
    p = a;
    a = multiply(a, a, m);
  }
  return t;
}
} // namespace

constinit const PowerTable mrg_powers1 = make_powers(mrg_a1, mrg_m1);
constinit const PowerTable mrg_powers2 = make_powers(mrg_a2, mrg_m2);

} // namespace orv::streams

namespace {

uint64_t join(uint32_t low, uint32_t high) { return static_cast<uint64_t>(high) << 32 | low; }

constexpr Matrix3 identity{{1, 0, 0, 0, 1, 0, 0, 0, 1}};

template <class Mod>
void apply(Matrix3 const& p, uint32_t* v, Mod m) {
  uint32_t const r[3] = {dot(p.at, v, 1, m), dot(p.at + 3, v, 1, m), dot(p.at + 6, v, 1, m)};
  std::memcpy(v, r, sizeof r);
}

Matrix3 companion(uint32_t const* row) { return {{0, 1, 0, 0, 0, 1, row[2], row[1], row[0]}}; }

template <uint32_t m>
int32_t power_by_table(uint32_t* v, int32_t n, const uint64_t* count, const uint32_t* table) {
  constexpr std::integral_constant<uint64_t, m> modulus;
  Matrix3 p = identity;
  for (int i = 0; i < n; ++i) {
    uint64_t const word = load_u64(count + i);
    for (int half = 0; half < 2; ++half) {
      uint32_t bits = static_cast<uint32_t>(word >> (32 * half));
      for (uint32_t const* entry = table + 9 * (64 * i + 32 * half); bits; bits >>= 1, entry += 9) {
        if (!(bits & 1)) continue;
        Matrix3 s;
        std::memcpy(s.at, entry, sizeof s.at);
        p = multiply(p, s, modulus());
      }
    }
  }
  apply(p, v, modulus());
  return RnqOk;
}

} // namespace

ORV_EXPORT uint32_t __rnqiPowMod(uint32_t a, uint32_t cLow, uint32_t cHigh, uint32_t m) {
  return power_mod(a, join(cLow, cHigh), m);
}
ORV_EXPORT uint32_t __rnqiPowMod2P31M1(uint32_t a, uint32_t cLow, uint32_t cHigh) {
  return power_m31(a, join(cLow, cHigh));
}
ORV_EXPORT uint64_t __rnqiPowMod2P59(uint32_t aLow, uint32_t aHigh, uint32_t cLow, uint32_t cHigh) {
  return power_2p64(join(aLow, aHigh), join(cLow, cHigh)) & mask59;
}

ORV_EXPORT void __rnqiVect3PowMod(uint32_t* v, const uint32_t* row, uint32_t m, uint32_t cLow,
                                  uint32_t cHigh) {
  uint64_t const modulus = m;
  Matrix3 p = identity, s = companion(row);
  for (uint64_t c = join(cLow, cHigh); c; c >>= 1) {
    if (c & 1) p = multiply(p, s, modulus);
    if (c > 1) s = multiply(s, s, modulus);
  }
  apply(p, v, modulus);
}

ORV_EXPORT int32_t __rnqiVect3PowArrayMod(uint32_t* v, const uint32_t* row, uint32_t m, int32_t n,
                                          const uint64_t* count) {
  uint64_t const modulus = m;
  while (n > 0 && !load_u64(count + n - 1)) --n;
  if (n <= 0) return RnqOk;
  Matrix3 p = identity, s = companion(row);
  for (int i = 0; i < n; ++i) { // bits in rising order; no copy of the count is needed
    uint64_t const word = load_u64(count + i);
    for (int b = 0; b < 64; ++b) {
      if (word >> b & 1) p = multiply(p, s, modulus);
      if (i == n - 1 && word >> b <= 1) break;
      s = multiply(s, s, modulus);
    }
  }
  apply(p, v, modulus);
  return RnqOk;
}

ORV_EXPORT int32_t __rnqiVect3PowArrayMod_M1(uint32_t* v, int32_t n, const uint64_t* count,
                                             const uint32_t* table) {
  return power_by_table<mrg_m1>(v, n, count, table);
}
ORV_EXPORT int32_t __rnqiVect3PowArrayMod_M2(uint32_t* v, int32_t n, const uint64_t* count,
                                             const uint32_t* table) {
  return power_by_table<mrg_m2>(v, n, count, table);
}
