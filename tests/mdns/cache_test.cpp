#include <memory>

#include <QPointer>
#include <QSignalSpy>
#include <QtTest>

#include "mdns_test_support.h"
#include <qmdnsengine/cache.h>

using namespace QMdnsEngine;

namespace
{

constexpr int maximumRecords = 32768;

QList<Record> lookedUp(const Cache &cache, const QByteArray &name, quint16 type)
{
    QList<Record> records;
    const bool found = cache.lookupRecords(name, type, records);
    return found == !records.isEmpty() ? records : QList<Record>{Record(), Record(), Record()};
}

Record flushing(Record record)
{
    record.setFlushCache(true);
    return record;
}

Record firstAddress(quint32 ttl = 120)
{
    return MdnsTest::address("cam.local.", QStringLiteral("192.0.2.1"), ttl);
}

Record secondAddress(quint32 ttl = 120)
{
    return MdnsTest::address("cam.local.", QStringLiteral("192.0.2.2"), ttl);
}

Record numbered(int number)
{
    return MdnsTest::ptr("_http._tcp.local.", QByteArray::number(number) + "._http._tcp.local.");
}

} // namespace

class CacheTest : public QObject
{
    Q_OBJECT

private slots:
    void findsRecord()
    {
        Cache cache;
        Record record;
        QVERIFY(!cache.lookupRecord("cam.local.", A, record));
        cache.addRecord(firstAddress());
        QVERIFY(cache.lookupRecord("cam.local.", A, record));
        QCOMPARE(record, firstAddress());
    }

