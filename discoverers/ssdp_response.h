#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

#include "core/device_record.h"

namespace Sondrix
{

/// One SSDP answer (UPnP Device Architecture 1.1, 1.3.3), as far as its lines could be read.
struct SsdpResponse {
    QString statusLine;             ///< first line that is not blank, trimmed and not interpreted
    QMap<QString, QString> headers; ///< name in lower case to trimmed value; the last of a name counts
};

/// Reads an answer. Lines that are no header are skipped; blank lines end nothing.
SsdpResponse parseSsdpResponse(const QByteArray &datagram);

/// The value of a header, whatever the letter case of name; empty if there is none.
QString ssdpHeader(const SsdpResponse &response, const QString &name);

/// Whether there is a status line and at least one of LOCATION, USN and ST with a value.
bool isValidSsdpResponse(const SsdpResponse &response);

/// The direction that a UPnP device type, a search target or a USN speaks of; control only if none.
Direction directionFromUpnpType(const QString &text);

/// The first positive max-age of a CACHE-CONTROL value, in seconds; 0 if there is none.
int maxAgeSeconds(const QString &cacheControl);

/// The device that an answer describes by its headers alone; a default record if it is not valid.
DeviceRecord recordFromSsdpResponse(const SsdpResponse &response);

} // namespace Sondrix
