// Sorting and selection of reals in one total order: negative NaN first, then -Inf ... -0, +0 ... +Inf, positive NaN.
//
// A real's key is its bit pattern as a signed integer, the lower bits flipped where the sign is set; keys compare as
// integers, and equal keys are equal bits, so that results don't depend on the method. Arrays are worked in place:
// keys take the place of the reals and are turned back afterwards. The method is a quicksort that partitions whole
// vectors (from both ends, by a table of permutations), takes its pivots from samples, sorts up to 16 vectors by a
// bitonic network, and falls back to a heap when pivots go wrong. A payload of the same width may follow its key.
// Of 10^6 doubles, ns/element on an AMD EPYC: see docs/statistics.md.
#pragma once
#include "kernels/simd/vector.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <limits>

namespace orv::statistics {

template <class T>
using Key = simd::SignedOf<T>;

namespace order {

// Scalar access to memory that holds keys where reals were.
template <class K>
K get(K const* p) {
  K k;
  __builtin_memcpy(&k, p, sizeof k);
  return k;
}
template <class K>
void put(K* p, K k) {
  __builtin_memcpy(p, &k, sizeof k);
}

template <class K>
constexpr K flip(K bits) { // its own inverse
  return bits ^ static_cast<K>(static_cast<std::make_unsigned_t<K>>(bits >> (8 * sizeof(K) - 1)) >> 1);
}

ORV_INLINE __m256i load(void const* p) { return _mm256_loadu_si256(static_cast<__m256i const*>(p)); }
ORV_INLINE void store(void* p, __m256i v) { _mm256_storeu_si256(static_cast<__m256i*>(p), v); }

template <class K>
struct Lanes;
template <>
struct Lanes<int64_t> {
  static constexpr int count = 4;
  ORV_INLINE static __m256i all(int64_t k) { return _mm256_set1_epi64x(k); }
  ORV_INLINE static __m256i greater(__m256i a, __m256i b) { return _mm256_cmpgt_epi64(a, b); }
  ORV_INLINE static unsigned bits(__m256i m) {
    return static_cast<unsigned>(_mm256_movemask_pd(_mm256_castsi256_pd(m)));
  }
  ORV_INLINE static __m256i select(__m256i m, __m256i yes, __m256i no) {
    return _mm256_castpd_si256(
        _mm256_blendv_pd(_mm256_castsi256_pd(no), _mm256_castsi256_pd(yes), _mm256_castsi256_pd(m)));
  }
  template <int distance>
  ORV_INLINE static __m256i swap(__m256i v) {
    return distance == 1 ? _mm256_shuffle_epi32(v, 0x4E) : _mm256_permute4x64_epi64(v, 0x4E);
  }
  template <int group>
  ORV_INLINE static __m256i reverse(__m256i v) {
    return group == 2 ? swap<1>(v) : _mm256_permute4x64_epi64(v, 0x1B);
  }
  template <int d>
  ORV_INLINE static __m256i upper() { // lanes whose number has the bit d
    return d == 1 ? _mm256_setr_epi64x(0, -1, 0, -1) : _mm256_setr_epi64x(0, 0, -1, -1);
  }
};
template <>
struct Lanes<int32_t> {
  static constexpr int count = 8;
  ORV_INLINE static __m256i all(int32_t k) { return _mm256_set1_epi32(k); }
  ORV_INLINE static __m256i greater(__m256i a, __m256i b) { return _mm256_cmpgt_epi32(a, b); }
  ORV_INLINE static unsigned bits(__m256i m) {
    return static_cast<unsigned>(_mm256_movemask_ps(_mm256_castsi256_ps(m)));
  }
  ORV_INLINE static __m256i select(__m256i m, __m256i yes, __m256i no) {
    return _mm256_castps_si256(
        _mm256_blendv_ps(_mm256_castsi256_ps(no), _mm256_castsi256_ps(yes), _mm256_castsi256_ps(m)));
  }
  template <int distance>
  ORV_INLINE static __m256i swap(__m256i v) {
    return distance == 1   ? _mm256_shuffle_epi32(v, 0xB1)
           : distance == 2 ? _mm256_shuffle_epi32(v, 0x4E)
                           : _mm256_permute4x64_epi64(v, 0x4E);
  }
  template <int group>
  ORV_INLINE static __m256i reverse(__m256i v) {
    if constexpr (group == 2) return swap<1>(v);
    __m256i const r = _mm256_shuffle_epi32(v, 0x1B);
    return group == 4 ? r : swap<4>(r);
  }
  template <int d>
  ORV_INLINE static __m256i upper() {
    return d == 1   ? _mm256_setr_epi32(0, -1, 0, -1, 0, -1, 0, -1)
           : d == 2 ? _mm256_setr_epi32(0, 0, -1, -1, 0, 0, -1, -1)
                    : _mm256_setr_epi32(0, 0, 0, 0, -1, -1, -1, -1);
  }
};

// For each set of lanes the permutation, in 32-bit words, that takes those lanes first.
template <int lanes>
inline constexpr auto packings = [] {
  constexpr int words = 8 / lanes;
  std::array<std::array<uint8_t, 8>, 1 << lanes> table{};
  for (size_t set = 0; set < table.size(); ++set) {
    int at = 0;
    for (unsigned wanted : {1u, 0u})
      for (int lane = 0; lane < lanes; ++lane)
        if ((set >> lane & 1) == wanted)
          for (int w = 0; w < words; ++w)
            table[set][static_cast<size_t>(at++)] = static_cast<uint8_t>(lane * words + w);
  }
  return table;
}();

constexpr int unroll = 4, most_vectors = 16;
template <class K>
constexpr ptrdiff_t small = most_vectors* Lanes<K>::count; // what the network sorts

// ---- network ----

template <class K, bool paired>
struct Network {
  using L = Lanes<K>;
  __m256i key[most_vectors], load[paired ? most_vectors : 1];