    void findsByNameAndType_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("count");
        QTest::newRow("one type") << QByteArray("cam.local.") << int(A) << 2;
        QTest::newRow("other type") << QByteArray("cam.local.") << int(AAAA) << 1;
        QTest::newRow("any type") << QByteArray("cam.local.") << int(ANY) << 3;
        QTest::newRow("type that is not there") << QByteArray("cam.local.") << int(SRV) << 0;
        QTest::newRow("other letter case") << QByteArray("CAM.Local.") << int(A) << 2;
        QTest::newRow("other letter case in UTF-8") << QByteArray("\xe4.local.") << int(A) << 0;
        QTest::newRow("name that is not there") << QByteArray("camera.local.") << int(ANY) << 0;
        QTest::newRow("root name") << QByteArray() << int(ANY) << 0;
    }

    void findsByNameAndType()
    {
        QFETCH(QByteArray, name);
        QFETCH(int, type);
        Cache cache;
        cache.addRecord(firstAddress());
        cache.addRecord(secondAddress());
        cache.addRecord(MdnsTest::address("Cam.local.", QStringLiteral("2001:db8::1")));
        cache.addRecord(MdnsTest::address("cam1.local.", QStringLiteral("192.0.2.3")));
        cache.addRecord(MdnsTest::address("\xc4.local.", QStringLiteral("192.0.2.4")));
        QTEST(lookedUp(cache, name, quint16(type)).size(), "count");
    }

    void appendsInOrderOfArrival()
    {
        Cache cache;
        cache.addRecord(secondAddress());
        cache.addRecord(firstAddress());
        QList<Record> records = {Record()};
        QVERIFY(cache.lookupRecords("cam.local.", A, records));
        QCOMPARE(records, (QList<Record>{Record(), secondAddress(), firstAddress()}));
        Record record;
        QVERIFY(cache.lookupRecord("cam.local.", A, record));
        QCOMPARE(record, secondAddress());
    }

    void keepsARepeatedRecordOnce_data()
    {
        QTest::addColumn<Record>("record");
        QTest::addColumn<Record>("repeated");
        QTest::addColumn<int>("count");
        const QByteArray name("a.local.");
        QTest::newRow("same") << firstAddress() << firstAddress(60) << 1;
        QTest::newRow("other address") << firstAddress() << secondAddress() << 2;
        QTest::newRow("letter case of the owner")
            << MdnsTest::ptr(name, "b.") << MdnsTest::ptr("A.Local.", "b.") << 1;
        QTest::newRow("letter case of the target")
            << MdnsTest::ptr(name, "b.") << MdnsTest::ptr(name, "B.") << 1;
        QTest::newRow("other target") << MdnsTest::ptr(name, "b.") << MdnsTest::ptr(name, "c.") << 2;
        QTest::newRow("other port") << MdnsTest::srv(name, "b.", 1) << MdnsTest::srv(name, "b.", 2) << 2;
        QTest::newRow("other attributes")
            << MdnsTest::txt(name, {{"k", "1"}}) << MdnsTest::txt(name, {{"k", "2"}}) << 2;
        QTest::newRow("null value") << MdnsTest::txt(name, {{"k", QByteArray("")}})
                                    << MdnsTest::txt(name, {{"k", QByteArray()}}) << 2;
        QTest::newRow("other bitmap") << MdnsTest::nsec(name, "40") << MdnsTest::nsec(name, "41") << 2;
    }

    void keepsARepeatedRecordOnce()
    {
        QFETCH(Record, record);
        QFETCH(Record, repeated);
        QFETCH(int, count);
        Cache cache;
        cache.addRecord(record);
        cache.addRecord(repeated);
        const QList<Record> records = lookedUp(cache, record.name(), record.type());
        QCOMPARE(records.size(), count);
        QCOMPARE(records.constLast(), repeated);
    }

    void queriesFourTimesAndExpires()
    {
        Cache cache;
        QElapsedTimer clock;
        clock.start();
        QVector<qint64> queriedAtMs;
        qint64 expiredAtMs = -1;
        connect(&cache, &Cache::shouldQuery, this, [&](const Record &record) {
            QCOMPARE(record, firstAddress(4));
            queriedAtMs.append(clock.elapsed());
        });
        connect(&cache, &Cache::recordExpired, this, [&](const Record &record) {
            QCOMPARE(record, firstAddress(4));
            QVERIFY(lookedUp(cache, "cam.local.", ANY).isEmpty());
            expiredAtMs = clock.elapsed();
        });
        cache.addRecord(firstAddress(4));
        QTRY_VERIFY_WITH_TIMEOUT(expiredAtMs >= 0, 20000);
        QCOMPARE(queriedAtMs.size(), 4);
        for (int i = 0; i < 4; ++i) {
            QVERIFY(queriedAtMs.at(i) >= 3200 + 200 * i);
        }
        QVERIFY(expiredAtMs >= 4000);
    }

    void repetitionStartsTheTimeToLiveAnew()
    {
        Cache cache;
        QSignalSpy expired(&cache, &Cache::recordExpired);
        cache.addRecord(firstAddress(1));
        cache.addRecord(secondAddress(1));
        cache.addRecord(firstAddress(120));
        QTRY_COMPARE(expired.size(), 1);
        QCOMPARE(expired.constFirst().constFirst().value<Record>(), secondAddress(1));
        QCOMPARE(lookedUp(cache, "cam.local.", A), QList<Record>{firstAddress(120)});
    }

    void goodbyeExpiresAfterOneSecond()
    {
        Cache cache;
        QSignalSpy expired(&cache, &Cache::recordExpired);
        QSignalSpy queried(&cache, &Cache::shouldQuery);
        QElapsedTimer clock;
        clock.start();
        cache.addRecord(firstAddress());
        cache.addRecord(secondAddress());
        cache.addRecord(firstAddress(0));
        QCOMPARE(lookedUp(cache, "cam.local.", A), (QList<Record>{secondAddress(), firstAddress()}));
        QTRY_COMPARE(expired.size(), 1);
        QVERIFY(clock.elapsed() >= 1000);
        QCOMPARE(expired.constFirst().constFirst().value<Record>(), firstAddress());
        QCOMPARE(lookedUp(cache, "cam.local.", A), QList<Record>{secondAddress()});
        QCOMPARE(queried.size(), 0);
    }

    void goodbyeOfAnUnknownRecordAddsNothing()
    {
        Cache cache;
        cache.addRecord(firstAddress(0));
        QVERIFY(lookedUp(cache, "cam.local.", ANY).isEmpty());
    }

    void repeatedGoodbyeGivesNoMoreTime()
    {
        Cache cache;
        QSignalSpy expired(&cache, &Cache::recordExpired);
        cache.addRecord(firstAddress());
        cache.addRecord(firstAddress(0));
        QElapsedTimer clock;
        clock.start();
        // As long as goodbyes come more often than once a second, only the first can count.
        while (expired.isEmpty() && clock.elapsed() < 10000) {
            cache.addRecord(firstAddress(0));
            QTest::qWait(50);
        }
        QCOMPARE(expired.size(), 1);
    }

    void repetitionTakesGoodbyeBack()
    {
        Cache cache;
        QSignalSpy expired(&cache, &Cache::recordExpired);
        cache.addRecord(firstAddress());
        cache.addRecord(secondAddress());
        cache.addRecord(firstAddress(0));
        cache.addRecord(firstAddress());
        cache.addRecord(secondAddress(0));
        QTRY_COMPARE(expired.size(), 1);
        QCOMPARE(lookedUp(cache, "cam.local.", A), QList<Record>{firstAddress()});
    }

    void flushReachesOlderRecordsOfTheNameAndType()
    {
        Cache cache;
        QSignalSpy expired(&cache, &Cache::recordExpired);
        const Record ipv6 = MdnsTest::address("cam.local.", QStringLiteral("2001:db8::1"));
        const Record otherName = MdnsTest::address("cam1.local.", QStringLiteral("192.0.2.1"));
        cache.addRecord(firstAddress());
        cache.addRecord(ipv6);
        cache.addRecord(otherName);
        QTest::qWait(1100); // records are spared for one second (RFC 6762, 10.2)
        const Record third = MdnsTest::address("cam.local.", QStringLiteral("192.0.2.3"));
        cache.addRecord(third);
        cache.addRecord(flushing(secondAddress()));
        // What is about to expire is still there for a second, behind the others.
        QCOMPARE(lookedUp(cache, "cam.local.", A),
                 (QList<Record>{third, flushing(secondAddress()), firstAddress()}));
        QTRY_COMPARE(expired.size(), 1);
        QCOMPARE(expired.constFirst().constFirst().value<Record>(), firstAddress());
        QCOMPARE(lookedUp(cache, "cam.local.", A), (QList<Record>{third, flushing(secondAddress())}));
        QCOMPARE(lookedUp(cache, "cam.local.", AAAA), QList<Record>{ipv6});
        QCOMPARE(lookedUp(cache, "cam1.local.", A), QList<Record>{otherName});
    }

    void flushSparesRecordsOfTheLastSecond()
    {
        Cache cache;
        cache.addRecord(firstAddress());
        cache.addRecord(flushing(secondAddress()));
        QCOMPARE(cache.knownAnswers("cam.local.", A),
                 (QList<Record>{firstAddress(), flushing(secondAddress())}));
    }

    void flushSparesTheRecordItself()
    {
        Cache cache;
        cache.addRecord(flushing(firstAddress()));
        QTest::qWait(1100); // records are spared for one second (RFC 6762, 10.2)
        cache.addRecord(flushing(firstAddress()));
        QCOMPARE(cache.knownAnswers("cam.local.", A), QList<Record>{flushing(firstAddress())});
    }

    void knownAnswersHaveHalfOfTheirTimeAhead()
    {
        Cache cache;
        cache.addRecord(firstAddress(2));
        cache.addRecord(secondAddress(120));
        cache.addRecord(MdnsTest::address("cam.local.", QStringLiteral("192.0.2.3")));
        cache.addRecord(MdnsTest::address("cam.local.", QStringLiteral("192.0.2.3"), 0));
        QCOMPARE(cache.knownAnswers("CAM.local.", A), (QList<Record>{firstAddress(2), secondAddress(120)}));
        QTRY_COMPARE(cache.knownAnswers("cam.local.", A).size(), 1);
        const Record left = cache.knownAnswers("cam.local.", A).constFirst();
        QCOMPARE(left.address(), secondAddress().address());
        QVERIFY(left.ttl() < 120);
        // The other one is still in the cache.
        QCOMPARE(lookedUp(cache, "cam.local.", A).constFirst(), firstAddress(2));
    }

    void oldestRecordGivesWay()
    {
        Cache cache;
        QSignalSpy expired(&cache, &Cache::recordExpired);
        for (int i = 0; i < maximumRecords; ++i) {
            cache.addRecord(numbered(i));
        }
        QCOMPARE(lookedUp(cache, "_http._tcp.local.", PTR).size(), maximumRecords);
        cache.addRecord(numbered(0)); // heard again, it is no longer the oldest
        cache.addRecord(firstAddress());
        const QList<Record> records = lookedUp(cache, "_http._tcp.local.", PTR);
        QCOMPARE(records.size(), maximumRecords - 1);
        QCOMPARE(records.constFirst(), numbered(2));
        QCOMPARE(records.constLast(), numbered(0));
        QCOMPARE(lookedUp(cache, "cam.local.", A).size(), 1);
        QCOMPARE(expired.size(), 0);
    }

    void staysBoundedUnderAFloodOfGoodbyesAndFlushes()
    {
        Cache cache;
        for (int i = 0; i < 2 * maximumRecords; ++i) {
            Record record = numbered(i);
            record.setFlushCache(i % 3 == 0);
            cache.addRecord(record);
            if (i % 2 == 0) {
                record.setTtl(0);
                cache.addRecord(record);
            }
        }
        QCOMPARE(lookedUp(cache, "_http._tcp.local.", PTR).size(), maximumRecords);
    }

    void slotsMayChangeTheCache()
    {
        Cache cache;
        int count = 0;
        connect(&cache, &Cache::recordExpired, this, [&](const Record &record) {
            if (++count == 1) {
                cache.addRecord(record);
            }
        });
        cache.addRecord(firstAddress(1));
        QTRY_COMPARE(count, 2);
        QVERIFY(lookedUp(cache, "cam.local.", A).isEmpty());
    }

    void slotMayDeleteTheCache()
    {
        const QPointer<Cache> cache = new Cache;
        int count = 0;
        connect(cache.data(), &Cache::recordExpired, this, [&] {
            ++count;
            delete cache.data();
        });
        cache->addRecord(firstAddress(1));
        cache->addRecord(secondAddress(1));
        cache->addRecord(firstAddress(0));
        QTRY_VERIFY(cache.isNull());
        QCOMPARE(count, 1);
    }

    void treatsLongestTimeToLive()
    {
        Cache cache;
        QSignalSpy queried(&cache, &Cache::shouldQuery);
        cache.addRecord(firstAddress(0xffffffff));
        QSignalSpy expired(&cache, &Cache::recordExpired);
        cache.addRecord(secondAddress(1));
        QTRY_COMPARE(expired.size(), 1);
        QCOMPARE(queried.size(), 4);
        QCOMPARE(lookedUp(cache, "cam.local.", A), QList<Record>{firstAddress(0xffffffff)});
    }
};

QTEST_GUILESS_MAIN(CacheTest)
#include "cache_test.moc"
