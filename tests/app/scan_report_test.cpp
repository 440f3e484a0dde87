#include "app/scan_report.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QtTest>

#include "core/device_discoverer.h"
#include "core/device_registry.h"
#include "core/discovery_manager.h"

using Sondrix::DeviceRecord;
using Sondrix::DeviceRegistry;
using Sondrix::Direction;
using Sondrix::DiscoveryManager;

Q_DECLARE_METATYPE(Sondrix::Direction)

namespace
{

/// A provider with a fixed answer.
class FixedDiscoverer : public Sondrix::IDeviceDiscoverer
{
public:
    FixedDiscoverer(const QString &name, bool available, const QString &error,
                    const QList<DeviceRecord> &records)
        : m_name(name), m_available(available), m_error(error), m_records(records)
    {
    }

    QString providerName() const override { return m_name; }
    bool isAvailable() const override { return m_available; }

    QList<DeviceRecord> scan(QString *error) override
    {
        *error = m_error;
        return m_records;
    }

private:
    QString m_name;
    bool m_available;
    QString m_error;
    QList<DeviceRecord> m_records;
};

DeviceRecord device(const QString &id, Direction direction = Direction::unknown, bool online = true)
{
    DeviceRecord record;
    record.id = id;
    record.direction = direction;
    record.online = online;
    return record;
}

QByteArray compactJson(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QString timeText(const QDateTime &time)
{
    return time.toUTC().toString(Qt::ISODateWithMs);
}

} // namespace

class ScanReportTest : public QObject
{
    Q_OBJECT

private slots:
    void emptyRegistryWithoutManager();
    void emptyRegistryWithManagerBeforeAPass();
    void passWithoutDiscoverers();
    void counts_data();
    void counts();
    void countsAddUp();
    void devicesStandInKeyOrder();
    void devicesOfTheRegistryWithoutManager();
    void providersStandInOrderOfThePass();
    void streamlarkIsAConstant();
};

void ScanReportTest::emptyRegistryWithoutManager()
{
    const DeviceRegistry registry;
    const QByteArray expected(R"({"application":"CorvaneTVSondrix","controlOnlyCount":0,"deviceCount":0,)"
                              R"("devices":[],"inputCount":0,"offlineCount":0,"onlineCount":0,)"
                              R"("outputCount":0,"providers":[],"streamlark":{"enabled":false},)"
                              R"("version":"1.0.0"})");
    QCOMPARE(compactJson(Sondrix::buildScanReport(registry, nullptr)), expected);
}

void ScanReportTest::emptyRegistryWithManagerBeforeAPass()
{
    DeviceRegistry registry;
    const DiscoveryManager manager(&registry);
    const QByteArray expected(R"({"application":"CorvaneTVSondrix","controlOnlyCount":0,"deviceCount":0,)"
                              R"("devices":[],"inputCount":0,"lastScanUtc":"","offlineCount":0,)"
                              R"("onlineCount":0,"outputCount":0,"providers":[],)"
                              R"("streamlark":{"enabled":false},"version":"1.0.0"})");
    QCOMPARE(compactJson(Sondrix::buildScanReport(registry, &manager)), expected);
}

void ScanReportTest::passWithoutDiscoverers()
{
    DeviceRegistry registry;
    DiscoveryManager manager(&registry);
    manager.runPass();
    const QJsonObject report = Sondrix::buildScanReport(registry, &manager);
    QVERIFY(manager.lastScanUtc().isValid());
    QCOMPARE(report.value(QStringLiteral("lastScanUtc")).toString(), timeText(manager.lastScanUtc()));
    QCOMPARE(report.value(QStringLiteral("providers")), QJsonValue(QJsonArray()));
}

void ScanReportTest::counts_data()
{
    QTest::addColumn<Direction>("direction");
    QTest::addColumn<bool>("online");
    QTest::addColumn<int>("inputCount");
    QTest::addColumn<int>("outputCount");
    QTest::addColumn<int>("controlOnlyCount");
    QTest::newRow("unknown") << Direction::unknown << true << 0 << 0 << 0;
    QTest::newRow("input") << Direction::input << true << 1 << 0 << 0;
    QTest::newRow("output") << Direction::output << true << 0 << 1 << 0;
    QTest::newRow("both counts twice") << Direction::inputOutput << true << 1 << 1 << 0;
    QTest::newRow("control only") << Direction::controlOnly << true << 0 << 0 << 1;
    QTest::newRow("outside the enumeration") << static_cast<Direction>(99) << true << 0 << 0 << 0;
    QTest::newRow("offline input") << Direction::input << false << 1 << 0 << 0;
    QTest::newRow("offline unknown") << Direction::unknown << false << 0 << 0 << 0;
}

void ScanReportTest::counts()
{
    QFETCH(Direction, direction);
    QFETCH(bool, online);
    DeviceRegistry registry;
    registry.addOrUpdate(device(QStringLiteral("a"), direction, online));
    const QJsonObject report = Sondrix::buildScanReport(registry, nullptr);
    QCOMPARE(report.value(QStringLiteral("deviceCount")), QJsonValue(1));
    QTEST(report.value(QStringLiteral("inputCount")).toInt(-1), "inputCount");
    QTEST(report.value(QStringLiteral("outputCount")).toInt(-1), "outputCount");
    QTEST(report.value(QStringLiteral("controlOnlyCount")).toInt(-1), "controlOnlyCount");
    QCOMPARE(report.value(QStringLiteral("onlineCount")), QJsonValue(online ? 1 : 0));
    QCOMPARE(report.value(QStringLiteral("offlineCount")), QJsonValue(online ? 0 : 1));
}

void ScanReportTest::countsAddUp()
{
    DeviceRegistry registry;
    registry.addOrUpdate(device(QStringLiteral("a"), Direction::input));
    registry.addOrUpdate(device(QStringLiteral("b"), Direction::input, false));
    registry.addOrUpdate(device(QStringLiteral("c"), Direction::output));
    registry.addOrUpdate(device(QStringLiteral("d"), Direction::inputOutput));
    registry.addOrUpdate(device(QStringLiteral("e"), Direction::inputOutput, false));
    registry.addOrUpdate(device(QStringLiteral("f"), Direction::controlOnly));
    registry.addOrUpdate(device(QStringLiteral("g"), Direction::unknown));
    QJsonObject report = Sondrix::buildScanReport(registry, nullptr);
    report.remove(QStringLiteral("devices"));
    const QByteArray expected(R"({"application":"CorvaneTVSondrix","controlOnlyCount":1,"deviceCount":7,)"
                              R"("inputCount":4,"offlineCount":2,"onlineCount":5,"outputCount":3,)"
                              R"("providers":[],"streamlark":{"enabled":false},"version":"1.0.0"})");
    QCOMPARE(compactJson(report), expected);
}

void ScanReportTest::devicesStandInKeyOrder()
{
    DeviceRegistry registry;
    DeviceRecord host;
    host.hostname = QStringLiteral("z");
    registry.addOrUpdate(device(QStringLiteral("c")));
    registry.addOrUpdate(device(QStringLiteral("A")));
    registry.addOrUpdate(host);
    registry.addOrUpdate(device(QStringLiteral("b")));
    const QJsonArray devices =
        Sondrix::buildScanReport(registry, nullptr).value(QStringLiteral("devices")).toArray();
    QStringList keys;
    for (const QJsonValue &value : devices) {
        keys.append(value.toObject().value(QStringLiteral("stableKey")).toString());
    }
    const QStringList expected{QStringLiteral("device-host:z"), QStringLiteral("device-id:a"),
                               QStringLiteral("device-id:b"), QStringLiteral("device-id:c")};
    QCOMPARE(keys, expected);
}

void ScanReportTest::devicesOfTheRegistryWithoutManager()
{
    DeviceRegistry registry;
    const QString key = registry.addOrUpdate(device(QStringLiteral("a"), Direction::output));
    const QJsonArray devices =
        Sondrix::buildScanReport(registry, nullptr).value(QStringLiteral("devices")).toArray();
    QCOMPARE(devices, QJsonArray{Sondrix::deviceToJson(registry.record(key))});
}

void ScanReportTest::providersStandInOrderOfThePass()
{
    DeviceRegistry registry;
    DiscoveryManager manager(&registry);
    const QString none;
    manager.addDiscoverer(
        new FixedDiscoverer(QStringLiteral("ssdp"), true, none, {device(QStringLiteral("a"))}));
    manager.addDiscoverer(new FixedDiscoverer(QStringLiteral("ndi"), false, none, {}));
    manager.addDiscoverer(new FixedDiscoverer(QStringLiteral("mdns"), true, QStringLiteral("no socket"),
                                              {device(QStringLiteral("b"))}));
    manager.runPass();
    const QJsonObject report = Sondrix::buildScanReport(registry, &manager);
    QCOMPARE(report.value(QStringLiteral("deviceCount")), QJsonValue(2));

    const auto row = [&](const char *name, bool enabled, const char *status, const char *error) {
        return QJsonObject{
            {QStringLiteral("name"), QLatin1String(name)},
            {QStringLiteral("enabled"), enabled},
            {QStringLiteral("status"), QLatin1String(status)},
            {QStringLiteral("error"), QLatin1String(error)},
            {QStringLiteral("lastScanUtc"), timeText(manager.lastScanUtc())},
        };
    };
    const QJsonArray expected{row("ssdp", true, "ok", ""), row("ndi", false, "disabled", ""),
                              row("mdns", true, "error", "no socket")};
    QCOMPARE(report.value(QStringLiteral("providers")).toArray(), expected);
}

void ScanReportTest::streamlarkIsAConstant()
{
    DeviceRegistry registry;
    DiscoveryManager manager(&registry);
    const QJsonObject expected{{QStringLiteral("enabled"), false}};
    QCOMPARE(Sondrix::buildScanReport(registry, &manager).value(QStringLiteral("streamlark")).toObject(),
             expected);
}

QTEST_GUILESS_MAIN(ScanReportTest)
#include "scan_report_test.moc"
