// Finds the parameters of the MT2203 family: for each member a twist word whose recurrence has an irreducible
// characteristic polynomial, and tempering masks that spread its output evenly.
//
//   g++ -std=c++20 -O2 -march=native tools/mt2203_search.cpp -o mt2203_search
//   ./mt2203_search check                    tests the rows that are fixed beforehand and prints their
//   defects
//   ./mt2203_search run FILE [MEMBERS]       appends members to FILE, going on where the file stops
//   ./mt2203_search table FILE > streams/mt2203_params.inc
//
// The method is the dynamic creation of M. Matsumoto and T. Nishimura ("Dynamic Creation of Pseudorandom
// Number Generators", 1998) with two changes for speed.
//
// Irreducibility. With u = t^69 + t^34 and v = t^68 + t^33 the characteristic polynomial is
//   v^5 u^27 + sum a_i v^(4-i) u^27 (i < 5) + sum a_i u^(31-i) (i >= 5),
// which is affine in the bits a_i of the twist word. Candidates are the words 0x80000000 + c K in the field
// GF(2)[x]/(x^31 + x^3 + 1) for c = 1, 2, ... below 2^26. The multiples of one small irreducible polynomial
// are an affine subspace of them, so that all candidates with a factor of degree up to 21 are struck from a
// bitmap. What is left is irreducible exactly if t^(2^2203) = t modulo the polynomial, since 2203 is a prime
// and there are no linear factors; 2^2203 - 1 is a prime too, so every member has full period.
//
// Tempering. The dimension of equidistribution to v bits is the length of the shortest vector of the lattice
// of polynomial relations among the first v output bits (S. Tezuka; R. Couture and P. L'Ecuyer). All bits are
// known multiples of one another in the field of the characteristic polynomial, the lattice grows by one bit
// at a time and stays in weak Popov form, so one more bit costs some microseconds. Masks are chosen from the
// highest output bit down by a beam search for the smallest sum of the defects. The goal is the worst of the
// fixed rows; a twist word that does not reach it with the widest beam is dropped, as the next one costs less
// than a longer search. The beams cap the work, not a clock, so that a run can be repeated exactly.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <immintrin.h>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int degree = 2203, words = 35, rows = 69, middle = 34, lower = 5, width = 32;
constexpr int members = 6024;
constexpr size_t beams[] = {4, 12};

struct Member {
  uint32_t a, b, c;
};
constexpr Member fixed_rows[] = {{0xAF81055F, 0xDD7EEF80, 0xEFD78000},
                                 {0x832604E1, 0x66AD7F80, 0xEBD58000},
                                 {0x92F70739, 0x656D7780, 0xEFC50000},
                                 {0x8B75046E, 0x76957780, 0xEFC48000},
                                 {0xE8761D4B, 0x72967680, 0xEFEB0000}};

// ---- polynomials over GF(2), dense, a little over 2 * 2240 bits at most ----

using Poly = std::array<uint64_t, words>;

uint64_t clmul_low(uint64_t a, uint64_t b) {
  return _mm_cvtsi128_si64(_mm_clmulepi64_si128(_mm_cvtsi64_si128(a), _mm_cvtsi64_si128(b), 0));
}
bool bit(Poly const& p, int i) { return p[i / 64] >> (i % 64) & 1; }
void flip(Poly& p, int i) { p[i / 64] ^= uint64_t{1} << (i % 64); }
int top(Poly const& p) {
  for (int i = words - 1; i >= 0; --i)
    if (p[i]) return 64 * i + 63 - __builtin_clzll(p[i]);
  return -1;
}
void add_shifted(Poly& r, Poly const& p, int shift) {
  int w = shift / 64, s = shift % 64;
  for (int i = words - 1; i >= w; --i) {
    r[i] ^= p[i - w] << s;
    if (s && i > w) r[i] ^= p[i - w - 1] >> (64 - s);
  }
}

