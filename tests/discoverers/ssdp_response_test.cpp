#include "discoverers/ssdp_response.h"

#include <QtTest>

#include "record_checks.h"

using namespace Sondrix;

using Headers = QMap<QString, QString>;
Q_DECLARE_METATYPE(Headers)
Q_DECLARE_METATYPE(Sondrix::Direction)

class SsdpResponseTest : public QObject
{
    Q_OBJECT

private slots:
    void parses_data();
    void parses();
    void keepsNulBytes();
    void readsHugeHeaders();
    void looksUpHeaders_data();
    void looksUpHeaders();
    void judgesValidity_data();
    void judgesValidity();
    void readsDirection_data();
    void readsDirection();
    void readsMaxAge_data();
    void readsMaxAge();
    void fillsEveryField();
    void takesOneTimeForAllFields();
    void givesDefaultRecordForInvalidAnswer();
    void readsHost_data();
    void readsHost();
    void choosesId_data();
    void choosesId();
    void choosesDisplayName_data();
    void choosesDisplayName();
    void choosesProtocolAndMedia_data();
    void choosesProtocolAndMedia();
    void readsTimeToLive_data();
    void readsTimeToLive();
    void keepsEveryHeader();
    void hasNoEndpointWithoutLocation();
    void keepsPercentSigns();
};

namespace
{

SsdpResponse answerWith(const Headers &headers)
{
    return SsdpResponse{QStringLiteral("HTTP/1.1 200 OK"), headers};
}

} // namespace

