"""Hosts that announce themselves with Avahi: every service type, addresses of every kind."""

from __future__ import annotations

from sondrix_lab.case import LabTestCase
from sondrix_lab.expect import Device, mdns_endpoint
from sondrix_lab.network import Link
from sondrix_lab.program import scan
from sondrix_lab.responders import Service, await_services, start_avahi

CAMERA = (
    Service("CAMERA-1 (Chan 1)", "_ndi._tcp", 5961),
    Service("Caméra Régie 📷", "_rtsp._tcp", 554, ("id=cam-0001",)),
    Service("Camera 1", "_http._tcp", 80, ("id=cam-0001", "path=/index.html?a=b")),
    Service("Camera 1", "_https._tcp", 443, ("ID=cam-0001", "fn=Camera One", "secure")),
)
TELEVISION = (
    Service("Chromecast-Ultra-1a2b", "_googlecast._tcp", 8009, ("id=1A2B3C4D", "fn=Salon", "md=Chromecast Ultra")),
    Service("Salon", "_airplay._tcp", 7000, ("uuid=b08f5a79-db29-4384-b456-a4784d9e6055", "model=AppleTV5,3")),
    Service("AABBCCDDEEFF@Salon", "_raop._tcp", 7001, ("am=AppleTV5,3",)),
    Service("Salon Spotify", "_spotify-connect._tcp", 4070, ("CPath=/zc", "VERSION=1.0")),
)
STAGEBOX = (
    Service("Stagebox", "_netaudio-arc._udp", 4440, ("arcp_vers=2.7.41",)),
    Service("01@Stagebox", "_netaudio-chan._udp", 4441, ("id=",)),
    Service("Stagebox", "_netaudio-cmc._udp", 8800, ("id=",)),
    Service("Stagebox", "_netaudio-dbc._udp", 4455),
    Service("Stagebox-safe", "_dante-safe._udp", 8751),
    Service("Stagebox-upgr", "_dante-upgr._udp", 8702),
    Service("Stagebox MIDI", "_apple-midi._udp", 5004),
)
NMOS = (
    Service("Node 1", "_nmos-node._tcp", 12345, ("api_proto=http", "api_ver=v1.2,v1.3", "api_auth=false")),
    Service("Registry Query", "_nmos-query._tcp", 8010, ("pri=100",)),
    Service("Registry", "_nmos-registration._tcp", 8011, ("pri=10",)),
)
ENCODER = (
    Service("Encoder A", "_xvq._tcp", 9100, ("name=Encoder Alpha",)),
    Service("Encoder A", "_corvane._tcp", 9101),
    Service("Encoder A", "_streamlark._tcp", 9102),
)
SWITCH = (Service("Core Switch", "_https._tcp", 443),)
# The instance name ends at its first dot, and the rest is no type that has a PTR record.
RACK = (Service("Rack 1.5", "_http._tcp", 80),)


