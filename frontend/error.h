#pragma once
#include <stdexcept>
#include <string>

namespace orv {

// Something that the caller can mend; the text says what was wrong and what to do.
class Error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

} // namespace orv
