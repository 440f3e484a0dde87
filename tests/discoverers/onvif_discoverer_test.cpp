#include "discoverers/onvif_discoverer.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QProcess>
#include <QStandardPaths>
#include <QtTest>

#include "multicast_peer.h"
#include "no_free_port.h"
#include "record_checks.h"

using namespace Sondrix;

Q_DECLARE_METATYPE(Sondrix::OnvifProbeMatch)

/// Runs in a network of its own (tests/private_network.sh).
class OnvifDiscovererTest : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();
    void isProviderOnvif();
    void probesOneGroup();
    void probeIsConstant();
    void parses_data();
    void parses();
    void parsesSeveralMatches();
    void dropsMatches_data();
    void dropsMatches();
    void voidsBrokenReplies_data();
    void voidsBrokenReplies();
    void readsOtherEncodings_data();
    void readsOtherEncodings();
    void startsEachMatchAfresh();
    void endsOuterMatchWithTheInnerOne();
    void fillsEveryField();
    void fillsFieldsWithoutXaddrs();
    void takesOneTimeForAllFields();
    void choosesIdAndUrls_data();
    void choosesIdAndUrls();
    void readsHost_data();
    void readsHost();
    void keepsPercentSigns();
    void keepsTextAsItStands();
    void sendsOneProbe();
    void sendsOneProbeInEveryScan();
    void runsOutInFull_data();
    void runsOutInFull();
    void scansRecords();
    void keepsOrderOfArrival();
    void dropsRepeats_data();
    void dropsRepeats();
    void keepsFirstOfEqualKeys();
    void ignoresBrokenReplies();
    void hearsBurst();
    void remembersNothingBetweenScans();
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

constexpr int windowMs = 1500;
constexpr quint16 port = 3702;
const QByteArray sentinel = QByteArrayLiteral("sentinel");

// WS-Discovery, April 2005, 5.1, for the type that the ONVIF core specification names.
const QByteArray probe = QByteArrayLiteral(
    R"(<?xml version="1.0" encoding="UTF-8"?>)"
    R"(<e:Envelope xmlns:e="http://www.w3.org/2003/05/soap-envelope")"
    R"( xmlns:w="http://schemas.xmlsoap.org/ws/2004/08/addressing")"
    R"( xmlns:d="http://schemas.xmlsoap.org/ws/2005/04/discovery")"
    R"( xmlns:dn="http://www.onvif.org/ver10/network/wsdl"><e:Header>)"
    R"(<w:MessageID>uuid:sondrix-onvif-probe</w:MessageID>)"
    R"(<w:To>urn:schemas-xmlsoap-org:ws:2005:04:discovery</w:To>)"
    R"(<w:Action>http://schemas.xmlsoap.org/ws/2005/04/discovery/Probe</w:Action></e:Header>)"
    R"(<e:Body><d:Probe><d:Types>dn:NetworkVideoTransmitter</d:Types></d:Probe></e:Body></e:Envelope>)");

/// What a camera answers, as far as its matches are concerned.
QByteArray reply(const QByteArray &matches)
{
    return R"(<?xml version="1.0" encoding="UTF-8"?>
<s:Envelope xmlns:s="http://www.w3.org/2003/05/soap-envelope"
            xmlns:a="http://schemas.xmlsoap.org/ws/2004/08/addressing"
            xmlns:d="http://schemas.xmlsoap.org/ws/2005/04/discovery"
            xmlns:dn="http://www.onvif.org/ver10/network/wsdl">
  <s:Header>
    <a:MessageID>uuid:0a1b</a:MessageID>
    <a:RelatesTo>uuid:sondrix-onvif-probe</a:RelatesTo>
    <a:To>http://schemas.xmlsoap.org/ws/2004/08/addressing/role/anonymous</a:To>
    <a:From><a:Address>urn:uuid:header</a:Address></a:From>
  </s:Header>
  <s:Body>
    <d:ProbeMatches>)" +
           matches + R"(</d:ProbeMatches>
  </s:Body>
</s:Envelope>
)";
}

QByteArray match(const QByteArray &address, const QByteArray &xaddrs)
{
    return "<d:ProbeMatch><a:EndpointReference><a:Address>" + address +
           "</a:Address></a:EndpointReference><d:Types>dn:NetworkVideoTransmitter</d:Types>"
           "<d:Scopes>onvif://www.onvif.org/name/Cam</d:Scopes><d:XAddrs>" +
           xaddrs + "</d:XAddrs><d:MetadataVersion>1</d:MetadataVersion></d:ProbeMatch>";
}

void compareMatches(const OnvifProbeMatch &actual, const OnvifProbeMatch &expected)
{
    QCOMPARE(actual.endpointReference, expected.endpointReference);
    QCOMPARE(actual.types, expected.types);
    QCOMPARE(actual.scopes, expected.scopes);
    QCOMPARE(actual.xaddrs, expected.xaddrs);
}

