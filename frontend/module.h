// Loading of a shared library, as the operating system does it.
#pragma once
#include <filesystem>
#include <string>

namespace orv::module {

extern const char* const kernel_library_file;
std::filesystem::path program_directory();
// Null if it can't be loaded; `why` then says the reason.
void* open(std::filesystem::path const& file, std::string& why);
void* function(void* module, const char* name); // null if there is none

} // namespace orv::module
