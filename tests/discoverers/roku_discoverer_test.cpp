#include "discoverers/roku_discoverer.h"

#include <QElapsedTimer>
#include <QtTest>

#include "http_peer.h"
#include "no_free_port.h"
#include "record_checks.h"
#include "ssdp_peer.h"

using namespace Sondrix;

Q_DECLARE_METATYPE(HttpAnswer)

/// Runs in a network of its own (tests/private_network.sh).
class RokuDiscovererTest : public QObject
{
    Q_OBJECT

private slots:
    void isProviderRoku();
    void parsesDeviceInfo_data();
    void parsesDeviceInfo();
    void discardsBrokenDeviceInfo_data();
    void discardsBrokenDeviceInfo();
    void fillsEveryField();
    void takesOneTimeForAllFields();
    void needsInfoOrAnswer_data();
    void needsInfoOrAnswer();
    void choosesId_data();
    void choosesId();
    void choosesDisplayName_data();
    void choosesDisplayName();
    void readsLocation_data();
    void readsLocation();
    void readsTimeToLive_data();
    void readsTimeToLive();
    void keepsPercentSigns();
    void fetchesDeviceInfo_data();
    void fetchesDeviceInfo();
    void cutsAtItsLimit_data();
    void cutsAtItsLimit();
    void fetchTimesOut();
    void fetchReportsErrors();
    void searchesForPlayers();
    void scansInOrderOfArrival();
    void reportsPlayerWithoutInfo_data();
    void reportsPlayerWithoutInfo();
    void scanOutlastsSilentPlayer();
    void skipsAnswersWithoutLocation();
    void fetchesOncePerDistinctAnswer();
    void runsOutInFull();
    void clearsError();
    void takesNoErrorArgument();
    void reportsFailedSearch();
};

namespace
{

const QString playersUsn = QStringLiteral("uuid:roku:ecp:X00000001");

SsdpResponse answerWith(const QMap<QString, QString> &headers)
{
    return SsdpResponse{QStringLiteral("HTTP/1.1 200 OK"), headers};
}

SsdpResponse playersAnswer()
{
    return answerWith({{QStringLiteral("usn"), playersUsn},
                       {QStringLiteral("st"), QStringLiteral("roku:ecp")},
                       {QStringLiteral("cache-control"), QStringLiteral("max-age=3600")}});
}

QUrl location()
{
    return QUrl(QStringLiteral("http://10.0.0.7:8060/"));
}

RokuDeviceInfo player()
{
    return {QStringLiteral("Lobby"), QStringLiteral("Ultra"), QStringLiteral("X00000001"),
            QStringLiteral("D1"), QStringLiteral("12.5.0")};
}

/// The fields that are not empty, as "name=text".
QString summary(const RokuDeviceInfo &info)
{
    QStringList fields;
    const auto add = [&fields](const char *name, const QString &text) {
        if (!text.isEmpty()) {
            fields.append(QString(QLatin1String(name) + QLatin1Char('=') + text));
        }
    };
    add("friendlyDeviceName", info.friendlyDeviceName);
    add("modelName", info.modelName);
    add("serialNumber", info.serialNumber);
    add("deviceId", info.deviceId);
    add("softwareVersion", info.softwareVersion);
    return fields.join(QLatin1Char('|'));
}

QByteArray deviceInfoXml(const QByteArray &deviceId)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<device-info><serial-number>X1</serial-number>"
           "<device-id>" +
           deviceId + "</device-id><model-name>Ultra</model-name></device-info>\n";
}

QByteArray ssdpAnswer(const QByteArray &usn, const QByteArray &location)
{
    return "HTTP/1.1 200 OK\r\nCache-Control: max-age=3600\r\nST: roku:ecp\r\nUSN: " + usn +
           "\r\nLOCATION: " + location + "\r\n\r\n";
}