void SsdpResponseTest::parses_data()
{
    QTest::addColumn<QByteArray>("datagram");
    QTest::addColumn<QString>("statusLine");
    QTest::addColumn<Headers>("headers");

    const QString ok = QStringLiteral("HTTP/1.1 200 OK");
    const QString st = QStringLiteral("st");
    const QString x = QStringLiteral("x");

    QTest::newRow("complete answer")
        << QByteArrayLiteral("HTTP/1.1 200 OK\r\n"
                             "CACHE-CONTROL: max-age=1800\r\n"
                             "EXT:\r\n"
                             "LOCATION: http://10.0.0.5:49152/desc.xml\r\n"
                             "SERVER: Linux/5.10 UPnP/1.0 Player/2.1\r\n"
                             "ST: upnp:rootdevice\r\n"
                             "USN: uuid:1234::upnp:rootdevice\r\n"
                             "\r\n")
        << ok
        << Headers{{QStringLiteral("cache-control"), QStringLiteral("max-age=1800")},
                   {QStringLiteral("ext"), QString()},
                   {QStringLiteral("location"), QStringLiteral("http://10.0.0.5:49152/desc.xml")},
                   {QStringLiteral("server"), QStringLiteral("Linux/5.10 UPnP/1.0 Player/2.1")},
                   {st, QStringLiteral("upnp:rootdevice")},
                   {QStringLiteral("usn"), QStringLiteral("uuid:1234::upnp:rootdevice")}};
    QTest::newRow("empty datagram") << QByteArray() << QString() << Headers();
    QTest::newRow("white space alone") << QByteArrayLiteral(" \r\n\t\r\n\r\n") << QString() << Headers();
    QTest::newRow("status line alone") << QByteArrayLiteral("HTTP/1.1 200 OK") << ok << Headers();
    QTest::newRow("status line trimmed")
        << QByteArrayLiteral(" \t HTTP/1.1 200 OK \t\r\nST: a") << ok << Headers{{st, QStringLiteral("a")}};
    QTest::newRow("blank lines before the status line")
        << QByteArrayLiteral("\r\n  \r\nHTTP/1.1 200 OK\r\nST: a\r\n") << ok
        << Headers{{st, QStringLiteral("a")}};
    QTest::newRow("header as the status line")
        << QByteArrayLiteral("ST: a\r\nX: b\r\n") << QStringLiteral("ST: a")
        << Headers{{x, QStringLiteral("b")}};
    QTest::newRow("colon first in the status line")
        << QByteArrayLiteral(": a\r\nX: b\r\n") << QStringLiteral(": a") << Headers{{x, QStringLiteral("b")}};
    QTest::newRow("line feeds alone") << QByteArrayLiteral("HTTP/1.1 200 OK\nST: a\nX: b\n") << ok
                                      << Headers{{st, QStringLiteral("a")}, {x, QStringLiteral("b")}};
    QTest::newRow("no line end at the end")
        << QByteArrayLiteral("HTTP/1.1 200 OK\r\nST: a") << ok << Headers{{st, QStringLiteral("a")}};
    QTest::newRow("carriage return inside a line") << QByteArrayLiteral("HTTP/1.1\r 200 OK\r\nS\rT: a\rb\r\n")
                                                   << ok << Headers{{st, QStringLiteral("ab")}};
    QTest::newRow("carriage returns end no line") << QByteArrayLiteral("HTTP/1.1 200 OK\rST: a\r")
                                                  << QStringLiteral("HTTP/1.1 200 OKST: a") << Headers();
    QTest::newRow("carriage returns alone") << QByteArrayLiteral("\r\r\r") << QString() << Headers();
    QTest::newRow("colon first in a line") << QByteArrayLiteral("HTTP/1.1 200 OK\r\n: x\r\nST: a\r\n") << ok
                                           << Headers{{st, QStringLiteral("a")}};
    QTest::newRow("colon first after white space")
        << QByteArrayLiteral("HTTP/1.1 200 OK\r\n \t: x\r\nST: a\r\n") << ok
        << Headers{{st, QStringLiteral("a")}};
    QTest::newRow("line without colon") << QByteArrayLiteral("HTTP/1.1 200 OK\r\nbogus\r\nST: a\r\n") << ok
                                        << Headers{{st, QStringLiteral("a")}};
    QTest::newRow("white space around name and value")
        << QByteArrayLiteral("HTTP/1.1 200 OK\r\n  ST\t :  a b \t\r\n") << ok
        << Headers{{st, QStringLiteral("a b")}};
    QTest::newRow("no white space after the colon")
        << QByteArrayLiteral("HTTP/1.1 200 OK\r\nST:a\r\n") << ok << Headers{{st, QStringLiteral("a")}};
    QTest::newRow("colons in the value") << QByteArrayLiteral("HTTP/1.1 200 OK\r\nST: a:b::c\r\n") << ok
                                         << Headers{{st, QStringLiteral("a:b::c")}};
    QTest::newRow("names in any letter case")
        << QByteArrayLiteral("HTTP/1.1 200 OK\r\nsT: a\r\nX: B\r\n") << ok
        << Headers{{st, QStringLiteral("a")}, {x, QStringLiteral("B")}};
    QTest::newRow("repeated name, the last counts")
        << QByteArrayLiteral("HTTP/1.1 200 OK\r\nST: a\r\nst: b\r\n") << ok
        << Headers{{st, QStringLiteral("b")}};
    QTest::newRow("repeated name, the last is empty")
        << QByteArrayLiteral("HTTP/1.1 200 OK\r\nST: a\r\nST:\r\n") << ok << Headers{{st, QString()}};
    QTest::newRow("blank line ends nothing")
        << QByteArrayLiteral("HTTP/1.1 200 OK\r\nST: a\r\n\r\nX: body\r\n") << ok
        << Headers{{st, QStringLiteral("a")}, {x, QStringLiteral("body")}};
    QTest::newRow("advertisement") << QByteArrayLiteral("NOTIFY * HTTP/1.1\r\nNT: a\r\n")
                                   << QStringLiteral("NOTIFY * HTTP/1.1")
                                   << Headers{{QStringLiteral("nt"), QStringLiteral("a")}};
    QTest::newRow("UTF-8 in name and value")
        << QByteArrayLiteral("HTTP/1.1 200 OK\r\n\xc3\x84: B\xc3\xbcro\r\n") << ok
        << Headers{{QStringLiteral("\u00e4"), QStringLiteral("B\u00fcro")}};
    QTest::newRow("broken UTF-8") << QByteArrayLiteral("HTTP/1.1 200 OK\r\nST: a\xff\r\nX: b\r\n") << ok
                                  << Headers{{st, QStringLiteral("a\ufffd")}, {x, QStringLiteral("b")}};
    QTest::newRow("percent signs") << QByteArrayLiteral("%1 %2\r\nST: %1%2\r\n") << QStringLiteral("%1 %2")
                                   << Headers{{st, QStringLiteral("%1%2")}};
    QTest::newRow("no text at all") << QByteArrayLiteral("\x01\x02\x03\xff\xfe")
                                    << QStringLiteral("\x01\x02\x03\ufffd\ufffd") << Headers();
}

