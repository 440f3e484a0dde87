"""What a report should say of a device, as plain values to compare with."""

from __future__ import annotations

from dataclasses import dataclass, field

MDNS_WORDS = {
    "nmos": ("inputOutput", ["audio", "video", "control"]),
    "cast": ("output", ["audio", "video", "control"]),
    "airplay": ("output", ["audio", "video", "control"]),
    "raop": ("output", ["audio", "control"]),
    "spotify-connect": ("controlOnly", ["audio", "control"]),
    "rtsp": ("input", ["audio", "video"]),
    "ndi": ("input", ["audio", "video"]),
    "apple-midi": ("controlOnly", ["audio", "control"]),
    "dante-hint": ("controlOnly", ["audio", "control"]),
    "http": ("controlOnly", ["control"]),
    "https": ("controlOnly", ["control"]),
    "corvane": ("controlOnly", ["control"]),
    "xvq": ("inputOutput", ["audio", "video", "control"]),
    "streamlark": ("controlOnly", ["control"]),
}


@dataclass(frozen=True)
class Endpoint:
    """An endpoint; `{host}` in its URL stands for an address of the device."""

    id: str
    label: str
    protocol: str
    url: str
    direction: str
    media_kinds: list[str]
    transport: str = ""


def mdns_endpoint(device_id: str, label: str, protocol: str, url: str, nmos_role: str = "node") -> Endpoint:
    direction, kinds = MDNS_WORDS[protocol]
    if protocol == "nmos" and nmos_role != "node":
        direction, kinds = "controlOnly", ["control"]
    return Endpoint(f"{device_id}:{protocol}", label, protocol, url, direction, kinds)


@dataclass(frozen=True)
class Device:
    """A device as it stands in a report once all its services have been merged."""

    hostname: str
    # One of them is the address of the report; which one came first is the network's affair.
    addresses: tuple[str, ...]
    id: str
    display_name: str
    protocol: str
    direction: str
    media_kinds: list[str]
    endpoints: tuple[Endpoint, ...]
    provider: str = "mdns"
    vendor: str = ""
    model: str = ""
    serial: str = ""
    # Whether the order of the endpoints is known, or the network's affair.
    ordered: bool = True
    # Entries that protocolData has to hold among others.
    data: dict = field(default_factory=dict)

    @property
    def hosts(self) -> set[str]:
        """What may stand for the host in a URL.

        A service that is collected after its host's address was reported keeps the host name.
        """
        return {*self.addresses, self.hostname}
