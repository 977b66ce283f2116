"""Runs the installed programs on the kernel's device files, which emulated_devices puts in front of a simulated target.

KernelBusTest.py CMAKE BUILD-DIRECTORY EMULATED-DEVICES PRELOADED-LIBRARIES
"""

import json
import os
import random
import subprocess
import sys
from functools import partial

from Program import TIME_LIMIT, Program, changes, install, pack, run_cases

IMAGE = random.Random(1394).randbytes(5001)
DEVICE = "000F1B0000000001"
BUS = {"stateDirectory": "bus-state", "trace": "bus-trace.jsonl",
       "nodes": [{"kind": "target", "guid": DEVICE, "mode": "application", "eraseMs": 5, "checkMs": 5, "rebootMs": 20},
                 {"kind": "host"}]}
LOADING = "0:reset 0:start 0:block*5 0:end 0:run"


class Emulation:
    """Of devices that keep their state in the program's folder."""

    def __init__(self, emulated_devices, preloaded, program):
        description = program.folder / "devices.json"
        description.write_text(json.dumps(BUS))
        self.process = subprocess.Popen([emulated_devices, description], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        text=True, env=os.environ | {"TMPDIR": str(program.base)})
        self.variables = {"UMOCKDEV_DIR": self.process.stdout.readline().strip(), "LD_PRELOAD": preloaded,
                          "HOISTLINE_BUS": None}  # the program itself finds the adapter

    def end(self):
        self.process.communicate(timeout=TIME_LIMIT)
        assert self.process.returncode == 0, f"the emulation ended with {self.process.returncode}"


def unattended(program, variables, *options):
    process = program.start(options, **variables)
    try:
        assert process.wait(TIME_LIMIT) == 0, f"exit code {process.returncode}"
    finally:
        program.end(process)
    return program.output()


def command(program, variables, *arguments):
    done = subprocess.run([program.folder / "hoistline", *arguments, "--bus", "kernel", "--json"],
                          cwd=program.folder, env=program.environment(**variables), stdin=subprocess.DEVNULL,
                          capture_output=True, timeout=TIME_LIMIT)
    assert done.returncode == 0, (done.returncode, done.stdout, done.stderr)
    return json.loads(done.stdout)


def expect_image(program):
    assert program.flash() == {DEVICE: {"application": IMAGE}}, program.flash()
    assert changes(program.trace()) == LOADING, changes(program.trace())


def information(program, variables):
    output = unattended(program, variables, "/I")
    assert f"GUID='{DEVICE[:8]} {DEVICE[8:]}'" in output, output
    assert "BuildBootloaderDeviceList completed: 1 compatible nodes found on the bus." in output, output
    assert changes(program.trace()) == "" and program.trace()


def unattended_load(program, variables):
    output = unattended(program, variables, "/D", "app.twd")
    assert "Successfully programmed image from " in output, output
    expect_image(program)


def listed(program, variables):
    nodes = command(program, variables, "list")["answer"]["nodes"]
    assert [node["guid"] for node in nodes if node["state"] == "application"] == [DEVICE], nodes
    assert len(nodes) == 2, nodes


def loaded(program, variables):
    record = command(program, variables, "load", "app.twd")
    assert (record["verdict"], record["flash"]) == ("done", "identical"), record
    expect_image(program)


def examined(program, variables):
    checks = command(program, variables, "doctor")["answer"]["checks"]
    assert {check["verdict"] for check in checks} == {"good"}, checks


def prepare(installed, cmake, build):
    install(cmake, build, installed)
    pack(installed, "app.twd", image1=(IMAGE, "0x20000000"))


def run(case, emulation, installed, base):
    program = Program(installed, base)
    devices = Emulation(*emulation, program)
    try:
        case(program, devices.variables)
    finally:
        devices.end()


def main(cmake, build, *emulation):
    cases = [(case.__name__, partial(run, case, emulation)) for case in CASES]
    return run_cases(partial(prepare, cmake=cmake, build=build), cases, len(CASES))


CASES = [information, unattended_load, listed, loaded, examined]
sys.exit(main(*sys.argv[1:]))
