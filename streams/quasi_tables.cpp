// Direction words of Sobol (I. Sobol 1967; P. Bratley, B. Fox, ACM TOMS 14, 1988) and of the Niederreiter
// sequence in base 2 (P. Bratley, B. Fox, H. Niederreiter, ACM TOMACS 2, 1992).
#include "streams/quasi.h"

namespace orv::streams {

namespace {

struct SobolDimension {
  uint8_t degree;
  uint16_t polynomial; // bit t for the coefficient of t
  uint8_t m[8];
};
constexpr SobolDimension sobol_dimensions[] = {
    // from the second one on
    {1, 0x3, {1}},
    {2, 0x7, {1, 1}},
    {3, 0xB, {1, 3, 7}},
    {3, 0xD, {1, 1, 5}},
    {4, 0x13, {1, 3, 1, 1}},
    {4, 0x19, {1, 1, 3, 7}},
    {5, 0x25, {1, 3, 3, 9, 9}},
    {5, 0x3B, {1, 3, 7, 13, 3}},
    {5, 0x2F, {1, 1, 5, 11, 27}},
    {5, 0x3D, {1, 3, 5, 1, 15}},
    {5, 0x37, {1, 1, 7, 3, 29}},
    {5, 0x29, {1, 3, 7, 7, 21}},
    {6, 0x43, {1, 1, 1, 9, 23, 37}},
    {6, 0x61, {1, 3, 3, 5, 19, 33}},
    {6, 0x5B, {1, 1, 3, 13, 11, 7}},
    {6, 0x6D, {1, 1, 7, 13, 25, 5}},
    {6, 0x67, {1, 3, 5, 11, 7, 11}},
    {6, 0x73, {1, 1, 1, 3, 13, 39}},
    {7, 0x83, {1, 3, 1, 15, 17, 63, 13}},
    {7, 0xC1, {1, 1, 5, 5, 1, 27, 33}},
    {7, 0x89, {1, 3, 3, 3, 25, 17, 115}},
    {7, 0x91, {1, 1, 3, 15, 29, 15, 41}},
    {7, 0x8F, {1, 3, 1, 7, 3, 23, 79}},
    {7, 0xF1, {1, 3, 7, 9, 31, 29, 17}},
    {7, 0x9D, {1, 1, 5, 13, 11, 3, 29}},
    {7, 0xB9, {1, 3, 1, 9, 5, 21, 119}},
    {7, 0xA7, {1, 1, 3, 1, 23, 13, 75}},
    {7, 0xE5, {1, 3, 3, 11, 27, 31, 73}},
    {7, 0xAB, {1, 1, 7, 7, 19, 25, 105}},
    {7, 0xD5, {1, 3, 5, 5, 21, 9, 7}},
    {7, 0xBF, {1, 1, 1, 15, 5, 49, 59}},
    {7, 0xFD, {1, 1, 1, 1, 1, 33, 65}},
    {7, 0xCB, {1, 3, 5, 15, 17, 19, 21}},
    {7, 0xD3, {1, 1, 7, 11, 13, 29, 3}},
    {7, 0xEF, {1, 3, 7, 5, 7, 11, 113}},
    {7, 0xF7, {1, 1, 5, 3, 15, 19, 61}},
    {8, 0x11D, {1, 3, 1, 1, 9, 27, 89, 7}},
    {8, 0x171, {1, 1, 3, 7, 31, 15, 45, 23}},
    {8, 0x12B, {1, 3, 3, 9, 9, 25, 107, 39}},
};
static_assert(sizeof sobol_dimensions / sizeof *sobol_dimensions == SobolState::most - 1);

constexpr int degree_of(uint32_t p) { return p ? 31 - __builtin_clz(p) : 0; }

// The first irreducible polynomials over GF(2) in rising order.
struct NiederrPolynomials {
  uint16_t p[NiederrState::most] = {};
  constexpr NiederrPolynomials() {
    uint32_t count = 0;
    for (uint32_t candidate = 2; count < NiederrState::most; ++candidate) {
      bool prime = true;
      for (uint32_t i = 0; prime && i < count && 2 * degree_of(p[i]) <= degree_of(candidate); ++i) {
        uint32_t rest = candidate;
        while (rest && degree_of(rest) >= degree_of(p[i]))
          rest ^= uint32_t{p[i]} << (degree_of(rest) - degree_of(p[i]));
        prime = rest != 0;
      }
      if (prime) p[count++] = static_cast<uint16_t>(candidate);
    }
  }
};
constexpr NiederrPolynomials niederr_polynomials;
static_assert(niederr_polynomials.p[9] == 41 && niederr_polynomials.p[316] == 3037 &&
              niederr_polynomials.p[317] == 3047);

// The words of a dimension from a polynomial and its first numbers; `number(i)` is m_i. Degree 0 has ones
// only.
template <class Number>
void sobol_row(uint32_t* row, uint32_t polynomial, Number const& number) {
  int const s = degree_of(polynomial);
  uint32_t m[32];
  for (int k = 0; k < 32; ++k) {
    if (s == 0) {
      m[k] = 1;
    } else if (k < s) {
      m[k] = number(k);
    } else {
      m[k] = m[k - s];
      for (int t = 0; t < s; ++t)
        if (polynomial >> t & 1) m[k] ^= m[k - s + t] << (s - t);
    }
  }
  for (int k = 0; k < 32; ++k) row[k] = m[k] << (31 - k);
}

uint64_t carryless(uint64_t a, uint32_t b) {
  uint64_t r = 0;
  for (; b; b >>= 1, a <<= 1)
    if (b & 1) r ^= a;
  return r;
}

void niederr_row(uint32_t* row, uint32_t polynomial) {
  if (polynomial < 2) polynomial = 2; // no polynomial of degree 0 makes a sequence
  int const e = degree_of(polynomial);
  auto degree64 = [](uint64_t b) { return 63 - __builtin_clzll(b); };
  uint64_t b = 1;
  uint8_t v[64];
  for (int k = 0; k < 32; ++k) row[k] = 0;
  for (int r = 0, u = 0; r < 32; ++r) {
    if (u == 0) {
      int const old = degree64(b);
      b = carryless(b, polynomial);
      int const m = degree64(b);
      for (int i = 0; i < m; ++i) v[i] = i >= old;
      for (int i = m; i < e + 31; ++i) {
        v[i] = 0;
        for (int k = 0; k < m; ++k) v[i] ^= (b >> k & 1) & v[i - m + k];
      }
    }
    for (int k = 0; k < 32; ++k) row[k] |= static_cast<uint32_t>(v[u + k]) << (31 - r);
    if (++u == e) u = 0;
  }
}

// A request that is as if only the dimension had been passed.
QuasiRequest plain(int32_t v, uint32_t most) {
  QuasiRequest q;
  if (v >= 1 && v <= static_cast<int32_t>(most)) q.d = static_cast<uint32_t>(v);
  return q;
}

} // namespace

QuasiRequest sobol_request(int32_t n, const uint32_t* params) {
  QuasiRequest q{1, 0, n, params};
  if (n < 1) return q;
  int32_t const v = q.at(0);
  if (n >= 4 && v > 0 && q.at(1) == 1) {
    int64_t const d = v, length = n;
    // The stride is looked at only where it is known to be there.
    auto fits = [&](int64_t stride_at, int64_t shortest, auto needed) {
      if (length < shortest || length <= stride_at) return false;
      int64_t const w = q.at(stride_at);
      return w >= 0 && length >= needed(w);
    };
    int32_t const form = q.at(2);
    bool good = false;
    if (form == 1) good = d <= SobolState::most && length >= d + 2;
    if (form == 2) good = d <= SobolState::most && fits(3, 4, [&](int64_t w) { return (d - 1) * w + 4; });
    if (form == 3) good = fits(d + 2, d + 3, [&](int64_t w) { return (d - 1) * (w + 1) + 4; });
    if (form == 11) good = fits(d + 3, d + 4, [&](int64_t w) { return d * (w + 1) + 4; });
    if (form == 4) good = length >= 32 * d + 3;
    if (good) return {static_cast<uint32_t>(v), form, n, params};
  }
  return plain(v, SobolState::most);
}

QuasiRequest niederr_request(int32_t n, const uint32_t* params) {
  QuasiRequest q{1, 0, n, params};
  if (n < 1) return q;
  int32_t const v = q.at(0);
  if (n >= 3 && v > 0 && q.at(1) == 1) {
    int64_t const d = v, length = n;
    int32_t const form = q.at(2);
    if ((form == 1 && length >= d + 3) || (form == 4 && length >= 32 * d + 3))
      return {static_cast<uint32_t>(v), form, n, params};
  }
  return plain(v, NiederrState::most);
}

int32_t fill_sobol(QuasiRequest const& q, QuasiTables const& t) {
  uint32_t const d = q.d;
  auto given = [&](int64_t i) { return i < q.n ? static_cast<uint32_t>(q.at(i)) : 1; }; // beyond the list: 1
  bool const all_given = q.form == 11;
  int64_t const stride_at = q.form == 2 ? 3 : d + (all_given ? 3 : 2);
  int64_t const w = q.form == 2 || q.form == 3 || all_given ? q.at(stride_at) : 0;
  for (uint32_t j = 0; j < d; ++j) {
    uint32_t* row = t.row(j);
    if (q.form == 4) {
      std::memcpy(row, q.params + 3 + 32 * static_cast<size_t>(j), 128);
      continue;
    }
    if (j == 0 && !all_given) {
      sobol_row(row, 0, [](int) { return 1u; });
      continue;
    }
    int64_t const place = all_given ? j : static_cast<int64_t>(j) - 1; // in the lists of the user
    auto own_number = [&](int i) { return given(stride_at + 1 + place * w + i); };
    if (q.form == 3 || all_given) {
      sobol_row(row, static_cast<uint32_t>(q.at(3 + place)), own_number);
      continue;
    }
    auto const& built_in = sobol_dimensions[j - 1];
    if (q.form == 2) {
      sobol_row(row, built_in.polynomial, own_number);
      continue;
    }
    uint32_t polynomial = built_in.polynomial;
    if (q.form == 1) polynomial = static_cast<uint32_t>(q.at(3 + place));
    if (degree_of(polynomial) > 8) return RnqErrBadArgument;
    sobol_row(row, polynomial, [&](int i) { return i < built_in.degree ? built_in.m[i] : 1u; });
  }
  return RnqOk;
}

int32_t fill_niederr(QuasiRequest const& q, QuasiTables const& t) {
  for (uint32_t j = 0; j < q.d; ++j) {
    uint32_t* row = t.row(j);
    if (q.form == 4)
      std::memcpy(row, q.params + 3 + 32 * static_cast<size_t>(j), 128);
    else
      niederr_row(row, q.form == 1 ? static_cast<uint32_t>(q.at(3 + j)) : niederr_polynomials.p[j]);
  }
  return RnqOk;
}

} // namespace orv::streams