SsdpPeer::Answers always(const QList<QByteArray> &answers)
{
    return [answers](const QByteArray &) { return answers; };
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

void RokuDiscovererTest::isProviderRoku()
{
    const RokuDiscoverer discoverer;
    QCOMPARE(discoverer.providerName(), QStringLiteral("roku"));
    QVERIFY(discoverer.isAvailable());
}

void RokuDiscovererTest::parsesDeviceInfo_data()
{
    QTest::addColumn<QByteArray>("xml");
    QTest::addColumn<QString>("fields");

    const auto row = [](const char *name, const char *xml, const char *fields) {
        QTest::newRow(name) << QByteArray(xml) << QString::fromUtf8(fields);
    };
    row("complete",
        "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n"
        "<device-info>\n"
        "  <udn>29380007-0800-1025-80a4-d83154332d7e</udn>\n"
        "  <serial-number>X00000001</serial-number>\n"
        "  <device-id>D1</device-id>\n"
        "  <vendor-name>Roku</vendor-name>\n"
        "  <model-name>Ultra</model-name>\n"
        "  <model-number>4800X</model-number>\n"
        "  <friendly-device-name>Lobby player</friendly-device-name>\n"
        "  <friendly-model-name>Roku Ultra</friendly-model-name>\n"
        "  <software-version>12.5.0</software-version>\n"
        "  <software-build>4178</software-build>\n"
        "</device-info>\n",
        "friendlyDeviceName=Lobby player|modelName=Ultra|serialNumber=X00000001|deviceId=D1|"
        "softwareVersion=12.5.0");
    row("user's name later",
        "<r><friendly-device-name>A</friendly-device-name><user-device-name>B</user-device-name></r>",
        "friendlyDeviceName=B");
    row("user's name earlier",
        "<r><user-device-name>B</user-device-name><friendly-device-name>A</friendly-device-name></r>",
        "friendlyDeviceName=A");
    row("user's name alone", "<r><user-device-name>B</user-device-name></r>", "friendlyDeviceName=B");
    row("blank user's name later",
        "<r><friendly-device-name>A</friendly-device-name><user-device-name> </user-device-name></r>", "");
    row("empty friendly name later", "<r><user-device-name>B</user-device-name><friendly-device-name/></r>",
        "");
    row("repeats, the last counts",
        "<r><model-name>A</model-name><x><model-name>B</model-name></x><device-id>1</device-id>"
        "<device-id/></r>",
        "modelName=B");
    row("texts trimmed", "<r><serial-number>\n X1\t </serial-number></r>", "serialNumber=X1");
    row("other letter case",
        "<r><Model-Name>A</Model-Name><DEVICE-ID>1</DEVICE-ID><deviceId>2</deviceId></r>", "");
    row("prefix", "<p:r xmlns:p='urn:x'><p:device-id>1</p:device-id></p:r>", "deviceId=1");
    row("field inside a field", "<r><model-name>A<device-id>1</device-id>B</model-name></r>", "modelName=AB");
    row("root is the field", "<device-id>1</device-id>", "deviceId=1");
    row("entities", "<r><model-name>R&amp;B</model-name></r>", "modelName=R&B");
    row("nothing of it", "<r/>", "");
}

void RokuDiscovererTest::parsesDeviceInfo()
{
    QFETCH(QByteArray, xml);
    QFETCH(QString, fields);

    QCOMPARE(summary(parseRokuDeviceInfo(xml)), fields);
}

void RokuDiscovererTest::discardsBrokenDeviceInfo_data()
{
    QTest::addColumn<QByteArray>("xml");

    const QByteArray good = deviceInfoXml("D1");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("last byte of the root missing") << good.trimmed().chopped(1);
    QTest::newRow("end tag of the root missing") << QByteArray(good).replace("</device-info>", "");
    QTest::newRow("text behind the root") << good + "x";
    QTest::newRow("undeclared prefix") << QByteArray(good).replace("<model-name>", "<x:y/><model-name>");
    QTest::newRow("broken UTF-8") << QByteArray(good).replace("Ultra", "Ultra\xff");
    QTest::newRow("no XML") << QByteArray("404 page not found");
}

void RokuDiscovererTest::discardsBrokenDeviceInfo()
{
    QFETCH(QByteArray, xml);

    QCOMPARE(summary(parseRokuDeviceInfo(xml)), QString());
}

void RokuDiscovererTest::fillsEveryField()
{
    const MediaKinds allKinds = MediaKind::audio | MediaKind::video | MediaKind::control;
    DeviceRecord expected;
    expected.id = QStringLiteral("D1");
    expected.displayName = QStringLiteral("Lobby");
    expected.vendor = QStringLiteral("Roku");
    expected.model = QStringLiteral("Ultra");
    expected.serial = QStringLiteral("X00000001");
    expected.firmware = QStringLiteral("12.5.0");
    expected.hostname = QStringLiteral("10.0.0.7");
    expected.addresses = QStringList{QStringLiteral("10.0.0.7")};
    expected.provider = QStringLiteral("roku");
    expected.protocol = QStringLiteral("roku");
    expected.direction = Direction::output;
    expected.mediaKinds = allKinds;
    expected.ttlSeconds = 3600;
    expected.protocolData =
        QJsonObject{{QStringLiteral("roku.deviceId"), QStringLiteral("D1")},
                    {QStringLiteral("roku.location"), QStringLiteral("http://10.0.0.7:8060/")},
                    {QStringLiteral("ssdp.usn"), playersUsn}};
    EndpointRecord control;
    control.id = QStringLiteral("D1:ecp");
    control.label = QStringLiteral("Roku ECP");
    control.protocol = QStringLiteral("roku");
    control.url = QStringLiteral("http://10.0.0.7:8060/");
    control.direction = Direction::output;
    control.mediaKinds = allKinds;
    EndpointRecord cast;
    cast.id = QStringLiteral("D1:cast");
    cast.label = QStringLiteral("Roku Cast");
    cast.protocol = QStringLiteral("cast");
    cast.url = QStringLiteral("cast://10.0.0.7:8060?type=roku");
    cast.direction = Direction::output;
    cast.mediaKinds = allKinds;
    expected.endpoints = {control, cast};
    compareRecords(recordFromRoku(player(), location(), playersAnswer()), expected);
}

void RokuDiscovererTest::takesOneTimeForAllFields()
{
    const QDateTime before = QDateTime::currentDateTimeUtc();
    verifyOneTime(recordFromRoku(player(), location(), playersAnswer()), before);
}

void RokuDiscovererTest::needsInfoOrAnswer_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("serialNumber");
    QTest::addColumn<QString>("deviceId");
    QTest::addColumn<bool>("isAnswerValid");
    QTest::addColumn<bool>("isDevice");

    const QString x = QStringLiteral("x");
    QTest::newRow("name") << x << QString() << QString() << false << true;
    QTest::newRow("serial number") << QString() << x << QString() << false << true;
    QTest::newRow("device id") << QString() << QString() << x << false << true;
    QTest::newRow("answer") << QString() << QString() << QString() << true << true;
    QTest::newRow("none") << QString() << QString() << QString() << false << false;
}

