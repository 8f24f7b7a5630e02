#include "platform/attach.h"
namespace orv {
bool on_process_attach() { return true; }
void on_thread_exit(void*) {}
void on_library_unload() {}
} // namespace orv
