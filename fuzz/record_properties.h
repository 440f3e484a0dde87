#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <tuple>

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QSet>
#include <QString>

#include "core/device_record.h"
#include "core/device_registry.h"
#include "fuzz/fuzz_assert.h"

/// What holds for the records of every provider, whatever came from the network.
namespace Sondrix::Fuzz
{

/// Stands between the parts of an input that has several: no text format uses it.
constexpr char partSeparator = '\x1e';

inline QByteArray bytesOf(const std::uint8_t *data, std::size_t size)
{
    return QByteArray(reinterpret_cast<const char *>(data), int(size));
}

inline bool isTrimmed(const QString &text)
{
    return text == text.trimmed();
}

inline auto fieldsButTimes(const EndpointRecord &e)
{
    return std::tie(e.id, e.label, e.protocol, e.url, e.direction, e.mediaKinds, e.transport, e.metadata);
}

inline auto fieldsButTimes(const DeviceRecord &r)
{
    return std::tie(r.id, r.displayName, r.vendor, r.model, r.serial, r.firmware, r.hostname, r.addresses,
                    r.provider, r.protocol, r.direction, r.mediaKinds, r.protocolData, r.requiresAuth,
                    r.online, r.ttlSeconds);
}

/// Whether both records say the same; the times differ from one run to the next.
inline bool sameButTimes(const DeviceRecord &a, const DeviceRecord &b)
{
    return fieldsButTimes(a) == fieldsButTimes(b) &&
           std::equal(a.endpoints.cbegin(), a.endpoints.cend(), b.endpoints.cbegin(), b.endpoints.cend(),
                      [](const EndpointRecord &x, const EndpointRecord &y) {
                          return fieldsButTimes(x) == fieldsButTimes(y);
                      });
}

inline bool isReadBackEqual(const QString &text)
{
    return QString::fromUtf8(text.toUtf8()) == text;
}

/// Whether all texts of a JSON value come back from UTF-8 as they were. Half a surrogate pair does not,
/// and Qt takes a byte-order mark off the front of a text.
inline bool isReadBackEqual(const QJsonValue &value)
{
    if (value.isArray()) {
        const QJsonArray array = value.toArray();
        return std::all_of(array.constBegin(), array.constEnd(),
                           [](const QJsonValue &element) { return isReadBackEqual(element); });
    }
    if (value.isObject()) {
        const QJsonObject object = value.toObject();
        for (auto it = object.constBegin(); it != object.constEnd(); ++it) {
            if (!isReadBackEqual(it.key()) || !isReadBackEqual(QJsonValue(it.value()))) {
                return false;
            }
        }
        return true;
    }
    return isReadBackEqual(value.toString());
}

/// The object with each number as a double: that is how Qt writes also those beyond 2^53.
inline QJsonObject inDoubles(const QJsonObject &json)
{
    return QJsonObject::fromVariantMap(json.toVariantMap());
}

/// The report is read by other programs, so that what is written has to be JSON and mean the same.
inline void checkJson(const DeviceRecord &record)
{
    const QJsonObject json = deviceToJson(record);
    QJsonParseError error;
    const QJsonDocument readBack =
        QJsonDocument::fromJson(QJsonDocument(json).toJson(QJsonDocument::Compact), &error);
    FUZZ_ASSERT(error.error == QJsonParseError::NoError);
    FUZZ_ASSERT(readBack.object() == json || inDoubles(readBack.object()) == inDoubles(json) ||
                !isReadBackEqual(QJsonValue(json)));
}

inline void checkTimes(const DeviceRecord &record)
{
    FUZZ_ASSERT(record.firstSeen.isValid() && record.firstSeen.timeSpec() == Qt::UTC);
    FUZZ_ASSERT(record.lastSeen == record.firstSeen);
    FUZZ_ASSERT(record.lastChanged == record.firstSeen);
    for (const EndpointRecord &endpoint : record.endpoints) {
        FUZZ_ASSERT(endpoint.lastSeen == record.firstSeen);
    }
}

/// Whether each endpoint has a key of its own, so that a second report finds each of them again.
inline bool hasDistinctEndpoints(const DeviceRecord &record)
{
    QSet<QString> keys;
    for (const EndpointRecord &endpoint : record.endpoints) {
        const QString key = endpointStableKey(endpoint);
        if (key.isEmpty() || keys.contains(key)) {
            return false;
        }
        keys.insert(key);
    }
    return true;
}

/// A device that is reported again is the same device, and no change.
inline void checkRegistry(const DeviceRecord &record)
{
    DeviceRegistry registry;
    const QString key = registry.addOrUpdate(record);
    FUZZ_ASSERT(key == deviceStableKey(record));
    if (key.isEmpty()) {
        FUZZ_ASSERT(registry.records().isEmpty());
        return;
    }
    FUZZ_ASSERT(sameButTimes(registry.record(key), record));
    FUZZ_ASSERT(registry.addOrUpdate(record) == key);
    const QList<DeviceRecord> records = registry.records();
    FUZZ_ASSERT(records.size() == 1);
    FUZZ_ASSERT(deviceStableKey(records.first()) == key);
    if (hasDistinctEndpoints(record)) {
        FUZZ_ASSERT(sameButTimes(records.first(), record));
        FUZZ_ASSERT(records.first().lastChanged == record.lastChanged);
    }
}

/// Checks a record that a parser has built out of an input that describes a device.
inline void checkDescribedDevice(const DeviceRecord &record)
{
    FUZZ_ASSERT(hasStableKey(record) == !deviceStableKey(record).isEmpty());
    FUZZ_ASSERT(record.ttlSeconds >= 0);
    FUZZ_ASSERT(record.online);
    FUZZ_ASSERT(!record.provider.isEmpty() && !record.protocol.isEmpty());
    FUZZ_ASSERT(record.direction != Direction::unknown);
    FUZZ_ASSERT(record.addresses.size() <= 1);
    FUZZ_ASSERT(!record.addresses.contains(QString()));
    for (const EndpointRecord &endpoint : record.endpoints) {
        FUZZ_ASSERT(!endpoint.protocol.isEmpty());
        FUZZ_ASSERT((record.mediaKinds & endpoint.mediaKinds) == endpoint.mediaKinds);
    }
    checkTimes(record);
    checkJson(record);
    checkRegistry(record);
}

/// Checks what a parser returns for an input that describes no device.
inline void checkNoDevice(const DeviceRecord &record)
{
    FUZZ_ASSERT(!hasStableKey(record));
    FUZZ_ASSERT(sameButTimes(record, DeviceRecord()));
    FUZZ_ASSERT(!record.firstSeen.isValid() && record.endpoints.isEmpty());
}

} // namespace Sondrix::Fuzz