// Arithmetic modulo a polynomial of degree 2203 with a constant term, by Montgomery's method.
class Modulus {
 public:
  explicit Modulus(Poly const& p) : p_(p) {
    // Newton's iteration for 1/p modulo t^64: x <- x (2 - p x) is x^2 p over GF(2).
    inverse_ = 1;
    for (int i = 0; i < 6; ++i) inverse_ = clmul_low(clmul_low(inverse_, inverse_), p[0]);
    one_ = {};
    one_[0] = 1;
    for (int i = 0; i < 64 * words; ++i) shift(one_);
    square_ = one_;
    for (int i = 0; i < 64 * words; ++i) shift(square_);
  }
  void shift(Poly& f) const { // f t mod p, for f reduced
    for (int i = words - 1; i > 0; --i) f[i] = f[i] << 1 | f[i - 1] >> 63;
    f[0] <<= 1;
    if (bit(f, degree)) add_shifted(f, p_, 0);
  }
  void reduce(Poly& f) const {
    for (int i = 64 * words - 1; i >= degree; --i)
      if (bit(f, i)) add_shifted(f, p_, i - degree);
  }
  // f g / t^2240, of degree below 2240
  Poly multiply(Poly const& f, Poly const& g) const {
    alignas(16) uint64_t z[2 * words + 2] = {};
    for (int i = 0; i < words; ++i) add_product(z + i, f[i], g);
    return montgomery(z);
  }
  Poly square(Poly const& f) const {
    alignas(16) uint64_t z[2 * words + 2] = {};
    for (int i = 0; i < words; ++i) {
      __m128i x = _mm_cvtsi64_si128(f[i]);
      _mm_store_si128(reinterpret_cast<__m128i*>(z + 2 * i), _mm_clmulepi64_si128(x, x, 0));
    }
    return montgomery(z);
  }
  Poly to(Poly const& f) const { return multiply(f, square_); }
  Poly from(Poly const& f) const {
    Poly one{};
    one[0] = 1;
    Poly r = multiply(f, one);
    reduce(r);
    return r;
  }
  bool irreducible() const {
    Poly t = one_;
    shift(t);
    Poly f = t;
    for (int i = 0; i < degree; ++i) f = square(f);
    reduce(f);
    return f == t;
  }

 private:
  // z += x g, words of g in pairs so that the partial products need no carry between the two halves
  static void add_product(uint64_t* z, uint64_t x, Poly const& g) {
    __m128i a = _mm_cvtsi64_si128(x), carry = _mm_setzero_si128();
    int i = 0;
    for (; i + 1 < words; i += 2) {
      __m128i pair = _mm_loadu_si128(reinterpret_cast<__m128i const*>(&g[i]));
      __m128i low = _mm_clmulepi64_si128(a, pair, 0x00), high = _mm_clmulepi64_si128(a, pair, 0x10);
      auto* out = reinterpret_cast<__m128i*>(z + i);
      __m128i sum = _mm_xor_si128(_mm_xor_si128(_mm_loadu_si128(out), low),
                                  _mm_xor_si128(_mm_slli_si128(high, 8), carry));
      _mm_storeu_si128(out, sum);
      carry = _mm_srli_si128(high, 8);
    }
    __m128i last = _mm_xor_si128(_mm_clmulepi64_si128(a, _mm_cvtsi64_si128(g[i]), 0), carry);
    auto* out = reinterpret_cast<__m128i*>(z + i);
    _mm_storeu_si128(out, _mm_xor_si128(_mm_loadu_si128(out), last));
  }
  Poly montgomery(uint64_t* z) const {
    for (int i = 0; i < words; ++i) add_product(z + i, clmul_low(z[i], inverse_), p_);
    Poly r;
    std::copy(z + words, z + 2 * words, r.begin());
    return r;
  }
  Poly p_, one_, square_;
  uint64_t inverse_;
};

void add_product_small(std::vector<uint64_t>& r, Poly const& f, int shift) {
  for (int i = 0; i < words; ++i) {
    r[i + shift / 64] ^= f[i] << (shift % 64);
    if (shift % 64) r[i + shift / 64 + 1] ^= f[i] >> (64 - shift % 64);
  }
}
Poly times(Poly const& f, int e1, int e2) { // f (t^e1 + t^e2), no reduction
  std::vector<uint64_t> r(words + 3);
  add_product_small(r, f, e1);
  add_product_small(r, f, e2);
  Poly out;
  std::copy(r.begin(), r.begin() + words, out.begin());
  return out;
}
Poly times_u(Poly const& f) { return times(f, rows, middle); }
Poly times_v(Poly const& f) { return times(f, rows - 1, middle - 1); }

// Coefficient of each bit of the twist word, a_0 the lowest; entry 32 is the part that is always there.
struct Coefficients {
  std::array<Poly, 33> of;
  Coefficients() {
    Poly f{};
    f[0] = 1;
    for (int i = width - 1; i >= lower; --i) {
      of[i] = f;
      f = times_u(f);
    }
    for (int i = lower - 1; i >= 0; --i) {
      of[i] = f;
      f = times_v(f);
    }
    of[width] = f;
  }
};
const Coefficients coefficients;

