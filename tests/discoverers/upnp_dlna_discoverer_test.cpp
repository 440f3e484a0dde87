#include "discoverers/upnp_dlna_discoverer.h"

#include <QElapsedTimer>
#include <QtTest>

#include "http_peer.h"
#include "no_free_port.h"
#include "record_checks.h"
#include "ssdp_peer.h"

using namespace Sondrix;

Q_DECLARE_METATYPE(HttpAnswer)
Q_DECLARE_METATYPE(Sondrix::Direction)
Q_DECLARE_METATYPE(Sondrix::MediaKinds)

/// Runs in a network of its own (tests/private_network.sh).
class UpnpDlnaDiscovererTest : public QObject
{
    Q_OBJECT

private slots:
    void isProviderUpnpDlna();
    void parsesDescriptions_data();
    void parsesDescriptions();
    void discardsBrokenDescriptions_data();
    void discardsBrokenDescriptions();
    void resolvesUrls_data();
    void resolvesUrls();
    void fillsEveryField();
    void takesOneTimeForAllFields();
    void needsTypeNameOrUdn_data();
    void needsTypeNameOrUdn();
    void choosesId_data();
    void choosesId();
    void choosesDisplayName_data();
    void choosesDisplayName();
    void readsHost_data();
    void readsHost();
    void choosesDirectionAndMedia_data();
    void choosesDirectionAndMedia();
    void addsWebEndpoint_data();
    void addsWebEndpoint();
    void labelsControlEndpoints_data();
    void labelsControlEndpoints();
    void keepsPercentSigns();
    void fetchesUpToItsLimit();
    void fetchesNothingAboveItsLimit();
    void fetchTimesOut_data();
    void fetchTimesOut();
    void fetchReportsErrors();
    void searchesForServersAndRenderers();
    void scansInOrderOfArrival();
    void fetchesOneLocationTwice();
    void passesOverAnswers_data();
    void passesOverAnswers();
    void scanOutlastsSilentDevice();
    void followsManyAnswers();
    void takesBodyOfRedirect();
    void runsOutInFull();
    void clearsError();
    void takesNoErrorArgument();
    void reportsFailedSearch();
};

namespace
{

const QString serverType = QStringLiteral("urn:schemas-upnp-org:device:MediaServer:1");
const QString rendererType = QStringLiteral("urn:schemas-upnp-org:device:MediaRenderer:1");

QUrl location()
{
    return QUrl(QStringLiteral("http://10.0.0.5:49152/dir/desc.xml"));
}

/// The fields that are not empty, as "name=text"; the entries of a list follow each other by a comma.
QString summary(const UpnpDescription &description)
{
    QStringList fields;
    const auto add = [&fields](const char *name, const QString &text) {
        if (!text.isEmpty()) {
            fields.append(QString(QLatin1String(name) + QLatin1Char('=') + text));
        }
    };
    add("deviceType", description.deviceType);
    add("friendlyName", description.friendlyName);
    add("manufacturer", description.manufacturer);
    add("modelName", description.modelName);
    add("serialNumber", description.serialNumber);
    add("udn", description.udn);
    add("presentationUrl", description.presentationUrl);
    add("serviceTypes", description.serviceTypes.join(QLatin1Char(',')));
    add("controlUrls", description.controlUrls.join(QLatin1Char(',')));
    return fields.join(QLatin1Char('|'));
}

UpnpDescription renderer()
{
    UpnpDescription description;
    description.deviceType = rendererType;
    description.friendlyName = QStringLiteral("Studio TV");
    description.udn = QStringLiteral("uuid:1234");
    return description;
}

/// A description as it comes over HTTP.
QByteArray descriptionXml(const QByteArray &udn)
{
    return "<?xml version=\"1.0\"?>\n<root xmlns=\"urn:schemas-upnp-org:device-1-0\"><device>"
           "<deviceType>urn:schemas-upnp-org:device:MediaRenderer:1</deviceType>"
           "<friendlyName>TV " +
           udn + "</friendlyName><UDN>" + udn + "</UDN></device></root>\n";
}

/// A good description with white space behind its root, of this many bytes in all.
QByteArray descriptionOfSize(int size)
{
    const QByteArray xml = descriptionXml("uuid:1");
    return xml + QByteArray(size - xml.size(), ' ');
}

QByteArray ssdpAnswer(const QByteArray &usn, const QByteArray &location)
{
    return "HTTP/1.1 200 OK\r\nUSN: " + usn + "\r\nLOCATION: " + location +
           "\r\nST: urn:schemas-upnp-org:device:MediaRenderer:1\r\n\r\n";
}

/// Answers the search for renderers, and no other, with the given datagrams.
SsdpPeer::Answers rendererAnswers(const QList<QByteArray> &answers)
{
    return [answers](const QByteArray &search) {
        return search.contains("MediaRenderer") ? answers : QList<QByteArray>();
    };
}

QStringList idsOf(const QList<DeviceRecord> &records)
{
    QStringList ids;
    for (const DeviceRecord &record : records) {
        ids.append(record.id);
    }
    return ids;
}

} // namespace

void UpnpDlnaDiscovererTest::isProviderUpnpDlna()
{
    const UpnpDlnaDiscoverer discoverer;
    QCOMPARE(discoverer.providerName(), QStringLiteral("upnp-dlna"));
    QVERIFY(discoverer.isAvailable());
}

