// Plain scalar models of the generators, written from their published recurrences, one word at a time.
#pragma once
#include "orv/streams.h"

#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace models {

using Seeds = std::vector<uint32_t>;

struct Model {
  virtual ~Model() = default;
  virtual uint64_t next() = 0;
};

struct Mcg31 : Model {
  uint64_t x;
  explicit Mcg31(Seeds const& s) : x(s.empty() ? 1 : s[0] % 0x7FFFFFFF) {
    if (!x) x = 1;
  }
  uint64_t next() override {
    uint64_t const r = x;
    x = x * 1132489760 % 0x7FFFFFFF;
    return r;
  }
};

struct Mcg59 : Model {
  uint64_t x;
  explicit Mcg59(Seeds const& s) : x(s.empty() ? 1 : s[0]) {
    if (s.size() > 1) x |= static_cast<uint64_t>(s[1] % 0x8000000) << 32;
    if (!x) x = 1;
  }
  uint64_t next() override {
    uint64_t const r = x;
    x = x * 302875106592253 % (uint64_t{1} << 59);
    return r;
  }
};

struct Mrg32k3a : Model {
  int64_t x[3], y[3];
  static constexpr int64_t m1 = 4294967087, m2 = 4294944443;
  explicit Mrg32k3a(Seeds const& s) {
    for (size_t i = 0; i < 6; ++i) (i < 3 ? x[i] : y[i - 3]) = (i < s.size() ? s[i] : 1) % (i < 3 ? m1 : m2);
    if (!x[0] && !x[1] && !x[2]) x[0] = 1;
    if (!y[0] && !y[1] && !y[2]) y[0] = 1;
  }
  uint64_t next() override {
    int64_t p = (1403580 * x[1] - 810728 * x[0]) % m1, q = (527612 * y[2] - 1370589 * y[0]) % m2;
    if (p < 0) p += m1;
    if (q < 0) q += m2;
    x[0] = x[1], x[1] = x[2], x[2] = p;
    y[0] = y[1], y[1] = y[2], y[2] = q;
    return p > q ? p - q : p - q + m1;
  }
};

struct R250 : Model {
  std::vector<uint32_t> x;
  size_t k = 250;
  explicit R250(Seeds const& s) {
    if (s.size() >= 250) {
      x.assign(s.begin(), s.begin() + 250);
      return;
    }
    uint32_t v = s.empty() || !s[0] ? 1 : s[0];
    for (int i = 0; i < 250; ++i) x.push_back(v *= 69069);
    for (int j = 0; j < 32; ++j) x[3 + 7 * j] = (x[3 + 7 * j] & 0xFFFFFFFFu >> j) | 0x80000000u >> j;
  }
  uint64_t next() override {
    x.push_back(x[k - 250] ^ x[k - 147]);
    return x[k++];
  }
};

struct Twister : Model {
  size_t N, M;
  uint32_t upper, a, b, c;
  int first;
  std::vector<uint32_t> w;
  size_t k = 0;
  Twister(size_t N_, size_t M_, int lower_bits, uint32_t a_, uint32_t b_, uint32_t c_, int first_, Seeds s)
      : N(N_), M(M_), upper(~0u << lower_bits), a(a_), b(b_), c(c_), first(first_), w(N_) {
    if (s.empty()) s = {1};
    w[0] = 19650218;
    for (size_t i = 1; i < N; ++i) w[i] = 1812433253u * (w[i - 1] ^ w[i - 1] >> 30) + i;
    size_t i = 1, j = 0;
    for (size_t t = std::max(N, s.size()); t; --t) {
      w[i] = (w[i] ^ (w[i - 1] ^ w[i - 1] >> 30) * 1664525u) + s[j] + j;
      if (++i >= N) w[0] = w[N - 1], i = 1;
      if (++j >= s.size()) j = 0;
    }
    for (size_t t = N - 1; t; --t) {
      w[i] = (w[i] ^ (w[i - 1] ^ w[i - 1] >> 30) * 1566083941u) - i;
      if (++i >= N) w[0] = w[N - 1], i = 1;
    }
    w[0] = 0x80000000u;
  }
  uint64_t next() override {
    uint32_t y = (w[k] & upper) | (w[k + 1] & ~upper);
    w.push_back(w[k + M] ^ y >> 1 ^ (y & 1 ? a : 0));
    y = w[N + k++];
    y ^= y >> first;
    y ^= y << 7 & b;
    y ^= y << 15 & c;
    return y ^ y >> 18;
  }
};

