// orv accuracy: the measured error of each function, type and level, with its argument and the bound.
#include "cli/accuracy.h"
#include "cli/command.h"

#include <fmt/format.h>
#include <fstream>

namespace orv::cli {
namespace {

struct Options {
  std::string function, type, level, csv;
  bool exhaustive = false;
  double points = 1e6, scalar = 2.7;
  unsigned seed = 1;
};

std::string shown(double a, double b, bool two) {
  return two ? fmt::format("{:.17g}, {:.17g}", a, b) : fmt::format("{:.17g}", a);
}

void run(Options const& o) {
  if (!o.level.empty()) level_of(o.level);
  if (!o.type.empty() && o.type != "s" && o.type != "d") throw Error("--type is s or d");
  if (!(o.points >= 1)) throw Error("--points wants a count from 1");
  std::ofstream csv;
  if (!o.csv.empty()) {
    csv.open(o.csv);
    if (!csv) throw Error(o.csv + ": cannot be written");
    csv << "function,type,level,max_ulp,ulp_bound,good_bits,bits_bound,argument,second_argument,points,"
           "pass\n";
  }
  bool any = false, failed = false;
  fmt::print("{:<12} {} {:<5} {:>11} {:>6} {:>9}  {:<5} {:>10}  {}\n", "function", "t", "level", "max ulp",
             "bound", "good bits", "", "points", "worst argument");
  for (orv::Function const& f : functions) {
    if (!o.function.empty() && f.name != o.function) continue;
    if (!o.type.empty() && f.type != o.type[0]) continue;
    Reference const* reference = cli::reference(f.name);
    if (!reference || (f.type != 's' && f.type != 'd')) continue;
    any = true;
    auto const function = Elementwise::find(f.type, std::string(f.name));
    AccuracyPlan plan;
    plan.exhaustive = o.exhaustive && f.type == 's' && function.operands() == 1;
    plan.points = static_cast<uint64_t>(o.points);
    plan.scalar = o.scalar;
    plan.seed = o.seed;
    Progress progress(fmt::format("{}{}", f.type, f.name), 1);
    plan.progress = [&](double done) { progress.update(done); };
    auto const worst = measure_accuracy(function, *reference, plan);
    for (Level level : {Level::LA, Level::HA, Level::EP}) {
      if (!o.level.empty() && level_name(level) != o.level) continue;
      WorstCase const& w = worst[static_cast<std::size_t>(level)];
      bool const pass = keeps_bound(f, level, w), ep = level == Level::EP,
                 two = function.operands() == 2 || function.scalar_operand();
      failed |= !pass;
      double const bound = ep ? f.ep_bits : level == Level::HA ? f.ha_ulp : f.la_ulp;
      double const a = ep ? w.bits_a : w.ulp_a, b = function.scalar_operand() ? o.scalar
                                                    : ep                      ? w.bits_b
                                                                              : w.ulp_b;
      fmt::print("{:<12} {} {:<5} {:>11.6g} {:>6} {:>9.3f}  {:<5} {:>10}  {}\n", f.name, f.type,
                 level_name(level), w.ulp, bound, w.bits(), pass ? "pass" : "FAIL", w.points,
                 shown(a, b, two));
      if (csv.is_open())
        csv << fmt::format("{},{},{},{:.6g},{},{:.4f},{},{:.17g},{:.17g},{},{}\n", f.name, f.type,
                           level_name(level), w.ulp, ep ? f.la_ulp : bound, w.bits(), f.ep_bits, a,
                           two ? b : 0.0, w.points, pass ? "pass" : "fail");
    }
    std::fflush(stdout);
  }
  if (!any) throw Error("there is no function '" + o.function + "' to measure; 'orv functions' lists them");
  if (csv.is_open() && !csv.flush()) throw Error(o.csv + ": writing failed");
  if (failed) throw Error("a bound is not kept, see above");
}

Command const
    command("accuracy", "measure the error of functions against wider references", [](CLI::App& app) {
      auto o = std::make_shared<Options>();
      app.add_option("function", o->function, "one function; all without it");
      app.add_option("--type", o->type, "s or d; both without it");
      app.add_option("--level", o->level, "LA, HA or EP; all without it");
      app.add_flag("--exhaustive", o->exhaustive,
                   "all 2^32 arguments of one-operand functions in single precision");
      app.add_option("--points", o->points, "arguments for each function otherwise")->capture_default_str();
      app.add_option("--scalar", o->scalar, "second operand of functions with a scalar one")
          ->capture_default_str();
      app.add_option("--seed", o->seed, "of the random arguments")->capture_default_str();
      app.add_option("--csv", o->csv, "write the table to this file too");
      return [o] { run(*o); };
    });

} // namespace
} // namespace orv::cli
