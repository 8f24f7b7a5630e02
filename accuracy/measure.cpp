#include "accuracy/measure.h"

#include "accuracy/points.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <mutex>
#include <thread>

namespace orv::accuracy {
namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();
constexpr std::size_t block = 4096;

struct Error {
  double ulp, relative; // relative: 0 where the exact value is not normal
  bool wrong_sign = false;
};

// The decision: in units of the last place of the correctly rounded value, below the normal range of the smallest
// denormal. Next to the overflow limit an infinity stands for the power of two behind the largest value.
template <class T>
Error decide(T result, Big const& exact, bool zero_sign) {
  using L = std::numeric_limits<T>;
  if (exact.nan()) return std::isnan(result) ? Error{0, 0} : Error{infinite, 1};
  if (std::isnan(result)) return {infinite, 1};
  if (exact.infinite())
    return std::isinf(result) && std::signbit(result) == exact.negative() ? Error{0, 0} : Error{infinite, 1};
  long const exponent = exact.zero() ? L::min_exponent : mpfr_get_exp(exact.get());
  long const unit = std::min<long>(std::max<long>(exponent, L::min_exponent), L::max_exponent) - L::digits;
  Big got(static_cast<double>(result));
  bool const overflowed = std::isinf(result);
  if (overflowed) {
    if (std::signbit(result) != exact.negative()) return {infinite, 1};
    // The exact value rounds to infinity too?
    if (exponent > L::max_exponent) return {0, 0};
    mpfr_set_ui_2exp(got.get(), 1, L::max_exponent, MPFR_RNDN);
    if (exact.negative()) got = -got;
  }
  Big difference = fabs(got - exact);
  Error error{0, 0};
  if (!difference.zero()) {
    Big scaled;
    mpfr_mul_2si(scaled.get(), difference.get(), -unit, MPFR_RNDN);
    error.ulp = scaled.rounded();
    if (overflowed && error.ulp <= 0.5) return {0, 0};
    if (exponent >= L::min_exponent && !exact.zero()) error.relative = (difference / fabs(exact)).rounded();
    if ((overflowed || exponent > L::max_exponent) && error.ulp >= 1e6) return {infinite, 1};
  }
  if (result == 0 && zero_sign && std::signbit(result) != exact.negative()) error.wrong_sign = true;
  return error;
}

// 2^(digits - exponent) of |x|'s binade, clamped to the normal range of T: a difference times it is in ulps.
template <class T>
double scale_of(double x) {
  int const field = static_cast<int>(std::bit_cast<uint64_t>(x) >> 52 & 0x7FF);
  int const exponent = std::max(field - 1022, std::numeric_limits<T>::min_exponent);
  return std::bit_cast<double>(static_cast<uint64_t>(1023 + std::numeric_limits<T>::digits - exponent) << 52);
}
template <class T>
long double scale_of(long double x) {
  struct {
    uint64_t mantissa;
    uint16_t exponent;
    char unused[6];
  } parts;
  static_assert(sizeof(long double) == sizeof parts);
  std::memcpy(&parts, &x, sizeof parts);
  int const exponent = std::max((parts.exponent & 0x7FFF) - 16382, std::numeric_limits<T>::min_exponent);
  parts.mantissa = uint64_t{1} << 63;
  parts.exponent = static_cast<uint16_t>(16383 + std::numeric_limits<T>::digits - exponent);
  std::memcpy(&x, &parts, sizeof parts);
  return x;
}

// The maximum of several threads, always at the same argument: of equal errors that of the least place counts.
struct Best {
  double value = 0;
  uint64_t place = ~uint64_t{0};
  Parts at{};
  bool take(double v, uint64_t where) {
    if (!(v > value || (v == value && v > 0 && where < place))) return false;
    value = v;
    place = where;
    return true;
  }
};
struct LevelState {
  Best ulp, relative;
  uint64_t points = 0, wrong_signs = 0, sign_place = ~uint64_t{0};
  Parts sign_at{};
};
using State = std::array<LevelState, 3>;

// A run of arguments: of a region (none: general ones), or bit patterns.
struct Item {
  enum class Kind { general, region, patterns, landmarks } kind;
  Region const* region;
  uint64_t first, count, seed;
};

template <class T>
class Work {
  using W = std::conditional_t<sizeof(T) == 4, double, long double>;

