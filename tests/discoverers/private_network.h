#pragma once

#include <QNetworkInterface>

/// The interface that carries the multicast of a private network (tests/private_network.sh).
inline QNetworkInterface loopbackInterface()
{
    const QList<QNetworkInterface> interfaces = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface &candidate : interfaces) {
        if (candidate.flags().testFlag(QNetworkInterface::IsLoopBack)) {
            return candidate;
        }
    }
    return QNetworkInterface();
}
