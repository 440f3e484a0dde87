#pragma once

#include <QList>
#include <QObject>
#include <QString>

#include "core/device_record.h"

namespace Sondrix
{

/// One way of finding devices. The manager calls it once for each pass.
class IDeviceDiscoverer : public QObject
{
public:
    explicit IDeviceDiscoverer(QObject *parent = nullptr);
    ~IDeviceDiscoverer() override;

    /// The provider's id, a constant of the class.
    virtual QString providerName() const = 0;

    /// Whether the provider can run on this machine.
    virtual bool isAvailable() const = 0;

    /// One blocking run. Returns what was found within the provider's time limits, also after a
    /// failure. error may be null; it is cleared on entry and holds a text only after a failure.
    virtual QList<DeviceRecord> scan(QString *error) = 0;
};

} // namespace Sondrix
