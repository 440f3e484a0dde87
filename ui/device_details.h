#pragma once

#include <QDateTime>
#include <QList>
#include <QString>

#include "core/device_record.h"

/// The time in local time, ISO 8601 with milliseconds; a dash for an invalid one.
QString formatTimestamp(const QDateTime &dateTime);

/// One line for each endpoint, with its label, protocol, direction and URL; a dash for none.
QString formatEndpointLines(const QList<Sondrix::EndpointRecord> &endpoints);

/// The lines of the inspector's "Details" tab.
QString deviceDetailsText(const Sondrix::DeviceRecord &record);

/// The device's JSON, indented, as the inspector shows and copies it.
QString deviceJsonText(const Sondrix::DeviceRecord &record);
