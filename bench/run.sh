#!/usr/bin/env bash
# Builds an optimised tree and prints the benchmark ratios. Usage: bench/run.sh
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset bench >/dev/null
cmake --build --preset bench --parallel "$(nproc)" >/dev/null
QT_QPA_PLATFORM=offscreen ./build-bench/bench/bench_lists
./build-bench/bench/bench_smtp tests/smtp_server.py
QT_QPA_PLATFORM=offscreen ./build-bench/bench/bench_campaign tests/smtp_server.py
./build-bench/bench/bench_addressbook
./build-bench/bench/bench_vcardscale
./build-bench/bench/bench_abmemory
./build-bench/bench/bench_sources tests/eds_book.py tests/data/thunderbird-abook.sqlite
QT_QPA_PLATFORM=offscreen ./build-bench/bench/bench_import
QT_QPA_PLATFORM=offscreen ./build-bench/bench/bench_startup
./build-bench/bench/bench_mailtext
