// What the operating system gives, and nothing more. Everything above this header is the same on all targets.
#pragma once
#include <cstddef>

namespace orv::platform {

// A value of address size for each thread. `get` is null until `set`, also while there is no slot; the value of a thread that ends is
// handed to the `on_thread_exit` of attach.h.
bool slot_create();
void slot_free();
bool slot_exists();
#ifdef __linux__
// One load from the thread register: the offset is fixed when the library is loaded.
extern __thread void* slot_value __attribute__((tls_model("initial-exec"), visibility("hidden")));
inline void* slot_get() { return slot_value; }
#else
void* slot_get();
#endif
bool slot_set(void* value);

// A heap of the library's own, usable while the library is being loaded. Destroying it frees all its blocks.
bool heap_create(std::size_t initial_bytes);
bool heap_exists();
void* heap_allocate(std::size_t bytes); // zero-filled, or null
void heap_free(void* block);
void heap_destroy();

// The function `name` of the core library, which lies in this library's own directory. Null if either is missing;
// the first time one line on standard error then says which, and why. The first look-up takes a reference to the
// core library, which release_core gives back: while this library is unloaded, when nothing of the core library is
// called any more.
void* core_function(const char* name);
void release_core();

// The calling thread's errno as the program sees it; null if no runtime library shows one.
int* errno_location();

// One line on standard error, unless `what` is null, then the end of the process. For what cannot go on.
[[noreturn]] void die(const char* what, const char* detail, int code);

} // namespace orv::platform
