#pragma once

#include <functional>
#include <initializer_list>

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QString>

#include "core/device_record.h"
#include "discoverers/airplay_discoverer.h"
#include "discoverers/cast_discoverer.h"
#include "discoverers/ember_discoverer.h"
#include "discoverers/mdns_service_catalogue.h"
#include "discoverers/mdns_service_mapping.h"
#include "discoverers/ndi_discoverer.h"
#include "discoverers/nmos_discoverer.h"
#include "discoverers/onvif_discoverer.h"
#include "discoverers/roku_discoverer.h"
#include "discoverers/sap_aes67_discoverer.h"
#include "discoverers/ssdp_response.h"
#include "discoverers/text.h"
#include "discoverers/upnp_dlna_discoverer.h"

/// What keeps a text from passing through a format in one piece.
enum class TextLimit { none = 0, notUtf8 = 1, notXml = 2, manyLines = 4, holdsNul = 8 };
Q_DECLARE_FLAGS(TextLimits, TextLimit)
Q_DECLARE_OPERATORS_FOR_FLAGS(TextLimits)

/// What a device may call itself to be taken for more than a text.
struct NetworkText {
    const char *name;
    QByteArray bytes; ///< without white space at the ends
    TextLimits limits;
};

constexpr int longTextBytes = 100000;

inline QByteArray utf8(std::initializer_list<uint> codePoints)
{
    QByteArray bytes;
    for (const uint codePoint : codePoints) {
        bytes += QString::fromUcs4(&codePoint, 1).toUtf8();
    }
    return bytes;
}

/// All of the code points from first to last but those left out, between two words.
inline QByteArray controls(uint first, uint last, const QList<uint> &leftOut = {})
{
    QByteArray bytes("Camera");
    for (uint codePoint = first; codePoint <= last; ++codePoint) {
        if (!leftOut.contains(codePoint)) {
            bytes += utf8({codePoint});
        }
    }
    return bytes + "end";
}

/// The texts; one of them shows the picture at the path, if it is taken for HTML.
inline QList<NetworkText> networkTexts(const QByteArray &picture = "/etc/passwd")
{
    const TextLimits none = TextLimit::none;
    const TextLimits control = TextLimit::notXml;
    const TextLimits broken = TextLimit::notUtf8;
    return {
        {"bold", "<b>Camera</b> <h1>1</h1>", none},
        {"picture", "<img src=\"file://" + picture + "\">Camera", none},
        {"picture of a style", "<body style=\"background-image: url(file://" + picture + ")\">Camera", none},
        {"link", "<a href=\"https://192.0.2.66/\">Camera</a>", none},
        {"script", "<script>location='https://192.0.2.66/'</script>Camera", none},
        {"HTML document", "<!DOCTYPE html><html><body><table><tr><td>Camera</table>", none},
        {"XHTML document", "<?xml version=\"1.0\"?><p>Camera</p>", none},
        {"entities", "&lt;b&gt;Camera&#8238;&amp;&nbsp;", none},
        {"Markdown", "# Camera *1* [page](https://192.0.2.66/) ![](file://" + picture + ")", none},
        {"script URL", "javascript:alert(1)", none},
        {"file URL", "file://" + picture, none},
        {"data URL", "data:text/html,<b>Camera</b>", none},
        {"mnemonics", "&File && &Open\tCtrl+O", none},
        {"placeholders", "%1 %2 %3 %4 %L1 %99 %n %s", none},
        {"JSON", "\",\"online\":false,\"x\":\"\\u001b\\", none},
        {"bidirectional override", "Camera " + utf8({0x202E}) + "gpj.exe" + utf8({0x202C}), none},
        {"bidirectional isolates", utf8({0x2066, 'a', 0x2067, 'b', 0x2068, 'c', 0x200F, 0x061C}), none},
        {"pile of accents", "C" + utf8({0x0301}).repeated(30) + "amera", none},
        {"document marks", "Camera" + utf8({0xFDD0, 'a', 0xFDD1, 'b', 0xFFFC, 'c', 0xFEFF}) + "end", none},
        {"line separators", "Camera" + utf8({0x85, 'a', 0x2028, 'b', 0x2029, 'c', 0xA0}) + "end", none},
        {"DEL and C1", controls(0x7F, 0x9F), none},
        {"C1 sequence", "Camera" + utf8({0x9B}) + "31;5mred" + utf8({0x9D}) + "0;title" + utf8({0x9C}), none},
        {"C0", controls(0x01, 0x1F, {'\n', '\r'}), control},
        {"colour sequence", "\x1B[31;5mCamera\x1B[2J", control},
        {"OSC 8", "\x1B]8;;https://192.0.2.66/\x1B\\Camera\x1B]8;;\x1B\\", control},
        {"OSC 52",
         "\x1B]52;c;cm0gLXJmIH4=\x07"
         "Camera",
         control},
        {"noncharacters", "Camera" + utf8({0xFFFE, 0xFFFF}) + "end", control},
        {"NUL", QByteArray("Camera\0end", 10), control | TextLimit::holdsNul},
        {"lines", "Camera\nVendor: Acme\r\nModel: 1\rend", TextLimit::manyLines},
        {"overlong", "Camera\xC0\xAF\xE0\x80\xAF\xF0\x80\x80\xAF\xC0\x9B", broken},
        {"lone continuation", "Camera\x80\x9B\xBF", broken},
        {"truncated", "Camera\xE2\x82", broken},
        {"surrogates", "Camera\xED\xA0\x80\xED\xB0\x80\xED\xA0\xBD", broken},
        {"beyond Unicode", "Camera\xF4\x90\x80\x80\xF8\x88\x80\x80\x80\xFE\xFF", broken},
        {"long", QByteArray(longTextBytes, 'W'), none},
        {"long with tags", QByteArray("<b>W ").repeated(longTextBytes / 5) + "end", none},
    };
}

