#include "core/discovery_manager.h"

#include <functional>

#include <QEventLoop>
#include <QJsonDocument>
#include <QPointer>
#include <QSignalSpy>
#include <QTimer>
#include <QtTest>

#include "core/device_discoverer.h"
#include "core/device_registry.h"

using Sondrix::DeviceRecord;
using Sondrix::DeviceRegistry;
using Sondrix::DiscoveryManager;
using Sondrix::IDeviceDiscoverer;
using Sondrix::ProviderStatus;

namespace
{

/// A provider whose behaviour the test writes.
class ScriptedDiscoverer : public IDeviceDiscoverer
{
public:
    using Scan = std::function<QList<DeviceRecord>(QString *error)>;

    explicit ScriptedDiscoverer(const QString &name, Scan scan = nullptr)
        : m_name(name), m_scan(std::move(scan))
    {
    }

    QString providerName() const override { return m_name; }

    /// Answers from the script first, the last answer ever after.
    bool isAvailable() const override
    {
        const bool answer = availability.first();
        if (availability.size() > 1) {
            availability.removeFirst();
        }
        return answer;
    }

    QList<DeviceRecord> scan(QString *error) override
    {
        ++scanCount;
        return m_scan ? m_scan(error) : QList<DeviceRecord>();
    }

    mutable QList<bool> availability{true};
    int scanCount = 0;

private:
    QString m_name;
    Scan m_scan;
};

DeviceRecord device(const QString &id)
{
    DeviceRecord record;
    record.id = id;
    return record;
}

ScriptedDiscoverer::Scan finds(const QList<DeviceRecord> &records)
{
    return [records](QString *) { return records; };
}

ScriptedDiscoverer::Scan fails(const QString &text, const QList<DeviceRecord> &records = {})
{
    return [text, records](QString *error) {
        *error = text;
        return records;
    };
}

/// Waits until the clock shows another millisecond, and returns what it shows.
QDateTime nextMillisecond()
{
    const QDateTime start = QDateTime::currentDateTimeUtc();
    QDateTime now = start;
    while (now == start) {
        now = QDateTime::currentDateTimeUtc();
    }
    return now;
}

QStringList statusWords(const DiscoveryManager &manager)
{
    QStringList words;
    const QList<ProviderStatus> rows = manager.providerStatuses();
    for (const ProviderStatus &row : rows) {
        words.append(row.status);
    }
    return words;
}

} // namespace

class DiscoveryManagerTest : public QObject
{
    Q_OBJECT

private slots:
    void statusToJson_data();
    void statusToJson();

    void construction();
    void addDiscovererTakesOwnership();
    void addDiscovererMakesARow_data();
    void addDiscovererMakesARow();
    void addDiscovererIgnoresNull();
    void rowsStandInOrderOfRegistration();

    void passWithoutARegistry();
    void passWithoutDiscoverers();
    void passTakesItsTimeAfterScanStarted();
    void allRowsCarryTheTimeOfThePass();
    void countOfAcceptedRecords_data();
    void countOfAcceptedRecords();
    void discoverersRunOneAfterAnother();
    void rowIsStoredAfterItsScan();

    void outcome_data();
    void outcome();
    void partialResultsStand();
    void errorTextIsFreshForEachScan();
    void laterPassReplacesTheRow();
    void availability_data();
    void availability();

    void passExpiresRecordsWithItsOwnTime();
    void scanFinishedFollowsTheExpiry();
    void expiryDoesNotEnterTheCount();
    void passInsideAPass();
    void discovererAddedDuringAPassDoesNoHarm();
};