QStringList idsOf(const QList<DeviceRecord> &records)
{
    QStringList ids;
    for (const DeviceRecord &record : records) {
        ids.append(record.id);
    }
    return ids;
}

/// Scans among devices that answer each probe with the given datagrams.
QList<DeviceRecord> scanAmong(const QList<QByteArray> &answers)
{
    const MulticastPeer peer(port, [&](const QByteArray &) { return answers; });
    return OnvifDiscoverer().scan(nullptr);
}

/// What has come to the peer by now, all of it: the end is marked by a datagram of the test's own.
QList<QNetworkDatagram> allReceived(const MulticastPeer &peer)
{
    QUdpSocket socket;
    socket.writeDatagram(sentinel, QHostAddress::LocalHost, port);
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

} // namespace

void OnvifDiscovererTest::run(const QStringList &command) const
{
    QProcess process;
    process.start(command.first(), command.mid(1));
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 0);
}

void OnvifDiscovererTest::cleanup()
{
    if (!m_hasRoute) {
        m_hasRoute = true;
        run({QStringLiteral("ip"), QStringLiteral("route"), QStringLiteral("add"),
             QStringLiteral("224.0.0.0/4"), QStringLiteral("dev"), QStringLiteral("lo"),
             QStringLiteral("src"), QStringLiteral("127.0.0.1")});
    }
}

void OnvifDiscovererTest::isProviderOnvif()
{
    const OnvifDiscoverer discoverer;
    QCOMPARE(discoverer.providerName(), QStringLiteral("onvif"));
    QVERIFY(discoverer.isAvailable());
}

void OnvifDiscovererTest::probesOneGroup()
{
    QCOMPARE(onvifProbeHost(), QStringLiteral("239.255.255.250"));
}

void OnvifDiscovererTest::probeIsConstant()
{
    QCOMPARE(onvifProbe(), probe);
}

