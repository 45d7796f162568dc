#!/usr/bin/env bash
# Builds an optimised tree and prints the benchmark ratios. Usage: bench/run.sh
set -euo pipefail
cd "$(dirname "$0")/.."
cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build-bench --parallel "$(nproc)" >/dev/null
QT_QPA_PLATFORM=offscreen ./build-bench/bench/bench_lists
./build-bench/bench/bench_smtp tests/smtp_server.py
QT_QPA_PLATFORM=offscreen ./build-bench/bench/bench_campaign tests/smtp_server.py
./build-bench/bench/bench_addressbook
QT_QPA_PLATFORM=offscreen ./build-bench/bench/bench_import
QT_QPA_PLATFORM=offscreen ./build-bench/bench/bench_startup
./build-bench/bench/bench_mailtext
