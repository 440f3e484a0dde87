#include "ui/device_list_model.h"

#include <algorithm>

#include <QHash>
#include <QSet>

#include "core/device_registry.h"

using Sondrix::DeviceRecord;
using Sondrix::DeviceRegistry;
using Sondrix::Direction;
using Sondrix::EndpointRecord;

namespace
{

bool isAscii(const QString &text)
{
    return std::all_of(text.cbegin(), text.cend(), [](QChar c) { return c.unicode() < 0x80; });
}

/// Whether the lower-cased text contains the needle, which is lower-cased. Text in ASCII, the usual
/// case, is searched without a copy; other text has lower cases that case folding does not know.
bool containsLowered(const QString &text, const QString &needle)
{
    return isAscii(text) ? isAscii(needle) && text.contains(needle, Qt::CaseInsensitive)
                         : text.toLower().contains(needle); // clazy:exclude=qstring-insensitive-allocation
}

bool containsNeedle(const DeviceRecord &record, const QString &needle)
{
    for (const QString *text :
         {&record.id, &record.displayName, &record.vendor, &record.model, &record.serial, &record.firmware,
          &record.hostname, &record.provider, &record.protocol}) {
        if (containsLowered(*text, needle)) {
            return true;
        }
    }
    for (const QString &address : record.addresses) {
        if (containsLowered(address, needle)) {
            return true;
        }
    }
    for (const EndpointRecord &endpoint : record.endpoints) {
        for (const QString *text :
             {&endpoint.id, &endpoint.label, &endpoint.protocol, &endpoint.url, &endpoint.transport}) {
            if (containsLowered(*text, needle)) {
                return true;
            }
        }
    }
    return false;
}

/// Whether the record has a direction that its list shows.
bool isOnSide(Direction direction, ListSide side)
{
    return direction == Direction::inputOutput ||
           direction == (side == ListSide::Inputs ? Direction::input : Direction::output);
}

} // namespace

DeviceListModel::DeviceListModel(DeviceRegistry *registry, ListSide side, QObject *parent)
    : QAbstractListModel(parent), m_registry(registry), m_side(side)
{
    if (m_registry != nullptr) {
        connect(m_registry, &DeviceRegistry::deviceAdded, this, &DeviceListModel::refresh);
        connect(m_registry, &DeviceRegistry::deviceUpdated, this, &DeviceListModel::refresh);
        connect(m_registry, &DeviceRegistry::deviceRemoved, this, &DeviceListModel::refresh);
    }
    refresh();
}

DeviceListModel::~DeviceListModel() = default;

int DeviceListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_rows.size();
}

QVariant DeviceListModel::data(const QModelIndex &index, int role) const
{
    const QString key = stableKeyAt(index);
    if (m_registry == nullptr || key.isEmpty()) {
        return QVariant();
    }
    switch (role) {
    case Qt::DisplayRole:
        return deviceListText(m_registry->record(key));
    case Qt::ToolTipRole: {
        const DeviceRecord record = m_registry->record(key);
        return QStringLiteral("%1\n%2\n%3")
            .arg(deviceListText(record), record.protocol, record.addresses.join(QStringLiteral(", ")));
    }
    case StableKeyRole:
        return key;
    case ProtocolRole:
        return m_registry->record(key).protocol;
    case ProviderRole:
        return m_registry->record(key).provider;
    default:
        return QVariant();
    }
}

void DeviceListModel::setSearchText(const QString &text)
{
    setFilter(m_searchText, text);
}

void DeviceListModel::setProtocolFilter(const QString &text)
{
    setFilter(m_protocolFilter, normalizedFilterValue(text));
}

void DeviceListModel::setProviderFilter(const QString &text)
{
    setFilter(m_providerFilter, normalizedFilterValue(text));
}

void DeviceListModel::setStatusFilter(const QString &text)
{
    setFilter(m_statusFilter, normalizedFilterValue(text));
}

QStringList DeviceListModel::availableProtocols() const
{
    return distinctValues(&DeviceRecord::protocol);
}

QStringList DeviceListModel::availableProviders() const
{
    return distinctValues(&DeviceRecord::provider);
}

DeviceRecord DeviceListModel::recordAt(const QModelIndex &index) const
{
    const QString key = stableKeyAt(index);
    return m_registry == nullptr || key.isEmpty() ? DeviceRecord() : m_registry->record(key);
}

QString DeviceListModel::stableKeyAt(const QModelIndex &index) const
{
    return index.isValid() ? m_rows.value(index.row()) : QString();
}

bool DeviceListModel::matchesSearch(const DeviceRecord &record) const
{
    const QString needle = Sondrix::normalizedText(m_searchText);
    return needle.isEmpty() || containsNeedle(record, needle);
}