void OnvifDiscovererTest::parses_data()
{
    QTest::addColumn<QByteArray>("xml");
    QTest::addColumn<OnvifProbeMatch>("expected");

    const QString uuid = QStringLiteral("urn:uuid:1");
    const QString url = QStringLiteral("http://10.0.0.4/onvif/device_service");
    const auto onlyAddress = [](const char *text) {
        return OnvifProbeMatch{QString::fromUtf8(text), QString(), QString(), {}};
    };
    const auto onlyXaddrs = [](const QStringList &urls) {
        return OnvifProbeMatch{QString(), QString(), QString(), urls};
    };

    QTest::newRow("camera") << reply(match("urn:uuid:1", "http://10.0.0.4/onvif/device_service"))
                            << OnvifProbeMatch{uuid,
                                               QStringLiteral("dn:NetworkVideoTransmitter"),
                                               QStringLiteral("onvif://www.onvif.org/name/Cam"),
                                               {url}};
    QTest::newRow("no namespaces") << QByteArrayLiteral(
                                          "<r><ProbeMatch><Address>urn:uuid:1</Address><Types>a b</Types>"
                                          "<Scopes>c d</Scopes><XAddrs>e f</XAddrs></ProbeMatch></r>")
                                   << OnvifProbeMatch{uuid,
                                                      QStringLiteral("a b"),
                                                      QStringLiteral("c d"),
                                                      {QStringLiteral("e"), QStringLiteral("f")}};
    QTest::newRow("other prefixes and namespaces")
        << QByteArrayLiteral("<x:ProbeMatch xmlns:x=\"urn:x\" xmlns:y=\"urn:y\"><y:Address>1</y:Address>"
                             "<Types xmlns=\"urn:z\">t</Types></x:ProbeMatch>")
        << OnvifProbeMatch{QStringLiteral("1"), QStringLiteral("t"), QString(), {}};
    QTest::newRow("match at the root")
        << QByteArrayLiteral("<ProbeMatch><Address>1</Address></ProbeMatch>") << onlyAddress("1");
    QTest::newRow("white space at the ends")
        << QByteArrayLiteral("<ProbeMatch><Address> \n1\t</Address><Types>\r\n a  b \n</Types>"
                             "<Scopes>\n c\n d\n</Scopes><XAddrs>  </XAddrs></ProbeMatch>")
        << OnvifProbeMatch{QStringLiteral("1"), QStringLiteral("a  b"), QStringLiteral("c\n d"), {}};
    QTest::newRow("URLs over lines") << QByteArrayLiteral(
                                            "<ProbeMatch><XAddrs>\n\thttp://a/\r\n   http://b/\t\thttp://c/\n"
                                            "</XAddrs></ProbeMatch>")
                                     << onlyXaddrs({QStringLiteral("http://a/"), QStringLiteral("http://b/"),
                                                    QStringLiteral("http://c/")});
    QTest::newRow("same URL twice") << QByteArrayLiteral(
                                           "<ProbeMatch><XAddrs>http://a/ http://a/</XAddrs></ProbeMatch>")
                                    << onlyXaddrs({QStringLiteral("http://a/"), QStringLiteral("http://a/")});
    QTest::newRow("address anywhere in the match")
        << QByteArrayLiteral("<ProbeMatch><a><b><c><Address>1</Address></c></b></a></ProbeMatch>")
        << onlyAddress("1");
    QTest::newRow("last address wins")
        << QByteArrayLiteral("<ProbeMatch><Address>1</Address><x><Address>2</Address></x></ProbeMatch>")
        << onlyAddress("2");
    QTest::newRow("last address wins, though empty")
        << QByteArrayLiteral("<ProbeMatch><Address>1</Address><XAddrs>u</XAddrs><Address/></ProbeMatch>")
        << onlyXaddrs({QStringLiteral("u")});
    QTest::newRow("last list of URLs replaces")
        << QByteArrayLiteral("<ProbeMatch><XAddrs>a b</XAddrs><XAddrs>c</XAddrs></ProbeMatch>")
        << onlyXaddrs({QStringLiteral("c")});
    QTest::newRow("child elements are skipped")
        << QByteArrayLiteral("<ProbeMatch><Address>a<b>c</b>d</Address><XAddrs>u<Types>t</Types>v</XAddrs>"
                             "</ProbeMatch>")
        << OnvifProbeMatch{QStringLiteral("ad"), QString(), QString(), {QStringLiteral("uv")}};
    QTest::newRow("other letter case")
        << QByteArrayLiteral("<ProbeMatch><Address>1</Address><address>2</address><TYPES>t</TYPES>"
                             "<scopes>s</scopes><Xaddrs>u</Xaddrs></ProbeMatch>")
        << onlyAddress("1");
    QTest::newRow("outside a match") << QByteArrayLiteral("<r><Address>0</Address><Types>t</Types>"
                                                          "<ProbeMatch><Address>1</Address></ProbeMatch>"
                                                          "<Scopes>s</Scopes><XAddrs>u</XAddrs></r>")
                                     << onlyAddress("1");
    QTest::newRow("entities and CDATA")
        << QByteArrayLiteral("<ProbeMatch><Address>a&amp;b&#x20;&lt;<![CDATA[<c>]]></Address></ProbeMatch>")
        << onlyAddress("a&b <<c>");
    QTest::newRow("comments and instructions")
        << QByteArrayLiteral("<ProbeMatch><Address>a<!-- x -->b<?p q?>c</Address></ProbeMatch>")
        << onlyAddress("abc");
    QTest::newRow("entity of the document's own")
        << QByteArrayLiteral("<!DOCTYPE r [<!ENTITY u \"urn:1\">]>"
                             "<ProbeMatch><Address>&u;</Address></ProbeMatch>")
        << onlyAddress("urn:1");
    QTest::newRow("place-holders") << QByteArrayLiteral("<ProbeMatch><Address>%1%2</Address></ProbeMatch>")
                                   << onlyAddress("%1%2");
    QTest::newRow("byte-order mark") << QByteArrayLiteral(
                                            "\xef\xbb\xbf<ProbeMatch><Address>1</Address></ProbeMatch>")
                                     << onlyAddress("1");
    QTest::newRow("beyond ASCII")
        << QByteArrayLiteral("<ProbeMatch><Address>K\xc3\xa4mera \xf0\x9f\x8e\xa5</Address></ProbeMatch>")
        << onlyAddress("K\xc3\xa4mera \xf0\x9f\x8e\xa5");
}

void OnvifDiscovererTest::parses()
{
    QFETCH(QByteArray, xml);
    QFETCH(OnvifProbeMatch, expected);

    const QList<OnvifProbeMatch> matches = parseProbeMatches(xml);
    QCOMPARE(matches.size(), 1);
    compareMatches(matches.first(), expected);
}

void OnvifDiscovererTest::parsesSeveralMatches()
{
    const QList<OnvifProbeMatch> matches = parseProbeMatches(
        reply(match("urn:uuid:c", "http://c/") + match("urn:uuid:a", "http://a/ http://b/")));
    QCOMPARE(matches.size(), 2);
    QCOMPARE(matches.first().endpointReference, QStringLiteral("urn:uuid:c"));
    QCOMPARE(matches.first().xaddrs, QStringList{QStringLiteral("http://c/")});
    QCOMPARE(matches.last().endpointReference, QStringLiteral("urn:uuid:a"));
    QCOMPARE(matches.last().xaddrs, (QStringList{QStringLiteral("http://a/"), QStringLiteral("http://b/")}));
}