 public:
  Work(Subject const& subject, Reference const& reference, Plan const& plan)
      : subject_(subject), reference_(reference), plan_(plan), shape_(reference.shape),
        slack_(reference.quick_error * (sizeof(T) == 4 ? 0x1p-29 : 0x1p-11)) {}

  std::array<WorstCase, 3> run() {
    auto const items = make_items();
    unsigned const threads = std::max(1u, std::thread::hardware_concurrency());
    std::vector<State> states(threads);
    std::vector<Profile> profiles(threads);
    std::atomic<std::size_t> next{0}, done{0};
    std::mutex reporting;
    std::vector<std::thread> running;
    for (unsigned t = 0; t < threads; ++t)
      running.emplace_back([&, t] {
        ErrorLog quiet; // nothing else happens at a numerical error
        if (plan_.profile) {
          profiles[t] = *plan_.profile;
          for (auto& level : profiles[t].ulp) level.assign(bins(), -1.0f);
        }
        Buffers buffers(shape_);
        for (std::size_t i; (i = next++) < items.size();) {
          go_over(items[i], static_cast<uint64_t>(i) << 32, buffers, states[t],
                  plan_.profile ? &profiles[t] : nullptr);
          std::size_t const finished = ++done;
          if (plan_.progress && finished % 16 == 0) {
            std::scoped_lock lock(reporting);
            plan_.progress(static_cast<double>(finished) / static_cast<double>(items.size()));
          }
        }
      });
    for (std::thread& thread : running) thread.join();
    if (plan_.profile) merge_profiles(profiles);
    return merge(states);
  }

 private:
  // An argument with a large error by its quick value. Each run of arguments has its own, so that what is resolved
  // does not depend on the order in which threads take the runs.
  struct Suspect {
    double ulp = 0;
    uint64_t place = 0;
    Parts at{};
    std::array<T, 4> r{};
  };
  struct Suspects {
    static constexpr std::size_t most = sizeof(T) == 4 ? 1 : 8;
    double ulp = 0, relative = 0;
    std::vector<Suspect> by_ulp; // within the quick value's error of the largest
    Suspect by_relative;
    void add(Suspect const& s, double slack) {
      if (s.ulp > ulp) {
        ulp = s.ulp;
        std::erase_if(by_ulp, [&](Suspect const& old) { return old.ulp <= ulp - slack; });
      }
      if (by_ulp.size() < most) {
        by_ulp.push_back(s);
        return;
      }
      auto const least = std::min_element(by_ulp.begin(), by_ulp.end(),
                                          [](Suspect const& a, Suspect const& b) { return a.ulp < b.ulp; });
      if (least->ulp < s.ulp) *least = s;
    }
  };
  struct Buffers {
    explicit Buffers(Shape const& s)
        : parts(block * most_parts), a(block * 2), b(block * 2), exact(block * 4), decided(block) {
      for (auto& level : r) level.resize(block * static_cast<std::size_t>(s.out()));
    }
    std::vector<T> parts, a, b;
    std::array<std::vector<T>, 3> r;
    std::vector<W> exact;
    std::vector<char> decided; // whether the quick reference answered
  };

  std::size_t bins() const {
    return static_cast<std::size_t>(plan_.profile->columns) * static_cast<std::size_t>(plan_.profile->rows);
  }

  std::vector<Item> make_items() const {
    std::vector<Item> items;
    constexpr uint64_t piece = 16 * block;
    uint64_t seed = plan_.seed << 32;
    auto add = [&](Item::Kind kind, Region const* region, uint64_t count) {
      for (uint64_t i = 0; i < count; i += piece)
        items.push_back({kind, region, i, std::min(piece, count - i), ++seed});
    };
    if (plan_.exhaustive) {
      add(Item::Kind::patterns, nullptr, uint64_t{1} << 32);
      return items;
    }
    if (reference_.general && shape_.in() <= 2) {
      uint64_t const choices = landmark_choices();
      add(Item::Kind::landmarks, nullptr, shape_.in() == 2 ? choices * choices : choices);
    }
    std::vector<Region const*> sampled;
    for (Region const& r : regions())
      if (r.serves(subject_.name, subject_.type)) {
        if (r.count())
          add(Item::Kind::region, &r, r.count());
        else
          sampled.push_back(&r);
      }
    uint64_t const share = sampled.empty() ? 0 : plan_.points / (reference_.general ? 2 : 1) / sampled.size();
    if (reference_.general) add(Item::Kind::general, nullptr, plan_.points - share * sampled.size());
    for (Region const* r : sampled) add(Item::Kind::region, r, share);
    return items;
  }

