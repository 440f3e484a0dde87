"""Bridges and hosts. A host is a network namespace, joined to bridges by virtual cables."""

from __future__ import annotations

import contextlib
import json
import os
import select
import shutil
import signal
import subprocess
import sys
from dataclasses import dataclass
from pathlib import Path

from sondrix_lab.sandbox import WORK_FOLDER

PACKAGE_PARENT = str(Path(__file__).resolve().parent.parent)
READY_TIMEOUT_SECONDS = 20


@dataclass(frozen=True)
class Link:
    """One interface of a host: its bridge, its addresses with prefix length, its default route."""

    bridge: str
    addresses: tuple[str, ...] = ()
    default_route: bool = True
    ipv6: bool = True


class Host:
    """One machine of the lab."""

    def __init__(self, name: str, folder: Path) -> None:
        self.name = name
        self.folder = folder
        self._processes: list[subprocess.Popen[bytes]] = []

    def command(self, *arguments: str) -> list[str]:
        return ["ip", "netns", "exec", self.name, *arguments]

    def run(self, *arguments: str, **options) -> subprocess.CompletedProcess[str]:
        """Runs a command to its end in this host."""
        return subprocess.run(self.command(*arguments), text=True, encoding="utf-8",
                              capture_output=True, check=False, **options)

    def run_module(self, module: str, *arguments: str) -> None:
        """Runs a module of this package to its end; its failure is an error of the lab."""
        done = self.run(*python_command(module), *arguments, cwd=PACKAGE_PARENT)
        if done.returncode:
            raise RuntimeError(f"{module} in {self.name}: {done.stderr.strip()}")

    def start(self, *arguments: str) -> subprocess.Popen[bytes]:
        """Starts a responder. It ends with the network, and its words go to a log file."""
        log = self.folder / f"{len(self._processes)}.log"
        with log.open("wb") as stream:
            process = subprocess.Popen(self.command(*arguments), stdin=subprocess.DEVNULL,
                                       stdout=stream, stderr=stream, start_new_session=True,
                                       cwd=PACKAGE_PARENT)
        self._processes.append(process)
        return process

    def start_module(self, module: str, *arguments: str) -> subprocess.Popen[bytes]:
        """Starts a module of this package and waits for the first line it prints."""
        process = subprocess.Popen(self.command(*python_command(module), *arguments),
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                   start_new_session=True, cwd=PACKAGE_PARENT)
        self._processes.append(process)
        assert process.stdout is not None
        readable, _, _ = select.select([process.stdout], [], [], READY_TIMEOUT_SECONDS)
        if not readable or not process.stdout.readline():
            raise RuntimeError(f"{module} in {self.name} did not come up")
        return process

    def link_local_address(self, interface: str = "eth0") -> str:
        """The IPv6 link-local address that the kernel gave to an interface."""
        listing = self.run("ip", "-j", "-6", "addr", "show", "dev", interface, "scope", "link")
        return json.loads(listing.stdout)[0]["addr_info"][0]["local"]

    def logs(self) -> str:
        texts = [path.read_text("utf-8", "replace") for path in sorted(self.folder.glob("*.log"))]
        return "\n".join(texts)

    def close(self) -> None:
        for process in self._processes:
            with contextlib.suppress(ProcessLookupError):
                os.killpg(process.pid, signal.SIGKILL)
            process.wait()
            if process.stdout:
                process.stdout.close()


class Network:
    """The bridges and hosts of one test class."""

    def __init__(self) -> None:
        self.hosts: list[Host] = []
        self._bridges: list[str] = []
        self._ports: list[str] = []

    def bridge(self, name: str = "lan") -> None:
        # Without snooping the bridge floods multicast, as a plain switch does.
        run_ip(f"link add {name} type bridge mcast_snooping 0", f"link set {name} up")
        self._bridges.append(name)

    def host(self, name: str, *links: Link) -> Host:
        folder = WORK_FOLDER / name
        folder.mkdir()
        run_ip(f"netns add {name}")
        host = Host(name, folder)
        self.hosts.append(host)
        # No duplicate address detection, so that addresses can be used at once.
        host.run("sh", "-c", "echo 0 > /proc/sys/net/ipv6/conf/default/accept_dad")
        for index, link in enumerate(links):
            self._plug(host, f"eth{index}", link)
        if links:
            run_ip("link set lo up", namespace=name)
        return host

    def _plug(self, host: Host, interface: str, link: Link) -> None:
        port = f"port{len(self._ports)}"
        self._ports.append(port)
        run_ip(f"link add {port} type veth peer name {interface} netns {host.name}",
               f"link set {port} master {link.bridge} up")
        if not link.ipv6:
            host.run("sh", "-c", f"echo 1 > /proc/sys/net/ipv6/conf/{interface}/disable_ipv6")
        run_ip(*(f"addr add {address} dev {interface}" for address in link.addresses),
               f"link set {interface} up", namespace=host.name)
        if link.default_route and any(":" not in address for address in link.addresses):
            run_ip(f"route add default dev {interface}", namespace=host.name)

    def close(self) -> None:
        for host in self.hosts:
            host.close()
        # The kernel takes a namespace down in its own time, and only then what is plugged into it.
        run_ip(*(f"link delete {name}" for name in (*self._ports, *self._bridges)),
               *(f"netns delete {host.name}" for host in self.hosts))
        for host in self.hosts:
            shutil.rmtree(host.folder)


def python_command(module: str) -> list[str]:
    return [sys.executable, "-B", "-m", module]


def run_ip(*commands: str, namespace: str = "") -> None:
    """Runs commands of ip(8) in one process, in the sandbox itself or in one host."""
    where = ["-n", namespace] if namespace else []
    subprocess.run(["ip", *where, "-batch", "-"], input="\n".join(commands), text=True, check=True)


def udp_counter(host: Host, name: str) -> int:
    """One of the kernel's counters of a host: InDatagrams received, or RcvbufErrors for want of room."""
    table = host.run("cat", "/proc/net/snmp").stdout
    names, values = (line.split() for line in table.splitlines() if line.startswith("Udp:"))
    return int(values[names.index(name)])
