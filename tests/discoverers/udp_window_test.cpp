#include "discoverers/udp_window.h"

#include <QElapsedTimer>
#include <QHostAddress>
#include <QUdpSocket>
#include <QtTest>

using namespace Sondrix;

class UdpWindowTest : public QObject
{
    Q_OBJECT

private slots:
    void bindsFreePort();
    void sharesPort();
    void reportsFailedBind();
    void failsToBindWithoutErrorArgument();
    void receivesInOrder();
    void receivesEmptyDatagram();
    void receivesGreatestDatagram();
    void receivesBurstFromBeforeTheWindow();
    void receivesWhatArrivesMeanwhile();
    void leavesLaterDatagramsToTheNextWindow();
    void runsOutInFull_data();
    void runsOutInFull();
    void isOverAtOnceWithoutTime_data();
    void isOverAtOnceWithoutTime();
    void receivesAfterFailedSend();
    void runsOutInFullAfterFailedSend();
    void runsOutInFullOnClosedSocket();
    void isNoBusyLoopOnClosedSocket();
    void goesOnAfterWaitsThatEndEarly();
    void isNotHeldOpenByAnEndlessSender();
    void handsOnWithinItsBounds_data();
    void handsOnWithinItsBounds();
};

namespace
{

constexpr int shortWindowMs = 100;
constexpr int longWindowMs = 5000;     // time for all that a window hands on, on a slow machine too
constexpr int greatestPayload = 65507; // 65535 less the IPv4 and UDP headers

void sendTo(const QUdpSocket &receiver, const QByteArray &datagram)
{
    QUdpSocket sender;
    QCOMPARE(sender.writeDatagram(datagram, QHostAddress::LocalHost, receiver.localPort()),
             qint64(datagram.size()));
}

QList<QByteArray> received(QUdpSocket &socket, int timeoutMs)
{
    QList<QByteArray> datagrams;
    receiveForWindow(socket, timeoutMs,
                     [&datagrams](const QByteArray &datagram) { datagrams.append(datagram); });
    return datagrams;
}

/// Counts the waits, and lets the first few end at once without anything to read.
class ScriptedSocket : public QUdpSocket
{
public:
    int waits = 0;
    int earlyEnds = 0;

    bool waitForReadyRead(int timeoutMs) override
    {
        ++waits;
        return waits > earlyEnds && QUdpSocket::waitForReadyRead(timeoutMs);
    }
};

/// Leaves the error of a failed send in the socket.
void failToSend(QUdpSocket &socket)
{
    QCOMPARE(socket.writeDatagram(QByteArray(greatestPayload + 1, 'x'), QHostAddress::LocalHost,
                                  socket.localPort()),
             qint64(-1));
    QCOMPARE(socket.error(), QAbstractSocket::DatagramTooLargeError);
}

} // namespace

void UdpWindowTest::bindsFreePort()
{
    QUdpSocket socket;
    QString error;
    QVERIFY(bindSharedIpv4(socket, 0, &error));
    QCOMPARE(error, QString());
    QCOMPARE(socket.state(), QAbstractSocket::BoundState);
    QCOMPARE(socket.localAddress(), QHostAddress(QHostAddress::AnyIPv4));
    QVERIFY(socket.localPort() != 0);
}

void UdpWindowTest::sharesPort()
{
    QUdpSocket first;
    QUdpSocket second;
    QVERIFY(bindSharedIpv4(first, 0, nullptr));
    QVERIFY(bindSharedIpv4(second, first.localPort(), nullptr));
    QCOMPARE(second.localPort(), first.localPort());
}

void UdpWindowTest::reportsFailedBind()
{
    QUdpSocket owner;
    QVERIFY(owner.bind(QHostAddress::AnyIPv4, 0, QUdpSocket::DontShareAddress));

    QUdpSocket socket;
    QString error;
    QVERIFY(!bindSharedIpv4(socket, owner.localPort(), &error));
    QVERIFY(!error.isEmpty());
    QCOMPARE(error, socket.errorString());
}

void UdpWindowTest::failsToBindWithoutErrorArgument()
{
    QUdpSocket owner;
    QVERIFY(owner.bind(QHostAddress::AnyIPv4, 0, QUdpSocket::DontShareAddress));

    QUdpSocket socket;
    QVERIFY(!bindSharedIpv4(socket, owner.localPort(), nullptr));
}