void RokuDiscovererTest::needsInfoOrAnswer()
{
    QFETCH(QString, name);
    QFETCH(QString, serialNumber);
    QFETCH(QString, deviceId);
    QFETCH(bool, isAnswerValid);
    QFETCH(bool, isDevice);

    const RokuDeviceInfo info{name, QStringLiteral("Ultra"), serialNumber, deviceId,
                              QStringLiteral("12.5.0")};
    const DeviceRecord record =
        recordFromRoku(info, location(), isAnswerValid ? playersAnswer() : SsdpResponse());
    if (isDevice) {
        QCOMPARE(record.vendor, QStringLiteral("Roku"));
        QCOMPARE(record.endpoints.size(), 2);
        QVERIFY(hasStableKey(record));
    } else {
        compareRecords(record, DeviceRecord());
        QVERIFY(!record.firstSeen.isValid());
        QVERIFY(!record.lastSeen.isValid());
        QVERIFY(!record.lastChanged.isValid());
    }
}

void RokuDiscovererTest::choosesId_data()
{
    QTest::addColumn<QString>("deviceId");
    QTest::addColumn<QString>("usn");
    QTest::addColumn<QString>("id");

    QTest::newRow("device id") << QStringLiteral("D1") << playersUsn << QStringLiteral("D1");
    QTest::newRow("device id with white space")
        << QStringLiteral(" D1 ") << playersUsn << QStringLiteral(" D1 ");
    QTest::newRow("blank device id") << QStringLiteral(" ") << playersUsn << playersUsn;
    QTest::newRow("no device id") << QString() << playersUsn << playersUsn;
    QTest::newRow("neither") << QString() << QString() << location().toString();
    QTest::newRow("blank device id, no usn") << QStringLiteral("\t") << QString() << location().toString();
}

