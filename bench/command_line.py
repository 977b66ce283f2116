"""command_line.py PROGRAM FLOOR: what calls of the installed hoistline cost above what the bus takes. PROGRAM is the
installed program directory, FLOOR the program that runs a call on the virtual clock. Needs a quiet machine."""

import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

program, floor = Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve()
SOURCE = Path(__file__).resolve().parent.parent / "src/access/simulated/DefaultBus.cpp"
work = Path(tempfile.mkdtemp())
MIB = 2**20


def environment():
    for name in ("home", "runtime"):
        (work / name).mkdir(mode=0o700, exist_ok=True)
    return os.environ | {"HOME": str(work / "home"), "XDG_RUNTIME_DIR": str(work / "runtime")}


def run(*arguments):
    """The milliseconds of a call."""
    start = time.perf_counter()
    with open(work / "errors", "w+") as errors:
        code = subprocess.call([work / "program/hoistline", *arguments], cwd=work, env=environment(),
                               stdout=subprocess.DEVNULL, stderr=errors)
        took = (time.perf_counter() - start) * 1000
        errors.seek(0)
        if code != 0:
            sys.exit(f"hoistline {' '.join(arguments)} failed: {errors.read()}")
    return took


def memory_of_list(bus):
    """MiB of resident memory at most, once the nodes are listed."""
    process = subprocess.Popen([work / "program/hoistline", "list", "--watch", "--bus", bus], cwd=work,
                               env=environment(), stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    process.stdout.readline()
    peak = re.search(r"VmHWM:\s+(\d+)", Path(f"/proc/{process.pid}/status").read_text())[1]
    process.terminate()
    process.wait()
    return int(peak) / 1024


def least(bus, *arguments):
    return float(subprocess.run([floor, bus, *arguments], cwd=work, env=environment(), check=True, capture_output=True,
                                text=True).stdout)


def median(times):
    return sorted(times)[len(times) // 2]


def compare(name, times, bound, goal):
    took = median(times)
    print(f"{name}: {took:.1f} ms (best {min(times):.1f}), the bus takes {bound:.1f}; above it {took - bound:.1f} ms, "
          f"goal {goal} ms")


def buses():
    default = work / "default-bus.json"
    default.write_text(re.search(r'R"\((.*?)\)"', SOURCE.read_text(), re.DOTALL)[1])
    nodes = [{"kind": "target", "guid": f"000F1B00000001{i:02X}", "protocol": (1, 3)[i % 2],
              "mode": "bootloader" if i % 3 == 0 else "application"} for i in range(62)]
    full = work / "63-nodes.json"
    full.write_text(json.dumps({"transactionMicroseconds": 0, "nodes": nodes}))
    return default, full


try:
    shutil.copytree(program, work / "program", ignore=shutil.ignore_patterns("bus-state", "db1.mdb", "docs"))
    default, full = buses()
    (work / "image.bin").write_bytes(os.urandom(MIB))
    run("package", "pack", "image.twd", "--image1", "image.bin", "--image1-address", "0x20000000", "--hardware-id", "17")
    (work / "rom.bin").write_bytes(bytes.fromhex("0404a0b0313339340064a002000f1b000000000100020000030f1b00170000110c0083c0"))
    for name, arguments in (("--version", ["--version"]), ("package show", ["package", "show", "image.twd"]),
                            ("rom FILE", ["rom", "rom.bin", "--save", "saved.bin"])):
        compare(name, [run(*arguments) for _ in range(30)], 0, 15)
    compare("list", [run("list", "--bus", f"simulated:{default}") for _ in range(15)], least(default, "list"), 60)
    print(f"list: {memory_of_list(f'simulated:{default}'):.1f} MiB of resident memory at most, goal 15")
    compare("list of 63 nodes, no transaction time", [run("list", "--bus", f"simulated:{full}") for _ in range(9)],
            least(full, "list"), 30)
    load = ["load", "image.twd", "000F1B0000000001"]
    bound = least(default, *load)
    took = run(*load, "--bus", f"simulated:{default}")
    print(f"load of 1 MiB, with its resets: {took:.0f} ms, the bus takes {bound:.0f}; ratio {took / bound:.4f}")
finally:
    shutil.rmtree(work)
