#include "discoverers/ssdp_discoverer.h"

#include <optional>
#include <utility>

#include <QElapsedTimer>
#include <QProcess>
#include <QStandardPaths>
#include <QtTest>

#include "no_free_port.h"
#include "record_checks.h"
#include "ssdp_peer.h"

using namespace Sondrix;

/// Runs in a network of its own (tests/private_network.sh).
class SsdpDiscovererTest : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();
    void isProviderSsdp();
    void sendsItsFiveTargets();
    void sendsGivenTargets_data();
    void sendsGivenTargets();
    void sendsFromOneEphemeralPort();
    void runsOutInFull_data();
    void runsOutInFull();
    void hearsNothing();
    void keepsOrderOfArrival();
    void dropsRepeats_data();
    void dropsRepeats();
    void dropsInvalidAnswers();
    void keepsFirstOfEqualKeys();
    void hearsBurst();
    void remembersNothingBetweenSearches();
    void scansRecords();
    void scanLeavesOutWhatCannotBeIdentified();
    void clearsError();
    void takesNoErrorArgument();
    void isSilentWithoutRoute();
    void reportsFailedBind();

private:
    void run(const QStringList &command) const;

    bool m_hasRoute = true;
};

namespace
{

constexpr int shortWindowMs = 100;
constexpr int windowMs = 400; // for answers that the peer has to send first
const QByteArray sentinel = QByteArrayLiteral("sentinel");

/// What has come to the peer by now, all of it: the end is marked by a datagram of the test's own.
QList<QNetworkDatagram> allReceived(const SsdpPeer &peer)
{
    QUdpSocket socket;
    socket.writeDatagram(sentinel, QHostAddress::LocalHost, SsdpPeer::port);
    QList<QNetworkDatagram> datagrams;
    const auto isComplete = [&]() {
        datagrams = peer.received();
        return !datagrams.isEmpty() && datagrams.last().data() == sentinel;
    };
    if (!QTest::qWaitFor(isComplete)) {
        return {};
    }
    datagrams.removeLast();
    return datagrams;
}

QList<QByteArray> allSearches(const SsdpPeer &peer)
{
    QList<QByteArray> searches;
    const QList<QNetworkDatagram> datagrams = allReceived(peer);
    for (const QNetworkDatagram &datagram : datagrams) {
        searches.append(datagram.data());
    }
    return searches;
}

QByteArray searchFor(const QByteArray &target)
{
    return "M-SEARCH * HTTP/1.1\r\n"
           "HOST: 239.255.255.250:1900\r\n"
           "MAN: \"ssdp:discover\"\r\n"
           "MX: 1\r\n"
           "ST: " +
           target + "\r\n\r\n";
}

QByteArray answer(const QByteArray &usn, const QByteArray &location, const QByteArray &searchTarget)
{
    return "HTTP/1.1 200 OK\r\nUSN: " + usn + "\r\nLOCATION: " + location + "\r\nST: " + searchTarget +
           "\r\n\r\n";
}

/// Answers a search for one target with the given datagrams.
QList<SsdpResponse> searchAmong(const QList<QByteArray> &answers)
{
    const SsdpPeer peer([&](const QByteArray &) { return answers; });
    SsdpDiscoverer discoverer;
    discoverer.setTimeoutMs(windowMs);
    discoverer.setSearchTargets({QStringLiteral("upnp:rootdevice")});
    return discoverer.search(nullptr);
}

QStringList usnOf(const QList<SsdpResponse> &responses)
{
    QStringList usn;
    for (const SsdpResponse &response : responses) {
        usn.append(ssdpHeader(response, QStringLiteral("usn")));
    }
    return usn;
}

} // namespace

void SsdpDiscovererTest::run(const QStringList &command) const
{
    QProcess process;
    process.start(command.first(), command.mid(1));
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 0);
}

void SsdpDiscovererTest::cleanup()
{
    if (!m_hasRoute) {
        m_hasRoute = true;
        run({QStringLiteral("ip"), QStringLiteral("route"), QStringLiteral("add"),
             QStringLiteral("224.0.0.0/4"), QStringLiteral("dev"), QStringLiteral("lo"),
             QStringLiteral("src"), QStringLiteral("127.0.0.1")});
    }
}

void SsdpDiscovererTest::isProviderSsdp()
{
    const SsdpDiscoverer discoverer;
    QCOMPARE(discoverer.providerName(), QStringLiteral("ssdp"));
    QVERIFY(discoverer.isAvailable());
}

