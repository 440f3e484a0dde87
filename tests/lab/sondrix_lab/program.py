"""Runs the program under test in a host of the lab."""

from __future__ import annotations

import json
import os
import subprocess

from sondrix_lab.network import Host

SCAN_TIMEOUT_SECONDS = 60


def start_scan(host: Host, *options: str) -> subprocess.Popen[str]:
    # The report comes in the locale's encoding.
    environment = {**os.environ, "LC_ALL": "C.UTF-8"}
    command = host.command(os.environ["SONDRIX_PROGRAM"], "--scan-once", "--json", *options)
    return subprocess.Popen(command, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                            stderr=subprocess.PIPE, text=True, encoding="utf-8")


def finish_scan(process: subprocess.Popen[str]) -> dict:
    """The report. Every scan has to end with status 0 and to keep standard error empty."""
    with process:
        try:
            output, errors = process.communicate(timeout=SCAN_TIMEOUT_SECONDS)
        except subprocess.TimeoutExpired:
            process.kill()
            raise
    if process.returncode or errors:
        raise AssertionError(f"the scan ended with status {process.returncode}: {errors}")
    return json.loads(output)


def scan(host: Host, *options: str) -> dict:
    return finish_scan(start_scan(host, *options))