void SsdpResponseTest::parses()
{
    QFETCH(QByteArray, datagram);
    QFETCH(QString, statusLine);
    QFETCH(Headers, headers);

    const SsdpResponse response = parseSsdpResponse(datagram);
    QCOMPARE(response.statusLine, statusLine);
    QCOMPARE(response.headers, headers);
}

void SsdpResponseTest::keepsNulBytes()
{
    const char datagram[] = "HTTP/1.1 200 OK\r\nX: a\0b\r\nUSN: u\r\n\0\0\0\r\nST: s\r\n\0";
    const SsdpResponse response = parseSsdpResponse(QByteArray(datagram, sizeof datagram));
    QCOMPARE(response.statusLine, QStringLiteral("HTTP/1.1 200 OK"));
    QCOMPARE(ssdpHeader(response, QStringLiteral("x")),
             QString(QStringLiteral("a") + QChar(QChar::Null) + QLatin1Char('b')));
    QCOMPARE(ssdpHeader(response, QStringLiteral("usn")), QStringLiteral("u"));
    QCOMPARE(ssdpHeader(response, QStringLiteral("st")), QStringLiteral("s"));
}

void SsdpResponseTest::readsHugeHeaders()
{
    QByteArray datagram =
        QByteArrayLiteral("HTTP/1.1 200 OK\r\nX: ") + QByteArray(30000, 'x') + QByteArrayLiteral("\r\n");
    for (int i = 0; i < 3000; ++i) {
        datagram += "H" + QByteArray::number(i) + ":1\r\n";
    }
    const SsdpResponse response = parseSsdpResponse(datagram + "ST: last");
    QCOMPARE(response.headers.size(), 3002);
    QCOMPARE(ssdpHeader(response, QStringLiteral("x")), QString(30000, QLatin1Char('x')));
    QCOMPARE(ssdpHeader(response, QStringLiteral("h2999")), QStringLiteral("1"));
    QCOMPARE(ssdpHeader(response, QStringLiteral("st")), QStringLiteral("last"));
}

void SsdpResponseTest::looksUpHeaders_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("value");

    QTest::newRow("lower case") << QStringLiteral("location") << QStringLiteral("http://A/");
    QTest::newRow("capitals") << QStringLiteral("LOCATION") << QStringLiteral("http://A/");
    QTest::newRow("white space around") << QStringLiteral(" Location\t") << QStringLiteral("http://A/");
    QTest::newRow("absent") << QStringLiteral("usn") << QString();
    QTest::newRow("part of a name") << QStringLiteral("loc") << QString();
    QTest::newRow("empty") << QString() << QString();
}

void SsdpResponseTest::looksUpHeaders()
{
    QFETCH(QString, name);
    QFETCH(QString, value);

    const SsdpResponse response = answerWith({{QStringLiteral("location"), QStringLiteral("http://A/")}});
    QCOMPARE(ssdpHeader(response, name), value);
}

