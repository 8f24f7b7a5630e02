#!/bin/sh
# Builds the fuzz targets of the front-end classes and of the CSV reader with clang and runs them, one after the
# other, under address and undefined-behaviour sanitizers.
#
#   tools/fuzz_front_end.sh BIN_DIRECTORY [SECONDS]
#
# BIN_DIRECTORY holds the kernel library; for kernels under the sanitizers too, that of the preset `sanitize`. The
# corpora grow there; they start from tests/vectors/front_end_corpus and csv_corpus.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
bin=$(cd "$1" && pwd)
seconds=${2:-600}
export ASAN_OPTIONS=allocator_may_return_null=1
for target in front_end csv; do
  clang++ -std=gnu++20 -O1 -g -fsanitize=fuzzer,address,undefined -fno-sanitize=function,float-divide-by-zero \
    -fno-sanitize-recover=all -ffp-contract=off -DFMT_HEADER_ONLY -DORV_LIBDIR='"lib"' -I "$root" -I "$root/include" \
    "$root/tools/fuzz_$target.cpp" "$root"/frontend/*.cpp "$root/cli/csv.cpp" "$root/cli/numbers.cpp" \
    -ldl -lpthread -o "$bin/fuzz_$target"
  mkdir -p "$bin/${target}_corpus"
  "$bin/fuzz_$target" -max_total_time="$seconds" -max_len=4000 -timeout=60 -rss_limit_mb=4000 -malloc_limit_mb=0 \
    -artifact_prefix="$bin/${target}_" "$bin/${target}_corpus" "$root/tests/vectors/${target}_corpus"
done