void DiscoveryManagerTest::statusToJson_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("enabled");
    QTest::addColumn<QString>("status");
    QTest::addColumn<QString>("error");
    QTest::addColumn<QDateTime>("lastScanUtc");
    QTest::addColumn<QByteArray>("json");

    const QString none;
    QTest::newRow("defaults")
        << none << false << none << none << QDateTime()
        << QByteArray(R"({"enabled":false,"error":"","lastScanUtc":"","name":"","status":""})");
    QTest::newRow("idle") << QStringLiteral("mdns") << true << QStringLiteral("idle") << none << QDateTime()
                          << QByteArray(R"({"enabled":true,"error":"","lastScanUtc":"",)"
                                        R"("name":"mdns","status":"idle"})");
    QTest::newRow("error") << QStringLiteral("ndi") << true << QStringLiteral("error")
                           << QStringLiteral("no runtime")
                           << QDateTime(QDate(2024, 3, 9), QTime(9, 5, 3, 42), Qt::OffsetFromUTC, 7200)
                           << QByteArray(R"({"enabled":true,"error":"no runtime",)"
                                         R"("lastScanUtc":"2024-03-09T07:05:03.042Z",)"
                                         R"("name":"ndi","status":"error"})");
}

void DiscoveryManagerTest::statusToJson()
{
    QFETCH(QString, name);
    QFETCH(bool, enabled);
    QFETCH(QString, status);
    QFETCH(QString, error);
    QFETCH(QDateTime, lastScanUtc);
    const ProviderStatus row{name, enabled, status, error, lastScanUtc};
    QTEST(QJsonDocument(Sondrix::providerStatusToJson(row)).toJson(QJsonDocument::Compact), "json");
}

void DiscoveryManagerTest::construction()
{
    DeviceRegistry registry;
    QObject parent;
    const auto *manager = new DiscoveryManager(&registry, &parent);
    QCOMPARE(manager->parent(), &parent);
    QVERIFY(manager->providerStatuses().isEmpty());
    QVERIFY(!manager->lastScanUtc().isValid());
}

void DiscoveryManagerTest::addDiscovererTakesOwnership()
{
    DeviceRegistry registry;
    QPointer<ScriptedDiscoverer> discoverer = new ScriptedDiscoverer(QStringLiteral("one"));
    {
        DiscoveryManager manager(&registry);
        manager.addDiscoverer(discoverer);
        QCOMPARE(discoverer->parent(), &manager);
    }
    QVERIFY(discoverer.isNull());
}

void DiscoveryManagerTest::addDiscovererMakesARow_data()
{
    QTest::addColumn<bool>("available");
    QTest::addColumn<QString>("status");
    QTest::newRow("available") << true << QStringLiteral("idle");
    QTest::newRow("not available") << false << QStringLiteral("disabled");
}

void DiscoveryManagerTest::addDiscovererMakesARow()
{
    QFETCH(bool, available);
    DeviceRegistry registry;
    DiscoveryManager manager(&registry);
    auto *discoverer = new ScriptedDiscoverer(QStringLiteral("one"));
    discoverer->availability = {available};
    manager.addDiscoverer(discoverer);

    QCOMPARE(manager.providerStatuses().size(), 1);
    const ProviderStatus row = manager.providerStatuses().first();
    QCOMPARE(row.name, QStringLiteral("one"));
    QCOMPARE(row.enabled, available);
    QTEST(row.status, "status");
    QCOMPARE(row.error, QString());
    QVERIFY(!row.lastScanUtc.isValid());
    QCOMPARE(discoverer->scanCount, 0);
}

void DiscoveryManagerTest::addDiscovererIgnoresNull()
{
    DeviceRegistry registry;
    DiscoveryManager manager(&registry);
    manager.addDiscoverer(nullptr);
    QVERIFY(manager.providerStatuses().isEmpty());
    QCOMPARE(manager.runPass(), 0);
}

void DiscoveryManagerTest::rowsStandInOrderOfRegistration()
{
    DeviceRegistry registry;
    DiscoveryManager manager(&registry);
    const QStringList names{QStringLiteral("c"), QStringLiteral("a"), QStringLiteral("b"),
                            QStringLiteral("a")};
    for (const QString &name : names) {
        manager.addDiscoverer(new ScriptedDiscoverer(name));
    }
    const auto rowNames = [&manager] {
        QStringList rows;
        const QList<ProviderStatus> statuses = manager.providerStatuses();
        for (const ProviderStatus &status : statuses) {
            rows.append(status.name);
        }
        return rows;
    };
    QCOMPARE(rowNames(), names);
    manager.runPass();
    QCOMPARE(rowNames(), names);
}

