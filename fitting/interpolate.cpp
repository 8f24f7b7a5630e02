// Interpolation. Sites go in groups of 64: one search for the group, then for each function one evaluation of
// all its sites, lanes side by side, with the coefficients of a vector's sites transposed from their rows.
// Without callbacks and in the layout by function the results are written in place; otherwise they pass a
// buffer ordered by function, site, derivative.
#include "fitting/pieces.h"
#include "fitting/search.h"
#include "frame/export.h"

#include <atomic>
#include <cstring>

namespace orv::fitting {
namespace {

constexpr int group_sites = 64;

// Coefficients of the pieces of a vector's sites, one vector for each power.
template <int Order>
ORV_INLINE void load_rows(double const* rows, int32_t const* pieces, __m256d (&c)[Order]) {
  double const *r0 = rows + ptrdiff_t{Order} * pieces[0], *r1 = rows + ptrdiff_t{Order} * pieces[1],
               *r2 = rows + ptrdiff_t{Order} * pieces[2], *r3 = rows + ptrdiff_t{Order} * pieces[3];
  if constexpr (Order == 4) {
    // Halves of rows side by side, so that one interleaving finishes each pair of powers.
    auto halves = [](double const* low, double const* high) {
      return _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(low)), _mm_loadu_pd(high), 1);
    };
    __m256d const ab0 = halves(r0, r2), ab1 = halves(r1, r3), cd0 = halves(r0 + 2, r2 + 2),
                  cd1 = halves(r1 + 2, r3 + 2);
    c[0] = _mm256_unpacklo_pd(ab0, ab1);
    c[1] = _mm256_unpackhi_pd(ab0, ab1);
    c[2] = _mm256_unpacklo_pd(cd0, cd1);
    c[3] = _mm256_unpackhi_pd(cd0, cd1);
  } else {
    __m256d const even = _mm256_set_m128d(_mm_loadu_pd(r2), _mm_loadu_pd(r0));
    __m256d const odd = _mm256_set_m128d(_mm_loadu_pd(r3), _mm_loadu_pd(r1));
    c[0] = _mm256_unpacklo_pd(even, odd);
    c[1] = _mm256_unpackhi_pd(even, odd);
    if constexpr (Order == 3) c[2] = _mm256_setr_pd(r0[2], r1[2], r2[2], r3[2]);
  }
}
template <int Order>
ORV_INLINE void load_rows(float const* rows, int32_t const* pieces, __m256 (&c)[Order]) {
  float const* r[8];
  for (int k = 0; k < 8; ++k) r[k] = rows + ptrdiff_t{Order} * pieces[k];
  if constexpr (Order == 4) {
    __m256 q[4];
    for (int k = 0; k < 4; ++k) q[k] = _mm256_set_m128(_mm_loadu_ps(r[k + 4]), _mm_loadu_ps(r[k]));
    __m256 const ab0 = _mm256_unpacklo_ps(q[0], q[1]), ab1 = _mm256_unpackhi_ps(q[0], q[1]);
    __m256 const de0 = _mm256_unpacklo_ps(q[2], q[3]), de1 = _mm256_unpackhi_ps(q[2], q[3]);
    c[0] = _mm256_shuffle_ps(ab0, de0, 0x44);
    c[1] = _mm256_shuffle_ps(ab0, de0, 0xEE);
    c[2] = _mm256_shuffle_ps(ab1, de1, 0x44);
    c[3] = _mm256_shuffle_ps(ab1, de1, 0xEE);
  } else {
    for (int p = 0; p < Order; ++p)
      c[p] = _mm256_setr_ps(r[0][p], r[1][p], r[2][p], r[3][p], r[4][p], r[5][p], r[6][p], r[7][p]);
  }
}
template <class V>
ORV_INLINE V gather(Real<V> const* x, int32_t const* i) {
  if constexpr (LaneInfo<V>::count == 4)
    return _mm256_setr_pd(x[i[0]], x[i[1]], x[i[2]], x[i[3]]);
  else if constexpr (LaneInfo<V>::count == 8)
    return _mm256_setr_ps(x[i[0]], x[i[1]], x[i[2]], x[i[3]], x[i[4]], x[i[5]], x[i[6]], x[i[7]]);
  else
    return x[i[0]];
}
template <int Order, class T>
ORV_INLINE void load_rows(T const* rows, int32_t const* pieces, T (&c)[Order]) {
  for (int p = 0; p < Order; ++p) c[p] = rows[ptrdiff_t{Order} * pieces[0] + p];
}