// Output bits are counted from the highest one.
int word_bit(int i) { return width - 1 - i; }

Poly characteristic(uint32_t a) {
  Poly p = coefficients.of[width];
  for (int i = 0; i < width; ++i)
    if (a >> i & 1)
      for (int w = 0; w < words; ++w) p[w] ^= coefficients.of[i][w];
  return p;
}

// ---- candidates ----

constexpr int candidate_bits = 26, sieve_degree = 21;
constexpr uint32_t field_constant = 0x6A09E667 & 0x7FFFFFFF;

uint32_t candidate(uint32_t c) {
  uint64_t z = clmul_low(c, field_constant);
  for (int round = 0; round < 2; ++round) { // t^31 = t^3 + 1
    uint64_t h = z >> 31;
    z = (z & 0x7FFFFFFF) ^ h ^ h << 3;
  }
  return 0x80000000 | static_cast<uint32_t>(z);
}

uint64_t mod_small(uint64_t z, uint64_t q, int d) {
  for (int i = 63 - (z ? __builtin_clzll(z) : 63); i >= d; --i)
    if (z >> i & 1) z ^= q << (i - d);
  return z;
}

// All candidates without a factor of degree up to sieve_degree.
class Sieve {
 public:
  Sieve() : struck_((size_t{1} << candidate_bits) / 64) {
    std::vector<bool> composite(size_t{2} << sieve_degree);
    for (uint64_t q = 2; q < composite.size(); ++q) {
      if (composite[q]) continue;
      int d = 63 - __builtin_clzll(q);
      for (uint64_t k = 2; 63 - __builtin_clzll(k) + d <= sieve_degree; ++k)
        composite[clmul_low(q, k)] = true;
      strike(q, d);
    }
  }
  bool survives(uint32_t c) const { return !(struck_[c / 64] >> (c % 64) & 1); }

 private:
  void strike(uint64_t q, int d) {
    auto mul = [&](uint64_t a, uint64_t b) { return mod_small(clmul_low(a, b), q, d); };
    auto power_of_t = [&](int e) {
      uint64_t r = mod_small(1, q, d);
      for (int i = 0; i < e; ++i) r = mod_small(r << 1, q, d);
      return r;
    };
    uint64_t t33 = power_of_t(middle - 1), t34 = mod_small(t33 << 1, q, d);
    uint64_t t68 = mul(t34, t34), t69 = mod_small(t68 << 1, q, d);
    uint64_t u = t69 ^ t34, v = t68 ^ t33, f = mod_small(1, q, d), residue[33];
    for (int i = width - 1; i >= 0; --i) {
      residue[i] = f;
      f = mul(f, i >= lower ? u : v);
    }
    residue[width] = f;
    auto value = [&](uint32_t a) {
      uint64_t r = 0;
      for (int i = 0; i < width; ++i)
        if (a >> i & 1) r ^= residue[i];
      return r;
    };
    // Solve value(candidate(c)) = residue[32], affine in c.
    uint64_t rest = residue[width] ^ value(0x80000000);
    uint64_t pivot_value[64] = {};
    uint32_t pivot_source[64] = {};
    std::vector<uint32_t> kernel;
    for (int i = 0; i < candidate_bits; ++i) {
      uint64_t x = value(candidate(1u << i) & 0x7FFFFFFF);
      uint32_t source = 1u << i;
      while (x) {
        int p = 63 - __builtin_clzll(x);
        if (!pivot_value[p]) {
          pivot_value[p] = x;
          pivot_source[p] = source;
          break;
        }
        x ^= pivot_value[p];
        source ^= pivot_source[p];
      }
      if (!x) kernel.push_back(source);
    }
    uint32_t c = 0;
    while (rest) {
      int p = 63 - __builtin_clzll(rest);
      if (!pivot_value[p]) return;
      rest ^= pivot_value[p];
      c ^= pivot_source[p];
    }
    struck_[c / 64] |= uint64_t{1} << (c % 64);
    for (uint64_t g = 1; g < uint64_t{1} << kernel.size(); ++g) {
      c ^= kernel[__builtin_ctzll(g)];
      struck_[c / 64] |= uint64_t{1} << (c % 64);
    }
  }
  std::vector<uint64_t> struck_;
};

// ---- equidistribution ----