void DiscoveryManagerTest::passWithoutARegistry()
{
    DiscoveryManager manager(nullptr);
    auto *discoverer = new ScriptedDiscoverer(QStringLiteral("one"));
    manager.addDiscoverer(discoverer);
    const QSignalSpy started(&manager, &DiscoveryManager::scanStarted);
    const QSignalSpy finished(&manager, &DiscoveryManager::scanFinished);
    QCOMPARE(manager.runPass(), 0);
    QCOMPARE(started.size(), 0);
    QCOMPARE(finished.size(), 0);
    QCOMPARE(discoverer->scanCount, 0);
    QCOMPARE(statusWords(manager), QStringList{QStringLiteral("idle")});
    QVERIFY(!manager.lastScanUtc().isValid());
}

void DiscoveryManagerTest::passWithoutDiscoverers()
{
    DeviceRegistry registry;
    DeviceRecord old = device(QStringLiteral("old"));
    old.lastSeen = QDateTime(QDate(2020, 1, 1), QTime(0, 0), Qt::UTC);
    old.ttlSeconds = 60;
    const QString key = registry.addOrUpdate(old);

    DiscoveryManager manager(&registry);
    const QSignalSpy started(&manager, &DiscoveryManager::scanStarted);
    const QSignalSpy finished(&manager, &DiscoveryManager::scanFinished);
    const QDateTime before = QDateTime::currentDateTimeUtc();
    QCOMPARE(manager.runPass(), 0);
    const QDateTime after = QDateTime::currentDateTimeUtc();
    QCOMPARE(started.size(), 1);
    QCOMPARE(finished.size(), 1);
    QCOMPARE(finished.first().first().toInt(), 0);
    QVERIFY(!registry.record(key).online);
    QVERIFY(manager.lastScanUtc() >= before && manager.lastScanUtc() <= after);
    QCOMPARE(manager.lastScanUtc().timeSpec(), Qt::UTC);
}

void DiscoveryManagerTest::passTakesItsTimeAfterScanStarted()
{
    DeviceRegistry registry;
    DiscoveryManager manager(&registry);
    QDateTime startSeen;
    connect(&manager, &DiscoveryManager::scanStarted, &manager, [&] { startSeen = nextMillisecond(); });
    manager.runPass();
    QVERIFY(startSeen.isValid());
    QVERIFY(manager.lastScanUtc() >= startSeen);
}

void DiscoveryManagerTest::allRowsCarryTheTimeOfThePass()
{
    DeviceRegistry registry;
    DiscoveryManager manager(&registry);
    const auto takesTime = [](QString *) {
        nextMillisecond();
        return QList<DeviceRecord>();
    };
    auto *absent = new ScriptedDiscoverer(QStringLiteral("absent"));
    absent->availability = {false};
    manager.addDiscoverer(new ScriptedDiscoverer(QStringLiteral("one"), takesTime));
    manager.addDiscoverer(absent);
    manager.addDiscoverer(new ScriptedDiscoverer(QStringLiteral("two"), fails(QStringLiteral("no"))));
    manager.runPass();
    const QDateTime passTime = manager.lastScanUtc();
    QVERIFY(passTime.isValid());
    const QList<ProviderStatus> rows = manager.providerStatuses();
    QCOMPARE(rows.size(), 3);
    for (const ProviderStatus &row : rows) {
        QCOMPARE(row.lastScanUtc, passTime);
    }
}

void DiscoveryManagerTest::countOfAcceptedRecords_data()
{
    QTest::addColumn<QList<DeviceRecord>>("first");
    QTest::addColumn<QList<DeviceRecord>>("second");
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("devices");

    const DeviceRecord a = device(QStringLiteral("a"));
    const DeviceRecord b = device(QStringLiteral("b"));
    DeviceRecord nameless;
    nameless.displayName = QStringLiteral("nameless");
    using Records = QList<DeviceRecord>;

    QTest::newRow("nothing found") << Records() << Records() << 0 << 0;
    QTest::newRow("distinct devices") << Records{a} << Records{b} << 2 << 2;
    QTest::newRow("one device from two providers") << Records{a} << Records{a} << 2 << 1;
    QTest::newRow("one device twice from one provider") << Records{a, a} << Records() << 2 << 1;
    QTest::newRow("a record without identity") << Records{nameless, a} << Records{nameless} << 1 << 1;
}

