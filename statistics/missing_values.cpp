// Multiple imputation for the multivariate normal model (Schafer 1997): _rnqdSSMissingValues and its twin. An
// expectation-maximization pass finds where data augmentation starts, which then draws missing values and parameters in
// turn. All is computed in double on data shifted by the means of what was observed.
#include "frame/export.h"
#include "frame/linalg.h"
#include "orv/distributions.h"
#include "orv/streams.h"
#include "statistics/elementwise.h"
#include "statistics/missing_patterns.h"
#include "statistics/sweep.h"

namespace orv::statistics {
namespace {

using Blas = core::Linalg<double>;

struct ImputationParameters {
  int64_t em_limit, sweeps, imputations, missing;
  double tolerance;

  template <class T>
  explicit ImputationParameters(T const* v) {
    auto const whole = [v](int k) { // NaN gives 0
      double const x = static_cast<double>(v[k]);
      return x > -0x1p62 && x < 0x1p62 ? static_cast<int64_t>(x) : x > 0 ? INT64_MAX : int64_t{0};
    };
    em_limit = whole(0) < 1 ? 50 : whole(0);
    sweeps = whole(1) < 1 ? 30 : whole(1);
    tolerance = v[2] > 0 ? static_cast<double>(v[2]) : 0.001;
    imputations = whole(3);
    missing = whole(4);
  }
};

// The product of counts, or -1 where it doesn't fit.
template <class... Counts>
int64_t product(int64_t first, Counts... more) {
  bool const large = (__builtin_mul_overflow(first, static_cast<int64_t>(more), &first) | ...);
  return large ? -1 : first;
}

class RandomStream {
 public:
  ~RandomStream() {
    if (stream_) __rnqDeleteStream(&stream_);
  }
  int32_t make() {
    // A seed whose upper word alone is set would leave this generator with a period of 128.
    uint32_t const seed[] = {1, 0x40000};
    return __rnqNewStreamEx(&stream_, 0x400000, 2, seed);
  }
  int32_t gaussian(int32_t n, double* r) { return _rnqdRngGaussian(RnqGaussianInverse, stream_, n, r, 0, 1); }
  int32_t gaussian(int32_t n, float* r) { return _rnqsRngGaussian(RnqGaussianInverse, stream_, n, r, 0, 1); }
  int32_t vectors(int32_t n, double* r, int32_t p, double const* zeros, double const* factor) {
    return _rnqdRngGaussianMV(RnqGaussianInverse, stream_, n, r, p, RnqMatrixFull, zeros, factor);
  }
  int32_t vectors(int32_t n, float* r, int32_t p, float const* zeros, float const* factor) {
    return _rnqsRngGaussianMV(RnqGaussianInverse, stream_, n, r, p, RnqMatrixFull, zeros, factor);
  }
  int32_t chi_square(double* r, int32_t v) { return _rnqdRngChiSquare(0, stream_, 1, r, v); }
  int32_t chi_square(float* r, int32_t v) { return _rnqsRngChiSquare(0, stream_, 1, r, v); }

 private:
  RngStream* stream_ = nullptr;
};

template <class T>
class Imputation {
 public:
  Imputation(SSTask const& task, ImputationParameters const& parameters)
      : task_(task), parameters_(parameters), data_(data_of<T>(task)), p_(data_.p), n_(data_.n),
        order_(p_ + 1) {}

  int32_t run() {
    int64_t simulated_count, estimates_count;
    if (int32_t const status = check_counts(simulated_count, estimates_count)) return status;
    if (int32_t const status = random_.make()) return status;
    size_t const q = static_cast<size_t>(order_), p = static_cast<size_t>(p_), n = static_cast<size_t>(n_);
    block_ = std::max<ptrdiff_t>(16, 0x20000 / 8 / order_);
    if (!patterns_.make(data_) ||
        !theta_.make(p_, 16 * static_cast<double>(std::numeric_limits<T>::epsilon())) || !rows_.make(n, q) ||
        !complete_.make(q, q) || !sums_.make(q, q) || !shift_.make(p) || !old_.make(q, q) ||
        !places_.make(n) || !list_.make(p) || !coefficients_.make(p, q) ||
        !own_.make(static_cast<size_t>(block_), q) || !factor_.make(p, p) || !lower_.make(p, p) ||
        !scale_.make(p, p) || !center_.make(2, p) ||
        !draws_.make(std::max(static_cast<size_t>(block_) * p, size_t{256})) || !reals_.make(p, p + 1))
      return SSOutOfMemory;
    read_data();
    start();
    expectation_maximization();
    T* simulated = simulated_count > 0 ? static_cast<T*>(task_.missingSimulated) : nullptr;
    T* estimates = estimates_count > 0 ? static_cast<T*>(task_.missingEstimates) : nullptr;
    read_priors();
    for (int64_t set = 0; set < parameters_.imputations; ++set) {
      for (int64_t sweep = 0; sweep < parameters_.sweeps; ++sweep) {
        if (int32_t const status = impute(sweep + 1 == parameters_.sweeps ? simulated : nullptr))
          return status;
        if (int32_t const status = draw_parameters()) return status;
        if (estimates) estimates = write_estimates(estimates);
      }
      if (simulated) simulated += parameters_.missing;
    }
    return 0;
  }

