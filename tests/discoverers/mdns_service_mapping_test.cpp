#include "discoverers/mdns_service_mapping.h"

#include <QtTest>

#include "record_checks.h"

using namespace Sondrix;

using Attributes = QMap<QString, QString>;
Q_DECLARE_METATYPE(Attributes)
Q_DECLARE_METATYPE(QList<QHostAddress>)

class MdnsServiceMappingTest : public QObject
{
    Q_OBJECT

private slots:
    void readsTxtValues_data();
    void readsTxtValues();
    void choosesId_data();
    void choosesId();
    void choosesDisplayName_data();
    void choosesDisplayName();
    void readsModel_data();
    void readsModel();
    void choosesHostText_data();
    void choosesHostText();
    void formsUrl_data();
    void formsUrl();
    void takesRowOfCatalogue_data();
    void takesRowOfCatalogue();
    void takesRowOfGivenCatalogue();
    void fillsEveryField();
    void mapsServiceWithoutTxtAndAddress();
    void keepsIdOnceAddressIsLearnt();
    void takesOneTimeForAllFields();
    void keepsEveryTxtKey();
    void keepsOtherFieldsAtTheirDefaults();
    void givesOneIdToTwoTypesOfOneInstance();
    void keepsPercentSigns();
    void neverRefusesAnEntry();
};

namespace
{

/// A web server without TXT data and addresses.
MdnsServiceEntry webServer()
{
    MdnsServiceEntry entry;
    entry.name = QStringLiteral("Studio A");
    entry.type = QStringLiteral("_http._tcp.local.");
    entry.hostname = QStringLiteral("studio-a.local.");
    entry.port = 8080;
    return entry;
}

DeviceRecord recordOf(const MdnsServiceEntry &entry)
{
    return recordFromService(entry, defaultMdnsServices());
}

} // namespace

void MdnsServiceMappingTest::readsTxtValues_data()
{
    QTest::addColumn<Attributes>("attributes");
    QTest::addColumn<QString>("value");

    const QString one = QStringLiteral("1");
    const QString two = QStringLiteral("2");
    QTest::newRow("none") << Attributes() << QString();
    QTest::newRow("same letters") << Attributes{{QStringLiteral("id"), one}} << one;
    QTest::newRow("capitals") << Attributes{{QStringLiteral("ID"), one}} << one;
    QTest::newRow("mixed letters") << Attributes{{QStringLiteral("iD"), one}} << one;
    QTest::newRow("capitals come first")
        << Attributes{{QStringLiteral("id"), one}, {QStringLiteral("ID"), two}} << two;
    QTest::newRow("capital letter comes first")
        << Attributes{{QStringLiteral("iD"), one}, {QStringLiteral("Id"), two}} << two;
    QTest::newRow("empty value hides the next")
        << Attributes{{QStringLiteral("id"), one}, {QStringLiteral("ID"), QString()}} << QString();
    QTest::newRow("other keys") << Attributes{{QStringLiteral("i"), one},
                                              {QStringLiteral("idx"), two},
                                              {QString(), one}}
                                << QString();
    QTest::newRow("white space in the key") << Attributes{{QStringLiteral(" id"), one}} << QString();
}

void MdnsServiceMappingTest::readsTxtValues()
{
    QFETCH(Attributes, attributes);
    QFETCH(QString, value);

    MdnsServiceEntry entry = webServer();
    entry.attributes = attributes;
    QCOMPARE(txtValue(entry, QStringLiteral("id")), value);
    QCOMPARE(txtValue(entry, QStringLiteral("ID")), value);
}

