"""An installed copy of the program for one run, every trace that the run leaves behind, and the run of all cases."""

import itertools
import json
import os
import re
import shutil
import signal
import sqlite3
import struct
import subprocess
import tempfile
import time
import traceback
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

REQUEST, REQUEST_BUFFER = "0xffffc8021000", "0xffffc8021040"
COMMANDS = {2: "reset", 3: "crc", 4: "start", 5: "block", 6: "end", 10: "guid", 11: "mac", 12: "parameters",
            13: "defaults", 17: "run", 18: "read", 19: "write"}
HARMLESS = {1, 15}  # halt and GetDebugGUID, sent after every bus reset
NOBODY = 65534
LEVELS = {11: "ERROR", 13: "USER", 15: "FATAL"}  # levels that go into the status file
STATUS_LINE = re.compile(r"(\d+):(\d\d):(\d\d)\.(\d{3}), ([A-Z]+), (\w+), (.*)")
TIME_LIMIT = 120  # seconds

# A full disk that disappears with the process: the program's folder on its own file system.
ON_A_FULL_DISK = """
mount -t tmpfs -o size=$1 none "$3" && cp -a "$2/." "$3" || exit 99
head -c $4 /dev/zero >"$3/slack"
cat /dev/zero >"$3/filling" 2>/dev/null
rm "$3/slack"
from=$2 on=$3; shift 4
cd "$on" && "$@"
code=$?
rm "$on/filling"; cp -a "$on/." "$from"
exit $code
"""


def unshare():
    return ["unshare", "-m" if os.geteuid() == 0 else "-rm"]


def may_mount(folder):
    probe = [*unshare(), "mount", "-t", "tmpfs", "none", str(folder)]
    return shutil.which("unshare") is not None and subprocess.run(probe, capture_output=True).returncode == 0


def wait_until(condition, what):
    end = time.monotonic() + TIME_LIMIT
    while not condition():
        assert time.monotonic() < end, f"waited {TIME_LIMIT} s for {what}"
        time.sleep(0.05)


class Program:
    def __init__(self, installed, base, bus=None):
        self.base, self.folder = base, base / "program"
        shutil.copytree(installed, self.folder, symlinks=True)
        self.data = self.folder  # where the program keeps its files
        if bus is not None:
            (self.folder / "simulated-bus.json").write_text(json.dumps(bus))
        for name in ("home", "runtime"):
            (base / name).mkdir(mode=0o700)
        self.account = {}

    def use_account_that_may_not_write(self):
        self.folder.chmod(0o555)
        if os.geteuid() == 0:  # not bound by permissions
            self.account = {"user": NOBODY, "group": NOBODY, "extra_groups": []}
            for path in (self.base / "home", self.base / "runtime"):
                os.chown(path, NOBODY, NOBODY)
        self.data = self.base / "home/.local/share/HoistlineApp"

    def full_disk(self, command, space):
        full = self.base / "full"
        full.mkdir()
        size = sum(path.stat().st_size for path in self.folder.rglob("*")) + 2**20
        shell = [*unshare(), "sh", "-c", ON_A_FULL_DISK, "sh", str(size), str(self.folder), str(full), str(space)]
        return shell + [str(full / "HoistlineApp"), *command[1:]]

    def environment(self, **variables):
        environment = {key: value for key, value in os.environ.items() if not key.startswith(("XDG_", "QT_"))}
        environment["HOISTLINE_BUS"] = "simulated"
        environment |= {"HOME": str(self.base / "home"), "XDG_RUNTIME_DIR": str(self.base / "runtime"),
                        "QT_QPA_PLATFORM": "offscreen"} | variables
        return {key: value for key, value in environment.items() if value is not None}

    def start(self, options, name="first", space_on_disk=None, **variables):
        command = [str(self.folder / "HoistlineApp"), *options]
        if space_on_disk is not None:
            command = self.full_disk(command, space_on_disk)
        with open(self.base / f"{name}.out", "wb") as out, open(self.base / f"{name}.err", "wb") as err:
            return subprocess.Popen(command, cwd=self.folder, env=self.environment(**variables),
                                    stdin=subprocess.DEVNULL, stdout=out, stderr=err, start_new_session=True,
                                    **self.account)

    def end(self, process):  # including its children
        if process.poll() is None:
            os.killpg(process.pid, signal.SIGKILL)
            process.wait()

    # --- What a run leaves behind ---

    def output(self, name="first.out"):
        return (self.base / name).read_text(errors="replace")

    def reported(self):
        """(level, message) of each line on standard output that also belongs in the status file."""
        lines = [(line[:7].rstrip(), line[8:]) for line in self.output().splitlines()]
        return [line for line in lines if line[0] in LEVELS.values()]

    def status(self, path="script-data/1394_write_status.txt"):
        """(milliseconds, level, module, message) of each line of the status file."""
        text = (self.data / path).read_text()
        lines = status_lines(text)
        assert len(lines) == len(text.splitlines()), "a line of the status file is malformed:\n" + text
        return lines

    def rows(self):
        """The rows of the log, in the order of writing."""
        with sqlite3.connect(f"file:{self.data / 'db1.mdb'}?mode=ro", uri=True) as database:
            assert database.execute("PRAGMA integrity_check").fetchone() == ("ok",)
            return database.execute("SELECT lngRuntime, Level, strModule, Message FROM tblStatus ORDER BY rowid"
                                    ).fetchall()

    def trace(self):
        path = self.data / "bus-trace.jsonl"
        return [json.loads(line) for line in path.read_text().splitlines()] if path.exists() else []

    def flash(self):
        """{GUID: {section: bytes}} of the devices that anything was stored in."""
        return {device.name: {path.stem: path.read_bytes() for path in device.glob("*.bin")}
                for device in (self.data / "bus-state").glob("*") if device.is_dir()}

    def identity(self, guid):
        path = self.data / "bus-state" / guid / "identity.json"
        return json.loads(path.read_text()) if path.exists() else {}  # none was changed