// k (k - 1) ... (k - r + 1)
template <class T>
constexpr T falling(int64_t k, int64_t r) {
  T product = 1;
  for (int64_t i = 0; i < r; ++i) product *= static_cast<T>(k - i);
  return product;
}

// Derivative Derivative of the polynomial from power K up, by Horner's scheme in fused steps.
template <int Derivative, int K, int Order, class V>
ORV_INLINE V horner(V const (&c)[Order], V t) {
  if constexpr (Derivative >= Order) {
    return broadcast<V>(0);
  } else {
    constexpr Real<V> scale = falling<Real<V>>(K, Derivative);
    V const own = Derivative == 0 ? c[K] : broadcast<V>(scale) * c[K];
    if constexpr (K + 1 == Order)
      return own;
    else
      return fma(horner<Derivative, K + 1>(c, t), t, own);
  }
}
template <int Derivative, int Order, class V>
ORV_INLINE V derivative(V const (&c)[Order], V t) {
  return horner<Derivative, Derivative>(c, t);
}

// The requested derivatives in ascending order.
class Request {
 public:
  Request(void const* flags, int64_t count, bool wide)
      : flags_(flags), count_(flags ? count : 0), wide_(wide) {
    for (int64_t k = 0; k < count_; ++k) q_ += wanted(k);
    bool const value = q_ == 0 || wanted(0);
    asks_for_value_ = value;
    if (q_ == 0) q_ = 1, count_ = 0;
    value_only_ = q_ == 1 && value;
    value_and_slope_ = q_ == 2 && value && wanted(1);
  }
  int64_t size() const { return q_; }
  bool asks_for_value() const { return asks_for_value_; }
  bool value_only() const { return value_only_; }
  bool value_and_slope() const { return value_and_slope_; }
  // visit(derivative, ordinal)
  template <class Visit>
  void each(Visit&& visit) const {
    if (count_ == 0) return visit(int64_t{0}, int64_t{0});
    int64_t ordinal = 0;
    for (int64_t k = 0; k < count_; ++k)
      if (wanted(k)) visit(k, ordinal++);
  }

 private:
  bool wanted(int64_t k) const {
    return wide_ ? static_cast<int64_t const*>(flags_)[k] != 0 : static_cast<int32_t const*>(flags_)[k] != 0;
  }
  void const* flags_;
  int64_t count_;
  bool wide_;
  int64_t q_ = 0;
  bool asks_for_value_ = false, value_only_ = false, value_and_slope_ = false;
};

// The sites of a group (or of one of its lists) with what all functions share.
template <class T>
struct Group {
  int32_t count;
  T const* sites;
  void const* cells; // as the search or the caller gives them
  bool wide;
  int32_t pieces[group_sites];
  T t[group_sites]; // distance from the left break of the piece
};

template <class T>
struct Callbacks {
  typename Types<T>::InterpolateCallback left, right, inner;
  void *left_parameter, *right_parameter, *inner_parameter;
  bool any() const { return left || right || inner; }
  bool all() const { return left && right && inner; }
};

template <class T>
class Interpolation {
 public:
  DFTask const& task;
  Partition<T> partition;
  Knots<T> knots;
  Kind kind;
  Request request;
  SiteList<T> list;
  int64_t sites;
  int32_t method;
  typename Types<T>::SearchBlock constants;
  void* cells;
  bool cells_in, cells_out, wide;
  T* results;
  int64_t layout;
  Callbacks<T> callbacks;
  std::atomic<int64_t>& last_call; // place of the last callback's list, above its status

  // Reals of buffer that a thread needs.
  bool buffered() const { return layout != DFResultFuncSiteDeriv || callbacks.any(); }
  int64_t buffer_size() const { return buffered() ? group_sites * task.functionCount * request.size() : 0; }

  int32_t run(int64_t from, int64_t to, T* buffer) const {
    int64_t running = 0;
    for (int64_t g = from; g < to; g += group_sites)
      if (int32_t const status =
              run_group(g, static_cast<int32_t>(std::min<int64_t>(group_sites, to - g)), running, buffer);
          status < 0)
        return status;
    return DFStatusOk;
  }