void SsdpDiscovererTest::sendsItsFiveTargets()
{
    const SsdpPeer peer;
    QVERIFY(peer.isListening());
    SsdpDiscoverer discoverer;
    discoverer.setTimeoutMs(shortWindowMs);
    discoverer.search(nullptr);
    QCOMPARE(allSearches(peer),
             (QList<QByteArray>{searchFor("upnp:rootdevice"),
                                searchFor("urn:schemas-upnp-org:device:MediaRenderer:1"),
                                searchFor("urn:schemas-upnp-org:device:MediaServer:1"), searchFor("roku:ecp"),
                                searchFor("urn:dial-multiscreen-org:service:dial:1")}));
}

void SsdpDiscovererTest::sendsGivenTargets_data()
{
    QTest::addColumn<QStringList>("targets");
    QTest::addColumn<QList<QByteArray>>("searches");

    const QString roku = QStringLiteral("roku:ecp");
    QTest::newRow("none") << QStringList() << QList<QByteArray>();
    QTest::newRow("one") << QStringList{roku} << QList<QByteArray>{searchFor("roku:ecp")};
    QTest::newRow("one twice") << QStringList{roku, roku}
                               << QList<QByteArray>{searchFor("roku:ecp"), searchFor("roku:ecp")};
    QTest::newRow("empty") << QStringList{QString()} << QList<QByteArray>{searchFor("")};
    QTest::newRow("beyond ASCII, place-holder")
        << QStringList{QStringLiteral("b\u00fc:%1")} << QList<QByteArray>{searchFor("b\xc3\xbc:%1")};
}

void SsdpDiscovererTest::sendsGivenTargets()
{
    QFETCH(QStringList, targets);
    QFETCH(QList<QByteArray>, searches);

    const SsdpPeer peer;
    SsdpDiscoverer discoverer;
    discoverer.setTimeoutMs(shortWindowMs);
    discoverer.setSearchTargets(targets);
    discoverer.search(nullptr);
    QCOMPARE(allSearches(peer), searches);
}

void SsdpDiscovererTest::sendsFromOneEphemeralPort()
{
    const SsdpPeer peer;
    SsdpDiscoverer discoverer;
    discoverer.setTimeoutMs(shortWindowMs);
    discoverer.search(nullptr);
    const QList<QNetworkDatagram> searches = allReceived(peer);
    QCOMPARE(searches.size(), 5);
    for (const QNetworkDatagram &search : searches) {
        QVERIFY(search.senderPort() > 1900);
        QCOMPARE(search.senderPort(), searches.first().senderPort());
        QCOMPARE(search.hopLimit(), 1); // the system's default for multicast
    }
}

void SsdpDiscovererTest::runsOutInFull_data()
{
    QTest::addColumn<int>("timeoutMs"); // -1000 for what the constructor sets
    QTest::addColumn<int>("windowMs");
    QTest::addColumn<QList<QByteArray>>("answers");

    const QList<QByteArray> one{answer("uuid:1", "http://10.0.0.5/", "upnp:rootdevice")};
    QTest::newRow("negative") << -5 << 100 << QList<QByteArray>();
    QTest::newRow("0") << 0 << 100 << QList<QByteArray>();
    QTest::newRow("50") << 50 << 100 << QList<QByteArray>();
    QTest::newRow("100") << 100 << 100 << QList<QByteArray>();
    QTest::newRow("101") << 101 << 101 << QList<QByteArray>();
    QTest::newRow("300 with answers") << 300 << 300 << one;
    QTest::newRow("default") << -1000 << 800 << QList<QByteArray>();
    QTest::newRow("default with answers") << -1000 << 800 << one;
}

void SsdpDiscovererTest::runsOutInFull()
{
    QFETCH(int, timeoutMs);
    QFETCH(int, windowMs);
    QFETCH(QList<QByteArray>, answers);

    const SsdpPeer peer([&](const QByteArray &) { return answers; });
    SsdpDiscoverer discoverer;
    if (timeoutMs != -1000) {
        discoverer.setTimeoutMs(timeoutMs);
    }
    QElapsedTimer elapsed;
    elapsed.start();
    discoverer.search(nullptr);
    QVERIFY(elapsed.elapsed() >= windowMs);
}

void SsdpDiscovererTest::hearsNothing()
{
    SsdpDiscoverer discoverer;
    discoverer.setTimeoutMs(shortWindowMs);
    QString error;
    QVERIFY(discoverer.scan(&error).isEmpty());
    QCOMPARE(error, QString());
}