void UpnpDlnaDiscovererTest::parsesDescriptions_data()
{
    QTest::addColumn<QByteArray>("xml");
    QTest::addColumn<QString>("fields");

    const auto row = [](const char *name, const char *xml, const char *fields) {
        QTest::newRow(name) << QByteArray(xml) << QString::fromUtf8(fields);
    };
    row("complete",
        "<?xml version=\"1.0\"?>\r\n"
        "<root xmlns=\"urn:schemas-upnp-org:device-1-0\">\r\n"
        "  <specVersion><major>1</major><minor>0</minor></specVersion>\r\n"
        "  <URLBase>http://10.0.0.9/</URLBase>\r\n"
        "  <device>\r\n"
        "    <deviceType>urn:schemas-upnp-org:device:MediaServer:1</deviceType>\r\n"
        "    <friendlyName>Archive</friendlyName>\r\n"
        "    <manufacturer>Acme</manufacturer>\r\n"
        "    <manufacturerURL>http://acme.example/</manufacturerURL>\r\n"
        "    <modelDescription>Server</modelDescription>\r\n"
        "    <modelName>A-1</modelName>\r\n"
        "    <modelNumber>1</modelNumber>\r\n"
        "    <serialNumber>S1</serialNumber>\r\n"
        "    <UDN>uuid:1</UDN>\r\n"
        "    <serviceList>\r\n"
        "      <service>\r\n"
        "        <serviceType>urn:schemas-upnp-org:service:ContentDirectory:1</serviceType>\r\n"
        "        <serviceId>urn:upnp-org:serviceId:ContentDirectory</serviceId>\r\n"
        "        <SCPDURL>/cd.xml</SCPDURL>\r\n"
        "        <controlURL>/cd/control</controlURL>\r\n"
        "        <eventSubURL>/cd/event</eventSubURL>\r\n"
        "      </service>\r\n"
        "      <service>\r\n"
        "        <serviceType>urn:schemas-upnp-org:service:ConnectionManager:1</serviceType>\r\n"
        "        <controlURL>/cm/control</controlURL>\r\n"
        "      </service>\r\n"
        "    </serviceList>\r\n"
        "    <presentationURL>/web</presentationURL>\r\n"
        "  </device>\r\n"
        "</root>\r\n",
        "deviceType=urn:schemas-upnp-org:device:MediaServer:1|friendlyName=Archive|manufacturer=Acme|"
        "modelName=A-1|serialNumber=S1|udn=uuid:1|presentationUrl=/web|"
        "serviceTypes=urn:schemas-upnp-org:service:ContentDirectory:1,"
        "urn:schemas-upnp-org:service:ConnectionManager:1|controlUrls=/cd/control,/cm/control");
    row("prefix on every element",
        "<u:root xmlns:u='urn:schemas-upnp-org:device-1-0'><u:device><u:friendlyName>A</u:friendlyName>"
        "<u:UDN>uuid:1</u:UDN><u:serviceType>s</u:serviceType></u:device></u:root>",
        "friendlyName=A|udn=uuid:1|serviceTypes=s");
    row("embedded device, the last counts",
        "<root><device><friendlyName>A</friendlyName><UDN>uuid:1</UDN><modelName>M</modelName>"
        "<serviceType>s1</serviceType><controlURL>/1</controlURL>"
        "<deviceList><device><friendlyName>B</friendlyName><UDN>uuid:2</UDN>"
        "<serviceType>s2</serviceType><controlURL>/2</controlURL></device></deviceList></device></root>",
        "friendlyName=B|modelName=M|udn=uuid:2|serviceTypes=s1,s2|controlUrls=/1,/2");
    row("root device behind the embedded one",
        "<root><device><deviceList><device><friendlyName>B</friendlyName></device></deviceList>"
        "<friendlyName>A</friendlyName></device></root>",
        "friendlyName=A");
    row("empty text erases",
        "<root><friendlyName>A</friendlyName><UDN>uuid:1</UDN><friendlyName/><UDN> </UDN></root>", "");
    row("empty texts of lists dropped",
        "<root><serviceType>s1</serviceType><controlURL/><serviceType> \n</serviceType>"
        "<controlURL>/2</controlURL><serviceType>s3</serviceType></root>",
        "serviceTypes=s1,s3|controlUrls=/2");
    row("repeats in lists kept",
        "<root><serviceType>s</serviceType><serviceType>s</serviceType><controlURL>/</controlURL>"
        "<controlURL>/</controlURL></root>",
        "serviceTypes=s,s|controlUrls=/,/");
    row("texts trimmed",
        "<root><friendlyName>\n  Studio  TV \t</friendlyName><controlURL> /c </controlURL></root>",
        "friendlyName=Studio  TV|controlUrls=/c");
    row("other letter case",
        "<root><FriendlyName>A</FriendlyName><udn>u</udn><presentationUrl>/</presentationUrl>"
        "<controlUrl>/</controlUrl><devicetype>d</devicetype></root>",
        "");
    row("outside of any device", "<x><y><UDN>uuid:1</UDN></y></x>", "udn=uuid:1");
    row("root is the field", "<UDN>uuid:1</UDN>", "udn=uuid:1");
    row("field inside a field", "<root><friendlyName>A<UDN>uuid:1</UDN>B</friendlyName></root>",
        "friendlyName=AB");
    row("entities", "<root><friendlyName>R&amp;B &lt;TV&gt; &#252;</friendlyName></root>",
        "friendlyName=R&B <TV> \xc3\xbc");
    row("nothing of it", "<root><device/></root>", "");
}

