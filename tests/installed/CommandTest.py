"""Runs the installed hoistline: each exit code, its record, its JUnit file, and what bad days do to it.

CommandTest.py CMAKE BUILD-DIRECTORY [WORD-OF-A-CASE]
"""

import fcntl
import html
import json
import os
import pty
import random
import re
import shutil
import signal
import sqlite3
import subprocess
import sys
import time
import xml.etree.ElementTree as ElementTree
from functools import partial
from pathlib import Path

import jsonschema

from Program import TIME_LIMIT, Program, install, pack, run_cases, wait_until

try:
    from junitparser import JUnitXml
except ImportError:
    JUnitXml = None

SCHEMA = Path(__file__).parents[2] / "docs/hoistline.schema.json"
IMAGE = random.Random(1394).randbytes(5001)
ADDRESS = "0x20000000"
DEVICE = "000F1B0000000001"
RUNS_AT_ONCE = 6


def target(number=1, mode="bootloader", **more):
    return {"kind": "target", "guid": f"000F1B00000000{number:02X}", "mode": mode, "eraseMs": 5, "checkMs": 5,
            "rebootMs": 20} | more


def bus(*nodes):
    return {"stateDirectory": "bus-state", "nodes": nodes}


SLOW = bus(target(eraseMs=1500))


class Result:
    def __init__(self, code, out, error, seconds):
        self.code, self.out, self.error, self.seconds = code, out, error, seconds

    def record(self):
        """The last document, after all of them have been validated."""
        lines = self.out.decode().splitlines()
        documents = [json.loads(self.out)] if lines[0] == "{" else [json.loads(line) for line in lines]
        for document in documents:
            VALIDATOR.validate(document)
        return documents[-1]


def start(program, *arguments, cwd=None, out=subprocess.PIPE, error=subprocess.PIPE, environment=None):
    return subprocess.Popen([program.folder / "hoistline", *arguments], cwd=cwd or program.base,
                            stdin=subprocess.DEVNULL, stdout=out, stderr=error,
                            env=program.environment(**(environment or {})))


def finish(process, since=None):
    began = since or time.monotonic()
    try:
        out, error = process.communicate(timeout=TIME_LIMIT)
    finally:
        if process.poll() is None:
            process.kill()
    return Result(process.returncode, out, error, time.monotonic() - began)


def call(program, *arguments, **more):
    return finish(start(program, *arguments, **more))


def shell(program, text):
    return subprocess.run(["bash", "-c", text, program.folder / "hoistline"], cwd=program.base, capture_output=True,
                          env=program.environment(), timeout=TIME_LIMIT)


def await_erase(program, process):
    wait_until(lambda: (program.folder / "bus-state" / DEVICE).exists() or process.poll() is not None, "the erase")


# --- Every verdict ---

VERDICTS = [  # verdict, exit code, bus, arguments; a signal once the erase has begun
    ("done", 0, bus(target()), ["list"], None),
    ("done", 0, bus(target()), ["load", "app.twd"], None),
    ("done", 0, bus(target(mode="application")), ["info"], None),
    *(("done", 0, bus(target()), arguments.split(), None) for arguments in (
        "load app.twd --dry-run", "rom", "rom --save rom.bin", "reset --into bootloader", "bus-reset", "log",
        "settings list", "settings get Global DebugLoggingLevel", "settings set Global DebugLoggingLevel 5",
        "settings unset Global DebugLoggingLevel", "package show app.twd", "package check app.twd",
        "package unpack app.twd image1 image", "package pack --image1 image1.bin other.twd", "completion fish",
        "doctor --print-rule", "doctor --measure", "identity --guid 000F1B0000000009 --dry-run",
        "identity --guid 000F1B0000000009 --mac 0000A1B2C3D4")),
    ("failed", 1, bus(), ["package", "unpack", "app.twd", "image1", "/nowhere/file"], None),
    ("usage", 2, bus(), ["list", "--bogus"], None),
    ("no-device", 4, bus(), ["load", "app.twd"], None),
    ("no-device", 4, bus(target()), ["info", "000F1B00000000FF"], None),
    ("ambiguous", 5, bus(target(1), target(2)), ["load", "app.twd"], None),
    ("refused", 6, bus(target()), ["load", "simulated-bus.json"], None),
    ("unchanged", 7, bus(target(mode="application")), ["crc"], None),
    ("damaged", 8, bus(target()) | {"faults": [{"command": 5, "count": 4, "status": -3}]}, ["load", "app.twd"], None),
    ("differs", 9, bus(target()), ["verify", "app.twd"], None),
    ("timed-out", 10, bus(target()), ["list", "--watch", "--timeout", "0.7"], None),
    ("timed-out", 10, SLOW, ["load", "app.twd", "--timeout", "1.2"], None),
    ("interrupted", 130, SLOW, ["load", "app.twd"], signal.SIGINT),
    ("interrupted", 130, SLOW, ["load", "app.twd"], signal.SIGTERM),
]


