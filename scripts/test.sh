#!/usr/bin/env bash
# Installs what the project needs, builds everything and runs every test:
# first the ordinary build, then the same tests under AddressSanitizer and
# UndefinedBehaviorSanitizer, then under ThreadSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh

jobs=$(nproc)

cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build -j "$jobs"
ctest --test-dir build -j "$jobs" --output-on-failure

cmake -S . -B build-sanitize -G Ninja -DCMAKE_BUILD_TYPE=Debug -DLUMORA_SANITIZE=ON \
  -DLUMORA_BUILD_BENCHMARKS=OFF -DLUMORA_BUILD_EXAMPLES=OFF
cmake --build build-sanitize -j "$jobs"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  ctest --test-dir build-sanitize -j "$jobs" --output-on-failure

# The race detector over the whole suite: every report fails the test that caused it.
cmake -S . -B build-tsan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DLUMORA_SANITIZE_THREAD=ON \
  -DLUMORA_BUILD_BENCHMARKS=OFF -DLUMORA_BUILD_EXAMPLES=OFF
cmake --build build-tsan -j "$jobs"
TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 \
  ctest --test-dir build-tsan -j "$jobs" --output-on-failure

# The benchmarks build in the ordinary pass; run each briefly so a broken one is noticed.
for bench in build/bench/lumora_bench_*; do
  [ -x "$bench" ] || continue
  "$bench" --benchmark_min_time=0.01 > /dev/null
done
echo "All tests passed (ordinary, sanitizer and race-detector builds)."
