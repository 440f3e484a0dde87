#pragma once

#include "private_network.h"

#include <QByteArray>
#include <QHostAddress>
#include <QList>
#include <QMutex>
#include <QNetworkDatagram>
#include <QSemaphore>
#include <QThread>
#include <QUdpSocket>

#include <functional>
#include <utility>

/// The devices of an SSDP test: listens at the group on the loopback interface, keeps every datagram
/// that comes and sends its answers. It has a thread, as a search lets no other event through.
class SsdpPeer : public QThread
{
public:
    /// Gives the answers to one datagram, in sending order. Called in the peer's thread.
    using Answers = std::function<QList<QByteArray>(const QByteArray &search)>;

    static constexpr quint16 port = 1900;

    explicit SsdpPeer(Answers answers = {}) : m_answers(std::move(answers))
    {
        start();
        m_ready.acquire();
    }

    ~SsdpPeer() override
    {
        requestInterruption();
        wait();
    }

    Q_DISABLE_COPY_MOVE(SsdpPeer)

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
            socket.bind(QHostAddress::AnyIPv4, port,
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

    Answers m_answers;
    QSemaphore m_ready;
    bool m_isListening = false; // written before m_ready is released
    mutable QMutex m_mutex;
    QList<QNetworkDatagram> m_received; // guarded by m_mutex
};