  ORV_INLINE void exchange(int i, int j) { // the smaller to i
    __m256i const g = L::greater(key[i], key[j]), low = L::select(g, key[j], key[i]);
    key[j] = L::select(g, key[i], key[j]);
    key[i] = low;
    if constexpr (paired) {
      __m256i const first = L::select(g, load[j], load[i]);
      load[j] = L::select(g, load[i], load[j]);
      load[i] = first;
    }
  }
  // Within a vector: each lane and its partner in `other`, the greater one to the lanes with bit d.
  template <int d>
  ORV_INLINE void step(int i, __m256i other, __m256i other_load) {
    __m256i take = L::greater(key[i], other);
    if constexpr (paired) { // equal keys both stay
      take = L::select(L::template upper<d>(), L::greater(other, key[i]), take);
      load[i] = L::select(take, other_load, load[i]);
    } else {
      take = _mm256_xor_si256(take, L::template upper<d>());
    }
    key[i] = L::select(take, other, key[i]);
  }
  template <int d>
  ORV_INLINE void swap_step(int i) {
    step<d>(i, L::template swap<d>(key[i]), L::template swap<d>(load[paired ? i : 0]));
  }
  template <int group>
  ORV_INLINE void reverse_step(int i) {
    step<group / 2>(i, L::template reverse<group>(key[i]), L::template reverse<group>(load[paired ? i : 0]));
  }
  ORV_INLINE void finish(int i) { // a vector that is bitonic
    if constexpr (L::count == 8) swap_step<4>(i);
    swap_step<2>(i);
    swap_step<1>(i);
  }
  ORV_INLINE void sort_vector(int i) {
    reverse_step<2>(i);
    reverse_step<4>(i);
    swap_step<1>(i);
    if constexpr (L::count == 8) {
      reverse_step<8>(i);
      swap_step<2>(i);
      swap_step<1>(i);
    }
  }
  template <int vectors>
  void sort() {
    for (int i = 0; i < vectors; ++i) sort_vector(i);
#pragma GCC unroll 8
    for (int m = 1; m < vectors; m *= 2)
      for (int base = 0; base < vectors; base += 2 * m) {
        for (int i = 0; i < m; ++i) {
          int const j = base + 2 * m - 1 - i;
          key[j] = L::template reverse<L::count>(key[j]);
          if constexpr (paired) load[j] = L::template reverse<L::count>(load[j]);
          exchange(base + i, j);
        }
        for (int d = m / 2; d > 0; d /= 2)
          for (int i = 0; i < 2 * m; ++i)
            if (!(i & d)) exchange(base + i, base + i + d);
        for (int i = 0; i < 2 * m; ++i) finish(base + i);
      }
  }
};

// At most small<K> elements. With a payload no key may be the greatest one, which pads.
template <class K, bool paired>
void sort_small(K* a, K* payload, ptrdiff_t n) {
  constexpr int lanes = Lanes<K>::count;
  if (n < 2) return;
  alignas(32) K keys[small<K>], loads[paired ? small<K> : 1];
  int const vectors = static_cast<int>(std::bit_ceil(static_cast<unsigned>((n + lanes - 1) / lanes)));
  std::fill_n(keys + (n / lanes) * lanes, vectors * lanes - (n / lanes) * lanes,
              std::numeric_limits<K>::max());
  __builtin_memcpy(keys, a, static_cast<size_t>(n) * sizeof(K));
  Network<K, paired> net;
  for (int i = 0; i < vectors; ++i) net.key[i] = load(keys + i * lanes);
  if constexpr (paired) {
    std::fill_n(loads + (n / lanes) * lanes, vectors * lanes - (n / lanes) * lanes, K(0));
    __builtin_memcpy(loads, payload, static_cast<size_t>(n) * sizeof(K));
    for (int i = 0; i < vectors; ++i) net.load[i] = load(loads + i * lanes);
  }
  switch (vectors) {
  case 1:
    net.template sort<1>();
    break;
  case 2:
    net.template sort<2>();
    break;
  case 4:
    net.template sort<4>();
    break;
  case 8:
    net.template sort<8>();
    break;
  default:
    net.template sort<16>();
  }
  for (int i = 0; i < vectors; ++i) store(keys + i * lanes, net.key[i]);
  __builtin_memcpy(a, keys, static_cast<size_t>(n) * sizeof(K));
  if constexpr (paired) {
    for (int i = 0; i < vectors; ++i) store(loads + i * lanes, net.load[i]);
    __builtin_memcpy(payload, loads, static_cast<size_t>(n) * sizeof(K));
  }
}

// ---- partition ----

// Keys below the pivot, or also those equal to it, to the front; returns how many. At least small<K> elements.
template <bool with_equal, class K, bool paired>
ptrdiff_t partition(K* a, K* payload, ptrdiff_t n, K pivot) {
  using L = Lanes<K>;
  constexpr int lanes = L::count, block = unroll * lanes;
  __m256i const p = L::all(pivot);
  ptrdiff_t left = 0, right = n, first = block, last = n - block; // free: [left, first) and [last, right)
  __m256i keys[2 * unroll], loads[2 * unroll];
  for (int i = 0; i < unroll; ++i) {
    keys[i] = load(a + i * lanes);
    keys[unroll + i] = load(a + last + i * lanes);
    if constexpr (paired) {
      loads[i] = load(payload + i * lanes);
      loads[unroll + i] = load(payload + last + i * lanes);
    }
  }
  auto const out = [&](__m256i k, __m256i v) {
    unsigned set = L::bits(with_equal ? L::greater(k, p) : L::greater(p, k));
    if (with_equal) set ^= (1u << lanes) - 1;
    __m256i const order =
        _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<__m128i const*>(packings<lanes>[set].data())));
    __m256i const packed = _mm256_permutevar8x32_epi32(k, order);
    store(a + left, packed);
    store(a + right - lanes, packed);
    if constexpr (paired) {
      __m256i const packed_load = _mm256_permutevar8x32_epi32(v, order);
      store(payload + left, packed_load);
      store(payload + right - lanes, packed_load);
    }
    int const count = std::popcount(set);
    left += count;
    right -= lanes - count;
  };
  while (last - first >= block) {
    // From the side with less room, so that a block fits on both.
    bool const from_left = first - left <= right - last;
    ptrdiff_t const from = from_left ? first : last - block;
    first += from_left ? block : 0;
    last -= from_left ? 0 : block;
    __m256i k[unroll], v[unroll];
    for (int i = 0; i < unroll; ++i) {
      k[i] = load(a + from + i * lanes);
      if constexpr (paired) v[i] = load(payload + from + i * lanes);
    }
    for (int i = 0; i < unroll; ++i) out(k[i], v[paired ? i : 0]);
  }
  // What is left in the middle, then the ends; whole vectors last, so that their stores don't overlap.
  alignas(32) K rest[block], rest_loads[block];
  for (int i = 0; i < unroll; ++i) {
    store(rest + i * lanes, load(a + first + i * lanes));
    if constexpr (paired) store(rest_loads + i * lanes, load(payload + first + i * lanes));
  }
  ptrdiff_t const count = last - first, odd = count % lanes;
  for (ptrdiff_t i = count - odd; i < count; ++i) {
    bool const low = with_equal ? rest[i] <= pivot : rest[i] < pivot;
    ptrdiff_t const to = low ? left++ : --right;
    put(a + to, rest[i]);
    if constexpr (paired) put(payload + to, rest_loads[i]);
  }
  for (ptrdiff_t i = 0; i < count - odd; i += lanes) out(load(rest + i), load(rest_loads + (paired ? i : 0)));
  for (int i = 0; i < 2 * unroll; ++i) out(keys[i], loads[paired ? i : 0]);
  return left;
}