void OnvifDiscovererTest::dropsMatches_data()
{
    QTest::addColumn<QByteArray>("xml");

    QTest::newRow("no match at all") << reply(QByteArray());
    QTest::newRow("empty match") << reply("<d:ProbeMatch/>");
    QTest::newRow("neither address nor URLs")
        << reply("<d:ProbeMatch><d:Types>t</d:Types><d:Scopes>s</d:Scopes></d:ProbeMatch>");
    QTest::newRow("both empty") << reply(match("", ""));
    QTest::newRow("both blank") << reply(match(" \n", "\t "));
    QTest::newRow("match in other letter case")
        << QByteArrayLiteral("<probematch><Address>1</Address></probematch>");
    QTest::newRow("plural alone") << reply("<a:Address>1</a:Address>");
    QTest::newRow("another document") << QByteArrayLiteral("<html><body>hello</body></html>");
}

void OnvifDiscovererTest::dropsMatches()
{
    QFETCH(QByteArray, xml);

    QVERIFY(parseProbeMatches(xml).isEmpty());
}

void OnvifDiscovererTest::voidsBrokenReplies_data()
{
    QTest::addColumn<QByteArray>("xml");

    const QByteArray good = reply(match("urn:uuid:1", "http://10.0.0.4/"));
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("blanks") << QByteArrayLiteral("  \n");
    QTest::newRow("noise") << QByteArray(2000, '\xff');
    QTest::newRow("NUL bytes") << QByteArray(2000, '\0');
    QTest::newRow("no XML") << QByteArrayLiteral("HTTP/1.1 200 OK\r\n\r\n");
    QTest::newRow("breaks off behind the match") << good.left(good.indexOf("</d:ProbeMatches>"));
    QTest::newRow("breaks off inside the match") << good.left(good.indexOf("<d:XAddrs>"));
    QTest::newRow("breaks off inside a text") << good.left(good.indexOf("10.0.0.4"));
    QTest::newRow("wrong end") << QByteArray(good).replace("</s:Body>", "</s:Bodi>");
    QTest::newRow("second root") << good + "<x/>";
    QTest::newRow("text behind the root") << good + "x";
    QTest::newRow("NUL behind the root") << good + QByteArray(1, '\0');
    QTest::newRow("undeclared prefix") << QByteArray(good).replace("xmlns:a=", "xmlns:b=");
    QTest::newRow("unknown entity") << QByteArray(good).replace("10.0.0.4", "&nbsp;");
    QTest::newRow("bare ampersand") << QByteArray(good).replace("10.0.0.4", "a?b&c");
    QTest::newRow("attribute without quotation marks")
        << QByteArray(good).replace("<s:Body>", "<s:Body a=b>");
    QTest::newRow("attribute twice") << QByteArray(good).replace("<s:Body>", "<s:Body a='' a=''>");
    QTest::newRow("control character") << QByteArray(good).replace("10.0.0.4", "\x01");
    QTest::newRow("broken UTF-8") << QByteArray(good).replace("10.0.0.4", "\xc3(");
    QTest::newRow("unknown encoding") << QByteArray(good).replace("UTF-8", "X-NONE");
    QTest::newRow("declaration behind a blank") << " " + good;
    QTest::newRow("entity with many matches") << QByteArrayLiteral(
        "<!DOCTYPE r [<!ENTITY m \"<ProbeMatch><Address>urn:1</Address></ProbeMatch>\">]>"
        "<r>&m;&m;</r>");
    QTest::newRow("entities that grow without end") << QByteArrayLiteral(
        "<!DOCTYPE r [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\">"
        "<!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;\"><!ENTITY d \"&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;\">"
        "<!ENTITY e \"&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;\">]><ProbeMatch><Address>&e;</Address></ProbeMatch>");
    QTest::newRow("entity that holds itself")
        << QByteArrayLiteral("<!DOCTYPE r [<!ENTITY a \"&a;\">]><ProbeMatch><Address>&a;</Address>"
                             "</ProbeMatch>");
}

void OnvifDiscovererTest::voidsBrokenReplies()
{
    QFETCH(QByteArray, xml);

    QVERIFY(parseProbeMatches(xml).isEmpty());
}

void OnvifDiscovererTest::readsOtherEncodings_data()
{
    QTest::addColumn<QByteArray>("xml");

    const QByteArray latin1 = QByteArrayLiteral("<ProbeMatch><Address>K\xe4mera</Address></ProbeMatch>");
    QTest::newRow("ISO 8859-1") << R"(<?xml version="1.0" encoding="ISO-8859-1"?>)" + latin1;
    QByteArray littleEndian("\xff\xfe", 2);
    QByteArray bigEndian("\xfe\xff", 2);
    for (const char byte : latin1) {
        littleEndian.append(byte).append('\0');
        bigEndian.append('\0').append(byte);
    }
    QTest::newRow("UTF-16, little endian") << littleEndian;
    QTest::newRow("UTF-16, big endian") << bigEndian;
}

void OnvifDiscovererTest::readsOtherEncodings()
{
    QFETCH(QByteArray, xml);

    const QList<OnvifProbeMatch> matches = parseProbeMatches(xml);
    QCOMPARE(matches.size(), 1);
    QCOMPARE(matches.first().endpointReference, QStringLiteral("K\u00e4mera"));
}

