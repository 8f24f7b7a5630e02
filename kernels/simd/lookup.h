// Table lookups, one entry for each lane, by scalar loads that are merged: faster than gathers on the
// processors at hand.
#pragma once
#include "kernels/simd/vector.h"

namespace orv::simd {

// A table row with a low part.
template <class T>
struct Pair {
  T hi, lo;
};
template <class T>
struct VecPair {
  Vec<T> hi, lo;
};

// The low 32 bits of each 64-bit lane, as address-sized integers: constant offsets fold into the addresses.
struct Offsets4 {
  std::size_t i[4];
};
ORV_INLINE Offsets4 extract(Bits<double> index) {
  __m128i const low = _mm256_castsi256_si128(index.v), high = _mm256_extracti128_si256(index.v, 1);
#ifdef __x86_64__
  // The upper halves are 0: an index is masked.
  return {{static_cast<std::size_t>(_mm_cvtsi128_si64(low)),
           static_cast<std::size_t>(_mm_extract_epi64(low, 1)),
           static_cast<std::size_t>(_mm_cvtsi128_si64(high)),
           static_cast<std::size_t>(_mm_extract_epi64(high, 1))}};
#else
  return {{static_cast<std::size_t>(_mm_cvtsi128_si32(low)),
           static_cast<std::size_t>(_mm_extract_epi32(low, 2)),
           static_cast<std::size_t>(_mm_cvtsi128_si32(high)),
           static_cast<std::size_t>(_mm_extract_epi32(high, 2))}};
#endif
}

// `index` counts entries.
ORV_INLINE Vec<double> lookup(const double* table, Offsets4 o) {
  __m128d const low = _mm_loadh_pd(_mm_load_sd(table + o.i[0]), table + o.i[1]);
  __m128d const high = _mm_loadh_pd(_mm_load_sd(table + o.i[2]), table + o.i[3]);
  return _mm256_insertf128_pd(_mm256_castpd128_pd256(low), high, 1);
}
ORV_INLINE Vec<double> lookup(const double* table, Bits<double> index) {
  return lookup(table, extract(index));
}

// `offset` counts half entries: twice the index, so that the hardware's scaling by 8 serves.
ORV_INLINE VecPair<double> lookup_pair(const Pair<double>* table, Offsets4 o) {
  const double* base = &table->hi;
  __m256d const even = _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(base + o.i[0])),
                                            _mm_loadu_pd(base + o.i[2]), 1);
  __m256d const odd = _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(base + o.i[1])),
                                           _mm_loadu_pd(base + o.i[3]), 1);
  return {_mm256_unpacklo_pd(even, odd), _mm256_unpackhi_pd(even, odd)};
}
ORV_INLINE VecPair<double> lookup_pair(const Pair<double>* table, Bits<double> offset) {
  return lookup_pair(table, extract(offset));
}

// A row of four doubles for each lane, by 32-byte loads and a transpose.
struct alignas(32) Row4 {
  double a, b, c, d;
};
struct VecRow4 {
  Vec<double> a, b, c, d;
};
ORV_INLINE VecRow4 transpose(__m256d r0, __m256d r1, __m256d r2, __m256d r3) {
  __m256d const ac02 = _mm256_unpacklo_pd(r0, r1), bd02 = _mm256_unpackhi_pd(r0, r1);
  __m256d const ac13 = _mm256_unpacklo_pd(r2, r3), bd13 = _mm256_unpackhi_pd(r2, r3);
  return {_mm256_permute2f128_pd(ac02, ac13, 0x20), _mm256_permute2f128_pd(bd02, bd13, 0x20),
          _mm256_permute2f128_pd(ac02, ac13, 0x31), _mm256_permute2f128_pd(bd02, bd13, 0x31)};
}
// `index` counts rows.
ORV_INLINE VecRow4 lookup_row(const Row4* table, Bits<double> index) {
  Offsets4 const o = extract(shift_left<2>(index)); // in doubles: the hardware scales by 8
  const double* const base = &table->a;
  auto row = [&](int lane) { return _mm256_load_pd(base + o.i[lane]); };
  return transpose(row(0), row(1), row(2), row(3));
}