def status_lines(text):
    found = [STATUS_LINE.fullmatch(line) for line in text.splitlines()]
    return [(((int(h) * 60 + int(m)) * 60 + int(s)) * 1000 + int(ms), *rest)
            for h, m, s, ms, *rest in (match.groups() for match in found if match)]


def requests(trace):
    """(node, code, operands) of each request in a trace."""
    for entry in trace:
        if entry["operation"] == "write" and entry["address"] == REQUEST:
            data = bytes.fromhex(entry["data"])
            yield entry["node"], data[6], data[8:]


def changes(trace):
    """The requests that change a device: "0:start 0:block*3" is a start and three blocks to node 0."""
    sent = [f"{node}:{COMMANDS.get(code, code)}" for node, code, _ in requests(trace) if code not in HARMLESS]
    runs = [(text, len(list(group))) for text, group in itertools.groupby(sent)]
    return " ".join(text + (f"*{count}" if count > 1 else "") for text, count in runs)


def downloads(trace):
    """(operands of the start, bytes of the blocks) of each download; the blocks have to be in order."""
    done, buffer = [], b""
    for entry in trace:
        if entry["operation"] == "write" and entry["address"] == REQUEST_BUFFER:
            buffer = bytes.fromhex(entry["data"])
        for _, code, operands in requests([entry]):
            if code == 4:
                start, content, blocks = operands, b"", 0
            elif code == 5:
                address = struct.unpack_from("<I", start, 28)[0] + len(content)
                size = min(1024, struct.unpack_from("<I", start, 32)[0] - len(content))
                assert struct.unpack("<3I", operands) == (blocks, address, size), f"block {blocks} is out of order"
                content, blocks = content + buffer[:size], blocks + 1
            elif code == 6:
                done.append((start, content))
    return done


def install(cmake, build, installed):
    subprocess.run([cmake, "--install", build, "--prefix", installed], check=True, stdout=subprocess.DEVNULL)


def pack(installed, name, options="", **sections):
    command = [installed / "hoistline", "package", "pack", installed / name, "--hardware-id", "17", *options.split()]
    for section, (content, address) in sections.items():
        part = installed / f"{section}.bin"
        part.write_bytes(content)
        command += [f"--{section}", part, f"--{section}-address", str(address)]
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)


def attempt(name, check, installed, base):
    began = time.monotonic()
    base.mkdir()
    try:
        result = check(installed, base) or "good"
    except Exception:
        result = "FAILED\n" + traceback.format_exc()
        result += "".join(f"--- {path.name}\n{path.read_text(errors='replace')}" for path in base.glob("*.err"))
    print(f"{time.monotonic() - began:5.1f} s  {name}: {result}", flush=True)
    return not result.startswith("FAILED")


def run_cases(prepare, cases, at_once):
    """Prepares an installation and gives each case, (name, check), a folder of its own. Returns the exit code."""
    with tempfile.TemporaryDirectory(prefix="program-test-") as folder:
        base = Path(folder)
        base.chmod(0o755)
        prepare(base / "installed")
        with ThreadPoolExecutor(at_once) as pool:
            jobs = [pool.submit(attempt, name, check, base / "installed", base / str(number))
                    for number, (name, check) in enumerate(cases)]
            return 0 if jobs and all([job.result() for job in jobs]) else 1
