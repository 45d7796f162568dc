#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs one of them on a copy of its corpus.
# Usage: fuzz/run.sh TARGET [SECONDS] [RUNS] [extra libFuzzer flags...]
# New inputs go to build-fuzz/corpus/TARGET; crashes to build-fuzz/artifacts/. Add an input worth
# keeping to fuzz/corpus/TARGET, and make a crash a test case of the normal suite before fixing it.
set -euo pipefail
cd "$(dirname "$0")/.."
target=${1:?usage: fuzz/run.sh TARGET [SECONDS] [RUNS]}
seconds=${2:-1800}
runs=${3:-10000000}
shift $(( $# < 3 ? $# : 3 ))
# The longest input each target may grow: the header parsers must reach a hundred kilobytes of one
# repeated header, where a walk over the earlier copies for every new one would show as a time-out.
case $target in
message | headers) max_len=131072 ;;
attachment) max_len=65536 ;;
smtp | prefs) max_len=16384 ;;
*) max_len=4096 ;;
esac
cmake --preset fuzz ${CMAKE_CXX_COMPILER_LAUNCHER:+-DCMAKE_CXX_COMPILER_LAUNCHER=$CMAKE_CXX_COMPILER_LAUNCHER} >/dev/null
cmake --build --preset fuzz --target "fuzz_$target" >/dev/null
mkdir -p "build-fuzz/corpus/$target" build-fuzz/artifacts
exec "build-fuzz/fuzz/fuzz_$target" "build-fuzz/corpus/$target" "fuzz/corpus/$target" \
    -dict="fuzz/$target.dict" -max_len=$max_len -timeout=1 -rss_limit_mb=2048 \
    -max_total_time="$seconds" -runs="$runs" -artifact_prefix=build-fuzz/artifacts/"$target"- \
    -print_final_stats=1 "$@"