def check_junit(path, verdict):
    suites = ElementTree.parse(path).getroot()
    assert suites.tag == "testsuites"
    (suite,) = suites
    properties = {each.get("name"): each.get("value") for each in suite.find("properties")}
    assert properties["verdict"] == verdict, properties
    cases = suite.findall("testcase")
    counts = [len(cases), *(sum(case.find(kind) is not None for case in cases) for kind in ("failure", "error"))]
    assert counts == [int(suite.get(name)) for name in ("tests", "failures", "errors")] and cases, counts
    assert (sum(counts[1:]) == 0) == (verdict == "done"), counts
    assert all(float(case.get("time")) >= 0 and case.get("classname").startswith("hoistline") for case in cases)
    if verdict != "done":
        assert verdict in [found.get("type") for case in cases for found in case if found.tag in ("failure", "error")]
    if JUnitXml:
        (read,) = JUnitXml.fromfile(str(path))
        assert (read.tests, read.failures, read.errors) == tuple(counts)


def check_verdict(verdict, code, arguments, number):
    def run_one(program, *more):
        began = time.monotonic()
        process = start(program, *arguments, *more, cwd=program.folder)
        if number:
            await_erase(program, process)
            process.send_signal(number)
        return finish(process, began)

    def check(program):
        junit = program.base / "a report's \"file\".xml"
        result = run_one(program, "--json", "--junit", junit)
        record = result.record()
        assert (result.code, record["exit"], record["verdict"]) == (code, code, verdict), (result.code, record)
        check_junit(junit, verdict)
        flash = program.flash().get(DEVICE, {}).get("application")
        if number or verdict == "damaged":
            assert record["flash"] in ("damaged", "unknown"), record["flash"]
        else:
            assert {"identical": IMAGE, "unchanged": None}.get(record["flash"], flash) == flash, record["flash"]
        shutil.rmtree(program.folder / "bus-state", ignore_errors=True)
        text = run_one(program)
        assert text.code == code, (text.code, text.error)
        assert verdict == "done" or re.search(rf"^hoistline.*: {verdict}", text.error.decode(), re.M), text.error
    return check


def check_no_library(program):
    (program.folder / "Twl1394api.so").unlink()
    result = call(program, "list", "--json", "--junit", "report.xml")
    assert result.code == 3 and result.record()["verdict"] == "no-bus" and result.seconds < 2, result.seconds
    check_junit(program.base / "report.xml", "no-bus")


# --- Standard output and standard error ---

STREAMS = [  # what the shell does with the call, its exit code
    ('"$0" list --verbose --verbose >&-', 1),
    ('"$0" list >/dev/full', 1),
    ('"$0" list --json >/dev/full', 1),
    ('"$0" list -vvv 2>&-', 0),
    ('"$0" list -vvv 2>/dev/full', 0),
    ('"$0" list -vvv >&- 2>&-', 1),
    ('"$0" list -vvv <&- >&- 2>&-', 1),
    ('"$0" list | head -2 | grep -q NODE', 0),
    ('set -o pipefail; "$0" list | true', 1),
    ('"$0" --version | grep -q "^hoistline 1"', 0),
]