void SsdpResponseTest::judgesValidity_data()
{
    QTest::addColumn<QByteArray>("datagram");
    QTest::addColumn<bool>("isValid");

    QTest::newRow("empty") << QByteArray() << false;
    QTest::newRow("status line alone") << QByteArrayLiteral("HTTP/1.1 200 OK\r\n\r\n") << false;
    QTest::newRow("location") << QByteArrayLiteral("HTTP/1.1 200 OK\r\nLOCATION: x\r\n") << true;
    QTest::newRow("usn") << QByteArrayLiteral("HTTP/1.1 200 OK\r\nUSN: x\r\n") << true;
    QTest::newRow("st") << QByteArrayLiteral("HTTP/1.1 200 OK\r\nST: x\r\n") << true;
    QTest::newRow("the three, all empty")
        << QByteArrayLiteral("HTTP/1.1 200 OK\r\nST:\r\nUSN:\r\nLOCATION:\r\n") << false;
    QTest::newRow("two empty") << QByteArrayLiteral("HTTP/1.1 200 OK\r\nST:\r\nUSN: x\r\nLOCATION:\r\n")
                               << true;
    QTest::newRow("other headers alone")
        << QByteArrayLiteral("HTTP/1.1 200 OK\r\nNT: x\r\nSERVER: y\r\n") << false;
    QTest::newRow("header taken for the status line") << QByteArrayLiteral("ST: x\r\n") << false;
    QTest::newRow("advertisement") << QByteArrayLiteral("NOTIFY * HTTP/1.1\r\nUSN: x\r\n") << true;
    QTest::newRow("error line") << QByteArrayLiteral("HTTP/1.1 500 Broken\r\nST: x\r\n") << true;
    QTest::newRow("no HTTP at all") << QByteArrayLiteral("hello\nst:x") << true;
}

void SsdpResponseTest::judgesValidity()
{
    QFETCH(QByteArray, datagram);
    QFETCH(bool, isValid);

    QCOMPARE(isValidSsdpResponse(parseSsdpResponse(datagram)), isValid);
}

void SsdpResponseTest::readsDirection_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<Direction>("direction");

    const auto row = [](const char *name, const char *text, Direction direction) {
        QTest::newRow(name) << QString::fromLatin1(text) << direction;
    };
    row("media server", "urn:schemas-upnp-org:device:MediaServer:1", Direction::input);
    row("media renderer", "urn:schemas-upnp-org:device:MediaRenderer:1", Direction::output);
    row("Roku", "roku:ecp", Direction::output);
    row("DIAL", "urn:dial-multiscreen-org:service:dial:1", Direction::output);
    row("any letter case", "MEDIASERVER", Direction::input);
    row("Roku in capitals", "ROKU:ECP", Direction::output);
    row("server and renderer", "MediaRenderer MediaServer", Direction::input);
    row("dial inside a word", "radial", Direction::output);
    row("root device", "upnp:rootdevice", Direction::controlOnly);
    row("Roku alone", "roku", Direction::controlOnly);
    row("words apart", "media server", Direction::controlOnly);
    row("empty", "", Direction::controlOnly);
}

void SsdpResponseTest::readsDirection()
{
    QFETCH(QString, text);
    QFETCH(Direction, direction);

    QCOMPARE(directionFromUpnpType(text), direction);
}

