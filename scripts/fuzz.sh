#!/usr/bin/env bash
# Builds the libFuzzer targets (clang-16, AddressSanitizer, UndefinedBehaviorSanitizer)
# in build-fuzz/ and runs them.
#
#   scripts/fuzz.sh                      list the targets
#   scripts/fuzz.sh <Target> [seconds]   fuzz one target (default: until stopped);
#                                        extra arguments after the seconds go to libFuzzer
#   scripts/fuzz.sh --smoke [seconds]    replay every kept regression input, then
#                                        fuzz each target briefly (default 10 s each);
#                                        0 seconds replays the committed seeds instead
#
# Targets start from the committed seeds in fuzz/corpus/<Target>; what they
# find is kept in build-fuzz/corpus/<Target>, never in the tree. A crash leaves
# its input in build-fuzz/findings/<Target>/: once fixed, copy it into
# fuzz/regressions/<Target>/ so that every smoke run replays it.
set -euo pipefail
cd "$(dirname "$0")/.."

targets=(PropertyList KeyedArchive UploadPayload ClipItems StringTable StatisticsPage IngestClip ServiceMessage ExtensionMessage WavSound)
build=build-fuzz

if [ $# -eq 0 ]; then
  printf '%s\n' "${targets[@]}"
  exit 0
fi

CC=clang-16 CXX=clang++-16 cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DLUMORA_BUILD_FUZZERS=ON -DLUMORA_BUILD_TESTS=OFF -DLUMORA_BUILD_BENCHMARKS=OFF \
  -DLUMORA_BUILD_EXAMPLES=OFF > /dev/null
cmake --build "$build" -j "$(nproc)" --target lumora_fuzzers

export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1

# Runs target $1 for $2 seconds (0: until stopped) with libFuzzer options $3...
fuzz() {
  local target=$1 seconds=$2
  shift 2
  local corpus="$build/corpus/$target" findings="$build/findings/$target"
  mkdir -p "$corpus" "$findings"
  "$build/fuzz/lumora_fuzz_$target" "$corpus" "fuzz/corpus/$target" \
    -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=65536 \
    -artifact_prefix="$findings/" "$@"
}

# Runs `command...` with its output in a log, shown only when it fails.
quietly() {
  local log
  log=$(mktemp)
  if ! "$@" > "$log" 2>&1; then
    tail -n 60 "$log"
    rm -f "$log"
    return 1
  fi
  rm -f "$log"
}

if [ "$1" = "--smoke" ]; then
  seconds=${2:-10}
  for target in "${targets[@]}"; do
    kept=(fuzz/regressions/"$target"/*)
    if [ -e "${kept[0]}" ]; then
      echo "Replaying ${#kept[@]} kept input(s) of $target"
      quietly "$build/fuzz/lumora_fuzz_$target" -timeout=10 -rss_limit_mb=2048 "${kept[@]}"
    fi
    if [ "$seconds" -eq 0 ]; then
      # Deterministic: only the committed seeds, each run once.
      seeds=(fuzz/corpus/"$target"/*)
      echo "Replaying ${#seeds[@]} seed(s) of $target"
      quietly "$build/fuzz/lumora_fuzz_$target" -timeout=10 -rss_limit_mb=2048 "${seeds[@]}"
      continue
    fi
    echo "Fuzzing $target for $seconds s"
    quietly fuzz "$target" "$seconds"
  done
  echo "Fuzz smoke run passed."
  exit 0
fi

target=$1
seconds=${2:-0}
shift $(($# < 2 ? $# : 2))
fuzz "$target" "$seconds" "$@"
