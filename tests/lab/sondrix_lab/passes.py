"""Whole passes of the program, with their time and their output looked at to the letter."""

from __future__ import annotations

import json
import os
import subprocess
import time
from collections.abc import Sequence
from dataclasses import dataclass
from pathlib import Path

from sondrix_lab.network import Host

PASS_TIMEOUT_SECONDS = 60
# The windows of a pass, which run out in full whoever answers, and the limits of one fetch. The lab's
# NDI runtime never makes a program wait.
WINDOW_SECONDS = {"mdns": 1.2, "ssdp": 0.8, "upnp-dlna": 1.2, "roku": 1.2, "cast": 1.2, "airplay": 1.2,
                  "nmos": 0.0, "ember": 0.0, "onvif": 1.5, "ndi": 0.0, "sap-aes67": 0.8}
FETCH_SECONDS = {"upnp-dlna": 1.2, "roku": 1.2, "nmos": 1.5}
PROVIDERS = tuple(WINDOW_SECONDS)
TIMES = ("firstSeen", "lastSeen", "lastChanged", "ssdp.date")
# A device answers several search targets in an order of its own, and the last answer stays.
LAST_ANSWER = ("ssdp.st", "ssdp.usn")
# The same providers, as a configuration file calls them.
PROVIDER_KEYS = ("mdns", "ssdp", "upnpDlna", "roku", "cast", "airplay", "nmos", "ember", "onvif", "ndi", "sapAes67")


@dataclass(frozen=True)
class Pass:
    """One run of the program."""

    report: dict
    seconds: float

    def rows(self) -> dict[str, tuple[str, str]]:
        """Status and error of each provider, in the order of the report."""
        return {row["name"]: (row["status"], row["error"]) for row in self.report["providers"]}

    def device(self, hostname: str) -> dict:
        found = [device for device in self.report["devices"] if device["hostname"] == hostname]
        if len(found) != 1:
            names = [device["hostname"] for device in self.report["devices"]]
            raise AssertionError(f"{hostname} stands {len(found)} times in {names}")
        return found[0]


def write_configuration(host: Host, providers: Sequence[str] = PROVIDERS, nmos: Sequence[str] = ()) -> Path:
    """A configuration file of the host with these providers on, and these NMOS nodes by their URLs."""
    chosen = {key: name in providers for key, name in zip(PROVIDER_KEYS, PROVIDERS)}
    path = host.folder / "sondrix.json"
    path.write_text(json.dumps({"discovery": {"activeProbingEnabled": True, "providers": chosen},
                                "manualSeeds": {"nmosRegistries": list(nmos)}}), "utf-8")
    return path


def in_any_pass(device: dict) -> dict:
    """What a device's part of the report has in each pass: without times, and not by the order of the answers."""
    def without(part: dict, keys: tuple[str, ...]) -> dict:
        return {key: value for key, value in part.items() if key not in keys}
    endpoints = sorted((without(endpoint, TIMES) for endpoint in device["endpoints"]),
                       key=lambda endpoint: endpoint["stableKey"])
    protocol_data = without(device["protocolData"], TIMES + LAST_ANSWER)
    return {**without(device, TIMES), "endpoints": endpoints, "protocolData": protocol_data}


def run_pass(host: Host, *options: str, environment: dict[str, str] | None = None,
             program: Sequence[str] = (), line_end: str = "\n") -> Pass:
    """The run has to end with status 0, one line of JSON, and nothing on standard error."""
    command = host.command(*(program or [os.environ["SONDRIX_PROGRAM"]]), "--scan-once", "--json", *options)
    # The report comes in the locale's encoding.
    variables = {**os.environ, "LC_ALL": "C.UTF-8", **(environment or {})}
    begin = time.monotonic()
    done = subprocess.run(command, env=variables, stdin=subprocess.DEVNULL, capture_output=True, check=False,
                          timeout=PASS_TIMEOUT_SECONDS)
    seconds = time.monotonic() - begin
    output, errors = done.stdout.decode("utf-8"), done.stderr.decode("utf-8", "replace")
    if done.returncode or errors:
        raise AssertionError(f"the pass ended with status {done.returncode}: {errors}")
    if not output.endswith("}" + line_end) or output.count("\n") != 1:
        raise AssertionError(f"not one line: {output!r}")
    return Pass(json.loads(output), seconds)