void SsdpResponseTest::readsMaxAge_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<int>("seconds");

    const auto row = [](const char *name, const char *value, int seconds) {
        QTest::newRow(name) << QString::fromLatin1(value) << seconds;
    };
    row("plain", "max-age=1800", 1800);
    row("any letter case", "Max-AGE=60", 60);
    row("white space around", " max-age =\t60 ", 60);
    row("after commas and a zero", "no-cache, max-age=0, MAX-AGE = 1800", 1800);
    row("after a semicolon", "public;max-age=60", 60);
    row("mixed separators and empty parts", ",;, max-age=60 ;,", 60);
    row("the first positive counts", "max-age=60, max-age=120", 60);
    row("after letters", "max-age=soon, max-age=60", 60);
    row("letters", "max-age=soon", 0);
    row("negative", "max-age=-5", 0);
    row("negative, then positive", "max-age=-5,max-age=5", 5);
    row("zero", "max-age=0", 0);
    row("empty value", "max-age=", 0);
    row("no equals sign", "max-age", 0);
    row("equals sign first", "=60", 0);
    row("two equals signs", "max-age==60", 0);
    row("longer name", "s-max-age=60", 0);
    row("shorter name", "age=60", 0);
    row("blank inside the name", "max age=60", 0);
    row("fraction", "max-age=60.5", 0);
    row("hexadecimal", "max-age=0x10", 0);
    row("text behind the number", "max-age=60 s", 0);
    row("quoted", "max-age=\"60\"", 0);
    row("leading zeros", "max-age=0060", 60);
    row("grouped digits, cut at the comma", "max-age=1,800", 1);
    row("greatest", "max-age=2147483647", 2147483647);
    row("beyond 32 bits", "max-age=2147483648", 0);
    row("beyond 64 bits", "max-age=99999999999999999999", 0);
    row("beyond 32 bits, then good", "max-age=4294967297, max-age=60", 60);
    row("empty", "", 0);
}

void SsdpResponseTest::readsMaxAge()
{
    QFETCH(QString, value);
    QFETCH(int, seconds);

    QCOMPARE(maxAgeSeconds(value), seconds);
}

void SsdpResponseTest::fillsEveryField()
{
    const QString location = QStringLiteral("http://10.0.0.5:49152/desc.xml");
    const QString searchTarget = QStringLiteral("urn:schemas-upnp-org:device:MediaRenderer:1");
    const QString usn = QStringLiteral("uuid:1234::urn:schemas-upnp-org:device:MediaRenderer:1");

    DeviceRecord expected;
    expected.id = usn;
    expected.displayName = QStringLiteral("10.0.0.5");
    expected.hostname = QStringLiteral("10.0.0.5");
    expected.addresses = QStringList{QStringLiteral("10.0.0.5")};
    expected.provider = QStringLiteral("ssdp");
    expected.protocol = QStringLiteral("upnp");
    expected.direction = Direction::output;
    expected.mediaKinds = MediaKind::audio | MediaKind::video | MediaKind::control;
    expected.ttlSeconds = 1800;
    expected.protocolData =
        QJsonObject{{QStringLiteral("ssdpStatusLine"), QStringLiteral("HTTP/1.1 200 OK")},
                    {QStringLiteral("ssdp.cache-control"), QStringLiteral("max-age=1800")},
                    {QStringLiteral("ssdp.ext"), QString()},
                    {QStringLiteral("ssdp.location"), location},
                    {QStringLiteral("ssdp.st"), searchTarget},
                    {QStringLiteral("ssdp.usn"), usn}};
    EndpointRecord endpoint;
    endpoint.id = usn + QStringLiteral(":location");
    endpoint.label = QStringLiteral("SSDP Location");
    endpoint.protocol = QStringLiteral("upnp");
    endpoint.url = location;
    endpoint.direction = Direction::output;
    endpoint.mediaKinds = MediaKind::audio | MediaKind::video | MediaKind::control;
    expected.endpoints.append(endpoint);

    compareRecords(recordFromSsdpResponse(parseSsdpResponse(
                       QByteArrayLiteral("HTTP/1.1 200 OK\r\n"
                                         "CACHE-CONTROL: max-age=1800\r\n"
                                         "EXT:\r\n"
                                         "LOCATION: http://10.0.0.5:49152/desc.xml\r\n"
                                         "ST: urn:schemas-upnp-org:device:MediaRenderer:1\r\n"
                                         "USN: uuid:1234::urn:schemas-upnp-org:device:MediaRenderer:1\r\n"
                                         "\r\n"))),
                   expected);
}

