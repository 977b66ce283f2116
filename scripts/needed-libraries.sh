#!/usr/bin/env bash
# needed-libraries.sh FILE...: the shared libraries that these programs and libraries need, with the newest version of
# the C and C++ libraries' symbols among them.
set -euo pipefail
headers=$(objdump -p "$@")
sed -n 's/^ *NEEDED *//p' <<<"$headers" | sort -u
for symbols in GLIBC GLIBCXX; do
    grep -o "${symbols}_[0-9.]*" <<<"$headers" | sort -V | tail -1
done
