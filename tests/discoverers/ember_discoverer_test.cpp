#include "discoverers/ember_discoverer.h"

#include <QtTest>

#include "record_checks.h"

using namespace Sondrix;

class EmberDiscovererTest : public QObject
{
    Q_OBJECT

private slots:
    void isProviderEmber();
    void normalizesSeeds_data();
    void normalizesSeeds();
    void buildsRecords_data();
    void buildsRecords();
    void fillsEveryField();
    void takesOneTimeForAllFields();
    void isNeverWithoutStableKey_data();
    void isNeverWithoutStableKey();
    void sharesOneKeyAmongInvalidSeeds();
    void findsNothingWithoutSeeds();
    void keepsOrderRepeatsAndBlankSeeds();
    void replacesSeeds();
    void clearsError();
    void takesNoErrorArgument();
};

void EmberDiscovererTest::isProviderEmber()
{
    const EmberDiscoverer discoverer;
    QCOMPARE(discoverer.providerName(), QStringLiteral("ember"));
    QVERIFY(discoverer.isAvailable());
}

void EmberDiscovererTest::normalizesSeeds_data()
{
    QTest::addColumn<QString>("seed");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("host");
    QTest::addColumn<int>("port");

    const auto row = [](const char *name, const char *seed, const char *text, const char *host, int port) {
        QTest::newRow(name) << QString::fromUtf8(seed) << QString::fromUtf8(text) << QString::fromUtf8(host)
                            << port;
    };
    row("bare host name", "router", "ember://router:9000", "router", 9000);
    row("dotted host name", "router.studio.example", "ember://router.studio.example:9000",
        "router.studio.example", 9000);
    row("underscore in the name", "vsm_1", "ember://vsm_1:9000", "vsm_1", 9000);
    row("IPv4 address", "10.0.0.1", "ember://10.0.0.1:9000", "10.0.0.1", 9000);
    row("IPv4 address with port", "10.0.0.1:9001", "ember://10.0.0.1:9001", "10.0.0.1", 9001);
    row("IPv4 address with port 0", "10.0.0.1:0", "ember://10.0.0.1:9000", "10.0.0.1", 9000);
    row("IPv4 address with port 65535", "10.0.0.1:65535", "ember://10.0.0.1:65535", "10.0.0.1", 65535);
    row("bracketed IPv6 address", "[2001:db8::1]", "ember://[2001:db8::1]:9000", "2001:db8::1", 9000);
    row("bracketed IPv6 address with port", "[::1]:9001", "ember://[::1]:9001", "::1", 9001);
    row("IPv6 address with scope", "[fe80::1%25eth0]", "ember://[fe80::1%25eth0]:9000", "fe80::1%eth0", 9000);
    row("scheme and port", "ember://router:9100", "ember://router:9100", "router", 9100);
    row("scheme without port", "ember://router", "ember://router:9000", "router", 9000);
    row("scheme with port 0", "ember://router:0", "ember://router:9000", "router", 9000);
    row("scheme and host in capitals", "EMBER://Router", "ember://router:9000", "router", 9000);
    row("other scheme", "http://router", "http://router:9000", "router", 9000);
    row("other scheme with port", "tcp://router:9010", "tcp://router:9010", "router", 9010);
    row("path", "router/vsm", "ember://router:9000/vsm", "router", 9000);
    row("query and fragment", "ember://router/a?b=c#d", "ember://router:9000/a?b=c#d", "router", 9000);
    row("percent-encoded host", "ember://%72outer", "ember://router:9000", "router", 9000);
    row("host beyond ASCII", "b\u00fccher.de", "ember://b\u00fccher.de:9000", "b\u00fccher.de", 9000);
    row("name and port, read as a scheme", "router:9001", "", "", 9000);
    row("name and letters, read as a scheme", "router:abc", "", "", 9000);
    row("address out of brackets, read as a scheme", "fe80::1%eth0", "", "", 9000);
    row("colons first", "::1", "", "", 1);
}

