#!/usr/bin/env bash
# The benchmarks, then a load of 1 MiB in real time on the default bus. Give it a quiet machine.
set -euo pipefail
build/release/bench/bench_all --benchmark_min_time=0.3
head -c 1048576 /dev/urandom > run/large.bin
run/program/twd pack run/large.twd --image1 run/large.bin --image1-address 0x20000000 --software-id 0x1234 \
    --hardware-id 17 >/dev/null
bash scripts/run.sh run/large.twd | tail -n 8
# 1024 blocks, each 10 ms and three transactions of 125 us, plus 800 ms erase and 100 ms check.
awk 'BEGIN { floor = 1024 * (10 + 3 * 0.125) + 800 + 100
             printf "Floor of that load: %.0f ms, %.2f kB/sec\n", floor, 1048576 / floor }'