void DiscoveryManagerTest::countOfAcceptedRecords()
{
    QFETCH(QList<DeviceRecord>, first);
    QFETCH(QList<DeviceRecord>, second);
    QFETCH(int, count);
    DeviceRegistry registry;
    DiscoveryManager manager(&registry);
    manager.addDiscoverer(new ScriptedDiscoverer(QStringLiteral("first"), finds(first)));
    manager.addDiscoverer(new ScriptedDiscoverer(QStringLiteral("second"), finds(second)));
    const QSignalSpy finished(&manager, &DiscoveryManager::scanFinished);

    QCOMPARE(manager.runPass(), count);
    QCOMPARE(manager.runPass(), count); // unchanged records count in a later pass too
    QCOMPARE(finished.size(), 2);
    QCOMPARE(finished.at(0).first().toInt(), count);
    QCOMPARE(finished.at(1).first().toInt(), count);
    QTEST(registry.records().size(), "devices");
}

void DiscoveryManagerTest::discoverersRunOneAfterAnother()
{
    DeviceRegistry registry;
    DiscoveryManager manager(&registry);
    QStringList log;
    const auto scanning = [&log](const QString &name, const QStringList &ids) {
        return [&log, name, ids](QString *) {
            log.append(QString(QStringLiteral("scan ") + name));
            QList<DeviceRecord> records;
            for (const QString &id : ids) {
                records.append(device(id));
            }
            return records;
        };
    };
    const QString second = QStringLiteral("second");
    manager.addDiscoverer(new ScriptedDiscoverer(
        QStringLiteral("first"),
        scanning(QStringLiteral("first"), {QStringLiteral("b"), QStringLiteral("a")})));
    manager.addDiscoverer(new ScriptedDiscoverer(second, scanning(second, {QStringLiteral("b")})));
    connect(&manager, &DiscoveryManager::scanStarted, &manager,
            [&] { log.append(QStringLiteral("started")); });
    connect(&manager, &DiscoveryManager::scanFinished, &manager,
            [&](int count) { log.append(QStringLiteral("finished %1").arg(count)); });
    connect(&registry, &DeviceRegistry::deviceAdded, &manager,
            [&](const DeviceRecord &record) { log.append(QString(QStringLiteral("added ") + record.id)); });
    connect(&registry, &DeviceRegistry::deviceUpdated, &manager,
            [&](const DeviceRecord &record) { log.append(QString(QStringLiteral("updated ") + record.id)); });
    manager.runPass();

    const QStringList expected{
        QStringLiteral("started"),    QStringLiteral("scan first"),  QStringLiteral("added b"),
        QStringLiteral("added a"),    QStringLiteral("scan second"), QStringLiteral("updated b"),
        QStringLiteral("finished 3"),
    };
    QCOMPARE(log, expected);
}

void DiscoveryManagerTest::rowIsStoredAfterItsScan()
{
    DeviceRegistry registry;
    DiscoveryManager manager(&registry);
    QList<QStringList> wordsDuringScan;
    const auto look = [&](QString *) {
        wordsDuringScan.append(statusWords(manager));
        return QList<DeviceRecord>();
    };
    manager.addDiscoverer(new ScriptedDiscoverer(QStringLiteral("first"), look));
    manager.addDiscoverer(new ScriptedDiscoverer(QStringLiteral("second"), look));
    manager.runPass();
    QVERIFY(manager.lastScanUtc().isValid());
    const QString idle = QStringLiteral("idle");
    const QList<QStringList> expected{QStringList{idle, idle}, QStringList{QStringLiteral("ok"), idle}};
    QCOMPARE(wordsDuringScan, expected);
}

