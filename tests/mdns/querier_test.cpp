#include "querier.h"

#include <algorithm>
#include <memory>

#include <QSet>
#include <QtTest>

#include "mdns_test_support.h"
#include <qmdnsengine/browser.h>
#include <qmdnsengine/cache.h>
#include <qmdnsengine/dns.h>
#include <qmdnsengine/resolver.h>

using namespace QMdnsEngine;
using MdnsTest::MemoryServer;

namespace
{

constexpr int maximumOpenQuestions = 4096;
constexpr int maximumRecords = 32768;
constexpr qint64 messageIntervalMs = 10;
const QByteArray httpType("_http._tcp.local.");

QByteArray instance(int number)
{
    return "Camera " + QByteArray::number(number) + "._http._tcp.local.";
}

/// Notes what a querier calls.
class NotingListener : public Listener
{
public:
    void recordReceived(const Record &record) override { received.append(record); }
    void recordExpired(const Record &record) override { expired.append(record); }
    void typeFades() override { ++fades; }
    void changesEnded() override
    {
        receivedBefore.append(received.size());
        ++ends;
    }

    QList<Record> received;
    QList<Record> expired;
    QList<int> receivedBefore; // how many records each changesEnded() came after
    int fades = 0;
    int ends = 0;
};

} // namespace

class QuerierTest : public QObject
{
    Q_OBJECT

private slots:
    void isOneForAServerAndACache()
    {
        MemoryServer server;
        MemoryServer otherServer;
        Cache cache;
        Cache otherCache;
        Querier *querier = Querier::of(&server, &cache);
        QCOMPARE(Querier::of(&server, &cache), querier);
        QVERIFY(Querier::of(&otherServer, &cache) != querier);
        QVERIFY(Querier::of(&server, &otherCache) != querier);
    }

    void handsOnWhatIsWatched_data()
    {
        QTest::addColumn<int>("interest");
        QTest::addColumn<QList<int>>("types");
        QTest::newRow("service type") << int(Querier::Interest::ServiceType) << QList<int>{PTR};
        QTest::newRow("instance") << int(Querier::Interest::Instance) << QList<int>{SRV, TXT, NSEC};
        QTest::newRow("host") << int(Querier::Interest::Host) << QList<int>{A, AAAA, NSEC};
    }

    void handsOnWhatIsWatched()
    {
        QFETCH(int, interest);
        QFETCH(QList<int>, types);
        MemoryServer server;
        Cache cache;
        NotingListener listener;
        Querier *querier = Querier::of(&server, &cache);
        querier->watch(&listener, "Name.", Querier::Interest(interest));
        server.deliver({MdnsTest::nsec("name.", "40"),
                        MdnsTest::address("name.", QStringLiteral("192.0.2.1")),
                        MdnsTest::address("NAME.", QStringLiteral("fe80::1")), MdnsTest::txt("name.", {}),
                        MdnsTest::srv("name.", "host.", 1), MdnsTest::ptr("name.", "target."),
                        MdnsTest::ptr("other.", "target.")});
        QList<int> received;
        for (const Record &record : qAsConst(listener.received)) {
            received.append(record.type());
        }
        std::sort(received.begin(), received.end());
        std::sort(types.begin(), types.end());
        QCOMPARE(received, types);
        QCOMPARE(listener.receivedBefore, QList<int>{types.size()});
        QList<Record> cached;
        cache.lookupRecords("name.", ANY, cached);
        QCOMPARE(cached.size(), types.size());
    }

    void watchesAsOftenAsTold()
    {
        MemoryServer server;
        Cache cache;
        NotingListener listener;
        Querier *querier = Querier::of(&server, &cache);
        const Record record = MdnsTest::address("host.", QStringLiteral("192.0.2.1"));
        querier->watch(&listener, "host.", Querier::Interest::Host);
        querier->watch(&listener, "HOST.", Querier::Interest::Host);
        querier->unwatch(&listener, "Host.", Querier::Interest::Host);
        querier->unwatch(&listener, "host.", Querier::Interest::Instance);
        querier->unwatch(&listener, "other.", Querier::Interest::Host);
        server.deliver({record});
        QCOMPARE(listener.received.size(), 1);
        querier->unwatch(&listener, "host.", Querier::Interest::Host);
        server.deliver({record});
        QCOMPARE(listener.received.size(), 1);
    }

    void tellsOfExpiry()
    {
        MemoryServer server;
        Cache cache;
        NotingListener listener;
        Querier *querier = Querier::of(&server, &cache);
        querier->watch(&listener, "type.", Querier::Interest::ServiceType);
        const Record record = MdnsTest::ptr("type.", "instance.", 1);
        server.deliver({record});
        QTRY_COMPARE(listener.expired, QList<Record>{record});
        QCOMPARE(listener.ends, 2);
        QVERIFY(listener.fades <= 4);
    }

    void gathersQuestionsOfOnePacket()
    {
        MemoryServer server;
        Cache cache;
        const Browser browser(&server, httpType, &cache);
        server.sent.clear();
        QList<Record> records;
        for (int i = 0; i < 10; ++i) {
            records.append(MdnsTest::ptr(httpType, instance(i)));
        }
        server.deliver(records);
        QCOMPARE(server.sent.size(), 1);
        QCOMPARE(server.sent.constFirst().queries().size(), 20);
    }

