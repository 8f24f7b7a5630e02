// Copies of the libraries in a directory of their own, loaded and unloaded as plug-ins are: the core library comes
// and goes with the kernel library, and is named where it is missing.
#include "orv/core.h"
#include "orv/fitting.h"
#include "orv/mode.h"
#include "orv/statistics.h"
#include "orv/streams.h"
#include "tests/support/environment.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <gtest/gtest.h>
#include <thread>
#ifdef _WIN32
#  include <windows.h>
#else
#  include <dlfcn.h>
#  include <unistd.h>
#endif

namespace fs = std::filesystem;

namespace {

#ifdef _WIN32
constexpr const char *kernel_file = "orv_elw_avx2.2.dll", *core_file = "orv_core.2.dll";
using Handle = HMODULE;
Handle open_library(fs::path const& file) { return LoadLibraryW(file.c_str()); }
void close_library(Handle handle) { FreeLibrary(handle); }
void* address_of(Handle handle, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(handle, name));
}
bool is_loaded(fs::path const& file) { return GetModuleHandleW(file.c_str()) != nullptr; }
unsigned long process() { return GetCurrentProcessId(); }
#else
constexpr const char *kernel_file = "liborv_elw_avx2.so.2", *core_file = "liborv_core.so.2";
using Handle = void*;
Handle open_library(fs::path const& file) { return dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL); }
void close_library(Handle handle) { dlclose(handle); }
void* address_of(Handle handle, const char* name) { return dlsym(handle, name); }
bool is_loaded(fs::path const& file) {
  void* const handle = dlopen(file.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (handle) dlclose(handle);
  return handle != nullptr;
}
int process() { return getpid(); }
#endif

// A directory whose name has letters of several scripts.
class LoadedCopy : public ::testing::Test {
 protected:
  LoadedCopy() {
    place_ = fs::temp_directory_path() / fs::path(u8"orv_\u043a\u043e\u0434_\u6570_\u00e9");
    place_ += number();
    fs::create_directories(place_);
    fs::copy_file(fs::path(ORV_BIN_DIR) / kernel_file, place_ / kernel_file);
  }
  ~LoadedCopy() override {
    if (handle_) unload();
    std::error_code ignored;
    fs::remove_all(place_, ignored);
  }
  void add_core() { fs::copy_file(fs::path(ORV_BIN_DIR) / core_file, place_ / core_file); }
  void load() {
    handle_ = open_library(place_ / kernel_file);
    ASSERT_TRUE(handle_) << "the copy cannot be loaded";
  }
  void unload() { close_library(std::exchange(handle_, nullptr)); }
  template <class F>
  F* function(const char* name, F*) {
    return reinterpret_cast<F*>(address_of(handle_, name));
  }
  // Until then the core library's last thread may be at work.
  bool core_is_gone() {
    for (int i = 0; i < 500 && is_loaded(place_ / core_file); ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return !is_loaded(place_ / core_file);
  }

  fs::path place_;
  Handle handle_ = nullptr;

 private:
  // A directory for each test: on Windows a file stays as long as its library is loaded.
  static std::string number() {
    static int count = 0;
    return std::to_string(process()) + "_" + std::to_string(++count);
  }
};
#define FUNCTION(name) function(#name, &name)

TEST_F(LoadedCopy, TheCoreLibraryComesAndGoesWithTheKernelLibrary) {
  add_core();
  orv::test::set_environment("ORV_NUM_THREADS", "3");
  std::vector<double> r(318 * 0x2000);
  for (int round = 0; round < 12; ++round) {
    load();
    EXPECT_FALSE(is_loaded(place_ / core_file)) << "nothing has asked for it";
    RngStream* stream = nullptr;
    uint32_t const dimension = 318;
    ASSERT_EQ(FUNCTION(__rnqNewStreamEx)(&stream, RnqNiederr, 1, &dimension), RnqOk);
    EXPECT_TRUE(is_loaded(place_ / core_file));
    if (round % 3 != 0) { // wide enough for the core's threads
      BrngProperties row;
      ASSERT_EQ(FUNCTION(__rnqGetBrngProperties)(RnqNiederr, &row), RnqOk);
      ASSERT_EQ(row.generateDouble(stream, static_cast<int>(r.size()), r.data(), 0, 1), RnqOk);
      ASSERT_TRUE(std::ranges::all_of(r, [](double x) { return x > 0 && x < 1; }));
    }
    ASSERT_EQ(FUNCTION(__rnqDeleteStream)(&stream), RnqOk);
    unload();
    ASSERT_FALSE(is_loaded(place_ / kernel_file)) << "round " << round;
    ASSERT_TRUE(core_is_gone()) << "round " << round;
  }
  orv::test::set_environment("ORV_NUM_THREADS", nullptr);
}

TEST_F(LoadedCopy, AnotherUserOfTheCoreLibraryKeepsIt) {
  add_core();
  Handle const core = open_library(place_ / core_file);
  ASSERT_TRUE(core);
  load();
  RngStream* stream = nullptr;
  ASSERT_EQ(FUNCTION(__rnqNewStreamEx)(&stream, RnqMT19937, 0, nullptr), RnqOk);
  ASSERT_EQ(FUNCTION(__rnqDeleteStream)(&stream), RnqOk);
  unload();
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  ASSERT_TRUE(is_loaded(place_ / core_file));
  auto* const each =
      reinterpret_cast<decltype(&orv_rnq_serv_threader_for)>(address_of(core, "orv_rnq_serv_threader_for"));
  std::atomic<int> sum{0};
  each(20, 0, &sum,
       [](int chunk, int, int, void* total) { *static_cast<std::atomic<int>*>(total) += chunk; });
  EXPECT_EQ(sum, 190);
  close_library(core);
}

TEST_F(LoadedCopy, AMissingCoreLibraryIsNamedWhereMemoryWasAskedFor) {
  load();
  double const x[] = {0, 1, 2};
  int const p = 1;
  auto const told = [](auto&& call) {
    ::testing::internal::CaptureStderr();
    call();
    return ::testing::internal::GetCapturedStderr();
  };
  std::string const text = told([&] {
    DFTask* task = nullptr;
    EXPECT_EQ(FUNCTION(orv_df_kernel_dNewTask1D)(&task, 3, x, DFNonUniform, 0, nullptr, DFRows, 0),
              DFStatusNoMemory);
  });
  EXPECT_NE(text.find("orv: the core library cannot be loaded: "), std::string::npos) << text;
  EXPECT_NE(text.find(core_file), std::string::npos) << text;
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
  // Said once.
  EXPECT_EQ(told([&] {
              SSTask* task = nullptr;
              EXPECT_EQ(FUNCTION(__rnqdSSNewTask)(&task, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 0),
                        SSOutOfMemory);
            }),
            "");
  // A core library that comes later is found.
  add_core();
  DFTask* task = nullptr;
  EXPECT_EQ(FUNCTION(orv_df_kernel_dNewTask1D)(&task, 3, x, DFNonUniform, 0, nullptr, DFRows, 0), DFStatusOk);
  EXPECT_EQ(FUNCTION(orv_df_kernel_DeleteTask)(&task), DFStatusOk);
  unload();
  EXPECT_TRUE(core_is_gone());
}

TEST_F(LoadedCopy, TheDefaultModeComesFromTheSystemsEnvironment) {
  add_core();
#ifdef _WIN32 // which the C runtime's copy doesn't follow
  SetEnvironmentVariableW(L"ORV_ELW_MODE", L"ELW_EP");
#else
  orv::test::set_environment("ORV_ELW_MODE", "ELW_EP");
#endif
  load();
  EXPECT_EQ(FUNCTION(orv_elw_kernel_GetMode)(), 0x1A03u);
  unload();
#ifdef _WIN32
  SetEnvironmentVariableW(L"ORV_ELW_MODE", nullptr);
#else
  orv::test::set_environment("ORV_ELW_MODE", nullptr);
#endif
}

#ifdef _WIN32
TEST_F(LoadedCopy, AFailedAttachSaysSo) {
  std::vector<DWORD> slots;
  for (DWORD slot; (slot = TlsAlloc()) != TLS_OUT_OF_INDEXES;) slots.push_back(slot);
  ::testing::internal::CaptureStderr();
  handle_ = open_library(place_ / kernel_file);
  std::string const text = ::testing::internal::GetCapturedStderr();
  for (DWORD const slot : slots) TlsFree(slot);
  EXPECT_FALSE(handle_);
  EXPECT_NE(text.find("orv: cannot load: no memory for the state of a thread"), std::string::npos) << text;
}
#endif

} // namespace
