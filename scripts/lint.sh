#!/usr/bin/env bash
# Checks the format of every source file and its braces, then runs clang-tidy on src/ with the checks of .clang-tidy.
set -euo pipefail
git ls-files -z -- '*.cpp' '*.h' | xargs -0 clang-format --dry-run -Werror
git ls-files -z -- '*.cpp' '*.h' | xargs -0 -P2 -n 40 scripts/braces.sh
git ls-files -z -- 'src/*.cpp' | xargs -0 -P2 -n 8 clang-tidy -p build/release --quiet 2>/dev/null
echo "lint: clean"
