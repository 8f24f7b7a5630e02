// The shared library as applications meet it: its symbols, thunks, load and unload.
#include "frame/functions.h"
#include "orv/elementwise.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <vector>

namespace orv {
namespace {

const std::string library = ORV_BIN_DIR "/liborv_elw_avx2.so.2";
const std::string core = ORV_BIN_DIR "/liborv_core.so.2";

std::vector<std::string> lines_of(std::string const& command) {
  std::vector<std::string> lines;
  std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  char line[4096];
  while (std::fgets(line, sizeof line, pipe.get())) {
    lines.emplace_back(line);
    lines.back().pop_back();
  }
  return lines;
}

std::set<std::string> names_in(std::string const& file) {
  std::set<std::string> names;
  std::ifstream in(file);
  for (std::string line; std::getline(in, line);)
    if (!line.empty()) names.insert(line);
  return names;
}

std::set<std::string> symbols_of(std::string const& file) {
  auto const lines = lines_of("nm -D --defined-only --format=posix " + file + " | cut -d' ' -f1");
  return {lines.begin(), lines.end()};
}

TEST(Exports, SymbolsAreExactlyTheListedOnes) {
  std::set<std::string> listed;
  for (auto const& entry : std::filesystem::directory_iterator(ORV_SOURCE_DIR "/exports"))
    if (entry.path().stem() != "all" && entry.path().stem() != "core") listed.merge(names_in(entry.path()));
  EXPECT_EQ(symbols_of(library), listed);
  EXPECT_EQ(symbols_of(core), names_in(ORV_SOURCE_DIR "/exports/core.txt"));
  auto const all = names_in(ORV_SOURCE_DIR "/exports/all.txt");
  for (std::string const& name : listed) EXPECT_TRUE(all.contains(name)) << name;
}

TEST(Exports, TheListOfFunctionsGivesTheElementwiseNames) {
  std::set<std::string> made;
  for (Function const& f : functions) {
    for (const char* form : {"", "I"}) {
      if (f.form == Form::pack && *form) continue;
      std::string const name = f.type + std::string(f.name) + form;
      bool const single = f.type == 's' || f.type == 'c';
      for (const char* level : {"", "_HA", single ? "_21" : "_50", single ? "_11" : "_26"})
        made.insert("_elw" + name + level);
      made.insert("orv_elw_kernel_" + name + "_ttab");
      made.insert("orv_elw_kernel_" + name + "_ctab");
    }
  }
  EXPECT_EQ(made, names_in(ORV_SOURCE_DIR "/exports/elementwise.txt"));
}

// All instructions between two offsets in the library, by offset, from one run of the disassembler.
std::map<std::ptrdiff_t, std::string> disassembly(std::ptrdiff_t first, std::ptrdiff_t last) {
  char command[512];
  std::snprintf(command, sizeof command,
                "objdump -d --no-show-raw-insn --start-address=%td --stop-address=%td %s", first, last,
                library.c_str());
  std::map<std::ptrdiff_t, std::string> code;
  for (std::string const& line : lines_of(command)) {
    auto const colon = line.find(":\t");
    if (colon != line.npos) code[std::strtoll(line.c_str(), nullptr, 16)] = line.substr(colon + 2);
  }
  return code;
}

class Offsets {
 public:
  explicit Offsets(void* handle) : handle_(handle) {}
  std::ptrdiff_t operator()(std::string const& name) const {
    Dl_info info;
    void* address = dlsym(handle_, name.c_str());
    if (!address || !dladdr(address, &info)) return -1;
    return static_cast<char*>(address) - static_cast<char*>(info.dli_fbase);
  }