void EmberDiscovererTest::normalizesSeeds()
{
    QFETCH(QString, seed);
    QFETCH(QString, text);
    QFETCH(QString, host);
    QFETCH(int, port);

    const QUrl url = normalizeEmberSeed(seed);
    QCOMPARE(url.toString(), text);
    QCOMPARE(url.host(), host);
    QCOMPARE(url.port(), port);
}

void EmberDiscovererTest::buildsRecords_data()
{
    QTest::addColumn<QString>("seed");
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("displayName");
    QTest::addColumn<QString>("host");

    const auto row = [](const char *name, const QString &seed, const char *id, const QString &displayName,
                        const char *host) {
        QTest::newRow(name) << seed << QString::fromUtf8(id) << displayName << QString::fromUtf8(host);
    };
    const QString router = QStringLiteral("router");
    row("host", router, "ember://router:9000", router, "router");
    row("white space around", QStringLiteral(" \trouter\n"), "ember://router:9000", router, "router");
    row("IPv6 host", QStringLiteral("[::1]:9001"), "ember://[::1]:9001", QStringLiteral("::1"), "::1");
    // The prefix makes "http" the host here, as the port keeps the seed itself from parsing.
    row("port out of range", QStringLiteral("http://host:99999/"), "ember://http:9000//host:99999/",
        QStringLiteral("http"), "http");
    row("name and port", QStringLiteral("router:9001"), "", QStringLiteral("router:9001"), "");
    row("name and port, white space around", QStringLiteral(" router:9001 "), "",
        QStringLiteral(" router:9001 "), "");
    row("percent signs", QStringLiteral("a:%1%2"), "", QStringLiteral("a:%1%2"), "");
    row("NUL in a path", QStringLiteral("a:") + QChar(QChar::Null), "",
        QStringLiteral("a:") + QChar(QChar::Null), "");
    row("host that is none", QStringLiteral("bad host"), "ember://:9000", QStringLiteral("bad host"), "");
    row("place-holder as host", QStringLiteral("%1"), "ember://:9000", QStringLiteral("%1"), "");
    row("open bracket", QStringLiteral("[::1"), "ember://:9000", QStringLiteral("[::1"), "");
    row("scheme without host", QStringLiteral("file:///srv/x"), "file://:9000/srv/x",
        QStringLiteral("file:///srv/x"), "");
    row("empty", QString(), "ember://:9000", QString(), "");
    row("blank", QStringLiteral("  "), "ember://:9000", QStringLiteral("  "), "");
}

void EmberDiscovererTest::buildsRecords()
{
    QFETCH(QString, seed);
    QFETCH(QString, id);
    QFETCH(QString, displayName);
    QFETCH(QString, host);

    const DeviceRecord record = recordFromEmberSeed(seed);
    QCOMPARE(record.id, id);
    QCOMPARE(record.displayName, displayName);
    QCOMPARE(record.hostname, host);
    QCOMPARE(record.addresses, host.isEmpty() ? QStringList() : QStringList{host});
    QCOMPARE(record.protocolData.value(QStringLiteral("ember.seed")).toString(), seed);
    QCOMPARE(record.endpoints.size(), 1);
    QCOMPARE(record.endpoints.first().id, QString(id + QStringLiteral(":control")));
    QCOMPARE(record.endpoints.first().url, id);
}

void EmberDiscovererTest::fillsEveryField()
{
    DeviceRecord expected;
    expected.id = QStringLiteral("ember://10.0.0.7:9100");
    expected.displayName = QStringLiteral("10.0.0.7");
    expected.hostname = QStringLiteral("10.0.0.7");
    expected.addresses = QStringList{QStringLiteral("10.0.0.7")};
    expected.provider = QStringLiteral("ember");
    expected.protocol = QStringLiteral("ember");
    expected.direction = Direction::controlOnly;
    expected.mediaKinds = MediaKind::control;
    expected.protocolData = QJsonObject{{QStringLiteral("ember.seed"), QStringLiteral(" 10.0.0.7:9100")},
                                        {QStringLiteral("ember.activeProbe"), false}};
    EndpointRecord endpoint;
    endpoint.id = QStringLiteral("ember://10.0.0.7:9100:control");
    endpoint.label = QStringLiteral("Ember+ Control");
    endpoint.protocol = QStringLiteral("ember");
    endpoint.url = QStringLiteral("ember://10.0.0.7:9100");
    endpoint.direction = Direction::controlOnly;
    endpoint.mediaKinds = MediaKind::control;
    endpoint.transport = QStringLiteral("TCP");
    expected.endpoints.append(endpoint);

    compareRecords(recordFromEmberSeed(QStringLiteral(" 10.0.0.7:9100")), expected);
}

