"""Runs the installed program on simulated buses and checks everything that a run leaves behind.

ProgramTest.py CMAKE BUILD-DIRECTORY [WORD-OF-A-CASE]
"""

import json
import os
import random
import re
import shutil
import signal
import sqlite3
import struct
import subprocess
import sys
import time
import zlib
from collections import Counter
from dataclasses import dataclass, field
from functools import partial
from pathlib import Path
from typing import Callable

from Program import HARMLESS, LEVELS, REQUEST, REQUEST_BUFFER, TIME_LIMIT, Program
from Program import changes, downloads, install, may_mount, pack, requests, run_cases, status_lines, wait_until

EXAMPLES = Path(__file__).parents[2] / "docs/examples"
GUIDE = EXAMPLES.parent / "help/twl/hoistline/help/v1.8.1/unattended.html"
SECTIONS = {  # type on the wire, address
    "application": (0, 0x20000000), "config": (1, 0x201A0000), "bootloader": (3, 0x1000)}
NOISE = random.Random(1394)
IMAGE, CNE, BOOT = NOISE.randbytes(5001), NOISE.randbytes(700), NOISE.randbytes(1500)
RUNS_AT_ONCE = 10  # they mostly wait for one-second ticks


def guid(number):
    return f"000F1B00000000{number:02X}"


def target(number, mode="bootloader", protocol=1):
    return {"kind": "target", "guid": guid(number), "mode": mode, "protocol": protocol,
            "eraseMs": 5, "checkMs": 5, "rebootMs": 20}


def bus(*nodes):
    return {"stateDirectory": "bus-state", "trace": "bus-trace.jsonl", "nodes": nodes}


def example(name):
    return json.loads((EXAMPLES / name).read_text()) | {"trace": "bus-trace.jsonl"}


@dataclass
class Case:
    name: str
    bus: dict
    options: str
    says: list  # parts of the status file's lines, in this order
    changes: str = ""
    stored: dict = field(default_factory=dict)  # GUID: sections, in the order of loading
    identity: dict = field(default_factory=dict)  # of the one device in `stored`
    status: str = "script-data/1394_write_status.txt"
    errors: list = field(default_factory=list)  # parts of error lines that may also appear
    wire: str = ""  # a request that must be in the trace
    prepare: Callable = lambda program: None
    meanwhile: Callable = lambda program: None
    check: Callable = lambda program: None
    database: bool = True
    space_on_disk: int = None
    silent: bool = False  # leaves nothing, not even a status file
    environment: dict = field(default_factory=dict)


IN_APPLICATION = ("USER, basAutomation, The device is running in application mode.  Resetting the device to "
                  "bootloader mode and re-starting the process...")
PARAMETERS = "USER, basAutomation, Successfully Initialized the Persistent Parameters."
NEW_GUID = "USER, basAutomation, Successfully set the GUID to the new value."
IMAGE_DONE = "USER, basAutomation, Successfully programmed image from "
CNE_DONE = ["USER, basAutomation, Successfully programmed CNE from ",
            "USER, basAutomation, Successfully set CNE to factory default."]
LOADED = {"application": IMAGE, "config": CNE}
LOADING = "0:start 0:block*5 0:end 0:start 0:block 0:end 0:defaults 0:run"
PROOFS = {  # starts of the standard output lines that the documents name for scripts
    "application": "USER    Successfully programmed image from ",
    "config": "USER    Successfully set CNE to factory default.",
    "bootloader": "USER    Successfully programmed new bootloader firmware image.",
    "guid": "USER    Successfully set the GUID to the new value."}
# Logged when a device leaves during an enumeration, which then starts over.
INTERRUPTED = "ERROR, bas1394, VdevBusResetHandler call failed, code -1"
NO_FILE_DATE = "ERROR, basApp, Failed to convert driver date to a readable format!"


def signals_in_the_erase(*numbers):  # one request may arrive twice
    def send(program):
        wait_until(lambda: "progress erasing" in program.output(), "the erase")
        for number in numbers:
            program.process.send_signal(number)
    return send


def setting_that_is_no_number(program):
    shutil.copy(program.folder / "db1_clean.mdb", program.folder / "db1.mdb")
    with sqlite3.connect(program.folder / "db1.mdb") as database:
        database.execute("INSERT INTO tblSettings VALUES ('HoistlineApp', 'Global', 'DebugMessageLevel', 'many')")


def load(name, options="/D app.twd", **more):  # of the package into a single device
    return Case(name, bus(target(1)), options, [IMAGE_DONE, *CNE_DONE], LOADING, {guid(1): LOADED}, **more)


