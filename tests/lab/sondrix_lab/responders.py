"""Starts responders in hosts: the daemons of the distribution, and the lab's own simulators."""

from __future__ import annotations

import json
import shutil
import subprocess
from dataclasses import asdict, dataclass, field
from glob import glob
from importlib.util import find_spec
from pathlib import Path
from xml.sax.saxutils import escape

from sondrix_lab.network import Host

# Longer than the pauses between the announcements of the responders used here, and than the second
# for which a responder may keep silent about a record that it just multicast (RFC 6762, 6).
QUIET_SECONDS = "1.5"
# What a test can need: how to see that it is there, and the Debian package that brings it.
TOOLS = {
    "avahi-daemon": (lambda: shutil.which("avahi-daemon"), "avahi-daemon"),
    "gmediarender": (lambda: shutil.which("gmediarender"), "gmediarender"),
    "gstreamer playback": (lambda: glob("/usr/lib/*/gstreamer-1.0/libgstplayback.so"), "gstreamer1.0-plugins-base"),
    "jsonschema": (lambda: find_spec("jsonschema"), "python3-jsonschema"),
    "minidlnad": (lambda: shutil.which("minidlnad"), "minidlna"),
    "zeroconf": (lambda: find_spec("zeroconf"), "python3-zeroconf"),
}


@dataclass(frozen=True)
class Service:
    """A DNS-SD service to publish; the type stands without its domain, as in `_ndi._tcp`."""

    instance: str
    type: str
    port: int
    txt: tuple[str, ...] = ()

    @property
    def name(self) -> str:
        return f"{self.instance}.{self.type}.local."


@dataclass(frozen=True)
class SimulatedHost:
    """One host of the mDNS simulator, and its manners."""

    address: str
    hostname: str
    services: tuple[Service, ...]
    # Whether an answer to a PTR question brings SRV, TXT and A records along.
    complete: bool = True
    # How many questions for each SRV record go unanswered.
    deaf_to_srv: int = 0
    source_port: int = 5353
    # How long an answer to a PTR question waits.
    delay_seconds: float = 0.0


@dataclass(frozen=True)
class SsdpDevice:
    """One device of the SSDP simulator: it answers the searches for its targets."""

    address: str
    uuid: str
    targets: tuple[str, ...]


@dataclass(frozen=True)
class SsdpCrowd:
    """Every answer waits a random part of the spread."""

    devices: tuple[SsdpDevice, ...]
    spread_seconds: float = 0.0
    seed: int = field(default=1)


def missing_tools(tools: tuple[str, ...]) -> str:
    """Names the first tool that this machine lacks, with its package; empty when all are there."""
    for tool in tools:
        is_there, package = TOOLS[tool]
        if not is_there():
            return f"{tool} is missing (package {package})"
    return ""


def start_avahi(host: Host, hostname: str, services: tuple[Service, ...]) -> None:
    """An Avahi of its own for a host: the daemon knows only fixed paths, so it gets its own mounts."""
    folder = host.folder / "avahi"
    (folder / "services").mkdir(parents=True)
    (folder / "avahi-daemon.conf").write_text(
        f"[server]\nhost-name={hostname}\nenable-dbus=no\n[publish]\npublish-workstation=no\n", "utf-8")
    for index, service in enumerate(services):
        (folder / "services" / f"{index}.service").write_text(avahi_service(service), "utf-8")
    script = ('mount --no-mtab --bind "$0" /etc/avahi && mkdir -p /run/avahi-daemon && '
              "mount --no-mtab -t tmpfs tmpfs /run/avahi-daemon && exec avahi-daemon")
    host.start("sh", "-c", script, str(folder))


def avahi_service(service: Service) -> str:
    records = "".join(f"<txt-record>{escape(text)}</txt-record>" for text in service.txt)
    return (f'<?xml version="1.0" encoding="utf-8"?>\n<service-group><name>{escape(service.instance)}</name>'
            f"<service><type>{service.type}</type><port>{service.port}</port>{records}</service>"
            "</service-group>\n")


def start_zeroconf(host: Host, hostname: str, addresses: tuple[str, ...], services: tuple[Service, ...]) -> None:
    """A responder of another make, of python3-zeroconf."""
    scenario = {"hostname": hostname, "addresses": addresses, "services": [asdict(each) for each in services]}
    host.start_module("sondrix_lab.zeroconf_host", json.dumps(scenario))


def start_minidlna(host: Host, friendly_name: str, uuid: str) -> None:
    """A UPnP media server without media."""
    folder = host.folder / "minidlna"
    (folder / "media").mkdir(parents=True)
    configuration = folder / "minidlna.conf"
    configuration.write_text(
        f"port=8200\nnetwork_interface=eth0\nmedia_dir={folder}/media\ndb_dir={folder}\nlog_dir={folder}\n"
        f"friendly_name={friendly_name}\nuuid={uuid}\ninotify=no\n", "utf-8")
    host.start("minidlnad", "-S", "-f", str(configuration), "-P", str(folder / "pid"))


def start_renderer(host: Host, friendly_name: str, uuid: str) -> None:
    """A UPnP media renderer."""
    host.start("gmediarender", "--interface-name=eth0", "--port=49494",
               f"--friendly-name={friendly_name}", f"--uuid={uuid}")


def start_mdns_simulator(host: Host, hosts: tuple[SimulatedHost, ...]) -> Path:
    """Gives back the journal: one line of JSON for every datagram that the simulator heard."""
    journal = host.folder / "journal.json"
    scenario = host.folder / "scenario.json"
    scenario.write_text(json.dumps([asdict(each) for each in hosts]), "utf-8")
    host.start_module("sondrix_lab.mdns_simulator", str(scenario), str(journal))
    return journal


def read_journal(journal: Path) -> list[dict]:
    return [json.loads(line) for line in journal.read_text("utf-8").splitlines()]


def start_ssdp_simulator(host: Host, crowd: SsdpCrowd) -> subprocess.Popen[bytes]:
    scenario = host.folder / "ssdp.json"
    scenario.write_text(json.dumps(asdict(crowd)), "utf-8")
    return host.start_module("sondrix_lab.ssdp_simulator", str(scenario))


def start_garbage(host: Host) -> None:
    """Floods the mDNS group, and answers every SSDP search, with datagrams that mean nothing."""
    host.start_module("sondrix_lab.garbage")


def await_services(host: Host, *services: Service) -> None:
    """Waits until the host gets an answer for each service, and the network is quiet again."""
    host.run_module("sondrix_lab.wait", "mdns", *(service.name for service in services))
    await_quiet(host)


def await_quiet(host: Host) -> None:
    host.run_module("sondrix_lab.wait", "quiet", QUIET_SECONDS)


def await_devices(host: Host, *unique_names: str) -> None:
    """Waits until the host gets an SSDP answer with each unique service name."""
    host.run_module("sondrix_lab.wait", "ssdp", *unique_names)