  // The operands' parts of `count` arguments, those of one argument side by side.
  void fill(Item const& item, uint64_t first, std::size_t count, Draw<T>& random, T* parts) const {
    auto const step = static_cast<std::size_t>(shape_.in());
    for (std::size_t i = 0; i < count; ++i) {
      T* const x = parts + i * step;
      switch (item.kind) {
      case Item::Kind::patterns:
        *x = std::bit_cast<T>(static_cast<BitsOf<T>>(first + i));
        break;
      case Item::Kind::landmarks:
        landmark(first + i, x);
        break;
      case Item::Kind::general:
        general(random, x);
        break;
      case Item::Kind::region:
        general(random, x); // those of one operand leave the rest as it is
        if (item.region->count())
          *x = item.region->template number<T>(first + i);
        else
          item.region->draw(random, x);
      }
    }
  }
  void general(Draw<T>& random, T* x) const {
    if (shape_.operand_parts == 2)
      random.complex(x, shape_.operands);
    else if (shape_.operands == 2)
      random.two(x[0], x[1]);
    else
      *x = random.one();
  }
  // Both signs; no infinities in complex numbers.
  uint64_t landmark_choices() const { return 2 * (landmarks<T>().size() - (shape_.operand_parts == 2)); }
  void landmark(uint64_t i, T* x) const {
    auto const choices = landmark_choices();
    for (int k = 0; k < shape_.in(); ++k, i /= choices) {
      T const v = landmarks<T>()[i % choices / 2];
      x[k] = i % 2 ? -v : v;
    }
  }

  void go_over(Item const& item, uint64_t place, Buffers& buffers, State& state, Profile* profile) const {
    Draw<T> random(item.seed);
    std::array<Suspects, 3> suspects;
    for (uint64_t at = 0; at < item.count; at += block) {
      auto const n = static_cast<std::size_t>(std::min<uint64_t>(block, item.count - at));
      fill(item, item.first + at, n, random, buffers.parts.data());
      compute(buffers, n);
      for (std::size_t level = 0; level < 3; ++level)
        compare(buffers, n, level, place + at, suspects[level], state[level]);
      if (profile) draw(buffers, n, *profile);
    }
    for (std::size_t level = 0; level < 3; ++level) judge(suspects[level], level, state[level]);
  }

  // All levels and the quick reference.
  void compute(Buffers& x, std::size_t n) const {
    auto const step = static_cast<std::size_t>(shape_.in()),
               part = static_cast<std::size_t>(shape_.operand_parts),
               out = static_cast<std::size_t>(shape_.out());
    for (std::size_t i = 0; i < n; ++i) {
      for (std::size_t k = 0; k < part; ++k) x.a[i * part + k] = x.parts[i * step + k];
      if (shape_.operands == 2)
        for (std::size_t k = 0; k < part; ++k) x.b[i * part + k] = x.parts[i * step + part + k];
    }
    for (std::size_t level = 0; level < 3; ++level) {
      T* const r = x.r[level].data();
      Arrays arrays{.a = x.a.data(), .b = x.b.data(), .r1 = r, .r2 = r + (shape_.results == 2 ? n : 0)};
      for (std::size_t k = 0; k < 4; ++k) arrays.scalars[k] = plan_.scalars[k];
      subject_.call(static_cast<Level>(level), arrays, n);
    }
    W in[most_parts + 4];
    for (std::size_t k = 0; k < 4; ++k) in[step + k] = static_cast<W>(static_cast<T>(plan_.scalars[k]));
    for (std::size_t i = 0; i < n; ++i) {
      for (std::size_t k = 0; k < step; ++k) in[k] = static_cast<W>(x.parts[i * step + k]);
      W* const r = &x.exact[i * out];
      if constexpr (sizeof(T) == 4)
        x.decided[i] = reference_.quick(in, r);
      else
        x.decided[i] = reference_.quick_wide(in, r);
    }
  }

