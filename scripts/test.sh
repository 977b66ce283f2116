#!/usr/bin/env bash
# Runs every test of a preset and prints how long they took.
set -euo pipefail
start=$(date +%s.%N)
QT_QPA_PLATFORM=offscreen ctest --preset "$1"
awk -v a="$start" -v b="$(date +%s.%N)" 'BEGIN { printf "Test time: %.1f s\n", b - a }'