void RokuDiscovererTest::choosesId()
{
    QFETCH(QString, deviceId);
    QFETCH(QString, usn);
    QFETCH(QString, id);

    RokuDeviceInfo info = player();
    info.deviceId = deviceId;
    const DeviceRecord record = recordFromRoku(info, location(), answerWith({{QStringLiteral("usn"), usn}}));
    QCOMPARE(record.id, id);
    QCOMPARE(record.endpoints.at(0).id, QString(id + QStringLiteral(":ecp")));
    QCOMPARE(record.endpoints.at(1).id, QString(id + QStringLiteral(":cast")));
    QCOMPARE(record.protocolData.value(QStringLiteral("roku.deviceId")), QJsonValue(deviceId));
    QCOMPARE(record.protocolData.value(QStringLiteral("ssdp.usn")), QJsonValue(usn));
}

void RokuDiscovererTest::choosesDisplayName_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("displayName");

    QTest::newRow("name") << QStringLiteral("Lobby") << QStringLiteral("Lobby");
    QTest::newRow("blank name") << QStringLiteral(" ") << QStringLiteral("10.0.0.7");
    QTest::newRow("no name") << QString() << QStringLiteral("10.0.0.7");
}

void RokuDiscovererTest::choosesDisplayName()
{
    QFETCH(QString, name);
    QFETCH(QString, displayName);

    RokuDeviceInfo info = player();
    info.friendlyDeviceName = name;
    QCOMPARE(recordFromRoku(info, location(), playersAnswer()).displayName, displayName);
}

void RokuDiscovererTest::readsLocation_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("host");
    QTest::addColumn<QString>("cast");

    const auto row = [](const char *name, const char *url, const char *text, const char *host,
                        const char *cast) {
        QTest::newRow(name) << QString::fromUtf8(url) << QString::fromUtf8(text) << QString::fromUtf8(host)
                            << QString::fromUtf8(cast);
    };
    row("port", "http://10.0.0.7:8061/", "http://10.0.0.7:8061/", "10.0.0.7",
        "cast://10.0.0.7:8061?type=roku");
    row("no port", "http://10.0.0.7/", "http://10.0.0.7/", "10.0.0.7", "cast://10.0.0.7:8060?type=roku");
    row("port of HTTP", "http://10.0.0.7:80/", "http://10.0.0.7:80/", "10.0.0.7",
        "cast://10.0.0.7:80?type=roku");
    row("path kept", "http://10.0.0.7:8060/dial/dd.xml", "http://10.0.0.7:8060/dial/dd.xml", "10.0.0.7",
        "cast://10.0.0.7:8060?type=roku");
    row("encoded path shown", "http://tv/a%20b", "http://tv/a b", "tv", "cast://tv:8060?type=roku");
    row("host in capitals", "http://TV:8060/", "http://tv:8060/", "tv", "cast://tv:8060?type=roku");
    row("IPv6 address", "http://[fe80::1]:8060/", "http://[fe80::1]:8060/", "fe80::1",
        "cast://fe80::1:8060?type=roku");
    row("IPv6 address with a place-holder for its scope", "http://[fe80::1%252]/", "http://[fe80::1%252]/",
        "fe80::1%2", "cast://fe80::1%2:8060?type=roku");
    row("relative", "info", "info", "", "cast://:8060?type=roku");
}

void RokuDiscovererTest::readsLocation()
{
    QFETCH(QString, url);
    QFETCH(QString, text);
    QFETCH(QString, host);
    QFETCH(QString, cast);

    RokuDeviceInfo info = player();
    info.friendlyDeviceName.clear();
    const DeviceRecord record = recordFromRoku(info, QUrl(url), playersAnswer());
    QCOMPARE(record.hostname, host);
    QCOMPARE(record.displayName, host);
    QCOMPARE(record.addresses, host.isEmpty() ? QStringList() : QStringList{host});
    QCOMPARE(record.protocolData.value(QStringLiteral("roku.location")), QJsonValue(text));
    QCOMPARE(record.endpoints.at(0).url, text);
    QCOMPARE(record.endpoints.at(1).url, cast);
}

