#pragma once

#include <QList>
#include <QString>

#include "core/device_record.h"

namespace Sondrix
{

/// What a DNS-SD service type stands for.
struct MdnsServiceType {
    QString serviceType; ///< fully qualified, lower case, with the trailing dot
    QString protocol;    ///< protocol word of the records, which selects the form of their URL
    Direction direction = Direction::unknown;
    MediaKinds mediaKinds;
};

/// The service types that a scan asks for, in the order in which they are asked for and matched.
QList<MdnsServiceType> defaultMdnsServices();

/// The type trimmed, in lower case, with a dot at its end.
QString normalizeServiceType(const QString &text);

/// The first row of the catalogue for the type. If there is none, a generic row: the type as given,
/// protocol mdns, control only.
MdnsServiceType findServiceType(const QList<MdnsServiceType> &catalogue, const QString &type);

} // namespace Sondrix
