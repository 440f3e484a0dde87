"""A studio with something for every provider: devices that all of them find, or only some."""

from __future__ import annotations

from dataclasses import dataclass

from sondrix_lab.media_peers import (SPEAKER_TOOLS, Camera, NdiSource, build_ndi_runtime, ndi_environment,
                                     speaker_instance, start_camera, start_nmos_node, start_repeated_session,
                                     start_roku, start_speaker)
from sondrix_lab.network import Host, Link, Network
from sondrix_lab.nmos_node import Node
from sondrix_lab.responders import (Service, SsdpCrowd, SsdpDevice, await_devices, await_services, start_avahi,
                                    start_minidlna, start_renderer, start_ssdp_simulator, start_zeroconf)

TOOLS = ("minidlnad", "gmediarender", "gstreamer playback", "zeroconf", "ffmpeg", "cc", *SPEAKER_TOOLS)
CLIENT = "10.77.0.2"
LIBRARY = "uuid:4d696e69-444c-164e-9d41-0a4d00000003"
SCREEN = "uuid:7b1ad2c0-5d5f-4c0e-8a32-0a4d00000004"
ROKU_SERIAL = "X01900AB0005"
MONITOR = (Service("Nest-Hub-5c1f8d", "_googlecast._tcp", 8009,
                   ("id=5c1f8d0e7a2b4c3d9e6f0a4d00000006", "fn=Gallery Monitor", "md=Google Nest Hub", "ve=05",
                    "rs=")),)
TELEVISION = (
    Service("Green Room", "_airplay._tcp", 7000,
            ("deviceid=02:4C:41:42:00:07", "model=AppleTV6,2", "srcvers=377.40.00", "flags=0x244",
             "features=0x4A7FDFD5,0x3C155FDE", "pi=2e388006-13ba-4041-9a67-25dd4a43d536", "vv=2")),
    Service("024C41420007@Green Room", "_raop._tcp", 7000, ("am=AppleTV6,2", "tp=UDP", "vn=65537", "vs=377.40.00")))
SPEAKER_NAME = "Producer Speaker"
SPEAKER = speaker_instance(SPEAKER_NAME)
STAGEBOX = (Service("Stagebox", "_netaudio-arc._udp", 4440, ("arcp_vers=2.7.41", "router_vers=4.2.0.9")),
            Service("Stagebox", "_http._tcp", 80, ("path=/",)))
CAMERA_UUID = "3fa1fe68-b915-4053-a3e1-0a4d00000010"
CAMERA = Camera("10.77.0.10", f"urn:uuid:{CAMERA_UUID}", "http://10.77.0.10/onvif/device_service",
                ("onvif://www.onvif.org/Profile/Streaming", "onvif://www.onvif.org/type/video_encoder",
                 "onvif://www.onvif.org/name/Studio%20Camera", "onvif://www.onvif.org/location/studio/1"))
CAMERA_SOURCE = NdiSource("STUDIO-CAMERA (Channel 1)", "10.77.0.10:5961")
PLAYOUT_SOURCE = NdiSource("PLAYOUT (Programme)", "10.77.0.13:5961", server="10.77.0.14")
FOREIGN_SOURCE = NdiSource("ELSEWHERE (Programme)", "10.77.0.15:5961", server="10.77.0.16")
NODE = Node("10.77.0.9", 8080, "Stream Gateway")
SESSION_NAME, SESSION_GROUP = "Main Mix", "239.69.1.2"
RENDERER_TYPE = "urn:schemas-upnp-org:device:MediaRenderer:1"
SERVER_TYPE = "urn:schemas-upnp-org:device:MediaServer:1"
ROOT_TYPE = "upnp:rootdevice"


@dataclass(frozen=True)
class Studio:
    """The host that searches, and what a program there needs to find the NDI runtime."""

    client: Host
    environment: dict[str, str]


def start_studio(network: Network) -> Studio:
    """Every device has been heard, and the network is quiet again, when this comes back."""

    def machine(name: str, address: str) -> Host:
        return network.host(name, Link("lan", (f"{address}/16",), ipv6=False))

    network.bridge()
    client = machine("client", CLIENT)
    start_speaker(machine("speaker", "10.77.0.8"), "speaker", SPEAKER_NAME)
    start_minidlna(machine("library", "10.77.0.3"), "Clip Library", LIBRARY[5:])
    start_renderer(machine("screen", "10.77.0.4"), "Lobby Screen", SCREEN[5:])
    start_roku(machine("player", "10.77.0.5"), "10.77.0.5", "Reception Player", ROKU_SERIAL)
    start_zeroconf(machine("monitor", "10.77.0.6"), "monitor", ("10.77.0.6",), MONITOR)
    start_zeroconf(machine("television", "10.77.0.7"), "television", ("10.77.0.7",), TELEVISION)
    start_nmos_node(machine("gateway", NODE.address), NODE.address, NODE.port, NODE.label)
    camera = machine("camera", CAMERA.address)
    start_camera(camera, CAMERA)
    start_ssdp_simulator(camera, SsdpCrowd((SsdpDevice(CAMERA.address, CAMERA_UUID, (ROOT_TYPE,)),)))
    start_repeated_session(machine("mixer", "10.77.0.11"), SESSION_NAME, SESSION_GROUP, CLIENT)
    start_avahi(machine("stagebox", "10.77.0.12"), "stagebox", STAGEBOX)
    runtime = client.folder / "ndi"
    build_ndi_runtime(runtime)
    environment = ndi_environment(runtime, CAMERA_SOURCE, PLAYOUT_SOURCE, FOREIGN_SOURCE)
    await_devices(client, f"{LIBRARY}::{ROOT_TYPE}", f"{LIBRARY}::{SERVER_TYPE}",
                  f"{SCREEN}::{ROOT_TYPE}", f"{SCREEN}::{RENDERER_TYPE}")
    await_services(client, *MONITOR, *TELEVISION, *STAGEBOX, Service(SPEAKER, "_raop._tcp", 5000))
    return Studio(client, environment)
