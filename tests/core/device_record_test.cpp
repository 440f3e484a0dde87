#include "core/device_record.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QtTest>

using Sondrix::DeviceRecord;
using Sondrix::Direction;
using Sondrix::EndpointRecord;
using Sondrix::MediaKind;
using Sondrix::MediaKinds;

Q_DECLARE_METATYPE(Sondrix::Direction)

namespace
{

EndpointRecord endpointWithUrl(const QString &url)
{
    EndpointRecord endpoint;
    endpoint.url = url;
    return endpoint;
}

DeviceRecord recordWithUrls(const QStringList &urls)
{
    DeviceRecord record;
    for (const QString &url : urls) {
        record.endpoints.append(endpointWithUrl(url));
    }
    return record;
}

QByteArray compactJson(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

} // namespace

class DeviceRecordTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void endpointDefaults();
    void deviceDefaults();
    void normalizedText_data();
    void normalizedText();
    void endpointStableKey_data();
    void endpointStableKey();
    void deviceStableKey_data();
    void deviceStableKey();
    void keyLeavesTheFieldsAlone();
    void keyFollowsTheFields();
    void mergeDirection_data();
    void mergeDirection();
    void directionName_data();
    void directionName();
    void mediaKindNames_data();
    void mediaKindNames();
    void timestampToJson_data();
    void timestampToJson();
    void endpointToJsonOfDefaults();
    void endpointToJsonOfFilledFields();
    void endpointMetadataConvertsValueByValue();
    void deviceToJsonOfDefaults();
    void deviceToJsonOfFilledFields();
    void deviceToJsonPrintsUnusualValues();
    void endpointUrls_data();
    void endpointUrls();
    void metaTypeCarriesARecord();
};

void DeviceRecordTest::initTestCase()
{
    // So that local time differs from UTC wherever the test runs.
    qputenv("TZ", "JST-9");
}

void DeviceRecordTest::endpointDefaults()
{
    const EndpointRecord endpoint;
    const QStringList texts{endpoint.id, endpoint.label, endpoint.protocol, endpoint.url, endpoint.transport};
    QCOMPARE(texts.join(QString()), QString());
    QCOMPARE(endpoint.direction, Direction::unknown);
    QCOMPARE(endpoint.mediaKinds, MediaKinds());
    QVERIFY(endpoint.metadata.isEmpty());
    QVERIFY(!endpoint.lastSeen.isValid());
}

void DeviceRecordTest::deviceDefaults()
{
    const DeviceRecord record;
    const QStringList texts{record.id,       record.displayName, record.vendor,
                            record.model,    record.serial,      record.firmware,
                            record.hostname, record.provider,    record.protocol};
    QCOMPARE(texts.join(QString()), QString());
    QVERIFY(record.addresses.isEmpty());
    QCOMPARE(record.direction, Direction::unknown);
    QCOMPARE(record.mediaKinds, MediaKinds());
    QVERIFY(record.endpoints.isEmpty());
    QVERIFY(record.protocolData.isEmpty());
    QCOMPARE(record.requiresAuth, false);
    QCOMPARE(record.online, true);
    QCOMPARE(record.ttlSeconds, 0);
    QVERIFY(!record.firstSeen.isValid());
    QVERIFY(!record.lastSeen.isValid());
    QVERIFY(!record.lastChanged.isValid());
}

void DeviceRecordTest::normalizedText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("normalized");
    QTest::addColumn<bool>("blank");

    QTest::newRow("null") << QString() << QString() << true;
    QTest::newRow("empty") << QStringLiteral("") << QString() << true;
    QTest::newRow("spaces") << QStringLiteral("   ") << QString() << true;
    QTest::newRow("tab and line ends") << QStringLiteral("\t\r\n") << QString() << true;
    QTest::newRow("no-break space") << QStringLiteral("\u00a0") << QString() << true;
    QTest::newRow("ideographic space") << QStringLiteral("\u3000") << QString() << true;
    QTest::newRow("zero width space is text")
        << QStringLiteral("\u200b") << QStringLiteral("\u200b") << false;
    QTest::newRow("one letter") << QStringLiteral("a") << QStringLiteral("a") << false;
    QTest::newRow("capitals") << QStringLiteral("AbC") << QStringLiteral("abc") << false;
    QTest::newRow("white space at both ends")
        << QStringLiteral(" \tAbC \n") << QStringLiteral("abc") << false;
    QTest::newRow("white space inside stays") << QStringLiteral(" A  B ") << QStringLiteral("a  b") << false;
    QTest::newRow("umlaut") << QStringLiteral("\u00c4") << QStringLiteral("\u00e4") << false;
    QTest::newRow("dotted capital I grows") << QStringLiteral("\u0130") << QStringLiteral("i\u0307") << false;
    QTest::newRow("Kelvin sign becomes k") << QStringLiteral("\u212a") << QStringLiteral("k") << false;
    QTest::newRow("final sigma is not made")
        << QStringLiteral("\u0391\u03a3") << QStringLiteral("\u03b1\u03c3") << false;
    QTest::newRow("letter beyond the first plane")
        << QStringLiteral("\U00010400") << QStringLiteral("\U00010428") << false;
}

