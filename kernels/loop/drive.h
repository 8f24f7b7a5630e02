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
//   far(x [, y], r, lanes) -> lanes         a second vector path, too long for all lanes: answers marked lanes and
//                                           no others, and returns those that are left; its body is
//                                           a function of its own, out of the loop            (optional)
//   settle(x, r, lanes) -> lanes            with errors switched off: answers lanes in the vector and
//                                           returns those that are left                     (optional)
//   static constexpr int unroll;            vectors in a block, if not as many as usual     (optional)
//
// Elements are answered as if singly: nothing in eval depends on a neighbour. Within a block all loads come
// before all stores, so results may overwrite their own operands. What is left behind the last block is done by one
// vector that ends with the array: it is read before the first store, and elements that were done already get the
// same bits again.
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

template <class K>
concept has_far = requires {
  &K::far;
};

// A block is copied for its repair, so that the common path keeps it in registers.
template <class K, class A, class B, class R1, class R2>
ORV_INLINE void finish(K const& k, int i, Block<K>& block, unsigned lanes, A const& a, B const& b,
                       R1 const& r1, R2 const& r2, bool errors_off, const char* name) {
  if constexpr (has_special<K>)
    if (lanes) {
      if constexpr (has_far<K> && K::operands == 2)
        lanes = k.far(block.a, block.b, block.r, lanes);
      else if constexpr (has_far<K>)
        lanes = k.far(block.a, block.r, lanes);
      if (has_far<K> && !lanes) return;
      Block<K> copy = block;
      repair_lanes(k, lanes, i, copy, a, b, r1, r2, errors_off, name);
      block = copy;
    }
}

template <class K, class A, class B>
ORV_INLINE void load_block(Block<K>& block, int i, A const& a, B const& b) {
  block.a = a.load(i);
  if constexpr (K::operands == 2) block.b = b.load(i);
}
template <class K, class R1, class R2>
ORV_INLINE void store_block(Block<K> const& block, int i, R1 const& r1, R2 const& r2) {
  if constexpr (K::results == 2) {
    r1.store(i, block.r.first);
    r2.store(i, block.r.second);
  } else {
    r1.store(i, block.r);
  }
}
template <class K, class A, class B>
ORV_INLINE void load_first(Block<K>& block, int i, int m, A const& a, B const& b) {
  block.a = a.load_first(i, m);
  if constexpr (K::operands == 2) block.b = b.load_first(i, m);
}
template <class K, class R1, class R2>
ORV_INLINE void store_first(Block<K> const& block, int i, int m, R1 const& r1, R2 const& r2) {
  if constexpr (K::results == 2) {
    r1.store_first(i, m, block.r.first);
    r2.store_first(i, m, block.r.second);
  } else {
    r1.store_first(i, m, block.r);
  }
}
// The last m elements of a vector whose others are done already and may have been changed by a callback.
template <class K, class R1, class R2>
[[gnu::noinline, gnu::cold]] void store_last(Block<K> const& block, int i, int m, R1 const& r1,
                                             R2 const& r2) {
  using Result = Lanes<typename K::Result>;
  alignas(32) typename K::Result lane[Result::count];
  auto each = [&](auto const& r, auto const& v) {
    Result::store(lane, v);
    for (int j = Result::count - m; j < Result::count; ++j)
      __builtin_memcpy(&r.at(i + j), &lane[j], sizeof lane[j]);
  };
  if constexpr (K::results == 2) {
    each(r1, block.r.first);
    each(r2, block.r.second);
  } else {
    each(r1, block.r);
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
    for (int u = 0; u < vectors; ++u) load_block(block[u], i + u * lanes, a, b);
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
    for (int u = 0; u < vectors; ++u) store_block(block[u], i + u * lanes, r1, r2);
  }
  return i;
}

// The whole call. One-operand kernels pass `a` as b as well, one-result kernels r1 as r2.
template <class K, class A, class B, class R1, class R2>
ORV_INLINE void run(ControlState const& control, K const& k, int n, A a, B b, R1 r1, R2 r2,
                    const char* name) {
  if (n <= 0) return;
  bool const errors_off = control.errors_off();
  constexpr int lanes = Lanes<typename K::Operand>::count, vectors = vectors_in_block<K>;
  constexpr bool dense = A::dense && B::dense && R1::dense && R2::dense;
  Block<K> last;
  if (dense && n >= lanes) load_block(last, n - lanes, a, b);
  int i = whole_vectors<vectors>(k, 0, n, a, b, r1, r2, errors_off, name);
  if constexpr (vectors > 1) i = whole_vectors<1>(k, i, n, a, b, r1, r2, errors_off, name);
  int const m = n - i;
  if (m == 0) return;
  if (dense && n >= lanes) {
    unsigned const marked = evaluate(k, last);
    if (marked) [[unlikely]] {
      constexpr unsigned all = (1u << lanes) - 1;
      finish(k, n - lanes, last, marked & ~(all >> m), a, b, r1, r2, errors_off, name);
      store_last(last, n - lanes, m, r1, r2);
    } else {
      store_block(last, n - lanes, r1, r2);
    }
  } else {
    load_first(last, i, m, a, b);
    unsigned const marked = evaluate(k, last) & ((1u << m) - 1);
    if (marked) [[unlikely]]
      finish(k, i, last, marked, a, b, r1, r2, errors_off, name);
    store_first(last, i, m, r1, r2);
  }
}

// One or two vectors, the second ending with the array. Writes nothing and returns false if a lane is marked.
template <class K, class A, class B, class R1, class R2>
ORV_INLINE bool run_short(K const& k, int n, A a, B b, R1 r1, R2 r2) {
  constexpr int lanes = Lanes<typename K::Operand>::count;
  Block<K> first;
  if (n <= lanes) {
    load_first(first, 0, n, a, b);
    if (evaluate(k, first)) [[unlikely]]
      return false;
    store_first(first, 0, n, r1, r2);
    return true;
  }
  Block<K> second;
  load_block(first, 0, a, b);
  load_block(second, n - lanes, a, b);
  if (unsigned const marked = evaluate(k, first); marked | evaluate(k, second)) [[unlikely]]
    return false;
  store_block(first, 0, r1, r2);
  store_block(second, n - lanes, r1, r2);
  return true;
}

template <class K, class A, class B, class R1, class R2>
[[gnu::noinline]] void run_long(K k, int n, A a, B b, R1 r1, R2 r2, const char* name) {
  ControlState const control;
  run(control, k, n, a, b, r1, r2, name);
}

// An entry's whole work on dense arrays.
template <class K, class A, class B, class R1, class R2>
ORV_INLINE void call(K const& k, int n, A a, B b, R1 r1, R2 r2, const char* name) {
  constexpr unsigned most = 2 * Lanes<typename K::Operand>::count;
  if (static_cast<unsigned>(n) - 1 < most && ControlState::in_force()) [[likely]] {
    if (run_short(k, n, a, b, r1, r2)) return;
  }
  run_long(k, n, a, b, r1, r2, name);
}

} // namespace orv::loop
