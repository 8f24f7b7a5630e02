// The shared library as applications meet it: its symbols, thunks, load and unload.
#include "frame/functions.h"
#include "orv/elementwise.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
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

// The instructions of an entry, by name.
std::vector<std::string> disassembly(void* handle, std::string const& name) {
  Dl_info info;
  void* address = dlsym(handle, name.c_str());
  if (!address || !dladdr(address, &info)) return {};
  auto const offset = static_cast<char*>(address) - static_cast<char*>(info.dli_fbase);
  char command[512];
  std::snprintf(command, sizeof command,
                "objdump -d --no-show-raw-insn --start-address=%td --stop-address=%td %s | sed -n 's/^ "
                "*[0-9a-f]*:\\t//p'",
                offset, offset + 16, library.c_str());
  return lines_of(command);
}

TEST(Thunks, OneLoadAndOneJump) {
  void* handle = dlopen(library.c_str(), RTLD_NOW);
  ASSERT_NE(handle, nullptr) << dlerror();
  for (Function const& f : functions) {
    if (f.form == Form::pack) continue;
    for (const char* form : {"", "I"})
      for (const char* level : {"", "_HA"}) {
        auto const code =
            disassembly(handle, std::string("_elw") + f.type + std::string(f.name) + form + level);
        ASSERT_GE(code.size(), 1u);
#ifdef __x86_64__
        EXPECT_EQ(code[0].find("jmp    *"), 0u) << f.name << ": " << code[0];
#else
        ASSERT_GE(code.size(), 2u);
        EXPECT_EQ(code[0].find("call   "), 0u) << f.name << ": " << code[0];
        EXPECT_EQ(code[1].find("jmp    *"), 0u) << f.name << ": " << code[1];
#endif
      }
    // One entry point, two names; the other levels are entries of their own.
    std::string const name = std::string("_elw") + f.type + std::string(f.name);
    EXPECT_EQ(dlsym(handle, name.c_str()), dlsym(handle, (name + "_HA").c_str()));
    EXPECT_NE(dlsym(handle, name.c_str()),
              dlsym(handle, (name + (f.type == 's' || f.type == 'c' ? "_21" : "_50")).c_str()));
    if (f.name != "Exp" && f.name != "Add") break; // a disassembler run each: the first, and two more kinds
  }
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