struct Sfmt : Model {
  std::vector<uint32_t> w;
  size_t k = 0;
  explicit Sfmt(Seeds s) : w(624, 0x8B8B8B8B) {
    if (s.empty()) s = {1};
    auto at = [&](size_t i) -> uint32_t& { return w[i % 624]; };
    size_t const n = s.size();
    for (size_t t = 0; t < std::max<size_t>(n + 1, 624); ++t) {
      size_t const i = t % 624;
      uint32_t v = at(i) ^ at(i + 306) ^ at(i + 623);
      v = (v ^ v >> 27) * 1664525;
      at(i + 306) += v;
      v += t == 0 ? n : (t <= n ? s[t - 1] : 0) + i;
      at(i + 317) += v;
      at(i) = v;
    }
    size_t i = std::max<size_t>(n + 1, 624);
    for (int t = 0; t < 624; ++t, ++i) {
      uint32_t v = at(i) + at(i + 306) + at(i + 623);
      v = (v ^ v >> 27) * 1566083941;
      at(i + 306) ^= v;
      v -= i % 624;
      at(i + 317) ^= v;
      at(i) = v;
    }
    uint32_t const bits = (w[0] & 1) ^ (w[3] & 0x13C9E684);
    if (!__builtin_parity(bits)) w[0] ^= 1;
  }
  uint64_t next() override {
    if (k % 4 == 0) {
      static const uint32_t mask[] = {0xDFFFFFEF, 0xDDFECB7F, 0xBFFAFFFF, 0xBFFFFFF6};
      size_t const A = k, B = k + 488, C = k + 616, D = k + 620;
      for (size_t i = 0; i < 4; ++i) {
        uint32_t const up = w[A + i] << 8 | (i ? w[A + i - 1] >> 24 : 0);
        uint32_t const down = w[C + i] >> 8 | (i < 3 ? w[C + i + 1] << 24 : 0);
        w.push_back(w[A + i] ^ up ^ (w[B + i] >> 11 & mask[i]) ^ down ^ w[D + i] << 18);
      }
    }
    return w[624 + k++];
  }
};

// One element of WH is four words; the model hands out one component after the other.
struct Wh : Model {
  uint64_t x[4], m[4], a[4];
  int at = 0;
  Wh(Seeds const& s, std::vector<uint32_t> const& m_, std::vector<uint32_t> const& a_) {
    for (size_t i = 0; i < 4; ++i) {
      m[i] = m_[i], a[i] = a_[i];
      x[i] = i < s.size() ? s[i] % m[i] : 1;
      if (!x[i]) x[i] = 1;
    }
  }
  uint64_t next() override {
    int const i = at++ % 4;
    uint64_t const r = x[i];
    x[i] = x[i] * a[i] % m[i];
    return r;
  }
};

struct Philox : Model {
  uint32_t key[2] = {}, counter[4] = {}, out[4];
  int at = 4;
  explicit Philox(Seeds const& s) {
    for (size_t i = 0; i < s.size() && i < 6; ++i) (i < 2 ? key[i] : counter[i - 2]) = s[i];
  }
  uint64_t next() override {
    if (at < 4) return out[at++];
    uint32_t k0 = key[0], k1 = key[1], c[4] = {counter[0], counter[1], counter[2], counter[3]};
    for (int round = 0; round < 10; ++round, k0 += 0x9E3779B9, k1 += 0xBB67AE85) {
      uint64_t const p = uint64_t{0xD2511F53} * c[0], q = uint64_t{0xCD9E8D57} * c[2];
      uint32_t const next[4] = {static_cast<uint32_t>(q >> 32) ^ c[1] ^ k0, static_cast<uint32_t>(q),
                                static_cast<uint32_t>(p >> 32) ^ c[3] ^ k1, static_cast<uint32_t>(p)};
      std::copy(next, next + 4, c);
    }
    std::copy(c, c + 4, out);
    for (auto& word : counter)
      if (++word) break;
    at = 1;
    return out[0];
  }
};

