#!/usr/bin/env bash
# Installs what the project needs, builds and runs the tests.
#
#   scripts/test.sh          the ordinary build and its whole test suite, then the
#                            installed-package check (about 12 minutes on two cores)
#   scripts/test.sh --all    the same, then the API reference check, the benchmarks
#                            run briefly, the suite again under AddressSanitizer and
#                            UndefinedBehaviorSanitizer and under ThreadSanitizer, and
#                            the fuzz smoke run (about 40 minutes on two cores; CI runs it)
set -euo pipefail
cd "$(dirname "$0")/.."

all=false
case "${1:-}" in
  --all) all=true ;;
  "") ;;
  *)
    echo "usage: scripts/test.sh [--all]" >&2
    exit 2
    ;;
esac

bash scripts/install-deps.sh

jobs=$(nproc)

echo "== Ordinary build and test suite (build/)"
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build -j "$jobs"
ctest --test-dir build -j "$jobs" --output-on-failure

# The installed package: install the ordinary build under a prefix of its own,
# then build the consumer example against it twice (find_package and pkg-config)
# and run it; it records on the simulated device and stops.
echo "== Installed-package check (build/install-check, build/consumer)"
(
  prefix="$PWD/build/install-check"
  rm -rf "$prefix" build/consumer
  cmake --install build --prefix "$prefix" > /dev/null
  cmake -S examples/consumer -B build/consumer -G Ninja -DCMAKE_PREFIX_PATH="$prefix" > /dev/null
  cmake --build build/consumer
  build/consumer/lumora_consumer
  export PKG_CONFIG_PATH="$prefix/lib/pkgconfig"
  # shellcheck disable=SC2046 # pkg-config answers several words on purpose
  g++ -std=c++20 examples/consumer/main.cpp -o build/consumer/lumora_consumer_pkgconfig \
    $(pkg-config --cflags lumora-simulated-device) \
    -DLUMORA_FRAMEWORK_BUNDLE_DIR="\"$(pkg-config --variable=bundledir lumora-simulated-device)\"" \
    $(pkg-config --libs lumora-simulated-device)
  build/consumer/lumora_consumer_pkgconfig
  # The installed lab, against the installed sample extension (runs through)
  # and the leaky one (crosses its memory ceiling: exit status 5).
  "$prefix/bin/lumora-lab" --help > /dev/null
  "$prefix/bin/lumora-lab" --duration 2 "$prefix/share/lumora/extensions/SampleUpload.appex" > /dev/null
  status=0
  "$prefix/bin/lumora-lab" --duration 30 "$prefix/share/lumora/extensions/LeakyUpload.appex" > /dev/null || status=$?
  test "$status" -eq 5
)

if ! $all; then
  echo "Ordinary test suite and installed-package check passed."
  echo "(scripts/test.sh --all adds the API reference check, the benchmarks, the sanitizer"
  echo " and race-detector builds and the fuzz smoke run.)"
  exit 0
fi

# The API reference builds, and every public class and operation in it is documented.
echo "== API reference check (build/docs)"
cmake --build build --target docs
undocumented=$(grep -c 'is not documented' build/docs/warnings.log || true)
echo "API reference: $undocumented undocumented items (build/docs/warnings.log)"
if [ "$undocumented" -ne 0 ]; then
  grep 'is not documented' build/docs/warnings.log | head -n 20
  exit 1
fi

# The benchmarks build in the ordinary pass; run each briefly so a broken one is noticed.
echo "== Benchmarks, briefly"
for bench in build/bench/lumora_bench_*; do
  [ -x "$bench" ] || continue
  LUMORA_LATENCY_SECONDS=1 "$bench" --benchmark_min_time=0.01 > /dev/null
done

echo "== AddressSanitizer and UndefinedBehaviorSanitizer (build-sanitize/)"
cmake -S . -B build-sanitize -G Ninja -DCMAKE_BUILD_TYPE=Debug -DLUMORA_SANITIZE=ON \
  -DLUMORA_BUILD_BENCHMARKS=OFF -DLUMORA_BUILD_EXAMPLES=OFF
cmake --build build-sanitize -j "$jobs"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  ctest --test-dir build-sanitize -j "$jobs" --output-on-failure

# The race detector over the whole suite: every report fails the test that caused it.
echo "== ThreadSanitizer (build-tsan/)"
cmake -S . -B build-tsan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DLUMORA_SANITIZE_THREAD=ON \
  -DLUMORA_BUILD_BENCHMARKS=OFF -DLUMORA_BUILD_EXAMPLES=OFF
cmake --build build-tsan -j "$jobs"
TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 \
  ctest --test-dir build-tsan -j "$jobs" --output-on-failure

# Fuzz smoke run: a clang-16 build of the fuzz targets alone (build-fuzz/), every
# kept regression input and every committed seed replayed. Exploring new inputs
# is left to `scripts/fuzz.sh <Target> <seconds>`: a random search would make the
# outcome of a test run depend on luck.
echo "== Fuzz smoke run (build-fuzz/)"
bash scripts/fuzz.sh --smoke 0

echo "All tests passed (ordinary, installed package, API reference, benchmarks, sanitizer and race-detector builds, fuzz smoke run)."
