// Maps one service to a device record. The input is a list of fields with 0xff between them, a byte
// that no text in UTF-8 holds: instance name, service type, host name, port, and then addresses, which
// begin with '@', and TXT strings.

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include <QJsonArray>

#include "core/device_record.h"
#include "discoverers/airplay_discoverer.h"
#include "discoverers/cast_discoverer.h"
#include "discoverers/mdns_service_catalogue.h"
#include "discoverers/mdns_service_mapping.h"
#include "discoverers/text.h"
#include "fuzz/record_properties.h"

using namespace Sondrix;

namespace
{

constexpr int fixedFields = 4;

// service type, name, host name and port
constexpr int describingKeys = 4;

MdnsServiceEntry entryFrom(const QByteArray &bytes)
{
    const QList<QByteArray> fields = bytes.split('\xff');
    MdnsServiceEntry entry;
    entry.name = textFromUtf8(fields.value(0));
    entry.type = textFromUtf8(fields.value(1));
    entry.hostname = textFromUtf8(fields.value(2));
    entry.port = fields.value(3).toUShort();
    for (int i = fixedFields; i < fields.size(); ++i) {
        const QByteArray &field = fields.at(i);
        if (field.startsWith('@')) {
            entry.addresses.append(QHostAddress(textFromUtf8(field.mid(1))));
            continue;
        }
        const int equalsSign = field.indexOf('=');
        entry.attributes.insert(textFromUtf8(field.left(equalsSign)),
                                equalsSign < 0 ? QString() : textFromUtf8(field.mid(equalsSign + 1)));
    }
    return entry;
}

void checkCatalogueRow(const DeviceRecord &record, const MdnsServiceEntry &entry,
                       const QList<MdnsServiceType> &catalogue)
{
    const QString type = normalizeServiceType(entry.type);
    FUZZ_ASSERT(normalizeServiceType(type) == type);
    const auto row = std::find_if(catalogue.cbegin(), catalogue.cend(),
                                  [&](const MdnsServiceType &one) { return one.serviceType == type; });
    if (row == catalogue.cend()) {
        FUZZ_ASSERT(record.protocol == QLatin1String("mdns"));
        FUZZ_ASSERT(record.direction == Direction::controlOnly);
        FUZZ_ASSERT(record.mediaKinds == MediaKinds(MediaKind::control));
    } else {
        FUZZ_ASSERT(record.protocol == row->protocol);
        FUZZ_ASSERT(record.direction == row->direction);
        FUZZ_ASSERT(record.mediaKinds == row->mediaKinds);
    }
}

void checkAddresses(const DeviceRecord &record, const MdnsServiceEntry &entry)
{
    const auto known = std::find_if(entry.addresses.cbegin(), entry.addresses.cend(),
                                    [](const QHostAddress &address) { return !address.isNull(); });
    const QString host = known != entry.addresses.cend() ? known->toString() : entry.hostname;
    FUZZ_ASSERT(record.addresses == (host.isEmpty() ? QStringList() : QStringList(host)));
    FUZZ_ASSERT(record.hostname == entry.hostname);
}

void checkEndpoint(const DeviceRecord &record, const MdnsServiceEntry &entry)
{
    FUZZ_ASSERT(record.endpoints.size() == 1);
    const EndpointRecord &endpoint = record.endpoints.first();
    FUZZ_ASSERT(endpoint.id == record.id + QLatin1Char(':') + record.protocol);
    FUZZ_ASSERT(endpoint.label == record.displayName);
    FUZZ_ASSERT(endpoint.protocol == record.protocol);
    FUZZ_ASSERT(endpoint.direction == record.direction);
    FUZZ_ASSERT(endpoint.mediaKinds == record.mediaKinds);
    FUZZ_ASSERT(endpoint.lastSeen == record.lastSeen);
    const QString start =
        record.protocol + QStringLiteral("://") + record.addresses.value(0) + QLatin1Char(':');
    FUZZ_ASSERT(endpoint.url.startsWith(start));
    if (entry.port != 0) {
        FUZZ_ASSERT(endpoint.url.midRef(start.size()).startsWith(QString::number(entry.port)));
    }
}

void checkProtocolData(const DeviceRecord &record, const MdnsServiceEntry &entry)
{
    FUZZ_ASSERT(record.protocolData.size() == describingKeys + entry.attributes.size());
    for (auto it = entry.attributes.cbegin(); it != entry.attributes.cend(); ++it) {
        const QJsonValue value = record.protocolData.value(QStringLiteral("txt.") + it.key());
        FUZZ_ASSERT(value.isString() && value.toString() == it.value());
    }
}

void checkIdentity(const DeviceRecord &record, const MdnsServiceEntry &entry)
{
    FUZZ_ASSERT(record.id == serviceDeviceId(entry));
    FUZZ_ASSERT(!record.id.isEmpty());
    // Its endpoint identifies a service that nothing else does.
    FUZZ_ASSERT(hasStableKey(record));
    FUZZ_ASSERT(!deviceStableKey(record).isEmpty());
    FUZZ_ASSERT(!endpointStableKey(record.endpoints.first()).isEmpty());
    FUZZ_ASSERT(!record.displayName.isEmpty() || entry.name.isEmpty());
}

/// Beside what holds for the records of all providers.
void checkJson(const DeviceRecord &record)
{
    Fuzz::checkJson(record);
    const QJsonObject json = deviceToJson(record);
    FUZZ_ASSERT(json.value(QLatin1String("stableKey")).toString() == deviceStableKey(record));
    FUZZ_ASSERT(json.value(QLatin1String("endpoints")).toArray().size() == record.endpoints.size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const QList<MdnsServiceType> everything = defaultMdnsServices();
    static const QList<MdnsServiceType> airPlay = airPlayServices();
    static const QList<MdnsServiceType> cast = castServices();
    const MdnsServiceEntry entry = entryFrom(QByteArray(reinterpret_cast<const char *>(data), int(size)));
    for (const QList<MdnsServiceType> &catalogue : {everything, airPlay, cast}) {
        const DeviceRecord record = recordFromService(entry, catalogue);
        checkCatalogueRow(record, entry, catalogue);
        checkEndpoint(record, entry);
    }
    // Nothing else depends on the catalogue.
    const DeviceRecord record = recordFromService(entry, everything);
    checkAddresses(record, entry);
    checkProtocolData(record, entry);
    checkIdentity(record, entry);
    checkJson(record);
    return 0;
}
