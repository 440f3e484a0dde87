#include "ui/device_details.h"

#include <QJsonDocument>
#include <QtTest>

using Sondrix::DeviceRecord;
using Sondrix::Direction;
using Sondrix::EndpointRecord;
using Sondrix::MediaKind;
using Sondrix::MediaKinds;

Q_DECLARE_METATYPE(Sondrix::EndpointRecord)

namespace
{

QDateTime utc(int hour, int msec = 0)
{
    return QDateTime(QDate(2024, 2, 28), QTime(hour, 30, 5, msec), Qt::UTC);
}

QStringList detailsLines(const DeviceRecord &record)
{
    return deviceDetailsText(record).split(QLatin1Char('\n'));
}

EndpointRecord endpoint(const QString &label, const QString &protocol, Direction direction,
                        const QString &url)
{
    EndpointRecord endpoint;
    endpoint.label = label;
    endpoint.protocol = protocol;
    endpoint.direction = direction;
    endpoint.url = url;
    return endpoint;
}

DeviceRecord fullRecord()
{
    DeviceRecord record;
    record.id = QStringLiteral(" UUID:1 ");
    record.displayName = QStringLiteral("Camera 1");
    record.vendor = QStringLiteral("Acme");
    record.model = QStringLiteral("PTZ %1");
    record.serial = QStringLiteral("X1");
    record.firmware = QStringLiteral("2.4.1");
    record.hostname = QStringLiteral("cam.local");
    record.addresses = QStringList{QStringLiteral("192.0.2.1"), QStringLiteral("fe80::1%2")};
    record.provider = QStringLiteral("mdns");
    record.protocol = QStringLiteral("rtsp");
    record.direction = Direction::inputOutput;
    record.mediaKinds = MediaKind::control | MediaKind::audio | MediaKind::video;
    record.endpoints = {endpoint(QStringLiteral("Stream"), QStringLiteral("rtsp"), Direction::input,
                                 QStringLiteral("rtsp://192.0.2.1/")),
                        endpoint(QString(), QString(), Direction::unknown, QStringLiteral("  "))};
    record.protocolData = QJsonObject{{QStringLiteral("mdns.name"), QStringLiteral("Kamera ü")}};
    record.ttlSeconds = 120;
    record.firstSeen = utc(10);
    record.lastSeen = utc(16, 7);
    record.lastChanged = utc(12, 250);
    return record;
}

} // namespace

class DeviceDetailsTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void formatsTimestampsInLocalTime_data();
    void formatsTimestampsInLocalTime();
    void formatsEndpoints_data();
    void formatsEndpoints();
    void showsEveryField();
    void showsDashesForAnEmptyRecord();
    void showsBlankFieldsAsDashes();
    void keepsValuesAsStored();
    void showsTheStatus();
    void showsTheTimeToLive_data();
    void showsTheTimeToLive();
    void leavesProtocolDataToTheJson();
    void indentsTheJson();
};

void DeviceDetailsTest::initTestCase()
{
    qputenv("TZ", "JST-9");
    QCOMPARE(QDateTime(utc(0)).toLocalTime().offsetFromUtc(), 9 * 3600);
}

void DeviceDetailsTest::formatsTimestampsInLocalTime_data()
{
    QTest::addColumn<QDateTime>("time");
    QTest::addColumn<QString>("expected");

    QTest::newRow("invalid") << QDateTime() << QStringLiteral("-");
    QTest::newRow("same day") << utc(10) << QStringLiteral("2024-02-28T19:30:05.000");
    QTest::newRow("next day") << utc(16, 7) << QStringLiteral("2024-02-29T01:30:05.007");
    QTest::newRow("another offset") << utc(10).toOffsetFromUtc(-3600)
                                    << QStringLiteral("2024-02-28T19:30:05.000");
    QTest::newRow("local already") << utc(10).toLocalTime() << QStringLiteral("2024-02-28T19:30:05.000");
}

void DeviceDetailsTest::formatsTimestampsInLocalTime()
{
    QFETCH(QDateTime, time);
    QTEST(formatTimestamp(time), "expected");
}

