#!/usr/bin/env bash
# Checks formatting and runs clang-tidy over the framework and platform sources.
# Usage: scripts/lint.sh [files...]   (default: every tracked C++ source)
set -euo pipefail
cd "$(dirname "$0")/.."
[ -f build/compile_commands.json ] || cmake -S . -B build -G Ninja > /dev/null
if [ $# -gt 0 ]; then files=("$@"); else mapfile -t files < <(git ls-files '*.cpp' '*.h'); fi
clang-format --dry-run --Werror "${files[@]}"
mapfile -t sources < <(printf '%s\n' "${files[@]}" | grep -E '\.cpp$' | grep -vE '^(tests|bench|examples)/' || true)
[ ${#sources[@]} -eq 0 ] || printf '%s\n' "${sources[@]}" | xargs -P "$(nproc)" -n 4 clang-tidy -p build --quiet
