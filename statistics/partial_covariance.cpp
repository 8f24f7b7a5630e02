// Covariance of one set of variables with the effect of another taken out: _rnqdSSPartialCovariance and its twin.
#include "frame/export.h"
#include "frame/linalg.h"
#include "statistics/elementwise.h"
#include "statistics/symmetric.h"

namespace orv::statistics {
namespace {

using core::Linalg;

template <class T>
class Partial {
 public:
  explicit Partial(SSTask const& task)
      : task_(task), p_(integer(task, task.dimension)), from_cov_(task.cov != nullptr),
        source_(static_cast<T const*>(from_cov_ ? task.cov : task.cor)),
        packed_(packing(integer(task, from_cov_ ? task.covStorage : task.corStorage))) {}

  int32_t run(uint64_t estimates) {
    if (!list_.make(2, static_cast<size_t>(p_))) return SSOutOfMemory;
    split();
    if (r_ == 0 || z_ == 0) return SSBadPartialCovIndices;
    size_t const r = static_cast<size_t>(r_), z = static_cast<size_t>(z_);
    if (!yy_.make(r, r) || !yz_.make(r, z) || !zz_.make(z, z) || !effect_.make(r, z)) return SSOutOfMemory;
    gather();
    if (int32_t const status = invert()) return status;
    T const one = 1, zero = 0, minus_one = -1;
    Linalg<T>::gemm("n", "n", &r_, &z_, &z_, &one, yz_.get(), &r_, zz_.get(), &z_, &zero, effect_.get(), &r_);
    Linalg<T>::gemm("n", "t", &r_, &r_, &z_, &minus_one, effect_.get(), &r_, yz_.get(), &r_, &one, yy_.get(),
                    &r_);
    write(estimates);
    return 0;
  }

 private:
  void split() {
    Integers const roles(task_, task_.partialCovIndices);
    for (ptrdiff_t j = 0; j < p_; ++j) {
      if (roles[j] == 1) list_[r_++] = j;
      if (roles[j] == -1) list_[p_ + z_++] = j;
    }
  }
  // An element as a covariance. A correlation matrix has variances on its diagonal.
  T element(ptrdiff_t i, ptrdiff_t j) const {
    auto const at = [&](ptrdiff_t a, ptrdiff_t b) { return symmetric_element(source_, packed_, p_, a, b); };
    return from_cov_ || i == j ? at(i, j) : at(i, j) * root(at(i, i) * at(j, j));
  }
  void gather() {
    ptrdiff_t const *y = list_.get(), *z = y + p_;
    for (ptrdiff_t j = 0; j < r_; ++j)
      for (ptrdiff_t i = 0; i < r_; ++i) yy_[i + j * r_] = element(y[i], y[j]);
    for (ptrdiff_t j = 0; j < z_; ++j) {
      for (ptrdiff_t i = 0; i < r_; ++i) yz_[i + j * r_] = element(y[i], z[j]);
      for (ptrdiff_t i = 0; i < z_; ++i) zz_[i + j * z_] = element(z[i], z[j]);
    }
  }
  int32_t invert() {
    int info = 0;
    Linalg<T>::potrf("u", &z_, zz_.get(), &z_, &info);
    if (info != 0) return SSPartialFactorFailed;
    Linalg<T>::potri("u", &z_, zz_.get(), &z_, &info);
    if (info != 0) return SSPartialInverseFailed;
    for (ptrdiff_t j = 0; j < z_; ++j)
      for (ptrdiff_t i = 0; i < j; ++i) zz_[j + i * z_] = zz_[i + j * z_];
    return 0;
  }
  void write(uint64_t estimates) const {
    auto const partial = [&](ptrdiff_t i, ptrdiff_t j) { return yy_[i + j * r_]; };
    if (estimates & SSPartialCovariance)
      write_symmetric(static_cast<T*>(task_.partialCov), packing(integer(task_, task_.partialCovStorage)), r_,
                      partial);
    if (estimates & SSPartialCorrelation)
      write_symmetric(static_cast<T*>(task_.partialCor), packing(integer(task_, task_.partialCorStorage)), r_,
                      [&](ptrdiff_t i, ptrdiff_t j) {
                        return i == j ? partial(i, i) : partial(i, j) / root(partial(i, i) * partial(j, j));
                      });
  }

  SSTask const& task_;
  ptrdiff_t p_;
  bool from_cov_;
  T const* source_;
  Packing packed_;
  int r_ = 0, z_ = 0;
  Scratch<ptrdiff_t> list_; // variables of both sets
  Scratch<T> yy_, yz_, zz_, effect_;
};

template <class T>
int32_t partial_covariance(SSTask* task, uint64_t estimates, uint64_t method) {
  if (!task) return SSNullTask;
  if (!task->cov && !task->cor) return SSNullCov;
  if (!(task->cov ? task->covStorage : task->corStorage)) return SSNullStorage;
  if (!task->partialCovIndices) return SSNullPartialCovIndices;
  if (estimates & SSPartialCovariance) {
    if (!task->partialCov) return SSNullPartialCov;
    if (!task->partialCovStorage) return SSNullStorage;
  }
  if (estimates & SSPartialCorrelation) {
    if (!task->partialCor) return SSNullPartialCor;
    if (!task->partialCorStorage) return SSNullStorage;
  }
  if (!(method & SSMethodFast)) return SSMethodNotSupported;
  if (!task->dimension) return SSBadDimension;
  if (integer(*task, task->dimension) < 1) return SSBadPartialCovIndices;
  return Partial<T>(*task).run(estimates);
}

} // namespace
} // namespace orv::statistics

ORV_EXPORT int32_t _rnqdSSPartialCovariance(SSTask* task, uint64_t estimates, uint64_t method,
                                            const SSThreadServices*) {
  return orv::statistics::partial_covariance<double>(task, estimates, method);
}
ORV_EXPORT int32_t _rnqsSSPartialCovariance(SSTask* task, uint64_t estimates, uint64_t method,
                                            const SSThreadServices*) {
  return orv::statistics::partial_covariance<float>(task, estimates, method);
}