void UpnpDlnaDiscovererTest::parsesDescriptions()
{
    QFETCH(QByteArray, xml);
    QFETCH(QString, fields);

    QCOMPARE(summary(parseUpnpDescription(xml)), fields);
}

void UpnpDlnaDiscovererTest::discardsBrokenDescriptions_data()
{
    QTest::addColumn<QByteArray>("xml");

    const QByteArray good = descriptionXml("uuid:1");
    const auto row = [](const char *name, const QByteArray &xml) { QTest::newRow(name) << xml; };
    row("empty", QByteArray());
    row("last byte of the root missing", good.trimmed().chopped(1));
    row("end tag of the root missing", QByteArray(good).replace("</root>", ""));
    row("half of it", good.left(good.size() / 2));
    row("second root", good + "<root/>");
    row("text behind the root", good + "x");
    row("NUL behind the root", good + QByteArray("\0", 1) + "x");
    row("undeclared prefix", QByteArray(good).replace("<UDN>", "<dlna:x/><UDN>"));
    row("undeclared entity", QByteArray(good).replace("TV ", "TV&nbsp;"));
    row("ampersand alone", QByteArray(good).replace("TV ", "TV & "));
    row("broken UTF-8", QByteArray(good).replace("TV ", "TV\xff"));
    row("not XML", "404 page not found\n");
}

void UpnpDlnaDiscovererTest::discardsBrokenDescriptions()
{
    QFETCH(QByteArray, xml);

    const UpnpDescription description = parseUpnpDescription(xml);
    QCOMPARE(summary(description), QString());
    QVERIFY(!hasStableKey(recordFromUpnpDescription(description, location())));
}

void UpnpDlnaDiscovererTest::resolvesUrls_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("url");

    const auto row = [](const char *name, const char *value, const char *url) {
        QTest::newRow(name) << QString::fromUtf8(value) << QString::fromUtf8(url);
    };
    row("bare path", "/web", "http://10.0.0.5:49152/web");
    row("name", "web", "http://10.0.0.5:49152/dir/web");
    row("folder above", "../web", "http://10.0.0.5:49152/web");
    row("query", "?a=b", "http://10.0.0.5:49152/dir/desc.xml?a=b");
    row("fragment", "#a", "http://10.0.0.5:49152/dir/desc.xml#a");
    row("path and query", "/web?a=b&c", "http://10.0.0.5:49152/web?a=b&c");
    row("empty", "", "http://10.0.0.5:49152/dir/desc.xml");
    row("full URL", "http://10.0.0.9/web", "http://10.0.0.9/web");
    row("full URL with port", "https://10.0.0.9:8443/", "https://10.0.0.9:8443/");
    row("full URL with folder above", "http://10.0.0.9/a/../web", "http://10.0.0.9/a/../web");
    row("full URL in capitals", "HTTP://TV/Web", "http://tv/Web");
    row("other scheme", "rtsp://10.0.0.5/stream", "rtsp://10.0.0.5/stream");
    row("scheme without authority", "mailto:a@tv.example", "mailto:a@tv.example");
    row("host without scheme", "//tv/web", "http://tv/web");
    row("address read as a path", "10.0.0.9/web", "http://10.0.0.5:49152/dir/10.0.0.9/web");
    row("blank", "/a b", "http://10.0.0.5:49152/a b");
    row("encoded blank shown", "/a%20b", "http://10.0.0.5:49152/a b");
    row("encoded slash kept", "/a%2Fb", "http://10.0.0.5:49152/a%2Fb");
    row("place-holders", "/%1/%2", "http://10.0.0.5:49152/%251/%252");
    row("beyond ASCII", "/\xc3\xbc", "http://10.0.0.5:49152/\xc3\xbc");
}

void UpnpDlnaDiscovererTest::resolvesUrls()
{
    QFETCH(QString, value);
    QFETCH(QString, url);

    QCOMPARE(resolveUpnpUrl(location(), value), url);
}

