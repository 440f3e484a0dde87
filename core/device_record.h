#pragma once

#include <QDateTime>
#include <QFlags>
#include <QJsonObject>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QStringList>
#include <QVariantMap>

namespace Sondrix
{

/// Which way media flows, seen from the network: a source is an input, a player an output.
enum class Direction : qint32 { unknown = 0, input = 1, output = 2, inputOutput = 3, controlOnly = 4 };

/// What a device or an endpoint carries, as flags.
enum class MediaKind : quint32 { audio = 1, video = 2, metadata = 4, control = 8 };
Q_DECLARE_FLAGS(MediaKinds, MediaKind)

/// One reachable service of a device.
struct EndpointRecord {
    QString id;       ///< identifier within its protocol
    QString label;    ///< name to show
    QString protocol; ///< protocol word
    QString url;
    Direction direction = Direction::unknown;
    MediaKinds mediaKinds;
    QString transport;    ///< transport word
    QVariantMap metadata; ///< free protocol details
    QDateTime lastSeen;   ///< UTC
};

/// One device as a discoverer reports it, or as the registry has merged it.
struct DeviceRecord {
    QString id; ///< identifier given by the protocol
    QString displayName;
    QString vendor;
    QString model;
    QString serial;
    QString firmware;
    QString hostname;
    QStringList addresses; ///< network addresses; only the first can enter the stable key
    QString provider;      ///< word of the discoverer that reported last
    QString protocol;      ///< protocol word
    Direction direction = Direction::unknown;
    MediaKinds mediaKinds;
    QList<EndpointRecord> endpoints;
    QJsonObject protocolData; ///< free protocol details
    bool requiresAuth = false;
    bool online = true;
    int ttlSeconds = 0;    ///< time to live in seconds; 0 or less never expires
    QDateTime firstSeen;   ///< UTC
    QDateTime lastSeen;    ///< UTC
    QDateTime lastChanged; ///< UTC
};

/// The text without white space at its ends, lower-cased: the form in which texts are compared.
QString normalizedText(const QString &text);

/// Whether nothing is left of the text once white space is removed at its ends.
bool isBlank(const QString &text);

/// The key that identifies an endpoint within its device; empty if nothing identifies it.
QString endpointStableKey(const EndpointRecord &endpoint);

/// The key that identifies a device, computed from its fields; empty if nothing identifies it.
QString deviceStableKey(const DeviceRecord &record);

/// Whether the record can be identified at all.
bool hasStableKey(const DeviceRecord &record);

/// The direction of a device that is reported with both: known beats unknown, media beats control
/// only, and input with output is both.
Direction mergeDirection(Direction a, Direction b);

/// The direction's word as it stands in JSON; "unknown" for a value outside the enumeration.
QString directionName(Direction direction);

/// The words of the kinds that are set, in the order audio, video, metadata, control.
QStringList mediaKindNames(MediaKinds kinds);

/// UTC in ISO 8601 with milliseconds; the empty string for an invalid time.
QString timestampToJson(const QDateTime &time);

/// The endpoint as a JSON object with every key present.
QJsonObject endpointToJson(const EndpointRecord &endpoint);

/// The device as a JSON object with every key present, as the report prints it.
QJsonObject deviceToJson(const DeviceRecord &record);

/// The trimmed URLs of all endpoints in order, without those that repeat an earlier one in any case.
QStringList allEndpointUrls(const DeviceRecord &record);

/// The first endpoint URL, trimmed; empty if there is none.
QString primaryEndpointUrl(const DeviceRecord &record);

/// The first endpoint URL with the scheme http or https, trimmed; empty if there is none.
QString webUiUrl(const DeviceRecord &record);

} // namespace Sondrix

Q_DECLARE_OPERATORS_FOR_FLAGS(Sondrix::MediaKinds)
Q_DECLARE_METATYPE(Sondrix::DeviceRecord)