void MdnsServiceMappingTest::choosesId_data()
{
    QTest::addColumn<Attributes>("attributes");
    QTest::addColumn<QString>("id");

    const QString id = QStringLiteral("id");
    const QString uuid = QStringLiteral("uuid");
    const QString fallback = QStringLiteral("Studio A@studio-a.local.");
    QTest::newRow("no TXT data") << Attributes() << fallback;
    QTest::newRow("id") << Attributes{{id, QStringLiteral("X1")}} << QStringLiteral("X1");
    QTest::newRow("uuid") << Attributes{{uuid, QStringLiteral("U1")}} << QStringLiteral("U1");
    QTest::newRow("id before uuid") << Attributes{{id, QStringLiteral("X1")}, {uuid, QStringLiteral("U1")}}
                                    << QStringLiteral("X1");
    QTest::newRow("empty id, then uuid")
        << Attributes{{id, QString()}, {uuid, QStringLiteral("U1")}} << QStringLiteral("U1");
    QTest::newRow("both empty") << Attributes{{id, QString()}, {uuid, QString()}} << fallback;
    QTest::newRow("blank id") << Attributes{{id, QStringLiteral(" ")}, {uuid, QStringLiteral("U1")}}
                              << QStringLiteral(" ");
    QTest::newRow("empty ID hides id, then uuid")
        << Attributes{{QStringLiteral("ID"), QString()}, {id, QStringLiteral("X1")}, {uuid, uuid}} << uuid;
    QTest::newRow("keys in capitals")
        << Attributes{{QStringLiteral("UUID"), QStringLiteral("U1")}} << QStringLiteral("U1");
}

void MdnsServiceMappingTest::choosesId()
{
    QFETCH(Attributes, attributes);
    QFETCH(QString, id);

    MdnsServiceEntry entry = webServer();
    entry.attributes = attributes;
    QCOMPARE(serviceDeviceId(entry), id);

    const DeviceRecord record = recordOf(entry);
    QCOMPARE(record.id, id);
    QCOMPARE(record.endpoints.first().id, QString(id + QStringLiteral(":http")));
}

void MdnsServiceMappingTest::choosesDisplayName_data()
{
    QTest::addColumn<Attributes>("attributes");
    QTest::addColumn<QString>("displayName");

    const QString fn = QStringLiteral("fn");
    const QString name = QStringLiteral("name");
    QTest::newRow("no TXT data") << Attributes() << QStringLiteral("Studio A");
    QTest::newRow("fn") << Attributes{{fn, QStringLiteral("Wall")}, {name, QStringLiteral("Desk")}}
                        << QStringLiteral("Wall");
    QTest::newRow("name") << Attributes{{name, QStringLiteral("Desk")}} << QStringLiteral("Desk");
    QTest::newRow("empty fn, then name")
        << Attributes{{fn, QString()}, {name, QStringLiteral("Desk")}} << QStringLiteral("Desk");
    QTest::newRow("both empty") << Attributes{{fn, QString()}, {name, QString()}}
                                << QStringLiteral("Studio A");
    QTest::newRow("blank fn") << Attributes{{fn, QStringLiteral(" ")}, {name, QStringLiteral("Desk")}}
                              << QStringLiteral(" ");
    QTest::newRow("keys in capitals")
        << Attributes{{QStringLiteral("FN"), QStringLiteral("Wall")}} << QStringLiteral("Wall");
    QTest::newRow("empty FN hides fn, then NAME")
        << Attributes{{QStringLiteral("FN"), QString()},
                      {fn, QStringLiteral("Wall")},
                      {QStringLiteral("NAME"), QStringLiteral("Desk")}}
        << QStringLiteral("Desk");
}

void MdnsServiceMappingTest::choosesDisplayName()
{
    QFETCH(Attributes, attributes);
    QFETCH(QString, displayName);

    MdnsServiceEntry entry = webServer();
    entry.attributes = attributes;
    const DeviceRecord record = recordOf(entry);
    QCOMPARE(record.displayName, displayName);
    QCOMPARE(record.endpoints.first().label, displayName);
}

void MdnsServiceMappingTest::readsModel_data()
{
    QTest::addColumn<Attributes>("attributes");
    QTest::addColumn<QString>("model");

    QTest::newRow("absent") << Attributes{{QStringLiteral("model"), QStringLiteral("X")}} << QString();
    QTest::newRow("md") << Attributes{{QStringLiteral("md"), QStringLiteral("Chromecast")}}
                        << QStringLiteral("Chromecast");
    QTest::newRow("MD") << Attributes{{QStringLiteral("MD"), QStringLiteral("Chromecast")}}
                        << QStringLiteral("Chromecast");
    QTest::newRow("empty") << Attributes{{QStringLiteral("md"), QString()}} << QString();
}

void MdnsServiceMappingTest::readsModel()
{
    QFETCH(Attributes, attributes);
    QFETCH(QString, model);

    MdnsServiceEntry entry = webServer();
    entry.attributes = attributes;
    QCOMPARE(recordOf(entry).model, model);
}