// The rounds of AES from their definition over GF(256).
struct Ars5 : Model {
  uint64_t key[2] = {}, counter[2] = {};
  uint8_t sbox[256], out[16];
  int at = 4;
  static uint8_t times(unsigned a, unsigned b) {
    unsigned r = 0;
    for (; b; b >>= 1, a = a << 1 ^ (a & 128 ? 0x11B : 0))
      if (b & 1) r ^= a;
    return static_cast<uint8_t>(r);
  }
  explicit Ars5(Seeds const& s) {
    for (size_t i = 0; i < s.size() && i < 8; ++i)
      (i < 4 ? key[i / 2] : counter[i / 2 - 2]) |= static_cast<uint64_t>(s[i]) << 32 * (i % 2);
    for (unsigned x = 0; x < 256; ++x) {
      unsigned inverse = 0;
      for (unsigned y = 1; y < 256; ++y)
        if (times(x, y) == 1) inverse = y;
      unsigned r = 0x63;
      for (int i = 0; i < 5; ++i) r ^= (inverse << i | inverse >> (8 - i)) & 255;
      sbox[x] = static_cast<uint8_t>(r);
    }
  }
  void add_key(uint64_t i) {
    uint64_t const k[2] = {key[0] + i * 0x9E3779B97F4A7C15, key[1] + i * 0xBB67AE8584CAA73B};
    for (int b = 0; b < 16; ++b) out[b] ^= static_cast<uint8_t>(k[b / 8] >> 8 * (b % 8));
  }
  uint64_t next() override {
    if (at == 4) {
      for (int b = 0; b < 16; ++b) out[b] = static_cast<uint8_t>(counter[b / 8] >> 8 * (b % 8));
      add_key(0);
      for (uint64_t round = 1; round <= 5; ++round) {
        uint8_t s[16];
        for (int b = 0; b < 16; ++b)
          s[b] = sbox[out[(b + 4 * (b % 4)) % 16]]; // bytes substituted, rows shifted
        for (int b = 0; b < 16; ++b) {
          uint8_t const *column = s + b / 4 * 4, i = b % 4;
          out[b] = round == 5 ? s[b]
                              : times(column[i], 2) ^ times(column[(i + 1) % 4], 3) ^ column[(i + 2) % 4] ^
                                    column[(i + 3) % 4];
        }
        add_key(round);
      }
      if (!++counter[0]) ++counter[1];
      at = 0;
    }
    uint32_t word = 0;
    for (int b = 0; b < 4; ++b) word |= static_cast<uint32_t>(out[4 * at + b]) << 8 * b;
    ++at;
    return word;
  }
};

struct Generator {
  char const* name;
  int32_t number;
};
inline const Generator generators[] = {
    {"MCG31M1", 0x100000},   {"R250", 0x200000},   {"MRG32K3A", 0x300000},
    {"MCG59", 0x400000},     {"WH", 0x500000},     {"WH272", 0x500000 + 272},
    {"MT19937", 0x800000},   {"MT2203", 0x900000}, {"MT2203_6023", 0x900000 + 6023},
    {"SFMT19937", 0xD00000}, {"ARS5", 0xF00000},   {"PHILOX4X32X10", 0x1000000}};

