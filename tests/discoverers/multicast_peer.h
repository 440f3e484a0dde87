#pragma once

#include <functional>
#include <utility>

#include <QByteArray>
#include <QHostAddress>
#include <QList>
#include <QMutex>
#include <QNetworkDatagram>
#include <QSemaphore>
#include <QThread>
#include <QUdpSocket>

#include "private_network.h"

/// The devices of a test at one port of 239.255.255.250 on the loopback interface: keeps every
/// datagram that comes and sends its answers. It has a thread, as a scan may let no other event
/// through.
class MulticastPeer : public QThread
{
public:
    /// Gives the answers to one datagram, in sending order. Called in the peer's thread.
    using Answers = std::function<QList<QByteArray>(const QByteArray &datagram)>;

    explicit MulticastPeer(quint16 port, Answers answers = {}) : m_port(port), m_answers(std::move(answers))
    {
        start();
        m_ready.acquire();
    }

    ~MulticastPeer() override
    {
        requestInterruption();
        wait();
    }

    Q_DISABLE_COPY_MOVE(MulticastPeer)

    bool isListening() const { return m_isListening; }

    /// What has come so far, in order of arrival.
    QList<QNetworkDatagram> received() const
    {
        const QMutexLocker locker(&m_mutex);
        return m_received;
    }

protected:
    void run() override
    {
        QUdpSocket socket;
        m_isListening =
            socket.bind(QHostAddress::AnyIPv4, m_port,
                        QUdpSocket::ShareAddress | QUdpSocket::ReuseAddressHint) &&
            socket.joinMulticastGroup(QHostAddress(QStringLiteral("239.255.255.250")), loopbackInterface());
        m_ready.release();
        while (m_isListening && !isInterruptionRequested()) {
            if (socket.waitForReadyRead(pollMs)) {
                while (socket.hasPendingDatagrams()) {
                    treat(socket, socket.receiveDatagram());
                }
            }
        }
    }

private:
    static constexpr int pollMs = 20; // how often the thread looks whether it shall end

    void treat(QUdpSocket &socket, const QNetworkDatagram &datagram)
    {
        if (m_answers) {
            const QList<QByteArray> answers = m_answers(datagram.data());
            for (const QByteArray &answer : answers) {
                socket.writeDatagram(datagram.makeReply(answer));
            }
        }
        const QMutexLocker locker(&m_mutex);
        m_received.append(datagram);
    }

    const quint16 m_port;
    Answers m_answers;
    QSemaphore m_ready;
    bool m_isListening = false; // written before m_ready is released
    mutable QMutex m_mutex;
    QList<QNetworkDatagram> m_received; // guarded by m_mutex
};