void UpnpDlnaDiscovererTest::fillsEveryField()
{
    UpnpDescription description;
    description.deviceType = rendererType;
    description.friendlyName = QStringLiteral("Studio TV");
    description.manufacturer = QStringLiteral("Acme");
    description.modelName = QStringLiteral("T-1");
    description.serialNumber = QStringLiteral("S1");
    description.udn = QStringLiteral("uuid:1234");
    description.presentationUrl = QStringLiteral("/web");
    description.serviceTypes = QStringList{QStringLiteral("urn:schemas-upnp-org:service:AVTransport:1"),
                                           QStringLiteral("urn:schemas-upnp-org:service:RenderingControl:1")};
    description.controlUrls =
        QStringList{QStringLiteral("/avt"), QStringLiteral("rc"), QStringLiteral("http://10.0.0.9/x")};

    const MediaKinds allKinds = MediaKind::audio | MediaKind::video | MediaKind::control;
    DeviceRecord expected;
    expected.id = QStringLiteral("uuid:1234");
    expected.displayName = QStringLiteral("Studio TV");
    expected.vendor = QStringLiteral("Acme");
    expected.model = QStringLiteral("T-1");
    expected.serial = QStringLiteral("S1");
    expected.hostname = QStringLiteral("10.0.0.5");
    expected.addresses = QStringList{QStringLiteral("10.0.0.5")};
    expected.provider = QStringLiteral("upnp");
    expected.protocol = QStringLiteral("upnp");
    expected.direction = Direction::output;
    expected.mediaKinds = allKinds;
    expected.protocolData =
        QJsonObject{{QStringLiteral("upnp.deviceType"), rendererType},
                    {QStringLiteral("upnp.location"), QStringLiteral("http://10.0.0.5:49152/dir/desc.xml")},
                    {QStringLiteral("upnp.udn"), QStringLiteral("uuid:1234")}};
    const auto addEndpoint = [&expected](const char *id, const char *label, const char *protocol,
                                         const char *url, Direction direction, MediaKinds kinds) {
        EndpointRecord endpoint;
        endpoint.id = QString::fromLatin1(id);
        endpoint.label = QString::fromLatin1(label);
        endpoint.protocol = QString::fromLatin1(protocol);
        endpoint.url = QString::fromLatin1(url);
        endpoint.direction = direction;
        endpoint.mediaKinds = kinds;
        expected.endpoints.append(endpoint);
    };
    addEndpoint("uuid:1234:description", "UPnP Description", "upnp", "http://10.0.0.5:49152/dir/desc.xml",
                Direction::output, allKinds);
    addEndpoint("uuid:1234:web", "Web UI", "http", "http://10.0.0.5:49152/web", Direction::controlOnly,
                MediaKind::control);
    addEndpoint("uuid:1234:control:0", "urn:schemas-upnp-org:service:AVTransport:1", "upnp",
                "http://10.0.0.5:49152/avt", Direction::controlOnly, MediaKind::control);
    addEndpoint("uuid:1234:control:1", "urn:schemas-upnp-org:service:RenderingControl:1", "upnp",
                "http://10.0.0.5:49152/dir/rc", Direction::controlOnly, MediaKind::control);
    addEndpoint("uuid:1234:control:2", "UPnP Control", "upnp", "http://10.0.0.9/x", Direction::controlOnly,
                MediaKind::control);
    compareRecords(recordFromUpnpDescription(description, location()), expected);
}

void UpnpDlnaDiscovererTest::takesOneTimeForAllFields()
{
    UpnpDescription description = renderer();
    description.presentationUrl = QStringLiteral("/");
    description.controlUrls = QStringList{QStringLiteral("/a"), QStringLiteral("/b")};
    const QDateTime before = QDateTime::currentDateTimeUtc();
    const DeviceRecord record = recordFromUpnpDescription(description, location());
    QCOMPARE(record.endpoints.size(), 4);
    verifyOneTime(record, before);
}

void UpnpDlnaDiscovererTest::needsTypeNameOrUdn_data()
{
    QTest::addColumn<QString>("deviceType");
    QTest::addColumn<QString>("friendlyName");
    QTest::addColumn<QString>("udn");
    QTest::addColumn<bool>("isDevice");

    const QString text = QStringLiteral("x");
    QTest::newRow("device type") << text << QString() << QString() << true;
    QTest::newRow("name") << QString() << text << QString() << true;
    QTest::newRow("UDN") << QString() << QString() << text << true;
    QTest::newRow("blank name") << QString() << QStringLiteral(" ") << QString() << true;
    QTest::newRow("none") << QString() << QString() << QString() << false;
}

void UpnpDlnaDiscovererTest::needsTypeNameOrUdn()
{
    QFETCH(QString, deviceType);
    QFETCH(QString, friendlyName);
    QFETCH(QString, udn);
    QFETCH(bool, isDevice);

    UpnpDescription description;
    description.deviceType = deviceType;
    description.friendlyName = friendlyName;
    description.manufacturer = QStringLiteral("Acme");
    description.modelName = QStringLiteral("T-1");
    description.serialNumber = QStringLiteral("S1");
    description.presentationUrl = QStringLiteral("/");
    description.serviceTypes = QStringList{QStringLiteral("s")};
    description.controlUrls = QStringList{QStringLiteral("/c")};
    description.udn = udn;
    const DeviceRecord record = recordFromUpnpDescription(description, location());
    if (isDevice) {
        QVERIFY(hasStableKey(record));
        QCOMPARE(record.endpoints.size(), 3);
    } else {
        compareRecords(record, DeviceRecord());
        QVERIFY(!record.firstSeen.isValid());
        QVERIFY(!record.lastSeen.isValid());
        QVERIFY(!record.lastChanged.isValid());
    }
}

void UpnpDlnaDiscovererTest::choosesId_data()
{
    QTest::addColumn<QString>("udn");
    QTest::addColumn<QString>("id");

    const QString url = location().toString();
    QTest::newRow("UDN") << QStringLiteral("uuid:1") << QStringLiteral("uuid:1");
    QTest::newRow("UDN with white space") << QStringLiteral(" uuid:1 ") << QStringLiteral(" uuid:1 ");
    QTest::newRow("blank UDN") << QStringLiteral(" \t") << url;
    QTest::newRow("no UDN") << QString() << url;
}

