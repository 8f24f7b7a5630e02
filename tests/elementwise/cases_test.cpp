// Special values and statuses by family, from tables of cases: tests/vectors/elementwise/*.txt. A line is
//   NAME TYPES LEVELS : OPERANDS -> RESULTS [status N]
// with * for all real types or all levels. A complex operand or result is two numbers. Results are compared as bits; "nan" is any quiet NaN, "~x" within 2 ulp.
#include "tests/elementwise/support.h"

#include <filesystem>
#include <fstream>
#include <sstream>

namespace orv::test {
namespace {

template <class T>
T parse(std::string const& text) {
  using L = std::numeric_limits<T>;
  if (text == "denorm_min") return L::denorm_min();
  if (text == "-denorm_min") return -L::denorm_min();
  if (text == "min") return L::min();
  if (text == "max") return L::max();
  if (text == "-max") return -L::max();
  if (text == "snan") return L::signaling_NaN();
  char* end = nullptr;
  T const value = sizeof(T) == 4 ? static_cast<T>(std::strtof(text.c_str(), &end))
                                 : static_cast<T>(std::strtod(text.c_str(), &end));
  EXPECT_EQ(*end, 0) << "not a number: " << text;
  return value;
}

template <class T>
void expect(T got, std::string const& text) {
  if (text == "nan") {
    EXPECT_TRUE(std::isnan(got));
    EXPECT_TRUE(bits(got) & (BitsOf<T>{1} << (std::numeric_limits<T>::digits - 2))) << "not quiet";
  } else if (text[0] == '~') {
    T const want = parse<T>(text.substr(1));
    T const unit = std::nextafter(std::fabs(want), std::numeric_limits<T>::infinity()) - std::fabs(want);
    EXPECT_LE(std::fabs(got - want), 2 * unit) << got << " and " << want;
  } else {
    EXPECT_EQ(bits(got), bits(parse<T>(text))) << got << " where " << text << " is due";
  }
}

struct Case {
  std::vector<std::string> operands, results;
  int status = 0;
};

template <class T>
void check(Elementwise const& f, Level level, Case const& c) {
  T const a = parse<T>(c.operands[0]), b = c.operands.size() > 1 ? parse<T>(c.operands[1]) : T(0);
  // In the last place of a full vector and a tail, behind ordinary values.
  for (std::size_t place : {0, 7, 9}) {
    std::vector<T> va(place + 1, T(0.875)), vb(place + 1, T(1.125));
    std::memcpy(&va[place], &a, sizeof(T));
    std::memcpy(&vb[place], &b, sizeof(T));
    auto const r = call(f, level, va, vb, static_cast<double>(b));
    expect(r.r1[place], c.results[0]);
    if (c.results.size() > 1) expect(r.r2[place], c.results[1]);
    EXPECT_EQ(r.status[place], c.status);
  }
}

// Operands and results of two numbers, a result that is real of one.
template <class T>
void check_complex(Elementwise const& f, Level level, Case const& c) {
  std::size_t const results = c.results.size();
  for (std::size_t place : {0, 7, 9}) {
    std::vector<T> a(2 * (place + 1), T(0.875)), b(2 * (place + 1), T(1.125)), r(results * (place + 1));
    for (std::size_t k = 0; k < c.operands.size(); ++k) {
      T const x = parse<T>(c.operands[k]);
      std::memcpy(&(k < 2 ? a : b)[2 * place + k % 2], &x, sizeof(T));
    }
    Arrays x{.a = a.data(), .b = b.data(), .r1 = r.data()};
    x.scalars[0] = static_cast<double>(b[2 * place]);
    x.scalars[1] = static_cast<double>(b[2 * place + 1]);
    ErrorLog log;
    f.call(level, x, place + 1);
    int status = 0;
    for (auto const& e : log.errors())
      if (e.index == place) status = e.status;
    for (std::size_t k = 0; k < results; ++k) expect(r[results * place + k], c.results[k]);
    EXPECT_EQ(status, c.status);
  }
}

TEST(Cases, SpecialValuesAndStatuses) {
  namespace fs = std::filesystem;
  int count = 0;
  for (auto const& file : fs::directory_iterator(fs::path(ORV_TEST_VECTORS) / "elementwise")) {
    std::ifstream in(file.path());
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
      if (line.empty() || line[0] == '#') continue;
      SCOPED_TRACE(file.path().filename().string() + ":" + std::to_string(number) + ": " + line);
      std::istringstream words(line);
      std::string name, types, levels, word;
      words >> name >> types >> levels >> word;
      Case c;
      while (words >> word && word != "->") c.operands.push_back(word);
      while (words >> word && word != "status") c.results.push_back(word);
      words >> c.status;
      ASSERT_FALSE(c.operands.empty() || c.results.empty());
      for (char type : {'s', 'd', 'c', 'z'}) {
        bool const complex = type == 'c' || type == 'z';
        if (types == "*" ? complex : types.find(type) == std::string::npos) continue;
        auto const f = Elementwise::find(type, name);
        for (Level level : {Level::LA, Level::HA, Level::EP}) {
          if (levels != "*" && levels.find(level_name(level)) == std::string::npos) continue;
          ++count;
          if (type == 'c')
            check_complex<float>(f, level, c);
          else if (type == 'z')
            check_complex<double>(f, level, c);
          else if (type == 's')
            check<float>(f, level, c);
          else
            check<double>(f, level, c);
        }
      }
    }
  }
  EXPECT_GT(count, 0);
}

} // namespace
} // namespace orv::test
