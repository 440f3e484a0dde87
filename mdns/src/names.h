#pragma once

#include <QByteArray>

namespace QMdnsEngine
{

/// The form under which names are compared: A to Z in lower case, every other byte as it is
/// (RFC 6762, 16).
QByteArray foldedName(const QByteArray &name);

} // namespace QMdnsEngine