// A key near the given share of the range: of a sample at scattered places.
template <class K>
K sample_key(K const* a, ptrdiff_t n, double share) {
  constexpr int most = 64;
  int const count = n < 2048 ? 16 : most;
  K sample[most];
  uint32_t state = static_cast<uint32_t>(n) | 1;
  double const step = static_cast<double>(n) / count;
  for (int i = 0; i < count; ++i) {
    state = state * 1664525u + 1013904223u;
    sample[i] = get(a + static_cast<ptrdiff_t>((i + static_cast<double>(state) * 0x1p-32) * step));
  }
  sort_small<K, false>(sample, nullptr, count);
  return sample[std::clamp(static_cast<int>(share * count), 0, count - 1)];
}

template <class K, bool paired>
void sift_down(K* a, K* payload, ptrdiff_t root, ptrdiff_t n) {
  K const key = get(a + root), carried = paired ? get(payload + root) : K(0);
  for (ptrdiff_t child; (child = 2 * root + 1) < n; root = child) {
    if (child + 1 < n && get(a + child) < get(a + child + 1)) ++child;
    if (get(a + child) <= key) break;
    put(a + root, get(a + child));
    if constexpr (paired) put(payload + root, get(payload + child));
  }
  put(a + root, key);
  if constexpr (paired) put(payload + root, carried);
}
template <class K, bool paired>
void heap_sort(K* a, K* payload, ptrdiff_t n) {
  for (ptrdiff_t i = n / 2; i-- > 0;) sift_down<K, paired>(a, payload, i, n);
  for (ptrdiff_t i = n - 1; i > 0; --i) {
    K const k = get(a), top = get(a + i);
    put(a, top);
    put(a + i, k);
    if constexpr (paired) {
      K const v = get(payload);
      put(payload, get(payload + i));
      put(payload + i, v);
    }
    sift_down<K, paired>(a, payload, 0, i);
  }
}