/// One way in, from what the network says to records.
struct TextSource {
    const char *name;
    bool givesName;         ///< the device is shown by the text
    TextLimits cannotCarry; ///< the texts that come out altered or not at all
    std::function<QList<Sondrix::DeviceRecord>(const QByteArray &text)> records;
};

inline QByteArray xmlText(QByteArray text)
{
    return text.replace('&', "&amp;").replace('<', "&lt;").replace('>', "&gt;");
}

inline QByteArray xmlElement(const QByteArray &name, const QByteArray &text)
{
    return '<' + name + '>' + xmlText(text) + "</" + name + '>';
}

/// A JSON string as a sender writes it who escapes no more than it has to.
inline QByteArray jsonText(const QByteArray &text)
{
    QByteArray json("\"");
    for (const char c : text) {
        const auto byte = static_cast<uchar>(c);
        if (byte < 0x20) {
            json += "\\u00" + QByteArray::number(byte, 16).rightJustified(2, '0');
            continue;
        }
        if (c == '"' || c == '\\') {
            json += '\\';
        }
        json += c;
    }
    return json + '"';
}

/// The source's name in front keeps its device apart from the others'.
inline Sondrix::DeviceRecord mdnsRecord(const QByteArray &source, const QString &type,
                                        const QList<Sondrix::MdnsServiceType> &catalogue,
                                        const QByteArray &text)
{
    const QString own = Sondrix::textFromUtf8(source + text);
    const QString value = Sondrix::textFromUtf8(text);
    Sondrix::MdnsServiceEntry entry;
    entry.name = value;
    entry.type = type;
    entry.hostname = own + QStringLiteral(".local.");
    entry.port = 80;
    entry.attributes = {{QStringLiteral("id"), own},
                        {QStringLiteral("fn"), value},
                        {QStringLiteral("md"), value},
                        {value, value}};
    return Sondrix::recordFromService(entry, catalogue);
}

inline QByteArray ssdpAnswer(const QByteArray &own, const QByteArray &location, const QByteArray &text)
{
    return "HTTP/1.1 200 OK " + text + "\r\nUSN: " + own + "\r\nLOCATION: " + location + text +
           "\r\nST: urn:schemas-upnp-org:device:MediaServer:1" + text + "\r\nSERVER: " + text + "\r\nX-" +
           text + ": " + text + "\r\n\r\n";
}

inline Sondrix::DeviceRecord upnpRecord(const QByteArray &text)
{
    const QByteArray xml =
        "<root><device>" + xmlElement("deviceType", "urn:schemas-upnp-org:device:MediaServer:1" + text) +
        xmlElement("friendlyName", text) + xmlElement("manufacturer", text) + xmlElement("modelName", text) +
        xmlElement("serialNumber", "upnp" + text) + xmlElement("UDN", "upnp" + text) +
        xmlElement("presentationURL", text) + "<service>" + xmlElement("serviceType", text) +
        xmlElement("controlURL", text) + "</service></device></root>";
    const QUrl location(Sondrix::textFromUtf8("http://192.0.2.2/" + text), QUrl::TolerantMode);
    return Sondrix::recordFromUpnpDescription(Sondrix::parseUpnpDescription(xml), location);
}

inline Sondrix::DeviceRecord rokuRecord(const QByteArray &text)
{
    const QByteArray xml = "<device-info>" + xmlElement("friendly-device-name", text) +
                           xmlElement("model-name", text) + xmlElement("serial-number", "roku" + text) +
                           xmlElement("device-id", "roku" + text) + xmlElement("software-version", text) +
                           "</device-info>";
    const Sondrix::SsdpResponse answer =
        Sondrix::parseSsdpResponse(ssdpAnswer("uuid:roku:" + text, "http://192.0.2.3:8060/", text));
    const QUrl location(Sondrix::ssdpHeader(answer, QStringLiteral("location")), QUrl::TolerantMode);
    return Sondrix::recordFromRoku(Sondrix::parseRokuDeviceInfo(xml), location, answer);
}

/// A resource of an NMOS node; own makes its id.
inline QByteArray nmosResource(const QByteArray &own, const QByteArray &text)
{
    const QByteArray value = jsonText(text);
    return "{\"id\":" + jsonText(own + text) + ",\"label\":" + value + ",\"description\":" + value +
           ",\"hostname\":" + jsonText(own + text) + ",\"transport\":" + value +
           ",\"flow_id\":" + jsonText("flow" + text) +
           ",\"format\":" + jsonText("urn:x-nmos:format:video" + text) + ",\"tags\":{" + value + ":[" +
           value + "]}}";
}

