#!/usr/bin/env bash
# braces.sh FILE...: names each file in which a single statement stands in braces, and fails if there is one.
# clang-format 14 removes such braces but then lays out lambdas wrongly, so the result is formatted once more.
set -euo pipefail
style=$(mktemp)
trap 'rm -f "$style"' EXIT
cat "$(dirname "$0")/../.clang-format" - >"$style" <<<"RemoveBracesLLVM: true"
failed=0
for file in "$@"; do
    clang-format --style="file:$style" "$file" | clang-format --assume-filename="$file" | cmp -s - "$file" && continue
    echo "$file: braces around a single statement"
    failed=1
done
exit "$failed"
