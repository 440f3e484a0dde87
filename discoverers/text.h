#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace Sondrix
{

/// All of the bytes decoded as UTF-8. QString::fromUtf8() with a QByteArray ends at the first NUL
/// byte, and data from the network may hold one.
inline QString textFromUtf8(const QByteArray &bytes)
{
    return QString::fromUtf8(bytes.constData(), bytes.size());
}

/// The words of a text, split at every run of white space, line ends included; none is empty.
inline QStringList splitAtBlanks(const QString &text)
{
    return text.simplified().split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

} // namespace Sondrix