void DeviceDetailsTest::formatsEndpoints_data()
{
    QTest::addColumn<QList<EndpointRecord>>("endpoints");
    QTest::addColumn<QString>("expected");

    const EndpointRecord full = endpoint(QStringLiteral("Cam"), QStringLiteral("rtsp"), Direction::input,
                                         QStringLiteral("rtsp://192.0.2.1/"));
    QTest::newRow("none") << QList<EndpointRecord>() << QStringLiteral("-");
    QTest::newRow("one") << QList<EndpointRecord>{full}
                         << QStringLiteral("Cam | rtsp | input | rtsp://192.0.2.1/");
    QTest::newRow("empty fields") << QList<EndpointRecord>{EndpointRecord()}
                                  << QStringLiteral("- | - | unknown | -");
    QTest::newRow("blank fields") << QList<EndpointRecord>{endpoint(QStringLiteral(" "), QStringLiteral("\t"),
                                                                    Direction::controlOnly,
                                                                    QStringLiteral("  "))}
                                  << QStringLiteral("- | - | controlOnly | -");
    QTest::newRow("as stored") << QList<EndpointRecord>{endpoint(
                                      QStringLiteral(" Cam "), QStringLiteral("RTSP"), Direction::inputOutput,
                                      QStringLiteral(" rtsp://a "))}
                               << QStringLiteral(" Cam  | RTSP | inputOutput |  rtsp://a ");
    QTest::newRow("two in list order")
        << QList<EndpointRecord>{EndpointRecord(), full}
        << QStringLiteral("- | - | unknown | -\nCam | rtsp | input | rtsp://192.0.2.1/");
    QTest::newRow("percent signs") << QList<EndpointRecord>{endpoint(
                                          QStringLiteral("%4"), QStringLiteral("%1"), Direction::output,
                                          QStringLiteral("http://[fe80::1%252]/%2"))}
                                   << QStringLiteral("%4 | %1 | output | http://[fe80::1%252]/%2");
}

void DeviceDetailsTest::formatsEndpoints()
{
    QFETCH(QList<EndpointRecord>, endpoints);
    QTEST(formatEndpointLines(endpoints), "expected");
}

void DeviceDetailsTest::showsEveryField()
{
    QCOMPARE(detailsLines(fullRecord()), QStringList({
                                             QStringLiteral("Name: Camera 1"),
                                             QStringLiteral("Stable key: device-id:uuid:1"),
                                             QStringLiteral("ID:  UUID:1 "),
                                             QStringLiteral("Provider: mdns"),
                                             QStringLiteral("Protocol: rtsp"),
                                             QStringLiteral("Direction: inputOutput"),
                                             QStringLiteral("Status: Online"),
                                             QStringLiteral("TTL seconds: 120"),
                                             QStringLiteral("Capabilities: audio, video, control"),
                                             QStringLiteral("Vendor: Acme"),
                                             QStringLiteral("Model: PTZ %1"),
                                             QStringLiteral("Serial: X1"),
                                             QStringLiteral("Firmware: 2.4.1"),
                                             QStringLiteral("Hostname: cam.local"),
                                             QStringLiteral("IPs: 192.0.2.1, fe80::1%2"),
                                             QStringLiteral("First seen: 2024-02-28T19:30:05.000"),
                                             QStringLiteral("Last seen: 2024-02-29T01:30:05.007"),
                                             QStringLiteral("Last changed: 2024-02-28T21:30:05.250"),
                                             QString(),
                                             QStringLiteral("Endpoints:"),
                                             QStringLiteral("Stream | rtsp | input | rtsp://192.0.2.1/"),
                                             QStringLiteral("- | - | unknown | -"),
                                         }));
}