// Puts every element of the wanted ranks in its place, smaller ones before it and greater ones after it. The ranks rise
// and count from the place of a[0], which is `base`; without ranks all places are wanted.
template <class K, bool paired>
void arrange(K* a, K* payload, ptrdiff_t n, ptrdiff_t base, ptrdiff_t const* ranks, ptrdiff_t rank_count,
             int depth) {
  while (n > small<K>) {
    if (ranks && rank_count == 0) return;
    if (depth-- == 0) return heap_sort<K, paired>(a, payload, n);
    double share = 0.5;
    if (ranks) { // near the middle one of the wanted, a bit towards the middle of the range
      double const place = static_cast<double>(ranks[rank_count / 2] - base) / static_cast<double>(n);
      share = place < 0.4 ? place + 0.1 : place > 0.6 ? place - 0.1 : 0.5;
    }
    K const pivot = sample_key(a, n, share);
    ptrdiff_t middle = partition<false, K, paired>(a, payload, n, pivot);
    bool const lowest = middle == 0; // the pivot is the smallest key: all like it are in place
    if (lowest) middle = partition<true, K, paired>(a, payload, n, pivot);
    ptrdiff_t const split = ranks ? std::lower_bound(ranks, ranks + rank_count, base + middle) - ranks : 0;
    if (!lowest) arrange<K, paired>(a, payload, middle, base, ranks, split, depth);
    a += middle;
    if constexpr (paired) payload += middle;
    n -= middle;
    base += middle;
    if (ranks) {
      ranks += split;
      rank_count -= split;
    }
  }
  if (!ranks || rank_count > 0) sort_small<K, paired>(a, payload, n);
}

