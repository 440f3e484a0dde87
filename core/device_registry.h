#pragma once

#include <QMap>
#include <QObject>

#include "core/device_record.h"

namespace Sondrix
{

/// The one store of known devices. It decides which reports are one device, merges them field by
/// field and ages them. Signals go out synchronously, after the store has its new state; a slot
/// must not change the registry.
class DeviceRegistry : public QObject
{
    Q_OBJECT

public:
    explicit DeviceRegistry(QObject *parent = nullptr);

    /// Inserts the record or merges it into the device that it describes. Returns the stable key
    /// under which the device now stands; empty if nothing identifies the record, which is then
    /// ignored.
    QString addOrUpdate(const DeviceRecord &record);

    /// Turns every online record offline whose time to live ran out before now, and returns how
    /// many that were. Does nothing when now is invalid.
    int expireOnlineRecords(const QDateTime &now);

    /// Copies of all records, in ascending order of their stable keys.
    QList<DeviceRecord> records() const;

    /// Calls visit(key, record) for each record in ascending order of the keys, without a copy. visit
    /// must not change the registry.
    template<typename Visitor>
    void visitRecords(Visitor visit) const
    {
        for (auto it = m_records.cbegin(); it != m_records.cend(); ++it) {
            visit(it.key(), it.value());
        }
    }

    /// A copy of the record with this key; a default record if there is none.
    DeviceRecord record(const QString &stableKey) const;

    /// Forgets the record with this key. Returns whether there was one.
    bool remove(const QString &stableKey);

signals:
    void deviceAdded(const Sondrix::DeviceRecord &record);
    /// Goes out for every report of a known device, changed or not; lastChanged tells the two apart.
    void deviceUpdated(const Sondrix::DeviceRecord &record);
    void deviceRemoved(const QString &stableKey);

private:
    QString findExistingKey(const QString &incomingKey, const DeviceRecord &incoming) const;

    QMap<QString, DeviceRecord> m_records; // each under its own deviceStableKey
};

} // namespace Sondrix