def check_stream(text, code):
    def check(program):
        assert call(program, "list").code == 0  # creates the database
        result = shell(program, text)
        assert result.returncode == code, (result.returncode, result.stderr)
        with sqlite3.connect(program.folder / "db1.mdb") as database:
            assert database.execute("PRAGMA integrity_check").fetchone() == ("ok",)
    return check


def check_stand_ins(program):
    """No file of the program takes the place of a descriptor that was closed."""
    closed = 'exec "$0" list --watch --timeout 2 <&- 2>&-'
    process = subprocess.Popen(["bash", "-c", closed, program.folder / "hoistline"],
                               cwd=program.base, env=program.environment(), stdout=subprocess.PIPE)
    process.stdout.readline()
    opened = [os.readlink(f"/proc/{process.pid}/fd/{number}") for number in (0, 2)]
    assert finish(process).code == 10 and opened == ["/dev/null", "/dev/null"], opened


def on_terminal(program, *arguments, **environment):
    """Exit code and what a terminal of 60 columns gets."""
    master, slave = pty.openpty()
    fcntl.ioctl(slave, 0x5414, b"\x18\x00\x3c\x00\x00\x00\x00\x00")  # TIOCSWINSZ
    process = start(program, *arguments, out=slave, error=slave, environment=environment, cwd=program.folder)
    os.close(slave)
    shown = b""
    try:
        while part := os.read(master, 4096):
            shown += part
    except OSError:  # the last writer has gone
        pass
    os.close(master)
    return process.wait(TIME_LIMIT), shown


TERMINALS = [  # variables, options, redrawn, colours
    ({"TERM": "xterm", "LANG": "C.UTF-8"}, [], True, True),
    ({"TERM": "dumb"}, [], False, False),
    ({"TERM": None}, [], False, False),
    ({"TERM": "xterm", "NO_COLOR": "1"}, [], True, False),
    ({"TERM": "xterm"}, ["--no-color"], True, False),
    ({"TERM": "xterm"}, ["--quiet"], False, False),
    ({"TERM": "xterm"}, ["--progress", "none"], False, True),
]


def check_terminal(variables, options, redrawn, colours):
    def check(program):
        code, shown = on_terminal(program, "load", "app.twd", *options, **variables)
        assert code == 0, shown
        assert (b"\r\x1b[K" in shown) == redrawn, shown
        assert (b"\x1b[32mdone" in shown) == colours, shown
        frames = [frame for frame in shown.replace(b"\n", b"").split(b"\r\x1b[K") if b"application: " in frame]
        assert not redrawn or (frames and all(len(frame) < 60 for frame in frames if b"ending" not in frame)), frames
    return check


def check_locale(program):
    shutil.copy(program.folder / "app.twd", program.base / "ä.twd")
    for locale, expected in (("C", b"?.twd: good"), ("C.UTF-8", "ä.twd: good".encode())):
        code, shown = on_terminal(program, "package", "check", str(program.base / "ä.twd"), LANG=locale, LC_ALL=None,
                                  LC_CTYPE=None)
        assert code == 0 and expected in shown, shown
    piped = call(program, "package", "check", "ä.twd", environment={"LC_ALL": "C"})
    assert "ä.twd: good".encode() in piped.out


# --- Files ---

