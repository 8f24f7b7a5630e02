#!/bin/sh
# Builds the fuzz target for stream images with clang and runs it under address and undefined-behaviour sanitizers.
#
#   tools/fuzz_stream_image.sh BIN_DIRECTORY [SECONDS] [CORPUS]
#
# BIN_DIRECTORY holds the core library; the corpus starts from tests/vectors/stream_corpus.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
bin=$1
seconds=${2:-600}
corpus=${3:-$bin/stream_corpus}
clang++ -std=gnu++20 -O1 -g -fsanitize=fuzzer,address,undefined -fno-sanitize=function,float-divide-by-zero \
  -fno-sanitize-recover=all -ffp-contract=off -mavx2 -mfma -maes -mvaes -mpclmul -mrdrnd -I "$root" -I "$root/include" \
  "$root"/tools/fuzz_stream_image.cpp "$root"/streams/*.cpp "$root"/frame/core.cpp "$root"/platform/linux.cpp \
  -L "$bin" -lorv_core -Wl,-rpath,"$bin" -ldl -lpthread -o "$bin/fuzz_stream_image"
mkdir -p "$corpus"
exec "$bin/fuzz_stream_image" -max_total_time="$seconds" -max_len=100000 -timeout=60 "$corpus" \
  "$root/tests/vectors/stream_corpus"