 private:
  int32_t run_group(int64_t from, int32_t count, int64_t& running, T* buffer) const {
    T room[group_sites];
    int64_t cell_room[group_sites];
    Group<T> group;
    group.count = count;
    group.sites = list.at(from, count, room);
    if (int32_t const status = find_cells(group, from, running, cell_room); status < 0) return status;
    if (callbacks.any()) return run_lists(group, from, buffer);
    prepare(group);
    if (!buffered()) return evaluate(group, results + from * request.size(), sites * request.size());
    int32_t const status = evaluate(group, buffer, count * request.size());
    scatter(buffer, count, from, nullptr);
    return status;
  }

  int32_t find_cells(Group<T>& group, int64_t from, int64_t& running, int64_t* room) const {
    size_t const width = wide ? sizeof(int64_t) : sizeof(int32_t);
    void* found = cells_in || cells_out ? static_cast<char*>(cells) + static_cast<size_t>(from) * width
                                        : static_cast<void*>(room);
    group.cells = found;
    group.wide = wide;
    if (cells_in) return DFStatusOk;
    auto block = constants;
    block.siteCount = group.count;
    block.sites = group.sites;
    block.cells = found;
    block.runningCell = &running;
    return search_kernel_32<T>(method)(&block);
  }

  // Pieces and distances from their breaks.
  void prepare(Group<T>& group) const {
    int32_t const n = partition.n;
    int32_t i = 0;
    if (!group.wide) {
      __m256i const one = _mm256_set1_epi32(1), last = _mm256_set1_epi32(n - 1);
      for (; i + 8 <= group.count; i += 8) {
        auto const* from = static_cast<int32_t const*>(group.cells) + i;
        __m256i const cell = _mm256_loadu_si256(reinterpret_cast<__m256i const*>(from));
        __m256i const limited = _mm256_min_epi32(_mm256_max_epi32(cell, one), last);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(group.pieces + i), _mm256_sub_epi32(limited, one));
      }
    }
    for (; i < group.count; ++i) group.pieces[i] = piece_of(cell_at(group.cells, i, group.wide, n), n);
    if (kind == Kind::QuadraticKnots)
      for (i = 0; i < group.count; ++i) group.pieces[i] += group.sites[i] >= knots.at(group.pieces[i] + 1);
    if (partition.even) {
      for (i = 0; i < group.count; ++i) group.t[i] = group.sites[i] - partition.at(group.pieces[i]);
    } else {
      T const* const x = partition.x;
      for_lanes<T>(0, group.count, [&](auto lane, ptrdiff_t k) {
        using V = decltype(lane);
        store(group.t + k, load<V>(group.sites + k) - gather<V>(x, group.pieces + k));
      });
    }
  }

  // Results of all functions: function j's at out + j * stride, by site and derivative.
  int32_t evaluate(Group<T> const& group, T* out, int64_t stride) const {
    for (int32_t j = 0; j < function_count(task); ++j, out += stride) {
      switch (kind) {
      case Kind::Linear:
        evaluate_order<2>(group, j, out);
        break;
      case Kind::Quadratic:
      case Kind::QuadraticKnots:
        evaluate_order<3>(group, j, out);
        break;
      case Kind::Cubic:
        evaluate_order<4>(group, j, out);
        break;
      case Kind::General:
        evaluate_general(group, j, out);
        break;
      default:
        if (int32_t const status = evaluate_values(group, j, out)) return status;
      }
    }
    return DFStatusOk;
  }

  template <int Order>
  void evaluate_order(Group<T> const& group, int32_t function, T* out) const {
    T const* const rows = coefficients_of<T>(task, function);
    // A table beyond the caches is asked for at once, so that the misses overlap.
    if (partition.n > 4096)
      for (int32_t i = 0; i < group.count; ++i) __builtin_prefetch(rows + ptrdiff_t{Order} * group.pieces[i]);
    if (request.value_only()) {
      for_lanes<T>(0, group.count, [&](auto lane, ptrdiff_t i) {
        using V = decltype(lane);
        V c[Order];
        load_rows<Order>(rows, group.pieces + i, c);
        store(out + i, derivative<0>(c, load<V>(group.t + i)));
      });
    } else if (request.value_and_slope()) {
      for_lanes<T>(0, group.count, [&](auto lane, ptrdiff_t i) {
        using V = decltype(lane);
        V c[Order];
        load_rows<Order>(rows, group.pieces + i, c);
        V const t = load<V>(group.t + i);
        store_columns(out + 2 * i, derivative<0>(c, t), derivative<1>(c, t));
      });
    } else {
      request.each([&](int64_t derivative, int64_t ordinal) {
        T* const at = out + ordinal;
        switch (derivative) {
        case 0:
          evaluate_derivative<Order, 0>(group, rows, at);
          break;
        case 1:
          evaluate_derivative<Order, 1>(group, rows, at);
          break;
        case 2:
          evaluate_derivative<Order, 2>(group, rows, at);
          break;
        case 3:
          evaluate_derivative<Order, 3>(group, rows, at);
          break;
        default:
          evaluate_derivative<Order, Order>(group, rows, at);
        }
      });
    }
  }

  template <int Order, int Derivative>
  void evaluate_derivative(Group<T> const& group, T const* rows, T* out) const {
    T values[group_sites];
    for_lanes<T>(0, group.count, [&](auto lane, ptrdiff_t i) {
      using V = decltype(lane);
      V c[Order];
      load_rows<Order>(rows, group.pieces + i, c);
      store(values + i, derivative<Derivative>(c, load<V>(group.t + i)));
    });
    for (int32_t i = 0; i < group.count; ++i) out[i * request.size()] = values[i];
  }

  void evaluate_general(Group<T> const& group, int32_t function, T* out) const {
    T const* const rows = coefficients_of<T>(task, function);
    int64_t const order = task.splineOrder;
    request.each([&](int64_t derivative, int64_t ordinal) {
      for (int32_t i = 0; i < group.count; ++i) {
        T const* const c = rows + static_cast<ptrdiff_t>(order * group.pieces[i]);
        T sum = 0;
        for (int64_t k = order - 1; k >= derivative; --k)
          sum = fma(sum, group.t[i], c[k] * falling<T>(k, derivative));
        out[i * request.size() + ordinal] = sum;
      }
    });
  }

  // Steps and look-up: a sampled value, and zero for its derivatives.
  int32_t evaluate_values(Group<T> const& group, int32_t function, T* out) const {
    auto const y = values_of<T>(task, function);
    for (int32_t i = 0; i < group.count; ++i) {
      int32_t const index = value_index(group, i);
      if (kind == Kind::LookUp) {
        if (index < 0) return DFStatusNotABreak;
        if (request.size() != 1) return DFStatusBadDerivativeCount;
        if (!request.asks_for_value()) return DFStatusNoValueRequested;
      }
      request.each([&](int64_t derivative, int64_t ordinal) {
        out[i * request.size() + ordinal] = derivative == 0 ? y[index] : T(0);
      });
    }
    return DFStatusOk;
  }

  // The index of the value at a site, -1 for a look-up that finds none.
  int32_t value_index(Group<T> const& group, int32_t i) const {
    int32_t const n = partition.n, cell = cell_at(group.cells, i, group.wide, n), p = group.pieces[i];
    T const site = group.sites[i];
    if (kind == Kind::StepRight) return p + (site == partition.last());
    if (kind == Kind::StepLeft) return p + (cell > 0 && site != partition.at(p));
    if (cell == 0) return -1;
    if (site == partition.last()) return n - 1;
    T const tolerance = partition.even ? (std::is_same_v<T, double> ? T(0x1p-40) : T(0x1p-12)) : T(0);
    for (int32_t k = cell - 1; k <= std::min(cell, n - 1); ++k)
      if (absolute(site - partition.at(k)) <= tolerance) return k;
    return -1;
  }

  // Sites left of the partition, inside and right of it, each list by its callback or else as above.
  int32_t run_lists(Group<T> const& group, int64_t from, T* buffer) const {
    auto side_of = [&](T site) { return site < partition.first() ? 0 : site > partition.last() ? 2 : 1; };
    for (int side = 0; side < 3; ++side) {
      T chosen[group_sites];
      int64_t chosen_cells[group_sites];
      int32_t places[group_sites];
      Group<T> part;
      part.count = 0;
      part.sites = chosen;
      part.cells = chosen_cells;
      part.wide = true;
      for (int32_t i = 0; i < group.count; ++i) {
        if (side_of(group.sites[i]) != side) continue;
        chosen_cells[part.count] = cell_at(group.cells, i, group.wide, partition.n);
        places[part.count] = i;
        chosen[part.count++] = group.sites[i];
      }
      if (part.count == 0) continue;
      auto const callback = side == 0 ? callbacks.left : side == 1 ? callbacks.inner : callbacks.right;
      void* const parameter = side == 0   ? callbacks.left_parameter
                              : side == 1 ? callbacks.inner_parameter
                                          : callbacks.right_parameter;
      int64_t const each = part.count * request.size();
      int32_t status;
      if (callback) {
        std::memset(buffer, 0, static_cast<size_t>(each * task.functionCount) * sizeof(T));
        int64_t const count = part.count;
        status = callback(&count, chosen_cells, chosen, buffer, parameter, nullptr);
        note_call(from / group_sites * 3 + side, status);
      } else {
        prepare(part);
        status = evaluate(part, buffer, each);
      }
      if (status < 0) return status;
      scatter(buffer, part.count, from, places);
    }
    return DFStatusOk;
  }

  void note_call(int64_t list, int32_t status) const {
    int64_t const call = (list + 1) << 31 | (status & INT32_MAX);
    int64_t seen = last_call.load(std::memory_order_relaxed);
    while (seen < call && !last_call.compare_exchange_weak(seen, call, std::memory_order_relaxed)) {
    }
  }

  // Puts results by function, site and derivative where the layout wants them. `places` are the sites'
  // positions in the group that begins at site `from`, null for all of it.
  void scatter(T const* buffer, int32_t count, int64_t from, int32_t const* places) const {
    int64_t const q = request.size(), functions = task.functionCount;
    int64_t by_function = sites * q, by_site = q, by_derivative = 1;
    switch (layout) {
    case DFResultFuncDerivSite:
      by_function = q * sites, by_site = 1, by_derivative = sites;
      break;
    case DFResultSiteFuncDeriv:
      by_function = q, by_site = functions * q;
      break;
    case DFResultSiteDerivFunc:
      by_function = 1, by_site = q * functions, by_derivative = functions;
      break;
    }
    for (int64_t j = 0; j < functions; ++j)
      for (int32_t i = 0; i < count; ++i) {
        T* const out = results + j * by_function + (from + (places ? places[i] : i)) * by_site;
        for (int64_t d = 0; d < q; ++d) out[d * by_derivative] = *buffer++;
      }
  }
};

