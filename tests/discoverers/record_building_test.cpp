#include "discoverers/record_building.h"

#include <QtTest>

#include "record_checks.h"

using namespace Sondrix;

class RecordBuildingTest : public QObject
{
    Q_OBJECT

private slots:
    void readsUrlHost_data();
    void readsUrlHost();
    void setsHost();
    void setsNoEmptyAddress();
    void setsTimes();
    void appendsInOrder();
    void appendsFirstOfEqualKeys();
    void dropsWhatCannotBeIdentified();
    void looksAtEarlierKeys();
};

namespace
{

DeviceRecord recordWith(const char *id, const char *displayName = "")
{
    DeviceRecord record;
    record.id = QString::fromLatin1(id);
    record.displayName = QString::fromLatin1(displayName);
    return record;
}

QStringList namesOf(const QList<DeviceRecord> &records)
{
    QStringList names;
    for (const DeviceRecord &record : records) {
        names.append(record.displayName);
    }
    return names;
}

} // namespace

void RecordBuildingTest::readsUrlHost_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("host");

    const auto row = [](const char *name, const char *url, const char *host) {
        QTest::newRow(name) << QString::fromUtf8(url) << QString::fromUtf8(host);
    };
    row("nothing", "", "");
    row("address and port", "http://10.0.0.4:80/x", "10.0.0.4");
    row("capitals", "http://Cam.Local/", "cam.local");
    row("IPv6", "http://[fe80::1]/", "fe80::1");
    row("IPv6 scope", "http://[fe80::1%25eth0]/", "fe80::1%eth0");
    row("percent-encoded", "http://c%61m/", "cam");
    row("no scheme", "10.0.0.4/x", "");
    row("port too great", "http://cam:99999/", "");
    row("broken", "http://c^am/", "");
}

void RecordBuildingTest::readsUrlHost()
{
    QFETCH(QString, url);
    QFETCH(QString, host);

    QCOMPARE(urlHost(QUrl(url)), host);
}

void RecordBuildingTest::setsHost()
{
    DeviceRecord record;
    setHost(&record, QStringLiteral("cam"));
    DeviceRecord expected;
    expected.hostname = QStringLiteral("cam");
    expected.addresses = QStringList{QStringLiteral("cam")};
    compareRecords(record, expected);
}

void RecordBuildingTest::setsNoEmptyAddress()
{
    DeviceRecord record;
    setHost(&record, QString());
    compareRecords(record, DeviceRecord());
}

void RecordBuildingTest::setsTimes()
{
    const QDateTime now(QDate(2024, 2, 29), QTime(23, 59, 59, 999), Qt::UTC);
    DeviceRecord record;
    setTimes(&record, now);
    QCOMPARE(record.firstSeen, now);
    QCOMPARE(record.lastSeen, now);
    QCOMPARE(record.lastChanged, now);
    compareRecords(record, DeviceRecord());
}

void RecordBuildingTest::appendsInOrder()
{
    QList<DeviceRecord> records{recordWith("x", "before")};
    QSet<QString> seen;
    appendUnseen(recordWith("b", "first"), &records, &seen);
    appendUnseen(recordWith("a", "second"), &records, &seen);
    QCOMPARE(namesOf(records),
             (QStringList{QStringLiteral("before"), QStringLiteral("first"), QStringLiteral("second")}));
    QCOMPARE(seen, (QSet<QString>{QStringLiteral("device-id:a"), QStringLiteral("device-id:b")}));
}

void RecordBuildingTest::appendsFirstOfEqualKeys()
{
    QList<DeviceRecord> records;
    QSet<QString> seen;
    appendUnseen(recordWith("Cam", "first"), &records, &seen);
    appendUnseen(recordWith(" cam ", "second"), &records, &seen);
    QCOMPARE(namesOf(records), QStringList{QStringLiteral("first")});
    QCOMPARE(seen, QSet<QString>{QStringLiteral("device-id:cam")});
}

void RecordBuildingTest::dropsWhatCannotBeIdentified()
{
    QList<DeviceRecord> records;
    QSet<QString> seen;
    appendUnseen(DeviceRecord(), &records, &seen);
    appendUnseen(recordWith(" ", "blank id"), &records, &seen);
    QVERIFY(records.isEmpty());
    QVERIFY(seen.isEmpty());
}

void RecordBuildingTest::looksAtEarlierKeys()
{
    QList<DeviceRecord> records;
    QSet<QString> seen{QStringLiteral("device-id:a")};
    appendUnseen(recordWith("a"), &records, &seen);
    QVERIFY(records.isEmpty());
}

QTEST_APPLESS_MAIN(RecordBuildingTest)
#include "record_building_test.moc"