void UdpWindowTest::receivesInOrder()
{
    QUdpSocket socket;
    QVERIFY(bindSharedIpv4(socket, 0, nullptr));
    sendTo(socket, QByteArrayLiteral("one"));
    sendTo(socket, QByteArrayLiteral("two"));
    sendTo(socket, QByteArrayLiteral("three"));
    QCOMPARE(
        received(socket, shortWindowMs),
        (QList<QByteArray>{QByteArrayLiteral("one"), QByteArrayLiteral("two"), QByteArrayLiteral("three")}));
}

void UdpWindowTest::receivesEmptyDatagram()
{
    QUdpSocket socket;
    QVERIFY(bindSharedIpv4(socket, 0, nullptr));
    sendTo(socket, QByteArrayLiteral("before"));
    sendTo(socket, QByteArray());
    sendTo(socket, QByteArrayLiteral("after"));
    QCOMPARE(received(socket, shortWindowMs),
             (QList<QByteArray>{QByteArrayLiteral("before"), QByteArray(), QByteArrayLiteral("after")}));
}

void UdpWindowTest::receivesGreatestDatagram()
{
    QUdpSocket socket;
    QVERIFY(bindSharedIpv4(socket, 0, nullptr));
    QByteArray datagram(greatestPayload, 'x');
    datagram[0] = '\0';
    datagram[greatestPayload - 1] = 'z';
    sendTo(socket, datagram);
    QCOMPARE(received(socket, shortWindowMs), QList<QByteArray>{datagram});
}

void UdpWindowTest::receivesBurstFromBeforeTheWindow()
{
    QUdpSocket socket;
    QVERIFY(bindSharedIpv4(socket, 0, nullptr));
    QList<QByteArray> sent;
    for (int i = 0; i < 200; ++i) {
        sent.append(QByteArray::number(i));
        sendTo(socket, sent.last());
    }
    QCOMPARE(received(socket, shortWindowMs), sent);
}

void UdpWindowTest::receivesWhatArrivesMeanwhile()
{
    QUdpSocket socket;
    QVERIFY(bindSharedIpv4(socket, 0, nullptr));
    sendTo(socket, QByteArrayLiteral("0"));
    int count = 0;
    receiveForWindow(socket, 500, [&](const QByteArray &datagram) {
        QCOMPARE(datagram, QByteArray::number(count));
        ++count;
        if (count < 50) {
            sendTo(socket, QByteArray::number(count));
        }
    });
    QCOMPARE(count, 50);
}

void UdpWindowTest::leavesLaterDatagramsToTheNextWindow()
{
    QUdpSocket socket;
    QVERIFY(bindSharedIpv4(socket, 0, nullptr));
    sendTo(socket, QByteArrayLiteral("one"));
    QCOMPARE(received(socket, shortWindowMs), QList<QByteArray>{QByteArrayLiteral("one")});
    sendTo(socket, QByteArrayLiteral("two"));
    QCOMPARE(received(socket, shortWindowMs), QList<QByteArray>{QByteArrayLiteral("two")});
}

void UdpWindowTest::runsOutInFull_data()
{
    QTest::addColumn<int>("timeoutMs");
    QTest::addColumn<int>("datagrams");

    QTest::newRow("silence") << 100 << 0;
    QTest::newRow("silence, shorter than one wait") << 3 << 0;
    QTest::newRow("one datagram") << 150 << 1;
    QTest::newRow("many datagrams") << 150 << 100;
}

void UdpWindowTest::runsOutInFull()
{
    QFETCH(int, timeoutMs);
    QFETCH(int, datagrams);

    QUdpSocket socket;
    QVERIFY(bindSharedIpv4(socket, 0, nullptr));
    for (int i = 0; i < datagrams; ++i) {
        sendTo(socket, QByteArrayLiteral("x"));
    }
    QElapsedTimer elapsed;
    elapsed.start();
    QCOMPARE(received(socket, timeoutMs).size(), datagrams);
    QVERIFY(elapsed.elapsed() >= timeoutMs);
}

void UdpWindowTest::isOverAtOnceWithoutTime_data()
{
    QTest::addColumn<int>("timeoutMs");

    QTest::newRow("zero") << 0;
    QTest::newRow("negative") << -5;
}