inline int depth_limit(ptrdiff_t n) {
  return 2 * static_cast<int>(std::bit_width(static_cast<size_t>(n))) + 8;
}

} // namespace order

// ---- reals ----

// Inlined: on 32 bits a returned real passes through the x87 stack, which changes signalling NaN.
template <class T>
ORV_INLINE Key<T> key_of(T x) {
  return order::flip(std::bit_cast<Key<T>>(x));
}
template <class T>
ORV_INLINE T real_of(Key<T> k) {
  return std::bit_cast<T>(order::flip(k));
}

// Turns reals into keys in place, and back.
template <class T>
void flip_all(void* memory, ptrdiff_t n) {
  using K = Key<T>;
  using L = order::Lanes<K>;
  K* const a = static_cast<K*>(memory);
  __m256i const low = L::all(std::numeric_limits<K>::max());
  ptrdiff_t i = 0;
  for (; i + L::count <= n; i += L::count) {
    __m256i const v = order::load(a + i), negative = L::greater(_mm256_setzero_si256(), v);
    order::store(a + i, _mm256_xor_si256(v, _mm256_and_si256(negative, low)));
  }
  for (; i < n; ++i) order::put(a + i, order::flip(order::get(a + i)));
}

template <class K>
void sort_keys(K* a, ptrdiff_t n) {
  order::arrange<K, false>(a, nullptr, n, 0, nullptr, 0, order::depth_limit(n));
}
// Puts the elements of the ranks (which rise) in their places.
template <class K>
void select_keys(K* a, ptrdiff_t n, ptrdiff_t const* ranks, ptrdiff_t count) {
  order::arrange<K, false>(a, nullptr, n, 0, ranks, count, order::depth_limit(n));
}
// Sorts keys, each with the element of the payload at its place. The greatest key must not be among them.
template <class K>
void sort_pairs(K* a, K* payload, ptrdiff_t n) {
  order::arrange<K, true>(a, payload, n, 0, nullptr, 0, order::depth_limit(n));
}

template <class T>
void sort_reals(T* x, ptrdiff_t n) {
  Key<T>* const keys = reinterpret_cast<Key<T>*>(x); // read and written as bytes only
  flip_all<T>(keys, n);
  sort_keys(keys, n);
  flip_all<T>(keys, n);
}

} // namespace orv::statistics