    void keepsThePace()
    {
        MemoryServer server;
        Cache cache;
        const Browser browser(&server, httpType, &cache);
        server.sent.clear();
        server.sentAtMs.clear();
        for (int i = 0; i < 500; ++i) {
            server.deliver({MdnsTest::ptr(httpType, instance(i))});
        }
        // The first question goes out at once.
        QCOMPARE(server.timesAsked(instance(0), SRV), 1);
        QTRY_COMPARE(server.timesAsked(instance(499), TXT), 3);
        QTest::qWait(500); // twice the interval of the repetition
        for (int i = 0; i < 500; ++i) {
            QCOMPARE(server.timesAsked(instance(i), SRV), 3);
            QCOMPARE(server.timesAsked(instance(i), TXT), 3);
        }
        for (int i = 0; i < server.sent.size(); ++i) {
            QByteArray packet;
            toPacket(server.sent.at(i), packet);
            QVERIFY(packet.size() <= 1400);
            // The two clocks may differ by the millisecond that they do not show.
            QVERIFY(i == 0 || server.sentAtMs.at(i) - server.sentAtMs.at(i - 1) >= messageIntervalMs - 1);
        }
    }

    void asksForTheNewBeforeItRepeats()
    {
        MemoryServer server;
        Cache cache;
        const Browser browser(&server, httpType, &cache);
        for (int i = 0; i < 500; ++i) {
            server.deliver({MdnsTest::ptr(httpType, instance(i))});
        }
        QTRY_COMPARE(server.timesAsked(instance(499), TXT), 1);
        const QByteArray late = instance(500);
        server.deliver({MdnsTest::ptr(httpType, late)});
        QTRY_COMPARE(server.timesAsked(late, SRV), 1);
        QCOMPARE(server.timesAsked(instance(499), TXT), 1);
    }

    void boundsOpenQuestions()
    {
        MemoryServer server;
        Cache cache;
        const Browser http(&server, httpType, &cache);
        const Browser ndi(&server, "_ndi._tcp.local.", &cache);
        server.sent.clear();
        QList<Record> records;
        for (int i = 0; i < 3000; ++i) {
            records.append(MdnsTest::ptr(httpType, instance(i)));
            records.append(
                MdnsTest::ptr("_ndi._tcp.local.", "Source " + QByteArray::number(i) + "._ndi._tcp.local."));
        }
        server.deliver(records);
        QTRY_COMPARE_WITH_TIMEOUT(server.timesAsked("Source 2999._ndi._tcp.local.", TXT), 3, 60000);
        QSet<QPair<QByteArray, quint16>> asked;
        for (const Message &message : qAsConst(server.sent)) {
            const QList<Query> queries = message.queries();
            for (const Query &query : queries) {
                asked.insert({query.name(), query.type()});
            }
        }
        QCOMPARE(asked.size(), maximumOpenQuestions);
        QCOMPARE(server.timesAsked(instance(0), SRV), 0);
    }

    void keepsTheCacheBoundedUnderAFlood()
    {
        MemoryServer server;
        Cache cache;
        const Browser browser(&server, httpType, &cache);
        int number = 0;
        for (int packet = 0; packet < 500; ++packet) {
            QList<Record> records;
            for (int i = 0; i < 50; ++i, ++number) {
                const QByteArray host = "host" + QByteArray::number(number) + ".local.";
                records.append(MdnsTest::ptr(httpType, instance(number)));
                records.append(MdnsTest::srv(instance(number), host, 80));
                records.append(MdnsTest::txt(instance(number), {}));
                records.append(MdnsTest::address(host, QStringLiteral("192.0.2.1")));
            }
            server.deliver(records);
        }
        QList<Record> cached;
        cache.lookupRecords(httpType, PTR, cached);
        for (int i = 0; i < number; ++i) {
            cache.lookupRecords(instance(i), ANY, cached);
            cache.lookupRecords("host" + QByteArray::number(i) + ".local.", ANY, cached);
        }
        QCOMPARE(cached.size(), maximumRecords);
        cached.clear();
        cache.lookupRecords(instance(number - 1), ANY, cached);
        QCOMPARE(cached.size(), 2);
    }

    void endlessNameHoldsUpNothing()
    {
        MemoryServer server;
        Cache cache;
        const Resolver odd(&server, QByteArray(5000, 'a'), &cache);
        const Resolver good(&server, "host.local.", &cache);
        QTRY_COMPARE(server.timesAsked("host.local.", A), 1);
    }

    void nestedEventLoopKeepsAsking()
    {
        MemoryServer server;
        Cache cache;
        const Browser browser(&server, httpType, &cache);
        bool wasAsked = false;
        connect(&browser, &Browser::serviceAdded, this, [&] {
            const Resolver resolver(&server, "host.local.", &cache);
            wasAsked = QTest::qWaitFor([&] { return server.timesAsked("host.local.", A) > 0; });
        });
        server.deliver({MdnsTest::ptr(httpType, instance(0)), MdnsTest::srv(instance(0), "host.local.", 80)});
        QVERIFY(wasAsked);
    }

    void goesOnWithoutItsServer()
    {
        auto server = std::make_unique<MemoryServer>();
        Cache cache;
        const Browser browser(server.get(), httpType, &cache);
        server->deliver({MdnsTest::ptr(httpType, instance(0), 1)});
        QSignalSpy expired(&cache, &Cache::recordExpired);
        server.reset();
        const Record address = MdnsTest::address("host.local.", QStringLiteral("192.0.2.1"));
        cache.addRecord(address);
        QTRY_COMPARE(expired.size(), 1);
        Record record;
        QVERIFY(cache.lookupRecord("host.local.", A, record));
    }
};

QTEST_GUILESS_MAIN(QuerierTest)
#include "querier_test.moc"
