// The kernel library, loaded when it is first needed and after the processor check.
//
//   auto* new_stream = ORV_FUNCTION_OF(__rnqNewStreamEx);   // typed by its declaration; throws orv::Error
#pragma once
#include "frontend/error.h"

namespace orv {

class Library {
 public:
  // Throws Error if the processor or the system lacks AVX2 or FMA, or the library cannot be loaded.
  static Library& get();
  // Throws Error if there is no such export.
  void* symbol(const char* name) const;
  void* find(const char* name) const; // null instead
  template <class T>
  T* typed(const char* name) const {
    return reinterpret_cast<T*>(symbol(name));
  }

 private:
  Library();
  void* handle_;
};

// Empty if the processor and the system can run the kernels, else what is missing.
std::string missing_processor_features();

} // namespace orv

#define ORV_FUNCTION_OF(name) (::orv::Library::get().typed<decltype(name)>(#name))