void DeviceRecordTest::normalizedText()
{
    QFETCH(QString, text);
    QFETCH(bool, blank);
    QTEST(Sondrix::normalizedText(text), "normalized");
    QCOMPARE(Sondrix::isBlank(text), blank);
}

void DeviceRecordTest::endpointStableKey_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("protocol");
    QTest::addColumn<QString>("label");
    QTest::addColumn<QString>("key");

    const QString none;
    const QString blank = QStringLiteral(" \t");
    const QString id = QStringLiteral(" Node-1:Control ");
    const QString url = QStringLiteral(" HTTP://Host.Example/Path?Query=A#F ");
    const QString protocol = QStringLiteral(" RTSP ");
    const QString label = QStringLiteral(" Cam 1 ");
    const QString idKey = QStringLiteral("endpoint-id:node-1:control");
    const QString urlKey = QStringLiteral("endpoint-url:http://host.example/path?query=a#f");
    const QString labelKey = QStringLiteral("endpoint-label:rtsp:cam 1");

    QTest::newRow("nothing") << none << none << none << none << none;
    QTest::newRow("id alone") << id << none << none << none << idKey;
    QTest::newRow("id before all others") << id << url << protocol << label << idKey;
    QTest::newRow("URL alone, lower-cased as a whole") << none << url << none << none << urlKey;
    QTest::newRow("URL behind a blank id") << blank << url << protocol << label << urlKey;
    QTest::newRow("protocol and label") << none << none << protocol << label << labelKey;
    QTest::newRow("protocol and label behind blanks") << blank << blank << protocol << label << labelKey;
    QTest::newRow("label alone") << none << none << none << label << none;
    QTest::newRow("protocol alone") << none << none << protocol << none << none;
    QTest::newRow("label with a blank protocol") << none << none << blank << label << none;
    QTest::newRow("protocol with a blank label") << none << none << protocol << blank << none;
    QTest::newRow("all blank") << blank << blank << blank << blank << none;
}

void DeviceRecordTest::endpointStableKey()
{
    QFETCH(QString, id);
    QFETCH(QString, url);
    QFETCH(QString, protocol);
    QFETCH(QString, label);
    EndpointRecord endpoint;
    endpoint.id = id;
    endpoint.url = url;
    endpoint.protocol = protocol;
    endpoint.label = label;
    endpoint.transport = QStringLiteral("TCP");
    QTEST(Sondrix::endpointStableKey(endpoint), "key");
}