void RokuDiscovererTest::readsTimeToLive_data()
{
    QTest::addColumn<QString>("cacheControl");
    QTest::addColumn<int>("seconds");

    QTest::newRow("max-age") << QStringLiteral("no-cache, max-age=60") << 60;
    QTest::newRow("zero") << QStringLiteral("max-age=0") << 0;
    QTest::newRow("none") << QString() << 0;
}

void RokuDiscovererTest::readsTimeToLive()
{
    QFETCH(QString, cacheControl);
    QFETCH(int, seconds);

    const SsdpResponse answer =
        answerWith({{QStringLiteral("usn"), playersUsn}, {QStringLiteral("cache-control"), cacheControl}});
    QCOMPARE(recordFromRoku(player(), location(), answer).ttlSeconds, seconds);
}

void RokuDiscovererTest::keepsPercentSigns()
{
    RokuDeviceInfo info = player();
    info.deviceId = QStringLiteral("%1%2");
    const DeviceRecord record = recordFromRoku(info, location(), playersAnswer());
    QCOMPARE(record.endpoints.at(0).id, QStringLiteral("%1%2:ecp"));
    QCOMPARE(record.endpoints.at(1).id, QStringLiteral("%1%2:cast"));
}

void RokuDiscovererTest::fetchesDeviceInfo_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QByteArray>("target");

    QTest::newRow("no path") << QByteArray("") << QByteArray("/query/device-info");
    QTest::newRow("root") << QByteArray("/") << QByteArray("/query/device-info");
    QTest::newRow("path of its own") << QByteArray("/dial/dd.xml") << QByteArray("/query/device-info");
    QTest::newRow("query kept") << QByteArray("/x?a=b") << QByteArray("/query/device-info?a=b");
    QTest::newRow("fragment") << QByteArray("/x#a") << QByteArray("/query/device-info");
}

void RokuDiscovererTest::fetchesDeviceInfo()
{
    QFETCH(QByteArray, path);
    QFETCH(QByteArray, target);

    const HttpPeer peer(HttpAnswer::ok(deviceInfoXml("D1")));
    RokuDiscoverer discoverer;
    QString error = QStringLiteral("left over");
    QCOMPARE(discoverer.fetchDeviceInfo(peer.url(path), &error), deviceInfoXml("D1"));
    QCOMPARE(error, QString());
    QCOMPARE(peer.targets(), QList<QByteArray>{target});
}

void RokuDiscovererTest::cutsAtItsLimit_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<bool>("isBlankAtEnd"); // what goes over the limit: white space, or the end tag
    QTest::addColumn<QString>("deviceId");

    const QString id = QStringLiteral("D1");
    QTest::newRow("exact") << 131072 << false << id;
    QTest::newRow("one byte more") << 131073 << false << QString();
    QTest::newRow("far more") << 500000 << false << QString();
    QTest::newRow("white space beyond") << 131100 << true << id;
}

void RokuDiscovererTest::cutsAtItsLimit()
{
    QFETCH(int, size);
    QFETCH(bool, isBlankAtEnd);
    QFETCH(QString, deviceId);

    QByteArray xml = deviceInfoXml("D1").trimmed();
    const QByteArray fill(size - xml.size(), ' ');
    if (isBlankAtEnd) {
        xml += fill;
    } else {
        xml.replace("</device-info>", fill + "</device-info>");
    }
    const HttpPeer peer(HttpAnswer::ok(xml));
    RokuDiscoverer discoverer;
    QString error;
    const QByteArray body = discoverer.fetchDeviceInfo(peer.url("/"), &error);
    QCOMPARE(error, QString());
    QCOMPARE(body.size(), 131072);
    QVERIFY(body == xml.left(131072));
    QCOMPARE(parseRokuDeviceInfo(body).deviceId, deviceId);
}

void RokuDiscovererTest::fetchTimesOut()
{
    const HttpPeer peer(HttpAnswer::silence());
    RokuDiscoverer discoverer;
    QString error;
    QElapsedTimer elapsed;
    elapsed.start();
    QCOMPARE(discoverer.fetchDeviceInfo(peer.url("/"), &error), QByteArray());
    QVERIFY(elapsed.elapsed() >= 1200);
    QCOMPARE(error, QStringLiteral("timed out fetching Roku device info"));
}

