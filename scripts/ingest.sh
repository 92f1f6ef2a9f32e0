#!/usr/bin/env bash
# Starts the sample streaming service's ingest server (nginx with its RTMP
# module) on its own, on a free loopback port, with its configuration and log
# in build/ingest/server. It prints the stream URL to publish to or play
# (ffplay rtmp://127.0.0.1:<port>/live/<key>); Ctrl-C stops it.
# Usage: scripts/ingest.sh [stream key]
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build -j "$(nproc)" --target lumora_ingest_server
exec ./build/examples/lumora_ingest_server "$PWD/build/ingest/server" "${1:-lumora-sample}"