void SsdpDiscovererTest::keepsOrderOfArrival()
{
    QCOMPARE(
        usnOf(searchAmong({answer("uuid:c", "", ""), answer("uuid:a", "", ""), answer("uuid:b", "", "")})),
        (QStringList{QStringLiteral("uuid:c"), QStringLiteral("uuid:a"), QStringLiteral("uuid:b")}));
}

void SsdpDiscovererTest::dropsRepeats_data()
{
    QTest::addColumn<QByteArray>("second");
    QTest::addColumn<int>("count");

    QTest::newRow("same") << answer("uuid:1", "http://tv/", "a") << 1;
    QTest::newRow("same but for another header")
        << "HTTP/1.1 200 OK\r\nX: y\r\n" + answer("uuid:1", "http://tv/", "a") << 1;
    QTest::newRow("same but for the status line")
        << "NOTIFY * HTTP/1.1\r\n" + answer("uuid:1", "http://tv/", "a") << 1;
    QTest::newRow("same but for white space") << answer(" uuid:1 ", "\thttp://tv/", "a ") << 1;
    QTest::newRow("other usn") << answer("uuid:2", "http://tv/", "a") << 2;
    QTest::newRow("usn in capitals") << answer("UUID:1", "http://tv/", "a") << 2;
    QTest::newRow("other location") << answer("uuid:1", "http://tv/x", "a") << 2;
    QTest::newRow("location in capitals") << answer("uuid:1", "http://TV/", "a") << 2;
    QTest::newRow("other target") << answer("uuid:1", "http://tv/", "b") << 2;
    QTest::newRow("target in capitals") << answer("uuid:1", "http://tv/", "A") << 2;
    QTest::newRow("no target") << answer("uuid:1", "http://tv/", "") << 2;
    QTest::newRow("texts in each other's place") << answer("http://tv/", "uuid:1", "a") << 2;
}

void SsdpDiscovererTest::dropsRepeats()
{
    QFETCH(QByteArray, second);
    QFETCH(int, count);

    QCOMPARE(searchAmong({answer("uuid:1", "http://tv/", "a"), second}).size(), count);
}

void SsdpDiscovererTest::dropsInvalidAnswers()
{
    QByteArray noise(5000, '\0');
    for (int i = 0; i < noise.size(); ++i) {
        noise[i] = char(i * 7);
    }
    const QList<SsdpResponse> responses = searchAmong({
        QByteArray(),
        QByteArrayLiteral("\r\n\r\n"),
        QByteArrayLiteral("HTTP/1.1 200 OK\r\n\r\n"),
        answer("", "", ""),
        QByteArrayLiteral("USN: uuid:status-line\r\n"),
        noise,
        QByteArray(60000, '\n'),
        answer("uuid:1", "", ""),
        QByteArrayLiteral("HTTP/1.1 404 Not Found\r\nST: odd\r\n"),
        QByteArrayLiteral("HTTP/1.1 200 OK\r\n"),
    });
    QCOMPARE(usnOf(responses), (QStringList{QStringLiteral("uuid:1"), QString()}));
    QCOMPARE(responses.last().statusLine, QStringLiteral("HTTP/1.1 404 Not Found"));
}

void SsdpDiscovererTest::keepsFirstOfEqualKeys()
{
    const QList<SsdpResponse> responses = searchAmong(
        {"First\r\nX: 1\r\n" + answer("uuid:1", "", ""), "Second\r\nX: 2\r\n" + answer("uuid:1", "", "")});
    QCOMPARE(responses.size(), 1);
    QCOMPARE(responses.first().statusLine, QStringLiteral("First"));
    QCOMPARE(ssdpHeader(responses.first(), QStringLiteral("x")), QStringLiteral("1"));
}

void SsdpDiscovererTest::hearsBurst()
{
    QList<QByteArray> answers;
    QStringList usn;
    for (int i = 0; i < 150; ++i) {
        answers.append(answer("uuid:" + QByteArray::number(i), "http://10.0.0.5/", "upnp:rootdevice"));
        usn.append(QStringLiteral("uuid:%1").arg(i));
    }
    QCOMPARE(usnOf(searchAmong(answers)), usn);
}

void SsdpDiscovererTest::remembersNothingBetweenSearches()
{
    const SsdpPeer peer([](const QByteArray &) { return QList<QByteArray>{answer("uuid:1", "", "")}; });
    SsdpDiscoverer discoverer;
    discoverer.setTimeoutMs(windowMs);
    QCOMPARE(discoverer.search(nullptr).size(), 1);
    QCOMPARE(discoverer.search(nullptr).size(), 1);
}

