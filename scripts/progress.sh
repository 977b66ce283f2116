#!/usr/bin/env bash
# Passes messages through; "progress <step> <bytes>/<length>" becomes a bar, redrawn in place on a terminal.
bar='####################'
open=0
while IFS= read -r line; do
    if [[ $line =~ ^progress\ ([a-z]+)\ ([0-9]+)/([0-9]+)$ ]]; then
        step=${BASH_REMATCH[1]} bytes=${BASH_REMATCH[2]} length=${BASH_REMATCH[3]}
        text=$(printf '  %-8s' "$step")
        if [ "$length" -gt 0 ]; then
            text+=$(printf ' [%-20s] %3d %%  %d of %d bytes' "${bar:0:bytes * 20 / length}" $((bytes * 100 / length)) \
                "$bytes" "$length")
        fi
        if [ -t 1 ]; then printf '\r\033[K%s' "$text"; else printf '%s\n' "$text"; fi
        open=1
    else
        [ $open -eq 1 ] && [ -t 1 ] && printf '\n'
        open=0
        printf '%s\n' "$line"
    fi
done
[ $open -eq 1 ] && [ -t 1 ] && printf '\n'
exit 0
