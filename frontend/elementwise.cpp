#include "frontend/elementwise.h"

#include "frontend/library.h"
#include "orv/elementwise.h"

#include <algorithm>

namespace orv {
namespace {

thread_local ErrorLog* current_log = nullptr;
thread_local std::size_t piece_start = 0;

// Kernels by form, from operands of type A to results of type R.
template <class A, class R>
struct Forms {
  using Unary = void(int, const A*, R*);
  using Binary = void(int, const A*, const A*, R*);
  using TwoResults = void(int, const A*, R*, R*);
  using Scalar = void(int, const A*, A, R*);
  using LinearFrac = void(int, const A*, const A*, A, A, A, A, R*);
  using UnaryI = void(int, const A*, int, R*, int);
  using BinaryI = void(int, const A*, int, const A*, int, R*, int);
  using TwoResultsI = void(int, const A*, int, R*, int, R*, int);
  using ScalarI = void(int, const A*, int, A, R*, int);
  using LinearFracI = void(int, const A*, int, const A*, int, A, A, A, A, R*, int);
};

// A scalar of a call: complex ones take two numbers.
template <class A>
A scalar_of(Arrays const& x, int i) {
  if constexpr (std::is_floating_point_v<A>)
    return static_cast<A>(x.scalars[i]);
  else
    return {static_cast<decltype(A::re)>(x.scalars[2 * i]),
            static_cast<decltype(A::re)>(x.scalars[2 * i + 1])};
}

template <class A, class R>
void call_typed(Form form, void* kernel, Arrays const& x, std::size_t start, int n) {
  using F = Forms<A, R>;
  auto at = [&](auto* p) { return p ? p + start : p; };
  const A* a = at(static_cast<const A*>(x.a));
  const A* b = at(static_cast<const A*>(x.b));
  R* r1 = at(static_cast<R*>(x.r1));
  R* r2 = at(static_cast<R*>(x.r2));
  switch (form) {
  case Form::unary:
  case Form::real_to_complex:
  case Form::complex_to_real:
    return reinterpret_cast<typename F::Unary*>(kernel)(n, a, r1);
  case Form::binary:
    return reinterpret_cast<typename F::Binary*>(kernel)(n, a, b, r1);
  case Form::two_results:
    return reinterpret_cast<typename F::TwoResults*>(kernel)(n, a, r1, r2);
  case Form::scalar:
    return reinterpret_cast<typename F::Scalar*>(kernel)(n, a, scalar_of<A>(x, 0), r1);
  case Form::linear_frac:
    if constexpr (std::is_floating_point_v<A>)
      return reinterpret_cast<typename F::LinearFrac*>(kernel)(
          n, a, b, scalar_of<A>(x, 0), scalar_of<A>(x, 1), scalar_of<A>(x, 2), scalar_of<A>(x, 3), r1);
    [[fallthrough]];
  case Form::pack:
    return; // refused before
  }
}

template <class A, class R>
void call_typed_strided(Form form, void* kernel, Arrays const& x, int n) {
  using F = Forms<A, R>;
  const A* a = static_cast<const A*>(x.a);
  const A* b = static_cast<const A*>(x.b);
  R* r1 = static_cast<R*>(x.r1);
  R* r2 = static_cast<R*>(x.r2);
  switch (form) {
  case Form::unary:
  case Form::real_to_complex:
  case Form::complex_to_real:
    return reinterpret_cast<typename F::UnaryI*>(kernel)(n, a, x.inca, r1, x.incr1);
  case Form::binary:
    return reinterpret_cast<typename F::BinaryI*>(kernel)(n, a, x.inca, b, x.incb, r1, x.incr1);
  case Form::two_results:
    return reinterpret_cast<typename F::TwoResultsI*>(kernel)(n, a, x.inca, r1, x.incr1, r2, x.incr2);
  case Form::scalar:
    return reinterpret_cast<typename F::ScalarI*>(kernel)(n, a, x.inca, scalar_of<A>(x, 0), r1, x.incr1);
  case Form::linear_frac:
    if constexpr (std::is_floating_point_v<A>)
      return reinterpret_cast<typename F::LinearFracI*>(kernel)(n, a, x.inca, b, x.incb, scalar_of<A>(x, 0),
                                                                scalar_of<A>(x, 1), scalar_of<A>(x, 2),
                                                                scalar_of<A>(x, 3), r1, x.incr1);
    [[fallthrough]];
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

// call(A*, R*) with null pointers of the function's element types.
template <class Call>
void with_types(orv::Function const& f, Call call) {
  bool const from_real = f.form == Form::real_to_complex, to_real = f.form == Form::complex_to_real;
  auto single = [&](auto* real, auto* complex) {
    if (from_real)
      call(real, complex);
    else if (to_real)
      call(complex, real);
    else
      call(complex, complex);
  };
  switch (f.type) {
  case 's':
    return call(static_cast<float*>(nullptr), static_cast<float*>(nullptr));
  case 'd':
    return call(static_cast<double*>(nullptr), static_cast<double*>(nullptr));
  case 'c':
    return single(static_cast<float*>(nullptr), static_cast<orv_complex_float*>(nullptr));
  default:
    return single(static_cast<double*>(nullptr), static_cast<orv_complex_double*>(nullptr));
  }
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
    with_types(*function_,
               [&]<class A, class R>(A*, R*) { call_typed<A, R>(function_->form, kernel, x, start, piece); });
  }
  piece_start = 0;
}

void Elementwise::call_strided(Level level, Arrays const& x, int n) const {
  check(x, n > 0);
  if (n < 0) throw Error(std::string(function_->name) + ": the count " + std::to_string(n) + " is below 0");
  if (!strided_slots_) throw Error(std::string(function_->name) + ": there is no strided form");
  void* kernel = strided_slots_[index_of(level)];
  with_types(*function_,
             [&]<class A, class R>(A*, R*) { call_typed_strided<A, R>(function_->form, kernel, x, n); });
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