  T result(Buffers const& x, std::size_t level, std::size_t n, std::size_t i, std::size_t k) const {
    // Two results are arrays of their own, the parts of one are side by side.
    return shape_.results == 2 ? x.r[level][k * n + i]
                               : x.r[level][i * static_cast<std::size_t>(shape_.result_parts) + k];
  }

  // The error of one part by the quick value; negative if it cannot tell.
  static double quick_ulp(T result, W exact) {
    constexpr W largest = static_cast<W>(std::numeric_limits<T>::max());
    if (!(std::fabs(exact) <= largest) || !(std::fabs(result) <= std::numeric_limits<T>::max())) {
      if (exact != exact && result != result) return 0;
      bool const overflows =
          std::fabs(exact) >= largest * (1 + static_cast<W>(std::numeric_limits<T>::epsilon()));
      return overflows && std::isinf(result) && (result > 0) == (exact > 0) ? 0 : -1;
    }
    if (result == 0 && std::signbit(result) != std::signbit(exact)) return -1;
    return static_cast<double>(std::fabs(static_cast<W>(result) - exact) * scale_of<T>(exact));
  }

  // The error of an argument by its quick value, all parts together; ulp is negative if it cannot tell.
  Error quick_error(Buffers const& x, std::size_t n, std::size_t level, std::size_t i) const {
    if (!x.decided[i]) return {-1, 0};
    auto const out = static_cast<std::size_t>(shape_.out());
    const W* const exact = &x.exact[i * out];
    constexpr W smallest = static_cast<W>(std::numeric_limits<T>::min());
    if (reference_.modulus >> level & 1) {
      T const r[] = {result(x, level, n, i, 0), result(x, level, n, i, 1)};
      W const off = std::hypot(static_cast<W>(r[0]) - exact[0], static_cast<W>(r[1]) - exact[1]),
              size = std::hypot(exact[0], exact[1]);
      if (!(size < static_cast<W>(std::numeric_limits<T>::max() / 2)) || !(off < size * 2)) return {-1, 0};
      return {static_cast<double>(off * scale_of<T>(size)),
              size >= smallest ? static_cast<double>(off / size) : 0};
    }
    Error all{0, 0};
    for (std::size_t k = 0; k < out; ++k) {
      T const r = result(x, level, n, i, k);
      double const ulp = quick_ulp(r, exact[k]);
      if (ulp < 0) return {-1, 0};
      if (ulp == 0) continue;
      W const size = std::fabs(exact[k]);
      all.ulp = std::max(all.ulp, ulp);
      if (size >= smallest)
        all.relative =
            std::max(all.relative, static_cast<double>(std::fabs(static_cast<W>(r) - exact[k]) / size));
    }
    return all;
  }

  // Collects the arguments that may be the worst of the run; those that the quick value cannot judge are resolved at
  // once.
  void compare(Buffers const& x, std::size_t n, std::size_t level, uint64_t place, Suspects& suspects,
               LevelState& state) const {
    state.points += n;
    for (std::size_t i = 0; i < n; ++i) {
      Error const e = quick_error(x, n, level, i);
      if (e.ulp == 0) continue;
      bool const near_worst = e.ulp > suspects.ulp - slack_, relative_worst = e.relative > suspects.relative;
      if (e.ulp > 0 && !near_worst && !relative_worst) continue;
      Suspect const one{e.ulp, place + i, place_of(x, i), results_of(x, n, level, i)};
      if (e.ulp < 0) {
        if (state.ulp.value < infinite || state.wrong_signs == 0) resolve(one, level, state);
        continue;
      }
      if (relative_worst) {
        suspects.relative = e.relative;
        suspects.by_relative = one;
      }
      if (near_worst) suspects.add(one, slack_);
    }
  }

  // What the quick values left over of a run of arguments.
  void judge(Suspects& suspects, std::size_t level, LevelState& state) const {
    for (Suspect const& s : suspects.by_ulp) resolve(s, level, state);
    if (suspects.relative > 0) resolve(suspects.by_relative, level, state);
  }

  std::array<T, 4> results_of(Buffers const& x, std::size_t n, std::size_t level, std::size_t i) const {
    std::array<T, 4> r{};
    for (std::size_t k = 0; k < static_cast<std::size_t>(shape_.out()); ++k) r[k] = result(x, level, n, i, k);
    return r;
  }

