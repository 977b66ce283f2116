#!/usr/bin/env bash
# Real time on the default bus: from the start to the first finished enumeration, and a load of
# MIB MiB (1), each beside the least that it can take. Give it a quiet machine.
# Arguments: the installed program directory, MIB.
set -euo pipefail
source=${1:?program directory}
mib=${2:-1}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp "$source"/{HoistlineApp,Twl1394api.so,db1_clean.mdb,twd} "$work"
# The default bus again, with a trace.
sed -n '/R"(/,/)"/p' "$(dirname "$0")/../src/bus/simulator/DefaultBus.cpp" |
    sed 's/.*R"({/{"trace": "trace.jsonl",/; s/)";//' >"$work/simulated-bus.json"
head -c $((mib * 1048576)) /dev/urandom >"$work/image.bin"
"$work/twd" pack "$work/image.twd" --image1 "$work/image.bin" --image1-address 0x20000000 --hardware-id 17 >/dev/null
export QT_QPA_PLATFORM=offscreen

milliseconds() { echo $((${EPOCHREALTIME/[.,]/} / 1000)); }

start=$(milliseconds)
coproc program { exec "$work/HoistlineApp" /D "$work/image.twd" /X 000F1B0000000001 2>/dev/null; }
pid=$program_PID
enumerated=0 resident=0 loaded=no
while IFS= read -r line; do
    if [[ $line == *"BuildBootloaderDeviceList completed"* && $enumerated -eq 0 ]]; then
        enumerated=$(milliseconds)
        resident=$(awk '/VmRSS/ { print $2 }' "/proc/$pid/status")
    fi
    if [[ $line == *"Successfully loaded new Application Image"* ]]; then
        loaded=yes
        peak=$(awk '/VmHWM/ { print $2 }' "/proc/$pid/status")
    fi
done <&"${program[0]}"
[ $loaded = yes ] || { echo "real_load: the load failed" >&2; exit 1; }
cmp "$work/image.bin" "$work/bus-state/000F1B0000000001/application.bin"

# A transaction takes 0.125 ms. The first enumeration ends before the first reset that the program
# asks for, and that is more than two seconds behind it.
awk -v took=$((enumerated - start)) -F'[:,]' '
    /"operation":"(read|write)"/ { if (NR > 1 && $2 - last > 1500) exit; transactions++; last = $2 }
    END { floor = 200 + transactions * 0.125
          printf "Start to enumeration: %d ms; settling and %d transactions take %.0f ms; the rest is %.0f ms\n",
                 took, transactions, floor, took - floor }' "$work/trace.jsonl"
# Byte 6 of a request is its command: 4 announces the image, 5 a block, 6 ends it. The answer to 6
# is the last read before what follows.
awk -F'[:,]' '
    /0xffffc8021000/ { command = substr($0, index($0, "\"data\":\"") + 20, 2)
                       if (command == "04") start = $2
                       if (command == "05") blocks++
                       ending = command == "06" }
    ending && /"read".*0xffffc8029000/ { end = $2 }
    END { floor = blocks * (10 + 3 * 0.125) + 800 + 100
          printf "Load of %d blocks: %.0f ms; the least is %.0f ms; ratio %.4f\n",
                 blocks, end - start, floor, (end - start) / floor }' "$work/trace.jsonl"
echo "Resident memory: $resident KiB after the enumeration, $peak KiB at most until the end of the load"
