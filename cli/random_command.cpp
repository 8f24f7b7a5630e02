// orv random: numbers of a basic generator, printed or written to a file.
#include "cli/command.h"
#include "frontend/distributions.h"
#include "frontend/library.h"
#include "orv/streams.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fmt/format.h>
#include <limits>
#include <memory>
#include <optional>

namespace orv::cli {
namespace {

struct Family {
  const char* name;
  int32_t number;
  uint32_t members;
};
constexpr Family families[] = {{"MCG31M1", RnqMCG31M1, 1},
                               {"R250", RnqR250, 1},
                               {"MRG32K3A", RnqMRG32K3A, 1},
                               {"MCG59", RnqMCG59, 1},
                               {"WH", RnqWH, 273},
                               {"Sobol", RnqSobol, 1},
                               {"Niederr", RnqNiederr, 1},
                               {"MT19937", RnqMT19937, 1},
                               {"MT2203", RnqMT2203, 6024},
                               {"SFMT19937", RnqSFMT19937, 1},
                               {"TRNG", RnqTRNG, 1},
                               {"ARS5", RnqARS5, 1},
                               {"PHILOX4X32X10", RnqPHILOX4X32X10, 1}};

struct Options {
  std::string brng = "MT19937", seed = "1", type = "d", interval = "0,1", n = "10", out, skip, leapfrog, save,
              load, dist, params;
  int dimension = 0, method = 0;
  bool integer = false, list = false, summary = false;
};

bool same_letters(std::string const& a, std::string const& b) {
  auto const lower = [](char c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [&](char x, char y) { return lower(x) == lower(y); });
}

std::vector<std::string> split(std::string const& text, char separator) {
  std::vector<std::string> parts(1);
  for (char c : text)
    if (c == separator)
      parts.emplace_back();
    else
      parts.back() += c;
  return parts;
}

// A whole number, decimal or with 0x before it.
uint64_t whole(std::string const& text, uint64_t most, std::string const& where) {
  bool const hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  uint64_t value = 0;
  auto const* first = text.data() + (hexadecimal ? 2 : 0);
  auto const [end, error] = std::from_chars(first, text.data() + text.size(), value, hexadecimal ? 16 : 10);
  if (error == std::errc::invalid_argument || end != text.data() + text.size())
    throw Error(fmt::format("{}: '{}' is not a whole number", where, text));
  if (error == std::errc::result_out_of_range || value > most)
    throw Error(fmt::format("{}: {} is above {}, the largest that is taken", where, text, most));
  return value;
}

int32_t number_of(std::string const& text) {
  auto const colon = text.find(':');
  std::string const name = text.substr(0, colon);
  std::string names;
  for (auto const& f : families) {
    names += (names.empty() ? "" : ", ") + std::string(f.name);
    if (!same_letters(name, f.name)) continue;
    if (colon == std::string::npos) return f.number;
    if (f.members == 1)
      throw Error(fmt::format("--brng: {} has no members; leave out ':{}'", f.name, text.substr(colon + 1)));
    uint64_t const most = f.members - 1;
    return f.number + static_cast<int32_t>(
                          whole(text.substr(colon + 1), most, fmt::format("--brng: member of {}", f.name)));
  }
  throw Error(fmt::format(
      "--brng: there is no generator '{}'; there are {} (members of WH and MT2203 as WH:5)", name, names));
}

std::string status_text(int32_t status) {
  switch (status) {
  case RnqErrBadBrng:
    return "this generator cannot be used here";
  case RnqErrNoMemory:
    return "there is not enough memory";
  case RnqErrNoLeapfrog:
    return "this generator has no leapfrog, or not with these numbers";
  case RnqErrNoSkipAhead:
    return "this generator cannot skip ahead, or not that far";
  case RnqErrQuasiPeriodExceeded:
    return "more points are asked for than the sequence has";
  case RnqErrFileOpen:
    return "the file cannot be opened";
  case RnqErrFileRead:
    return "the file ends too early, or cannot be read";
  case RnqErrFileWrite:
  case RnqErrFileClose:
    return "the file cannot be written";
  case RnqErrBadFileFormat:
    return "this is no stream that was saved, or one of a generator that is not known here";
  case RnqErrNullArgument:
    return "a stream of a caller's own numbers cannot be continued in another process";
  case RnqErrNoRdrand:
    return "this processor has no RDRAND";
  case RnqErrRdrandFailed:
    return "the processor's random number source kept failing";
  case RnqErrNoAes:
    return "this processor has no AES instructions";
  default:
    return fmt::format("status {}", status);
  }
}
void expect(int32_t status, const char* what) {
  if (status < 0) throw Error(fmt::format("{}: {}", what, status_text(status)));
}

class Stream {
 public:
  Stream(int32_t brng, std::vector<uint32_t> const& seed) {
    RngStream* created = nullptr;
    int32_t const status =
        ORV_FUNCTION_OF(__rnqNewStreamEx)(&created, brng, static_cast<int32_t>(seed.size()), seed.data());
    stream_.reset(created);
    expect(status, "creating the stream");
    look_up();
  }
  explicit Stream(std::string const& file) {
    RngStream* loaded = nullptr;
    int32_t const status = ORV_FUNCTION_OF(__rnqLoadStreamF)(&loaded, file.c_str(), -1);
    stream_.reset(loaded);
    expect(status, ("--load: " + file).c_str());
    look_up();
  }
  void save(std::string const& file) const {
    expect(ORV_FUNCTION_OF(__rnqSaveStreamF)(get(), file.c_str(), -1), ("--save: " + file).c_str());
  }
  RngStream* get() const { return stream_.get(); }
  BrngProperties const& row() const { return row_; }