void MdnsServiceMappingTest::choosesHostText_data()
{
    QTest::addColumn<QString>("hostname");
    QTest::addColumn<QList<QHostAddress>>("addresses");
    QTest::addColumn<QStringList>("expected");
    QTest::addColumn<QString>("url");

    const auto row = [](const char *name, const char *hostname, const QStringList &addresses,
                        const QStringList &expected, const char *url) {
        QList<QHostAddress> parsed;
        for (const QString &address : addresses) {
            parsed.append(QHostAddress(address));
        }
        QTest::newRow(name) << QString::fromUtf8(hostname) << parsed << expected << QString::fromUtf8(url);
    };
    const QString ipv4 = QStringLiteral("10.0.0.9");
    const QString ipv6 = QStringLiteral("fe80::1");
    const QString scoped = QStringLiteral("fe80::1%eth0");
    row("no address", "tv.local.", {}, {QStringLiteral("tv.local.")}, "http://tv.local.:8080/");
    row("one address", "tv.local.", {ipv4}, {ipv4}, "http://10.0.0.9:8080/");
    row("the first of several", "tv.local.", {ipv4, QStringLiteral("10.0.0.10"), ipv6}, {ipv4},
        "http://10.0.0.9:8080/");
    row("IPv6 without brackets", "tv.local.", {ipv6, ipv4}, {ipv6}, "http://fe80::1:8080/");
    row("IPv6 with scope", "tv.local.", {scoped}, {scoped}, "http://fe80::1%eth0:8080/");
    row("null address skipped", "tv.local.", {QString(), ipv4}, {ipv4}, "http://10.0.0.9:8080/");
    row("null addresses alone", "tv.local.", {QString(), QString()}, {QStringLiteral("tv.local.")},
        "http://tv.local.:8080/");
    row("no host at all", "", {}, {}, "http://:8080/");
    row("address without host name", "", {ipv4}, {ipv4}, "http://10.0.0.9:8080/");
    row("host name beyond ASCII", "b\u00fcro.local.", {}, {QStringLiteral("b\u00fcro.local.")},
        "http://b\u00fcro.local.:8080/");
}

void MdnsServiceMappingTest::choosesHostText()
{
    QFETCH(QString, hostname);
    QFETCH(QList<QHostAddress>, addresses);
    QFETCH(QStringList, expected);
    QFETCH(QString, url);

    MdnsServiceEntry entry = webServer();
    entry.hostname = hostname;
    entry.addresses = addresses;
    const DeviceRecord record = recordOf(entry);
    QCOMPARE(record.hostname, hostname);
    QCOMPARE(record.addresses, expected);
    QCOMPARE(record.endpoints.first().url, url);
}

void MdnsServiceMappingTest::formsUrl_data()
{
    QTest::addColumn<QString>("protocol");
    QTest::addColumn<int>("port");
    QTest::addColumn<QString>("url");

    const auto row = [](const char *name, const char *protocol, int port, const char *url) {
        QTest::newRow(name) << QString::fromLatin1(protocol) << port << QString::fromLatin1(url);
    };
    row("cast", "cast", 8443, "cast://10.0.0.9:8443?type=cast");
    row("cast, port 0", "cast", 0, "cast://10.0.0.9:8009?type=cast");
    row("nmos", "nmos", 80, "nmos://10.0.0.9:80");
    row("airplay", "airplay", 7000, "airplay://10.0.0.9:7000");
    row("airplay, port 0", "airplay", 0, "airplay://10.0.0.9:0");
    row("raop", "raop", 5000, "raop://10.0.0.9:5000");
    row("rtsp", "rtsp", 554, "rtsp://10.0.0.9:554/");
    row("http", "http", 80, "http://10.0.0.9:80/");
    row("http, port 0", "http", 0, "http://10.0.0.9:0/");
    row("https", "https", 443, "https://10.0.0.9:443/");
    row("https, port 65535", "https", 65535, "https://10.0.0.9:65535/");
    row("dante-hint", "dante-hint", 4440, "dante-hint://10.0.0.9:4440");
    row("apple-midi", "apple-midi", 5004, "apple-midi://10.0.0.9:5004");
    row("ndi", "ndi", 5961, "ndi://10.0.0.9:5961");
    row("spotify-connect", "spotify-connect", 1, "spotify-connect://10.0.0.9:1");
    row("corvane", "corvane", 1, "corvane://10.0.0.9:1");
    row("xvq", "xvq", 1, "xvq://10.0.0.9:1");
    row("streamlark", "streamlark", 1, "streamlark://10.0.0.9:1");
    row("mdns", "mdns", 0, "mdns://10.0.0.9:0");
    row("capitals are another word", "HTTP", 80, "HTTP://10.0.0.9:80");
    row("cast in capitals has no default port", "Cast", 0, "Cast://10.0.0.9:0");
    row("place-holders in the word", "%1%2", 80, "%1%2://10.0.0.9:80");
    row("empty word", "", 80, "://10.0.0.9:80");
}