void SsdpDiscovererTest::scansRecords()
{
    const QByteArray renderer =
        answer("uuid:1::urn:schemas-upnp-org:device:MediaRenderer:1", "http://10.0.0.5:49152/desc.xml",
               "urn:schemas-upnp-org:device:MediaRenderer:1");
    const QByteArray root =
        answer("uuid:1::upnp:rootdevice", "http://10.0.0.5:49152/desc.xml", "upnp:rootdevice");
    const SsdpPeer peer([&](const QByteArray &search) {
        return search.contains("MediaRenderer")     ? QList<QByteArray>{renderer, renderer}
               : search.contains("upnp:rootdevice") ? QList<QByteArray>{root}
                                                    : QList<QByteArray>();
    });
    SsdpDiscoverer discoverer;
    discoverer.setTimeoutMs(windowMs);
    const QDateTime before = QDateTime::currentDateTimeUtc();
    const QList<DeviceRecord> records = discoverer.scan(nullptr);
    QCOMPARE(records.size(), 2);
    compareRecords(records.first(), recordFromSsdpResponse(parseSsdpResponse(root)));
    compareRecords(records.last(), recordFromSsdpResponse(parseSsdpResponse(renderer)));
    verifyOneTime(records.first(), before);
    verifyOneTime(records.last(), before);
}

void SsdpDiscovererTest::scanLeavesOutWhatCannotBeIdentified()
{
    const SsdpPeer peer([](const QByteArray &) {
        return QList<QByteArray>{answer("", "", "upnp:rootdevice"), answer("uuid:1", "", "")};
    });
    SsdpDiscoverer discoverer;
    discoverer.setTimeoutMs(windowMs);
    discoverer.setSearchTargets({QStringLiteral("upnp:rootdevice")});
    QCOMPARE(discoverer.search(nullptr).size(), 2);
    const QList<DeviceRecord> records = discoverer.scan(nullptr);
    QCOMPARE(records.size(), 1);
    QCOMPARE(records.first().id, QStringLiteral("uuid:1"));
    QVERIFY(records.first().endpoints.isEmpty());
}

void SsdpDiscovererTest::clearsError()
{
    SsdpDiscoverer discoverer;
    discoverer.setTimeoutMs(shortWindowMs);
    QString error = QStringLiteral("left over");
    discoverer.search(&error);
    QCOMPARE(error, QString());
    error = QStringLiteral("left over");
    discoverer.scan(&error);
    QCOMPARE(error, QString());
}

void SsdpDiscovererTest::takesNoErrorArgument()
{
    const SsdpPeer peer([](const QByteArray &) { return QList<QByteArray>{answer("uuid:1", "", "")}; });
    SsdpDiscoverer discoverer;
    discoverer.setTimeoutMs(windowMs);
    QCOMPARE(discoverer.scan(nullptr).size(), 1);
}

void SsdpDiscovererTest::isSilentWithoutRoute()
{
    if (QStandardPaths::findExecutable(QStringLiteral("ip")).isEmpty()) {
        QSKIP("ip, which changes routes, is missing");
    }
    const SsdpPeer peer;
    run({QStringLiteral("ip"), QStringLiteral("route"), QStringLiteral("del"), QStringLiteral("224.0.0.0/4"),
         QStringLiteral("dev"), QStringLiteral("lo")});
    m_hasRoute = false;
    SsdpDiscoverer discoverer;
    discoverer.setTimeoutMs(shortWindowMs);
    QString error;
    QElapsedTimer elapsed;
    elapsed.start();
    QVERIFY(discoverer.scan(&error).isEmpty());
    QVERIFY(elapsed.elapsed() >= shortWindowMs);
    QCOMPARE(error, QString());
    QCOMPARE(allSearches(peer), QList<QByteArray>());
}

void SsdpDiscovererTest::reportsFailedBind()
{
    const SsdpPeer peer;
    std::optional<NoFreePort> noPort(std::in_place);
    if (!noPort->isSet()) {
        QSKIP("this machine lets nobody change a private network's range of ephemeral ports");
    }

    SsdpDiscoverer discoverer;
    discoverer.setTimeoutMs(shortWindowMs);
    QString error;
    QVERIFY(discoverer.search(&error).isEmpty());
    QVERIFY(!error.isEmpty());
    const QString searchError = error;
    error.clear();
    QVERIFY(discoverer.scan(&error).isEmpty());
    QCOMPARE(error, searchError);
    QVERIFY(discoverer.scan(nullptr).isEmpty());

    noPort.reset();
    QCOMPARE(allSearches(peer), QList<QByteArray>());
}

QTEST_GUILESS_MAIN(SsdpDiscovererTest)
#include "ssdp_discoverer_test.moc"