 private:
  int64_t estimate_size() const { return int64_t{p_} * (p_ + 3) / 2; }

  int32_t check_counts(int64_t& simulated, int64_t& estimates) const {
    int64_t found = 0;
    for (ptrdiff_t i = 0; i < n_ * p_; ++i) found += is_missing(data_.data[i]);
    if (found != parameters_.missing) return SSBadMissingCount;
    if (parameters_.imputations < 1 || parameters_.missing < 1) return SSBadMissingParams;
    simulated = task_.missingSimulated ? both_halves(task_, task_.missingSimulatedCount) : 0;
    if (simulated != 0 && simulated != product(parameters_.imputations, parameters_.missing))
      return SSBadMissingSimulatedCount;
    estimates = task_.missingEstimates && task_.missingEstimatesCount
                    ? both_halves(task_, task_.missingEstimatesCount)
                    : 0;
    if (estimates == 0) return simulated == 0 ? SSNoMissingResults : 0;
    return estimates == product(estimate_size(), parameters_.imputations, parameters_.sweeps)
               ? 0
               : SSBadMissingEstimatesCount;
  }

  double* row(ptrdiff_t i) const { return rows_.get() + i * order_; }

  // Augmented rows: 1, then the observed values less their means, 0 where missing.
  void read_data() {
    for (ptrdiff_t j = 0; j < p_; ++j) {
      double sum = 0, count = 0;
      for (ptrdiff_t i = 0; i < n_; ++i) {
        if (is_missing(data_(i, j))) continue;
        sum += static_cast<double>(data_(i, j));
        ++count;
      }
      double const mean = count > 0 ? sum / count : 0;
      shift_[j] = mean - mean == 0 ? mean : 0;
    }
    int64_t place = 0;
    for (ptrdiff_t i = 0; i < n_; ++i) {
      row(i)[0] = 1;
      places_[i] = place;
      for (ptrdiff_t j = 0; j < p_; ++j) {
        bool const gap = patterns_.missing(i, j);
        row(i)[j + 1] = gap ? 0 : static_cast<double>(data_(i, j)) - shift_[j];
        place += gap;
      }
    }
    std::fill_n(complete_.get(), order_ * order_, 0.0);
    for (ptrdiff_t k = 0; k < patterns_.count(); ++k)
      if (patterns_[k].missing == 0) add_rows(patterns_[k], complete_.get(), [](double*) {});
  }

  // Without estimates from the means of what was observed: from far away the steps that are allowed may not arrive.
  void start() {
    bool const given = task_.missingInitCount && task_.missingInitEstimates &&
                       both_halves(task_, task_.missingInitCount) == estimate_size();
    T const* const init = static_cast<T const*>(task_.missingInitEstimates);
    theta_(0, 0) = -1;
    for (ptrdiff_t j = 0; j < p_; ++j) {
      theta_(0, j + 1) = theta_(j + 1, 0) = given ? static_cast<double>(init[j]) - shift_[j] : 0;
      for (ptrdiff_t i = 0; i <= j; ++i)
        theta_(i + 1, j + 1) = theta_(j + 1, i + 1) =
            given ? static_cast<double>(init[p_ + place(Packing::lower, p_, i, j)]) : i == j;
    }
    theta_.start();
  }

