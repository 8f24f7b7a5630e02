// Variables of the environment; null unsets one.
#pragma once
#include <cstdlib>

namespace orv::test {

inline void set_environment(const char* name, const char* value) {
#ifdef _WIN32
  _putenv_s(name, value ? value : "");
#else
  if (value)
    setenv(name, value, 1);
  else
    unsetenv(name);
#endif
}

} // namespace orv::test
