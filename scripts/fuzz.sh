#!/usr/bin/env bash
# Runs each fuzz target for FUZZ_SECONDS from its seeds; stops at the first finding, whose input is saved in build/fuzz.
set -euo pipefail
for target in build/fuzz/bin/fuzz_*; do
    name=${target##*/fuzz_}
    echo "fuzz_$name, ${FUZZ_SECONDS:-20} s"
    work=build/fuzz/corpus/$name
    mkdir -p "$work"
    log=build/fuzz/$name.log
    "$target" -max_total_time="${FUZZ_SECONDS:-20}" -rss_limit_mb=2048 -timeout=10 -artifact_prefix="build/fuzz/$name-" \
        "$work" "fuzz/corpus/$name" >"$log" 2>&1 || { tail -40 "$log"; exit 1; }
    sed -n 's/^#\([0-9]*\)\tDONE *cov: \([0-9]*\).*/    \1 inputs, \2 places in the code reached/p' "$log"
done
echo "fuzz: nothing found"