inline std::unique_ptr<Model> make(std::string const& name, Seeds const& s) {
  if (name == "MCG31M1") return std::make_unique<Mcg31>(s);
  if (name == "R250") return std::make_unique<R250>(s);
  if (name == "MRG32K3A") return std::make_unique<Mrg32k3a>(s);
  if (name == "MCG59") return std::make_unique<Mcg59>(s);
  if (name == "WH")
    return std::make_unique<Wh>(s, std::vector<uint32_t>{16770647, 16770643, 16770623, 16770617},
                                std::vector<uint32_t>{125, 117, 127, 126});
  if (name == "WH272")
    return std::make_unique<Wh>(s, std::vector<uint32_t>{16766363, 16766359, 16766327, 16766231},
                                std::vector<uint32_t>{126, 127, 125, 124});
  if (name == "MT19937")
    return std::make_unique<Twister>(624, 397, 31, 0x9908B0DF, 0x9D2C5680, 0xEFC60000, 11, s);
  if (name == "MT2203")
    return std::make_unique<Twister>(69, 34, 5, 0xAF81055F, 0xDD7EEF80, 0xEFD78000, 12, s);
  if (name == "MT2203_6023")
    return std::make_unique<Twister>(69, 34, 5, 0xE8761D4B, 0x72967680, 0xEFEB0000, 12, s);
  if (name == "ARS5") return std::make_unique<Ars5>(s);
  if (name == "PHILOX4X32X10") return std::make_unique<Philox>(s);
  return std::make_unique<Sfmt>(s);
}

// What one element of double and single output must be; `word` draws from the model.
inline double as_double(std::string const& name, Model& model, double a, double b) {
  double const two32 = 0x1p-32;
  if (name.starts_with("WH")) {
    auto& w = static_cast<Wh&>(model);
    double r[4];
    for (int i = 0; i < 4; ++i)
      r[i] = static_cast<double>(model.next()) * (1.0 / static_cast<double>(w.m[i]));
    double const u = (r[0] + r[2]) + (r[1] + r[3]);
    return std::fma(b - a, u - std::trunc(u), a);
  }
  uint64_t const w = model.next();
  double const x = static_cast<double>(w);
  if (name == "MCG31M1") return std::fma((b - a) * (1.0 / 2147483647), x, a);
  if (name == "MCG59") return std::fma((b - a) * 0x1p-59, x, a);
  if (name == "MRG32K3A") return std::fma((b - a) * (1.0 / 4294967087), x, a);
  if (name == "R250") {
    volatile double const product = x * ((b - a) * two32);
    return product + a;
  }
  bool const is_signed = name == "SFMT19937" || name == "ARS5" || name == "PHILOX4X32X10";
  if (is_signed) return std::fma((b - a) * two32, static_cast<int32_t>(w), (a + b) / 2);
  return std::fma((b - a) * two32, x, a);
}

inline float as_single(std::string const& name, Model& model, float a, float b) {
  double const da = a, db = b;
  if (name.starts_with("WH")) {
    auto& w = static_cast<Wh&>(model);
    double r[4];
    for (int i = 0; i < 4; ++i)
      r[i] = static_cast<double>(model.next()) * (1.0 / static_cast<double>(w.m[i]));
    double const u = (r[0] + r[2]) + (r[1] + r[3]);
    return static_cast<float>(std::fma(static_cast<double>(b - a), u - std::trunc(u), da));
  }
  if (name == "R250" || name == "MT19937") return static_cast<float>(as_double(name, model, da, db));
  uint64_t const w = model.next();
  if (name == "MCG31M1") return std::fma((b - a) * 0x1p-31f, static_cast<float>(static_cast<uint32_t>(w)), a);
  if (name == "MCG59") return std::fma((b - a) * 0x1p-59f, static_cast<float>(static_cast<double>(w)), a);
  if (name == "MRG32K3A")
    return std::fma(static_cast<float>((db - da) * (1.0 / 4294967087)),
                    static_cast<float>(static_cast<double>(w)), a);
  if (name == "SFMT19937")
    return std::fma(static_cast<float>((db - da) * 0x1p-32), static_cast<float>(static_cast<int32_t>(w)),
                    static_cast<float>((da + db) / 2));
  if (name == "ARS5" || name == "PHILOX4X32X10")
    return std::fma((b - a) * 0x1p-32f, static_cast<float>(static_cast<int32_t>(w)), (a + b) / 2);
  return std::fma((b - a) * 0x1p-32f, static_cast<float>(static_cast<double>(w)), a);
}

} // namespace models