void DeviceRecordTest::deviceStableKey_data()
{
    QTest::addColumn<DeviceRecord>("record");
    QTest::addColumn<QString>("key");

    const QString blank = QStringLiteral("  ");
    EndpointRecord byLabel;
    byLabel.label = QStringLiteral("Cam 1");
    EndpointRecord byUrl = endpointWithUrl(QStringLiteral("rtsp://Cam/1"));
    EndpointRecord byId;
    byId.id = QStringLiteral("Cam:RTP");

    DeviceRecord record;
    QTest::newRow("nothing") << record << QString();

    record.displayName = QStringLiteral("Studio camera");
    QTest::newRow("display name alone") << record << QString();
    record.vendor = QStringLiteral("Acme");
    record.model = QStringLiteral("C1");
    record.firmware = QStringLiteral("2.0");
    record.provider = QStringLiteral("mdns");
    record.protocol = QStringLiteral("rtsp");
    QTest::newRow("names, vendor, provider and protocol alone") << record << QString();

    record.endpoints = {byLabel, byUrl, byId};
    QTest::newRow("first endpoint that has a key")
        << record << QStringLiteral("device-endpoint:endpoint-url:rtsp://cam/1");
    record.endpoints = {byLabel};
    QTest::newRow("endpoints without a key") << record << QString();
    record.endpoints = {byId, byUrl};
    QTest::newRow("endpoint id, both prefixes")
        << record << QStringLiteral("device-endpoint:endpoint-id:cam:rtp");

    record.addresses = QStringList{QStringLiteral(" FE80::1%Eth0 "), QStringLiteral("10.0.0.2")};
    QTest::newRow("first address") << record << QStringLiteral("device-address:fe80::1%eth0");
    record.addresses = QStringList{blank, QStringLiteral("10.0.0.2")};
    QTest::newRow("blank first address") << record << QStringLiteral("device-address:");
    record.addresses = QStringList{QString()};
    QTest::newRow("empty first address") << record << QStringLiteral("device-address:");

    record.addresses = QStringList{QStringLiteral("10.0.0.1")};
    record.hostname = QStringLiteral(" Cam.Local. ");
    QTest::newRow("hostname before address") << record << QStringLiteral("device-host:cam.local.");
    record.hostname = blank;
    QTest::newRow("address behind a blank hostname") << record << QStringLiteral("device-address:10.0.0.1");

    record.hostname = QStringLiteral("cam.local");
    record.serial = QStringLiteral(" X1 ");
    record.vendor = QStringLiteral(" Acme ");
    QTest::newRow("serial with vendor") << record << QStringLiteral("device-serial:acme:x1");
    record.vendor.clear();
    QTest::newRow("serial without vendor") << record << QStringLiteral("device-serial::x1");
    record.vendor = blank;
    QTest::newRow("serial with a blank vendor") << record << QStringLiteral("device-serial::x1");
    record.serial = blank;
    QTest::newRow("hostname behind a blank serial") << record << QStringLiteral("device-host:cam.local");

    record.serial = QStringLiteral("X1");
    record.vendor = QStringLiteral("Acme");
    record.id = QStringLiteral(" ABC ");
    QTest::newRow("id before all others") << record << QStringLiteral("device-id:abc");
    record.id = blank;
    QTest::newRow("blank id with serial") << record << QStringLiteral("device-serial:acme:x1");
}

void DeviceRecordTest::deviceStableKey()
{
    QFETCH(DeviceRecord, record);
    QFETCH(QString, key);
    QCOMPARE(Sondrix::deviceStableKey(record), key);
    QCOMPARE(Sondrix::hasStableKey(record), !key.isEmpty());
}

void DeviceRecordTest::keyLeavesTheFieldsAlone()
{
    DeviceRecord record;
    record.id = QStringLiteral(" ABC ");
    QCOMPARE(Sondrix::deviceStableKey(record), QStringLiteral("device-id:abc"));
    QCOMPARE(record.id, QStringLiteral(" ABC "));
    QCOMPARE(Sondrix::deviceToJson(record).value(QStringLiteral("id")).toString(), QStringLiteral(" ABC "));
}

void DeviceRecordTest::keyFollowsTheFields()
{
    DeviceRecord record;
    record.hostname = QStringLiteral("cam");
    QCOMPARE(Sondrix::deviceStableKey(record), QStringLiteral("device-host:cam"));
    record.id = QStringLiteral("1");
    QCOMPARE(Sondrix::deviceStableKey(record), QStringLiteral("device-id:1"));
}

void DeviceRecordTest::mergeDirection_data()
{
    QTest::addColumn<Direction>("a");
    QTest::addColumn<Direction>("b");
    QTest::addColumn<Direction>("merged");

    const Direction none = Direction::unknown;
    const Direction in = Direction::input;
    const Direction out = Direction::output;
    const Direction both = Direction::inputOutput;
    const Direction control = Direction::controlOnly;
    const Direction all[] = {none, in, out, both, control};
    const Direction table[5][5] = {
        {none, in, out, both, control}, {in, in, both, both, in},          {out, both, out, both, out},
        {both, both, both, both, both}, {control, in, out, both, control},
    };
    for (int a = 0; a < 5; ++a) {
        for (int b = 0; b < 5; ++b) {
            QTest::addRow("%s with %s", qPrintable(Sondrix::directionName(all[a])),
                          qPrintable(Sondrix::directionName(all[b])))
                << all[a] << all[b] << table[a][b];
        }
    }
}

void DeviceRecordTest::mergeDirection()
{
    QFETCH(Direction, a);
    QFETCH(Direction, b);
    QTEST(Sondrix::mergeDirection(a, b), "merged");
}

