#include "discoverers/record_building.h"

namespace Sondrix
{

QString urlHost(const QUrl &url)
{
    return url.isValid() ? url.host(QUrl::FullyDecoded) : QString();
}

void setHost(DeviceRecord *record, const QString &host)
{
    record->hostname = host;
    if (!host.isEmpty()) {
        record->addresses = QStringList{host};
    }
}

void setTimes(DeviceRecord *record, const QDateTime &now)
{
    record->firstSeen = now;
    record->lastSeen = now;
    record->lastChanged = now;
}

void appendUnseen(const DeviceRecord &record, QList<DeviceRecord> *records, QSet<QString> *seen)
{
    const QString key = deviceStableKey(record);
    if (!key.isEmpty() && !seen->contains(key)) {
        seen->insert(key);
        records->append(record);
    }
}

} // namespace Sondrix