  // Regression of a pattern's missing variables, in `list_`, on the observed ones; 0 for those that aren't in it.
  void regress(Pattern const& pattern) {
    theta_.bring_to([&](ptrdiff_t k) { return patterns_.missing(pattern.first, k - 1); });
    ptrdiff_t m = 0;
    for (ptrdiff_t j = 0; j < p_; ++j)
      if (patterns_.missing(pattern.first, j)) list_[m++] = j + 1;
    for (ptrdiff_t a = 0; a < m; ++a)
      for (ptrdiff_t k = 0; k < order_; ++k)
        coefficients_[a * order_ + k] = k == 0 || theta_.swept(k) ? theta_(k, list_[a]) : 0;
  }
  void fill(double* x, ptrdiff_t m) const {
    for (ptrdiff_t a = 0; a < m; ++a) x[list_[a]] = 0;
    for (ptrdiff_t a = 0; a < m; ++a) {
      double const* const c = coefficients_.get() + a * order_;
      double mean = 0;
      for (ptrdiff_t k = 0; k < order_; ++k) mean = __builtin_fma(c[k], x[k], mean);
      draws_means(a) = mean;
    }
    for (ptrdiff_t a = 0; a < m; ++a) x[list_[a]] = draws_means(a);
  }
  double& draws_means(ptrdiff_t a) const { return center_[p_ + a]; }

  // Adds the products of a pattern's rows to the lower triangle of `sums`, after `change` has worked on a copy of each.
  template <class F>
  void add_rows(Pattern const& pattern, double* sums, F change) {
    int const q = static_cast<int>(order_);
    double const one = 1;
    ptrdiff_t i = pattern.first;
    while (i >= 0) {
      int count = 0;
      for (; i >= 0 && count < block_; i = patterns_.next(i), ++count) {
        double* const x = own_.get() + count * order_;
        std::copy_n(row(i), order_, x);
        change(x);
      }
      Blas::syrk("U", "N", &q, &count, &one, own_.get(), &q, &one, sums, &q);
    }
  }

  void expectation_maximization() {
    ptrdiff_t const cells = order_ * order_;
    for (int64_t step = 0; step < parameters_.em_limit; ++step) {
      std::copy_n(theta_.cells(), cells, old_.get());
      std::copy_n(complete_.get(), cells, sums_.get());
      for (ptrdiff_t k = 0; k < patterns_.count(); ++k) {
        Pattern const& pattern = patterns_[k];
        ptrdiff_t const m = pattern.missing;
        if (m == 0) continue;
        regress(pattern);
        add_rows(pattern, sums_.get(), [&](double* x) { fill(x, m); });
        for (ptrdiff_t b = 0; b < m; ++b)
          for (ptrdiff_t a = 0; a <= b; ++a)
            sums_[list_[a] + list_[b] * order_] +=
                static_cast<double>(pattern.count) * theta_(list_[a], list_[b]);
      }
      maximize();
      double change = 0;
      for (ptrdiff_t c = 0; c < cells; ++c) {
        double const d = __builtin_fabs(theta_.cells()[c] - old_[c]);
        if (!(d <= change)) change = d;
      }
      if (!(change >= parameters_.tolerance)) break;
    }
  }
  void maximize() {
    double const n = static_cast<double>(n_);
    theta_(0, 0) = -1;
    for (ptrdiff_t j = 1; j < order_; ++j) {
      double const mean = sums_[j * order_] / n;
      theta_(0, j) = theta_(j, 0) = mean;
      for (ptrdiff_t i = 1; i <= j; ++i)
        theta_(i, j) = theta_(j, i) = sums_[i + j * order_] / n - sums_[i * order_] / n * mean;
    }
    theta_.start();
  }

  void read_priors() {
    int64_t const size = estimate_size() + 2;
    bool const given =
        task_.missingPriors && task_.missingPriorCount && both_halves(task_, task_.missingPriorCount) >= size;
    T const* const prior = static_cast<T const*>(task_.missingPriors);
    tau_ = 0;
    freedom_ = static_cast<double>(p_);
    std::fill_n(center_.get(), p_, 0.0);
    std::fill_n(scale_.get(), p_ * p_, 0.0);
    if (!given) return;
    if (prior[p_] > 0) tau_ = static_cast<double>(prior[p_]);
    double const df = static_cast<double>(prior[p_ + 1]);
    if (df > freedom_) freedom_ = df < 0x1p52 ? static_cast<double>(static_cast<int64_t>(df)) : df;
    for (ptrdiff_t j = 0; j < p_; ++j) {
      center_[j] = static_cast<double>(prior[j]) - shift_[j];
      for (ptrdiff_t i = 0; i <= j; ++i)
        scale_[i + j * p_] = static_cast<double>(prior[p_ + 2 + place(Packing::lower, p_, i, j)]);
    }
  }