void DeviceRecordTest::directionName_data()
{
    QTest::addColumn<int>("value");
    QTest::addColumn<QString>("name");
    QTest::newRow("0") << 0 << QStringLiteral("unknown");
    QTest::newRow("1") << 1 << QStringLiteral("input");
    QTest::newRow("2") << 2 << QStringLiteral("output");
    QTest::newRow("3") << 3 << QStringLiteral("inputOutput");
    QTest::newRow("4") << 4 << QStringLiteral("controlOnly");
    QTest::newRow("5") << 5 << QStringLiteral("unknown");
    QTest::newRow("99") << 99 << QStringLiteral("unknown");
    QTest::newRow("-1") << -1 << QStringLiteral("unknown");
}

void DeviceRecordTest::directionName()
{
    QFETCH(int, value);
    QTEST(Sondrix::directionName(static_cast<Direction>(value)), "name");
}

void DeviceRecordTest::mediaKindNames_data()
{
    QTest::addColumn<uint>("bits");
    QTest::addColumn<QString>("names");
    QTest::newRow("none") << 0u << QString();
    QTest::newRow("audio") << 1u << QStringLiteral("audio");
    QTest::newRow("video") << 2u << QStringLiteral("video");
    QTest::newRow("audio and video") << 3u << QStringLiteral("audio,video");
    QTest::newRow("metadata") << 4u << QStringLiteral("metadata");
    QTest::newRow("audio and metadata") << 5u << QStringLiteral("audio,metadata");
    QTest::newRow("control") << 8u << QStringLiteral("control");
    QTest::newRow("video and control") << 10u << QStringLiteral("video,control");
    QTest::newRow("all") << 15u << QStringLiteral("audio,video,metadata,control");
    QTest::newRow("bits outside the table") << 0xfff0u << QString();
    QTest::newRow("all and bits outside") << 0xffffu << QStringLiteral("audio,video,metadata,control");
}

void DeviceRecordTest::mediaKindNames()
{
    QFETCH(uint, bits);
    const MediaKinds kinds(QFlag{bits});
    QTEST(Sondrix::mediaKindNames(kinds).join(QLatin1Char(',')), "names");
}

void DeviceRecordTest::timestampToJson_data()
{
    QTest::addColumn<QDateTime>("time");
    QTest::addColumn<QString>("text");

    const QDate date(2024, 3, 9);
    QTest::newRow("invalid") << QDateTime() << QString();
    QTest::newRow("UTC with milliseconds")
        << QDateTime(date, QTime(7, 5, 3, 42), Qt::UTC) << QStringLiteral("2024-03-09T07:05:03.042Z");
    QTest::newRow("whole second keeps three decimals")
        << QDateTime(date, QTime(7, 5, 3), Qt::UTC) << QStringLiteral("2024-03-09T07:05:03.000Z");
    QTest::newRow("offset is converted") << QDateTime(date, QTime(1, 30), Qt::OffsetFromUTC, 2 * 3600)
                                         << QStringLiteral("2024-03-08T23:30:00.000Z");
    QTest::newRow("local time is converted") << QDateTime(date, QTime(7, 5, 3, 42), Qt::UTC).toLocalTime()
                                             << QStringLiteral("2024-03-09T07:05:03.042Z");
    QTest::newRow("date without a valid time") << QDateTime(QDate(), QTime(1, 0), Qt::UTC) << QString();
}

void DeviceRecordTest::timestampToJson()
{
    QFETCH(QDateTime, time);
    QTEST(Sondrix::timestampToJson(time), "text");
}

void DeviceRecordTest::endpointToJsonOfDefaults()
{
    const QByteArray expected(R"({"direction":"unknown","id":"","label":"","lastSeen":"","mediaKinds":[],)"
                              R"("metadata":{},"protocol":"","stableKey":"","transport":"","url":""})");
    QCOMPARE(compactJson(Sondrix::endpointToJson(EndpointRecord())), expected);
}