class AvahiTest(LabTestCase):
    """One scan of a network of Avahi hosts."""

    tools = ("avahi-daemon",)

    @classmethod
    def build(cls) -> None:
        cls.network.bridge()
        cls.client = cls.network.host("client", Link("lan", ("10.77.0.2/16", "fd77::2/64")))
        hosts = (
            ("camera", CAMERA, Link("lan", ("10.77.0.11/16", "fd77::11/64"))),
            ("television", TELEVISION, Link("lan", ("10.77.0.12/16", "10.77.1.12/16"))),
            ("stagebox", STAGEBOX, Link("lan", ("10.77.0.13/16",), ipv6=False)),
            ("nmos", NMOS, Link("lan", ("10.77.0.14/16",))),
            ("encoder", ENCODER, Link("lan", ("fd77::15/64",))),
            ("switch", SWITCH, Link("lan")),
            ("rack", RACK, Link("lan", ("10.77.0.17/16",))),
        )
        for name, services, link in hosts:
            start_avahi(cls.network.host(name, link), name, services)
        await_services(cls.client, *(service for _, services, _ in hosts for service in services))
        cls.report = scan(cls.client, "--enable", "mdns,cast,airplay")

    def test_providers(self) -> None:
        # What the narrow browses find again folds into the devices of the wide one.
        self.assert_providers(self.report, "mdns", "cast", "airplay")

    def test_no_device_more_or_less(self) -> None:
        self.assert_hostnames(self.report, "camera.local.", "television.local.", "stagebox.local.",
                              "nmos.local.", "encoder.local.", "switch.local.")

    def test_counts(self) -> None:
        counts = {key: self.report[key] for key in ("inputCount", "outputCount", "controlOnlyCount", "onlineCount")}
        self.assertEqual(counts, {"inputCount": 3, "outputCount": 3, "controlOnlyCount": 2, "onlineCount": 6})

    def test_services_of_one_host_with_both_families(self) -> None:
        self.assert_device(self.report, Device(
            "camera.local.", ("10.77.0.11", "fd77::11"), "cam-0001", "Caméra Régie 📷", "rtsp",
            "input", ["audio", "video", "control"],
            (mdns_endpoint("CAMERA-1 (Chan 1)@camera.local.", "CAMERA-1 (Chan 1)", "ndi", "ndi://{host}:5961"),
             mdns_endpoint("cam-0001", "Camera 1", "http", "http://{host}:80/"),
             mdns_endpoint("cam-0001", "Camera One", "https", "https://{host}:443/"),
             mdns_endpoint("cam-0001", "Caméra Régie 📷", "rtsp", "rtsp://{host}:554/")),
            data={"mdns.serviceType": "_rtsp._tcp.local.", "mdns.serviceName": "Caméra Régie 📷",
                  "mdns.hostname": "camera.local.", "mdns.port": 554, "txt.id": "cam-0001",
                  "txt.path": "/index.html?a=b", "txt.ID": "cam-0001", "txt.fn": "Camera One", "txt.secure": ""}))

    def test_two_addresses_of_one_family(self) -> None:
        uuid = "b08f5a79-db29-4384-b456-a4784d9e6055"
        raop = "AABBCCDDEEFF@Salon"
        spotify = "Salon Spotify"
        self.assert_device(self.report, Device(
            "television.local.", ("10.77.0.12", "10.77.1.12", self.link_local("television")), uuid, "Salon", "airplay",
            "output", ["audio", "video", "control"],
            (mdns_endpoint(f"{raop}@television.local.", raop, "raop", "raop://{host}:7001"),
             mdns_endpoint("1A2B3C4D", "Salon", "cast", "cast://{host}:8009?type=cast"),
             mdns_endpoint(f"{spotify}@television.local.", spotify, "spotify-connect", "spotify-connect://{host}:4070"),
             mdns_endpoint(uuid, "Salon", "airplay", "airplay://{host}:7000")),
            model="Chromecast Ultra",
            data={"txt.uuid": uuid, "txt.id": "1A2B3C4D", "txt.md": "Chromecast Ultra", "txt.am": "AppleTV5,3"}))

    def test_one_instance_name_under_types_of_one_protocol(self) -> None:
        device_id = "Stagebox@stagebox.local."
        self.assert_device(self.report, Device(
            "stagebox.local.", ("10.77.0.13",), device_id, "Stagebox", "dante-hint",
            "controlOnly", ["audio", "control"],
            (mdns_endpoint("01@Stagebox@stagebox.local.", "01@Stagebox", "dante-hint", "dante-hint://{host}:4441"),
             mdns_endpoint("Stagebox MIDI@stagebox.local.", "Stagebox MIDI", "apple-midi", "apple-midi://{host}:5004"),
             mdns_endpoint("Stagebox-safe@stagebox.local.", "Stagebox-safe", "dante-hint", "dante-hint://{host}:8751"),
             mdns_endpoint("Stagebox-upgr@stagebox.local.", "Stagebox-upgr", "dante-hint", "dante-hint://{host}:8702"),
             mdns_endpoint(device_id, "Stagebox", "dante-hint", "dante-hint://{host}:4455")),
            data={"mdns.serviceType": "_netaudio-dbc._udp.local.", "txt.arcp_vers": "2.7.41", "txt.id": ""}))

    def test_nmos_node_and_registry(self) -> None:
        self.assert_device(self.report, Device(
            "nmos.local.", ("10.77.0.14", self.link_local("nmos")), "Registry@nmos.local.", "Registry", "nmos",
            "inputOutput", ["audio", "video", "control"],
            (mdns_endpoint("Node 1@nmos.local.", "Node 1", "nmos", "nmos://{host}:12345"),
             mdns_endpoint("Registry Query@nmos.local.", "Registry Query", "nmos", "nmos://{host}:8010", "query"),
             mdns_endpoint("Registry@nmos.local.", "Registry", "nmos", "nmos://{host}:8011", "registration")),
            data={"txt.api_ver": "v1.2,v1.3", "txt.pri": "10"}))

    def test_host_without_ipv4(self) -> None:
        device_id = "Encoder A@encoder.local."
        self.assert_device(self.report, Device(
            "encoder.local.", ("fd77::15",), device_id, "Encoder Alpha", "xvq",
            "inputOutput", ["audio", "video", "control"],
            (mdns_endpoint(device_id, "Encoder A", "corvane", "corvane://{host}:9101"),
             mdns_endpoint(device_id, "Encoder A", "streamlark", "streamlark://{host}:9102"),
             mdns_endpoint(device_id, "Encoder Alpha", "xvq", "xvq://{host}:9100"))))

    def test_host_with_a_link_local_address_only(self) -> None:
        device_id = "Core Switch@switch.local."
        self.assert_device(self.report, Device(
            "switch.local.", (self.link_local("switch"),), device_id, "Core Switch", "https",
            "controlOnly", ["control"],
            (mdns_endpoint(device_id, "Core Switch", "https", "https://{host}:443/"),)))

    def link_local(self, name: str) -> str:
        """A host without a wider IPv6 address announces its link-local one."""
        return next(host for host in self.network.hosts if host.name == name).link_local_address()