void MdnsServiceMappingTest::formsUrl()
{
    QFETCH(QString, protocol);
    QFETCH(int, port);
    QFETCH(QString, url);

    MdnsServiceEntry entry = webServer();
    entry.port = quint16(port);
    entry.addresses.append(QHostAddress(QStringLiteral("10.0.0.9")));
    const MdnsServiceType row{entry.type, protocol, Direction::output, MediaKind::audio};
    const DeviceRecord record = recordFromService(entry, {row});
    QCOMPARE(record.protocol, protocol);
    QCOMPARE(record.protocolData.value(QStringLiteral("mdns.port")).toInt(-1), port);
    QCOMPARE(record.endpoints.first().protocol, protocol);
    QCOMPARE(record.endpoints.first().url, url);
}

void MdnsServiceMappingTest::takesRowOfCatalogue_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<int>("index");

    const QList<MdnsServiceType> catalogue = defaultMdnsServices();
    for (int i = 0; i < catalogue.size(); ++i) {
        QTest::newRow(qPrintable(catalogue.at(i).serviceType)) << catalogue.at(i).serviceType << i;
    }
    QTest::newRow("capitals, no dot") << QStringLiteral("_HTTP._TCP.LOCAL") << 16;
}

void MdnsServiceMappingTest::takesRowOfCatalogue()
{
    QFETCH(QString, type);
    QFETCH(int, index);

    MdnsServiceEntry entry = webServer();
    entry.type = type;
    const DeviceRecord record = recordOf(entry);
    const MdnsServiceType row = defaultMdnsServices().at(index);
    QCOMPARE(record.protocol, row.protocol);
    QCOMPARE(record.direction, row.direction);
    QCOMPARE(record.mediaKinds, row.mediaKinds);
    QCOMPARE(record.protocolData.value(QStringLiteral("mdns.serviceType")).toString(), type);
    QCOMPARE(record.endpoints.first().direction, row.direction);
    QCOMPARE(record.endpoints.first().mediaKinds, row.mediaKinds);
}

void MdnsServiceMappingTest::takesRowOfGivenCatalogue()
{
    const MdnsServiceType other{QStringLiteral("_ipp._tcp.local."), QStringLiteral("ipp"), Direction::output,
                                MediaKind::metadata};
    const DeviceRecord record = recordFromService(webServer(), {other});
    QCOMPARE(record.protocol, QStringLiteral("mdns"));
    QCOMPARE(record.direction, Direction::controlOnly);
    QCOMPARE(record.mediaKinds, MediaKinds(MediaKind::control));
    QCOMPARE(record.endpoints.first().id, QStringLiteral("Studio A@studio-a.local.:mdns"));
    QCOMPARE(record.endpoints.first().url, QStringLiteral("mdns://studio-a.local.:8080"));
}