void RokuDiscovererTest::fetchReportsErrors()
{
    const HttpPeer peer(HttpAnswer::notFound());
    RokuDiscoverer discoverer;
    QString error;
    QCOMPARE(discoverer.fetchDeviceInfo(peer.url("/"), &error), QByteArray());
    QVERIFY(!error.isEmpty());
    QCOMPARE(discoverer.fetchDeviceInfo(peer.url("/"), nullptr), QByteArray());
}

void RokuDiscovererTest::searchesForPlayers()
{
    const SsdpPeer ssdp;
    QVERIFY(ssdp.isListening());
    RokuDiscoverer discoverer;
    QVERIFY(discoverer.scan(nullptr).isEmpty());
    QTRY_COMPARE(ssdp.received().size(), 1);
    QVERIFY(ssdp.received().first().data().endsWith("\r\nST: roku:ecp\r\n\r\n"));
}

void RokuDiscovererTest::scansInOrderOfArrival()
{
    const HttpPeer first(HttpAnswer::ok(deviceInfoXml("D1")));
    const HttpPeer second(HttpAnswer::ok(deviceInfoXml("A2")));
    const QList<QByteArray> answers{ssdpAnswer("uuid:b", first.base() + "/"),
                                    ssdpAnswer("uuid:a", second.base() + "/dial/dd.xml")};
    const SsdpPeer ssdp(always(answers));
    RokuDiscoverer discoverer;
    QString error;
    const QDateTime before = QDateTime::currentDateTimeUtc();
    const QList<DeviceRecord> records = discoverer.scan(&error);
    QCOMPARE(error, QString());
    QCOMPARE(idsOf(records), (QStringList{QStringLiteral("D1"), QStringLiteral("A2")}));
    QCOMPARE(first.targets(), QList<QByteArray>{"/query/device-info"});
    QCOMPARE(second.targets(), QList<QByteArray>{"/query/device-info"});
    compareRecords(records.first(), recordFromRoku(parseRokuDeviceInfo(deviceInfoXml("D1")), first.url("/"),
                                                   parseSsdpResponse(answers.first())));
    verifyOneTime(records.first(), before);
}

void RokuDiscovererTest::reportsPlayerWithoutInfo_data()
{
    QTest::addColumn<HttpAnswer>("answer");
    QTest::addColumn<QByteArray>("location"); // empty: that of the peer
    QTest::addColumn<QByteArray>("usn");

    QByteArray tooLarge = deviceInfoXml("D1").trimmed();
    tooLarge.replace("</device-info>", QByteArray(131072, ' ') + "</device-info>");
    const QByteArray usn = QByteArrayLiteral("uuid:1");
    QTest::newRow("404 with information")
        << HttpAnswer::of("404 Not Found", deviceInfoXml("D1")) << QByteArray() << usn;
    QTest::newRow("empty body") << HttpAnswer::ok(QByteArray()) << QByteArray() << usn;
    QTest::newRow("half of the information")
        << HttpAnswer::ok(deviceInfoXml("D1").left(100)) << QByteArray() << usn;
    QTest::newRow("too large") << HttpAnswer::ok(tooLarge) << QByteArray() << usn;
    QTest::newRow("connection closed") << HttpAnswer{} << QByteArray() << usn;
    QTest::newRow("closed port") << HttpAnswer{} << QByteArray("http://127.0.0.1:1/") << usn;
    QTest::newRow("no usn") << HttpAnswer::notFound() << QByteArray() << QByteArray();
    QTest::newRow("file") << HttpAnswer{} << QByteArray("file:///etc/hostname") << usn;
    QTest::newRow("relative URL") << HttpAnswer{} << QByteArray("dd.xml") << usn;
}