void OnvifDiscovererTest::startsEachMatchAfresh()
{
    const QList<OnvifProbeMatch> matches = parseProbeMatches(
        QByteArrayLiteral("<r><ProbeMatch><Address>1</Address><Types>t</Types><Scopes>s</Scopes>"
                          "<XAddrs>u</XAddrs></ProbeMatch><ProbeMatch><XAddrs>v</XAddrs></ProbeMatch></r>"));
    QCOMPARE(matches.size(), 2);
    compareMatches(matches.last(), {QString(), QString(), QString(), {QStringLiteral("v")}});
}

void OnvifDiscovererTest::endsOuterMatchWithTheInnerOne()
{
    const QList<OnvifProbeMatch> matches = parseProbeMatches(
        QByteArrayLiteral("<ProbeMatch><Address>1</Address><ProbeMatch><Address>2</Address></ProbeMatch>"
                          "<Address>3</Address></ProbeMatch>"));
    QCOMPARE(matches.size(), 2);
    QCOMPARE(matches.first().endpointReference, QStringLiteral("2"));
    QCOMPARE(matches.last().endpointReference, QStringLiteral("2"));
}

void OnvifDiscovererTest::fillsEveryField()
{
    const OnvifProbeMatch match{
        QStringLiteral("urn:uuid:1"),
        QStringLiteral("dn:NetworkVideoTransmitter tds:Device"),
        QStringLiteral("onvif://www.onvif.org/name/Cam onvif://www.onvif.org/type/ptz"),
        {QStringLiteral("http://10.0.0.4:8080/onvif/device_service"),
         QStringLiteral("http://[fe80::4]/onvif/device_service")}};
    DeviceRecord expected;
    expected.id = QStringLiteral("urn:uuid:1");
    expected.displayName = QStringLiteral("10.0.0.4");
    expected.hostname = QStringLiteral("10.0.0.4");
    expected.addresses = QStringList{QStringLiteral("10.0.0.4")};
    expected.provider = QStringLiteral("onvif");
    expected.protocol = QStringLiteral("onvif");
    expected.direction = Direction::input;
    expected.mediaKinds = MediaKind::audio | MediaKind::video | MediaKind::metadata | MediaKind::control;
    expected.protocolData = QJsonObject{
        {QStringLiteral("onvif.endpointReference"), match.endpointReference},
        {QStringLiteral("onvif.types"), match.types},
        {QStringLiteral("onvif.scopes"), match.scopes},
        {QStringLiteral("onvif.xaddrs"), QJsonArray{match.xaddrs.first(), match.xaddrs.last()}},
    };
    EndpointRecord service;
    service.id = QStringLiteral("urn:uuid:1:onvif");
    service.label = QStringLiteral("ONVIF Device Service");
    service.protocol = QStringLiteral("onvif");
    service.url = QStringLiteral("onvif://10.0.0.4");
    service.direction = Direction::input;
    service.mediaKinds = MediaKind::audio | MediaKind::video | MediaKind::metadata | MediaKind::control;
    service.transport = QStringLiteral("HTTP/SOAP");
    EndpointRecord xaddr;
    xaddr.id = QStringLiteral("urn:uuid:1:xaddr");
    xaddr.label = QStringLiteral("ONVIF XAddr");
    xaddr.protocol = QStringLiteral("http");
    xaddr.url = QStringLiteral("http://10.0.0.4:8080/onvif/device_service");
    xaddr.direction = Direction::controlOnly;
    xaddr.mediaKinds = MediaKind::control;
    xaddr.transport = QStringLiteral("HTTP/SOAP");
    expected.endpoints = {service, xaddr};

    compareRecords(recordFromProbeMatch(match), expected);
}

void OnvifDiscovererTest::fillsFieldsWithoutXaddrs()
{
    DeviceRecord expected;
    expected.id = QStringLiteral("urn:uuid:1");
    expected.displayName = QStringLiteral("ONVIF Device");
    expected.provider = QStringLiteral("onvif");
    expected.protocol = QStringLiteral("onvif");
    expected.direction = Direction::input;
    expected.mediaKinds = MediaKind::audio | MediaKind::video | MediaKind::metadata | MediaKind::control;
    expected.protocolData = QJsonObject{
        {QStringLiteral("onvif.endpointReference"), QStringLiteral("urn:uuid:1")},
        {QStringLiteral("onvif.types"), QString()},
        {QStringLiteral("onvif.scopes"), QString()},
        {QStringLiteral("onvif.xaddrs"), QJsonArray()},
    };
    EndpointRecord service;
    service.id = QStringLiteral("urn:uuid:1:onvif");
    service.label = QStringLiteral("ONVIF Device Service");
    service.protocol = QStringLiteral("onvif");
    service.direction = Direction::input;
    service.mediaKinds = expected.mediaKinds;
    service.transport = QStringLiteral("HTTP/SOAP");
    expected.endpoints = {service};

    compareRecords(recordFromProbeMatch({QStringLiteral("urn:uuid:1"), QString(), QString(), {}}), expected);
}

