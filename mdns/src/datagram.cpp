#include "datagram.h"

#include <algorithm>

#include <QNetworkDatagram>

#include <qmdnsengine/dns.h>
#include <qmdnsengine/message.h>

namespace QMdnsEngine
{

namespace
{

bool isFromLocalLink(const QNetworkDatagram &datagram, const QVector<Subnet> &localSubnets)
{
    const QHostAddress destination = datagram.destinationAddress();
    // Not every system tells the destination; what was sent to a link-local group is local anyway.
    return destination.isNull() || destination.isMulticast() ||
           std::any_of(localSubnets.cbegin(), localSubnets.cend(),
                       [&](const Subnet &subnet) { return datagram.senderAddress().isInSubnet(subnet); });
}

} // namespace

bool messageFromDatagram(const QNetworkDatagram &datagram, const QVector<Subnet> &localSubnets,
                         Message *message)
{
    if (!fromPacket(datagram.data(), *message)) {
        return false;
    }
    if (message->isResponse() &&
        (datagram.senderPort() != multicastDnsPort || !isFromLocalLink(datagram, localSubnets))) {
        return false;
    }
    message->setAddress(datagram.senderAddress());
    message->setPort(quint16(datagram.senderPort()));
    return true;
}

} // namespace QMdnsEngine