  Parts place_of(Buffers const& x, std::size_t i) const {
    Parts at{};
    auto const step = static_cast<std::size_t>(shape_.in());
    for (std::size_t k = 0; k < step; ++k) at[k] = static_cast<double>(x.parts[i * step + k]);
    return at;
  }

  // An argument that may be the worst, by 256 bits.
  void resolve(Suspect const& suspect, std::size_t level, LevelState& state) const {
    Parts const& at = suspect.at;
    uint64_t const place = suspect.place;
    thread_local std::array<Big, most_parts + 4> in;
    thread_local std::array<Big, 4> exact;
    auto const step = static_cast<std::size_t>(shape_.in()), out = static_cast<std::size_t>(shape_.out());
    for (std::size_t k = 0; k < step; ++k) mpfr_set_d(in[k].get(), at[k], MPFR_RNDN);
    for (std::size_t k = 0; k < 4; ++k)
      mpfr_set_d(in[step + k].get(), static_cast<double>(static_cast<T>(plan_.scalars[k])), MPFR_RNDN);
    reference_.exact(in.data(), exact.data());
    Error worst{0, 0};
    if (reference_.modulus >> level & 1) {
      worst = by_modulus({suspect.r[0], suspect.r[1]}, exact[0], exact[1]);
    } else {
      for (std::size_t k = 0; k < out; ++k) {
        Error const e = decide<T>(suspect.r[k], exact[k], reference_.zero_sign);
        worst.ulp = std::max(worst.ulp, e.ulp);
        worst.relative = std::max(worst.relative, e.relative);
        worst.wrong_sign |= e.wrong_sign;
      }
    }
    if (state.ulp.take(worst.ulp, place)) state.ulp.at = at;
    if (state.relative.take(worst.relative, place)) state.relative.at = at;
    if (worst.wrong_sign) {
      ++state.wrong_signs;
      if (place < state.sign_place) {
        state.sign_place = place;
        state.sign_at = at;
      }
    }
  }

  // The distance of two complex numbers in units of the last place of the exact one's modulus.
  static Error by_modulus(std::array<T, 2> r, Big const& re, Big const& im) {
    Big const size = hypot(re, im);
    if (size.nan() || size.infinite() || !std::isfinite(r[0]) || !std::isfinite(r[1])) {
      Error const e = decide<T>(r[0], re, false), f = decide<T>(r[1], im, false);
      return {std::max(e.ulp, f.ulp), std::max(e.relative, f.relative)};
    }
    Big const off = hypot(Big(static_cast<double>(r[0])) - re, Big(static_cast<double>(r[1])) - im);
    using L = std::numeric_limits<T>;
    long const exponent = size.zero() ? L::min_exponent : mpfr_get_exp(size.get());
    Big scaled;
    mpfr_mul_2si(scaled.get(), off.get(), L::digits - std::max<long>(exponent, L::min_exponent), MPFR_RNDN);
    return {scaled.rounded(), exponent >= L::min_exponent ? (off / size).rounded() : 0};
  }

  // The column of a number: in its range, or by the order of all numbers.
  static int column(T x, double low, double high, int columns) {
    double part;
    if (low < high) {
      part = (static_cast<double>(x) - low) / (high - low);
    } else {
      using Signed = std::conditional_t<sizeof(T) == 4, int32_t, int64_t>;
      auto const order = static_cast<double>(std::bit_cast<Signed>(std::fabs(x)));
      constexpr double all = static_cast<double>(std::bit_cast<Signed>(std::numeric_limits<T>::infinity()));
      part = 0.5 + 0.5 * (std::signbit(x) ? -order : order) / all;
    }
    if (!(part >= 0 && part <= 1)) return -1;
    return std::min(static_cast<int>(part * columns), columns - 1);
  }

  void draw(Buffers const& x, std::size_t n, Profile& profile) const {
    auto const step = static_cast<std::size_t>(shape_.in()), out = static_cast<std::size_t>(shape_.out());
    for (std::size_t i = 0; i < n; ++i) {
      if (!x.decided[i]) continue;
      int const c = column(x.parts[i * step], profile.low, profile.high, profile.columns);
      int const row = profile.rows > 1
                          ? column(x.parts[i * step + 1], profile.row_low, profile.row_high, profile.rows)
                          : 0;
      if (c < 0 || row < 0) continue;
      auto const bin = static_cast<std::size_t>(row * profile.columns + c);
      for (std::size_t level = 0; level < 3; ++level)
        for (std::size_t k = 0; k < out; ++k) {
          double const ulp = quick_ulp(result(x, level, n, i, k), x.exact[i * out + k]);
          if (ulp >= 0) profile.ulp[level][bin] = std::max(profile.ulp[level][bin], static_cast<float>(ulp));
        }
    }
  }

