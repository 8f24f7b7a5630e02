// Product of two matrices, C += alpha A B, over packed panels (Goto and van de Geijn 2008).
//
// Both operands are packed into panels of the same height, so that a product with itself packs once. An
// element of C gets one chain of fused steps for each `depth` terms; the chain doesn't depend on tile sizes,
// so the bits are the same however many registers the target has. Nothing fails: without memory for large
// panels, small ones on the stack do the same work.
#pragma once
#include "core/simd.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace orv::linalg {

// Element (i, k) of an operand: `i` runs along C, `k` is summed over.
template <class T>
struct Operand {
  T const* p;
  ptrdiff_t i_step, k_step;
  bool symmetric = false, upper = false; // then one triangle is read, i_step 1, k_step the leading dimension
  T at(ptrdiff_t i, ptrdiff_t k) const {
    if (symmetric && (upper ? i > k : i < k)) return p[k * i_step + i * k_step];
    return p[i * i_step + k * k_step];
  }
  bool operator==(Operand const&) const = default;
};

enum class Part { whole, upper, lower };

template <class T>
struct Gemm {
  using W = Wide<T>;
  using V = typename W::V;
  static constexpr int vectors = 3;
#ifdef __x86_64__
  static constexpr int columns = 4; // 12 sums, 3 loads, 1 broadcast in 16 registers
#else
  static constexpr int columns = 2; // 6 sums in 8
#endif
  static constexpr int height = vectors * W::lanes;
  static constexpr int depth = 256;
  static constexpr int block = 8 * height;  // rows of A that stay in the second-level cache
  static constexpr int breadth = 4 * block; // columns of B at a time

  static void pack(Operand<T> const& a, ptrdiff_t i0, ptrdiff_t rows, ptrdiff_t k0, ptrdiff_t count, T* to) {
    for (ptrdiff_t r = 0; r < rows; r += height, to += height * count) {
      ptrdiff_t const live = std::min<ptrdiff_t>(height, rows - r);
      if (!a.symmetric && a.i_step == 1 && live == height) {
        T const* from = a.p + i0 + r + k0 * a.k_step;
        for (ptrdiff_t k = 0; k < count; ++k, from += a.k_step)
          for (int v = 0; v < vectors; ++v)
            W::store(to + k * height + v * W::lanes, W::load(from + v * W::lanes));
      } else if (!a.symmetric && a.k_step == 1) {
        T const* from = a.p + (i0 + r) * a.i_step + k0;
        ptrdiff_t i = 0;
        for (; i + 4 <= live; i += 4) pack4(from + i * a.i_step, a.i_step, count, to + i);
        for (; i < height; ++i)
          for (ptrdiff_t k = 0; k < count; ++k) to[k * height + i] = i < live ? from[i * a.i_step + k] : T(0);
      } else {
        for (ptrdiff_t k = 0; k < count; ++k)
          for (ptrdiff_t i = 0; i < height; ++i)
            to[k * height + i] = i < live ? a.at(i0 + r + i, k0 + k) : T(0);
      }
    }
  }

  // Four rows that are contiguous in k, transposed into a panel.
  static void pack4(T const* from, ptrdiff_t step, ptrdiff_t count, T* to) {
    T const *a = from, *b = from + step, *c = from + 2 * step, *d = from + 3 * step;
    ptrdiff_t k = 0;
    for (; k + 4 <= count; k += 4, to += 4 * height) {
      if constexpr (sizeof(T) == 8) {
        __m256d const w = W::load(a + k), x = W::load(b + k), y = W::load(c + k), z = W::load(d + k);
        __m256d const wx0 = _mm256_unpacklo_pd(w, x), wx1 = _mm256_unpackhi_pd(w, x);
        __m256d const yz0 = _mm256_unpacklo_pd(y, z), yz1 = _mm256_unpackhi_pd(y, z);
        W::store(to, _mm256_permute2f128_pd(wx0, yz0, 0x20));
        W::store(to + height, _mm256_permute2f128_pd(wx1, yz1, 0x20));
        W::store(to + 2 * height, _mm256_permute2f128_pd(wx0, yz0, 0x31));
        W::store(to + 3 * height, _mm256_permute2f128_pd(wx1, yz1, 0x31));
      } else {
        __m128 w = _mm_loadu_ps(a + k), x = _mm_loadu_ps(b + k), y = _mm_loadu_ps(c + k),
               z = _mm_loadu_ps(d + k);
        _MM_TRANSPOSE4_PS(w, x, y, z);
        _mm_storeu_ps(to, w);
        _mm_storeu_ps(to + height, x);
        _mm_storeu_ps(to + 2 * height, y);
        _mm_storeu_ps(to + 3 * height, z);
      }
    }
    for (; k < count; ++k, to += height) to[0] = a[k], to[1] = b[k], to[2] = c[k], to[3] = d[k];
  }

