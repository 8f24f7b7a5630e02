// Entry points of a kernel, and the exported tables that hold them.
//
// A kernel file ends with ORV_KERNEL(Exp): it defines the kernel and cost tables of sExp, sExpI, dExp and
// dExpI from the class template Exp<T, Level>, by the form and the relation of slots that the list of
// functions gives.
#pragma once
#include "frame/costs.h"
#include "frame/functions.h"
#include "kernels/loop/drive.h"

#include <algorithm>

namespace orv {

// A name as a template argument.
template <std::size_t N>
struct Name {
  char text[N];
  consteval Name(const char (&s)[N]) { std::copy_n(s, N, text); }
};

// What the six strided kernels report that spell their name with the I; all others leave it out.
template <Name name>
consteval auto strided_name() {
  constexpr std::string_view with_i[] = {"vsCbrt", "vsInvCbrt", "vsAcosh", "vsAsinh", "vzExp", "vzSqrt"};
  char text[sizeof(name.text) + 1] = {};
  std::copy_n(name.text, sizeof(name.text), text);
  if (std::ranges::find(with_i, std::string_view(name.text)) != std::end(with_i))
    text[sizeof(name.text) - 1] = 'I';
  return Name<sizeof(text)>(text);
}
template <Name name>
inline constexpr auto report_name = name;

// A kernel table and its cost table, side by side.
template <class F>
struct TablePair {
  F* slot[3];
  float cost[3];
};

// The slot as it stands in memory: a call through a table is never folded into a call of the kernel.
template <class F>
ORV_INLINE F* slot_of(TablePair<F> const& pair, int k) {
  F* const* slot = &pair.slot[k];
  __asm__("" : "+r"(slot));
  return *slot;
}

namespace loop {

// The entries of one kernel, by form. `pair` is the contiguous table, for strided calls with unit strides.
template <class K, Form form, Name name>
struct Entry;

template <class K, Name name>
struct Entry<K, Form::unary, name> {
  using A = typename K::Operand;
  using R = typename K::Result;
  static void contiguous(int n, const A* a, R* r) {
    ContiguousIn<A> const in{a};
    ContiguousOut<R> const out{r};
    call(K(), n, in, in, out, out, report_name<name>.text);
  }
  template <auto& pair, int k>
  static void strided(int n, const A* a, int inca, R* r, int incr) {
    if (inca == 1 && incr == 1) return slot_of(pair, k)(n, a, r);
    ControlState const control;
    StridedIn<A> const in{a, inca};
    StridedOut<R> const out{r, incr};
    run(control, K(), n, in, in, out, out, report_name<strided_name<name>()>.text);
  }
};

template <class K, Name name>
struct Entry<K, Form::real_to_complex, name> : Entry<K, Form::unary, name> {};
template <class K, Name name>
struct Entry<K, Form::complex_to_real, name> : Entry<K, Form::unary, name> {};

template <class K, Name name>
struct Entry<K, Form::binary, name> {
  using A = typename K::Operand;
  using R = typename K::Result;
  static void contiguous(int n, const A* a, const A* b, R* r) {
    ContiguousOut<R> const out{r};
    call(K(), n, ContiguousIn<A>{a}, ContiguousIn<A>{b}, out, out, report_name<name>.text);
  }
  template <auto& pair, int k>
  static void strided(int n, const A* a, int inca, const A* b, int incb, R* r, int incr) {
    if (inca == 1 && incb == 1 && incr == 1) return slot_of(pair, k)(n, a, b, r);
    ControlState const control;
    StridedOut<R> const out{r, incr};
    run(control, K(), n, StridedIn<A>{a, inca}, StridedIn<A>{b, incb}, out, out,
        report_name<strided_name<name>()>.text);
  }
};

template <class K, Name name>
struct Entry<K, Form::two_results, name> {
  using A = typename K::Operand;
  using R = typename K::Result;
  static void contiguous(int n, const A* a, R* r1, R* r2) {
    ContiguousIn<A> const in{a};
    call(K(), n, in, in, ContiguousOut<R>{r1}, ContiguousOut<R>{r2}, report_name<name>.text);
  }
  template <auto& pair, int k>
  static void strided(int n, const A* a, int inca, R* r1, int incr1, R* r2, int incr2) {
    if (inca == 1 && incr1 == 1 && incr2 == 1) return slot_of(pair, k)(n, a, r1, r2);
    ControlState const control;
    StridedIn<A> const in{a, inca};
    run(control, K(), n, in, in, StridedOut<R>{r1, incr1}, StridedOut<R>{r2, incr2},
        report_name<strided_name<name>()>.text);
  }
};

// A kernel with entries of its own (a template named Entries in its class) in place of those of its form.
template <class K, Form form, Name name>
struct EntryOf {
  using type = Entry<K, form, name>;
};
template <class K, Form form, Name name>
requires requires { typename K::template Entries<name>; }
struct EntryOf<K, form, name> {
  using type = typename K::template Entries<name>;
};

template <template <class, Level> class Kernel, class T, Form form, Slots slots, Name name, Level level>
using EntryAt = typename EntryOf<Kernel<T, kernel_level(slots, level)>, form, name>::type;

template <template <class, Level> class Kernel, class T, Form form, Slots slots, Name name>
consteval auto contiguous_pair(Costs cost) {
  using F = decltype(EntryAt<Kernel, T, form, slots, name, Level::LA>::contiguous);
  return TablePair<F>{{&EntryAt<Kernel, T, form, slots, name, Level::LA>::contiguous,
                       &EntryAt<Kernel, T, form, slots, name, Level::HA>::contiguous,
                       &EntryAt<Kernel, T, form, slots, name, Level::EP>::contiguous},
                      {cost.la, cost.ha, cost.ep}};
}
template <template <class, Level> class Kernel, class T, Form form, Slots slots, Name name, auto& pair>
consteval auto strided_pair(Costs cost) {
  constexpr int la = static_cast<int>(kernel_level(slots, Level::LA)),
                ha = static_cast<int>(kernel_level(slots, Level::HA)),
                ep = static_cast<int>(kernel_level(slots, Level::EP));
  using F = decltype(EntryAt<Kernel, T, form, slots, name, Level::LA>::template strided<pair, la>);
  return TablePair<F>{{&EntryAt<Kernel, T, form, slots, name, Level::LA>::template strided<pair, la>,
                       &EntryAt<Kernel, T, form, slots, name, Level::HA>::template strided<pair, ha>,
                       &EntryAt<Kernel, T, form, slots, name, Level::EP>::template strided<pair, ep>},
                      {cost.la, cost.ha, cost.ep}};
}

} // namespace loop
} // namespace orv