void DeviceListModel::refresh()
{
    beginResetModel();
    m_rows.clear();
    if (m_registry != nullptr) {
        const QString needle = Sondrix::normalizedText(m_searchText);
        m_registry->visitRecords([&](const QString &key, const DeviceRecord &record) {
            if (isVisible(record, needle)) {
                m_rows.append(key);
            }
        });
    }
    endResetModel();
}

bool DeviceListModel::isVisible(const DeviceRecord &record, const QString &needle) const
{
    return isOnSide(record.direction, m_side) &&
           (m_protocolFilter.isEmpty() || record.protocol.toLower() == m_protocolFilter) &&
           (m_providerFilter.isEmpty() || record.provider.toLower() == m_providerFilter) &&
           (m_statusFilter != QLatin1String("online") || record.online) &&
           (m_statusFilter != QLatin1String("offline") || !record.online) &&
           (needle.isEmpty() || containsNeedle(record, needle));
}

void DeviceListModel::setFilter(QString &filter, const QString &value)
{
    if (filter != value) {
        filter = value;
        refresh();
    }
}

QStringList DeviceListModel::distinctValues(QString DeviceRecord::*field) const
{
    QStringList values;
    if (m_registry == nullptr) {
        return values;
    }
    QSet<QString> seen;
    m_registry->visitRecords([&](const QString &, const DeviceRecord &record) {
        const QString &value = record.*field;
        if (Sondrix::isBlank(value)) {
            return;
        }
        const QString lowered = value.toLower();
        if (!seen.contains(lowered)) {
            seen.insert(lowered);
            values.append(value);
        }
    });
    values.sort(Qt::CaseInsensitive);
    return values;
}

QString deviceListText(const DeviceRecord &record)
{
    QString name = record.displayName;
    if (Sondrix::isBlank(name)) {
        name = record.hostname;
    }
    if (Sondrix::isBlank(name)) {
        name = Sondrix::deviceStableKey(record);
    }
    const QString label = protocolDisplayName(record);
    return label.isEmpty() ? name : QStringLiteral("%1 (%2)").arg(name, label);
}

QString protocolDisplayName(const DeviceRecord &record)
{
    static const QHash<QString, QString> labels{
        {QStringLiteral("nmos"), QStringLiteral("NMOS")},
        {QStringLiteral("upnp"), QStringLiteral("DLNA")},
        {QStringLiteral("upnp-dlna"), QStringLiteral("DLNA")},
        {QStringLiteral("upnpdlna"), QStringLiteral("DLNA")},
        {QStringLiteral("dlna"), QStringLiteral("DLNA")},
        {QStringLiteral("ndi"), QStringLiteral("NDI")},
        {QStringLiteral("onvif"), QStringLiteral("ONVIF")},
        {QStringLiteral("ssdp"), QStringLiteral("SSDP")},
        {QStringLiteral("mdns"), QStringLiteral("mDNS")},
        {QStringLiteral("rtsp"), QStringLiteral("RTSP")},
        {QStringLiteral("raop"), QStringLiteral("RAOP")},
        {QStringLiteral("sap"), QStringLiteral("AES67")},
        {QStringLiteral("sap-aes67"), QStringLiteral("AES67")},
        {QStringLiteral("sapaes67"), QStringLiteral("AES67")},
        {QStringLiteral("aes67"), QStringLiteral("AES67")},
        {QStringLiteral("airplay"), QStringLiteral("AirPlay")},
        {QStringLiteral("apple-midi"), QStringLiteral("Apple MIDI")},
        {QStringLiteral("cast"), QStringLiteral("Cast")},
        {QStringLiteral("chromecast"), QStringLiteral("Cast")},
        {QStringLiteral("googlecast"), QStringLiteral("Cast")},
        {QStringLiteral("spotify-connect"), QStringLiteral("Spotify")},
        {QStringLiteral("dante-hint"), QStringLiteral("Dante")},
        {QStringLiteral("http"), QStringLiteral("HTTP")},
        {QStringLiteral("https"), QStringLiteral("HTTPS")},
        {QStringLiteral("xvq"), QStringLiteral("XVQ")},
        {QStringLiteral("streamlark"), QStringLiteral("Streamlark")},
        {QStringLiteral("ember"), QStringLiteral("Ember+")},
    };
    QString source = record.protocol.trimmed();
    if (source.isEmpty()) {
        source = record.provider.trimmed();
    }
    const auto label = labels.constFind(source.toLower());
    return label == labels.cend() ? source.toUpper() : label.value();
}

QString normalizedFilterValue(const QString &text)
{
    const QString value = text.trimmed();
    for (const QLatin1String noFilter : {QLatin1String("All"), QLatin1String("All Protocols"),
                                         QLatin1String("All Providers"), QLatin1String("Any Status")}) {
        if (value.compare(noFilter, Qt::CaseInsensitive) == 0) {
            return QString();
        }
    }
    return value.toLower();
}
