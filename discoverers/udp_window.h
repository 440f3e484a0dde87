#pragma once

#include <functional>

#include <QByteArray>
#include <QString>

class QUdpSocket;

namespace Sondrix
{

/// Binds the socket to a port on every IPv4 address, shared with whoever else listens there; port 0
/// lets the system choose. On failure returns false and puts the socket's text into error, which
/// may be null.
bool bindSharedIpv4(QUdpSocket &socket, quint16 port, QString *error);

/// What one window hands on at most: many times what the devices of a large network answer. What a
/// datagram becomes takes some ten times its size, so that this bounds the memory that a flood of
/// invented answers can cost.
constexpr int maximumWindowDatagrams = 16384;
constexpr qint64 maximumWindowBytes = qint64(8) * 1024 * 1024;

/// Hands every datagram that arrives within timeoutMs milliseconds to receive, in order of arrival,
/// up to the two bounds above; what comes later is read and forgotten. The window always runs out in
/// full: no datagram and no failure of the socket shortens it. It may end up to 10 ms late.
void receiveForWindow(QUdpSocket &socket, int timeoutMs,
                      const std::function<void(const QByteArray &datagram)> &receive);

} // namespace Sondrix
