#!/bin/sh
# Builds a fuzz target for tasks with clang and runs it under address and undefined-behaviour sanitizers.
#
#   tools/fuzz_task.sh statistics|fitting BIN_DIRECTORY [SECONDS] [CORPUS]
#
# BIN_DIRECTORY holds the core library; the corpus starts from tests/vectors/AREA_corpus.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
area=$1
bin=$2
seconds=${3:-600}
corpus=${4:-$bin/${area}_corpus}
gtest=/usr/src/googletest/googletest
clang++ -std=gnu++20 -O1 -g -fsanitize=fuzzer,address,undefined -fno-sanitize=function,float-divide-by-zero \
  -fno-sanitize-recover=all -ffp-contract=off -frounding-math -mavx2 -mfma -I "$root" -I "$root/include" \
  -isystem "$gtest/include" -isystem "$gtest" "$root/tools/fuzz_${area}_task.cpp" "$root/$area"/*.cpp \
  "$root"/frame/core.cpp "$root"/platform/linux.cpp "$gtest"/src/gtest-all.cc \
  -L "$bin" -lorv_core -Wl,-rpath,"$bin" -ldl -lpthread -o "$bin/fuzz_${area}_task"
mkdir -p "$corpus"
exec "$bin/fuzz_${area}_task" -max_total_time="$seconds" -max_len=96 -timeout=60 "$corpus" \
  "$root/tests/vectors/${area}_corpus"
