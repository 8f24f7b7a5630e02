// The command line tool.
#include "cli/command.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fmt/format.h>
#include <new>
#ifdef _WIN32
#  include <fcntl.h>
#  include <io.h>
#else
#  include <unistd.h>
#endif

namespace orv::cli {

std::vector<Command const*>& commands() {
  static std::vector<Command const*> list;
  return list;
}

Command::Command(std::string n, std::string d, Setup s)
    : name(std::move(n)), description(std::move(d)), setup(std::move(s)) {
  commands().push_back(this);
}

namespace {
double now() {
  using namespace std::chrono;
  return duration<double>(steady_clock::now().time_since_epoch()).count();
}
} // namespace

Progress::Progress(std::string what, double total)
    : what_(std::move(what)), total_(total), start_(now()), terminal_(isatty(2)) {}

void Progress::update(double done) {
  double const t = now();
  if (t - start_ < 1 || t - last_ < (terminal_ ? 0.2 : 10)) return;
  last_ = t;
  shown_ = true;
  std::string const far = total_ > 0
                              ? fmt::format("{} %", static_cast<int>(100 * std::min(1.0, done / total_)))
                              : fmt::format("{:.1f} MB", done / 1e6);
  fmt::print(stderr, "{}{}: {}, {:.0f} s{}", terminal_ ? "\r" : "", what_, far, t - start_,
             terminal_ ? "  " : "\n");
  std::fflush(stderr);
}

Progress::~Progress() {
  if (shown_ && terminal_) fmt::print(stderr, "\r{:78}\r", "");
}

} // namespace orv::cli

int main(int argc, char** argv) {
  using namespace orv::cli;
#ifdef _WIN32 // the same bytes on every target
  for (int const stream : {0, 1, 2}) _setmode(stream, _O_BINARY);
#endif
  CLI::App app{"Numerical kernels over numbers, CSV columns and random streams", "orv"};
  app.allow_windows_style_options(false); // a path may begin with a slash
  app.require_subcommand(1);
  app.set_version_flag("--version", std::string("orv " ORV_VERSION " (" ORV_TARGET ")"));
  app.get_formatter()->column_width(34);
  auto list = commands();
  std::ranges::sort(list, {}, [](Command const* c) { return c->name; });
  std::function<void()> run;
  for (Command const* command : list) {
    CLI::App* sub = app.add_subcommand(command->name, command->description);
    auto action = command->setup(*sub);
    sub->final_callback([&run, action] { run = action; });
  }
  try {
    app.parse(argc, argv);
    run();
    // A flush that failed before, as of a table that grows line by line, left its mark.
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) throw orv::Error("writing the output failed");
    return 0;
  } catch (CLI::ParseError const& e) {
    return app.exit(e) == 0 ? 0 : 2;
  } catch (std::bad_alloc const&) {
    fmt::print(stderr, "orv: there is not enough memory\n");
    return 1;
  } catch (std::exception const& e) {
    std::fflush(stdout);
    fmt::print(stderr, "orv: {}\n", e.what());
    return 1;
  }
}