void DeviceRecordTest::endpointToJsonOfFilledFields()
{
    EndpointRecord endpoint;
    endpoint.id = QStringLiteral(" Cam:RTP ");
    endpoint.label = QStringLiteral("RTP audio");
    endpoint.protocol = QStringLiteral("rtp");
    endpoint.url = QStringLiteral("rtp://239.1.2.3:5004");
    endpoint.direction = Direction::input;
    endpoint.mediaKinds = MediaKind::control | MediaKind::audio;
    endpoint.transport = QStringLiteral("RTP/AVP");
    endpoint.metadata.insert(QStringLiteral("channels"), 8);
    endpoint.metadata.insert(QStringLiteral("active"), true);
    endpoint.lastSeen = QDateTime(QDate(2024, 3, 9), QTime(7, 5, 3, 42), Qt::UTC);

    const QByteArray expected(R"({"direction":"input","id":" Cam:RTP ","label":"RTP audio",)"
                              R"("lastSeen":"2024-03-09T07:05:03.042Z","mediaKinds":["audio","control"],)"
                              R"("metadata":{"active":true,"channels":8},"protocol":"rtp",)"
                              R"("stableKey":"endpoint-id:cam:rtp","transport":"RTP/AVP",)"
                              R"("url":"rtp://239.1.2.3:5004"})");
    QCOMPARE(compactJson(Sondrix::endpointToJson(endpoint)), expected);
}

void DeviceRecordTest::endpointMetadataConvertsValueByValue()
{
    EndpointRecord endpoint;
    endpoint.metadata = QVariantMap{
        {QStringLiteral("list"), QVariantList{1, QStringLiteral("two"), false}},
        {QStringLiteral("map"), QVariantMap{{QStringLiteral("inner"), 2.5}}},
        {QStringLiteral("nothing"), QVariant()},
        {QStringLiteral("texts"), QStringList{QStringLiteral("a"), QStringLiteral("b")}},
    };
    const QJsonObject metadata =
        Sondrix::endpointToJson(endpoint).value(QStringLiteral("metadata")).toObject();
    const QByteArray expected(
        R"({"list":[1,"two",false],"map":{"inner":2.5},"nothing":null,"texts":["a","b"]})");
    QCOMPARE(compactJson(metadata), expected);
}

void DeviceRecordTest::deviceToJsonOfDefaults()
{
    const QByteArray expected(R"({"addresses":[],"direction":"unknown","displayName":"","endpoints":[],)"
                              R"("firmware":"","firstSeen":"","hostname":"","id":"","lastChanged":"",)"
                              R"("lastSeen":"","mediaKinds":[],"model":"","online":true,"protocol":"",)"
                              R"("protocolData":{},"provider":"","requiresAuth":false,"serial":"",)"
                              R"("stableKey":"","ttlSeconds":0,"vendor":""})");
    QCOMPARE(compactJson(Sondrix::deviceToJson(DeviceRecord())), expected);
}

void DeviceRecordTest::deviceToJsonOfFilledFields()
{
    DeviceRecord record;
    record.id = QStringLiteral("UUID:1");
    record.displayName = QStringLiteral("Gallery \"A\"");
    record.vendor = QStringLiteral("Acme");
    record.model = QStringLiteral("C1");
    record.serial = QStringLiteral("X1");
    record.firmware = QStringLiteral("2.0");
    record.hostname = QStringLiteral("cam.local");
    record.addresses = QStringList{QStringLiteral("10.0.0.2"), QStringLiteral("10.0.0.1")};
    record.provider = QStringLiteral("mdns");
    record.protocol = QStringLiteral("rtsp");
    record.direction = Direction::inputOutput;
    record.mediaKinds = MediaKind::audio | MediaKind::video | MediaKind::metadata | MediaKind::control;
    record.endpoints = {endpointWithUrl(QStringLiteral("rtsp://2")),
                        endpointWithUrl(QStringLiteral("rtsp://1"))};
    record.protocolData = QJsonObject{{QStringLiteral("mdns.port"), 554}};
    record.requiresAuth = true;
    record.online = false;
    record.ttlSeconds = 120;
    record.firstSeen = QDateTime(QDate(2024, 3, 9), QTime(7, 0, 0, 1), Qt::UTC);
    record.lastSeen = QDateTime(QDate(2024, 3, 9), QTime(7, 0, 0, 2), Qt::UTC);
    record.lastChanged = QDateTime(QDate(2024, 3, 9), QTime(7, 0, 0, 3), Qt::UTC);

    const QJsonObject json = Sondrix::deviceToJson(record);
    const QJsonArray endpoints = json.value(QStringLiteral("endpoints")).toArray();
    QCOMPARE(endpoints.size(), 2);
    QCOMPARE(endpoints.at(0).toObject(), Sondrix::endpointToJson(record.endpoints.at(0)));
    QCOMPARE(endpoints.at(1).toObject(), Sondrix::endpointToJson(record.endpoints.at(1)));

    QJsonObject withoutEndpoints = json;
    withoutEndpoints.remove(QStringLiteral("endpoints"));
    const QByteArray expected(
        R"({"addresses":["10.0.0.2","10.0.0.1"],"direction":"inputOutput",)"
        R"("displayName":"Gallery \"A\"","firmware":"2.0",)"
        R"("firstSeen":"2024-03-09T07:00:00.001Z","hostname":"cam.local","id":"UUID:1",)"
        R"("lastChanged":"2024-03-09T07:00:00.003Z",)"
        R"("lastSeen":"2024-03-09T07:00:00.002Z",)"
        R"("mediaKinds":["audio","video","metadata","control"],"model":"C1",)"
        R"("online":false,"protocol":"rtsp","protocolData":{"mdns.port":554},)"
        R"("provider":"mdns","requiresAuth":true,"serial":"X1",)"
        R"("stableKey":"device-id:uuid:1","ttlSeconds":120,"vendor":"Acme"})");
    QCOMPARE(compactJson(withoutEndpoints), expected);
}

