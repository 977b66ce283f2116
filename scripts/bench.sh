#!/usr/bin/env bash
# Runs the benchmarks, then the measurements in real time. Needs a quiet machine.
set -euo pipefail
build/release/bench/bench_all
build/release/bench/bench_kernel
build/release/bench/kernel_load
QT_QPA_PLATFORM=offscreen build/release/bench/bench_windows
bash bench/real_load.sh run/program
python3 bench/command_line.py run/program build/release/bench/floor
