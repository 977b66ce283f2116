#!/usr/bin/env bash
# Opens the windows on the simulated bus.
set -euo pipefail
if [ -z "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    echo "make gui: there is no display; start it in a desktop session or under Xvfb." >&2
    exit 1
fi
HOISTLINE_BUS=simulated exec run/program/HoistlineApp
