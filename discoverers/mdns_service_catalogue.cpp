#include "discoverers/mdns_service_catalogue.h"

namespace Sondrix
{

QList<MdnsServiceType> defaultMdnsServices()
{
    const MediaKinds control = MediaKind::control;
    const MediaKinds audioControl = MediaKind::audio | MediaKind::control;
    const MediaKinds audioVideo = MediaKind::audio | MediaKind::video;
    const MediaKinds audioVideoControl = audioVideo | MediaKind::control;

    const auto row = [](const char *serviceType, const char *protocol, Direction direction,
                        MediaKinds kinds) {
        return MdnsServiceType{QString::fromLatin1(serviceType), QString::fromLatin1(protocol), direction,
                               kinds};
    };
    return {
        row("_nmos-node._tcp.local.", "nmos", Direction::inputOutput, audioVideoControl),
        row("_nmos-query._tcp.local.", "nmos", Direction::controlOnly, control),
        row("_nmos-registration._tcp.local.", "nmos", Direction::controlOnly, control),
        row("_googlecast._tcp.local.", "cast", Direction::output, audioVideoControl),
        row("_airplay._tcp.local.", "airplay", Direction::output, audioVideoControl),
        row("_raop._tcp.local.", "raop", Direction::output, audioControl),
        row("_spotify-connect._tcp.local.", "spotify-connect", Direction::controlOnly, audioControl),
        row("_rtsp._tcp.local.", "rtsp", Direction::input, audioVideo),
        row("_ndi._tcp.local.", "ndi", Direction::input, audioVideo),
        row("_apple-midi._udp.local.", "apple-midi", Direction::controlOnly, audioControl),
        row("_netaudio-arc._udp.local.", "dante-hint", Direction::controlOnly, audioControl),
        row("_netaudio-chan._udp.local.", "dante-hint", Direction::controlOnly, audioControl),
        row("_netaudio-cmc._udp.local.", "dante-hint", Direction::controlOnly, audioControl),
        row("_netaudio-dbc._udp.local.", "dante-hint", Direction::controlOnly, audioControl),
        row("_dante-safe._udp.local.", "dante-hint", Direction::controlOnly, audioControl),
        row("_dante-upgr._udp.local.", "dante-hint", Direction::controlOnly, audioControl),
        row("_http._tcp.local.", "http", Direction::controlOnly, control),
        row("_https._tcp.local.", "https", Direction::controlOnly, control),
        row("_corvane._tcp.local.", "corvane", Direction::controlOnly, control),
        row("_xvq._tcp.local.", "xvq", Direction::inputOutput, audioVideoControl),
        row("_streamlark._tcp.local.", "streamlark", Direction::controlOnly, control),
    };
}

QString normalizeServiceType(const QString &text)
{
    QString type = normalizedText(text);
    if (!type.endsWith(QLatin1Char('.'))) {
        type.append(QLatin1Char('.'));
    }
    return type;
}

MdnsServiceType findServiceType(const QList<MdnsServiceType> &catalogue, const QString &type)
{
    const QString wanted = normalizeServiceType(type);
    for (const MdnsServiceType &row : catalogue) {
        if (normalizeServiceType(row.serviceType) == wanted) {
            return row;
        }
    }
    return MdnsServiceType{type, QStringLiteral("mdns"), Direction::controlOnly, MediaKind::control};
}

} // namespace Sondrix