// One site of one function, without the machinery of groups; the bits are those of a list.
template <int Order, class T>
void evaluate_one(T const* row, T t, Request const& request, T* out) {
  int32_t const piece = 0;
  T c[Order];
  load_rows<Order>(row, &piece, c);
  request.each([&](int64_t r, int64_t ordinal) {
    out[ordinal] = r == 0   ? derivative<0>(c, t)
                   : r == 1 ? derivative<1>(c, t)
                   : r == 2 ? derivative<2>(c, t)
                   : r == 3 ? derivative<3>(c, t)
                            : T(0);
  });
}
template <class T>
void interpolate_one(DFTask const& task, Partition<T> const& partition, Kind kind, T site,
                     Request const& request, T* out) {
  int32_t const p = piece_of(cell_of(task, site), partition.n);
  T const t = site - partition.at(p);
  auto const* const row = coefficients_of<T>(task, 0) + static_cast<ptrdiff_t>(task.splineOrder) * p;
  switch (kind) {
  case Kind::Linear:
    return evaluate_one<2>(row, t, request, out);
  case Kind::Quadratic:
    return evaluate_one<3>(row, t, request, out);
  default:
    return evaluate_one<4>(row, t, request, out);
  }
}

constexpr bool is_result_layout(int64_t hint) {
  return hint == 0 || hint == 16 || hint == 32 || hint == 128 || hint == 256 || hint == 512;
}

