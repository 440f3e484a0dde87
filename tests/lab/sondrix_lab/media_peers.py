"""Starts the peers of the media protocols: those of the distribution, and the lab's own."""

from __future__ import annotations

import hashlib
import json
import os
import shutil
import subprocess
from collections.abc import Callable
from dataclasses import asdict, dataclass
from pathlib import Path

from sondrix_lab.http_host import Page
from sondrix_lab.network import PACKAGE_PARENT, Host
from sondrix_lab.responders import TOOLS


def is_in_path(name: str) -> Callable[[], object]:
    return lambda: shutil.which(name)


TOOLS.update({
    "cc": (is_in_path("cc"), "gcc"),
    "dbus-daemon": (is_in_path("dbus-daemon"), "dbus-daemon"),
    "dbus-send": (is_in_path("dbus-send"), "dbus-bin"),
    "ffmpeg": (is_in_path("ffmpeg"), "ffmpeg"),
    "shairport-sync": (is_in_path("shairport-sync"), "shairport-sync"),
})
SPEAKER_TOOLS = ("avahi-daemon", "dbus-daemon", "dbus-send", "shairport-sync")

# A system bus of the host's own, on which everybody may do everything.
BUS = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <listen>unix:path={path}</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*"/>
    <allow receive_sender="*"/>
  </policy>
</busconfig>
"""
# shairport-sync gives up when it does not find Avahi on the bus at once.
SPEAKER_SCRIPT = """export DBUS_SYSTEM_BUS_ADDRESS="unix:path=$0/bus"
mount --no-mtab --bind "$0/avahi" /etc/avahi && mkdir -p /run/avahi-daemon &&
mount --no-mtab -t tmpfs tmpfs /run/avahi-daemon || exit
dbus-daemon --nofork --config-file="$0/bus.conf" &
until [ -S "$0/bus" ]; do sleep 0.05; done
avahi-daemon &
until dbus-send --system --print-reply --dest=org.freedesktop.Avahi \\
    / org.freedesktop.Avahi.Server.GetState; do sleep 0.05; done
exec shairport-sync -u -c "$0/speaker.conf" -o dummy
"""


@dataclass(frozen=True)
class Site:
    """What an address serves by HTTP."""

    address: str
    port: int
    pages: dict[str, Page]


@dataclass(frozen=True)
class Camera:
    """An ONVIF camera: its endpoint reference, the URL of its device service, and its scopes."""

    address: str
    reference: str
    service: str
    scopes: tuple[str, ...] = ()
    # Where its answers break off, as an index into their bytes; 0 for whole ones.
    cut_at: int = 0


@dataclass(frozen=True)
class NdiSource:
    """A source of the NDI runtime; with a server it is found only through that discovery server."""

    name: str
    address: str
    server: str = ""


def start_speaker(host: Host, hostname: str, name: str) -> None:
    """shairport-sync, an AirPlay audio receiver, which publishes itself through Avahi."""
    folder = host.folder
    (folder / "avahi" / "services").mkdir(parents=True)
    (folder / "avahi" / "avahi-daemon.conf").write_text(
        f"[server]\nhost-name={hostname}\nenable-dbus=yes\n[publish]\npublish-workstation=no\n", "utf-8")
    (folder / "bus.conf").write_text(BUS.format(path=folder / "bus"), "utf-8")
    (folder / "speaker.conf").write_text(f'general = {{ name = "{name}"; interface = "eth0"; }};\n', "utf-8")
    host.start("sh", "-c", SPEAKER_SCRIPT, str(folder))


def speaker_instance(name: str) -> str:
    """The instance name under which shairport-sync publishes a speaker."""
    return f"{hashlib.md5(name.encode('utf-8')).hexdigest()[:12].upper()}@{name}"


def start_session(host: Host, name: str, group: str, announce_to: str) -> None:
    """FFmpeg, which sends 24 bit stereo to a group and announces it by SAP."""
    host.start("ffmpeg", "-nostdin", "-nostats", "-hide_banner", "-re", "-f", "lavfi", "-i", "sine=sample_rate=48000",
               "-ac", "2", "-c:a", "pcm_s24be", "-metadata", f"title={name}",
               "-f", "sap", f"sap://{group}:5004?announce_addr={announce_to}&ttl=8")


def start_repeated_session(host: Host, name: str, group: str, announce_to: str) -> None:
    """The same, with FFmpeg's announcement repeated so often that every scan hears it."""
    host.start_module("sondrix_lab.sap_relay", announce_to)
    start_session(host, name, group, "127.0.0.1")


def start_group_member(host: Host, group: str) -> None:
    """A process that joined the group, once it has heard an announcement there."""
    host.start_module("sondrix_lab.sap_neighbour", "member", group)


def take_sap_port(host: Host) -> subprocess.Popen[bytes]:
    """A process that shares the port of SAP with nobody."""
    return host.start_module("sondrix_lab.sap_neighbour", "alone")


def start_http(host: Host, *sites: Site) -> None:
    scenario = host.folder / "http.json"
    scenario.write_text(json.dumps([asdict(site) for site in sites]), "utf-8")
    host.start_module("sondrix_lab.http_host", str(scenario))


def start_roku(host: Host, address: str, name: str, serial: str) -> None:
    host.start_module("sondrix_lab.roku_player", address, name, serial)


def start_nmos_node(host: Host, address: str, port: int, label: str, manners: dict[str, str] | None = None) -> None:
    """The manners of `http_host.py`, by resource, as in {"flows": "silence"}."""
    host.start_module("sondrix_lab.nmos_node", address, str(port), label, json.dumps(manners or {}))


def start_camera(host: Host, camera: Camera) -> None:
    host.start_module("sondrix_lab.onvif_camera", json.dumps(asdict(camera)))


def build_ndi_runtime(folder: Path, *compiler_options: str, compiler: str = "cc", name: str = "libndi.so.6") -> None:
    """Compiles the stand-in for the NDI runtime into the folder."""
    folder.mkdir()
    source = Path(PACKAGE_PARENT) / "sondrix_lab" / "ndi_runtime.c"
    subprocess.run([compiler, "-shared", "-fPIC", "-Wall", "-Wextra", "-Werror", *compiler_options,
                    "-o", str(folder / name), str(source)], check=True)


def ndi_environment(folder: Path, *sources: NdiSource) -> dict[str, str]:
    """What a program needs to find the runtime in the folder, and the runtime to find its sources."""
    listing = folder / "sources"
    listing.write_text("".join(f"{each.server}\t{each.name}\t{each.address}\n" for each in sources), "utf-8")
    search_path = ":".join(filter(None, (str(folder), os.environ.get("LD_LIBRARY_PATH"))))
    return {"LD_LIBRARY_PATH": search_path, "LAB_NDI_SOURCES": str(listing)}
