#include "ui/device_details.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QStringList>

using Sondrix::DeviceRecord;
using Sondrix::EndpointRecord;

namespace
{

QString orDash(const QString &text)
{
    return Sondrix::isBlank(text) ? QStringLiteral("-") : text;
}

/// The lines are texts of the main window, translated in its context.
QString line(const char *format, const QString &value)
{
    return QCoreApplication::translate("MainWindow", format).arg(value);
}

} // namespace

QString formatTimestamp(const QDateTime &dateTime)
{
    return dateTime.isValid() ? dateTime.toTimeSpec(Qt::LocalTime).toString(Qt::ISODateWithMs)
                              : QStringLiteral("-");
}

QString formatEndpointLines(const QList<EndpointRecord> &endpoints)
{
    if (endpoints.isEmpty()) {
        return QStringLiteral("-");
    }
    QStringList lines;
    for (const EndpointRecord &endpoint : endpoints) {
        lines.append(QCoreApplication::translate("MainWindow", "%1 | %2 | %3 | %4")
                         .arg(orDash(endpoint.label), orDash(endpoint.protocol),
                              Sondrix::directionName(endpoint.direction), orDash(endpoint.url)));
    }
    return lines.join(QLatin1Char('\n'));
}

QString deviceDetailsText(const DeviceRecord &record)
{
    const QString comma = QStringLiteral(", ");
    const QStringList lines{
        line(QT_TRANSLATE_NOOP("MainWindow", "Name: %1"), orDash(record.displayName)),
        line(QT_TRANSLATE_NOOP("MainWindow", "Stable key: %1"), Sondrix::deviceStableKey(record)),
        line(QT_TRANSLATE_NOOP("MainWindow", "ID: %1"), orDash(record.id)),
        line(QT_TRANSLATE_NOOP("MainWindow", "Provider: %1"), orDash(record.provider)),
        line(QT_TRANSLATE_NOOP("MainWindow", "Protocol: %1"), orDash(record.protocol)),
        line(QT_TRANSLATE_NOOP("MainWindow", "Direction: %1"), Sondrix::directionName(record.direction)),
        line(QT_TRANSLATE_NOOP("MainWindow", "Status: %1"),
             record.online ? QCoreApplication::translate("MainWindow", "Online")
                           : QCoreApplication::translate("MainWindow", "Offline")),
        line(QT_TRANSLATE_NOOP("MainWindow", "TTL seconds: %1"),
             record.ttlSeconds >= 1 ? QString::number(record.ttlSeconds) : QStringLiteral("-")),
        line(QT_TRANSLATE_NOOP("MainWindow", "Capabilities: %1"),
             Sondrix::mediaKindNames(record.mediaKinds).join(comma)),
        line(QT_TRANSLATE_NOOP("MainWindow", "Vendor: %1"), orDash(record.vendor)),
        line(QT_TRANSLATE_NOOP("MainWindow", "Model: %1"), orDash(record.model)),
        line(QT_TRANSLATE_NOOP("MainWindow", "Serial: %1"), orDash(record.serial)),
        line(QT_TRANSLATE_NOOP("MainWindow", "Firmware: %1"), orDash(record.firmware)),
        line(QT_TRANSLATE_NOOP("MainWindow", "Hostname: %1"), orDash(record.hostname)),
        line(QT_TRANSLATE_NOOP("MainWindow", "IPs: %1"),
             record.addresses.isEmpty() ? QStringLiteral("-") : record.addresses.join(comma)),
        line(QT_TRANSLATE_NOOP("MainWindow", "First seen: %1"), formatTimestamp(record.firstSeen)),
        line(QT_TRANSLATE_NOOP("MainWindow", "Last seen: %1"), formatTimestamp(record.lastSeen)),
        line(QT_TRANSLATE_NOOP("MainWindow", "Last changed: %1"), formatTimestamp(record.lastChanged)),
        QString(),
        QCoreApplication::translate("MainWindow", "Endpoints:"),
        formatEndpointLines(record.endpoints),
    };
    return lines.join(QLatin1Char('\n'));
}

QString deviceJsonText(const DeviceRecord &record)
{
    return QString::fromUtf8(QJsonDocument(Sondrix::deviceToJson(record)).toJson(QJsonDocument::Indented));
}
