#pragma once

#include <QHostAddress>
#include <QList>
#include <QMap>
#include <QString>

#include "core/device_record.h"
#include "discoverers/mdns_service_catalogue.h"

namespace Sondrix
{

/// One service instance that a scan has collected (RFC 6763, 4.1).
struct MdnsServiceEntry {
    QString name;                      ///< instance label
    QString type;                      ///< service type and domain, as reported
    QString hostname;                  ///< SRV target with its trailing dot, as reported
    quint16 port = 0;                  ///< SRV port
    QMap<QString, QString> attributes; ///< TXT keys and values
    QList<QHostAddress> addresses;     ///< of the host, in order of arrival, without duplicates
};

/// The value of the first TXT key, in key order, that equals key in any letter case; empty if there
/// is none.
QString txtValue(const MdnsServiceEntry &entry, const QString &key);

/// The identifier that the service gives by TXT id or uuid, else its name at its host.
QString serviceDeviceId(const MdnsServiceEntry &entry);

/// The device with the one endpoint that the service stands for. Never refuses an entry.
DeviceRecord recordFromService(const MdnsServiceEntry &entry, const QList<MdnsServiceType> &catalogue);

} // namespace Sondrix
