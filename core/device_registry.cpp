#include "core/device_registry.h"

#include <algorithm>
#include <tuple>

#include <QHash>
#include <QSet>
#include <QVector>

namespace Sondrix
{

namespace
{

/// Whether the text's lower-cased form equals lowered, without building it unless the text holds
/// characters beyond ASCII. Lower-casing keeps ASCII characters in their places and turns no
/// character into nothing, so that a difference between ASCII characters decides. The comparison
/// goes backwards, because the identifiers of like devices begin alike.
bool lowersTo(QStringView text, const QString &lowered)
{
    const QChar *stored = text.end();
    const QChar *wanted = lowered.cend();
    for (qsizetype left = std::min<qsizetype>(text.size(), lowered.size()); left > 0; --left) {
        const ushort c = (--stored)->unicode();
        if (c >= 0x80) {
            return text.toString().toLower() == lowered;
        }
        const ushort lower = c >= 'A' && c <= 'Z' ? ushort(c + ('a' - 'A')) : c;
        if (lower != (--wanted)->unicode()) {
            return false;
        }
    }
    return text.size() == lowered.size();
}

/// Whether normalizedText(text) equals normalized.
bool normalizesTo(const QString &text, const QString &normalized)
{
    return lowersTo(QStringView(text).trimmed(), normalized);
}

/// Up to so many endpoint identifiers are compared in place with a stored one; more are looked up, so
/// that two devices with thousands of endpoints do not take minutes.
constexpr int fewEndpoints = 16;

/// So many protocol details of one device are kept, many times what any protocol has: over the answers
/// of a peer that invents new ones for each they would add up.
constexpr int maximumProtocolDetails = 1024;

/// What of an incoming record is compared with the stored ones, normalised once.
class Matcher
{
public:
    explicit Matcher(const DeviceRecord &incoming)
        : m_id(normalizedText(incoming.id))
        , m_serial(normalizedText(incoming.serial))
        , m_vendor(normalizedText(incoming.vendor))
        , m_model(normalizedText(incoming.model))
        , m_hostname(normalizedText(incoming.hostname))
    {
        for (const EndpointRecord &endpoint : incoming.endpoints) {
            const QString id = normalizedText(endpoint.id);
            if (!id.isEmpty()) {
                m_endpointIds.append(id);
            }
        }
        if (m_endpointIds.size() > fewEndpoints) {
            m_manyEndpointIds = QSet<QString>(m_endpointIds.cbegin(), m_endpointIds.cend());
        }
    }

    bool matches(const DeviceRecord &stored) const
    {
        return sameText(stored.id, m_id) || sameSerial(stored) || sameText(stored.hostname, m_hostname) ||
               sharesEndpointId(stored);
    }

private:
    /// Blank texts never match.
    static bool sameText(const QString &stored, const QString &incoming)
    {
        return !incoming.isEmpty() && normalizesTo(stored, incoming);
    }

    bool sameSerial(const DeviceRecord &stored) const
    {
        if (!sameText(stored.serial, m_serial)) {
            return false;
        }
        if (!m_vendor.isEmpty() && !isBlank(stored.vendor)) {
            return normalizesTo(stored.vendor, m_vendor);
        }
        if (!m_model.isEmpty() && !isBlank(stored.model)) {
            return normalizesTo(stored.model, m_model);
        }
        return true;
    }

    bool sharesEndpointId(const DeviceRecord &stored) const
    {
        if (m_endpointIds.isEmpty()) {
            return false;
        }
        if (!m_manyEndpointIds.isEmpty()) {
            return std::any_of(stored.endpoints.cbegin(), stored.endpoints.cend(),
                               [this](const EndpointRecord &endpoint) {
                                   return m_manyEndpointIds.contains(normalizedText(endpoint.id));
                               });
        }
        return std::any_of(
            stored.endpoints.cbegin(), stored.endpoints.cend(), [this](const EndpointRecord &endpoint) {
                return std::any_of(m_endpointIds.cbegin(), m_endpointIds.cend(),
                                   [&](const QString &id) { return normalizesTo(endpoint.id, id); });
            });
    }

