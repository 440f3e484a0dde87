#pragma once

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QStringList>
#include <QUrl>
#include <QVariantMap>

#include "core/device_discoverer.h"

namespace Sondrix
{

struct NmosNodeSnapshot;

/// Reads the resources of configured NMOS nodes (AMWA IS-04 v1.3, Node API) and reports one record
/// for each node, with an endpoint for each sender and receiver.
class NmosDiscoverer : public IDeviceDiscoverer
{
public:
    explicit NmosDiscoverer(QObject *parent = nullptr);

    QString providerName() const override;
    bool isAvailable() const override;

    /// Walks the configured nodes one by one. The error is that of the first node that failed.
    QList<DeviceRecord> scan(QString *error) override;

    /// Replaces the seeds. Each is the base URL of a Node API.
    void setRegistries(const QStringList &seeds);

    /// The JSON document at the URL; null if it could not be fetched, then with a text in error,
    /// which may be null, or is no JSON, then without one.
    QJsonDocument fetchJson(const QUrl &url, QString *error);

    /// Fills *snapshot from the Node API at the URL. Returns false if the node does not give its
    /// own resource; the other five are empty where they fail.
    bool walkNode(const QUrl &base, NmosNodeSnapshot *snapshot, QString *error);

private:
    QStringList m_registries;
    int m_timeoutMs;
    int m_maxJsonBytes;
};

/// What one walk over a node has brought back.
struct NmosNodeSnapshot {
    QUrl baseUrl;
    QString version;
    QJsonObject self;
    QJsonArray devices;
    QJsonArray sources;
    QJsonArray flows;
    QJsonArray senders;
    QJsonArray receivers;
    QMap<QString, QString> senderSdp; ///< sender id to SDP; the walk leaves it empty
};

/// The first path segment that begins with "v"; "v1.3" if there is none.
QString nodeApiVersion(const QUrl &url);

/// The URL as text, without slashes at its end.
QString trimmedBaseUrl(const QUrl &url);

/// The URL of a resource below the base.
QUrl nodeResourceUrl(const QUrl &base, const QString &path);

/// The first element whose "id" equals id; empty if there is none.
QJsonObject findById(const QJsonArray &array, const QString &id);

/// The kinds that a format URN (urn:x-nmos:format:...) stands for, control always among them.
MediaKinds mediaKindsFromFormat(const QString &format);

/// The metadata of an endpoint: its resource, and its flow and source where they are not empty.
QVariantMap endpointMetadata(const QJsonObject &resource, const QJsonObject &flow, const QJsonObject &source);

/// The node with an endpoint for each sender and receiver that has an id.
DeviceRecord recordFromNmosNode(const NmosNodeSnapshot &snapshot);

} // namespace Sondrix