void DiscoveryManagerTest::outcome_data()
{
    QTest::addColumn<QString>("errorText");
    QTest::addColumn<QString>("status");
    QTest::newRow("no error text") << QString() << QStringLiteral("ok");
    QTest::newRow("error text") << QStringLiteral("cannot bind") << QStringLiteral("error");
    QTest::newRow("blank error text") << QStringLiteral(" ") << QStringLiteral("error");
}

void DiscoveryManagerTest::outcome()
{
    QFETCH(QString, errorText);
    DeviceRegistry registry;
    DiscoveryManager manager(&registry);
    manager.addDiscoverer(new ScriptedDiscoverer(QStringLiteral("one"), fails(errorText)));
    manager.addDiscoverer(
        new ScriptedDiscoverer(QStringLiteral("two"), finds({device(QStringLiteral("a"))})));
    QCOMPARE(manager.runPass(), 1); // the pass goes on behind a failure
    const ProviderStatus row = manager.providerStatuses().first();
    QTEST(row.status, "status");
    QCOMPARE(row.error, errorText);
    QVERIFY(row.enabled);
    QCOMPARE(manager.providerStatuses().last().status, QStringLiteral("ok"));
}

void DiscoveryManagerTest::partialResultsStand()
{
    DeviceRegistry registry;
    DiscoveryManager manager(&registry);
    const QList<DeviceRecord> records{device(QStringLiteral("a")), device(QStringLiteral("b")),
                                      device(QStringLiteral("c"))};
    manager.addDiscoverer(
        new ScriptedDiscoverer(QStringLiteral("one"), fails(QStringLiteral("timed out"), records)));
    QCOMPARE(manager.runPass(), 3);
    QCOMPARE(registry.records().size(), 3);
    QCOMPARE(manager.providerStatuses().first().status, QStringLiteral("error"));
    QCOMPARE(manager.providerStatuses().first().error, QStringLiteral("timed out"));
}

void DiscoveryManagerTest::errorTextIsFreshForEachScan()
{
    DeviceRegistry registry;
    DiscoveryManager manager(&registry);
    QStringList textsOnEntry;
    const auto fail = [&](QString *error) {
        textsOnEntry.append(*error);
        *error = QStringLiteral("failed");
        return QList<DeviceRecord>();
    };
    manager.addDiscoverer(new ScriptedDiscoverer(QStringLiteral("one"), fail));
    manager.addDiscoverer(new ScriptedDiscoverer(QStringLiteral("two"), fail));
    manager.runPass();
    manager.runPass();
    QCOMPARE(textsOnEntry.size(), 4);
    QCOMPARE(textsOnEntry.join(QString()), QString());
}

void DiscoveryManagerTest::laterPassReplacesTheRow()
{
    DeviceRegistry registry;
    DiscoveryManager manager(&registry);
    bool failing = true;
    QString statusDuringSecondScan;
    manager.addDiscoverer(new ScriptedDiscoverer(QStringLiteral("one"), [&](QString *error) {
        statusDuringSecondScan = manager.providerStatuses().first().status;
        *error = failing ? QStringLiteral("failed") : QString();
        return QList<DeviceRecord>();
    }));
    manager.runPass();
    const QDateTime firstPass = manager.lastScanUtc();
    QCOMPARE(manager.providerStatuses().first().status, QStringLiteral("error"));

    failing = false;
    nextMillisecond();
    manager.runPass();
    QCOMPARE(statusDuringSecondScan, QStringLiteral("error"));
    QCOMPARE(manager.providerStatuses().size(), 1);
    QCOMPARE(manager.providerStatuses().first().status, QStringLiteral("ok"));
    QCOMPARE(manager.providerStatuses().first().error, QString());
    QVERIFY(manager.lastScanUtc() > firstPass);
    QCOMPARE(manager.providerStatuses().first().lastScanUtc, manager.lastScanUtc());
}