inline QList<Sondrix::DeviceRecord> nmosRecords(const QByteArray &text)
{
    const auto list = [&](const QByteArray &own) {
        return QJsonDocument::fromJson('[' + nmosResource(own, text) + ']').array();
    };
    Sondrix::NmosNodeSnapshot snapshot;
    snapshot.baseUrl = QUrl(QStringLiteral("http://192.0.2.4/x-nmos/node/v1.3"));
    snapshot.version = Sondrix::nodeApiVersion(snapshot.baseUrl);
    const QJsonDocument self = QJsonDocument::fromJson(nmosResource("node", text));
    if (!self.isObject()) {
        return {};
    }
    snapshot.self = self.object();
    snapshot.devices = list("device");
    snapshot.sources = list("source");
    snapshot.flows = list("flow");
    snapshot.senders = list("sender");
    snapshot.receivers = list("receiver");
    return {Sondrix::recordFromNmosNode(snapshot)};
}

inline QList<Sondrix::DeviceRecord> onvifRecords(const QByteArray &text)
{
    const QByteArray xml = "<Envelope><Body><ProbeMatches><ProbeMatch>" +
                           xmlElement("Address", "onvif" + text) + xmlElement("Types", text) +
                           xmlElement("Scopes", text) + xmlElement("XAddrs", "http://192.0.2.5/" + text) +
                           "</ProbeMatch></ProbeMatches></Body></Envelope>";
    QList<Sondrix::DeviceRecord> records;
    const QList<Sondrix::OnvifProbeMatch> matches = Sondrix::parseProbeMatches(xml);
    for (const Sondrix::OnvifProbeMatch &match : matches) {
        records.append(Sondrix::recordFromProbeMatch(match));
    }
    return records;
}

inline Sondrix::DeviceRecord sapRecord(const QByteArray &text)
{
    return Sondrix::recordFromSapAnnouncement("v=0\r\no=" + text + "\r\ns=" + text +
                                              "\r\nc=IN IP4 239.69.0.1/32\r\nm=audio 5004 RTP/AVP 96\r\n"
                                              "a=rtpmap:96 L24" +
                                              text + "/48000/2\r\na=" + text + "\r\n");
}

/// Every way in. What has no record is left out, as the discoverers do it.
inline QList<TextSource> textSources()
{
    using Records = QList<Sondrix::DeviceRecord>;
    const TextLimits xml = TextLimit::notUtf8 | TextLimit::notXml | TextLimit::manyLines;
    const auto mdns = [](const char *source, const QList<Sondrix::MdnsServiceType> &catalogue,
                         const QString &type) {
        return TextSource{source, true, TextLimit::none, [=](const QByteArray &text) {
                              return Records{mdnsRecord(source, type, catalogue, text)};
                          }};
    };
    const auto one = [](Sondrix::DeviceRecord (*record)(const QByteArray &text)) {
        return [record](const QByteArray &text) {
            const Sondrix::DeviceRecord made = record(text);
            return Sondrix::hasStableKey(made) ? Records{made} : Records();
        };
    };
    return {
        mdns("mdns", Sondrix::defaultMdnsServices(), QStringLiteral("_rtsp._tcp.local.")),
        mdns("cast", Sondrix::castServices(), QStringLiteral("_googlecast._tcp.local.")),
        mdns("airplay", Sondrix::airPlayServices(), QStringLiteral("_airplay._tcp.local.")),
        mdns("raop", Sondrix::airPlayServices(), QStringLiteral("_raop._tcp.local.")),
        {"ssdp", false, TextLimit::manyLines, one([](const QByteArray &text) {
             return Sondrix::recordFromSsdpResponse(
                 Sondrix::parseSsdpResponse(ssdpAnswer("ssdp" + text, "http://192.0.2.1/", text)));
         })},
        {"ssdp location", false, TextLimit::manyLines, one([](const QByteArray &text) {
             return Sondrix::recordFromSsdpResponse(
                 Sondrix::parseSsdpResponse(ssdpAnswer("url" + text, "", text)));
         })},
        {"upnp", true, xml, one(upnpRecord)},
        {"roku", true, xml, one(rokuRecord)},
        {"nmos", true, TextLimit::notUtf8, nmosRecords},
        {"ember", false, TextLimit::none, one([](const QByteArray &text) {
             return Sondrix::recordFromEmberSeed(Sondrix::textFromUtf8(text));
         })},
        {"onvif", false, xml, onvifRecords},
        {"ndi", true, TextLimit::holdsNul, one([](const QByteArray &text) {
             // The runtime's texts end at a NUL byte.
             const QByteArray address = "192.0.2.6:5961/" + text;
             return Sondrix::recordFromNdiSource(
                 {QString::fromUtf8(text.constData()), QString::fromUtf8(address.constData())});
         })},
        {"sap", true, TextLimit::manyLines, one(sapRecord)},
    };
}
