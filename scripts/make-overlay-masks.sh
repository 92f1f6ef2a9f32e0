#!/usr/bin/env bash
# Redraws the overlay buttons' mask images into resources/ (they are committed;
# run this after changing scripts/artwork/OverlayMasks.cpp).
set -euo pipefail
cd "$(dirname "$0")/.."
tool=$(mktemp -d)
trap 'rm -rf "$tool"' EXIT
# shellcheck disable=SC2046
c++ -std=c++20 -O2 -Wall -Wextra -Werror scripts/artwork/OverlayMasks.cpp -o "$tool/OverlayMasks" \
  $(pkg-config --cflags --libs cairo)
"$tool/OverlayMasks" resources