void DiscoveryManagerTest::availability_data()
{
    // The answers during the pass: the first fills the row, the second decides.
    QTest::addColumn<QList<bool>>("answers");
    QTest::addColumn<bool>("enabled");
    QTest::addColumn<QString>("status");
    QTest::addColumn<int>("scanCount");
    QTest::newRow("available") << QList<bool>{true, true} << true << QStringLiteral("ok") << 1;
    QTest::newRow("not available") << QList<bool>{false, false} << false << QStringLiteral("disabled") << 0;
    QTest::newRow("goes away in between")
        << QList<bool>{true, false} << true << QStringLiteral("disabled") << 0;
    QTest::newRow("comes in between") << QList<bool>{false, true} << false << QStringLiteral("ok") << 1;
}

void DiscoveryManagerTest::availability()
{
    QFETCH(QList<bool>, answers);
    QFETCH(bool, enabled);
    DeviceRegistry registry;
    DiscoveryManager manager(&registry);
    auto *discoverer = new ScriptedDiscoverer(QStringLiteral("one"), fails(QString()));
    manager.addDiscoverer(discoverer);
    discoverer->availability = answers;
    manager.runPass();
    const ProviderStatus row = manager.providerStatuses().first();
    QCOMPARE(row.enabled, enabled);
    QTEST(row.status, "status");
    QTEST(discoverer->scanCount, "scanCount");
    QCOMPARE(row.error, QString());
    QCOMPARE(row.lastScanUtc, manager.lastScanUtc());
}

void DiscoveryManagerTest::passExpiresRecordsWithItsOwnTime()
{
    DeviceRegistry registry;
    DiscoveryManager manager(&registry);
    DeviceRecord old = device(QStringLiteral("old"));
    old.lastSeen = QDateTime(QDate(2020, 1, 1), QTime(0, 0), Qt::UTC);
    old.ttlSeconds = 60;
    manager.addDiscoverer(new ScriptedDiscoverer(QStringLiteral("one"), [&](QString *) {
        nextMillisecond();
        return QList<DeviceRecord>{old};
    }));
    manager.runPass();
    const DeviceRecord stored = registry.record(QStringLiteral("device-id:old"));
    QVERIFY(!stored.online);
    QCOMPARE(stored.lastChanged, manager.lastScanUtc());
}

void DiscoveryManagerTest::scanFinishedFollowsTheExpiry()
{
    DeviceRegistry registry;
    DeviceRecord old = device(QStringLiteral("old"));
    old.lastSeen = QDateTime(QDate(2020, 1, 1), QTime(0, 0), Qt::UTC);
    old.ttlSeconds = 60;
    registry.addOrUpdate(old);
    DiscoveryManager manager(&registry);
    QStringList log;
    QDateTime stampAtFinish;
    connect(&registry, &DeviceRegistry::deviceUpdated, &manager, [&](const DeviceRecord &record) {
        log.append(record.online ? QStringLiteral("online") : QStringLiteral("offline"));
    });
    connect(&manager, &DiscoveryManager::scanFinished, &manager, [&] {
        log.append(QStringLiteral("finished"));
        stampAtFinish = manager.lastScanUtc();
    });
    manager.runPass();
    const QStringList expected{QStringLiteral("offline"), QStringLiteral("finished")};
    QCOMPARE(log, expected);
    QVERIFY(stampAtFinish.isValid());
    QCOMPARE(stampAtFinish, manager.lastScanUtc());
}

void DiscoveryManagerTest::expiryDoesNotEnterTheCount()
{
    DeviceRegistry registry;
    DeviceRecord old = device(QStringLiteral("old"));
    old.lastSeen = QDateTime(QDate(2020, 1, 1), QTime(0, 0), Qt::UTC);
    old.ttlSeconds = 60;
    registry.addOrUpdate(old);
    DiscoveryManager manager(&registry);
    manager.addDiscoverer(
        new ScriptedDiscoverer(QStringLiteral("one"), finds({device(QStringLiteral("new"))})));
    QCOMPARE(manager.runPass(), 1);
    QVERIFY(!registry.record(QStringLiteral("device-id:old")).online);
}