void MdnsServiceMappingTest::fillsEveryField()
{
    MdnsServiceEntry entry;
    entry.name = QStringLiteral("Chromecast-1f");
    entry.type = QStringLiteral("_googlecast._tcp.local.");
    entry.hostname = QStringLiteral("1f.local.");
    entry.port = 0;
    entry.attributes = Attributes{{QStringLiteral("id"), QStringLiteral("1f2e")},
                                  {QStringLiteral("fn"), QStringLiteral("Foyer")},
                                  {QStringLiteral("md"), QStringLiteral("Chromecast Ultra")},
                                  {QStringLiteral("bs"), QString()}};
    entry.addresses = {QHostAddress(QStringLiteral("10.0.0.9")), QHostAddress(QStringLiteral("fe80::9"))};

    DeviceRecord expected;
    expected.id = QStringLiteral("1f2e");
    expected.displayName = QStringLiteral("Foyer");
    expected.model = QStringLiteral("Chromecast Ultra");
    expected.hostname = QStringLiteral("1f.local.");
    expected.addresses = QStringList{QStringLiteral("10.0.0.9")};
    expected.provider = QStringLiteral("mdns");
    expected.protocol = QStringLiteral("cast");
    expected.direction = Direction::output;
    expected.mediaKinds = MediaKind::audio | MediaKind::video | MediaKind::control;
    expected.protocolData =
        QJsonObject{{QStringLiteral("mdns.serviceType"), QStringLiteral("_googlecast._tcp.local.")},
                    {QStringLiteral("mdns.serviceName"), QStringLiteral("Chromecast-1f")},
                    {QStringLiteral("mdns.hostname"), QStringLiteral("1f.local.")},
                    {QStringLiteral("mdns.port"), 0},
                    {QStringLiteral("txt.id"), QStringLiteral("1f2e")},
                    {QStringLiteral("txt.fn"), QStringLiteral("Foyer")},
                    {QStringLiteral("txt.md"), QStringLiteral("Chromecast Ultra")},
                    {QStringLiteral("txt.bs"), QString()}};
    EndpointRecord endpoint;
    endpoint.id = QStringLiteral("1f2e:cast");
    endpoint.label = QStringLiteral("Foyer");
    endpoint.protocol = QStringLiteral("cast");
    endpoint.url = QStringLiteral("cast://10.0.0.9:8009?type=cast");
    endpoint.direction = Direction::output;
    endpoint.mediaKinds = MediaKind::audio | MediaKind::video | MediaKind::control;
    expected.endpoints.append(endpoint);

    compareRecords(recordOf(entry), expected);
}

void MdnsServiceMappingTest::mapsServiceWithoutTxtAndAddress()
{
    const DeviceRecord record = recordOf(webServer());
    QCOMPARE(record.id, QStringLiteral("Studio A@studio-a.local."));
    QCOMPARE(record.displayName, QStringLiteral("Studio A"));
    QCOMPARE(record.hostname, QStringLiteral("studio-a.local."));
    QCOMPARE(record.addresses, QStringList{QStringLiteral("studio-a.local.")});
    QCOMPARE(record.endpoints.size(), 1);
    QCOMPARE(record.endpoints.first().id, QStringLiteral("Studio A@studio-a.local.:http"));
    QCOMPARE(record.endpoints.first().url, QStringLiteral("http://studio-a.local.:8080/"));
}

void MdnsServiceMappingTest::keepsIdOnceAddressIsLearnt()
{
    MdnsServiceEntry entry = webServer();
    entry.addresses.append(QHostAddress(QStringLiteral("10.0.0.9")));
    const DeviceRecord record = recordOf(entry);
    QCOMPARE(record.id, QStringLiteral("Studio A@studio-a.local."));
    QCOMPARE(record.hostname, QStringLiteral("studio-a.local."));
    QCOMPARE(record.addresses, QStringList{QStringLiteral("10.0.0.9")});
    QCOMPARE(record.endpoints.first().url, QStringLiteral("http://10.0.0.9:8080/"));
}

void MdnsServiceMappingTest::takesOneTimeForAllFields()
{
    const QDateTime before = QDateTime::currentDateTimeUtc();
    verifyOneTime(recordOf(webServer()), before);
}

void MdnsServiceMappingTest::keepsEveryTxtKey()
{
    MdnsServiceEntry entry = webServer();
    entry.attributes = Attributes{
        {QStringLiteral("flag"), QString()},         {QStringLiteral("ID"), QStringLiteral("A")},
        {QStringLiteral("id"), QStringLiteral("b")}, {QStringLiteral("a b"), QStringLiteral(" c=d ")},
        {QString(), QStringLiteral("no key")},       {QStringLiteral("b\u00fc"), QStringLiteral("\ufffd")}};
    const QJsonObject data = recordOf(entry).protocolData;
    QCOMPARE(data.size(), 4 + 6);
    QCOMPARE(data.value(QStringLiteral("txt.flag")), QJsonValue(QString()));
    QCOMPARE(data.value(QStringLiteral("txt.ID")), QJsonValue(QStringLiteral("A")));
    QCOMPARE(data.value(QStringLiteral("txt.id")), QJsonValue(QStringLiteral("b")));
    QCOMPARE(data.value(QStringLiteral("txt.a b")), QJsonValue(QStringLiteral(" c=d ")));
    QCOMPARE(data.value(QStringLiteral("txt.")), QJsonValue(QStringLiteral("no key")));
    QCOMPARE(data.value(QStringLiteral("txt.b\u00fc")), QJsonValue(QStringLiteral("\ufffd")));
}

