#!/usr/bin/env bash
# station.sh PACKAGE DEVICE NEW_GUID NEW_MAC REPORTS: what one device gets on a production line.
# Leaves REPORTS/<step>.xml for each step. The exit code is that of the first step that isn't done.
set -euo pipefail
package=$1 device=$2 new_guid=$3 new_mac=$4 reports=$5
mkdir -p "$reports"
export HOISTLINE_BUS=${HOISTLINE_BUS:-kernel} # not what somebody has chosen in the windows

step() {
    local name=$1 code=0
    shift
    hoistline "$@" --quiet --timeout 300 --junit "$reports/$name.xml" || code=$?
    case $code in
    0) echo "$name: done" ;;
    8) echo "$name: the device is damaged; load it again before it leaves the station" >&2 ;;
    3 | 4 | 5) echo "$name: check the cable, the power, and that one device is connected" >&2 ;;
    *) echo "$name: exit code $code" >&2 ;;
    esac
    return $code
}

step load load "$package" "$device"
step verify verify --reset "$package" "$device"
step identity identity --guid "$new_guid" --mac "$new_mac" "$device"