void DeviceRecordTest::deviceToJsonPrintsUnusualValues()
{
    DeviceRecord record;
    record.direction = static_cast<Direction>(99);
    record.ttlSeconds = -5;
    const QJsonObject json = Sondrix::deviceToJson(record);
    QCOMPARE(json.value(QStringLiteral("direction")).toString(), QStringLiteral("unknown"));
    QCOMPARE(json.value(QStringLiteral("ttlSeconds")).toInt(), -5);
}

void DeviceRecordTest::endpointUrls_data()
{
    QTest::addColumn<QStringList>("urls");
    QTest::addColumn<QStringList>("all");
    QTest::addColumn<QString>("primary");
    QTest::addColumn<QString>("web");

    const QString rtsp = QStringLiteral("rtsp://cam/1");
    const QString http = QStringLiteral("http://cam/");
    const QString https = QStringLiteral("https://cam/");

    QTest::newRow("no endpoints") << QStringList() << QStringList() << QString() << QString();
    QTest::newRow("blank URLs") << QStringList{QString(), QStringLiteral(" \t")} << QStringList() << QString()
                                << QString();
    QTest::newRow("no web page") << QStringList{rtsp} << QStringList{rtsp} << rtsp << QString();
    QTest::newRow("list order") << QStringList{rtsp, https, http} << QStringList{rtsp, https, http} << rtsp
                                << https;
    QTest::newRow("blank one before")
        << QStringList{QStringLiteral("  "), http} << QStringList{http} << http << http;
    QTest::newRow("trimmed") << QStringList{QStringLiteral(" http://cam/\n")} << QStringList{http} << http
                             << http;
    QTest::newRow("repeats, first spelling kept")
        << QStringList{QStringLiteral("HTTP://Cam/"), http, rtsp, QStringLiteral(" RTSP://CAM/1 ")}
        << QStringList{QStringLiteral("HTTP://Cam/"), rtsp} << QStringLiteral("HTTP://Cam/")
        << QStringLiteral("HTTP://Cam/");
    QTest::newRow("capitalised secure scheme")
        << QStringList{QStringLiteral("HttpS://Cam/A")} << QStringList{QStringLiteral("HttpS://Cam/A")}
        << QStringLiteral("HttpS://Cam/A") << QStringLiteral("HttpS://Cam/A");
    QTest::newRow("scheme without slashes is no web page")
        << QStringList{QStringLiteral("http:cam"), QStringLiteral("https:/cam")}
        << QStringList{QStringLiteral("http:cam"), QStringLiteral("https:/cam")} << QStringLiteral("http:cam")
        << QString();
    QTest::newRow("scheme that only ends in http")
        << QStringList{QStringLiteral("xhttp://cam/")} << QStringList{QStringLiteral("xhttp://cam/")}
        << QStringLiteral("xhttp://cam/") << QString();
}

void DeviceRecordTest::endpointUrls()
{
    QFETCH(QStringList, urls);
    const DeviceRecord record = recordWithUrls(urls);
    QTEST(Sondrix::allEndpointUrls(record), "all");
    QTEST(Sondrix::primaryEndpointUrl(record), "primary");
    QTEST(Sondrix::webUiUrl(record), "web");
}

void DeviceRecordTest::metaTypeCarriesARecord()
{
    DeviceRecord record;
    record.id = QStringLiteral("1");
    const QVariant variant = QVariant::fromValue(record);
    QCOMPARE(variant.typeName(), "Sondrix::DeviceRecord");
    QCOMPARE(variant.value<DeviceRecord>().id, QStringLiteral("1"));
}

QTEST_APPLESS_MAIN(DeviceRecordTest)
#include "device_record_test.moc"
