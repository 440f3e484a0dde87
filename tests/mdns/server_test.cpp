#include <memory>

#include <QNetworkDatagram>
#include <QSignalSpy>
#include <QUdpSocket>
#include <QtTest>

#include "mdns_test_support.h"
#include <qmdnsengine/dns.h>
#include <qmdnsengine/server.h>

using namespace QMdnsEngine;

namespace
{

constexpr quint16 mdnsPort = 5353;
const QHostAddress loopback(QHostAddress::LocalHost);

Message queryFor(const QByteArray &name)
{
    Query query;
    query.setName(name);
    query.setType(PTR);
    Message message;
    message.addQuery(query);
    return message;
}

QByteArray encoded(const Message &message)
{
    QByteArray packet;
    toPacket(message, packet);
    return packet;
}

} // namespace

/// Runs with real sockets, in a network namespace that holds the loopback interface only.
class ServerTest : public QObject
{
    Q_OBJECT

private slots:
    void receivesDatagrams()
    {
        Server server;
        QSignalSpy received(&server, &Server::messageReceived);
        QUdpSocket peer;
        QVERIFY(peer.bind(loopback));
        Message response = queryFor("response.");
        response.setResponse(true);
        peer.writeDatagram(QByteArray(), loopback, mdnsPort);
        peer.writeDatagram("garbage", loopback, mdnsPort);
        peer.writeDatagram(encoded(response), loopback, mdnsPort); // not from the multicast DNS port
        peer.writeDatagram(QByteArray(65000, '\xff'), loopback, mdnsPort);
        peer.writeDatagram(encoded(queryFor("query.")), loopback, mdnsPort);
        QTRY_COMPARE(received.size(), 1);
        Message expected = queryFor("query.");
        expected.setAddress(loopback);
        expected.setPort(peer.localPort());
        QCOMPARE(received.constFirst().constFirst().value<Message>(), expected);
    }

    void receivesABurst()
    {
        Server server;
        QSignalSpy received(&server, &Server::messageReceived);
        QUdpSocket peer;
        QVERIFY(peer.bind(loopback));
        for (int i = 0; i < 100; ++i) {
            peer.writeDatagram(encoded(queryFor("query" + QByteArray::number(i) + '.')), loopback, mdnsPort);
        }
        QTRY_COMPARE(received.size(), 100);
    }

    void sendsToOneReceiver()
    {
        Server server;
        QUdpSocket peer;
        QVERIFY(peer.bind(loopback));
        Message message = queryFor("query.");
        message.setAddress(loopback);
        message.setPort(peer.localPort());
        server.sendMessage(message);
        QTRY_VERIFY(peer.hasPendingDatagrams());
        const QNetworkDatagram datagram = peer.receiveDatagram();
        QCOMPARE(datagram.data(), encoded(queryFor("query.")));
        QCOMPARE(datagram.senderPort(), int(mdnsPort));
    }

    void sendsNoEmptyMessage()
    {
        Server server;
        QUdpSocket peer;
        QVERIFY(peer.bind(loopback));
        Message message = queryFor("a..b.");
        message.setAddress(loopback);
        message.setPort(peer.localPort());
        server.sendMessage(message);
        message.addQuery(queryFor("c.").queries().constFirst());
        server.sendMessage(message);
        QTRY_VERIFY(peer.hasPendingDatagrams());
        QCOMPARE(peer.receiveDatagram().data(), encoded(queryFor("c.")));
    }

    void sharesThePort()
    {
        auto first = std::make_unique<Server>();
        Server second;
        QSignalSpy errors(first.get(), &Server::error);
        QSignalSpy otherErrors(&second, &Server::error);
        QSignalSpy received(&second, &Server::messageReceived);
        // A host without IPv6 has an error for each of them.
        QCoreApplication::processEvents();
        QCOMPARE(otherErrors.size(), errors.size());
        QVERIFY(errors.size() <= 1);

        // What still works after the other one is gone.
        first.reset();
        QUdpSocket peer;
        QVERIFY(peer.bind(loopback));
        peer.writeDatagram(encoded(queryFor("query.")), loopback, mdnsPort);
        QTRY_COMPARE(received.size(), 1);
    }

    void reportsATakenPort()
    {
        QUdpSocket ipv4;
        QVERIFY(ipv4.bind(QHostAddress(QHostAddress::AnyIPv4), mdnsPort, QUdpSocket::DontShareAddress));
        QUdpSocket ipv6; // without IPv6 neither this one nor the server's can be bound
        ipv6.bind(QHostAddress(QHostAddress::AnyIPv6), mdnsPort, QUdpSocket::DontShareAddress);
        Server server;
        QSignalSpy errors(&server, &Server::error);
        QTRY_COMPARE(errors.size(), 2);
        QVERIFY(!errors.constFirst().constFirst().toString().isEmpty());
        // Nothing can be sent, and nothing comes of trying.
        server.sendMessageToAll(queryFor("query."));
        Message message = queryFor("query.");
        message.setAddress(loopback);
        message.setPort(mdnsPort);
        server.sendMessage(message);
        QCoreApplication::processEvents();
        QVERIFY(!ipv4.hasPendingDatagrams());
    }

    void slotMayDeleteTheServer()
    {
        auto *server = new Server;
        const QPointer<Server> guard(server);
        int received = 0;
        connect(server, &Server::messageReceived, this, [&] {
            ++received;
            delete guard.data();
        });
        QUdpSocket peer;
        QVERIFY(peer.bind(loopback));
        peer.writeDatagram(encoded(queryFor("first.")), loopback, mdnsPort);
        peer.writeDatagram(encoded(queryFor("second.")), loopback, mdnsPort);
        QTRY_VERIFY(guard.isNull());
        QCOMPARE(received, 1);
    }
};

QTEST_GUILESS_MAIN(ServerTest)
#include "server_test.moc"
