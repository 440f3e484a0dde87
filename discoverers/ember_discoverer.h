#pragma once

#include <QStringList>
#include <QUrl>

#include "core/device_discoverer.h"

namespace Sondrix
{

/// Turns the operator's Ember+ seeds into devices. It contacts nothing: a record stands for the
/// operator's word that an Ember+ provider lives there.
class EmberDiscoverer : public IDeviceDiscoverer
{
public:
    explicit EmberDiscoverer(QObject *parent = nullptr);

    QString providerName() const override;
    bool isAvailable() const override;

    /// One record for each seed, at once. There is never an error.
    QList<DeviceRecord> scan(QString *error) override;

    /// Replaces the seeds: URLs, or addresses that take the scheme ember and port 9000.
    void setSeeds(const QStringList &seeds);

private:
    QStringList m_seeds;
};

/// The seed as a URL: with the scheme ember where it has none, and port 9000 where it has no port.
/// The result may be invalid.
QUrl normalizeEmberSeed(const QString &text);

/// The device that a seed claims, with one control endpoint.
DeviceRecord recordFromEmberSeed(const QString &seed);

} // namespace Sondrix