void MdnsServiceMappingTest::keepsOtherFieldsAtTheirDefaults()
{
    MdnsServiceEntry entry = webServer();
    for (const char *key : {"vendor", "manufacturer", "serial", "serialNumber", "firmware", "fv", "ttl",
                            "ttlSeconds", "online", "requiresAuth", "pw"}) {
        entry.attributes.insert(QString::fromLatin1(key), QStringLiteral("1"));
    }
    const DeviceRecord record = recordOf(entry);
    QCOMPARE(record.vendor, QString());
    QCOMPARE(record.serial, QString());
    QCOMPARE(record.firmware, QString());
    QCOMPARE(record.requiresAuth, false);
    QCOMPARE(record.online, true);
    QCOMPARE(record.ttlSeconds, 0);
    QCOMPARE(record.endpoints.first().transport, QString());
    QVERIFY(record.endpoints.first().metadata.isEmpty());
}

void MdnsServiceMappingTest::givesOneIdToTwoTypesOfOneInstance()
{
    const MdnsServiceEntry http = webServer();
    MdnsServiceEntry https = http;
    https.type = QStringLiteral("_https._tcp.local.");
    https.port = 443;
    const DeviceRecord first = recordOf(http);
    const DeviceRecord second = recordOf(https);
    QCOMPARE(second.id, first.id);
    QCOMPARE(deviceStableKey(second), deviceStableKey(first));
    QCOMPARE(second.endpoints.first().id, QStringLiteral("Studio A@studio-a.local.:https"));
    QCOMPARE(second.endpoints.first().url, QStringLiteral("https://studio-a.local.:443/"));
    QVERIFY(endpointStableKey(second.endpoints.first()) != endpointStableKey(first.endpoints.first()));
}

void MdnsServiceMappingTest::keepsPercentSigns()
{
    MdnsServiceEntry entry = webServer();
    entry.name = QStringLiteral("%1 %2 %3");
    entry.hostname = QStringLiteral("%2.%1.local.");
    entry.attributes.insert(QStringLiteral("%1"), QStringLiteral("%2"));
    const DeviceRecord http = recordOf(entry);
    QCOMPARE(http.id, QStringLiteral("%1 %2 %3@%2.%1.local."));
    QCOMPARE(http.displayName, QStringLiteral("%1 %2 %3"));
    QCOMPARE(http.endpoints.first().url, QStringLiteral("http://%2.%1.local.:8080/"));
    QCOMPARE(http.protocolData.value(QStringLiteral("txt.%1")), QJsonValue(QStringLiteral("%2")));

    entry.type = QStringLiteral("_googlecast._tcp.local.");
    QCOMPARE(recordOf(entry).endpoints.first().url, QStringLiteral("cast://%2.%1.local.:8080?type=cast"));
}

void MdnsServiceMappingTest::neverRefusesAnEntry()
{
    const DeviceRecord record = recordFromService(MdnsServiceEntry(), {});
    QCOMPARE(record.id, QStringLiteral("@"));
    QCOMPARE(record.displayName, QString());
    QCOMPARE(record.hostname, QString());
    QCOMPARE(record.addresses, QStringList());
    QCOMPARE(record.protocol, QStringLiteral("mdns"));
    QCOMPARE(record.endpoints.size(), 1);
    QCOMPARE(record.endpoints.first().id, QStringLiteral("@:mdns"));
    QCOMPARE(record.endpoints.first().url, QStringLiteral("mdns://:0"));
}

QTEST_GUILESS_MAIN(MdnsServiceMappingTest)
#include "mdns_service_mapping_test.moc"
