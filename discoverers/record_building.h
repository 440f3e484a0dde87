#pragma once

#include <QDateTime>
#include <QList>
#include <QSet>
#include <QString>
#include <QUrl>

#include "core/device_record.h"

namespace Sondrix
{

/// The decoded host of a URL; empty if the URL is not valid.
QString urlHost(const QUrl &url);

/// Sets the host name, and the host as the only address unless it is empty.
void setHost(DeviceRecord *record, const QString &host);

/// Sets the three times of a record that is seen now.
void setTimes(DeviceRecord *record, const QDateTime &now);

/// Appends the record unless it cannot be identified or its stable key is in seen already; remembers
/// the key there.
void appendUnseen(const DeviceRecord &record, QList<DeviceRecord> *records, QSet<QString> *seen);

} // namespace Sondrix