  // Draws the missing values of all observations, and adds up the products of the completed rows.
  int32_t impute(T* out) {
    std::copy_n(complete_.get(), order_ * order_, sums_.get());
    for (ptrdiff_t k = 0; k < patterns_.count(); ++k) {
      Pattern const& pattern = patterns_[k];
      if (pattern.missing == 0) continue;
      regress(pattern);
      if (int32_t const status = impute(pattern, out)) return status;
    }
    return 0;
  }
  int32_t impute(Pattern const& pattern, T* out) {
    ptrdiff_t const m = pattern.missing;
    int const order = static_cast<int>(m), q = static_cast<int>(order_);
    int info = 0;
    for (ptrdiff_t b = 0; b < m; ++b)
      for (ptrdiff_t a = 0; a < m; ++a) factor_[a + b * m] = a <= b ? theta_(list_[a], list_[b]) : 0;
    Blas::potrf("U", &order, factor_.get(), &order,
                &info); // by columns the upper triangle: the lower one by rows
    if (info != 0) return SSImputationFactorFailed;
    T *const factor = reals_.get(), *const zeros = factor + m * m;
    for (ptrdiff_t c = 0; c < m * m; ++c) factor[c] = static_cast<T>(factor_[c]);
    std::fill_n(zeros, m, T(0));
    double const one = 1;
    for (ptrdiff_t i = pattern.first; i >= 0;) {
      ptrdiff_t count = 0;
      for (ptrdiff_t at = i; at >= 0 && count < block_; at = patterns_.next(at)) ++count;
      if (random_.vectors(static_cast<int32_t>(count), draws_.get(), order, zeros, factor) < 0)
        return SSImputationDrawFailed;
      for (ptrdiff_t r = 0; r < count; ++r, i = patterns_.next(i)) {
        double* const x = own_.get() + r * order_;
        std::copy_n(row(i), order_, x);
        fill(x, m);
        for (ptrdiff_t a = 0; a < m; ++a) {
          x[list_[a]] += static_cast<double>(draws_[r * m + a]);
          if (out) out[places_[i] + a] = static_cast<T>(x[list_[a]] + shift_[list_[a] - 1]);
        }
      }
      int const rows = static_cast<int>(count);
      Blas::syrk("U", "N", &q, &rows, &one, own_.get(), &q, &one, sums_.get(), &q);
    }
    return 0;
  }

  // The posterior of the prior and the completed data takes the prior's place.
  void update_prior() {
    double const n = static_cast<double>(n_), weight = n * tau_ / (n + tau_);
    for (ptrdiff_t j = 0; j < p_; ++j) {
      double const mj = sums_[(j + 1) * order_] / n, dj = mj - center_[j];
      for (ptrdiff_t i = 0; i <= j; ++i) {
        double const mi = sums_[(i + 1) * order_] / n;
        scale_[i + j * p_] += sums_[i + 1 + (j + 1) * order_] - n * mi * mj + weight * (mi - center_[i]) * dj;
      }
    }
    for (ptrdiff_t j = 0; j < p_; ++j)
      center_[j] = n / (n + tau_) * (sums_[(j + 1) * order_] / n) + tau_ / (n + tau_) * center_[j];
    tau_ += n;
    freedom_ += n;
  }

  // Root of a chi-square number: of squared Gaussian ones while these are few.
  int32_t chi(double freedom, double* r) {
    constexpr double few = 256;
    int32_t const v = freedom < 0x7fffffff ? static_cast<int32_t>(freedom) : 0x7fffffff;
    double sum = 0;
    if (freedom <= few) {
      if (random_.gaussian(v, draws_.get()) < 0) return SSPosteriorDrawFailed;
      for (int32_t k = 0; k < v; ++k) sum += static_cast<double>(draws_[k]) * static_cast<double>(draws_[k]);
    } else {
      if (random_.chi_square(draws_.get(), v) < 0) return SSPosteriorDrawFailed;
      sum = static_cast<double>(draws_[0]);
    }
    *r = root(sum);
    return 0;
  }