void UdpWindowTest::isOverAtOnceWithoutTime()
{
    QFETCH(int, timeoutMs);

    QUdpSocket socket;
    QVERIFY(bindSharedIpv4(socket, 0, nullptr));
    sendTo(socket, QByteArrayLiteral("x"));
    QCOMPARE(received(socket, timeoutMs), QList<QByteArray>());
}

void UdpWindowTest::receivesAfterFailedSend()
{
    QUdpSocket socket;
    QVERIFY(bindSharedIpv4(socket, 0, nullptr));
    failToSend(socket);
    sendTo(socket, QByteArrayLiteral("one"));
    sendTo(socket, QByteArrayLiteral("two"));
    QCOMPARE(received(socket, shortWindowMs),
             (QList<QByteArray>{QByteArrayLiteral("one"), QByteArrayLiteral("two")}));
}

void UdpWindowTest::runsOutInFullAfterFailedSend()
{
    QUdpSocket socket;
    QVERIFY(bindSharedIpv4(socket, 0, nullptr));
    failToSend(socket);
    QElapsedTimer elapsed;
    elapsed.start();
    QCOMPARE(received(socket, shortWindowMs), QList<QByteArray>());
    QVERIFY(elapsed.elapsed() >= shortWindowMs);
}

void UdpWindowTest::runsOutInFullOnClosedSocket()
{
    QUdpSocket socket;
    QVERIFY(bindSharedIpv4(socket, 0, nullptr));
    socket.close();
    QElapsedTimer elapsed;
    elapsed.start();
    QCOMPARE(received(socket, shortWindowMs), QList<QByteArray>());
    QVERIFY(elapsed.elapsed() >= shortWindowMs);
}

void UdpWindowTest::isNoBusyLoopOnClosedSocket()
{
    ScriptedSocket socket;
    QVERIFY(bindSharedIpv4(socket, 0, nullptr));
    socket.close();
    received(socket, shortWindowMs);
    QVERIFY(socket.waits <= shortWindowMs / 10);
}

void UdpWindowTest::goesOnAfterWaitsThatEndEarly()
{
    ScriptedSocket socket;
    QVERIFY(bindSharedIpv4(socket, 0, nullptr));
    sendTo(socket, QByteArrayLiteral("x"));
    socket.earlyEnds = 3;
    QElapsedTimer elapsed;
    elapsed.start();
    QCOMPARE(received(socket, shortWindowMs), QList<QByteArray>{QByteArrayLiteral("x")});
    QVERIFY(elapsed.elapsed() >= shortWindowMs);
}

void UdpWindowTest::isNotHeldOpenByAnEndlessSender()
{
    QUdpSocket socket;
    QVERIFY(bindSharedIpv4(socket, 0, nullptr));
    sendTo(socket, "first");
    int count = 0;
    // With each datagram treated the next one waits already; only the window can end this.
    receiveForWindow(socket, shortWindowMs, [&](const QByteArray &) {
        ++count;
        sendTo(socket, "next");
    });
    QVERIFY(count > 1);
    QVERIFY(socket.hasPendingDatagrams());
}

void UdpWindowTest::handsOnWithinItsBounds_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("count");

    QTest::newRow("large datagrams") << greatestPayload << int(maximumWindowBytes / greatestPayload);
    QTest::newRow("small datagrams") << 1 << maximumWindowDatagrams;
    QTest::newRow("empty datagrams") << 0 << maximumWindowDatagrams;
}

void UdpWindowTest::handsOnWithinItsBounds()
{
    QFETCH(int, size);
    QFETCH(int, count);

    QUdpSocket socket;
    QVERIFY(bindSharedIpv4(socket, 0, nullptr));
    QUdpSocket sender;
    const QByteArray datagram(size, 'x');
    const auto sendNext = [&] {
        QCOMPARE(sender.writeDatagram(datagram, QHostAddress::LocalHost, socket.localPort()), qint64(size));
    };
    sendNext();
    int handed = 0;
    // Each that is handed on brings the next one, until one is not.
    receiveForWindow(socket, longWindowMs, [&](const QByteArray &) {
        ++handed;
        sendNext();
    });
    QCOMPARE(handed, count);
    QVERIFY(!socket.hasPendingDatagrams());
}

QTEST_GUILESS_MAIN(UdpWindowTest)
#include "udp_window_test.moc"
