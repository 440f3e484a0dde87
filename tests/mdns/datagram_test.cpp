#include "datagram.h"

#include <QNetworkDatagram>
#include <QtTest>

#include "mdns_test_support.h"
#include <qmdnsengine/dns.h>

using namespace QMdnsEngine;

class DatagramTest : public QObject
{
    Q_OBJECT

private slots:
    void acceptsMessage_data()
    {
        QTest::addColumn<bool>("isResponse");
        QTest::addColumn<QString>("sender");
        QTest::addColumn<int>("port");
        QTest::addColumn<QString>("destination");
        QTest::addColumn<bool>("isAccepted");

        const QString group = QStringLiteral("224.0.0.251");
        const QString host = QStringLiteral("192.0.2.1");
        const QString local = QStringLiteral("192.0.2.77");
        const QString remote = QStringLiteral("198.51.100.1");
        const QString group6 = QStringLiteral("ff02::fb");
        const QString host6 = QStringLiteral("2001:db8::1");
        QTest::newRow("response to the group") << true << local << 5353 << group << true;
        QTest::newRow("response to the group from another subnet") << true << remote << 5353 << group << true;
        QTest::newRow("response to this host") << true << local << 5353 << host << true;
        QTest::newRow("response to this host from another subnet") << true << remote << 5353 << host << false;
        QTest::newRow("response to an unknown destination") << true << remote << 5353 << QString() << true;
        QTest::newRow("response from another port") << true << local << 5354 << group << false;
        QTest::newRow("query from another port") << false << local << 40000 << group << true;
        QTest::newRow("query from another subnet") << false << remote << 5353 << host << true;
        QTest::newRow("IPv6 response to the group")
            << true << QStringLiteral("2001:db9::2") << 5353 << group6 << true;
        QTest::newRow("IPv6 response to this host")
            << true << QStringLiteral("2001:db8::2") << 5353 << host6 << true;
        QTest::newRow("IPv6 response from the link")
            << true << QStringLiteral("fe80::2") << 5353 << QStringLiteral("fe80::1") << true;
        QTest::newRow("IPv6 response to this host from another subnet")
            << true << QStringLiteral("2001:db9::2") << 5353 << host6 << false;
    }

    void acceptsMessage()
    {
        QFETCH(bool, isResponse);
        QFETCH(QString, sender);
        QFETCH(int, port);
        QFETCH(QString, destination);
        QFETCH(bool, isAccepted);
        const QVector<Subnet> subnets = {{QHostAddress(QStringLiteral("192.0.2.1")), 24},
                                         {QHostAddress(QStringLiteral("2001:db8::1")), 64},
                                         {QHostAddress(QStringLiteral("fe80::1")), 64},
                                         {QHostAddress(QStringLiteral("203.0.113.1")), -1}};
        Message sent;
        sent.setResponse(isResponse);
        sent.addRecord(MdnsTest::address("a.local.", QStringLiteral("192.0.2.77")));
        QByteArray packet;
        toPacket(sent, packet);
        QNetworkDatagram datagram(packet, QHostAddress(destination), 5353);
        datagram.setSender(QHostAddress(sender), quint16(port));

        Message message;
        QCOMPARE(messageFromDatagram(datagram, subnets, &message), isAccepted);
        if (isAccepted) {
            sent.setAddress(QHostAddress(sender));
            sent.setPort(quint16(port));
            QCOMPARE(message, sent);
        }
    }

    void refusesWhatIsNoMessage_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::newRow("nothing") << QByteArray();
        QTest::newRow("text") << QByteArray("NOTIFY * HTTP/1.1\r\n\r\n");
    }

    void refusesWhatIsNoMessage()
    {
        QFETCH(QByteArray, data);
        QNetworkDatagram datagram(data, QHostAddress(QStringLiteral("224.0.0.251")), 5353);
        datagram.setSender(QHostAddress(QStringLiteral("192.0.2.77")), 5353);
        Message message;
        QVERIFY(!messageFromDatagram(datagram, {}, &message));
    }
};

QTEST_GUILESS_MAIN(DatagramTest)
#include "datagram_test.moc"