// Part `part` of longer rows, of `stride` doubles.
template <int stride, int part>
ORV_INLINE VecRow4 lookup_part(const double* table, Offsets4 row) {
  auto at = [&](int lane) { return _mm256_load_pd(table + row.i[lane] * stride + 4 * part); };
  return transpose(at(0), at(1), at(2), at(3));
}
// A row of eight floats for each lane.
struct VecRow8 {
  Vec<float> v[8];
};
ORV_INLINE VecRow8 lookup_row8(const float* table, Bits<float> index) {
  alignas(32) uint32_t row[8];
  _mm256_store_si256(reinterpret_cast<__m256i*>(row), index.v);
  __m256 r[8], t[8];
#pragma GCC unroll 8
  for (int i = 0; i < 8; ++i) r[i] = _mm256_load_ps(table + 8 * row[i]);
#pragma GCC unroll 4
  for (int i = 0; i < 4; ++i) {
    t[2 * i] = _mm256_unpacklo_ps(r[2 * i], r[2 * i + 1]);
    t[2 * i + 1] = _mm256_unpackhi_ps(r[2 * i], r[2 * i + 1]);
  }
#pragma GCC unroll 2
  for (int i = 0; i < 2; ++i) {
    r[4 * i] = _mm256_shuffle_ps(t[4 * i], t[4 * i + 2], 0x44);
    r[4 * i + 1] = _mm256_shuffle_ps(t[4 * i], t[4 * i + 2], 0xEE);
    r[4 * i + 2] = _mm256_shuffle_ps(t[4 * i + 1], t[4 * i + 3], 0x44);
    r[4 * i + 3] = _mm256_shuffle_ps(t[4 * i + 1], t[4 * i + 3], 0xEE);
  }
  VecRow8 out;
#pragma GCC unroll 4
  for (int i = 0; i < 4; ++i) {
    out.v[i] = _mm256_permute2f128_ps(r[i], r[i + 4], 0x20);
    out.v[i + 4] = _mm256_permute2f128_ps(r[i], r[i + 4], 0x31);
  }
  return out;
}

// 32 bytes from a byte on for each lane, as four 64-bit words, the lowest first.
ORV_INLINE VecRow4 lookup_window(const unsigned char* bytes, Bits<double> index) {
  Offsets4 const o = extract(index);
  auto row = [&](int lane) { return _mm256_loadu_pd(reinterpret_cast<const double*>(bytes + o.i[lane])); };
  return transpose(row(0), row(1), row(2), row(3));
}

ORV_INLINE VecPair<float> lookup_pair(const Pair<float>* table, Bits<float> index) {
#ifdef __x86_64__
  __m128i const low = _mm256_castsi256_si128(index.v), high = _mm256_extracti128_si256(index.v, 1);
  auto const w0 = static_cast<uint64_t>(_mm_cvtsi128_si64(low)),
             w1 = static_cast<uint64_t>(_mm_extract_epi64(low, 1)),
             w2 = static_cast<uint64_t>(_mm_cvtsi128_si64(high)),
             w3 = static_cast<uint64_t>(_mm_extract_epi64(high, 1));
  std::size_t const i[8] = {static_cast<uint32_t>(w0), w0 >> 32, static_cast<uint32_t>(w1), w1 >> 32,
                            static_cast<uint32_t>(w2), w2 >> 32, static_cast<uint32_t>(w3), w3 >> 32};
#else
  alignas(32) uint32_t i[8];
  _mm256_store_si256(reinterpret_cast<__m256i*>(i), index.v);
#endif
  auto two = [&](int a, int b) {
    return _mm_castpd_ps(_mm_loadh_pd(_mm_load_sd(reinterpret_cast<const double*>(table + i[a])),
                                      reinterpret_cast<const double*>(table + i[b])));
  };
  __m256 const a = _mm256_insertf128_ps(_mm256_castps128_ps256(two(0, 1)), two(4, 5), 1);
  __m256 const b = _mm256_insertf128_ps(_mm256_castps128_ps256(two(2, 3)), two(6, 7), 1);
  return {_mm256_shuffle_ps(a, b, 0x88), _mm256_shuffle_ps(a, b, 0xDD)};
}

// In-register tables: the low bits of each lane pick one of 4 or 8 entries.
ORV_INLINE Vec<float> pick4(Vec<float> table, Bits<float> index) {
  return _mm256_permutevar_ps(table.v, index.v);
}
ORV_INLINE Vec<float> pick8(Vec<float> table, Bits<float> index) {
  return _mm256_permutevar8x32_ps(table.v, index.v);
}
// 32 entries from four registers.
ORV_INLINE Vec<float> pick32(const float* table, Bits<float> index) {
  auto eight = [&](int i) { return pick8(load(table + 8 * i), index); };
  Vec<float> const bit3 = from_bits(shift_left<28>(index)), bit4 = from_bits(shift_left<27>(index));
  return blend(blend(eight(0), eight(1), bit3), blend(eight(2), eight(3), bit3), bit4);
}

} // namespace orv::simd
