#pragma once

#include <QHostAddress>
#include <QPair>
#include <QVector>

class QNetworkDatagram;

namespace QMdnsEngine
{

class Message;

/// The UDP port of multicast DNS (RFC 6762, 5).
constexpr quint16 multicastDnsPort = 5353;

/// An address and the length of its subnet's prefix.
using Subnet = QPair<QHostAddress, int>;

/// Reads the message of a datagram and sets its sender. Returns false if it is malformed, and if it
/// is a response that does not come from the multicast DNS port (RFC 6762, 6) or, sent to this host
/// alone, from none of the subnets (RFC 6762, 11).
bool messageFromDatagram(const QNetworkDatagram &datagram, const QVector<Subnet> &localSubnets,
                         Message *message);

} // namespace QMdnsEngine
