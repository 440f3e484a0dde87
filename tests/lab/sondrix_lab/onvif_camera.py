"""An ONVIF camera: onvif_camera.py SCENARIO.

It answers the probes of WS-Discovery that ask for its type (Devices Profile for Web Services;
ONVIF Core Specification, Device discovery), and none that is not well-formed.
"""

from __future__ import annotations

import io
import json
import socket
import sys
import uuid
from xml.etree import ElementTree
from xml.sax.saxutils import escape

GROUP, PORT = "239.255.255.250", 3702
SOAP = "http://www.w3.org/2003/05/soap-envelope"
ADDRESSING = "http://schemas.xmlsoap.org/ws/2004/08/addressing"
DISCOVERY = "http://schemas.xmlsoap.org/ws/2005/04/discovery"
NETWORK = "http://www.onvif.org/ver10/network/wsdl"
TYPE = "NetworkVideoTransmitter"
EVERYBODY = "urn:schemas-xmlsoap-org:ws:2005:04:discovery"


def probe_message_id(datagram: bytes) -> str:
    """The id of a probe for network video transmitters; empty for any other datagram."""
    prefixes: dict[str, str] = {}
    root = None
    try:
        for event, value in ElementTree.iterparse(io.BytesIO(datagram), ("start-ns", "end")):
            if event == "start-ns":
                prefixes[value[0]] = value[1]
            else:
                root = value
    except ElementTree.ParseError:
        return ""
    if root is None or root.tag != f"{{{SOAP}}}Envelope":
        return ""
    header, body = f"{{{SOAP}}}Header/{{{ADDRESSING}}}", f"{{{SOAP}}}Body/{{{DISCOVERY}}}"
    if root.findtext(f"{header}Action") != f"{DISCOVERY}/Probe" or root.findtext(f"{header}To") != EVERYBODY:
        return ""
    # A probe without types asks for everything.
    types = root.findtext(f"{body}Probe/{{{DISCOVERY}}}Types", "").split()
    names = [name.rpartition(":") for name in types]
    is_asked_for = all((prefixes.get(prefix), name) == (NETWORK, TYPE) for prefix, _, name in names)
    return root.findtext(f"{header}MessageID", "") if is_asked_for else ""


def probe_match(camera: dict, message_id: str) -> bytes:
    scopes = " ".join(camera["scopes"])
    text = (
        '<?xml version="1.0" encoding="UTF-8"?>\n'
        f'<s:Envelope xmlns:s="{SOAP}" xmlns:a="{ADDRESSING}" xmlns:d="{DISCOVERY}" xmlns:dn="{NETWORK}" '
        'xmlns:tds="http://www.onvif.org/ver10/device/wsdl"><s:Header>'
        f"<a:MessageID>urn:uuid:{uuid.uuid4()}</a:MessageID><a:RelatesTo>{escape(message_id)}</a:RelatesTo>"
        f"<a:To>{ADDRESSING}/role/anonymous</a:To><a:Action>{DISCOVERY}/ProbeMatches</a:Action>"
        '<d:AppSequence InstanceId="1706781600" MessageNumber="1"/></s:Header>'
        "<s:Body><d:ProbeMatches><d:ProbeMatch>"
        f"<a:EndpointReference><a:Address>{escape(camera['reference'])}</a:Address></a:EndpointReference>"
        f"<d:Types>dn:{TYPE} tds:Device</d:Types><d:Scopes>{escape(scopes)}</d:Scopes>"
        f"<d:XAddrs>{escape(camera['service'])}</d:XAddrs><d:MetadataVersion>10</d:MetadataVersion>"
        "</d:ProbeMatch></d:ProbeMatches></s:Body></s:Envelope>\n")
    whole = text.encode("utf-8")
    return whole[:camera["cut_at"]] if camera["cut_at"] else whole


def main() -> None:
    camera = json.loads(sys.argv[1])
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as listener, \
            socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
        listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        listener.bind((GROUP, PORT))
        membership = socket.inet_aton(GROUP) + socket.inet_aton(camera["address"])
        listener.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, membership)
        sender.bind((camera["address"], PORT))
        print("ready", flush=True)
        while True:
            datagram, client = listener.recvfrom(65535)
            if message_id := probe_message_id(datagram):
                sender.sendto(probe_match(camera, message_id), client)


if __name__ == "__main__":
    main()
