#!/usr/bin/env bash
# Installs into an empty directory and builds the examples there, with CMake's find_package and with pkg-config.
# Usage: install_test.sh BUILD SOURCE
set -eu
build=$1 source=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" >/dev/null
flags=$(sed -n 's/^CMAKE_C_FLAGS:[A-Z]*=//p' "$build/CMakeCache.txt")

cat >"$work/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.23)
project(example C CXX)
set(CMAKE_CXX_STANDARD 20)
find_package(orv 2 REQUIRED)
add_executable(c $source/examples/elementwise.c)
target_link_libraries(c orv::elementwise)
add_executable(cpp $source/examples/elementwise.cpp)
target_link_libraries(cpp orv::elementwise)
END
cmake -G Ninja -S "$work" -B "$work/build" -DCMAKE_PREFIX_PATH="$work/prefix" -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" >/dev/null
cmake --build "$work/build" >/dev/null
"$work/build/c" >/dev/null
"$work/build/cpp" >/dev/null

# The examples in the headers' comments, as they stand there.
example() { # HEADER FIRST LAST
  sed -n "/^ \\*   .*$2/,/$3/s/^ \\*   //p" "$work/prefix/include/orv/$1"
}
{
  echo '#include <orv/fitting.h>'
  echo '#include <orv/streams.h>'
  echo 'static int fit(void) {'
  echo '  enum { n = 5, s = 2 };'
  echo '  const double x[n] = {0, 1, 2, 3, 4}, y[n] = {1, 3, 5, 7, 9}, sites[s] = {0.5, 2.5};'
  echo '  double coefficients[DFOrderCubic * (n - 1)], r[2 * s] = {0};'
  example fitting.h 'DFTask. task' DeleteTask
  echo '  return r[0] == 2 && r[1] == 2 && r[2] == 6 && r[3] == 2;'
  echo '}'
  echo 'static int draw(void) {'
  echo '  enum { n = 3 };'
  echo '  double r[n] = {-1, -1, -1};'
  example streams.h 'RngStream. stream' DeleteStream
  echo '  return r[0] > 0 && r[1] > 0 && r[2] > 0 && r[0] < 1 && r[0] != r[1];'
  echo '}'
  echo 'int main(void) { return !(fit() && draw()); }'
} >"$work/headers.c"
grep -q NewTask1D "$work/headers.c" && grep -q generateDouble "$work/headers.c"
cat >>"$work/CMakeLists.txt" <<END
add_executable(headers headers.c)
target_link_libraries(headers orv::elementwise)
END
cmake --build "$work/build" >/dev/null
"$work/build/headers"

test -s "$(find "$work/prefix" -name streams.md)" # the documentation comes along
directory=$(dirname "$(find "$work/prefix" -name orv.pc)")
if command -v pkg-config >/dev/null; then
  # shellcheck disable=SC2046,SC2086
  cc $flags "$source/examples/elementwise.c" $(PKG_CONFIG_PATH=$directory pkg-config --cflags --libs orv) \
    -Wl,-rpath,"$(dirname "$directory")" -o "$work/by_pkg_config"
  "$work/by_pkg_config" >/dev/null
fi
if [ -x "$work/prefix/bin/orv" ]; then
  "$work/prefix/bin/orv" eval Exp 1 | grep -q '^2.718281828459045' # finds its library in the tree
fi
echo "installed tree works"
