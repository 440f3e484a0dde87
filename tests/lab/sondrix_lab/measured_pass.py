"""A pass of the program with its memory looked at."""

from __future__ import annotations

import json
import os
import subprocess
import sys
import time
from dataclasses import dataclass
from pathlib import Path

from sondrix_lab.network import Host
from sondrix_lab.passes import Pass

PASS_TIMEOUT_SECONDS = 90
LOOK_SECONDS = 0.02


@dataclass(frozen=True)
class MeasuredPass(Pass):
    """One run of the program, the processor time that it took, and the most memory that it held at a time."""

    processor_seconds: float
    # How long its main thread was ready to run while all processors were busy with something else.
    waited_seconds: float
    peak_bytes: int

    @property
    def own_seconds(self) -> float:
        """What the run would take on a machine that has a processor left for it."""
        return self.seconds - self.waited_seconds


def start_pass(host: Host, *options: str) -> subprocess.Popen[bytes]:
    """The process is the program itself: ip(8) becomes what it executes. What it says goes to files."""
    # The report comes in the locale's encoding.
    variables = {**os.environ, "LC_ALL": "C.UTF-8"}
    command = host.command(os.environ["SONDRIX_PROGRAM"], "--scan-once", "--json", *options)
    with (host.folder / "report").open("wb") as output, (host.folder / "errors").open("wb") as errors:
        return subprocess.Popen(command, env=variables, stdin=subprocess.DEVNULL, stdout=output, stderr=errors)


def finish_pass(host: Host, process: subprocess.Popen[bytes], begin: float) -> MeasuredPass:
    """The run has to end with status 0, one line of JSON, and nothing on standard error."""
    waited = 0.0
    while not (ended := os.wait4(process.pid, os.WNOHANG))[0]:
        if time.monotonic() - begin > PASS_TIMEOUT_SECONDS:
            process.kill()
            process.wait()
            raise AssertionError(f"the pass did not end within {PASS_TIMEOUT_SECONDS} seconds")
        waited = waited_seconds(process.pid)
        time.sleep(LOOK_SECONDS)
    seconds = time.monotonic() - begin
    _, status, usage = ended
    process.returncode = os.waitstatus_to_exitcode(status)
    output = (host.folder / "report").read_bytes().decode("utf-8")
    errors = (host.folder / "errors").read_text("utf-8", "replace")
    if process.returncode or errors:
        raise AssertionError(f"the pass ended with status {process.returncode}: {errors}")
    if not output.endswith("}\n") or output.count("\n") != 1:
        raise AssertionError(f"not one line: {output[:200]!r}")
    # The kernel counts what the interpreter of the lab held before the program took its place; that is far less.
    return MeasuredPass(json.loads(output), seconds, usage.ru_utime + usage.ru_stime, waited, usage.ru_maxrss * 1024)


def waited_seconds(process: int) -> float:
    """The second number of the kernel's schedstat, in nanoseconds."""
    return int(Path(f"/proc/{process}/schedstat").read_text("ascii").split()[1]) / 1e9


def run_measured_pass(host: Host, *options: str) -> MeasuredPass:
    begin = time.monotonic()
    return finish_pass(host, start_pass(host, *options), begin)


def print_figures(result: MeasuredPass, *more: str) -> None:
    """For the log of the test, as the limits that it holds a pass to say little of how far away that stays."""
    figures = (f"{result.seconds:.1f} s, {result.waited_seconds:.1f} s of them without a processor, "
               f"{result.processor_seconds:.1f} s with one",
               f"{result.peak_bytes / 1e6:.0f} MB", f"{result.report['deviceCount']} devices", *more)
    print("; ".join(figures), file=sys.stderr)


def has_sanitizers() -> bool:
    """Whether the program brings AddressSanitizer, whose own memory is many times the program's."""
    with open(os.environ["SONDRIX_PROGRAM"], "rb") as program:
        return b"__asan_init" in program.read()
