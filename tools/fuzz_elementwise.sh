#!/bin/sh
# Builds the kernel library and the fuzz target for element-wise calls with clang and runs it under the address and
# undefined-behaviour sanitizers.
#
#   tools/fuzz_elementwise.sh BIN_DIRECTORY [SECONDS] [CORPUS]
#
# BIN_DIRECTORY holds the core library; what is built goes into its directory fuzz. The corpus starts from
# tests/vectors/elementwise_corpus.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
bin=$1
seconds=${2:-600}
out=$bin/fuzz
corpus=${3:-$out/elementwise_corpus}
mkdir -p "$out" "$corpus"
cp "$bin"/liborv_core.so.2 "$out"
common="-O1 -g -fsanitize=address,undefined -fno-sanitize=function,float-divide-by-zero,float-cast-overflow
  -fno-sanitize-recover=all -ffp-contract=off -fPIC -I $root -I $root/include"
find "$root"/platform "$root"/frame "$root"/kernels -name '*.cpp' -o -name thunks.S |
  xargs -P "$(nproc)" -I{} sh -c 'clang++ '"$(echo $common)"' $(case {} in *.cpp) echo -std=gnu++20;; esac) \
    -fsanitize=fuzzer-no-link -mavx2 -mfma -frounding-math -c {} -o '"$out"'/$(echo {} | tr / _).o'
clang++ -shared -fsanitize=address,undefined -o "$out/liborv_elw_avx2.so.2" "$out"/*.o -ldl
# shellcheck disable=SC2086
clang++ -std=gnu++20 $common -fsanitize=fuzzer "$root"/tools/fuzz_elementwise.cpp "$root"/frontend/elementwise.cpp \
  "$root"/frontend/library.cpp "$root"/frontend/module_linux.cpp -DORV_LIBDIR='"lib"' -I /usr/src/googletest/googletest/include \
  /usr/src/googletest/googletest/src/gtest-all.cc -I /usr/src/googletest/googletest -ldl -lpthread \
  -o "$out/fuzz_elementwise"
exec "$out/fuzz_elementwise" -max_total_time="$seconds" -max_len=2000 -timeout=60 "$corpus" \
  "$root/tests/vectors/elementwise_corpus"