void OnvifDiscovererTest::takesOneTimeForAllFields()
{
    const QDateTime before = QDateTime::currentDateTimeUtc();
    const DeviceRecord record =
        recordFromProbeMatch({QStringLiteral("1"), QString(), QString(), {QStringLiteral("http://a/")}});
    QCOMPARE(record.endpoints.size(), 2);
    verifyOneTime(record, before);
}

void OnvifDiscovererTest::choosesIdAndUrls_data()
{
    QTest::addColumn<QString>("endpointReference");
    QTest::addColumn<QStringList>("xaddrs");
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("displayName");
    QTest::addColumn<QStringList>("urls");

    const QString uuid = QStringLiteral("urn:uuid:1");
    const QString a = QStringLiteral("http://a/x");
    const QString b = QStringLiteral("http://b/y");
    const QString hostless = QStringLiteral("/onvif/device_service");
    const QString unnamed = QStringLiteral("ONVIF Device");

    QTest::newRow("address and URL") << uuid << QStringList{a} << uuid << QStringLiteral("a")
                                     << QStringList{QStringLiteral("onvif://a"), a};
    QTest::newRow("no address") << QString() << QStringList{a, b} << a << QStringLiteral("a")
                                << QStringList{QStringLiteral("onvif://a"), a};
    QTest::newRow("blank address") << QStringLiteral(" ") << QStringList{a} << QStringLiteral(" ")
                                   << QStringLiteral("a") << QStringList{QStringLiteral("onvif://a"), a};
    QTest::newRow("host from a later URL") << uuid << QStringList{hostless, b} << uuid << QStringLiteral("b")
                                           << QStringList{QStringLiteral("onvif://b"), hostless};
    QTest::newRow("host from a later URL, no address")
        << QString() << QStringList{hostless, b} << hostless << QStringLiteral("b")
        << QStringList{QStringLiteral("onvif://b"), hostless};
    QTest::newRow("no host anywhere")
        << uuid << QStringList{hostless} << uuid << unnamed << QStringList{hostless, hostless};
    QTest::newRow("no host anywhere, no address")
        << QString() << QStringList{hostless} << hostless << unnamed << QStringList{hostless, hostless};
    QTest::newRow("no URL") << uuid << QStringList() << uuid << unnamed << QStringList{QString()};
    QTest::newRow("empty URL first") << uuid << QStringList{QString(), b} << uuid << QStringLiteral("b")
                                     << QStringList{QStringLiteral("onvif://b")};
    QTest::newRow("nothing") << QString() << QStringList() << QString() << unnamed << QStringList{QString()};
}

void OnvifDiscovererTest::choosesIdAndUrls()
{
    QFETCH(QString, endpointReference);
    QFETCH(QStringList, xaddrs);
    QFETCH(QString, id);
    QFETCH(QString, displayName);
    QFETCH(QStringList, urls);

    const DeviceRecord record = recordFromProbeMatch({endpointReference, QString(), QString(), xaddrs});
    QCOMPARE(record.id, id);
    QCOMPARE(record.displayName, displayName);
    QStringList actualUrls;
    for (const EndpointRecord &endpoint : record.endpoints) {
        actualUrls.append(endpoint.url);
    }
    QCOMPARE(actualUrls, urls);
    QCOMPARE(record.endpoints.first().id, QString(id + QStringLiteral(":onvif")));
    if (urls.size() > 1) {
        QCOMPARE(record.endpoints.last().id, QString(id + QStringLiteral(":xaddr")));
    }
}

void OnvifDiscovererTest::readsHost_data()
{
    QTest::addColumn<QString>("xaddr");
    QTest::addColumn<QString>("host");

    const auto row = [](const char *name, const char *xaddr, const char *host) {
        QTest::newRow(name) << QString::fromUtf8(xaddr) << QString::fromUtf8(host);
    };
    row("address", "http://10.0.0.4/onvif", "10.0.0.4");
    row("port", "http://10.0.0.4:8000/", "10.0.0.4");
    row("name", "http://Cam.Local/", "cam.local");
    row("user and password", "http://a:b@cam/", "cam");
    row("IPv6", "http://[fe80::1]:80/", "fe80::1");
    row("other scheme", "soap.udp://cam:3702", "cam");
    row("no scheme", "10.0.0.4/onvif", "");
    row("scheme alone", "http://", "");
    row("port too great", "http://cam:99999/", "");
    row("broken host", "http://c^am/", "");
    row("broken IPv6", "http://[fe80::/", "");
    row("percent-encoded host", "http://c%61m/", "cam");
    row("beyond ASCII", "http://k\xc3\xa4mera.de/", "k\xc3\xa4mera.de");
}

