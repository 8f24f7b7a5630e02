// What tests of the front end share.
#pragma once
#include "frontend/error.h"

#include <gtest/gtest.h>

namespace orv::test {

// The text of the Error that `f` throws; a failure without one.
template <class F>
std::string message_of(F&& f) {
  try {
    f();
  } catch (Error const& e) {
    return e.what();
  }
  ADD_FAILURE() << "no Error is thrown";
  return {};
}

} // namespace orv::test