// A vector of up to 32 polynomials: word d holds the coefficients of t^d, one bit for each polynomial.
struct Row {
  std::vector<uint32_t> at;
  int top = -1;
  explicit Row(int capacity = 0) : at(capacity + 16) {}
  Row(Row const& other) : at(other.top + 17), top(other.top) {
    std::copy(other.at.begin(), other.at.begin() + top + 1, at.begin());
  }
  Row(Row&&) = default;
  Row& operator=(Row&&) = default;
  void add(Row const& other, int shift) { // shift + other.top <= top
    uint32_t* r = at.data() + shift;
    uint32_t const* s = other.at.data();
    for (int i = 0; i <= other.top; i += 8) {
      auto* out = reinterpret_cast<__m256i*>(r + i);
      _mm256_storeu_si256(out, _mm256_xor_si256(_mm256_loadu_si256(out),
                                                _mm256_loadu_si256(reinterpret_cast<__m256i const*>(s + i))));
    }
    while (top >= 0 && !at[top]) --top;
  }
  int pivot() const { return 31 - __builtin_clz(at[top]); }
};

// A lattice in weak Popov form: the row at place j has its leading place at j. Rows keep 16 words of zeros
// behind their end, so that whole vectors can be added.
class Lattice {
 public:
  explicit Lattice(Poly const& p) : size_(1), row_(width) {
    row_[0] = Row(degree + 1);
    for (int i = 0; i <= degree; ++i) row_[0].at[i] = bit(p, i);
    row_[0].top = degree;
  }
  int size() const { return size_; }
  int dimension() const {
    int d = degree;
    for (int i = 0; i < size_; ++i) d = std::min(d, row_[i].top);
    return d;
  }
  // Makes r as short as the lattice allows, for the places that the lattice has.
  void reduce(Row& r) const {
    uint32_t mask = size_ == 32 ? ~0u : (1u << size_) - 1;
    for (int d = r.top; d >= 0; --d) {
      uint32_t lead;
      while ((lead = r.at[d] & mask)) {
        Row const& by = row_[31 - __builtin_clz(lead)];
        if (by.top > d) return;
        r.add(by, d - by.top);
      }
    }
  }
  void extend(Row r) { // r has a 1 in the new place
    ++size_;
    while (true) {
      int j = r.pivot();
      if (row_[j].top < 0) {
        row_[j] = std::move(r);
        return;
      }
      if (row_[j].top > r.top) std::swap(row_[j], r);
      r.add(row_[j], r.top - row_[j].top);
    }
  }

 private:
  int size_;
  std::vector<Row> row_;
};

struct Random {
  uint64_t s;
  uint32_t next() { // xorshift64*
    s ^= s >> 12, s ^= s << 25, s ^= s >> 27;
    return (s * 2685821657736338717u) >> 32;
  }
};

class Tempering {
 public:
  explicit Tempering(uint32_t a) : p_(characteristic(a)), field_(p_) {
    // Bits of the state word as multiples of its lowest bit, from the recurrence read backwards.
    std::array<Poly, width> x{};
    x[width - 1][0] = 1;
    for (int i = width - 1; i > 0; --i) {
      bool low = i - 1 >= width - lower;
      x[i - 1] = low ? times_v(x[i]) : times_u(x[i]);
      if (a >> word_bit(i) & 1) flip(x[i - 1], low ? 0 : 1);
    }
    for (int i = 0; i < width; ++i) {
      first_[i] = x[i];
      if (i >= 12)
        for (int w = 0; w < words; ++w) first_[i][w] ^= x[i - 12][w];
    }
  }

  // Sum of the defects for given masks.
  int defect(uint32_t b, uint32_t c) const {
    std::array<Poly, width> second = first_, third;
    for (int i = 0; i + 7 < width; ++i)
      if (b >> word_bit(i) & 1) add_shifted(second[i], first_[i + 7], 0);
    third = second;
    for (int i = 0; i + 15 < width; ++i)
      if (c >> word_bit(i) & 1) add_shifted(third[i], second[i + 15], 0);
    std::array<Poly, width> out = third;
    for (int i = 18; i < width; ++i) add_shifted(out[i], third[i - 18], 0);
    auto scale = field_.to(inverse(out[0]));
    Lattice lattice(p_);
    int sum = 0;
    for (int v = 1; v < width; ++v) {
      Row r = row(field_.multiply(out[v], scale));
      r.at[0] |= 1u << v;
      lattice.reduce(r);
      lattice.extend(std::move(r));
      sum += degree / (v + 1) - lattice.dimension();
    }
    return sum;
  }

