// SinCos: sine and cosine of one argument, to two arrays; CIS: to the parts of a complex number, cos x + i sin x.
// Method: kernels/trig/sine.h. At HA in double precision both come from one row of the table.
#include "kernels/loop/tables.h"
#include "kernels/trig/sine.h"

namespace orv {
namespace {

template <class T, Level level>
struct Both {
  using V = simd::Vec<T>;
  using S = trig::Sine<T, level, false>;
  using C = trig::Sine<T, level, true>;
  struct Value {
    V sine, cosine;
  };
  ORV_INLINE static Value eval(V x) {
    if constexpr (sizeof(T) == 8 && level == Level::HA)
      return of_turn(x, S::steps_of_pi(simd::magnitude(x)));
    else if constexpr (sizeof(T) == 4 && level == Level::LA)
      return {S::template eval<true>(x), C::template eval<true>(x)};
    else
      return {S::eval(x), C::eval(x)};
  }
  static Value far(V x) {
    if constexpr (sizeof(T) == 8)
      return of_turn(x, trig::reduce_large(x));
    else
      return {S::far(x), C::far(x)};
  }

 private:
  ORV_INLINE static Value of_turn(V x, trig::Turn const& t) {
    trig::SineCosine const row = trig::steps_of(t);
    return {trig::sine(row, t.r, t.r_low) ^ simd::sign_of(x), trig::cosine(row, t.r, t.r_low)};
  }
};

template <class T, Level level>
struct SinCos {
  using Operand = T;
  using Result = T;
  using V = simd::Vec<T>;
  using Body = Both<T, level>;
  static constexpr int operands = 1, results = 2;
  loop::Pair<V> eval(V x) const {
    auto const v = Body::eval(x);
    return {v.sine, v.cosine};
  }
  unsigned special(V x, loop::Pair<V>) const { return simd::lane_bits(trig::above_limit(x, Body::S::limit)); }
  unsigned far(V x, loop::Pair<V>& r, unsigned lanes) const {
    auto const above = trig::above_limit(x, Body::S::limit);
    auto const v = Body::far(x);
    r = {simd::choose(above, v.sine, r.first), simd::choose(above, v.cosine, r.second)};
    return trig::left_to_repair(x, lanes);
  }
  int repair(T x, T& r1, T& r2) const {
    int const status = trig::repair_not_finite(x, r1);
    r2 = r1;
    return status;
  }
};

template <class T, Level level>
struct CIS {
  using Operand = T;
  using Result = Complex<T>;
  using V = simd::Vec<T>;
  using Body = Both<T, level>;
  static constexpr int operands = 1, results = 1;
  loop::ComplexVec<T> eval(V x) const {
    auto const v = Body::eval(x);
    return {v.cosine, v.sine};
  }
  unsigned special(V x, loop::ComplexVec<T>) const {
    return simd::lane_bits(trig::above_limit(x, Body::S::limit));
  }
  unsigned far(V x, loop::ComplexVec<T>& r, unsigned lanes) const {
    auto const above = trig::above_limit(x, Body::S::limit);
    auto const v = Body::far(x);
    r = {simd::choose(above, v.cosine, r.re), simd::choose(above, v.sine, r.im)};
    return trig::left_to_repair(x, lanes);
  }
  int repair(T x, Complex<T>& r) const {
    int const status = trig::repair_not_finite(x, r.re);
    r.im = r.re;
    return status;
  }
};

} // namespace
} // namespace orv

ORV_KERNEL(SinCos, orv::SinCos);
ORV_TYPED_KERNEL(c, float, CIS, orv::CIS);
ORV_TYPED_KERNEL(z, double, CIS, orv::CIS);