// The pair's own symbol is the kernel table; the cost table is an alias into it, and the thunks jump through
// a hidden alias, which needs no run-time relocation.
#ifdef _WIN32
#  define ORV_HIDDEN_ALIAS(pair)
#else
#  define ORV_HIDDEN_ALIAS(pair)                                                                             \
    ".globl orv_slots_" pair "\n\t.hidden orv_slots_" pair "\n\t.set orv_slots_" pair                        \
    ", orv_elw_kernel_" pair "_ttab\n\t.type orv_elw_kernel_" pair                                           \
    "_ctab, @object\n\t.size orv_elw_kernel_" pair "_ctab, 12\n"
#endif
#define ORV_STRING_(x) #x
#define ORV_STRING(x) ORV_STRING_(x)
#define ORV_SYMBOL_PREFIX ORV_STRING(__USER_LABEL_PREFIX__)
#define ORV_SLOT_BYTES ORV_STRING(__SIZEOF_POINTER__)
#define ORV_TABLE_ALIASES(pair)                                                                              \
  __asm__(".globl " ORV_SYMBOL_PREFIX "orv_elw_kernel_" pair "_ctab\n\t.set " ORV_SYMBOL_PREFIX              \
          "orv_elw_kernel_" pair "_ctab, " ORV_SYMBOL_PREFIX "orv_elw_kernel_" pair                          \
          "_ttab + 3 * " ORV_SLOT_BYTES "\n\t" ORV_HIDDEN_ALIAS(pair))

#define ORV_TYPED_KERNEL(x, T, name, Kernel)                                                                 \
  extern "C"                                                                                                 \
      __attribute__((visibility("default"), used)) constinit const auto orv_elw_kernel_##x##name##_ttab =    \
          orv::loop::contiguous_pair<Kernel, T, orv::function(#x[0], #name).form,                            \
                                     orv::function(#x[0], #name).slots, "v" #x #name>(orv::cost(#x #name));  \
  extern "C"                                                                                                 \
      __attribute__((visibility("default"), used)) constinit const auto orv_elw_kernel_##x##name##I_ttab =   \
          orv::loop::strided_pair<Kernel, T, orv::function(#x[0], #name).form,                               \
                                  orv::function(#x[0], #name).slots, "v" #x #name,                           \
                                  orv_elw_kernel_##x##name##_ttab>(orv::cost(#x #name "I"));                 \
  ORV_TABLE_ALIASES(#x #name);                                                                               \
  ORV_TABLE_ALIASES(#x #name "I")
#define ORV_KERNEL(name, Kernel)                                                                             \
  ORV_TYPED_KERNEL(s, float, name, Kernel);                                                                  \
  ORV_TYPED_KERNEL(d, double, name, Kernel)
