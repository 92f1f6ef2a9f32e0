#!/usr/bin/env bash
# Installs what the project needs, builds the sample app and runs it on the
# simulated device.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build -j "$(nproc)" --target lumora_sample_app
./build/examples/lumora_sample_app "$@"