void SsdpResponseTest::takesOneTimeForAllFields()
{
    const QDateTime before = QDateTime::currentDateTimeUtc();
    verifyOneTime(recordFromSsdpResponse(
                      answerWith({{QStringLiteral("location"), QStringLiteral("http://10.0.0.5/")}})),
                  before);
}

void SsdpResponseTest::givesDefaultRecordForInvalidAnswer()
{
    const DeviceRecord record =
        recordFromSsdpResponse(answerWith({{QStringLiteral("server"), QStringLiteral("x")}}));
    compareRecords(record, DeviceRecord());
    QVERIFY(!record.firstSeen.isValid());
    QVERIFY(!record.lastSeen.isValid());
    QVERIFY(!record.lastChanged.isValid());
}

void SsdpResponseTest::readsHost_data()
{
    QTest::addColumn<QString>("location");
    QTest::addColumn<QString>("host");

    const auto row = [](const char *name, const char *location, const char *host) {
        QTest::newRow(name) << QString::fromUtf8(location) << QString::fromUtf8(host);
    };
    row("address", "http://10.0.0.5:8080/desc.xml", "10.0.0.5");
    row("name", "http://tv.local/desc.xml", "tv.local");
    row("capitals", "HTTP://TV.Local/Desc.XML", "tv.local");
    row("IPv6", "http://[fe80::1]:80/", "fe80::1");
    row("IPv6 with scope", "http://[fe80::1%25eth0]:80/", "fe80::1%eth0");
    row("percent-encoded", "http://%31%30.0.0.5/", "10.0.0.5");
    row("beyond ASCII", "http://b\u00fccher.de/", "b\u00fccher.de");
    row("encoded beyond ASCII", "http://xn--bcher-kva.de/", "b\u00fccher.de");
    row("user and password", "http://user:word@tv/", "tv");
    row("port 0", "http://tv:0/", "tv");
    row("white space in the path", "http://tv/a b.xml", "tv");
    row("other scheme", "ftp://tv/", "tv");
    row("no scheme", "//tv/desc.xml", "tv");
    row("port out of range", "http://host:99999/", "");
    row("port of letters", "http://host:http/", "");
    row("white space in the host", "http://my tv/", "");
    row("place-holders", "http://%1/%2", "");
    row("open bracket", "http://[fe80::1/", "");
    row("no URL", "desc xml", "");
    row("no host", "http:///desc.xml", "");
    row("address and port alone", "10.0.0.5:80/desc.xml", "");
    row("asterisk", "*", "");
}

void SsdpResponseTest::readsHost()
{
    QFETCH(QString, location);
    QFETCH(QString, host);

    const DeviceRecord record = recordFromSsdpResponse(answerWith(
        {{QStringLiteral("location"), location}, {QStringLiteral("st"), QStringLiteral("Target")}}));
    QCOMPARE(record.hostname, host);
    QCOMPARE(record.addresses, host.isEmpty() ? QStringList() : QStringList{host});
    QCOMPARE(record.displayName, host.isEmpty() ? QStringLiteral("Target") : host);
    QCOMPARE(record.endpoints.size(), 1);
    QCOMPARE(record.endpoints.first().url, location);
}

void SsdpResponseTest::choosesId_data()
{
    QTest::addColumn<Headers>("headers");
    QTest::addColumn<QString>("id");
    QTest::addColumn<bool>("hasKey");

    const QString usn = QStringLiteral("usn");
    const QString location = QStringLiteral("location");
    const QString st = QStringLiteral("st");
    const QString url = QStringLiteral("http://TV/");
    QTest::newRow("usn") << Headers{{usn, QStringLiteral("UUID:1")}, {location, url}}
                         << QStringLiteral("UUID:1") << true;
    QTest::newRow("location without usn")
        << Headers{{location, url}, {st, QStringLiteral("a")}} << url << true;
    QTest::newRow("location with empty usn") << Headers{{usn, QString()}, {location, url}} << url << true;
    QTest::newRow("neither") << Headers{{st, QStringLiteral("a")}} << QString() << false;
}

