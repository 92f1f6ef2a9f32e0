#!/usr/bin/env bash
# Installs every Debian package Lumora needs to build, test and benchmark.
# Safe to run again: apt-get skips what is already installed.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config ccache
  clang-format clang-tidy
  clang-16 libclang-rt-16-dev
  libboost-dev
  libplist-dev
  libicu-dev
  libcairo2-dev
  libavcodec-dev libavformat-dev libavutil-dev libswscale-dev
  nginx libnginx-mod-rtmp
  ffmpeg
  libspdlog-dev libfmt-dev
  libgtest-dev libgmock-dev googletest
  libbenchmark-dev
  doxygen
)

sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then sudo_cmd=(sudo); fi

export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -q
"${sudo_cmd[@]}" apt-get install -y -q --no-install-recommends "${packages[@]}"
