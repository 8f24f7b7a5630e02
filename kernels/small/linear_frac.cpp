// LinearFrac: (scalea a + shifta) / (scaleb b + shiftb), each operation rounded by itself. Whether an operand counts
// at all is seen once a call; one that does not is not read.
#include "kernels/loop/tables.h"

namespace orv {
namespace {

template <class T>
struct Scalars {
  T scalea, shifta, scaleb, shiftb;
};

// The same of two NaN everywhere, whatever the compiler makes of a loop.
template <class V, class T>
ORV_INLINE V linear(V x, T scale, T shift) {
  return simd::ordered_add(simd::ordered_multiply(V(scale), x), V(shift));
}

template <class T>
struct Fraction {
  using Operand = T;
  using Result = T;
  using V = simd::Vec<T>;
  static constexpr int operands = 2, results = 1;
  Scalars<T> s;
  V eval(V a, V b) const { return linear(a, s.scalea, s.shifta) / linear(b, s.scaleb, s.shiftb); }
};
template <class T>
struct OverConstant {
  using Operand = T;
  using Result = T;
  using V = simd::Vec<T>;
  static constexpr int operands = 1, results = 1;
  Scalars<T> s;
  T reciprocal;
  V eval(V a) const { return simd::ordered_multiply(linear(a, s.scalea, s.shifta), V(reciprocal)); }
};
template <class T>
struct ConstantOver {
  using Operand = T;
  using Result = T;
  using V = simd::Vec<T>;
  static constexpr int operands = 1, results = 1;
  Scalars<T> s;
  V eval(V b) const { return V(s.shifta) / linear(b, s.scaleb, s.shiftb); }
};

template <class T, Level>
struct LinearFrac {
  template <Name name>
  struct Entries {
    template <class A, class B, class R>
    static void choose(int n, A a, B b, Scalars<T> s, R r) {
      ControlState const control;
      s = {launder(s.scalea), launder(s.shifta), launder(s.scaleb), launder(s.shiftb)};
      if (s.scaleb == T(0))
        loop::run(control, OverConstant<T>{s, T(1) / s.shiftb}, n, a, a, r, r, report_name<name>.text);
      else if (s.scalea == T(0))
        loop::run(control, ConstantOver<T>{s}, n, b, b, r, r, report_name<name>.text);
      else
        loop::run(control, Fraction<T>{s}, n, a, b, r, r, report_name<name>.text);
    }
    static void contiguous(int n, const T* a, const T* b, T scalea, T shifta, T scaleb, T shiftb, T* r) {
      choose(n, loop::ContiguousIn<T>{a}, loop::ContiguousIn<T>{b},
             Scalars<T>{scalea, shifta, scaleb, shiftb}, loop::ContiguousOut<T>{r});
    }
    template <auto& pair, int k>
    static void strided(int n, const T* a, int inca, const T* b, int incb, T scalea, T shifta, T scaleb,
                        T shiftb, T* r, int incr) {
      if (inca == 1 && incb == 1 && incr == 1)
        return slot_of(pair, k)(n, a, b, scalea, shifta, scaleb, shiftb, r);
      choose(n, loop::StridedIn<T>{a, inca}, loop::StridedIn<T>{b, incb},
             Scalars<T>{scalea, shifta, scaleb, shiftb}, loop::StridedOut<T>{r, incr});
    }
  };
};

} // namespace
} // namespace orv

ORV_KERNEL(LinearFrac, orv::LinearFrac);