void SsdpResponseTest::choosesId()
{
    QFETCH(Headers, headers);
    QFETCH(QString, id);
    QFETCH(bool, hasKey);

    const DeviceRecord record = recordFromSsdpResponse(answerWith(headers));
    QCOMPARE(record.id, id);
    QCOMPARE(hasStableKey(record), hasKey);
}

void SsdpResponseTest::choosesDisplayName_data()
{
    QTest::addColumn<Headers>("headers");
    QTest::addColumn<QString>("displayName");

    const QString usn = QStringLiteral("usn");
    const QString location = QStringLiteral("location");
    const QString st = QStringLiteral("st");
    QTest::newRow("host") << Headers{{location, QStringLiteral("http://tv/")}, {st, QStringLiteral("a")}}
                          << QStringLiteral("tv");
    QTest::newRow("search target without location")
        << Headers{{st, QStringLiteral("A:b")}} << QStringLiteral("A:b");
    QTest::newRow("search target where location is no URL")
        << Headers{{location, QStringLiteral("see above")}, {st, QStringLiteral("A:b")}, {usn, usn}}
        << QStringLiteral("A:b");
    QTest::newRow("neither") << Headers{{usn, QStringLiteral("uuid:1")}} << QString();
}

void SsdpResponseTest::choosesDisplayName()
{
    QFETCH(Headers, headers);
    QFETCH(QString, displayName);

    QCOMPARE(recordFromSsdpResponse(answerWith(headers)).displayName, displayName);
}

void SsdpResponseTest::choosesProtocolAndMedia_data()
{
    QTest::addColumn<QString>("searchTarget");
    QTest::addColumn<QString>("usn");
    QTest::addColumn<QString>("protocol");
    QTest::addColumn<Direction>("direction");

    const auto row = [](const char *name, const char *searchTarget, const char *usn, const char *protocol,
                        Direction direction) {
        QTest::newRow(name) << QString::fromLatin1(searchTarget) << QString::fromLatin1(usn)
                            << QString::fromLatin1(protocol) << direction;
    };
    const char *renderer = "urn:schemas-upnp-org:device:MediaRenderer:1";
    row("Roku", "roku:ecp", "uuid:roku:ecp:1", "roku", Direction::output);
    row("Roku in capitals", "ROKU:ECP", "", "roku", Direction::output);
    row("DIAL", "urn:dial-multiscreen-org:service:dial:1", "", "dial", Direction::output);
    row("Roku before DIAL", "dial roku:ecp", "", "roku", Direction::output);
    row("root device", "upnp:rootdevice", "uuid:1::upnp:rootdevice", "upnp", Direction::controlOnly);
    row("root device with a renderer's usn", "upnp:rootdevice", renderer, "upnp", Direction::output);
    row("root device with a server's usn", "upnp:rootdevice", "uuid:1::x:MediaServer:1", "upnp",
        Direction::input);
    row("usn does not choose the protocol", "upnp:rootdevice", "uuid:roku:ecp:1", "upnp", Direction::output);
    row("renderer", renderer, "uuid:1", "upnp", Direction::output);
    row("renderer with a server's usn", renderer, "uuid:1::x:MediaServer:1", "upnp", Direction::input);
    row("no search target", "", "uuid:1", "upnp", Direction::controlOnly);
    row("word across the two texts", "media", "server", "upnp", Direction::controlOnly);
}

