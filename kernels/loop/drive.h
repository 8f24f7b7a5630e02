// The loop of every element-wise kernel: control state, blocks, masked tail, special lanes, reports.
//
// A kernel K is a small type with the mathematics only:
//
//   using Operand = float;                  element of the operands, real or complex
//   using Result = float;                   element of the results
//   static constexpr int operands, results; 1 or 2 each
//   eval(x [, y])                           all lanes, unconditionally; with two results a Pair
//   special(x [, y], r)                     one bit for each lane that eval cannot answer   (if there are any)
//   eval(x [, y], lanes)                    in place of eval and special, where the test needs values from within
//   repair(x [, y], r [, r2]) -> status     the scalar answer for one lane                  (with special)
//   settle(x, r, lanes) -> lanes            with errors switched off: answers lanes in the vector and
//                                           returns those that are left                     (optional)
//   fill                                    value in the unused lanes of a tail; 0.75       (optional)
//   static constexpr int unroll;            vectors in a block, if not as many as usual     (optional)
//
// Elements are answered as if singly: nothing in eval depends on a neighbour. Within a block all loads come
// before all stores, so results may overwrite their own operands.
#pragma once
#include "frame/control.h"
#include "kernels/loop/operand.h"

namespace orv::loop {

template <class V>
struct Pair {
  V first, second;
};

template <class K>
using OperandValue = typename Lanes<typename K::Operand>::Value;
template <class K>
using ResultValue = typename Lanes<typename K::Result>::Value;
template <class K>
using Answer = std::conditional_t<K::results == 2, Pair<ResultValue<K>>, ResultValue<K>>;

// One lane test serves a block: two vectors where there are 16 registers, one where there are 8.
template <class K>
constexpr int vectors_in_block = sizeof(void*) == 8 ? 2 : 1;
template <class K>
requires requires { K::unroll; }
constexpr int vectors_in_block<K> = K::unroll;

template <class K>
constexpr bool has_special = requires {
  &K::repair;
};

template <class K>
constexpr auto tail_fill() {
  if constexpr (requires { K::fill; })
    return K::fill;
  else
    return static_cast<typename RealOf<typename K::Operand>::type>(0.75);
}

template <class K>
struct Block {
  OperandValue<K> a, b;
  Answer<K> r;
};

template <class K>
concept marks_within = (K::operands == 1 &&
                        requires(K const& k, Block<K> b, unsigned& lanes) { k.eval(b.a, lanes); }) ||
                       (K::operands == 2 &&
                        requires(K const& k, Block<K> b, unsigned& lanes) { k.eval(b.a, b.b, lanes); });

// Answers all lanes of a block; returns those that are left for a repair.
template <class K>
ORV_INLINE unsigned evaluate(K const& k, Block<K>& block) {
  unsigned lanes = 0;
  if constexpr (marks_within<K> && K::operands == 2)
    block.r = k.eval(block.a, block.b, lanes);
  else if constexpr (marks_within<K>)
    block.r = k.eval(block.a, lanes);
  else if constexpr (K::operands == 2)
    block.r = k.eval(block.a, block.b);
  else
    block.r = k.eval(block.a);
  if constexpr (has_special<K> && !marks_within<K>) {
    if constexpr (K::operands == 2)
      lanes = k.special(block.a, block.b, block.r);
    else
      lanes = k.special(block.a, block.r);
  }
  return lanes;
}

// Answers the marked lanes in rising order and reports those in error. `i` is the index of lane 0.
template <class K, class A, class B, class R1, class R2>
[[gnu::noinline, gnu::cold]] void repair_lanes(K const& k, unsigned lanes, int i, Block<K>& block, A const& a,
                                               B const& b, R1 const& r1, R2 const& r2, bool errors_off,
                                               const char* name) {
  if constexpr (requires { k.settle(block.a, block.r, lanes); })
    if (errors_off) lanes = k.settle(block.a, block.r, lanes);
  using Operand = typename K::Operand;
  using Result = typename K::Result;
  constexpr int count = Lanes<Operand>::count;
  alignas(32) Operand la[count], lb[count];
  alignas(32) Result lr1[count], lr2[count];
  Lanes<Operand>::store(la, block.a);
  if constexpr (K::operands == 2) Lanes<Operand>::store(lb, block.b);
  if constexpr (K::results == 2) {
    Lanes<Result>::store(lr1, block.r.first);
    Lanes<Result>::store(lr2, block.r.second);
  } else {
    Lanes<Result>::store(lr1, block.r);
  }
  for (; lanes; lanes &= lanes - 1) {
    int const lane = __builtin_ctz(lanes);
    int status;
    if constexpr (K::operands == 2)
      status = k.repair(la[lane], lb[lane], lr1[lane]);
    else if constexpr (K::results == 2)
      status = k.repair(la[lane], lr1[lane], lr2[lane]);
    else
      status = k.repair(la[lane], lr1[lane]);
    if (status == 0) continue;
    Result& out1 = r1.at(i + lane);
    Result& out2 = r2.at(i + lane);
    if constexpr (K::results == 2) out2 = lr2[lane];
    out1 = lr1[lane];
    if constexpr (K::operands == 2)
      report_error<Operand, Result>(status, i + lane, a.whole(), b.whole(), r1.whole(), r2.whole(), name);
    else
      report_error<Operand, Result>(status, i + lane, a.whole(), a.whole(), r1.whole(), r2.whole(), name);
    lr1[lane] = out1;
    if constexpr (K::results == 2) lr2[lane] = out2;
  }
  if constexpr (K::results == 2)
    block.r = {Lanes<Result>::load(lr1), Lanes<Result>::load(lr2)};
  else
    block.r = Lanes<Result>::load(lr1);
}

// A block is copied for its repair, so that the common path keeps it in registers.
template <class K, class A, class B, class R1, class R2>
ORV_INLINE void finish(K const& k, int i, Block<K>& block, unsigned lanes, A const& a, B const& b,
                       R1 const& r1, R2 const& r2, bool errors_off, const char* name) {
  if constexpr (has_special<K>)
    if (lanes) {
      Block<K> copy = block;
      repair_lanes(k, lanes, i, copy, a, b, r1, r2, errors_off, name);
      block = copy;
    }
}

// Whole vectors from element i on, `vectors` a turn, as far as they fit; returns the first element left.
template <int vectors, class K, class A, class B, class R1, class R2>
ORV_INLINE int whole_vectors(K const& k, int i, int n, A const& a, B const& b, R1 const& r1, R2 const& r2,
                             bool errors_off, const char* name) {
  constexpr int lanes = Lanes<typename K::Operand>::count;
  for (; n - i >= vectors * lanes; i += vectors * lanes) {
    Block<K> block[vectors];
    unsigned marked[vectors], any = 0;
#pragma GCC unroll 4
    for (int u = 0; u < vectors; ++u) {
      block[u].a = a.load(i + u * lanes);
      if constexpr (K::operands == 2) block[u].b = b.load(i + u * lanes);
    }
#pragma GCC unroll 4
    for (int u = 0; u < vectors; ++u) {
      marked[u] = evaluate(k, block[u]);
      any |= marked[u];
    }
    if (any) [[unlikely]] {
#pragma GCC unroll 4
      for (int u = 0; u < vectors; ++u)
        finish(k, i + u * lanes, block[u], marked[u], a, b, r1, r2, errors_off, name);
    }
#pragma GCC unroll 4
    for (int u = 0; u < vectors; ++u) {
      if constexpr (K::results == 2) {
        r1.store(i + u * lanes, block[u].r.first);
        r2.store(i + u * lanes, block[u].r.second);
      } else {
        r1.store(i + u * lanes, block[u].r);
      }
    }
  }
  return i;
}

// The whole call. One-operand kernels pass `a` as b as well, one-result kernels r1 as r2.
template <class K, class A, class B, class R1, class R2>
ORV_INLINE void run(ControlState const& control, K const& k, int n, A a, B b, R1 r1, R2 r2,
                    const char* name) {
  bool const errors_off = control.errors_off();
  constexpr int vectors = vectors_in_block<K>;
  int i = whole_vectors<vectors>(k, 0, n, a, b, r1, r2, errors_off, name);
  // Apart from the tail, whose masked store would keep a call that follows from reading its results soon.
  if constexpr (vectors > 1) i = whole_vectors<1>(k, i, n, a, b, r1, r2, errors_off, name);
  if (i >= n) return;
  int const m = n - i;
  Block<K> block;
  block.a = a.load_part(i, m, tail_fill<K>());
  if constexpr (K::operands == 2) block.b = b.load_part(i, m, tail_fill<K>());
  unsigned const marked = evaluate(k, block) & ((1u << m) - 1);
  if (marked) [[unlikely]]
    finish(k, i, block, marked, a, b, r1, r2, errors_off, name);
  if constexpr (K::results == 2) {
    r1.store_part(i, m, block.r.first);
    r2.store_part(i, m, block.r.second);
  } else {
    r1.store_part(i, m, block.r);
  }
}

} // namespace orv::loop
