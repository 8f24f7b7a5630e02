// Interpolation: every kind against its polynomial, layouts, derivative sets, callbacks, given cells, look-up
// and steps, statuses, threads.
#include "support.h"

using namespace fit_test;

namespace {

template <class T>
class Interpolation : public testing::Test {};
using Reals = testing::Types<double, float>;
TYPED_TEST_SUITE(Interpolation, Reals);

template <class T>
int expected_piece(std::vector<T> const& x, T s) {
  auto const cell = std::upper_bound(x.begin(), x.end(), s) - x.begin();
  return static_cast<int>(std::clamp<ptrdiff_t>(cell - 1, 0, static_cast<ptrdiff_t>(x.size()) - 2));
}

// Derivative r of the polynomial, and the size of its terms for an error bound.
template <class T>
std::pair<long double, long double> polynomial(T const* c, int order, long double t, int r) {
  long double sum = 0, size = 0;
  for (int k = order - 1; k >= r; --k) {
    long double f = 1;
    for (int i = 0; i < r; ++i) f *= k - i;
    long double const term = c[k] * f * std::pow(t, k - r);
    sum += term, size += std::fabs(term);
  }
  return {sum, size};
}

struct KindCase {
  int order, type;
};
constexpr KindCase kinds[] = {{2, 0}, {3, 0}, {3, 1}, {4, 5}, {7, 0}, {13, 0}};

// A task of a kind with random coefficients: evaluation doesn't ask where they come from.
template <class T>
struct RandomSpline : Task<T> {
  std::vector<T> knots, full;
  KindCase kind;
  RandomSpline(KindCase k, Shape shape, int n, int functions, std::mt19937_64& g)
      : Task<T>(partition<T>(shape, n, g), random_values<T>(static_cast<size_t>(n * functions), g), functions,
                shape == Shape::Even ? DFUniform : DFNonUniform),
        kind(k) {
    full = partition<T>(shape, n, g);
    if (shape != Shape::Even) full = this->x;
    knots.assign(static_cast<size_t>(n + 1), full.front());
    knots.back() = full.back();
    for (size_t i = 1; i < static_cast<size_t>(n); ++i)
      knots[i] = full[i - 1] + (full[i] - full[i - 1]) * T(0.375);
    bool const with_knots = k.type == 1;
    this->spline(k.order, k.type, 2, nullptr, with_knots ? 8 : 0, with_knots ? knots.data() : nullptr);
    this->coefficients = random_values<T>(this->coefficients.size(), g);
    EXPECT_EQ(Entries<T>::edit_pointer(this->task, DFParamCoeffs, this->coefficients.data()), 0);
  }
  // Expected value and error bound of derivative r of function j at s.
  std::pair<long double, long double> want(int j, T s, int r) const {
    int p = expected_piece(full, s);
    if (kind.type == 1 && s >= knots[static_cast<size_t>(p + 1)]) ++p;
    T const t = s - full[static_cast<size_t>(p)];
    return polynomial(this->row(j) + kind.order * p, kind.order, t, r);
  }
};

template <class T>
std::vector<T> sites_around(std::vector<T> const& x, size_t count, std::mt19937_64& g) {
  auto s = random_values<T>(count, g, x.front() - T(0.5), x.back() + T(0.5));
  for (size_t i = 0; i < count; i += 3) s[i] = x[g() % x.size()];
  if (count > 4) s[1] = x.back(), s[2] = x.front();
  return s;
}

TYPED_TEST(Interpolation, EveryKindEvaluatesItsPolynomials) {
  using T = TypeParam;
  std::mt19937_64 g(21);
  long double worst = 0;
  for (auto const& kind : kinds)
    for (Shape const shape : {Shape::Even, Shape::Random})
      for (int const functions : {1, 3}) {
        RandomSpline<T> const task(kind, shape, 40, functions, g);
        for (auto const& orders :
             std::vector<std::vector<int32_t>>{{1}, {}, {0, 0}, {1, 1}, {0, 1}, {1, 0, 1, 1, 0, 1}})
          for (size_t const count : {1, 3, 63, 64, 65, 200}) {
            auto sites = sites_around(task.full, count, g);
            if (kind.type == 1) // exactly on knots between breaks, which begin a piece
              for (size_t i = 0; i < count; i += 4) sites[i] = task.knots[1 + g() % 39];
            auto const r = task.at(sites, orders);
            std::vector<int> asked;
            for (size_t k = 0; k < orders.size(); ++k)
              if (orders[k]) asked.push_back(static_cast<int>(k));
            if (asked.empty()) asked = {0};
            for (int j = 0; j < functions; ++j)
              for (size_t i = 0; i < count; ++i)
                for (size_t d = 0; d < asked.size(); ++d) {
                  auto const [want, size] = task.want(j, sites[i], asked[d]);
                  T const got = r[(static_cast<size_t>(j) * count + i) * asked.size() + d];
                  long double const error = std::fabs(got - want),
                                    unit = size * std::numeric_limits<T>::epsilon();
                  ASSERT_LE(error, 8 * kind.order * unit)
                      << kind.order << " " << kind.type << " site " << sites[i];
                  if (asked[d] >= kind.order) {
                    ASSERT_EQ(got, 0);
                  }
                  if (unit > 0) worst = std::max(worst, error / unit);
                }
          }
      }
  std::printf("[ accuracy ] %s evaluation: %.2Lf ulp of the sum of terms\n",
              sizeof(T) == 8 ? "double" : "float ", worst);
}

TYPED_TEST(Interpolation, LayoutsThreadsAndGroupsGiveTheSameBits) {
  using T = TypeParam;
  std::mt19937_64 g(22);
  for (auto const& kind : kinds)
    for (Shape const shape : {Shape::Even, Shape::Random}) {
      int const functions = 3;
      RandomSpline<T> const task(kind, shape, 300, functions, g);
      for (size_t const count : {50, 500, 513, 1500, 5000})
        for (auto const& orders : std::vector<std::vector<int32_t>>{{1}, {1, 1, 0, 1}}) {
          auto sites = sites_around(task.full, count, g);
          std::sort(sites.begin(), sites.end());
          auto const q = static_cast<size_t>(std::count(orders.begin(), orders.end(), 1));
          auto const base = task.at(sites, orders);
          for (int64_t const layout : {0, 16, 128, 32, 256, 512})
            for (DFThreader const* threader : {static_cast<DFThreader const*>(nullptr), &serial, &parallel})
              for (int64_t const hint : {0, 64}) {
                auto const r = task.at(sites, orders, layout, threader, hint);
                for (size_t j = 0; j < 3; ++j)
                  for (size_t s = 0; s < count; ++s)
                    for (size_t d = 0; d < q; ++d) {
                      size_t const at = layout == 32    ? (j * q + d) * count + s
                                        : layout == 256 ? (s * 3 + j) * q + d
                                        : layout == 512 ? (s * q + d) * 3 + j
                                                        : (j * count + s) * q + d;
                      ASSERT_EQ(r[at], base[(j * count + s) * q + d]);
                    }
              }
          // One site alone has the same bits as in a list.
          for (size_t i : {size_t{0}, count / 2}) ASSERT_EQ(task.at({sites[i]}, orders)[0], base[i * q]);
        }
    }
}

TYPED_TEST(Interpolation, SpreadSitesFlagWidthsAndGivenCells) {
  using T = TypeParam;
  using E = Entries<T>;
  std::mt19937_64 g(23);
  RandomSpline<T> task({4, 5}, Shape::Random, 50, 1, g);
  T const first = task.full.front() - 1, last = task.full.back() + 1;
  for (int const count : {1, 2, 30, 2000}) {
    std::vector<T> sites;
    T const step = count > 1 ? (last - first) / static_cast<T>(count - 1) : T(0);
    for (int i = 0; i < count; ++i) sites.push_back(std::fma(static_cast<T>(i), step, first));
    auto const want = task.at(sites);
    std::vector<T> r(want.size());
    T const ends[] = {first, last};
    int32_t const flag = 1;
    ASSERT_EQ(E::interpolate(task.task, 1, 0, count, ends, DFSitesUniform, 1, &flag, nullptr, r.data(), 16,
                             nullptr, 0, 0, 0, 0, 0, 0, 0, 0, &parallel),
              0);
    EXPECT_EQ(r, want);
  }
  task.task->wideIndices = 1;
  int64_t const flags[] = {0, 1};
  T const site = T(0.3);
  T r = 0;
  ASSERT_EQ(E::interpolate(task.task, 1, 0, 1, &site, 0, 2, flags, nullptr, &r, 16, nullptr, 0, 0, 0, 0, 0, 0,
                           0, 0, nullptr),
            0);
  auto const [want, size] = task.want(0, site, 1);
  EXPECT_NEAR(r, want, 16 * size * std::numeric_limits<T>::epsilon());
  // Cells out, then in, also far outside of the partition; nothing outside of an array is read.
  task.task->wideIndices = 0;
  auto const sites = sites_around(task.full, 600, g);
  auto const values = task.at(sites);
  std::vector<int32_t> cells(600, -9);
  std::vector<T> again(600);
  auto run = [&](int64_t type) {
    return E::interpolate(task.task, type, 0, 600, sites.data(), 0, 0, nullptr, nullptr, again.data(), 16,
                          cells.data(), 0, 0, 0, 0, 0, 0, 0, 0, &parallel);
  };
  ASSERT_EQ(run(3), 0);
  EXPECT_EQ(again, values);
  for (size_t i = 0; i < 600; ++i)
    ASSERT_EQ(std::clamp(cells[i] - 1, 0, 48), expected_piece(task.full, sites[i]));
  again.assign(600, 0);
  ASSERT_EQ(run(4), 0);
  EXPECT_EQ(again, values);
  for (size_t i = 0; i < 600; ++i) cells[i] = static_cast<int32_t>(g());
  Guarded<T> const coefficients(
      std::vector<T>(task.coefficients.begin(), task.coefficients.begin() + 4 * 49));
  Guarded<T> const breaks(task.x);
  E::edit_pointer(task.task, DFParamCoeffs, coefficients.data());
  E::edit_pointer(task.task, DFParamBreaks, breaks.data());
  ASSERT_EQ(run(4), 0);
  for (size_t i = 0; i < 600; ++i) {
    int const p = std::clamp(cells[i], 1, 49) - 1;
    T const* c = coefficients.data() + 4 * p;
    T const t = sites[i] - task.full[static_cast<size_t>(p)];
    ASSERT_EQ(again[i], std::fma(std::fma(std::fma(c[3], t, c[2]), t, c[1]), t, c[0]));
  }
}

// The value 2 in the type writes cells, also for a single site and a few; exactly 4 reads them.
TYPED_TEST(Interpolation, OperationTypesByTheirBits) {
  using T = TypeParam;
  using E = Entries<T>;
  std::mt19937_64 g(28);
  for (auto const& kind : {kinds[0], kinds[2], kinds[3], kinds[4]})
    for (int32_t const wide : {0, 1})
      for (size_t const count : {1, 2, 31, 64, 600}) {
        RandomSpline<T> task(kind, Shape::Random, 50, 1, g);
        task.task->wideIndices = wide;
        auto const sites = sites_around(task.full, count, g);
        auto const values = task.at(sites, {});
        std::vector<int32_t> found(count);
        ASSERT_EQ(E::search(task.task, 0, static_cast<int64_t>(count), sites.data(), 0, nullptr, found.data(),
                            nullptr, nullptr, nullptr),
                  0);
        for (int const type : {0, 1, 2, 3, 4, 5, 6, 7, 8, 10}) {
          std::vector<int32_t> cells(count, 3);
          std::vector<T> r(count, T(-9));
          ASSERT_EQ(E::interpolate(task.task, type, 0, static_cast<int64_t>(count), sites.data(), 0, 0,
                                   nullptr, nullptr, r.data(), 16, cells.data(), 0, 0, 0, 0, 0, 0, 0, 0,
                                   &parallel),
                    0);
          ASSERT_EQ(cells, type & 2 ? found : std::vector<int32_t>(count, 3)) << "type " << type;
          if (type != 4) {
            ASSERT_EQ(r, values) << "type " << type;
            continue;
          }
          for (size_t i = 0; i < count; ++i) { // all by the piece of cell 3
            int32_t const p = 2 + (kind.type == 1 && sites[i] >= task.knots[3]);
            T const t = sites[i] - task.full[static_cast<size_t>(p)];
            auto const [want, size] = polynomial(task.row(0) + kind.order * p, kind.order, t, 0);
            ASSERT_NEAR(r[i], want, 8 * kind.order * size * std::numeric_limits<T>::epsilon());
          }
        }
      }
}

TYPED_TEST(Interpolation, NothingIsReadOutsideOfAnArray) {
  using T = TypeParam;
  using E = Entries<T>;
  std::mt19937_64 g(24);
  T const nan = std::numeric_limits<T>::quiet_NaN(), inf = std::numeric_limits<T>::infinity();
  for (bool const front : {false, true})
    for (auto const& kind : kinds)
      for (int64_t const hint : {1, 2, 4})
        for (int const n : {2, 20, 600}) {
          RandomSpline<T> task(kind, hint == 4 ? Shape::Even : Shape::Random, n, 1, g);
          task.task->breakHint = hint;
          bool const with_knots = kind.type == 1;
          Guarded<T> const breaks(task.x, front), knots(task.knots, front),
              coefficients(
                  {task.coefficients.begin(), task.coefficients.begin() + kind.order * (n - !with_knots)},
                  front);
          E::edit_pointer(task.task, DFParamBreaks, breaks.data());
          E::edit_pointer(task.task, DFParamCoeffs, coefficients.data());
          if (with_knots) E::edit_pointer(task.task, DFParamInnerCond, knots.data());
          auto values = sites_around(task.full, 101, g);
          for (size_t i = 0; i < 101; i += 4) values[i] = i % 8 ? nan : i % 16 ? inf : -inf;
          Guarded<T> const sites(values, front), results(std::vector<T>(202), front);
          int32_t const flags[] = {1, 1};
          for (int64_t const site_hint : {0, 64})
            ASSERT_EQ(E::interpolate(task.task, 1, 0, 101, sites.data(), site_hint, 2, flags, nullptr,
                                     results.data(), 16, nullptr, 0, 0, 0, 0, 0, 0, 0, 0, nullptr),
                      0);
          ASSERT_TRUE(std::isnan(results.data()[8]));
        }
}

TYPED_TEST(Interpolation, StepsAndLookUp) {
  using T = TypeParam;
  using E = Entries<T>;
  std::vector<T> const x{0, 1, 2, 4, 8}, y{10, 20, 30, 40, 50};
  for (int64_t const layout : {DFRows, DFInterleaved}) {
    auto two = y;
    for (T const v : y) two.push_back(v + 1);
    Task<T> task(x, two, 2, DFNonUniform, layout);
    auto run = [&](int type, std::vector<T> const& sites, std::vector<T>& r,
                   std::vector<int32_t> flags = {1}) {
      EXPECT_EQ(E::edit_spline(task.task, 0, type, 0, nullptr, 0, nullptr, nullptr, 0), 0);
      r.assign(sites.size() * 2 * flags.size(), -1);
      return E::interpolate(task.task, 1, 0, static_cast<int64_t>(sites.size()), sites.data(), 0,
                            static_cast<int64_t>(flags.size()), flags.data(), nullptr, r.data(), 16, nullptr,
                            0, 0, 0, 0, 0, 0, 0, 0, &serial);
    };
    std::vector<T> r;
    std::vector<T> const sites{-1, 0, T(0.5), 1, 3, 4, 8, 9};
    ASSERT_EQ(run(7, sites, r), 0); // continuous from the right
    EXPECT_EQ(std::vector<T>(r.begin(), r.begin() + 8), (std::vector<T>{10, 10, 10, 20, 30, 40, 50, 40}));
    EXPECT_EQ(r[8], 11);
    ASSERT_EQ(run(8, sites, r), 0); // continuous from the left
    EXPECT_EQ(std::vector<T>(r.begin(), r.begin() + 8), (std::vector<T>{10, 10, 20, 20, 40, 40, 50, 50}));
    ASSERT_EQ(run(6, {8, 0, 2, 4, 1}, r), 0);
    EXPECT_EQ(r, (std::vector<T>{50, 10, 30, 40, 20, 51, 11, 31, 41, 21}));
    for (T const bad : {T(-1), T(0.5), std::nextafter(T(8), T(9)), T(9), std::numeric_limits<T>::quiet_NaN()})
      EXPECT_EQ(run(6, {0, bad}, r), DFStatusNotABreak);
    EXPECT_EQ(r[0], 10); // what stands before is written
    EXPECT_EQ(run(6, {0}, r, {1, 1}), DFStatusBadDerivativeCount);
    EXPECT_EQ(run(6, {0}, r, {0, 1}), DFStatusNoValueRequested);
    EXPECT_EQ(run(6, {T(0.5)}, r, {0, 1}), DFStatusNotABreak);
    EXPECT_EQ(run(6, {1}, r, {0, 0}), 0);
  }
  Task<T> even({0, 1, 2, 3}, {1, 2, 3, 4}, 1, DFUniform);
  EXPECT_EQ(E::edit_spline(even.task, 0, 6, 0, nullptr, 0, nullptr, nullptr, 0), 0);
  T const tolerance = sizeof(T) == 8 ? T(0x1p-41) : T(0x1p-13);
  EXPECT_EQ(even.at({1 + tolerance, 2 - tolerance, 3, 3 + tolerance}), (std::vector<T>{2, 3, 4, 4}));
  T const off[] = {1 + 4 * tolerance};
  T r;
  EXPECT_EQ(E::interpolate(even.task, 1, 0, 1, off, 0, 0, nullptr, nullptr, &r, 16, nullptr, 0, 0, 0, 0, 0, 0,
                           0, 0, 0),
            DFStatusNotABreak);
}

// A callback that writes what it was called with.
template <class T>
struct Caller {
  T base;
  int32_t status;
  std::atomic<int> calls{0};
  Caller(T b, int32_t s = 0) : base(b), status(s) {}
  static int32_t call(int64_t const* count, int64_t const* cells, T const* sites, T* results, void* parameter,
                      void*) {
    auto& self = *static_cast<Caller*>(parameter);
    ++self.calls;
    for (int64_t j = 0; j < 2; ++j)
      for (int64_t i = 0; i < *count; ++i)
        for (int64_t d = 0; d < 2; ++d)
          *results++ = self.base + sites[i] + static_cast<T>(j * 1000 + d * 100 + cells[i] * 10000);
    return self.status;
  }
};

TYPED_TEST(Interpolation, CallbacksReplaceTheEvaluation) {
  using T = TypeParam;
  using E = Entries<T>;
  std::mt19937_64 g(25);
  for (Shape const shape : {Shape::Even, Shape::Random}) {
    RandomSpline<T> const task({4, 5}, shape, 12, 2, g);
    T const front = task.full.front(), back = task.full.back();
    for (size_t const count : {1, 40, 2000})
      for (int const given : {1, 2, 4, 5, 7}) // bits: left, right, inner
        for (int64_t const layout : {16, 32, 256, 512}) {
          auto const sites = sites_around(task.full, count, g);
          Caller<T> left(1), right(2), inner(3, 17);
          auto const call = Caller<T>::call;
          std::vector<T> r(count * 4);
          std::vector<int32_t> cells(count);
          int32_t const flags[] = {1, 1};
          int32_t const status = E::interpolate(
              task.task, 2, 0, static_cast<int64_t>(count), sites.data(), 0, 2, flags, nullptr, r.data(),
              layout, cells.data(), given & 1 ? call : nullptr, &left, given & 2 ? call : nullptr, &right,
              given & 4 ? call : nullptr, &inner, nullptr, nullptr, &parallel);
          // The status of the last call made: of the last group of 64, in the order left, inner, right.
          bool inside = false, right_of = false, left_of = false;
          int32_t last = 0;
          for (size_t from = 0; from < count; from += 64) {
            left_of = inside = right_of = false;
            for (size_t i = from; i < std::min(from + 64, count); ++i)
              (sites[i] < front ? left_of : sites[i] > back ? right_of : inside) = true;
            if (right_of && (given & 2))
              last = 0;
            else if (inside && (given & 4))
              last = 17;
            else if (left_of && (given & 1))
              last = 0;
          }
          ASSERT_EQ(status, last) << count << " sites, callbacks " << given;
          for (size_t i = 0; i < count; ++i)
            for (size_t j = 0; j < 2; ++j)
              for (size_t d = 0; d < 2; ++d) {
                T const s = sites[i];
                int const which = s < front ? 1 : s > back ? 2 : 4;
                size_t const at = layout == 32    ? (j * 2 + d) * count + i
                                  : layout == 256 ? (i * 2 + j) * 2 + d
                                  : layout == 512 ? (i * 2 + d) * 2 + j
                                                  : (j * count + i) * 2 + d;
                if (given & which) {
                  T const base = which == 1 ? T(1) : which == 2 ? T(2) : T(3);
                  ASSERT_EQ(r[at], base + s +
                                       static_cast<T>(static_cast<int>(j) * 1000 + static_cast<int>(d) * 100 +
                                                      cells[i] * 10000));
                } else {
                  auto const [want, size] = task.want(static_cast<int>(j), s, static_cast<int>(d));
                  ASSERT_NEAR(r[at], want, 32 * size * std::numeric_limits<T>::epsilon());
                }
              }
          Caller<T> bad(0, -123);
          EXPECT_EQ(E::interpolate(task.task, 1, 0, 1, &front, 0, 2, flags, nullptr, r.data(), layout,
                                   nullptr, nullptr, nullptr, nullptr, nullptr, call, &bad, nullptr, nullptr,
                                   nullptr),
                    -123);
        }
  }
  // Order 0 of no kind is evaluated by callbacks alone.
  Task<T> bare({0, 1, 2}, {1, 2, 3, 4, 5, 6}, 2);
  Caller<T> any(5);
  auto const call = Caller<T>::call;
  T const site = T(1.5);
  T r[4];
  int32_t const flags[] = {1, 1};
  bare.task->splineOrder = 0;
  EXPECT_EQ(E::interpolate(bare.task, 1, 0, 1, &site, 0, 2, flags, nullptr, r, 16, nullptr, call, &any, call,
                           &any, call, &any, nullptr, nullptr, nullptr),
            0);
  EXPECT_EQ(r[3], 5 + site + 1100 + 20000);
  EXPECT_EQ(E::interpolate(bare.task, 1, 0, 1, &site, 0, 2, flags, nullptr, r, 16, nullptr, call, &any,
                           nullptr, nullptr, call, &any, nullptr, nullptr, nullptr),
            DFStatusBadType);
}

TYPED_TEST(Interpolation, UserSearchGivesWideCells) {
  using T = TypeParam;
  std::mt19937_64 g(26);
  RandomSpline<T> task({4, 5}, Shape::Random, 30, 1, g);
  auto const sites = sites_around(task.full, 300, g);
  auto const want = task.at(sites);
  auto guess = [](int64_t const* count, T const*, int64_t* cells, int32_t*, void*, void*) {
    for (int64_t i = 0; i < *count; ++i) cells[i] = 12;
    return 0;
  };
  task.task->wideIndices = 1;
  std::vector<int64_t> cells(300, -1);
  std::vector<T> r(300);
  ASSERT_EQ(Entries<T>::interpolate(task.task, 2, 0, 300, sites.data(), 0, 0, nullptr, nullptr, r.data(), 16,
                                    cells.data(), 0, 0, 0, 0, 0, 0, guess, nullptr, nullptr),
            0);
  EXPECT_EQ(r[0], want[0]);
  for (size_t i = 0; i < 300; ++i) {
    if (sites[i] == task.full[12]) continue; // a guess on its break stands, and means the cell before it
    ASSERT_EQ(r[i], want[i]);
    ASSERT_EQ(std::clamp<int64_t>(cells[i] - 1, 0, 28), expected_piece(task.full, sites[i]));
  }
}

TYPED_TEST(Interpolation, StatusesInOrder) {
  using T = TypeParam;
  using E = Entries<T>;
  Task<T> task({0, 1, 2}, {1, 2, 3});
  task.spline(4, 5, 2);
  T const site = 0, bad_data[] = {0, 3, 0, 0, 0};
  T r[4];
  auto status = [&](int order, int type, T const* data, int64_t layout) {
    task.task->splineOrder = order, task.task->splineType = type;
    return E::interpolate(task.task, 1, 0, 1, &site, 0, 0, nullptr, data, r, layout, nullptr, 0, 0, 0, 0, 0,
                          0, 0, 0, 0);
  };
  for (auto const& [order, type] : {std::pair{1, 0}, {-1, 0}, {3, 2}, {4, 1}, {4, 6}, {0, 0}, {0, 9}})
    EXPECT_EQ(status(order, type, bad_data, 99), DFStatusBadType) << order << " " << type;
  EXPECT_EQ(status(4, 0, bad_data, 99), DFStatusBadDataHint);
  EXPECT_EQ(status(4, 0, nullptr, 99), DFStatusBadResultHint);
  EXPECT_EQ(status(4, 9, nullptr, 16), 0);
  EXPECT_EQ(E::interpolate(nullptr, 1, 0, 1, &site, 0, 0, 0, 0, r, 16, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0),
            DFStatusNullTask);
  std::mt19937_64 g(27);
  RandomSpline<T> many({4, 5}, Shape::Random, 20, 40, g);
  auto const sites = sites_around(many.full, 1000, g);
  std::vector<T> results(1000 * 40);
  EXPECT_EQ(walk_allocations([&] {
              return E::interpolate(many.task, 1, 0, 1000, sites.data(), 0, 0, nullptr, nullptr,
                                    results.data(), 32, nullptr, 0, 0, 0, 0, 0, 0, 0, 0, &parallel);
            }),
            1);
}

} // namespace