  // Covariance L A^-T A^-1 L^T with L L^T the posterior's scale matrix and A the root of a Wishart matrix.
  int32_t draw_parameters() {
    update_prior();
    int const p = static_cast<int>(p_), step = 1;
    int info = 0;
    double const one = 1;
    for (ptrdiff_t j = 0; j < p_; ++j) {
      for (ptrdiff_t i = 0; i < p_; ++i) {
        factor_[i + j * p_] = i >= j ? scale_[j + i * p_] : 0;
        lower_[i + j * p_] = 0;
      }
    }
    for (ptrdiff_t i = 0; i < p_; ++i) {
      if (int32_t const status = chi(freedom_ - static_cast<double>(i), &lower_[i + i * p_])) return status;
      if (i > 0 && random_.gaussian(static_cast<int32_t>(i), draws_.get()) < 0) return SSPosteriorDrawFailed;
      for (ptrdiff_t j = 0; j < i; ++j) lower_[i + j * p_] = static_cast<double>(draws_[j]);
    }
    Blas::potrf("L", &p, factor_.get(), &p, &info);
    if (info != 0) return SSPosteriorFactorFailed;
    Blas::trtri("L", "N", &p, lower_.get(), &p, &info);
    if (info != 0) return SSPosteriorInverseFailed;
    Blas::trmm("R", "L", "T", "N", &p, &p, &one, lower_.get(), &p, factor_.get(), &p);
    if (random_.gaussian(p, draws_.get()) < 0) return SSPosteriorDrawFailed;
    double const length = 1 / root(tau_), zero = 0;
    for (ptrdiff_t j = 0; j < p_; ++j) draws_means(j) = static_cast<double>(draws_[j]);
    Blas::gemv("N", &p, &p, &length, factor_.get(), &p, &draws_means(0), &step, &zero, old_.get(), &step);
    Blas::syrk("U", "N", &p, &p, &one, factor_.get(), &p, &zero, lower_.get(), &p);
    theta_(0, 0) = -1;
    for (ptrdiff_t j = 0; j < p_; ++j) {
      theta_(0, j + 1) = theta_(j + 1, 0) = center_[j] + old_[j];
      for (ptrdiff_t i = 0; i <= j; ++i) theta_(i + 1, j + 1) = theta_(j + 1, i + 1) = lower_[i + j * p_];
    }
    theta_.start();
    return 0;
  }

  T* write_estimates(T* to) const {
    for (ptrdiff_t j = 0; j < p_; ++j) *to++ = static_cast<T>(theta_(0, j + 1) + shift_[j]);
    for (ptrdiff_t j = 0; j < p_; ++j)
      for (ptrdiff_t i = 0; i <= j; ++i) *to++ = static_cast<T>(theta_(i + 1, j + 1));
    return to;
  }

  SSTask const& task_;
  ImputationParameters const parameters_;
  DataSet<T const> data_;
  ptrdiff_t p_, n_, order_, block_ = 0;
  RandomStream random_;
  Patterns patterns_;
  Theta theta_;
  // Rows; products of complete rows and of all (upper triangle by columns); the posterior; room for draws.
  Scratch<double> rows_, complete_, sums_, shift_, old_, coefficients_, own_, factor_, lower_, scale_,
      center_;
  Scratch<int64_t> places_; // of an observation's first missing value among all
  Scratch<ptrdiff_t> list_;
  Scratch<T> draws_, reals_;
  double tau_ = 0, freedom_ = 0;
};

int32_t check_imputation(SSTask const& task, uint64_t method) {
  if (!task.dimension || integer(task, task.dimension) < 1) return SSBadDimension;
  if (!task.dataStorage || check_exact_layout(task, task.dataStorage)) return SSBadStorage;
  if (!task.missingParams) return SSNullMissingParams;
  if (!task.missingParamCount) return SSNullMissingParamCount;
  if (both_halves(task, task.missingParamCount) != 5) return SSBadMissingParamCount;
  bool const estimates = task.missingEstimatesCount && task.missingEstimates;
  if (task.missingSimulated) {
    if (!task.missingSimulatedCount) return SSNullMissingSimulatedCount;
    if (!estimates && both_halves(task, task.missingSimulatedCount) == 0) return SSNoMissingResults;
  } else {
    if (task.missingSimulatedCount) return SSNullMissingSimulated;
    if (!estimates) return SSNoMissingResults;
  }
  if (!(method & SSMethodMultipleImpute)) return SSMethodNotSupported;
  return check_data(task);
}

template <class T>
int32_t missing_values(SSTask* task, uint64_t method) {
  if (!task) return SSNullTask;
  if (int32_t const status = check_imputation(*task, method)) return status;
  return Imputation<T>(*task, ImputationParameters(static_cast<T const*>(task->missingParams))).run();
}

} // namespace
} // namespace orv::statistics

ORV_EXPORT int32_t _rnqdSSMissingValues(SSTask* task, uint64_t, uint64_t method, const SSThreadServices*) {
  return orv::statistics::missing_values<double>(task, method);
}
ORV_EXPORT int32_t _rnqsSSMissingValues(SSTask* task, uint64_t, uint64_t method, const SSThreadServices*) {
  return orv::statistics::missing_values<float>(task, method);
}