  struct Result {
    uint32_t b, c;
    int defect, tries;
  };
  Result search(uint32_t seed, int goal) const {
    Random random{seed * 0x9E3779B97F4A7C15u | 1};
    Result best{0, 0, 1 << 30, 0};
    for (size_t beam : beams) {
      auto r = attempt(random, beam);
      ++best.tries;
      if (r.defect < best.defect) best.b = r.b, best.c = r.c, best.defect = r.defect;
      if (best.defect <= goal) break;
    }
    return best;
  }

 private:
  static Row row(Poly f) {
    Row r(degree + 1);
    for (int i = 0; i < degree; ++i) r.at[i] = bit(f, i);
    r.top = top(f);
    return r;
  }
  Poly inverse(Poly f) const { // Euclid's algorithm
    Poly g = p_, x{}, y{};
    x[0] = 1;
    int df = top(f), dg = degree;
    while (df > 0) {
      if (df < dg) std::swap(f, g), std::swap(df, dg), std::swap(x, y);
      add_shifted(f, g, df - dg);
      add_shifted(x, y, df - dg);
      df = top(f);
      if (df < 0) std::abort();
    }
    field_.reduce(x);
    return x;
  }

  // Masks chosen from the highest output bit down, with what the choice has led to so far.
  struct Partial {
    uint32_t b, c;
    int sum;
    uint32_t tie;
    Lattice lattice;
    std::shared_ptr<std::vector<Row>> unit; // every bit of the first stage, reduced by an earlier lattice
  };
  static bool has(uint32_t mask, int i) { return mask >> word_bit(i) & 1; }

  Partial start(uint32_t b, uint32_t c) const {
    Poly h = first_[0];
    auto plus = [&](int i) { add_shifted(h, first_[i], 0); };
    if (has(b, 0)) plus(7);
    if (has(c, 0)) plus(15);
    if (has(c, 0) && has(b, 15)) plus(22);
    auto scale = field_.to(inverse(h));
    auto unit = std::make_shared<std::vector<Row>>(width);
    for (int i = 0; i < width; ++i) {
      Poly f = field_.multiply(first_[i], scale);
      field_.reduce(f);
      (*unit)[i] = row(f);
    }
    return {b, c, 0, 0, Lattice(p_), unit};
  }

  // Output bit v in terms of the bits of the first stage.
  static Row output_bit(std::vector<Row> const& unit, int v, uint32_t b, uint32_t c) {
    int longest = 0;
    for (auto const& part : unit) longest = std::max(longest, part.top);
    Row r(longest + 1);
    auto second = [&](int i) {
      join(r, unit[i]);
      if (i + 7 < width && has(b, i)) join(r, unit[i + 7]);
    };
    auto third = [&](int i) {
      second(i);
      if (i + 15 < width && has(c, i)) second(i + 15);
    };
    third(v);
    if (v >= 18) third(v - 18);
    r.at[0] |= 1u << v;
    if (r.top < 0) r.top = 0;
    return r;
  }

  // Beam search: at each output bit all settings of the mask bits that it is the first to use are tried, and
  // those of the smallest sums are kept.
  Result attempt(Random& random, size_t beam) const {
    std::vector<Partial> kept;
    for (uint32_t choice = 0; choice < 4; ++choice)
      kept.push_back(start((choice & 1) << 31 | (choice & 2) << 15, 0x80000000));
    for (int v = 1; v < width; ++v) {
      std::vector<Partial> grown;
      for (auto& from : kept) {
        auto unit = std::make_shared<std::vector<Row>>(*from.unit);
        for (auto& r : *unit) from.lattice.reduce(r);
        uint32_t free_b = v + 7 < width && (v < 15 || !has(from.c, v - 15)) ? 1u << word_bit(v) : 0;
        uint32_t free_c = v + 15 < width ? 1u << word_bit(v) : 0;
        uint32_t free_b2 = v + 22 < width ? 1u << word_bit(v + 15) : 0;
        for (int choice = 0; choice < 8; ++choice) {
          if ((choice & 1 && !free_b) || (choice & 2 && !free_c) || (choice & 4 && !free_b2)) continue;
          if (choice & 4 && !(choice & 2)) continue;
          uint32_t b = from.b | (choice & 1 ? free_b : 0) | (choice & 4 ? free_b2 : 0);
          uint32_t c = from.c | (choice & 2 ? free_c : 0);
          Lattice next = from.lattice;
          next.extend(output_bit(*unit, v, b, c));
          int sum = from.sum + degree / (v + 1) - next.dimension();
          grown.push_back({b, c, sum, random.next(), std::move(next), unit});
        }
      }
      size_t keep = std::min(beam, grown.size());
      std::partial_sort(grown.begin(), grown.begin() + keep, grown.end(), [](auto const& x, auto const& y) {
        return x.sum != y.sum ? x.sum < y.sum : x.tie < y.tie;
      });
      grown.erase(grown.begin() + keep, grown.end());
      kept = std::move(grown);
    }
    return {kept[0].b, kept[0].c, kept[0].sum, 0};
  }
  static void join(Row& r, Row const& other) {
    for (int i = 0; i <= other.top; ++i) r.at[i] ^= other.at[i];
    r.top = std::max(r.top, other.top);
    while (r.top >= 0 && !r.at[r.top]) --r.top;
  }