  void merge_profiles(std::vector<Profile> const& profiles) const {
    for (std::size_t level = 0; level < 3; ++level) {
      auto& sum = plan_.profile->ulp[level];
      sum.assign(bins(), -1.0f);
      for (Profile const& p : profiles)
        for (std::size_t i = 0; i < sum.size(); ++i) sum[i] = std::max(sum[i], p.ulp[level][i]);
    }
  }

  static std::array<WorstCase, 3> merge(std::vector<State> const& states) {
    std::array<WorstCase, 3> worst;
    for (std::size_t level = 0; level < 3; ++level) {
      Best ulp, relative;
      uint64_t sign_place = ~uint64_t{0};
      WorstCase& w = worst[level];
      for (State const& state : states) {
        LevelState const& s = state[level];
        if (ulp.take(s.ulp.value, s.ulp.place)) ulp.at = s.ulp.at;
        if (relative.take(s.relative.value, s.relative.place)) relative.at = s.relative.at;
        w.points += s.points;
        w.wrong_signs += s.wrong_signs;
        if (s.wrong_signs && s.sign_place < sign_place) {
          sign_place = s.sign_place;
          w.sign_at = s.sign_at;
        }
      }
      w.ulp = ulp.value;
      w.ulp_at = ulp.at;
      w.relative = relative.value;
      w.bits_at = relative.at;
    }
    return worst;
  }

  Subject const& subject_;
  Reference const& reference_;
  Plan const& plan_;
  Shape const shape_;
  double const slack_; // how far the quick reference may be off, in units of T
};

} // namespace

Subject subject(Elementwise const& function) {
  return {function.function().name, function.function().type,
          [&function](Level level, Arrays const& arrays, std::size_t n) { function.call(level, arrays, n); }};
}

std::array<WorstCase, 3> measure(Subject const& subject, Reference const& reference, Plan const& plan) {
  if (subject.type == 's' || subject.type == 'c') return Work<float>(subject, reference, plan).run();
  return Work<double>(subject, reference, plan).run();
}

WorstCase error_at(double result, Big const& exact, char type, bool zero_sign) {
  Error const e =
      type == 's' ? decide(static_cast<float>(result), exact, zero_sign) : decide(result, exact, zero_sign);
  WorstCase w;
  w.ulp = e.ulp;
  w.relative = e.relative;
  w.wrong_signs = e.wrong_sign;
  w.points = 1;
  return w;
}

double WorstCase::bits() const { return relative > 0 ? -std::log2(relative) : 999; }

bool keeps_bound(orv::Function const& f, Level level, WorstCase const& worst) {
  if (worst.wrong_signs) return false;
  // Bounds of 1 and 4 are strict, those of exact and correctly rounded functions are reached.
  auto below = [](double ulp, double bound) { return bound >= 1 ? ulp < bound : ulp <= bound; };
  switch (level) {
  case Level::LA:
    return below(worst.ulp, f.la_ulp);
  case Level::HA:
    return below(worst.ulp, f.ha_ulp);
  case Level::EP:
    return worst.bits() >= f.ep_bits || below(worst.ulp, f.la_ulp);
  }
  return false;
}

namespace {
std::string join(Parts const& x, int parts, auto form) {
  std::string text;
  for (int i = 0; i < parts; ++i) text += (i ? " " : "") + std::string(form(x[static_cast<std::size_t>(i)]));
  return text;
}
} // namespace

std::string hexadecimal(Parts const& x, int parts, char) {
  char buffer[64];
  return join(x, parts, [&](double v) {
    std::snprintf(buffer, sizeof buffer, "%a", v);
    return buffer;
  });
}
std::string decimal(Parts const& x, int parts, char type) {
  char buffer[64];
  return join(x, parts, [&](double v) {
    std::snprintf(buffer, sizeof buffer, type == 's' || type == 'c' ? "%.9g" : "%.17g", v);
    return buffer;
  });
}

} // namespace orv::accuracy
