// The library's attach and detach events, called by the platform's loader hook.
#pragma once

namespace orv {

bool on_process_attach();         // false: the library cannot be loaded
void on_thread_exit(void* block); // block: the thread's slot value, not null
void on_library_unload();         // the process lives on
} // namespace orv