 private:
  void* handle_;
};

// The offset that the jump of a thunk takes its target from; -1 if the thunk is anything but one load and one jump.
std::ptrdiff_t slot_of_thunk(std::map<std::ptrdiff_t, std::string> const& code, std::ptrdiff_t at) {
  auto line = code.find(at);
  if (line == code.end()) return -1;
#ifdef __x86_64__
  auto const comment = line->second.find("# ");
  if (line->second.find("jmp    *") != 0 || comment == line->second.npos) return -1;
  return std::strtoll(line->second.c_str() + comment + 2, nullptr, 16);
#else
  // The call leaves the address behind it in eax, which the jump adds to.
  if (line->second.find("call   ") != 0 || ++line == code.end() || line->second.find("jmp    *") != 0)
    return -1;
  return line->first + static_cast<int32_t>(std::strtoll(line->second.c_str() + 8, nullptr, 16));
#endif
}

TEST(Thunks, EachIsOneJumpThroughItsOwnSlot) {
  void* handle = dlopen(library.c_str(), RTLD_NOW);
  ASSERT_NE(handle, nullptr) << dlerror();
  Offsets const offset(handle);
  struct Thunk {
    std::string name, table;
    int slot;
    std::ptrdiff_t at;
  };
  std::vector<Thunk> thunks;
  for (Function const& f : functions) {
    if (f.form == Form::pack) continue;
    bool const single = f.type == 's' || f.type == 'c';
    for (const char* form : {"", "I"}) {
      std::string const base = f.type + std::string(f.name) + form,
                        table = "orv_elw_kernel_" + base + "_ttab";
      for (auto [level, slot] :
           {std::pair{single ? "_21" : "_50", 0}, {"", 1}, {"_HA", 1}, {single ? "_11" : "_26", 2}})
        thunks.push_back({"_elw" + base + level, table, slot, offset("_elw" + base + level)});
    }
  }
  auto const [first, last] = std::minmax_element(thunks.begin(), thunks.end(),
                                                 [](auto const& a, auto const& b) { return a.at < b.at; });
  auto const code = disassembly(first->at, last->at + 16);
  std::set<std::ptrdiff_t> entries;
  for (Thunk const& t : thunks) {
    ASSERT_NE(t.at, -1) << t.name;
    EXPECT_EQ(slot_of_thunk(code, t.at),
              offset(t.table) + t.slot * static_cast<std::ptrdiff_t>(sizeof(void*)))
        << t.name;
    entries.insert(t.at);
  }
  EXPECT_EQ(entries.size(), thunks.size() / 4 * 3) << "an entry for each level, HA with two names";
  dlclose(handle);
}

TEST(Thunks, SlotsRelateAsTheListSays) {
  void* handle = dlopen(library.c_str(), RTLD_NOW);
  ASSERT_NE(handle, nullptr);
  for (Function const& f : functions)
    for (const char* form : {"_ttab", "I_ttab"}) {
      if (f.form == Form::pack && form[0] == 'I') continue;
      auto* slot = static_cast<void* const*>(
          dlsym(handle, ("orv_elw_kernel_" + (f.type + std::string(f.name)) + form).c_str()));
      ASSERT_NE(slot, nullptr);
      EXPECT_EQ(slot[0] == slot[1], f.slots == Slots::one || f.slots == Slots::la_ha) << f.type << f.name;
      EXPECT_EQ(slot[0] == slot[2], f.slots == Slots::one || f.slots == Slots::la_ep) << f.type << f.name;
      auto* cost = static_cast<const float*>(dlsym(
          handle, ("orv_elw_kernel_" + (f.type + std::string(f.name)) + (form[0] == 'I' ? "I_ctab" : "_ctab"))
                      .c_str()));
      EXPECT_EQ(static_cast<const void*>(cost), static_cast<const void*>(slot + 3)) << "side by side";
    }
  dlclose(handle);
}

TEST(Loading, UnloadAndLoadAgainStartsAfresh) {
  // In a child, where nothing else holds the library.
  pid_t const child = fork();
  if (child == 0) {
    setenv("ORV_ELW_MODE", "ELW_EP", 1);
    execl("/proc/self/exe", "test_shared", "--gtest_filter=Loading.DISABLED_Cycle",
          "--gtest_also_run_disabled_tests", nullptr);
    _exit(99);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

// A copy of the library under another name, so that this program's own link to it does not keep it loaded.
TEST(Loading, DISABLED_Cycle) {
  namespace fs = std::filesystem;
  fs::path const place = fs::temp_directory_path() / ("orv_load_" + std::to_string(getpid()));
  fs::create_directories(place);
  fs::copy_file(library, place / "liborv_copy.so");
  fs::copy_file(core, place / "liborv_core.so.2");
  for (int round = 0; round < 200; ++round) {
    void* handle = dlopen((place / "liborv_copy.so").c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(handle, nullptr) << dlerror();
    auto* get = reinterpret_cast<uint32_t (*)()>(dlsym(handle, "orv_elw_kernel_GetMode"));
    auto* set = reinterpret_cast<uint32_t (*)(uint32_t)>(dlsym(handle, "orv_elw_kernel_SetMode"));
    auto* exp = reinterpret_cast<void (*)(int, const double*, double*)>(dlsym(handle, "_elwdExp"));
    ASSERT_EQ(get(), 0x1A03u) << "round " << round;
    set(0x401);
    double x = 1, r = 0;
    exp(1, &x, &r);
    ASSERT_NEAR(r, 2.718281828459045, 1e-15);
    std::thread([&] { set(0x1A01); }).join();
    dlclose(handle);
    ASSERT_EQ(dlopen((place / "liborv_copy.so").c_str(), RTLD_NOW | RTLD_NOLOAD), nullptr) << "still loaded";
  }
  fs::remove_all(place);
}

TEST(Loading, AMissingCoreLibraryEndsInAMessage) {
  namespace fs = std::filesystem;
  fs::path const place = fs::temp_directory_path() / ("orv_alone_" + std::to_string(getpid()));
  fs::create_directories(place);
  fs::copy_file(library, place / "liborv_copy.so");
  auto use = [&] {
    void* handle = dlopen((place / "liborv_copy.so").c_str(), RTLD_NOW);
    if (!handle) std::exit(98);
    reinterpret_cast<uint32_t (*)()>(dlsym(handle, "orv_elw_kernel_GetMode"))(); // reads the environment
    std::exit(97);
  };
  EXPECT_EXIT(use(), ::testing::ExitedWithCode(3), "orv: the core library cannot be loaded: .*liborv_core.so.2");
  fs::remove_all(place);
}

TEST(Loading, TheVersionIsOfThisClassOfProcessors) { EXPECT_EQ(dll_cpu_version(), 9); }

} // namespace
} // namespace orv

extern "C" int orv_c_header_works(void);
TEST(Headers, WorkFromC) { EXPECT_EQ(orv_c_header_works(), 1); }
