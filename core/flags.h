// The one-character flags of BLAS and LAPACK, in either case.
#pragma once

namespace orv::linalg {

enum class Trans { no, yes, bad };
enum class Uplo { upper, lower, bad };
enum class Side { left, right, bad };
enum class Diag { unit, stored, bad };

inline char capital(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }
inline Trans trans(char c) {
  c = capital(c);
  return c == 'N' ? Trans::no : c == 'T' || c == 'C' ? Trans::yes : Trans::bad;
}
inline Uplo uplo(char c) {
  c = capital(c);
  return c == 'U' ? Uplo::upper : c == 'L' ? Uplo::lower : Uplo::bad;
}
inline Side side(char c) {
  c = capital(c);
  return c == 'L' ? Side::left : c == 'R' ? Side::right : Side::bad;
}
inline Diag diag(char c) {
  c = capital(c);
  return c == 'U' ? Diag::unit : c == 'N' ? Diag::stored : Diag::bad;
}

} // namespace orv::linalg