// A provider's event loop delivers whatever is due, a request for another pass included.
void DiscoveryManagerTest::passInsideAPass()
{
    DeviceRegistry registry;
    DiscoveryManager manager(&registry);
    QStringList log;
    QDateTime innerTime;
    QList<QDateTime> innerRowTimes;
    int depth = 0;

    manager.addDiscoverer(new ScriptedDiscoverer(QStringLiteral("first"), [&](QString *error) {
        ++depth;
        log.append(QStringLiteral("first %1").arg(depth));
        if (depth > 1) {
            return QList<DeviceRecord>{device(QStringLiteral("a"))};
        }
        QEventLoop loop;
        QTimer::singleShot(0, &loop, [&] {
            nextMillisecond();
            log.append(QStringLiteral("inner returned %1").arg(manager.runPass()));
            innerTime = manager.lastScanUtc();
            const QList<ProviderStatus> rows = manager.providerStatuses();
            for (const ProviderStatus &row : rows) {
                innerRowTimes.append(row.lastScanUtc);
            }
            loop.quit();
        });
        loop.exec();
        *error = QStringLiteral("outer failed");
        return QList<DeviceRecord>{device(QStringLiteral("a")), device(QStringLiteral("b")),
                                   device(QStringLiteral("c"))};
    }));
    manager.addDiscoverer(new ScriptedDiscoverer(QStringLiteral("second"), [&](QString *) {
        log.append(QStringLiteral("second"));
        return QList<DeviceRecord>{device(QStringLiteral("a"))};
    }));
    connect(&manager, &DiscoveryManager::scanStarted, &manager,
            [&] { log.append(QStringLiteral("started")); });
    connect(&manager, &DiscoveryManager::scanFinished, &manager,
            [&](int count) { log.append(QStringLiteral("finished %1").arg(count)); });

    QCOMPARE(manager.runPass(), 4);
    const QStringList expected{
        QStringLiteral("started"),          QStringLiteral("first 1"), QStringLiteral("started"),
        QStringLiteral("first 2"),          QStringLiteral("second"),  QStringLiteral("finished 2"),
        QStringLiteral("inner returned 2"), QStringLiteral("second"),  QStringLiteral("finished 4"),
    };
    QCOMPARE(log, expected);
    QCOMPARE(registry.records().size(), 3);

    const QList<QDateTime> allInner{innerTime, innerTime};
    QCOMPARE(innerRowTimes, allInner);
    // The outer pass goes on with the time at which it began.
    const QDateTime outerTime = manager.lastScanUtc();
    QVERIFY(outerTime < innerTime);
    const QList<ProviderStatus> rows = manager.providerStatuses();
    QCOMPARE(rows.size(), 2);
    QCOMPARE(rows.at(0).lastScanUtc, outerTime);
    QCOMPARE(rows.at(0).status, QStringLiteral("error"));
    QCOMPARE(rows.at(0).error, QStringLiteral("outer failed"));
    QCOMPARE(rows.at(1).lastScanUtc, outerTime);
    QCOMPARE(rows.at(1).status, QStringLiteral("ok"));
}

void DiscoveryManagerTest::discovererAddedDuringAPassDoesNoHarm()
{
    DeviceRegistry registry;
    DiscoveryManager manager(&registry);
    bool added = false;
    manager.addDiscoverer(new ScriptedDiscoverer(QStringLiteral("first"), [&](QString *) {
        if (!added) {
            added = true;
            for (int i = 0; i < 100; ++i) {
                manager.addDiscoverer(new ScriptedDiscoverer(QStringLiteral("late")));
            }
        }
        return QList<DeviceRecord>{device(QStringLiteral("a"))};
    }));
    QCOMPARE(manager.runPass(), 1);
    QCOMPARE(manager.providerStatuses().size(), 101);
    QCOMPARE(manager.providerStatuses().first().status, QStringLiteral("ok"));
    QCOMPARE(manager.runPass(), 1);
    QCOMPARE(statusWords(manager).count(QStringLiteral("ok")), 101);
}

QTEST_GUILESS_MAIN(DiscoveryManagerTest)
#include "discovery_manager_test.moc"