void UpnpDlnaDiscovererTest::choosesId()
{
    QFETCH(QString, udn);
    QFETCH(QString, id);

    UpnpDescription description = renderer();
    description.udn = udn;
    const DeviceRecord record = recordFromUpnpDescription(description, location());
    QCOMPARE(record.id, id);
    QCOMPARE(record.endpoints.first().id, QString(id + QStringLiteral(":description")));
    QCOMPARE(record.protocolData.value(QStringLiteral("upnp.udn")), QJsonValue(udn));
}

void UpnpDlnaDiscovererTest::choosesDisplayName_data()
{
    QTest::addColumn<QString>("friendlyName");
    QTest::addColumn<QString>("displayName");

    QTest::newRow("name") << QStringLiteral("TV") << QStringLiteral("TV");
    QTest::newRow("blank name") << QStringLiteral(" ") << QStringLiteral("10.0.0.5");
    QTest::newRow("no name") << QString() << QStringLiteral("10.0.0.5");
}

void UpnpDlnaDiscovererTest::choosesDisplayName()
{
    QFETCH(QString, friendlyName);
    QFETCH(QString, displayName);

    UpnpDescription description = renderer();
    description.friendlyName = friendlyName;
    QCOMPARE(recordFromUpnpDescription(description, location()).displayName, displayName);
}

void UpnpDlnaDiscovererTest::readsHost_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("host");
    QTest::addColumn<QString>("text");

    const auto row = [](const char *name, const char *url, const char *host, const char *text) {
        QTest::newRow(name) << QString::fromUtf8(url) << QString::fromUtf8(host) << QString::fromUtf8(text);
    };
    row("address", "http://10.0.0.5/d", "10.0.0.5", "http://10.0.0.5/d");
    row("name in capitals", "http://TV/D", "tv", "http://tv/D");
    row("IPv6 address", "http://[fe80::1]:80/d", "fe80::1", "http://[fe80::1]:80/d");
    row("IPv6 address with scope", "http://[fe80::1%25eth0]/d", "fe80::1%eth0", "http://[fe80::1%25eth0]/d");
    row("encoded path shown", "http://tv/a%20b", "tv", "http://tv/a b");
    row("no host", "file:///d.xml", "", "file:///d.xml");
    row("relative", "d.xml", "", "d.xml");
    row("port too great", "http://tv:99999/d", "", "");
    row("empty", "", "", "");
}

void UpnpDlnaDiscovererTest::readsHost()
{
    QFETCH(QString, url);
    QFETCH(QString, host);
    QFETCH(QString, text);

    UpnpDescription description = renderer();
    description.friendlyName.clear();
    description.udn.clear();
    const DeviceRecord record = recordFromUpnpDescription(description, QUrl(url));
    QCOMPARE(record.hostname, host);
    QCOMPARE(record.displayName, host);
    QCOMPARE(record.addresses, host.isEmpty() ? QStringList() : QStringList{host});
    QCOMPARE(record.id, text);
    QCOMPARE(record.endpoints.first().url, text);
    QCOMPARE(record.protocolData.value(QStringLiteral("upnp.location")), QJsonValue(text));
}

void UpnpDlnaDiscovererTest::choosesDirectionAndMedia_data()
{
    QTest::addColumn<QString>("deviceType");
    QTest::addColumn<Direction>("direction");
    QTest::addColumn<MediaKinds>("mediaKinds");

    const MediaKinds control = MediaKind::control;
    const MediaKinds all = MediaKind::audio | MediaKind::video | MediaKind::control;
    QTest::newRow("media server") << serverType << Direction::input << all;
    QTest::newRow("media renderer") << rendererType << Direction::output << all;
    QTest::newRow("any letter case") << serverType.toUpper() << Direction::input << all;
    QTest::newRow("gateway") << QStringLiteral("urn:schemas-upnp-org:device:InternetGatewayDevice:1")
                             << Direction::controlOnly << control;
    QTest::newRow("no type") << QString() << Direction::controlOnly << control;
}

void UpnpDlnaDiscovererTest::choosesDirectionAndMedia()
{
    QFETCH(QString, deviceType);
    QFETCH(Direction, direction);
    QFETCH(MediaKinds, mediaKinds);

    UpnpDescription description = renderer();
    description.deviceType = deviceType;
    const DeviceRecord record = recordFromUpnpDescription(description, location());
    QCOMPARE(record.direction, direction);
    QCOMPARE(record.mediaKinds, mediaKinds);
    QCOMPARE(record.endpoints.size(), 1);
    QCOMPARE(record.endpoints.first().direction, direction);
    QCOMPARE(record.endpoints.first().mediaKinds, mediaKinds);
    QCOMPARE(record.protocolData.value(QStringLiteral("upnp.deviceType")), QJsonValue(deviceType));
}

void UpnpDlnaDiscovererTest::addsWebEndpoint_data()
{
    QTest::addColumn<QString>("presentationUrl");
    QTest::addColumn<QString>("url"); // empty: no endpoint

    QTest::newRow("bare path") << QStringLiteral("/web") << QStringLiteral("http://10.0.0.5:49152/web");
    QTest::newRow("full URL") << QStringLiteral("http://10.0.0.9/") << QStringLiteral("http://10.0.0.9/");
    QTest::newRow("none") << QString() << QString();
}