    QString m_id;
    QString m_serial;
    QString m_vendor;
    QString m_model;
    QString m_hostname;
    QVector<QString> m_endpointIds;
    QSet<QString> m_manyEndpointIds; // the same, but only where they are many
};

void takeIfNotBlank(QString &target, const QString &text)
{
    if (!isBlank(text)) {
        target = text;
    }
}

QDateTime earlierOf(const QDateTime &a, const QDateTime &b)
{
    if (!a.isValid() || !b.isValid()) {
        return a.isValid() ? a : b;
    }
    return b < a ? b : a;
}

QDateTime laterOf(const QDateTime &a, const QDateTime &b)
{
    if (!a.isValid() || !b.isValid()) {
        return a.isValid() ? a : b;
    }
    return a < b ? b : a;
}

void mergeAddresses(QStringList &target, const QStringList &incoming)
{
    for (const QString &address : incoming) {
        const QString lowered = address.toLower();
        const bool isKnown = std::any_of(target.cbegin(), target.cend(),
                                         [&](const QString &known) { return lowersTo(known, lowered); });
        if (!isKnown) {
            target.append(address);
        }
    }
}

void mergeEndpoint(EndpointRecord &target, const EndpointRecord &incoming)
{
    takeIfNotBlank(target.id, incoming.id);
    takeIfNotBlank(target.label, incoming.label);
    takeIfNotBlank(target.protocol, incoming.protocol);
    takeIfNotBlank(target.url, incoming.url);
    takeIfNotBlank(target.transport, incoming.transport);
    target.direction = mergeDirection(target.direction, incoming.direction);
    target.mediaKinds |= incoming.mediaKinds;
    target.lastSeen = laterOf(target.lastSeen, incoming.lastSeen);
    for (auto it = incoming.metadata.cbegin(); it != incoming.metadata.cend(); ++it) {
        target.metadata.insert(it.key(), it.value());
    }
}

/// Whether the stored endpoint's key is that of the wanted one, whose identifier is given normalised too.
bool hasKeyOf(const EndpointRecord &stored, const EndpointRecord &wanted, const QString &wantedId)
{
    return wantedId.isEmpty() ? endpointStableKey(stored) == endpointStableKey(wanted)
                              : normalizesTo(stored.id, wantedId);
}

/// The places in the list of the endpoints with a key, the last of those with the same. A few wanted ones
/// are looked for in place, and nothing else is told.
QHash<QString, int> positionsOf(const QList<EndpointRecord> &endpoints, const QList<EndpointRecord> &wanted)
{
    QHash<QString, int> positions;
    const auto insert = [&](const QString &key, int position) {
        if (!key.isEmpty()) {
            positions.insert(key, position);
        }
    };
    if (wanted.size() > fewEndpoints) {
        for (int i = 0; i < endpoints.size(); ++i) {
            insert(endpointStableKey(endpoints.at(i)), i);
        }
        return positions;
    }
    for (const EndpointRecord &one : wanted) {
        const QString id = normalizedText(one.id);
        const auto last =
            std::find_if(endpoints.crbegin(), endpoints.crend(),
                         [&](const EndpointRecord &endpoint) { return hasKeyOf(endpoint, one, id); });
        if (last != endpoints.crend()) {
            insert(endpointStableKey(one), int(endpoints.crend() - last) - 1);
        }
    }
    return positions;
}

bool showTheSame(const QDateTime &a, const QDateTime &b)
{
    return a.isValid() == b.isValid() && (!a.isValid() || a == b);
}

bool showTheSame(const QVariantMap &a, const QVariantMap &b)
{
    return (a.isEmpty() && b.isEmpty()) || a.isSharedWith(b) ||
           QJsonObject::fromVariantMap(a) == QJsonObject::fromVariantMap(b);
}

/// Whether the JSON forms are equal.
bool showTheSame(const EndpointRecord &a, const EndpointRecord &b)
{
    const auto plain = [](const EndpointRecord &endpoint) {
        return std::tie(endpoint.id, endpoint.label, endpoint.protocol, endpoint.url, endpoint.direction,
                        endpoint.mediaKinds, endpoint.transport);
    };
    return plain(a) == plain(b) && showTheSame(a.lastSeen, b.lastSeen) && showTheSame(a.metadata, b.metadata);
}

/// Whether the JSON forms are equal, but for the endpoints and the two times that each report moves.
bool showTheSameBesidesEndpoints(const DeviceRecord &a, const DeviceRecord &b)
{
    const auto plain = [](const DeviceRecord &record) {
        return std::tie(record.id, record.displayName, record.vendor, record.model, record.serial,
                        record.firmware, record.hostname, record.addresses, record.provider, record.protocol,
                        record.direction, record.mediaKinds, record.protocolData, record.requiresAuth,
                        record.online, record.ttlSeconds);
    };
    return plain(a) == plain(b) && showTheSame(a.firstSeen, b.firstSeen);
}

/// Endpoints without a key are appended with each report; those with one keep their place. Returns
/// whether the list's JSON form has changed.
bool mergeEndpoints(QList<EndpointRecord> &target, const QList<EndpointRecord> &incoming)
{
    const int sizeBefore = target.size();
    QHash<QString, int> positions = positionsOf(target, incoming);
    QHash<int, EndpointRecord> before; // of those that are merged into
    for (const EndpointRecord &endpoint : incoming) {
        const QString key = endpointStableKey(endpoint);
        const auto known = positions.constFind(key);
        if (known != positions.cend()) {
            EndpointRecord &stored = target[known.value()];
            if (!before.contains(known.value())) {
                before.insert(known.value(), stored);
            }
            mergeEndpoint(stored, endpoint);
            continue;
        }
        if (!key.isEmpty()) {
            positions.insert(key, target.size());
        }
        target.append(endpoint);
    }
    if (target.size() > sizeBefore) {
        return true;
    }
    return std::any_of(before.keyBegin(), before.keyEnd(), [&](int position) {
        return !showTheSame(before.value(position), target.at(position));
    });
}

/// What is incoming holds. Qt's object keeps the room of a value that another has replaced, and of what
/// differs in each report that would add up: so the object is built anew.
void mergeProtocolData(QJsonObject &target, const QJsonObject &incoming)
{
    bool hasNews = false;
    for (auto it = incoming.constBegin(); it != incoming.constEnd() && !hasNews; ++it) {
        hasNews = target.value(it.key()) != it.value();
    }
    if (!hasNews) {
        return;
    }
    QJsonObject merged;
    for (auto it = target.constBegin(); it != target.constEnd(); ++it) {
        const auto newer = incoming.constFind(it.key());
        merged.insert(it.key(), newer == incoming.constEnd() ? it.value() : newer.value());
    }
    for (auto it = incoming.constBegin(); it != incoming.constEnd() && merged.size() < maximumProtocolDetails;
         ++it) {
        if (!target.contains(it.key())) {
            merged.insert(it.key(), it.value());
        }
    }
    target = merged;
}

/// Merges in place, so that the endpoints are not copied. Returns whether the device has changed: whether
/// its JSON form has, but for the two times at its top level.
bool mergeInto(DeviceRecord &target, const DeviceRecord &incoming)
{
    DeviceRecord before = target;
    before.endpoints.clear();
    takeIfNotBlank(target.id, incoming.id);
    takeIfNotBlank(target.displayName, incoming.displayName);
    takeIfNotBlank(target.vendor, incoming.vendor);
    takeIfNotBlank(target.model, incoming.model);
    takeIfNotBlank(target.serial, incoming.serial);
    takeIfNotBlank(target.firmware, incoming.firmware);
    takeIfNotBlank(target.hostname, incoming.hostname);
    takeIfNotBlank(target.provider, incoming.provider);
    takeIfNotBlank(target.protocol, incoming.protocol);
    mergeAddresses(target.addresses, incoming.addresses);
    target.direction = mergeDirection(target.direction, incoming.direction);
    target.mediaKinds |= incoming.mediaKinds;
    target.requiresAuth = target.requiresAuth || incoming.requiresAuth;
    target.online = incoming.online;
    if (incoming.ttlSeconds > 0) {
        target.ttlSeconds = incoming.ttlSeconds;
    }
    mergeProtocolData(target.protocolData, incoming.protocolData);
    target.firstSeen = earlierOf(target.firstSeen, incoming.firstSeen);
    target.lastSeen = laterOf(target.lastSeen, incoming.lastSeen);
    const bool endpointsChanged = mergeEndpoints(target.endpoints, incoming.endpoints);
    return endpointsChanged || !showTheSameBesidesEndpoints(before, target);
}

} // namespace

DeviceRegistry::DeviceRegistry(QObject *parent) : QObject(parent)
{
    qRegisterMetaType<Sondrix::DeviceRecord>("Sondrix::DeviceRecord");
}

QString DeviceRegistry::addOrUpdate(const DeviceRecord &record)
{
    const QString key = deviceStableKey(record);
    if (key.isEmpty()) {
        return QString();
    }
    const QDateTime now = QDateTime::currentDateTimeUtc();
    DeviceRecord incoming = record;
    if (!incoming.firstSeen.isValid()) {
        incoming.firstSeen = now;
    }
    if (!incoming.lastSeen.isValid()) {
        incoming.lastSeen = now;
    }
    if (!incoming.lastChanged.isValid()) {
        incoming.lastChanged = incoming.lastSeen;
    }

    const QString existingKey = findExistingKey(key, incoming);
    if (existingKey.isEmpty()) {
        m_records.insert(key, incoming);
        emit deviceAdded(incoming);
        return key;
    }

    DeviceRecord merged = m_records.take(existingKey);
    if (mergeInto(merged, incoming)) {
        merged.lastChanged = now;
    }

    QString newKey = deviceStableKey(merged);
    if (newKey.isEmpty()) {
        newKey = existingKey;
    }
    // A device that moves to a better key is updated for the listeners, not removed.
    m_records.insert(newKey, merged);
    emit deviceUpdated(merged);
    return newKey;
}

int DeviceRegistry::expireOnlineRecords(const QDateTime &now)
{
    if (!now.isValid()) {
        return 0;
    }
    const QDateTime nowUtc = now.toUTC();
    int expired = 0;
    for (auto it = m_records.begin(); it != m_records.end(); ++it) {
        DeviceRecord &record = it.value();
        if (!record.online || record.ttlSeconds < 1 || !record.lastSeen.isValid() ||
            record.lastSeen.toUTC().addSecs(record.ttlSeconds) >= nowUtc) {
            continue;
        }
        record.online = false;
        record.lastChanged = nowUtc;
        ++expired;
        emit deviceUpdated(record);
    }
    return expired;
}

QList<DeviceRecord> DeviceRegistry::records() const
{
    return m_records.values();
}

DeviceRecord DeviceRegistry::record(const QString &stableKey) const
{
    return m_records.value(stableKey);
}

bool DeviceRegistry::remove(const QString &stableKey)
{
    if (m_records.remove(stableKey) == 0) {
        return false;
    }
    emit deviceRemoved(stableKey);
    return true;
}

QString DeviceRegistry::findExistingKey(const QString &incomingKey, const DeviceRecord &incoming) const
{
    if (m_records.contains(incomingKey)) {
        return incomingKey;
    }
    const Matcher matcher(incoming);
    for (auto it = m_records.cbegin(); it != m_records.cend(); ++it) {
        if (matcher.matches(it.value())) {
            return it.key();
        }
    }
    return QString();
}

} // namespace Sondrix