  Poly p_;
  Modulus field_;
  std::array<Poly, width> first_;
};

int check() {
  int worst = 0;
  bool good = true;
  for (auto m : fixed_rows) {
    Poly p = characteristic(m.a);
    bool ok = top(p) == degree && bit(p, 0) && Modulus(p).irreducible();
    int d = ok ? Tempering(m.a).defect(m.b, m.c) : -1;
    std::printf("%08X %08X %08X %s defect %d\n", m.a, m.b, m.c, ok ? "irreducible" : "REDUCIBLE", d);
    good = good && ok;
    worst = std::max(worst, d);
  }
  std::printf("worst %d\n", worst);
  return good ? 0 : 1;
}

struct Line {
  unsigned member, index, defect, tries;
  uint32_t a, b, c;
};
std::vector<Line> read(char const* path) {
  std::vector<Line> lines;
  if (FILE* f = std::fopen(path, "r")) {
    Line l;
    while (std::fscanf(f, "%u %u %x %x %x %u %u\n", &l.member, &l.index, &l.a, &l.b, &l.c, &l.defect,
                       &l.tries) == 7)
      lines.push_back(l);
    std::fclose(f);
  }
  return lines;
}

int run(char const* path, unsigned last) {
  int goal = 0;
  for (auto m : fixed_rows) goal = std::max(goal, Tempering(m.a).defect(m.b, m.c));
  auto lines = read(path);
  unsigned member = 4, index = 1;
  if (!lines.empty()) member = lines.back().member + 1, index = lines.back().index + 1;
  FILE* out = std::fopen(path, "a");
  if (!out) return std::perror(path), 1;
  std::setvbuf(out, nullptr, _IOLBF, 0);
  Sieve sieve;
  for (; member < last && index < 1u << candidate_bits; ++index) {
    if (!sieve.survives(index)) continue;
    uint32_t a = candidate(index);
    if (std::any_of(std::begin(fixed_rows), std::end(fixed_rows), [&](auto m) { return m.a == a; })) continue;
    if (!Modulus(characteristic(a)).irreducible()) continue;
    Tempering t(a);
    auto r = t.search(a, goal);
    if (r.defect > goal) continue;
    // The lattice of the search is kept incrementally; the figure in the file comes from a fresh one.
    int d = t.defect(r.b, r.c);
    if (d != r.defect) std::abort();
    std::fprintf(out, "%u %u %08X %08X %08X %d %d\n", member++, index, a, r.b, r.c, d, r.tries);
  }
  std::fclose(out);
  return member < last;
}

int table(char const* path) {
  auto lines = read(path);
  std::puts("// Generated by tools/mt2203_search.cpp: matrixA, maskB, maskC of each member.");
  auto print = [](Member m) { std::printf("{0x%08X,0x%08X,0x%08X},\n", m.a, m.b, m.c); };
  for (int i = 0; i < 4; ++i) print(fixed_rows[i]);
  for (auto& l : lines) print({l.a, l.b, l.c});
  print(fixed_rows[4]);
  return lines.size() == members - 5 ? 0 : 1;
}

} // namespace

int main(int count, char** args) {
  std::string mode = count > 1 ? args[1] : "";
  if (mode == "check") return check();
  if (mode == "run" && count > 2) return run(args[2], count > 3 ? std::atoi(args[3]) : members - 1);
  if (mode == "table" && count > 2) return table(args[2]);
  std::fputs("usage: mt2203_search check | run FILE [END] | table FILE\n", stderr);
  return 2;
}
