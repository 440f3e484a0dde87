#include "discoverers/udp_window.h"

#include <algorithm>

#include <QElapsedTimer>
#include <QThread>
#include <QUdpSocket>

namespace Sondrix
{

namespace
{

constexpr int minimumWaitMs = 10; // keeps the end of a window from turning into a busy loop
constexpr int graceMs = 10;       // for what still waits in the socket when the window ends

} // namespace

bool bindSharedIpv4(QUdpSocket &socket, quint16 port, QString *error)
{
    if (socket.bind(QHostAddress::AnyIPv4, port, QUdpSocket::ShareAddress | QUdpSocket::ReuseAddressHint)) {
        return true;
    }
    if (error != nullptr) {
        *error = socket.errorString();
    }
    return false;
}

void receiveForWindow(QUdpSocket &socket, int timeoutMs,
                      const std::function<void(const QByteArray &datagram)> &receive)
{
    QElapsedTimer elapsed;
    elapsed.start();
    int handedDatagrams = 0;
    qint64 handedBytes = 0;
    while (elapsed.elapsed() < timeoutMs) {
        const int wait = std::max(minimumWaitMs, timeoutMs - int(elapsed.elapsed()));
        if (socket.state() != QAbstractSocket::BoundState) {
            // Qt closes a socket that holds the error of a failed send as soon as a wait times out.
            QThread::msleep(ulong(wait));
            continue;
        }
        if (!socket.waitForReadyRead(wait)) {
            continue;
        }
        // A peer that sends faster than its datagrams can be treated must not hold the window open.
        while (elapsed.elapsed() < timeoutMs + graceMs && socket.hasPendingDatagrams()) {
            QByteArray datagram(int(std::max<qint64>(0, socket.pendingDatagramSize())), Qt::Uninitialized);
            const qint64 received = socket.readDatagram(datagram.data(), datagram.size());
            if (received < 0 || handedDatagrams == maximumWindowDatagrams ||
                handedBytes + received > maximumWindowBytes) {
                continue;
            }
            ++handedDatagrams;
            handedBytes += received;
            datagram.truncate(int(received));
            receive(datagram);
        }
    }
}

} // namespace Sondrix