void UpnpDlnaDiscovererTest::addsWebEndpoint()
{
    QFETCH(QString, presentationUrl);
    QFETCH(QString, url);

    UpnpDescription description = renderer();
    description.presentationUrl = presentationUrl;
    const DeviceRecord record = recordFromUpnpDescription(description, location());
    QCOMPARE(record.endpoints.size(), url.isEmpty() ? 1 : 2);
    if (!url.isEmpty()) {
        QCOMPARE(record.endpoints.last().id, QStringLiteral("uuid:1234:web"));
        QCOMPARE(record.endpoints.last().url, url);
    }
}

void UpnpDlnaDiscovererTest::labelsControlEndpoints_data()
{
    QTest::addColumn<QStringList>("serviceTypes");
    QTest::addColumn<QStringList>("controlUrls");
    QTest::addColumn<QStringList>("labels");

    const QString a = QStringLiteral("a");
    const QString b = QStringLiteral("b");
    const QString other = QStringLiteral("UPnP Control");
    QTest::newRow("none") << QStringList() << QStringList() << QStringList();
    QTest::newRow("types alone") << QStringList{a, b} << QStringList() << QStringList();
    QTest::newRow("one each") << QStringList{a} << QStringList{b} << QStringList{a};
    QTest::newRow("URLs alone") << QStringList() << QStringList{a, b} << QStringList{other, other};
    QTest::newRow("more URLs") << QStringList{a, b} << QStringList{a, a, a} << QStringList{a, b, other};
    QTest::newRow("more types") << QStringList{a, b} << QStringList{b} << QStringList{a};
}

void UpnpDlnaDiscovererTest::labelsControlEndpoints()
{
    QFETCH(QStringList, serviceTypes);
    QFETCH(QStringList, controlUrls);
    QFETCH(QStringList, labels);

    UpnpDescription description = renderer();
    description.serviceTypes = serviceTypes;
    description.controlUrls = controlUrls;
    const DeviceRecord record = recordFromUpnpDescription(description, location());
    QCOMPARE(record.endpoints.size(), labels.size() + 1);
    for (int i = 0; i < labels.size(); ++i) {
        const EndpointRecord &endpoint = record.endpoints.at(i + 1);
        QCOMPARE(endpoint.id, QStringLiteral("uuid:1234:control:%1").arg(i));
        QCOMPARE(endpoint.label, labels.at(i));
        QCOMPARE(endpoint.url, QString(QStringLiteral("http://10.0.0.5:49152/dir/") + controlUrls.at(i)));
    }
}

void UpnpDlnaDiscovererTest::keepsPercentSigns()
{
    UpnpDescription description = renderer();
    description.udn = QStringLiteral("uuid:%1%2");
    description.friendlyName = QStringLiteral("%1");
    description.serviceTypes = QStringList{QStringLiteral("%2%1")};
    description.controlUrls = QStringList{QStringLiteral("/c")};
    const DeviceRecord record = recordFromUpnpDescription(description, location());
    QCOMPARE(record.id, QStringLiteral("uuid:%1%2"));
    QCOMPARE(record.displayName, QStringLiteral("%1"));
    QCOMPARE(record.endpoints.at(0).id, QStringLiteral("uuid:%1%2:description"));
    QCOMPARE(record.endpoints.at(1).id, QStringLiteral("uuid:%1%2:control:0"));
    QCOMPARE(record.endpoints.at(1).label, QStringLiteral("%2%1"));
}

void UpnpDlnaDiscovererTest::fetchesUpToItsLimit()
{
    const QByteArray xml = descriptionOfSize(524288);
    const HttpPeer peer(HttpAnswer::ok(xml));
    UpnpDlnaDiscoverer discoverer;
    QString error = QStringLiteral("left over");
    const QByteArray body = discoverer.fetchDescription(peer.url("/desc.xml?a=b"), &error);
    QCOMPARE(error, QString());
    QCOMPARE(body.size(), 524288);
    QVERIFY(body == xml);
    QCOMPARE(peer.targets(), QList<QByteArray>{"/desc.xml?a=b"});
    QCOMPARE(parseUpnpDescription(body).udn, QStringLiteral("uuid:1"));
}

void UpnpDlnaDiscovererTest::fetchesNothingAboveItsLimit()
{
    const HttpPeer peer(HttpAnswer::ok(descriptionOfSize(524289)));
    UpnpDlnaDiscoverer discoverer;
    QString error;
    QCOMPARE(discoverer.fetchDescription(peer.url("/"), &error), QByteArray());
    QCOMPARE(error, QStringLiteral("UPnP description exceeded size limit"));
}

void UpnpDlnaDiscovererTest::fetchTimesOut_data()
{
    QTest::addColumn<HttpAnswer>("answer");

    const QByteArray header = QByteArrayLiteral("HTTP/1.1 200 OK\r\n\r\n");
    QTest::newRow("silence") << HttpAnswer::silence();
    QTest::newRow("description that never ends")
        << HttpAnswer{header + descriptionXml("uuid:1"), HttpAnswer::After::keepOpen};
    QTest::newRow("flood") << HttpAnswer{header, HttpAnswer::After::flood};
}