# --- Runs under bad conditions ---

def second_instance(program):
    wait_until(lambda: "Started HoistlineApp" in program.output(), "the first instance")
    before = {path: path.read_bytes() for path in program.folder.glob("script-data/*")}
    process = program.start(["/D", "app.twd"], "second")
    try:
        assert process.wait(TIME_LIMIT) == 0
    finally:
        program.end(process)
    message = "There is already an instance of HoistlineApp running.  Cannot run a second instance."
    assert message in program.output("second.err"), program.output("second.err")
    assert program.output("second.out") == ""
    for path, content in before.items():
        assert path.read_bytes().startswith(content), f"{path} was touched"


def contents(folder):
    return {path: path.read_bytes() for path in sorted(folder.rglob("*")) if path.is_file()}


def forbid_writing(program):
    program.use_account_that_may_not_write()
    program.before = contents(program.folder)


def check_untouched(program):
    assert contents(program.folder) == program.before, "the program's folder was written"
    assert (program.data / "batch-operations/keybatch.html").exists(), "the example wasn't seeded"
    assert not (program.data / "docs").exists(), "documents were copied where no update reaches them"


def put(name, content):
    return lambda program: (program.folder / name).write_bytes(content)


def remove(name):
    return lambda program: (program.folder / name).unlink()


def check_missing_database(program):
    assert "Database not found: The database file (db1.mdb or alternatively" in program.output("first.err")


def check_corrupt_database(program):
    assert "Database not usable: The database file" in program.output("first.err")
    assert (program.folder / "db1.mdb").read_bytes() == JUNK, "the corrupt database was touched"


def check_full_disk(program):
    reported = program.reported()
    last = reported[-1][1]
    assert last.startswith("BuildBootloaderDeviceList completed: 1 compatible"), f"it didn't come to its end: {last}"
    assert any(message.startswith("Successfully programmed image from ") for _, message in reported)
    written = program.output("program/script-data/1394_write_status.txt") + program.output("first.err")
    lost = Counter(reported) - Counter((level, message) for _, level, _, message in status_lines(written))
    assert not lost, f"neither in the status file nor on standard error: {lost}"
    assert "the state stays in memory" in written
    if (program.folder / "db1.mdb").exists():
        program.rows()  # intact up to its end


def check_key_batch(program):
    """The shipped batch on the default bus, and again over its own files."""
    folder = program.folder / "batch-operations"

    def outcome():
        report = (folder / "keybatch.out.html").read_text()
        values = {name: (folder / name).read_bytes().split(b"\r\n#-")[-2].split(b"\r\n", 1)[1]
                  for name in re.findall('HREF="([^"/]+)"', report)}
        assert report.count(" SUCCESS ") == len(values) and "FAILED" not in report, report
        assert report.rstrip().endswith("</A>"), "the report isn't finished"
        return values

    expected = {"model.txt": b"TX-12", "serial.txt": b"20000002", "location.txt": b"Rack 3 / Bench 7",
                "location-read.txt": b"Rack 3 / Bench 7", f"{guid(2)}.txt": b"\x00\xff\x10"}
    assert outcome() == expected, outcome()
    process = program.start(KEY_BATCH.split(), "second")
    try:
        assert process.wait(TIME_LIMIT) == 0
    finally:
        program.end(process)
    assert program.output("second.out").count("Overwriting existing file") == len(expected)
    assert outcome() == expected, outcome()


KEY_BATCH = "/R batch-operations/keybatch.html"
JUNK = NOISE.randbytes(8192)
NO_LIBRARY = dict(
    options="/D app.twd", bus=bus(target(1)), errors=[NO_FILE_DATE],
    says=["ERROR, bas1394, ERROR loading Twl1394api.dll!  Call to LoadLibrary returned 0.",
          "ERROR, bas1394, Twl1394api.dll could not be loaded: ",
          "ERROR, basApp, The run can't begin without an access library.  No device was changed.",
          "ERROR, basApp, ERROR #53: File not found: Twl1394api.dll in Main.  Exiting initialization abnormally."])
MIXED = example("bus-62-mixed-nodes.json")
MIXED_TARGETS = {number: node for number, node in enumerate(MIXED["nodes"]) if node["kind"] == "target"}

