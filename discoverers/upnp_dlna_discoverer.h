#pragma once

#include <QByteArray>
#include <QStringList>
#include <QUrl>

#include "core/device_discoverer.h"

namespace Sondrix
{

/// Finds media servers and renderers by SSDP and reads the device description of each (UPnP Device
/// Architecture 1.1, 2.3).
class UpnpDlnaDiscoverer : public IDeviceDiscoverer
{
public:
    explicit UpnpDlnaDiscoverer(QObject *parent = nullptr);

    QString providerName() const override;
    bool isAvailable() const override;

    /// One record for each description that could be fetched and read. The error is that of the
    /// search; a device that does not give its description is passed over.
    QList<DeviceRecord> scan(QString *error) override;

    /// The description at the URL; empty with a text in error, which may be null, on failure.
    QByteArray fetchDescription(const QUrl &url, QString *error);

private:
    friend class WindowSoak;

    int m_timeoutMs;
    int m_maxDescriptionBytes;
};

/// What of a device description is used. The elements are read wherever they stand, so that the
/// last of a name counts, also one of an embedded device.
struct UpnpDescription {
    QString deviceType;
    QString friendlyName;
    QString manufacturer;
    QString modelName;
    QString serialNumber;
    QString udn;
    QString presentationUrl;
    QStringList serviceTypes; ///< of all services, matched with controlUrls by position only
    QStringList controlUrls;
};

/// Reads a description; all fields are empty if it is not well-formed to its end.
UpnpDescription parseUpnpDescription(const QByteArray &xml);

/// The value as an absolute URL, taken relative to base where it is not one already.
QString resolveUpnpUrl(const QUrl &base, const QString &value);

/// The device that a description at the location describes; a default record if it has neither
/// device type nor name nor UDN.
DeviceRecord recordFromUpnpDescription(const UpnpDescription &description, const QUrl &location);

} // namespace Sondrix
