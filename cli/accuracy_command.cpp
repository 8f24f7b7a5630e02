// orv accuracy: the measured error of each function, type and level, with its argument and the bound.
#include "cli/command.h"
#ifdef ORV_HAS_ACCURACY
#  include "accuracy/measure.h"
#  include "accuracy/picture.h"
#endif

#include <fmt/format.h>
#include <fstream>

namespace orv::cli {
namespace {

struct Options {
  std::string function, type, level, csv, svg;
  bool exhaustive = false;
  double points = 1e6;
  std::vector<double> scalars = {2.7, 0.5, 1.25, 3}, range, imaginary_range;
  unsigned seed = 1;
};

#ifdef ORV_HAS_ACCURACY

// A file that is written whole or complained about.
class Output {
 public:
  explicit Output(std::string const& path) : path_(path) {
    if (path.empty()) return;
    file_.open(path);
    if (!file_) throw Error(path + ": cannot be written");
  }
  void put(std::string const& text) {
    if (file_.is_open()) file_ << text;
  }
  void finish() {
    if (!file_.is_open()) return;
    file_.close();
    if (!file_) throw Error(path_ + ": writing failed");
  }

 private:
  std::string path_;
  std::ofstream file_;
};

void check(Options const& o) {
  if (!o.level.empty()) level_of(o.level);
  if (!o.type.empty() && std::string("s d c z").find(o.type) == std::string::npos)
    throw Error("--type is s, d, c or z");
  if (!(o.points >= 1 && o.points <= 1e15)) throw Error("--points wants a count from 1");
  for (auto const* range : {&o.range, &o.imaginary_range})
    if (!range->empty() && !((*range)[0] < (*range)[1])) throw Error("--range wants the lower end first");
  if (!o.svg.empty() && o.function.empty()) throw Error("--svg draws one function: name it");
}

accuracy::Profile profile_of(Options const& o, accuracy::Shape const& shape) {
  accuracy::Profile p;
  if (!o.range.empty()) {
    p.low = o.range[0];
    p.high = o.range[1];
  }
  if (shape.operand_parts == 2) {
    if (o.range.empty()) p.low = -2, p.high = 2;
    auto const& other = o.imaginary_range;
    p.row_low = other.empty() ? p.low : other[0];
    p.row_high = other.empty() ? p.high : other[1];
    p.columns = 150;
    p.rows = 60;
  }
  return p;
}

// One function of one type; false if a bound is not kept.
bool measure_one(Options const& o, orv::Function const& f, accuracy::Reference const& reference,
                 Output& csv) {
  auto const function = Elementwise::find(f.type, std::string(f.name));
  auto const& shape = reference.shape;
  accuracy::Plan plan;
  plan.exhaustive = o.exhaustive && f.type == 's' && shape.in() == 1;
  plan.points = static_cast<uint64_t>(o.points);
  for (std::size_t i = 0; i < 4 && i < o.scalars.size(); ++i) plan.scalars[i] = o.scalars[i];
  plan.seed = o.seed;
  Progress progress(fmt::format("{}{}", f.type, f.name), 1);
  plan.progress = [&](double done) { progress.update(done); };
  accuracy::Profile profile = profile_of(o, shape);
  if (!o.svg.empty()) plan.profile = &profile;
  auto const worst = measure(accuracy::subject(function), reference, plan);

  bool good = true;
  int const in = shape.in();
  for (Level level : {Level::LA, Level::HA, Level::EP}) {
    if (!o.level.empty() && level_name(level) != o.level) continue;
    auto const& w = worst[static_cast<std::size_t>(level)];
    bool const pass = keeps_bound(f, level, w), ep = level == Level::EP;
    good &= pass;
    double const bound = ep ? f.ep_bits : level == Level::HA ? f.ha_ulp : f.la_ulp;
    auto const& at = ep ? w.bits_at : w.ulp_at;
    std::string const hex = accuracy::hexadecimal(at, in, f.type), dec = accuracy::decimal(at, in, f.type);
    fmt::print("{:<12} {} {:<5} {:>11.6g} {:>6} {:>9.3f}  {:<5} {:>10}  {} = {}\n", f.name, f.type,
               level_name(level), w.ulp, bound, w.bits(), pass ? "pass" : "FAIL", w.points, hex, dec);
    if (w.wrong_signs)
      fmt::print("  {} zeros have the wrong sign, such as that at {}\n", w.wrong_signs,
                 accuracy::hexadecimal(w.sign_at, in, f.type));
    csv.put(fmt::format("{},{},{},{:.6g},{},{:.4f},{},{},{},{},{},{},{}\n", f.name, f.type, level_name(level),
                        w.ulp, ep ? f.la_ulp : bound, w.bits(), f.ep_bits, dec, hex,
                        function.scalar_operand() ? fmt::format("{:a}", o.scalars[0]) : "", w.points,
                        w.wrong_signs, pass ? "pass" : "fail"));
  }
  std::fflush(stdout);
  if (!o.svg.empty()) {
    Output svg(o.svg);
    svg.put(accuracy::picture(profile, fmt::format("{} {}: error in ulp", f.type, f.name), f.type,
                              o.level.empty() ? Level::LA : level_of(o.level)));
    svg.finish();
  }
  return good;
}

void run(Options const& o) {
  check(o);
  Output csv(o.csv);
  csv.put("function,type,level,max_ulp,ulp_bound,good_bits,bits_bound,argument,argument_hex,scalar,points,"
          "wrong_zero_signs,pass\n");
  bool any = false, failed = false;
  fmt::print("{:<12} {} {:<5} {:>11} {:>6} {:>9}  {:<5} {:>10}  {}\n", "function", "t", "level", "max ulp",
             "bound", "good bits", "", "points", "worst argument");
  for (orv::Function const& f : functions) {
    if (!o.function.empty() && f.name != o.function) continue;
    if (!o.type.empty() && f.type != o.type[0]) continue;
    auto const* reference = accuracy::reference(f.name, f.type);
    if (!reference || f.form == Form::pack) continue;
    if (!o.svg.empty() && any) throw Error("--svg draws one type: give --type");
    any = true;
    failed |= !measure_one(o, f, *reference, csv);
  }
  if (!any) throw Error("there is no function '" + o.function + "' to measure; 'orv functions' lists them");
  csv.finish();
  if (failed) throw Error("a bound is not kept, see above");
}

#else

void run(Options const&) { throw Error("errors are measured on x86_64; this target gives the same bits"); }

#endif

Command const
    command("accuracy", "measure the error of functions against wider references", [](CLI::App& app) {
      auto o = std::make_shared<Options>();
      app.add_option("function", o->function, "one function; all without it");
      app.add_option("--type", o->type, "s, d, c or z; all without it");
      app.add_option("--level", o->level, "LA, HA or EP; all without it");
      app.add_flag("--exhaustive", o->exhaustive,
                   "all 2^32 arguments of one-operand functions in single precision");
      app.add_option("--points", o->points, "arguments for each function otherwise")->capture_default_str();
      app.add_option("--scalar", o->scalars,
                     "second operand of functions with a scalar one; the four of LinearFrac")
          ->expected(1, 4)
          ->capture_default_str();
      app.add_option("--seed", o->seed, "of the random arguments")->capture_default_str();
      app.add_option("--csv", o->csv, "write the table to this file too");
      app.add_option("--svg", o->svg, "draw the error over the domain of one function and type");
      app.add_option("--range", o->range, "draw this range alone, on a plain axis")->expected(2);
      app.add_option("--imaginary-range", o->imaginary_range, "of a complex function, upwards")->expected(2);
      return [o] { run(*o); };
    });

} // namespace
} // namespace orv::cli