CASES = [
    Case("never reaches its bootloader", example("bus-never-bootloader.json"), "/D app.twd",
         [IN_APPLICATION] * 6 + ["ERROR, basAutomation, Performed 6 attempts to reset the device and resume the "
                                 "operation(s).  Aborting."], "0:reset*6"),
    Case("GUID, in three passes", bus(target(1, "application")), "/G 0011223344556677",
         [IN_APPLICATION, PARAMETERS, NEW_GUID], "0:reset 0:parameters 0:guid 0:run", {guid(1): {}},
         {"guid": "0011223344556677", "mode": "application"}),
    Case("package into one of two, from application mode", bus(target(1), target(2, "application")),
         "/D app.twd /X 000f1b0000000002", [IN_APPLICATION, IMAGE_DONE, *CNE_DONE],
         "1:reset " + LOADING.replace("0:", "1:"), {guid(2): LOADED}, {"mode": "application"},
         wire="0100000005000f00"),  # GetDebugGUID as the fifth command
    Case("bootloader, protocol 3", bus(target(1, protocol=3)), "/B boot.twd",
         ["USER, basAutomation, Successfully programmed new bootloader firmware image."],
         "0:start 0:block*2 0:end 0:run", {guid(1): {"bootloader": BOOT}}),
    Case("the folder of /A", bus(target(1)), "/A",
         [PARAMETERS, NEW_GUID, IMAGE_DONE + "DTCP\\GUID\\MACID\\Config_Image.twd", *CNE_DONE],
         "0:parameters 0:guid 0:mac " + LOADING, {guid(1): LOADED},
         {"guid": "8899aabbccddeeff", "mac": "0000a1b2c3d4e5f6"}, "1394_WRITE_STATUS/1394_write_status.txt"),
    Case("package without an image", bus(target(1)), "/D cne.twd",
         ["USER, basAutomation, File does not contain an application image: ", *CNE_DONE],
         "0:start 0:block 0:end 0:defaults 0:run", {guid(1): {"config": CNE}}),
    Case("information on 62 nodes", MIXED, "/I",
         [f"Node #{number}: GUID='{node['guid'][:8]} {node['guid'][8:]}'" for number, node in MIXED_TARGETS.items()]
         + [f"BuildBootloaderDeviceList completed: {len(MIXED_TARGETS)} compatible nodes found on the bus."],
         errors=["Invalid protocol version determined in SendRequest: 33554432(0x2000000)!"]),
    Case("key batch, twice", bus(), KEY_BATCH, ["Overwriting existing file '"], stored={guid(2): {}},
         prepare=remove("simulated-bus.json"), check=check_key_batch),
    load("second instance", meanwhile=second_instance),
    load("program folder that can't be written", prepare=forbid_writing, check=check_untouched),
    load("database missing", prepare=remove("db1_clean.mdb"), database=False, errors=[NO_FILE_DATE],
         check=check_missing_database),
    load("database corrupt", prepare=put("db1.mdb", JUNK), database=False, check=check_corrupt_database),
    Case("library that is garbage", prepare=put("Twl1394api.so", JUNK), **NO_LIBRARY),
    Case("no library", prepare=remove("Twl1394api.so"), **NO_LIBRARY),
    Case("signals in the erase", bus(target(1) | {"eraseMs": 20000}), "/D app.twd",
         ["USER, basBootloader, Loading new Application Image", "DownloadStart command failed, code -",
          "ERROR, basBootloader, The load of the Application Image was ended early.  The device was told to erase what "
          "it held before and got 0 of 5001 bytes", "Failed to Download Image."], "0:start", {guid(1): {"application": b""}},
         meanwhile=signals_in_the_erase(signal.SIGTERM, signal.SIGTERM, signal.SIGHUP)),
    load("display that doesn't answer", environment={"QT_QPA_PLATFORM": None, "DISPLAY": ":9999"}),
    load("library dated 1970", prepare=lambda program: os.utime(program.folder / "Twl1394api.so", (0, 0)),
         errors=["File Dependency Error: file ", "The expected date is "]),
    load("/S without a viewer", options="/D app.twd /S", environment={"PATH": ""}, errors=["xdg-open"]),
    Case("setting that is no number", bus(target(1)), "/D app.twd", [], prepare=setting_that_is_no_number,
         silent=True),
    load("disk full from the start", space_on_disk=0, database=False, check=check_full_disk),
    load("disk that fills up in the run", space_on_disk=90_000, database=False, check=check_full_disk),
]


# --- One run and its checks ---