void EmberDiscovererTest::takesOneTimeForAllFields()
{
    const QDateTime before = QDateTime::currentDateTimeUtc();
    verifyOneTime(recordFromEmberSeed(QStringLiteral("router")), before);
}

void EmberDiscovererTest::isNeverWithoutStableKey_data()
{
    QTest::addColumn<QString>("seed");

    QTest::newRow("host") << QStringLiteral("router");
    QTest::newRow("empty") << QString();
    QTest::newRow("blank") << QStringLiteral(" \t ");
    QTest::newRow("invalid") << QStringLiteral("router:9001");
    QTest::newRow("control characters") << QStringLiteral("\x01\x02\x7f");
    QTest::newRow("very long") << QString(100000, QLatin1Char('x'));
}

void EmberDiscovererTest::isNeverWithoutStableKey()
{
    QFETCH(QString, seed);

    EmberDiscoverer discoverer;
    discoverer.setSeeds({seed});
    const QList<DeviceRecord> records = discoverer.scan(nullptr);
    QCOMPARE(records.size(), 1);
    QVERIFY(hasStableKey(records.first()));
}

void EmberDiscovererTest::sharesOneKeyAmongInvalidSeeds()
{
    const DeviceRecord first = recordFromEmberSeed(QStringLiteral("router:9001"));
    const DeviceRecord second = recordFromEmberSeed(QStringLiteral("mixer:abc"));
    QCOMPARE(deviceStableKey(first), QStringLiteral("device-endpoint:endpoint-id::control"));
    QCOMPARE(deviceStableKey(second), deviceStableKey(first));
}

void EmberDiscovererTest::findsNothingWithoutSeeds()
{
    EmberDiscoverer discoverer;
    QString error;
    QVERIFY(discoverer.scan(&error).isEmpty());
    QCOMPARE(error, QString());
}

void EmberDiscovererTest::keepsOrderRepeatsAndBlankSeeds()
{
    EmberDiscoverer discoverer;
    discoverer.setSeeds(
        {QStringLiteral("b"), QString(), QStringLiteral("a"), QStringLiteral("ember://b:9000")});
    QStringList ids;
    const QList<DeviceRecord> records = discoverer.scan(nullptr);
    for (const DeviceRecord &record : records) {
        ids.append(record.id);
    }
    QCOMPARE(ids, (QStringList{QStringLiteral("ember://b:9000"), QStringLiteral("ember://:9000"),
                               QStringLiteral("ember://a:9000"), QStringLiteral("ember://b:9000")}));
}

void EmberDiscovererTest::replacesSeeds()
{
    EmberDiscoverer discoverer;
    discoverer.setSeeds({QStringLiteral("a"), QStringLiteral("b")});
    discoverer.setSeeds({QStringLiteral("c")});
    const QList<DeviceRecord> records = discoverer.scan(nullptr);
    QCOMPARE(records.size(), 1);
    QCOMPARE(records.first().hostname, QStringLiteral("c"));
}

void EmberDiscovererTest::clearsError()
{
    EmberDiscoverer discoverer;
    discoverer.setSeeds({QStringLiteral("router:9001")});
    QString error = QStringLiteral("left over");
    QCOMPARE(discoverer.scan(&error).size(), 1);
    QCOMPARE(error, QString());
}

void EmberDiscovererTest::takesNoErrorArgument()
{
    EmberDiscoverer discoverer;
    discoverer.setSeeds({QStringLiteral("router")});
    QCOMPARE(discoverer.scan(nullptr).size(), 1);
}

QTEST_GUILESS_MAIN(EmberDiscovererTest)
#include "ember_discoverer_test.moc"