void OnvifDiscovererTest::readsHost()
{
    QFETCH(QString, xaddr);
    QFETCH(QString, host);

    const DeviceRecord record = recordFromProbeMatch({QStringLiteral("1"), QString(), QString(), {xaddr}});
    QCOMPARE(record.hostname, host);
    QCOMPARE(record.addresses, host.isEmpty() ? QStringList() : QStringList{host});
}

void OnvifDiscovererTest::keepsPercentSigns()
{
    const QString id = QStringLiteral("%1%2");
    const DeviceRecord record =
        recordFromProbeMatch({id, QString(), QString(), {QStringLiteral("http://[fe80::1%251]/%1")}});
    QCOMPARE(record.id, id);
    QCOMPARE(record.endpoints.first().id, QStringLiteral("%1%2:onvif"));
    QCOMPARE(record.hostname, QStringLiteral("fe80::1%1"));
    QCOMPARE(record.endpoints.first().url, QStringLiteral("onvif://fe80::1%1"));
    QCOMPARE(record.endpoints.last().url, QStringLiteral("http://[fe80::1%251]/%1"));
}

void OnvifDiscovererTest::keepsTextAsItStands()
{
    const DeviceRecord record = recordFromProbeMatch(
        {QStringLiteral("URN:UUID:Ab"), QStringLiteral(" t "), QStringLiteral("s\n s"), {}});
    QCOMPARE(record.id, QStringLiteral("URN:UUID:Ab"));
    QCOMPARE(record.protocolData.value(QStringLiteral("onvif.types")).toString(), QStringLiteral(" t "));
    QCOMPARE(record.protocolData.value(QStringLiteral("onvif.scopes")).toString(), QStringLiteral("s\n s"));
}

void OnvifDiscovererTest::sendsOneProbe()
{
    const MulticastPeer peer(port);
    QVERIFY(peer.isListening());
    QVERIFY(OnvifDiscoverer().scan(nullptr).isEmpty());
    const QList<QNetworkDatagram> datagrams = allReceived(peer);
    QCOMPARE(datagrams.size(), 1);
    QCOMPARE(datagrams.first().data(), probe);
    QVERIFY(datagrams.first().senderPort() > 1024);
    QCOMPARE(datagrams.first().hopLimit(), 1); // the system's default for multicast
}

void OnvifDiscovererTest::sendsOneProbeInEveryScan()
{
    const MulticastPeer peer(port, [](const QByteArray &) {
        return QList<QByteArray>{reply(match("urn:uuid:1", "http://10.0.0.4/"))};
    });
    OnvifDiscoverer discoverer;
    QCOMPARE(discoverer.scan(nullptr).size(), 1);
    QCOMPARE(discoverer.scan(nullptr).size(), 1);
    const QList<QNetworkDatagram> datagrams = allReceived(peer);
    QCOMPARE(datagrams.size(), 2);
    QCOMPARE(datagrams.last().data(), probe);
}

void OnvifDiscovererTest::runsOutInFull_data()
{
    QTest::addColumn<QList<QByteArray>>("answers");

    QTest::newRow("silence") << QList<QByteArray>();
    QTest::newRow("with answers") << QList<QByteArray>{reply(match("urn:uuid:1", "http://10.0.0.4/"))};
}

void OnvifDiscovererTest::runsOutInFull()
{
    QFETCH(QList<QByteArray>, answers);

    QElapsedTimer elapsed;
    elapsed.start();
    QCOMPARE(scanAmong(answers).size(), answers.size());
    QVERIFY(elapsed.elapsed() >= windowMs);
}

void OnvifDiscovererTest::scansRecords()
{
    const QByteArray answer = reply(match("urn:uuid:1", "http://10.0.0.4/onvif/device_service"));
    const QDateTime before = QDateTime::currentDateTimeUtc();
    const QList<DeviceRecord> records = scanAmong({answer});
    QCOMPARE(records.size(), 1);
    compareRecords(records.first(), recordFromProbeMatch(parseProbeMatches(answer).first()));
    QCOMPARE(records.first().id, QStringLiteral("urn:uuid:1"));
    verifyOneTime(records.first(), before);
}

void OnvifDiscovererTest::keepsOrderOfArrival()
{
    QCOMPARE(idsOf(scanAmong({reply(match("urn:c", "http://c/") + match("urn:a", "http://a/")),
                              reply(match("urn:b", "http://b/"))})),
             (QStringList{QStringLiteral("urn:c"), QStringLiteral("urn:a"), QStringLiteral("urn:b")}));
}