def check_records(program, case):
    """Status file, standard output and log agree, and the status file has what the case expects."""
    status = program.status(case.status)
    lines = [", ".join(line[1:]) for line in status]
    rest = iter(lines)
    for part in case.says:
        assert any(part in line for line in rest), f"not said, or not in this place: {part}\n" + "\n".join(lines)
    known = [*case.says, *case.errors, INTERRUPTED]
    unexpected = [line for line in lines if not line.startswith("USER") and not any(part in line for part in known)]
    assert not unexpected, unexpected
    assert [(level, message) for _, level, _, message in status] == program.reported()
    if case.database:
        rows = [(ms, LEVELS[level], module, message) for ms, level, module, message in program.rows()
                if level in LEVELS and ms >= 0]
        assert rows and rows == [(*line[:3], line[3][:250]) for line in status][-len(rows):], "log and status differ"


def download(name, content):
    """The operands of its start, and the bytes."""
    kind, address = SECTIONS[name]
    return struct.pack("<I8s8s5I", kind, b"20020831", b"152503", 0x1234, 0x01020305, address, len(content),
                       zlib.crc32(content)), content


def check_bus(program, case):
    """What went over the bus, and what the devices hold."""
    trace = program.trace()
    assert changes(trace) == case.changes, changes(trace)
    writes = [entry for entry in trace if entry["operation"] == "write"]
    assert {entry["address"] for entry in writes} <= {REQUEST, REQUEST_BUFFER}
    changed = {node for node, code, _ in requests(trace) if code not in HARMLESS}
    assert {entry["node"] for entry in writes if entry["address"] == REQUEST_BUFFER} <= changed
    assert not case.wire or case.wire in [entry["data"] for entry in writes if entry["address"] == REQUEST]
    assert program.flash() == case.stored, f"the devices hold {program.flash()}"
    expected = [download(name, content) for sections in case.stored.values() for name, content in sections.items()]
    assert downloads(trace) == [load for load in expected if load[1]], "the blocks on the bus aren't the package's sections"
    for device, sections in case.stored.items():
        identity = program.identity(device)
        assert case.identity.items() <= identity.items(), identity
        for name in sections:
            if not sections[name]:
                continue  # erased
            found = [identity[name][key] for key in ("id", "version", "size", "valid")]
            assert found == [0x1234, 0x01020305, len(sections[name]), True], identity


def check_proofs(program):
    """Exactly those lines that prove a success are present that match the devices' content."""
    lines = program.output().splitlines()
    proved = {name for name, text in PROOFS.items() if any(line.startswith(text) for line in lines)}
    whole = {"application": IMAGE, "config": CNE, "bootloader": BOOT}
    done = {name for sections in program.flash().values() for name, content in sections.items()
            if content == whole[name]}
    done |= {"guid" for device in program.flash() if program.identity(device).get("guid", device).upper() != device}
    assert proved == done, f"proved {proved}, done {done}"


def run(case, installed, base):
    program = Program(installed, base, case.bus)
    if case.space_on_disk is not None and not may_mount(base):
        return "skipped: no file system can be mounted here"
    case.prepare(program)
    process = program.start(case.options.split(), space_on_disk=case.space_on_disk, **case.environment)
    program.process = process
    try:
        case.meanwhile(program)
        assert process.wait(TIME_LIMIT) == 0, f"exit code {process.returncode}"
    finally:
        program.end(process)
    if case.space_on_disk is None:  # where the devices can store their state
        check_proofs(program)
    if case.silent:
        assert program.output() == ""
    elif case.space_on_disk is None:
        check_records(program, case)
        check_bus(program, case)
    case.check(program)
    return None


def prepare(installed, cmake, build):
    install(cmake, build, installed)
    about = "--date 20020831 --time 152503 --software-id 0x1234 --software-version 0x01020305"
    pack(installed, "app.twd", about, image1=(IMAGE, SECTIONS["application"][1]), cne=(CNE, 0))
    pack(installed, "cne.twd", about, cne=(CNE, 0))
    pack(installed, "boot.twd", about, image1=(BOOT, SECTIONS["bootloader"][1]))
    folder = installed / "DTCP/GUID/MACID"
    folder.mkdir(parents=True)
    shutil.copy(installed / "app.twd", folder / "Config_Image.twd")
    (folder / "GUID.txt").write_text("8899AABB CCDDEEFF,behind a comma\r\n")
    (folder / "MACID.txt").write_text("a1b2c3d4e5f6\r\n")


def main(cmake, build, word=""):
    assert all(text in GUIDE.read_text() for text in PROOFS.values()), f"{GUIDE} tells scripts otherwise"
    cases = [(case.name, partial(run, case)) for case in CASES if word in case.name]
    return run_cases(partial(prepare, cmake=cmake, build=build), cases, RUNS_AT_ONCE)


sys.exit(main(*sys.argv[1:]))
