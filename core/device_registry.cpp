#include "core/device_registry.h"

#include <algorithm>

#include <QHash>
#include <QSet>
#include <QVector>

namespace Sondrix
{

namespace
{

/// Whether normalizedText(text) equals normalized, without building it unless the text holds
/// characters beyond ASCII. Lower-casing keeps ASCII characters in their places and turns no
/// character into nothing, so that a difference between ASCII characters decides. The comparison
/// goes backwards, because the identifiers of like devices begin alike.
bool normalizesTo(const QString &text, const QString &normalized)
{
    const QStringView view = QStringView(text).trimmed();
    const QChar *stored = view.end();
    const QChar *wanted = normalized.cend();
    for (qsizetype left = std::min<qsizetype>(view.size(), normalized.size()); left > 0; --left) {
        const ushort c = (--stored)->unicode();
        if (c >= 0x80) {
            return view.toString().toLower() == normalized;
        }
        const ushort lowered = c >= 'A' && c <= 'Z' ? ushort(c + ('a' - 'A')) : c;
        if (lowered != (--wanted)->unicode()) {
            return false;
        }
    }
    return view.size() == normalized.size();
}

/// Up to so many endpoint identifiers are compared in place with a stored one; more are looked up, so
/// that two devices with thousands of endpoints do not take minutes.
constexpr int fewEndpoints = 16;

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
    QSet<QString> seen;
    for (const QString &address : qAsConst(target)) {
        seen.insert(address.toLower());
    }
    for (const QString &address : incoming) {
        const QString lowered = address.toLower();
        if (!seen.contains(lowered)) {
            seen.insert(lowered);
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

/// Endpoints without a key are appended with each report; those with one keep their place.
void mergeEndpoints(QList<EndpointRecord> &target, const QList<EndpointRecord> &incoming)
{
    QHash<QString, int> positions;
    for (int i = 0; i < target.size(); ++i) {
        const QString key = endpointStableKey(target.at(i));
        if (!key.isEmpty()) {
            positions.insert(key, i);
        }
    }
    for (const EndpointRecord &endpoint : incoming) {
        const QString key = endpointStableKey(endpoint);
        const auto known = positions.constFind(key);
        if (known != positions.cend()) {
            mergeEndpoint(target[known.value()], endpoint);
            continue;
        }
        if (!key.isEmpty()) {
            positions.insert(key, target.size());
        }
        target.append(endpoint);
    }
}

DeviceRecord mergeRecords(const DeviceRecord &existing, const DeviceRecord &incoming)
{
    DeviceRecord merged = existing;
    takeIfNotBlank(merged.id, incoming.id);
    takeIfNotBlank(merged.displayName, incoming.displayName);
    takeIfNotBlank(merged.vendor, incoming.vendor);
    takeIfNotBlank(merged.model, incoming.model);
    takeIfNotBlank(merged.serial, incoming.serial);
    takeIfNotBlank(merged.firmware, incoming.firmware);
    takeIfNotBlank(merged.hostname, incoming.hostname);
    takeIfNotBlank(merged.provider, incoming.provider);
    takeIfNotBlank(merged.protocol, incoming.protocol);
    mergeAddresses(merged.addresses, incoming.addresses);
    merged.direction = mergeDirection(existing.direction, incoming.direction);
    merged.mediaKinds |= incoming.mediaKinds;
    merged.requiresAuth = existing.requiresAuth || incoming.requiresAuth;
    merged.online = incoming.online;
    if (incoming.ttlSeconds > 0) {
        merged.ttlSeconds = incoming.ttlSeconds;
    }
    mergeEndpoints(merged.endpoints, incoming.endpoints);
    for (auto it = incoming.protocolData.constBegin(); it != incoming.protocolData.constEnd(); ++it) {
        merged.protocolData.insert(it.key(), it.value());
    }
    merged.firstSeen = earlierOf(existing.firstSeen, incoming.firstSeen);
    merged.lastSeen = laterOf(existing.lastSeen, incoming.lastSeen);
    return merged;
}

/// What a report has to alter for a device to count as changed: anything that its JSON form shows
/// but the two times at its top level.
QJsonObject comparableForm(const DeviceRecord &record)
{
    QJsonObject form = deviceToJson(record);
    form.remove(QStringLiteral("lastSeen"));
    form.remove(QStringLiteral("lastChanged"));
    return form;
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

    const DeviceRecord previous = m_records.value(existingKey);
    DeviceRecord merged = mergeRecords(previous, incoming);
    const bool changed = comparableForm(previous) != comparableForm(merged);
    merged.lastChanged = changed ? now : previous.lastChanged;

    QString newKey = deviceStableKey(merged);
    if (newKey.isEmpty()) {
        newKey = existingKey;
    }
    if (newKey != existingKey) {
        // The device moves to a better key; for the listeners that is an update, not a removal.
        m_records.remove(existingKey);
    }
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