  // One tile: height by columns. `b` is inside a panel of the same height.
  static void tile(ptrdiff_t count, T alpha, T const* a, T const* b, T* c, ptrdiff_t ldc, ptrdiff_t i0,
                   ptrdiff_t j0, ptrdiff_t rows, ptrdiff_t cols, Part part) {
    V s[columns][vectors];
    for (auto& column : s)
      for (auto& v : column) v = W::zero();
    for (ptrdiff_t k = 0; k < count; ++k, a += height, b += height) {
#pragma GCC unroll 4
      for (int j = 0; j < columns; ++j) {
        V const x = W::all(b[j]);
#pragma GCC unroll 4
        for (int v = 0; v < vectors; ++v) s[j][v] = W::fma(W::load(a + v * W::lanes), x, s[j][v]);
      }
    }
    V const f = W::all(alpha);
    bool const inside =
        part == Part::whole || (part == Part::upper ? i0 + height - 1 <= j0 : i0 >= j0 + columns - 1);
    if (rows >= height && cols >= columns && inside) {
      for (int j = 0; j < columns; ++j)
        for (int v = 0; v < vectors; ++v) {
          T* to = c + j * ldc + v * W::lanes;
          W::store(to, W::fma(f, s[j][v], W::load(to)));
        }
      return;
    }
    T lines[height];
    for (int j = 0; j < columns && j < cols; ++j) {
      for (int v = 0; v < vectors; ++v) W::store(lines + v * W::lanes, s[j][v]);
      ptrdiff_t const from = part == Part::lower ? std::max<ptrdiff_t>(0, j0 + j - i0) : 0;
      ptrdiff_t const to = part == Part::upper ? std::min(rows, j0 + j - i0 + 1) : rows;
      for (ptrdiff_t i = from; i < to && i < height; ++i)
        c[i + j * ldc] = fused(alpha, lines[i], c[i + j * ldc]);
    }
  }

  // `b` is given as the transpose: element (j, k).
  static void run(ptrdiff_t m, ptrdiff_t n, ptrdiff_t count, T alpha, Operand<T> a, Operand<T> b, T* c,
                  ptrdiff_t ldc, Part part = Part::whole) {
    if (m <= 0 || n <= 0 || count <= 0) return;
    alignas(64) T small[2 * height * depth];
    auto const up = [](ptrdiff_t x) { return (x + height - 1) / height * height; };
    ptrdiff_t mc = std::min<ptrdiff_t>(up(m), block), nc = std::min<ptrdiff_t>(up(n), breadth);
    ptrdiff_t const kc = std::min<ptrdiff_t>(count, depth);
    bool const same = a == b && m == n;
    T* large = nullptr;
    T* panel = small;
    if (mc > height || nc > height) {
      large = static_cast<T*>(std::malloc(static_cast<size_t>(mc + nc) * kc * sizeof(T) + 64));
      if (large)
        panel = reinterpret_cast<T*>((reinterpret_cast<uintptr_t>(large) + 63) & ~uintptr_t{63});
      else
        mc = nc = height;
    }
    for (ptrdiff_t j0 = 0; j0 < n; j0 += nc) {
      ptrdiff_t const cols = std::min(nc, n - j0);
      for (ptrdiff_t k0 = 0; k0 < count; k0 += kc) {
        ptrdiff_t const terms = std::min(kc, count - k0);
        T *const b_panels = panel, *const a_room = panel + nc * kc;
        pack(b, j0, cols, k0, terms, b_panels);
        for (ptrdiff_t i0 = 0; i0 < m; i0 += mc) {
          ptrdiff_t const rows = std::min(mc, m - i0);
          if (part == Part::upper && i0 > j0 + cols - 1) break;
          if (part == Part::lower && i0 + rows - 1 < j0) continue;
          T const* a_panels = a_room;
          if (same && i0 >= j0 && i0 + rows <= j0 + cols)
            a_panels = b_panels + (i0 - j0) * terms; // i0 and j0 are multiples of height
          else
            pack(a, i0, rows, k0, terms, a_room);
          for (ptrdiff_t j = 0; j < cols; j += columns) {
            T const* bp = b_panels + j / height * height * terms + j % height;
            for (ptrdiff_t i = 0; i < rows; i += height) {
              if (part == Part::upper && i0 + i > j0 + j + columns - 1) break;
              if (part == Part::lower && i0 + i + height - 1 < j0 + j) continue;
              tile(terms, alpha, a_panels + i * terms, bp, c + i0 + i + (j0 + j) * ldc, ldc, i0 + i, j0 + j,
                   rows - i, cols - j, part);
            }
          }
        }
      }
    }
    std::free(large);
  }
};

} // namespace orv::linalg