 private:
  void look_up() {
    expect(ORV_FUNCTION_OF(__rnqGetBrngProperties)(get()->brng, &row_), "looking up the generator");
  }
  struct Delete {
    void operator()(RngStream* s) const { ORV_FUNCTION_OF(__rnqDeleteStream)(&s); }
  };
  std::unique_ptr<RngStream, Delete> stream_;
  BrngProperties row_;
};

void print(std::vector<char> const& block, std::size_t n, char kind, int word_size) {
  fmt::memory_buffer text;
  auto const out = std::back_inserter(text);
  for (std::size_t i = 0; i < n; ++i) {
    auto const at = [&](auto sample, std::size_t index) {
      std::memcpy(&sample, block.data() + index * sizeof sample, sizeof sample);
      return sample;
    };
    if (kind == 'd')
      fmt::format_to(out, "{:.17g}", at(0.0, i));
    else if (kind == 's')
      fmt::format_to(out, "{:.9g}", at(0.0f, i));
    else if (word_size == 8)
      fmt::format_to(out, "{}", at(uint64_t{}, i));
    else
      for (int k = 0; k < word_size / 4; ++k)
        fmt::format_to(out, "{}{}", k ? " " : "", at(uint32_t{}, i * word_size / 4 + k));
    text.push_back('\n');
  }
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size())
    throw Error("standard output cannot be written to");
}

bool is_quasi(int32_t brng) { return brng == RnqSobol || brng == RnqNiederr; }

Stream make_stream(Options const& o, bool seed_given, bool brng_given) {
  if (!o.load.empty()) {
    if (seed_given || brng_given || o.dimension)
      throw Error("--load brings generator and state; leave out --brng, --seed and --dimension");
    return Stream(o.load);
  }
  int32_t const brng = number_of(o.brng);
  std::vector<uint32_t> seed;
  if (is_quasi(brng)) {
    int const most = brng == RnqSobol ? 40 : 318;
    if (seed_given) throw Error("--seed: Sobol and Niederr have none; give --dimension");
    if (o.dimension < 0 || o.dimension > most)
      throw Error(fmt::format("--dimension: {} is not from 1 to {}", o.dimension, most));
    seed.push_back(o.dimension ? static_cast<uint32_t>(o.dimension) : 1);
  } else {
    if (o.dimension) throw Error("--dimension is for Sobol and Niederr");
    if (!o.seed.empty())
      for (auto const& s : split(o.seed, ','))
        seed.push_back(static_cast<uint32_t>(whole(s, 0xFFFFFFFF, "--seed")));
  }
  return Stream(brng, seed);
}

struct Interval {
  double a, b;
};
Interval read_interval(Options const& o) {
  auto const bounds = split(o.interval, ',');
  if (bounds.size() != 2) throw Error("--interval wants two numbers, A,B");
  double const a = parse_number(bounds[0], "--interval"), b = parse_number(bounds[1], "--interval");
  double const largest =
      o.type == "s" ? std::numeric_limits<float>::max() : std::numeric_limits<double>::max();
  if (!(a < b)) throw Error(fmt::format("--interval: {} is not below {}", bounds[0], bounds[1]));
  if (a < -largest || b > largest || b - a > largest)
    throw Error("--interval: the interval's length must be finite in the type that is asked for");
  return {a, b};
}

void jump(Options const& o, Stream const& stream) {
  if (!o.leapfrog.empty()) {
    auto const parts = split(o.leapfrog, ',');
    if (parts.size() != 2) throw Error("--leapfrog wants two numbers: K,N for stream K (from 0) of N");
    uint64_t const streams = whole(parts[1], INT32_MAX, "--leapfrog"),
                   k = whole(parts[0], INT32_MAX, "--leapfrog");
    if (k >= streams)
      throw Error(
          fmt::format("--leapfrog: stream {} is not one of {}; they are numbered from 0", k, streams));
    expect(ORV_FUNCTION_OF(__rnqLeapfrogStream)(stream.get(), static_cast<int32_t>(k),
                                                static_cast<int32_t>(streams)),
           "--leapfrog");
  }
  if (!o.skip.empty())
    expect(ORV_FUNCTION_OF(__rnqSkipAheadStream)(stream.get(), whole(o.skip, UINT64_MAX, "--skip")),
           "--skip");
}

void draw(Stream const& stream, char kind, int32_t n, char* block, Interval const& interval) {
  auto const& row = stream.row();
  auto const [a, b] = interval;
  int32_t status;
  if (kind == 'i')
    status = row.generateInteger(stream.get(), n, block);
  else if (kind == 'd')
    status = row.generateDouble(stream.get(), n, reinterpret_cast<double*>(block), a, b);
  else
    status = row.generateSingle(stream.get(), n, reinterpret_cast<float*>(block), static_cast<float>(a),
                                static_cast<float>(b));
  expect(status, "drawing");
}

void list_distributions() {
  for (DistributionInfo const& d : distributions()) {
    std::string line = fmt::format("{:<15}", std::string(d.name));
    for (ParameterRange const& p : d.parameters) {
      std::string const low = p.low <= -1e300 ? "-inf" : fmt::format("{}", p.low),
                        high = p.high >= 1e300 ? "inf" : fmt::format("{}", p.high);
      line += fmt::format(" {} in {}{}, {}{}", std::string(p.name), p.low_open ? '(' : '[', low, high,
                          p.high_open ? ')' : ']');
      line += p.whole ? " whole;" : ";";
    }
    for (std::size_t i = 0; i < d.methods.size(); ++i)
      line += fmt::format(" method {} {};", i, std::string(d.methods[i]));
    line.pop_back();
    std::puts(line.c_str());
  }
}

void print_summary(std::vector<double> r) {
  if (r.empty()) return;
  double mean = 0, square = 0;
  for (std::size_t i = 0; i < r.size(); ++i) {
    double const step = r[i] - mean;
    mean += step / static_cast<double>(i + 1);
    square += step * (r[i] - mean);
  }
  std::sort(r.begin(), r.end());
  double const sd = r.size() > 1 ? std::sqrt(square / static_cast<double>(r.size() - 1)) : 0;
  fmt::print("n {}\nmean {:.10g}\nsd {:.10g}\nmin {:.17g}\nmedian {:.17g}\nmax {:.17g}\n", r.size(), mean, sd,
             r.front(), r[(r.size() - 1) / 2], r.back());
}

void run_distribution(Options const& o, bool seed_given, bool brng_given) {
  DistributionInfo const& distribution = distribution_of(o.dist);
  std::vector<double> parameters;
  if (!o.params.empty())
    for (auto const& text : split(o.params, ',')) parameters.push_back(parse_number(text, "--params"));
  check_parameters(distribution, parameters);
  std::vector<double> r(whole(o.n, uint64_t{1} << 27, "--n"));
  Stream const stream = make_stream(o, seed_given, brng_given);
  jump(o, stream);
  orv::draw(stream.get(), distribution, o.method, parameters, r);
  if (o.summary) {
    print_summary(r);
  } else {
    for (double x : r) fmt::print("{:.17g}\n", x);
  }
  if (std::fflush(stdout) != 0) throw Error("standard output cannot be written to");
  if (!o.save.empty()) stream.save(o.save);
}

void run(Options const& o, bool seed_given, bool brng_given) {
  if (o.list) return list_distributions();
  if (!o.dist.empty()) return run_distribution(o, seed_given, brng_given);
  if (!o.params.empty() || o.method || o.summary)
    throw Error("--params, --method and --summary belong to --dist");
  if (o.type != "d" && o.type != "s")
    throw Error(
        fmt::format("--type: there is no type '{}'; there are s (single) and d (double precision)", o.type));
  Interval const interval = read_interval(o);
  uint64_t const count = whole(o.n, UINT64_MAX, "--n");
  Stream const stream = make_stream(o, seed_given, brng_given);
  jump(o, stream);

  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(nullptr, std::fclose);
  if (!o.out.empty()) {
    file.reset(std::fopen(o.out.c_str(), "wb"));
    if (!file) throw Error("cannot open " + o.out + " for writing");
  }
  char const kind = o.integer ? 'i' : o.type[0];
  std::size_t const bytes = kind == 'd' ? 8 : kind == 's' ? 4 : stream.row().wordSize;
  constexpr uint64_t block_size = 1 << 16;
  std::vector<char> block(block_size * bytes);
  Progress progress("drawing", static_cast<double>(count));
  for (uint64_t done = 0; done < count;) {
    uint64_t const part = std::min(block_size, count - done);
    draw(stream, kind, static_cast<int32_t>(part), block.data(), interval);
    if (!file)
      print(block, part, kind, stream.row().wordSize);
    else if (std::fwrite(block.data(), bytes, part, file.get()) != part)
      throw Error("writing to " + o.out + " failed");
    done += part;
    progress.update(static_cast<double>(done));
  }
  if (file && std::fclose(file.release()) != 0) throw Error("writing to " + o.out + " failed");
  if (!file && std::fflush(stdout) != 0) throw Error("standard output cannot be written to");
  if (!o.save.empty()) stream.save(o.save);
}

Command const command("random", "draw random numbers of a generator or a distribution", [](CLI::App& app) {
  auto o = std::make_shared<Options>();
  auto const* brng =
      app.add_option("--brng", o->brng, "generator, such as MT19937, or with a member: MT2203:17")
          ->capture_default_str();
  auto const* seed = app.add_option("--seed", o->seed, "seed words, 32 bits each, separated by commas")
                         ->capture_default_str();
  app.add_option("-n,--n", o->n, "how many numbers")->capture_default_str();
  app.add_option("--type", o->type, "s (single) or d (double precision)")->capture_default_str();
  app.add_option("--interval", o->interval, "A,B: numbers are spread over it")->capture_default_str();
  app.add_flag("--integer", o->integer, "the generator's words as they are, instead of reals");
  app.add_option("--dist", o->dist, "numbers of this distribution, such as gamma");
  app.add_option("--params", o->params, "its parameters, separated by commas");
  app.add_option("--method", o->method, "number of its method");
  app.add_flag("--list", o->list, "list distributions with the ranges of their parameters and their methods");
  app.add_flag("--summary", o->summary, "with --dist: print mean, deviation and extremes instead of numbers");
  app.add_option("--skip", o->skip, "leave out this many numbers first, by a jump");
  app.add_option("--leapfrog", o->leapfrog, "K,N: every N-th number, from number K (from 0)");
  app.add_option("--out", o->out, "write binary numbers to this file instead of printing them");
  app.add_option("--dimension", o->dimension,
                 "coordinates of a point of Sobol or Niederr; they come one after the other");
  app.add_option("--save", o->save, "keep the state in this file afterwards");
  app.add_option("--load", o->load, "go on from a state that was kept");
  app.footer("The same generator and seed give the same numbers on every machine.\n"
             "  orv random --brng MT2203:17 --seed 1,2,3 --n 5 --type d --interval 0,1\n"
             "  orv random --dist gamma --params 2.5,0,1 --n 1000 --summary");
  app.allow_extras(false);
  return [o, seed, brng] { run(*o, seed->count() > 0, brng->count() > 0); };
});

} // namespace
} // namespace orv::cli