void OnvifDiscovererTest::dropsRepeats_data()
{
    QTest::addColumn<QByteArray>("second");
    QTest::addColumn<int>("count");

    QTest::newRow("same") << match("urn:uuid:a", "http://10.0.0.4/") << 1;
    QTest::newRow("same address, other URL") << match("urn:uuid:a", "http://10.0.0.5/") << 1;
    QTest::newRow("same address in capitals") << match("URN:UUID:A", "http://10.0.0.4/") << 1;
    QTest::newRow("other address, same URL") << match("urn:uuid:b", "http://10.0.0.4/") << 2;
    QTest::newRow("no address, same URL") << match("", "http://10.0.0.4/") << 2;
}

void OnvifDiscovererTest::dropsRepeats()
{
    QFETCH(QByteArray, second);
    QFETCH(int, count);

    const QByteArray first = match("urn:uuid:a", "http://10.0.0.4/");
    QCOMPARE(scanAmong({reply(first + second), reply(second), reply(first)}).size(), count);
}

void OnvifDiscovererTest::keepsFirstOfEqualKeys()
{
    const QList<DeviceRecord> records =
        scanAmong({reply(match("urn:a", "http://first/")), reply(match("urn:a", "http://second/"))});
    QCOMPARE(records.size(), 1);
    QCOMPARE(records.first().hostname, QStringLiteral("first"));
}

void OnvifDiscovererTest::ignoresBrokenReplies()
{
    const QByteArray broken = reply(match("urn:broken", "http://broken/"));
    QCOMPARE(idsOf(scanAmong({
                 QByteArray(),
                 broken.left(broken.size() - 5),
                 reply(match("urn:a", "http://a/")),
                 QByteArray(60000, '<'),
                 QByteArrayLiteral("HTTP/1.1 200 OK\r\nUSN: uuid:1\r\n\r\n"),
                 probe,
                 reply(match("", "")),
                 reply(match("urn:b", "http://b/")),
             })),
             (QStringList{QStringLiteral("urn:a"), QStringLiteral("urn:b")}));
}

void OnvifDiscovererTest::hearsBurst()
{
    QList<QByteArray> answers;
    QStringList ids;
    for (int i = 0; i < 50; ++i) {
        answers.append(reply(match("urn:" + QByteArray::number(i), "http://10.0.0.4/")));
        ids.append(QStringLiteral("urn:%1").arg(i));
    }
    QCOMPARE(idsOf(scanAmong(answers)), ids);
}

void OnvifDiscovererTest::remembersNothingBetweenScans()
{
    OnvifDiscoverer discoverer;
    {
        const MulticastPeer peer(port, [](const QByteArray &) {
            return QList<QByteArray>{reply(match("urn:uuid:1", "http://10.0.0.4/"))};
        });
        QCOMPARE(discoverer.scan(nullptr).size(), 1);
    }
    QVERIFY(discoverer.scan(nullptr).isEmpty());
}

void OnvifDiscovererTest::clearsError()
{
    QString error = QStringLiteral("left over");
    QVERIFY(OnvifDiscoverer().scan(&error).isEmpty());
    QCOMPARE(error, QString());
}

void OnvifDiscovererTest::takesNoErrorArgument()
{
    QCOMPARE(scanAmong({reply(match("urn:uuid:1", "http://10.0.0.4/"))}).size(), 1);
}

void OnvifDiscovererTest::isSilentWithoutRoute()
{
    if (QStandardPaths::findExecutable(QStringLiteral("ip")).isEmpty()) {
        QSKIP("ip, which changes routes, is missing");
    }
    const MulticastPeer peer(port);
    run({QStringLiteral("ip"), QStringLiteral("route"), QStringLiteral("del"), QStringLiteral("224.0.0.0/4"),
         QStringLiteral("dev"), QStringLiteral("lo")});
    m_hasRoute = false;
    QString error;
    QElapsedTimer elapsed;
    elapsed.start();
    QVERIFY(OnvifDiscoverer().scan(&error).isEmpty());
    QVERIFY(elapsed.elapsed() >= windowMs);
    QCOMPARE(error, QString());
    QVERIFY(allReceived(peer).isEmpty());
}

void OnvifDiscovererTest::reportsFailedBind()
{
    const MulticastPeer peer(port);
    {
        const NoFreePort noFreePort;
        if (!noFreePort.isSet()) {
            QSKIP("this machine lets nobody change a private network's range of ephemeral ports");
        }
        QUdpSocket second;
        QVERIFY(
            !second.bind(QHostAddress::AnyIPv4, 0, QUdpSocket::ShareAddress | QUdpSocket::ReuseAddressHint));
        QString error;
        QVERIFY(OnvifDiscoverer().scan(&error).isEmpty());
        QVERIFY(!error.isEmpty());
        QCOMPARE(error, second.errorString());
        QVERIFY(OnvifDiscoverer().scan(nullptr).isEmpty());
    }
    QVERIFY(allReceived(peer).isEmpty());
}

QTEST_GUILESS_MAIN(OnvifDiscovererTest)
#include "onvif_discoverer_test.moc"