void UpnpDlnaDiscovererTest::fetchTimesOut()
{
    QFETCH(HttpAnswer, answer);

    const HttpPeer peer(answer);
    UpnpDlnaDiscoverer discoverer;
    QString error;
    QElapsedTimer elapsed;
    elapsed.start();
    QCOMPARE(discoverer.fetchDescription(peer.url("/"), &error), QByteArray());
    QVERIFY(elapsed.elapsed() >= 1200);
    QCOMPARE(error, QStringLiteral("timed out fetching UPnP description"));
}

void UpnpDlnaDiscovererTest::fetchReportsErrors()
{
    const HttpPeer peer(HttpAnswer::notFound());
    UpnpDlnaDiscoverer discoverer;
    QString error;
    QCOMPARE(discoverer.fetchDescription(peer.url("/"), &error), QByteArray());
    QVERIFY(!error.isEmpty());
    QCOMPARE(discoverer.fetchDescription(peer.url("/"), nullptr), QByteArray());
}

void UpnpDlnaDiscovererTest::searchesForServersAndRenderers()
{
    const SsdpPeer ssdp;
    QVERIFY(ssdp.isListening());
    UpnpDlnaDiscoverer discoverer;
    QVERIFY(discoverer.scan(nullptr).isEmpty());
    QTRY_COMPARE(ssdp.received().size(), 2);
    const QList<QNetworkDatagram> searches = ssdp.received();
    QVERIFY(searches.at(0).data().endsWith("\r\nST: " + rendererType.toLatin1() + "\r\n\r\n"));
    QVERIFY(searches.at(1).data().endsWith("\r\nST: " + serverType.toLatin1() + "\r\n\r\n"));
}

void UpnpDlnaDiscovererTest::scansInOrderOfArrival()
{
    const HttpPeer first([](const HttpRequest &request) {
        return HttpAnswer::ok(descriptionXml("uuid:" + request.target.mid(1)));
    });
    const HttpPeer second(HttpAnswer::ok(descriptionXml("uuid:second")));
    const SsdpPeer ssdp(rendererAnswers({ssdpAnswer("uuid:z", first.base() + "/z"),
                                         ssdpAnswer("uuid:x", second.base() + "/x"),
                                         ssdpAnswer("uuid:a", first.base() + "/a")}));
    UpnpDlnaDiscoverer discoverer;
    QString error;
    const QDateTime before = QDateTime::currentDateTimeUtc();
    const QList<DeviceRecord> records = discoverer.scan(&error);
    QCOMPARE(error, QString());
    QCOMPARE(idsOf(records), (QStringList{QStringLiteral("uuid:z"), QStringLiteral("uuid:second"),
                                          QStringLiteral("uuid:a")}));
    QCOMPARE(first.targets(), (QList<QByteArray>{"/z", "/a"}));
    compareRecords(records.first(), recordFromUpnpDescription(parseUpnpDescription(descriptionXml("uuid:z")),
                                                              first.url("/z")));
    verifyOneTime(records.first(), before);
}

void UpnpDlnaDiscovererTest::fetchesOneLocationTwice()
{
    const HttpPeer peer(HttpAnswer::ok(descriptionXml("uuid:1")));
    const SsdpPeer ssdp([&](const QByteArray &search) {
        const QByteArray target = search.contains("MediaServer") ? "server" : "renderer";
        return QList<QByteArray>{"HTTP/1.1 200 OK\r\nUSN: uuid:1\r\nLOCATION: " + peer.base() +
                                 "/d\r\nST: " + target + "\r\n\r\n"};
    });
    UpnpDlnaDiscoverer discoverer;
    const QList<DeviceRecord> records = discoverer.scan(nullptr);
    QCOMPARE(idsOf(records), (QStringList{QStringLiteral("uuid:1"), QStringLiteral("uuid:1")}));
    QCOMPARE(peer.targets(), (QList<QByteArray>{"/d", "/d"}));
    QCOMPARE(peer.connections(), 2);
}

void UpnpDlnaDiscovererTest::passesOverAnswers_data()
{
    QTest::addColumn<HttpAnswer>("answer");
    QTest::addColumn<QByteArray>("location"); // empty: that of the peer

    const QByteArray half = descriptionXml("uuid:1").left(100);
    QTest::newRow("404 with a description")
        << HttpAnswer::of("404 Not Found", descriptionXml("uuid:1")) << QByteArray();
    QTest::newRow("500") << HttpAnswer::of("500 Broken", QByteArray()) << QByteArray();
    QTest::newRow("empty body") << HttpAnswer::ok(QByteArray()) << QByteArray();
    QTest::newRow("no XML") << HttpAnswer::ok("hello") << QByteArray();
    QTest::newRow("half of a description") << HttpAnswer::ok(half) << QByteArray();
    QTest::newRow("half of the length told")
        << HttpAnswer{"HTTP/1.1 200 OK\r\nContent-Length: 9999\r\n\r\n" + descriptionXml("uuid:1")}
        << QByteArray();
    QTest::newRow("too large") << HttpAnswer::ok(descriptionOfSize(524289)) << QByteArray();
    QTest::newRow("nothing used in it")
        << HttpAnswer::ok("<root><modelName>M</modelName></root>") << QByteArray();
    QTest::newRow("connection closed") << HttpAnswer{} << QByteArray();
    QTest::newRow("closed port") << HttpAnswer{} << QByteArray("http://127.0.0.1:1/d");
    QTest::newRow("no URL") << HttpAnswer{} << QByteArray("http://[");
    QTest::newRow("port too great") << HttpAnswer{} << QByteArray("http://127.0.0.1:99999/");
    QTest::newRow("relative URL") << HttpAnswer{} << QByteArray("d.xml");
    QTest::newRow("file") << HttpAnswer{} << QByteArray("file:///etc/hostname");
    QTest::newRow("description in the URL")
        << HttpAnswer{} << QByteArray("data:text/xml,<root><UDN>uuid:1</UDN></root>");
}

