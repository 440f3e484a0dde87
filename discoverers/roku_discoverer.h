#pragma once

#include <QByteArray>
#include <QUrl>

#include "core/device_discoverer.h"
#include "discoverers/ssdp_response.h"

namespace Sondrix
{

/// Finds Roku players by SSDP and asks each for its device information over the External Control
/// Protocol.
class RokuDiscoverer : public IDeviceDiscoverer
{
public:
    explicit RokuDiscoverer(QObject *parent = nullptr);

    QString providerName() const override;
    bool isAvailable() const override;

    /// One record for each player that answered, also where its HTTP port does not. The error is
    /// that of the search.
    QList<DeviceRecord> scan(QString *error) override;

    /// The device information of the player at the location's host and port, cut at its limit;
    /// empty with a text in error, which may be null, on failure.
    QByteArray fetchDeviceInfo(const QUrl &location, QString *error);

private:
    friend class WindowSoak;

    int m_timeoutMs;
};

/// What of a player's device information is used.
struct RokuDeviceInfo {
    QString friendlyDeviceName; ///< the friendly or the user's name, whichever stands later
    QString modelName;
    QString serialNumber;
    QString deviceId;
    QString softwareVersion;
};

/// Reads device information; all fields are empty if it is not well-formed to its end.
RokuDeviceInfo parseRokuDeviceInfo(const QByteArray &xml);

/// The player, from its information where there is any and from its answer. A default record if
/// neither says who it is.
DeviceRecord recordFromRoku(const RokuDeviceInfo &info, const QUrl &location, const SsdpResponse &answer);

} // namespace Sondrix
