#!/usr/bin/env bash
# Measures in real time on the default bus: from start to the first finished enumeration, and a load of
# MIB MiB (1), each compared with the least possible time. Needs a quiet machine.
# Arguments: the installed program directory, MIB.
set -euo pipefail
source=${1:?program directory}
mib=${2:-1}
bytes=$((mib * 1048576))
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp "$source"/{HoistlineApp,Twl1394api.so,db1_clean.mdb,hoistline} "$work"
export QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen}

milliseconds() { echo $((${EPOCHREALTIME/[.,]/} / 1000)); }
memory() { awk -v what="$1:" '$1 == what { print $2 }' "/proc/$program_PID/status"; }

# The enumeration ends just before the list of targets is reported. The bus is the default one with a
# trace, to count the transactions; a transaction takes 0.125 ms.
sed -n '/R"(/,/)"/p' "$(dirname "$0")/../src/access/simulated/DefaultBus.cpp" |
    sed 's/.*R"({/{"trace": "trace.jsonl",/; s/)";//' >"$work/simulated-bus.json"
start=$(milliseconds)
coproc program { exec "$work/HoistlineApp" /I 2>/dev/null; }
while IFS= read -r line; do
    if [[ $line == *"BuildBootloaderDeviceList completed"* ]]; then
        took=$(($(milliseconds) - start))
        transactions=$(grep -c -E '"operation":"(read|write)"' "$work/trace.jsonl")
        break
    fi
done <&"${program[0]}"
cat <&"${program[0]}" >/dev/null
awk -v took="$took" -v transactions="$transactions" 'BEGIN {
    floor = 200 + transactions * 0.125
    printf "Start to enumeration: %d ms; settling and %d transactions take %.0f ms; the rest is %.0f ms\n",
           took, transactions, floor, took - floor }'

# The load, without a trace. The program's time includes reading the package.
rm -r "$work/simulated-bus.json" "$work/bus-state"
head -c $bytes /dev/urandom >"$work/image.bin"
"$work/hoistline" package pack "$work/image.twd" --image1 "$work/image.bin" --image1-address 0x20000000 --hardware-id 17 >/dev/null
coproc program { exec "$work/HoistlineApp" /D "$work/image.twd" /X 000F1B0000000001 2>/dev/null; }
rate=
while IFS= read -r line; do
    [[ $line == *"Reading '"* ]] && before=$(memory VmRSS)
    if [[ $line =~ "Successfully loaded new Application Image".*" at "([0-9.]+)" kB/sec" ]]; then
        rate=${BASH_REMATCH[1]}
        peak=$(memory VmHWM) after=$(memory VmRSS)
    fi
done <&"${program[0]}"
[ -n "$rate" ] || { echo "real_load: the load failed" >&2; exit 1; }
cmp "$work/image.bin" "$work/bus-state/000F1B0000000001/application.bin"
awk -v bytes=$bytes -v rate="$rate" 'BEGIN {
    blocks = bytes / 1024
    floor = blocks * (10 + 3 * 0.125) + 800 + 100
    printf "Load of %d blocks: %.0f ms; the least is %.0f ms; ratio %.4f\n",
           blocks, bytes / rate, floor, bytes / rate / floor }'
echo "Resident memory: $before KiB before the load, $after KiB at its end, $peak KiB at most"