def check_paths(program):
    for number, name in enumerate((b"with blank", b"it's \"quoted\"", b"not \xff utf-8")):
        folder = os.path.join(os.fsencode(program.base), name)
        os.mkdir(folder)
        shutil.copy(program.folder / "app.twd", os.path.join(folder, b"app.twd"))
        with open(os.path.join(folder, b"bus"), "w") as file:
            json.dump({"stateDirectory": f"state-{number}", "nodes": [target()]}, file)
        result = call(program, *"load app.twd --bus simulated:bus --junit report.xml --json".split(), cwd=folder)
        record = result.record()
        assert (result.code, record["flash"], record["bus"]["kind"]) == (0, "identical", "simulated"), record
        check_junit(os.path.join(folder, b"report.xml").decode(errors="surrogateescape"), "done")
        assert call(program, "package", "unpack", "app.twd", "image1", "part.bin", cwd=folder).code == 0
        with open(os.path.join(folder, b"part.bin"), "rb") as file:
            assert file.read() == IMAGE
        assert sorted(os.listdir(folder))[:4] == [b"app.twd", b"bus", b"part.bin", b"report.xml"]


def check_program(program):
    names = subprocess.run(["ldd", program.folder / "hoistline"], capture_output=True, text=True).stdout
    assert "libfmt" in names and "Qt" not in names, names
    share = program.folder / "share"
    for path in ("bash-completion/completions/hoistline", "zsh/site-functions/_hoistline",
                 "fish/vendor_completions.d/hoistline.fish", "man/man1/hoistline-load.1", "udev/70-hoistline.rules"):
        assert (share / path).stat().st_size > 200, path


def check_lines_of_json(program):
    """Progress for a supervisor, and a followed log."""
    result = call(program, "load", "app.twd", "--progress", "json", cwd=program.folder)
    events = [json.loads(line) for line in result.error.decode().splitlines() if line.startswith("{")]
    for event in events:
        VALIDATOR.validate(event)
    steps = list(dict.fromkeys(event["step"] for event in events))
    assert steps == ["reading", "erasing", "loading", "checking", "done"], steps
    followed = call(program, "log", "--follow", "--json", "--timeout", "0.5")
    assert followed.code == 10 and followed.record()["verdict"] == "timed-out" and followed.out.count(b"\n") > 5


def check_key(program):
    (program.folder / "simulated-bus.json").unlink()  # the default bus has keys
    result = call(program, "key", "get", "MODEL", "000f1b00 00000002", "--json")
    assert result.code == 0 and result.record()["answer"]["text"] == "TX-12", result.out
    assert call(program, "key", "get", "MODEL", "000F1B0000000002").out == b"TX-12"


def check_station(program):
    """The script of the user guide is the one that is installed, and does what the guide says."""
    script = program.folder / "docs/examples/station.sh"
    (page,) = program.folder.glob("docs/help/**/command-line.html")
    assert f"<pre>{script.read_text().strip()}</pre>" in html.unescape(page.read_text())
    folders = f"{program.folder}:{os.environ['PATH']}"
    result = subprocess.run(["bash", script, "app.twd", DEVICE, "000F1B0000000009", "0000A1B2C3D4", "reports"],
                            cwd=program.folder, env=program.environment(PATH=folders), capture_output=True,
                            timeout=TIME_LIMIT)
    assert result.returncode == 0, result.stderr
    for name in ("load", "verify", "identity"):
        check_junit(program.folder / f"reports/{name}.xml", "done")


# --- Records of the bus ---

def check_record(program):
    """A load that fails does so on its record and on the bus that is made of it."""
    load = ["load", "app.twd", "--json"]
    first = call(program, *load, "--record", "load.twr", cwd=program.folder).record()
    assert first["verdict"] == "damaged", first
    call(program, "record", "redact", "load.twr", "-o", "to-send.twr", cwd=program.folder)
    made = call(program, "record", "to-bus", "load.twr", "-o", "made.json", "--json", cwd=program.folder).record()
    assert made["answer"]["bus"] == json.loads((program.folder / "made.json").read_text())
    for again in ("replay:load.twr", "replay:to-send.twr", "simulated:made.json"):
        record = call(program, *load, "--bus", again, cwd=program.folder).record()
        assert (record["verdict"], record["reason"]) == (first["verdict"], first["reason"]), record
    for name in ("load.twr", "to-send.twr"):
        shown = call(program, "record", "show", name, "--json", cwd=program.folder).record()
        assert shown["answer"]["ending"] == "whole" and shown["answer"]["entries"] > 50, shown