/// A good device behind the bad one is found all the same, and no error is told.
void UpnpDlnaDiscovererTest::passesOverAnswers()
{
    QFETCH(HttpAnswer, answer);
    QFETCH(QByteArray, location);

    const HttpPeer bad(answer);
    const HttpPeer good(HttpAnswer::ok(descriptionXml("uuid:good")));
    if (location.isEmpty()) {
        location = bad.base() + "/";
    }
    const SsdpPeer ssdp(
        rendererAnswers({ssdpAnswer("uuid:1", location), "HTTP/1.1 200 OK\r\nUSN: no-location\r\n\r\n",
                         ssdpAnswer("uuid:2", good.base())}));
    UpnpDlnaDiscoverer discoverer;
    QString error;
    QCOMPARE(idsOf(discoverer.scan(&error)), QStringList{QStringLiteral("uuid:good")});
    QCOMPARE(error, QString());
}

void UpnpDlnaDiscovererTest::scanOutlastsSilentDevice()
{
    const HttpPeer silent(HttpAnswer::silence());
    const HttpPeer good(HttpAnswer::ok(descriptionXml("uuid:good")));
    const SsdpPeer ssdp(
        rendererAnswers({ssdpAnswer("uuid:1", silent.base()), ssdpAnswer("uuid:2", good.base())}));
    UpnpDlnaDiscoverer discoverer;
    QString error;
    QElapsedTimer elapsed;
    elapsed.start();
    QCOMPARE(idsOf(discoverer.scan(&error)), QStringList{QStringLiteral("uuid:good")});
    QVERIFY(elapsed.elapsed() >= 2400);
    QCOMPARE(error, QString());
}

void UpnpDlnaDiscovererTest::followsManyAnswers()
{
    const HttpPeer peer([](const HttpRequest &request) {
        return HttpAnswer::ok(descriptionXml("uuid:" + request.target.mid(1)));
    });
    QList<QByteArray> answers;
    QStringList ids;
    for (int i = 0; i < 40; ++i) {
        const QByteArray number = QByteArray::number(i);
        answers.append(ssdpAnswer("uuid:" + number, peer.base() + "/" + number));
        ids.append(QStringLiteral("uuid:%1").arg(i));
    }
    const SsdpPeer ssdp(rendererAnswers(answers));
    UpnpDlnaDiscoverer discoverer;
    QCOMPARE(idsOf(discoverer.scan(nullptr)), ids);
}

void UpnpDlnaDiscovererTest::takesBodyOfRedirect()
{
    const HttpPeer other(HttpAnswer::ok(descriptionXml("uuid:other")));
    const HttpPeer peer(
        HttpAnswer::of("302 Found", descriptionXml("uuid:1"), "Location: " + other.base() + "/\r\n"));
    const SsdpPeer ssdp(rendererAnswers({ssdpAnswer("uuid:1", peer.base())}));
    UpnpDlnaDiscoverer discoverer;
    QCOMPARE(idsOf(discoverer.scan(nullptr)), QStringList{QStringLiteral("uuid:1")});
    QCOMPARE(other.connections(), 0);
}

void UpnpDlnaDiscovererTest::runsOutInFull()
{
    UpnpDlnaDiscoverer discoverer;
    QElapsedTimer elapsed;
    elapsed.start();
    QVERIFY(discoverer.scan(nullptr).isEmpty());
    QVERIFY(elapsed.elapsed() >= 1200);
}

void UpnpDlnaDiscovererTest::clearsError()
{
    UpnpDlnaDiscoverer discoverer;
    QString error = QStringLiteral("left over");
    QVERIFY(discoverer.scan(&error).isEmpty());
    QCOMPARE(error, QString());
}

void UpnpDlnaDiscovererTest::takesNoErrorArgument()
{
    const HttpPeer peer(HttpAnswer::notFound());
    const SsdpPeer ssdp(rendererAnswers({ssdpAnswer("uuid:1", peer.base())}));
    UpnpDlnaDiscoverer discoverer;
    QVERIFY(discoverer.scan(nullptr).isEmpty());
    QCOMPARE(peer.requests().size(), 1);
}

void UpnpDlnaDiscovererTest::reportsFailedSearch()
{
    const NoFreePort noPort;
    if (!noPort.isSet()) {
        QSKIP("this machine lets nobody change a private network's range of ephemeral ports");
    }
    UpnpDlnaDiscoverer discoverer;
    QString error;
    QVERIFY(discoverer.scan(&error).isEmpty());
    QVERIFY(!error.isEmpty());
    QVERIFY(discoverer.scan(nullptr).isEmpty());
}

QTEST_GUILESS_MAIN(UpnpDlnaDiscovererTest)
#include "upnp_dlna_discoverer_test.moc"
