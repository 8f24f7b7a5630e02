// orv bench: core cycles an element of each function, type and level, beside the peers that are installed.
// Peers run in a program of their own, which is started from here where it was built.
#include "bench/arguments.h"
#include "bench/cycles.h"
#include "cli/command.h"
#include "frontend/elementwise.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <sched.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace orv::cli {
namespace {

struct Options {
  std::string function, type, csv, sizes = "1,8,64,1024,4194304";
  int runs = 15;
};

// The program that times peers, at the other end of two pipes.
class Peers {
 public:
  Peers() {
    auto const program = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "orv_peers";
    std::error_code ignored;
    if (!std::filesystem::exists(program, ignored)) return;
    // Both programs on one core, in turn: another core may be slower by what its neighbours do.
    cpu_set_t core;
    CPU_ZERO(&core);
    CPU_SET(sched_getcpu(), &core);
    sched_setaffinity(0, sizeof core, &core);
    int down[2], up[2];
    if (pipe(down) != 0 || pipe(up) != 0) return;
    child_ = fork();
    if (child_ == 0) {
      dup2(down[0], 0);
      dup2(up[1], 1);
      for (int fd : {down[0], down[1], up[0], up[1]}) close(fd);
      execl(program.c_str(), "orv_peers", nullptr);
      _exit(127);
    }
    close(down[0]);
    close(up[1]);
    out_ = fdopen(down[1], "w");
    in_ = fdopen(up[0], "r");
  }
  ~Peers() {
    if (out_) std::fclose(out_);
    if (in_) std::fclose(in_);
    if (child_ > 0) waitpid(child_, nullptr, 0);
  }
  Peers(Peers const&) = delete;
  Peers& operator=(Peers const&) = delete;

  bool there() const { return in_ && out_; }
  std::string ask(std::string const& question) {
    std::fputs((question + "\n").c_str(), out_);
    std::fflush(out_);
    char line[4096];
    if (!std::fgets(line, sizeof line, in_)) throw Error("the program that times peers has ended");
    return line;
  }

 private:
  pid_t child_ = -1;
  std::FILE *out_ = nullptr, *in_ = nullptr;
};

struct Timing {
  std::string who;
  std::vector<double> cycles;
  double median() const { return at(0.5); }
  double spread() const { return (at(0.75) - at(0.25)) / median(); }

 private:
  double at(double part) const {
    auto sorted = cycles;
    std::ranges::sort(sorted);
    return sorted[static_cast<std::size_t>(part * static_cast<double>(sorted.size() - 1))];
  }
};

template <class T>
std::vector<Timing> time_function(Elementwise const& function, Peers& peers, long n, int runs) {
  std::string const name(function.function().name);
  auto const range = bench::range_of(name);
  auto const a = bench::arguments<T>(range.a, static_cast<std::size_t>(n), 1);
  auto const b = bench::arguments<T>(range.b, static_cast<std::size_t>(n), 2);
  std::vector<T> r1(static_cast<std::size_t>(n)), r2(static_cast<std::size_t>(n));
  Arrays arrays{.a = a.data(), .b = b.data(), .r1 = r1.data(), .r2 = r2.data()};
  arrays.scalars[0] = static_cast<double>(b[0]);
  for (int i = 1; i < 4; ++i) arrays.scalars[i] = i;
  long const repeats = std::max(1L, 32768 / n);

  std::vector<Timing> timings;
  for (Level level : {Level::LA, Level::HA, Level::EP})
    timings.push_back({std::string(level_name(level)), {}});
  if (peers.there()) {
    std::istringstream names(peers.ask(fmt::format("peers {} {} {}", name, function.function().type, n)));
    for (std::string peer; names >> peer;) timings.push_back({peer, {}});
  }
  ErrorLog quiet;
  for (int run = 0; run <= runs; ++run) {
    for (std::size_t k = 0; k < timings.size(); ++k) {
      double cycles;
      if (k < 3)
        cycles = bench::cycles_per_element(
            n, repeats, [&] { function.call(static_cast<Level>(k), arrays, static_cast<std::size_t>(n)); });
      else
        cycles = std::stod(peers.ask(
            fmt::format("time {} {} {} {} {}", timings[k].who, name, function.function().type, n, repeats)));
      if (run > 0) timings[k].cycles.push_back(cycles); // the first warms up
    }
  }
  return timings;
}

void run(Options const& o) {
  if (o.runs < 3) throw Error("--runs wants a count from 3");
  std::vector<long> sizes;
  std::istringstream list(o.sizes);
  for (std::string size; std::getline(list, size, ',');) {
    double const n = parse_number(size, "--n");
    if (!(n >= 1 && n <= 1e8)) throw Error("--n: sizes from 1 to 100000000 are wanted");
    sizes.push_back(static_cast<long>(n));
  }
  std::ofstream csv;
  if (!o.csv.empty()) {
    csv.open(o.csv);
    if (!csv) throw Error(o.csv + ": cannot be written");
    csv << "function,type,n,who,cycles_per_element,spread\n";
  }
  Peers peers;
  if (!peers.there()) fmt::print("(the program orv_peers is not beside this one: no peers are timed)\n");
  fmt::print("core cycles an element, medians of {} interleaved runs; in brackets: times as slow as LA\n",
             o.runs);
  bool any = false;
  for (orv::Function const& f : functions) {
    if (!o.function.empty() && f.name != o.function) continue;
    if (!o.type.empty() && f.type != o.type[0]) continue;
    if ((f.type != 's' && f.type != 'd') || f.form == Form::pack) continue;
    any = true;
    auto const function = Elementwise::find(f.type, std::string(f.name));
    for (long n : sizes) {
      auto const timings = f.type == 's' ? time_function<float>(function, peers, n, o.runs)
                                         : time_function<double>(function, peers, n, o.runs);
      fmt::print("{}{:<10} n={:<8}", f.type, f.name, n);
      double const la = timings[0].median();
      for (Timing const& t : timings) {
        fmt::print(" {} {:.3f}", t.who, t.median());
        if (&t != &timings[0]) fmt::print(" ({:.2f})", t.median() / la);
        if (csv.is_open())
          csv << fmt::format("{},{},{},{},{:.4f},{:.3f}\n", f.name, f.type, n, t.who, t.median(), t.spread());
      }
      fmt::print("\n");
      std::fflush(stdout);
    }
  }
  if (!any) throw Error("there is no function '" + o.function + "' to time; 'orv functions' lists them");
  if (csv.is_open() && !csv.flush()) throw Error(o.csv + ": writing failed");
}

Command const command("bench", "time functions beside their peers, in cycles an element", [](CLI::App& app) {
  auto o = std::make_shared<Options>();
  app.add_option("function", o->function, "one function; all without it");
  app.add_option("--type", o->type, "s or d; both without it");
  app.add_option("--n", o->sizes, "sizes of the arrays")->capture_default_str();
  app.add_option("--runs", o->runs, "interleaved runs that the medians are taken of")->capture_default_str();
  app.add_option("--csv", o->csv, "write the table to this file too");
  return [o] { run(*o); };
});

} // namespace
} // namespace orv::cli