def check_killed_record(program):
    process = start(program, "load", "app.twd", "--record", "killed.twr", cwd=program.folder)
    await_erase(program, process)
    process.kill()
    finish(process)
    shown = call(program, "record", "show", "killed.twr", cwd=program.folder)
    assert shown.code == 0 and b"DownloadStart: id" in shown.out, shown


def check_recorded_folder(program):
    """The setting is for every start, also of the program with windows, and makes a file for each."""
    folder = program.base / "records"
    folder.mkdir()
    call(program, "settings", "set", "Global", "RecordFolder", folder)
    call(program, "list")
    assert "Recording the bus" in call(program, "list", "-v").error.decode()
    subprocess.run([program.folder / "HoistlineApp", "/I"], env=program.environment(), stdout=subprocess.DEVNULL,
                   timeout=TIME_LIMIT, check=True)
    records = list(folder.glob("bus-*.twr"))
    assert len(records) == 3, records
    assert all(b"config ROM" in call(program, "record", "show", record).out for record in records)


# --- Loads that are cut off, and two at once ---

def check_kill(program):
    process = start(program, "load", "app.twd", "--json", cwd=program.folder)
    await_erase(program, process)
    process.kill()
    result = finish(process)
    assert result.code == -signal.SIGKILL and result.out == b"", "a verdict"
    again = call(program, "load", "app.twd", "--json", cwd=program.folder)
    assert again.code == 0 and again.record()["flash"] == "identical", again.out
    assert program.flash()[DEVICE]["application"] == IMAGE


def check_beside_windows(program):
    windows = program.start(["/D", "app.twd"])
    try:
        wait_until(lambda: "progress erasing" in program.output(), "the erase of the unattended run")
        record = call(program, "load", "app.twd", "--json", cwd=program.folder).record()
        assert record["verdict"] in ("no-bus", "unchanged") and "another" in record["reason"], record
        assert windows.wait(TIME_LIMIT) == 0
    finally:
        program.end(windows)
    assert program.flash()[DEVICE]["application"] == IMAGE


CASES = [
    *((f"{verdict} ({' '.join(arguments)})", description, check_verdict(verdict, code, arguments, number))
      for verdict, code, description, arguments, number in VERDICTS),
    ("no access library", bus(), check_no_library),
    *((f"streams {text}", bus(target()), check_stream(text, code)) for text, code in STREAMS),
    *((f"terminal {row[0]} {row[1]}", bus(target(eraseMs=300)), check_terminal(*row)) for row in TERMINALS),
    ("streams that were closed", bus(target()), check_stand_ins),
    ("locale", bus(), check_locale),
    ("paths", bus(), check_paths),
    ("program", bus(), check_program),
    ("lines of JSON", bus(target()), check_lines_of_json),
    ("key", bus(), check_key),
    ("record", bus(target()) | {"faults": [{"node": 0, "command": 6, "do": "badCrc"}]}, check_record),
    ("killed record", SLOW, check_killed_record),
    ("recorded folder", bus(target()), check_recorded_folder),
    ("station", bus(target(mode="application")), check_station),
    ("killed in the erase", SLOW, check_kill),
    ("beside an unattended run", SLOW, check_beside_windows),
]


def prepare(installed, cmake, build):
    install(cmake, build, installed)
    pack(installed, "app.twd", image1=(IMAGE, ADDRESS))


def main(cmake, build, word=""):
    def on(description, check):
        return lambda installed, base: check(Program(installed, base, description))
    cases = [(name, on(description, check)) for name, description, check in CASES if word in name]
    return run_cases(partial(prepare, cmake=cmake, build=build), cases, RUNS_AT_ONCE)


VALIDATOR = jsonschema.Draft7Validator(json.loads(SCHEMA.read_text()))
sys.exit(main(*sys.argv[1:]))