void RokuDiscovererTest::reportsPlayerWithoutInfo()
{
    QFETCH(HttpAnswer, answer);
    QFETCH(QByteArray, location);
    QFETCH(QByteArray, usn);

    const HttpPeer peer(answer);
    if (location.isEmpty()) {
        location = peer.base() + "/";
    }
    const QByteArray datagram = ssdpAnswer(usn, location);
    const SsdpPeer ssdp(always({datagram}));
    RokuDiscoverer discoverer;
    QString error;
    const QList<DeviceRecord> records = discoverer.scan(&error);
    QCOMPARE(error, QString());
    QCOMPARE(records.size(), 1);
    const QUrl url(QString::fromLatin1(location));
    const DeviceRecord &record = records.first();
    QCOMPARE(record.id, QString::fromLatin1(usn.isEmpty() ? location : usn));
    QCOMPARE(record.displayName, url.host());
    QCOMPARE(record.vendor, QStringLiteral("Roku"));
    QCOMPARE(record.ttlSeconds, 3600);
    QCOMPARE(record.endpoints.size(), 2);
    compareRecords(record, recordFromRoku(RokuDeviceInfo(), url, parseSsdpResponse(datagram)));
}

void RokuDiscovererTest::scanOutlastsSilentPlayer()
{
    const HttpPeer silent(HttpAnswer::silence());
    const HttpPeer good(HttpAnswer::ok(deviceInfoXml("D2")));
    const SsdpPeer ssdp(always({ssdpAnswer("uuid:1", silent.base()), ssdpAnswer("uuid:2", good.base())}));
    RokuDiscoverer discoverer;
    QString error;
    QElapsedTimer elapsed;
    elapsed.start();
    QCOMPARE(idsOf(discoverer.scan(&error)), (QStringList{QStringLiteral("uuid:1"), QStringLiteral("D2")}));
    QVERIFY(elapsed.elapsed() >= 2400);
    QCOMPARE(error, QString());
}

void RokuDiscovererTest::skipsAnswersWithoutLocation()
{
    const SsdpPeer ssdp(always({ssdpAnswer("uuid:1", ""), ssdpAnswer("uuid:2", "http://["),
                                ssdpAnswer("uuid:3", "http://127.0.0.1:99999/"),
                                "HTTP/1.1 200 OK\r\nUSN: uuid:4\r\nST: roku:ecp\r\n\r\n"}));
    RokuDiscoverer discoverer;
    QString error;
    QVERIFY(discoverer.scan(&error).isEmpty());
    QCOMPARE(error, QString());
}

void RokuDiscovererTest::fetchesOncePerDistinctAnswer()
{
    const HttpPeer peer(HttpAnswer::ok(deviceInfoXml("D1")));
    const QByteArray answer = ssdpAnswer("uuid:1", peer.base() + "/");
    const SsdpPeer ssdp(always({answer, answer, ssdpAnswer("uuid:2", peer.base() + "/")}));
    RokuDiscoverer discoverer;
    QCOMPARE(idsOf(discoverer.scan(nullptr)), (QStringList{QStringLiteral("D1"), QStringLiteral("D1")}));
    QCOMPARE(peer.requests().size(), 2);
}

void RokuDiscovererTest::runsOutInFull()
{
    RokuDiscoverer discoverer;
    QElapsedTimer elapsed;
    elapsed.start();
    QVERIFY(discoverer.scan(nullptr).isEmpty());
    QVERIFY(elapsed.elapsed() >= 1200);
}

void RokuDiscovererTest::clearsError()
{
    RokuDiscoverer discoverer;
    QString error = QStringLiteral("left over");
    QVERIFY(discoverer.scan(&error).isEmpty());
    QCOMPARE(error, QString());
}

void RokuDiscovererTest::takesNoErrorArgument()
{
    const HttpPeer peer(HttpAnswer::notFound());
    const SsdpPeer ssdp(always({ssdpAnswer("uuid:1", peer.base())}));
    RokuDiscoverer discoverer;
    QCOMPARE(idsOf(discoverer.scan(nullptr)), QStringList{QStringLiteral("uuid:1")});
}

void RokuDiscovererTest::reportsFailedSearch()
{
    const NoFreePort noPort;
    if (!noPort.isSet()) {
        QSKIP("this machine lets nobody change a private network's range of ephemeral ports");
    }
    RokuDiscoverer discoverer;
    QString error;
    QVERIFY(discoverer.scan(&error).isEmpty());
    QVERIFY(!error.isEmpty());
    QVERIFY(discoverer.scan(nullptr).isEmpty());
}

QTEST_GUILESS_MAIN(RokuDiscovererTest)
#include "roku_discoverer_test.moc"
