#!/usr/bin/env bash
# Passes messages through; "progress <step> <bytes>/<length>" becomes one line that grows.
open=0
while IFS= read -r line; do
    if [[ $line == "progress "* ]]; then
        if [ -t 1 ]; then printf '\r\033[K  %s' "${line#progress }"; else printf '  %s\n' "${line#progress }"; fi
        open=1
    else
        [ $open -eq 1 ] && [ -t 1 ] && printf '\n'
        open=0
        printf '%s\n' "$line"
    fi
done