template <class T>
int32_t interpolate(DFTask const* task, int64_t type, int64_t site_count, T const* sites, int64_t site_hint,
                    int64_t flag_count, void const* flags, T const* data_hint, T* results, int64_t layout,
                    void* cells, Callbacks<T> const& callbacks, typename Types<T>::SearchCallback search,
                    void* search_parameter, DFThreader const* threader) {
  if (!task) return DFStatusNullTask;
  Kind const kind = kind_of(*task, callbacks.all());
  if (kind == Kind::Unknown) return DFStatusBadType;
  bool const cells_in = type == 4, cells_out = (type & 2) != 0;
  int32_t const method = cells_in ? no_search : choose_method(*task, site_hint, data_hint, search != nullptr);
  if (method < 0) return method;
  if (!is_result_layout(layout)) return DFStatusBadResultHint;
  if (int32_t const status = check_sources(*task, kind, callbacks.all())) return status;
  if (layout == 0 || layout == 128) layout = DFResultFuncSiteDeriv;

  Partition<T> const partition(*task);
  Request const request(flags, flag_count, task->wideIndices != 0);
  if (site_count == 1 && kind <= Kind::Cubic && task->functionCount == 1 && !cells_in && !cells_out &&
      !search && !callbacks.any()) {
    interpolate_one(*task, partition, kind, *sites, request, results);
    return DFStatusOk;
  }
  std::atomic<int64_t> last_call{0};
  Interpolation<T> const work{*task,
                              partition,
                              Knots<T>(*task, partition),
                              kind,
                              request,
                              SiteList<T>(sites, site_hint, site_count),
                              site_count,
                              method,
                              search_constants(*task, method, data_hint, search, search_parameter),
                              cells,
                              cells_in,
                              cells_out,
                              wide_cells(*task, method),
                              results,
                              layout,
                              callbacks,
                              last_call};

  int32_t const threads = site_count > 512 ? max_threads(threader) : 1;
  constexpr int64_t chunk = 320;
  auto const chunks = static_cast<int32_t>(threads > 1 ? site_count / chunk : 0);
  int32_t const used = std::max(std::min(threads, chunks), 1);
  auto const each = static_cast<uint64_t>(work.buffer_size());
  SmallScratch<T, 2048> const buffers(each * static_cast<uint64_t>(used));
  if (!buffers) return DFStatusNoMemory;

  int64_t done = 0;
  std::atomic<int32_t> failure{0};
  auto run_chunks = [&](int32_t count, int64_t length) {
    int64_t const start = done;
    parallel_for(threader, count, std::min(used, count), [&](int32_t i, int32_t thread) {
      int32_t const status = work.run(start + i * length, start + (i + 1) * length,
                                      buffers.get() + each * static_cast<uint64_t>(thread));
      if (status < 0) failure.store(status, std::memory_order_relaxed);
    });
    done += count * length;
    return failure.load(std::memory_order_relaxed);
  };
  if (chunks > 0) {
    if (int32_t const status = run_chunks(chunks, chunk)) return status;
    if (int64_t const rest = site_count - done; rest > group_sites)
      if (int32_t const status = run_chunks(static_cast<int32_t>(rest / group_sites), group_sites))
        return status;
  }
  if (int32_t const status = work.run(done, site_count, buffers.get())) return status;
  return static_cast<int32_t>(last_call.load(std::memory_order_relaxed) & INT32_MAX);
}

} // namespace
} // namespace orv::fitting

#define ORV_TWIN(t, T)                                                                                       \
  ORV_EXPORT int32_t orv_df_kernel_##t##DFInterpolate1D(                                                     \
      const DFTask* task, int64_t type, int64_t, int64_t site_count, const T* sites, int64_t site_hint,      \
      int64_t flag_count, const void* flags, const T* data_hint, T* results, int64_t layout, void* cells,    \
      t##DFInterpolateCallback left, void* left_parameter, t##DFInterpolateCallback right,                   \
      void* right_parameter, t##DFInterpolateCallback inner, void* inner_parameter,                          \
      t##DFSearchCallback search, void* search_parameter, const DFThreader* threader) {                      \
    return orv::fitting::interpolate<T>(                                                                     \
        task, type, site_count, sites, site_hint, flag_count, flags, data_hint, results, layout, cells,      \
        {left, right, inner, left_parameter, right_parameter, inner_parameter}, search, search_parameter,    \
        threader);                                                                                           \
  }
ORV_TWIN(d, double)
ORV_TWIN(s, float)