void DeviceDetailsTest::showsDashesForAnEmptyRecord()
{
    QCOMPARE(detailsLines(DeviceRecord()), QStringList({
                                               QStringLiteral("Name: -"),
                                               QStringLiteral("Stable key: "),
                                               QStringLiteral("ID: -"),
                                               QStringLiteral("Provider: -"),
                                               QStringLiteral("Protocol: -"),
                                               QStringLiteral("Direction: unknown"),
                                               QStringLiteral("Status: Online"),
                                               QStringLiteral("TTL seconds: -"),
                                               QStringLiteral("Capabilities: "),
                                               QStringLiteral("Vendor: -"),
                                               QStringLiteral("Model: -"),
                                               QStringLiteral("Serial: -"),
                                               QStringLiteral("Firmware: -"),
                                               QStringLiteral("Hostname: -"),
                                               QStringLiteral("IPs: -"),
                                               QStringLiteral("First seen: -"),
                                               QStringLiteral("Last seen: -"),
                                               QStringLiteral("Last changed: -"),
                                               QString(),
                                               QStringLiteral("Endpoints:"),
                                               QStringLiteral("-"),
                                           }));
}

void DeviceDetailsTest::showsBlankFieldsAsDashes()
{
    const QString blank = QStringLiteral(" \t\n ");
    DeviceRecord record;
    record.id = blank;
    record.displayName = blank;
    record.vendor = blank;
    record.model = blank;
    record.serial = blank;
    record.firmware = blank;
    record.hostname = blank;
    record.provider = blank;
    record.protocol = blank;
    QCOMPARE(deviceDetailsText(record), deviceDetailsText(DeviceRecord()));
    // A list of addresses is empty only without entries.
    record.addresses = QStringList(QString());
    QCOMPARE(detailsLines(record).at(14), QStringLiteral("IPs: "));
    QCOMPARE(detailsLines(record).at(1), QStringLiteral("Stable key: device-address:"));
}

void DeviceDetailsTest::keepsValuesAsStored()
{
    DeviceRecord record;
    record.displayName = QStringLiteral(" %1 <b>Camera</b> ");
    QCOMPARE(detailsLines(record).first(), QStringLiteral("Name:  %1 <b>Camera</b> "));
}

void DeviceDetailsTest::showsTheStatus()
{
    DeviceRecord record;
    record.online = false;
    QCOMPARE(detailsLines(record).at(6), QStringLiteral("Status: Offline"));
}

void DeviceDetailsTest::showsTheTimeToLive_data()
{
    QTest::addColumn<int>("ttlSeconds");
    QTest::addColumn<QString>("expected");

    QTest::newRow("negative") << -1 << QStringLiteral("TTL seconds: -");
    QTest::newRow("none") << 0 << QStringLiteral("TTL seconds: -");
    QTest::newRow("least") << 1 << QStringLiteral("TTL seconds: 1");
    QTest::newRow("no grouping") << 1234567 << QStringLiteral("TTL seconds: 1234567");
}

void DeviceDetailsTest::showsTheTimeToLive()
{
    QFETCH(int, ttlSeconds);
    DeviceRecord record;
    record.ttlSeconds = ttlSeconds;
    QTEST(detailsLines(record).at(7), "expected");
}

void DeviceDetailsTest::leavesProtocolDataToTheJson()
{
    QVERIFY(!deviceDetailsText(fullRecord()).contains(QStringLiteral("mdns.name")));
    QVERIFY(deviceJsonText(fullRecord()).contains(QStringLiteral("\"mdns.name\": \"Kamera ü\"")));
}

void DeviceDetailsTest::indentsTheJson()
{
    const QString text = deviceJsonText(fullRecord());
    QCOMPARE(QJsonDocument::fromJson(text.toUtf8()).object(), Sondrix::deviceToJson(fullRecord()));
    QVERIFY(text.startsWith(QStringLiteral("{\n    \"addresses\": [\n        \"192.0.2.1\",\n")));
    QVERIFY(text.endsWith(QStringLiteral("\n    \"vendor\": \"Acme\"\n}\n")));
    // Times stand in UTC here.
    QVERIFY(text.contains(QStringLiteral("\n    \"lastSeen\": \"2024-02-28T16:30:05.007Z\",\n")));
}

QTEST_GUILESS_MAIN(DeviceDetailsTest)
#include "device_details_test.moc"
