#include "frontend/elementwise.h"

#include "frontend/library.h"
#include "orv/elementwise.h"

#include <algorithm>

namespace orv {
namespace {

thread_local ErrorLog* current_log = nullptr;
thread_local std::size_t piece_start = 0;

template <class T>
struct Forms {
  using Unary = void(int, const T*, T*);
  using Binary = void(int, const T*, const T*, T*);
  using TwoResults = void(int, const T*, T*, T*);
  using Scalar = void(int, const T*, T, T*);
  using LinearFrac = void(int, const T*, const T*, T, T, T, T, T*);
  using UnaryI = void(int, const T*, int, T*, int);
  using BinaryI = void(int, const T*, int, const T*, int, T*, int);
  using TwoResultsI = void(int, const T*, int, T*, int, T*, int);
  using ScalarI = void(int, const T*, int, T, T*, int);
  using LinearFracI = void(int, const T*, int, const T*, int, T, T, T, T, T*, int);
};

template <class T>
void call_typed(Form form, void* kernel, Arrays const& x, std::size_t start, int n) {
  using F = Forms<T>;
  auto at = [&](auto* p) { return p ? p + start : p; };
  const T* a = at(static_cast<const T*>(x.a));
  const T* b = at(static_cast<const T*>(x.b));
  T* r1 = at(static_cast<T*>(x.r1));
  T* r2 = at(static_cast<T*>(x.r2));
  auto scalar = [&](int i) { return static_cast<T>(x.scalars[i]); };
  switch (form) {
  case Form::unary:
    return reinterpret_cast<typename F::Unary*>(kernel)(n, a, r1);
  case Form::binary:
    return reinterpret_cast<typename F::Binary*>(kernel)(n, a, b, r1);
  case Form::two_results:
    return reinterpret_cast<typename F::TwoResults*>(kernel)(n, a, r1, r2);
  case Form::scalar:
    return reinterpret_cast<typename F::Scalar*>(kernel)(n, a, scalar(0), r1);
  case Form::linear_frac:
    return reinterpret_cast<typename F::LinearFrac*>(kernel)(n, a, b, scalar(0), scalar(1), scalar(2),
                                                             scalar(3), r1);
  case Form::pack:
    return; // refused before
  }
}

template <class T>
void call_typed_strided(Form form, void* kernel, Arrays const& x, int n) {
  using F = Forms<T>;
  const T* a = static_cast<const T*>(x.a);
  const T* b = static_cast<const T*>(x.b);
  T* r1 = static_cast<T*>(x.r1);
  T* r2 = static_cast<T*>(x.r2);
  auto scalar = [&](int i) { return static_cast<T>(x.scalars[i]); };
  switch (form) {
  case Form::unary:
    return reinterpret_cast<typename F::UnaryI*>(kernel)(n, a, x.inca, r1, x.incr1);
  case Form::binary:
    return reinterpret_cast<typename F::BinaryI*>(kernel)(n, a, x.inca, b, x.incb, r1, x.incr1);
  case Form::two_results:
    return reinterpret_cast<typename F::TwoResultsI*>(kernel)(n, a, x.inca, r1, x.incr1, r2, x.incr2);
  case Form::scalar:
    return reinterpret_cast<typename F::ScalarI*>(kernel)(n, a, x.inca, scalar(0), r1, x.incr1);
  case Form::linear_frac:
    return reinterpret_cast<typename F::LinearFracI*>(kernel)(n, a, x.inca, b, x.incb, scalar(0), scalar(1),
                                                              scalar(2), scalar(3), r1, x.incr1);
  case Form::pack:
    return; // refused before
  }
}

// The slot of a table that belongs to a level.
int index_of(Level level) {
  int const index = static_cast<int>(level);
  if (index < 0 || index > 2)
    throw Error("there is no accuracy level number " + std::to_string(index) + "; there are LA, HA and EP");
  return index;
}

} // namespace

std::string_view level_name(Level level) {
  constexpr std::string_view names[] = {"LA", "HA", "EP"};
  return names[index_of(level)];
}

Level level_of(std::string const& name) {
  for (Level level : {Level::LA, Level::HA, Level::EP})
    if (name == level_name(level)) return level;
  throw Error("there is no accuracy level '" + name + "'; there are LA, HA and EP");
}

std::string_view status_text(int status) {
  switch (status) {
  case ORV_STATUS_OK:
    return "no error";
  case ORV_STATUS_DOMAIN:
    return "argument outside the domain";
  case ORV_STATUS_SINGULARITY:
    return "pole";
  case ORV_STATUS_OVERFLOW:
    return "overflow";
  case ORV_STATUS_UNDERFLOW:
    return "underflow";
  default:
    return "unknown status";
  }
}

Elementwise Elementwise::find(char type, std::string const& name) {
  std::string types;
  for (orv::Function const& f : functions) {
    if (f.name != name) continue;
    if (f.type != type) {
      types += types.empty() ? "" : ", ";
      types += f.type;
      continue;
    }
    Elementwise found;
    found.function_ = &f;
    std::string const base = "orv_elw_kernel_" + (type + name);
    Library const& library = Library::get();
    found.slots_ = static_cast<void* const*>(library.symbol((base + "_ttab").c_str()));
    found.cost_ = static_cast<const float*>(library.symbol((base + "_ctab").c_str()));
    found.strided_slots_ = static_cast<void* const*>(library.find((base + "I_ttab").c_str()));
    return found;
  }
  if (!types.empty())
    throw Error("there is no function '" + name + "' of type '" + type + "'; its types are " + types);
  throw Error("there is no function '" + name + "'; 'orv functions' lists those that there are");
}

int Elementwise::operands() const {
  return function_->form == Form::binary || function_->form == Form::linear_frac ? 2 : 1;
}
int Elementwise::results() const { return function_->form == Form::two_results ? 2 : 1; }

float Elementwise::cost(Level level) const { return cost_[index_of(level)]; }

void Elementwise::check(Arrays const& x, bool any_elements) const {
  std::string const name(function_->name);
  if (function_->form == Form::pack) throw Error(name + ": pack and unpack are no functions of numbers");
  if (function_->type != 's' && function_->type != 'd')
    throw Error(name + ": complex types are not served here");
  if (any_elements && (!x.a || !x.r1 || (operands() == 2 && !x.b) || (results() == 2 && !x.r2)))
    throw Error(name + ": an array is missing");
}

void Elementwise::call(Level level, Arrays const& x, std::size_t n) const {
  check(x, n > 0);
  constexpr std::size_t longest = std::size_t{1} << 30;
  void* kernel = slots_[index_of(level)];
  for (std::size_t start = 0; start < n; start += longest) {
    int const piece = static_cast<int>(std::min(longest, n - start));
    piece_start = start;
    if (function_->type == 's')
      call_typed<float>(function_->form, kernel, x, start, piece);
    else
      call_typed<double>(function_->form, kernel, x, start, piece);
  }
  piece_start = 0;
}

void Elementwise::call_strided(Level level, Arrays const& x, int n) const {
  check(x, n > 0);
  if (n < 0) throw Error(std::string(function_->name) + ": the count " + std::to_string(n) + " is below 0");
  if (!strided_slots_) throw Error(std::string(function_->name) + ": there is no strided form");
  void* kernel = strided_slots_[index_of(level)];
  if (function_->type == 's')
    call_typed_strided<float>(function_->form, kernel, x, n);
  else
    call_typed_strided<double>(function_->form, kernel, x, n);
}

ErrorLog::ErrorLog() : outer_(current_log) {
  mode_ = ORV_FUNCTION_OF(orv_elw_kernel_GetMode)();
  status_ = ORV_FUNCTION_OF(orv_elw_kernel_GetErrStatus)();
  callback_ = ORV_FUNCTION_OF(orv_elw_kernel_SetErrorCallBack)(&collect);
  ORV_FUNCTION_OF(orv_elw_kernel_SetMode)(ORV_ERRMODE_CALLBACK);
  current_log = this;
}

ErrorLog::~ErrorLog() {
  current_log = outer_;
  ORV_FUNCTION_OF(orv_elw_kernel_SetErrorCallBack)(callback_);
  ORV_FUNCTION_OF(orv_elw_kernel_SetMode)(mode_);
  ORV_FUNCTION_OF(orv_elw_kernel_SetErrStatus)(status_);
}

// Called by kernels, which no exception may pass through.
int ErrorLog::collect(OrvErrorRecord* record) noexcept {
  constexpr std::size_t most = 1'000'000;
  if (ErrorLog* log = current_log) {
    try {
      if (log->errors_.size() < most) {
        log->errors_.push_back({piece_start + static_cast<std::size_t>(record->index), record->code,
                                record->arg1, record->arg2, record->res1});
        return 1;
      }
    } catch (std::bad_alloc const&) {
    }
    ++log->left_out_;
  }
  return 1; // the result stays as it is
}

} // namespace orv