void SsdpResponseTest::choosesProtocolAndMedia()
{
    QFETCH(QString, searchTarget);
    QFETCH(QString, usn);
    QFETCH(QString, protocol);
    QFETCH(Direction, direction);

    const DeviceRecord record =
        recordFromSsdpResponse(answerWith({{QStringLiteral("st"), searchTarget},
                                           {QStringLiteral("usn"), usn},
                                           {QStringLiteral("location"), QStringLiteral("http://tv/")}}));
    const MediaKinds kinds = direction == Direction::controlOnly
                                 ? MediaKinds(MediaKind::control)
                                 : MediaKind::audio | MediaKind::video | MediaKind::control;
    QCOMPARE(record.protocol, protocol);
    QCOMPARE(record.direction, direction);
    QCOMPARE(record.mediaKinds, kinds);
    QCOMPARE(record.endpoints.size(), 1);
    QCOMPARE(record.endpoints.first().protocol, protocol);
    QCOMPARE(record.endpoints.first().direction, direction);
    QCOMPARE(record.endpoints.first().mediaKinds, kinds);
}

void SsdpResponseTest::readsTimeToLive_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<int>("ttlSeconds");

    QTest::newRow("absent") << QByteArray() << 0;
    QTest::newRow("positive") << QByteArrayLiteral("Cache-Control: max-age=100\r\n") << 100;
    QTest::newRow("zero") << QByteArrayLiteral("CACHE-CONTROL: max-age=0\r\n") << 0;
    QTest::newRow("no directive") << QByteArrayLiteral("CACHE-CONTROL: no-cache\r\n") << 0;
    QTest::newRow("repeated header") << QByteArrayLiteral("CACHE-CONTROL: max-age=100\r\n"
                                                          "CACHE-CONTROL: no-cache\r\n")
                                     << 0;
}

void SsdpResponseTest::readsTimeToLive()
{
    QFETCH(QByteArray, line);
    QFETCH(int, ttlSeconds);

    const SsdpResponse response = parseSsdpResponse("HTTP/1.1 200 OK\r\nUSN: uuid:1\r\n" + line);
    QCOMPARE(recordFromSsdpResponse(response).ttlSeconds, ttlSeconds);
}

void SsdpResponseTest::keepsEveryHeader()
{
    const SsdpResponse response =
        parseSsdpResponse(QByteArrayLiteral("NOTIFY * HTTP/1.1\r\nUSN: uuid:1\r\nX-User-Agent: redsonic\r\n"
                                            "01-NLS: %1 %2\r\n\r\nBODY: b\xc3\xbc\xff\r\n"));
    QCOMPARE(recordFromSsdpResponse(response).protocolData,
             (QJsonObject{{QStringLiteral("ssdpStatusLine"), QStringLiteral("NOTIFY * HTTP/1.1")},
                          {QStringLiteral("ssdp.usn"), QStringLiteral("uuid:1")},
                          {QStringLiteral("ssdp.x-user-agent"), QStringLiteral("redsonic")},
                          {QStringLiteral("ssdp.01-nls"), QStringLiteral("%1 %2")},
                          {QStringLiteral("ssdp.body"), QStringLiteral("b\u00fc\ufffd")}}));
}

void SsdpResponseTest::hasNoEndpointWithoutLocation()
{
    QVERIFY(recordFromSsdpResponse(answerWith({{QStringLiteral("usn"), QStringLiteral("uuid:1")}}))
                .endpoints.isEmpty());
}

void SsdpResponseTest::keepsPercentSigns()
{
    const DeviceRecord record =
        recordFromSsdpResponse(answerWith({{QStringLiteral("usn"), QStringLiteral("%1:%2")},
                                           {QStringLiteral("location"), QStringLiteral("http://tv/%1%2")},
                                           {QStringLiteral("st"), QStringLiteral("%3")}}));
    QCOMPARE(record.id, QStringLiteral("%1:%2"));
    QCOMPARE(record.endpoints.first().id, QStringLiteral("%1:%2:location"));
    QCOMPARE(record.endpoints.first().url, QStringLiteral("http://tv/%1%2"));
}

QTEST_GUILESS_MAIN(SsdpResponseTest)
#include "ssdp_response_test.moc"
