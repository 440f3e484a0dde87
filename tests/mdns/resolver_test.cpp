#include <memory>

#include <QPointer>
#include <QtTest>

#include "mdns_test_support.h"
#include <qmdnsengine/cache.h>
#include <qmdnsengine/resolver.h>

using namespace QMdnsEngine;
using MdnsTest::MemoryServer;

namespace
{

const QByteArray host("cam.local.");

Record ipv4(const QString &text = QStringLiteral("192.0.2.1"), quint32 ttl = 120)
{
    return MdnsTest::address(host, text, ttl);
}

Record ipv6(const QString &text = QStringLiteral("2001:db8::1"), quint32 ttl = 120)
{
    return MdnsTest::address(host, text, ttl);
}

/// A resolver with all that it needs, and what it has reported.
struct Setup {
    /// The records are in the cache before the resolver is made.
    explicit Setup(const QList<Record> &known = {})
    {
        for (const Record &record : known) {
            cache.addRecord(record);
        }
        resolver = std::make_unique<Resolver>(&server, host, &cache);
        QObject::connect(resolver.get(), &Resolver::resolved,
                         [this](const QHostAddress &address) { addresses.append(address.toString()); });
    }

    MemoryServer server;
    Cache cache;
    std::unique_ptr<Resolver> resolver;
    QStringList addresses;
};

} // namespace

class ResolverTest : public QObject
{
    Q_OBJECT

private slots:
    void asksWhenConstructed_data()
    {
        QTest::addColumn<QList<Record>>("known");
        QTest::addColumn<QList<int>>("asked");
        QTest::newRow("nothing known") << QList<Record>() << QList<int>{A, AAAA};
        QTest::newRow("A known") << QList<Record>{ipv4()} << QList<int>{AAAA};
        QTest::newRow("AAAA known") << QList<Record>{ipv6()} << QList<int>{A};
        QTest::newRow("both known") << QList<Record>{ipv4(), ipv6()} << QList<int>();
        QTest::newRow("AAAA denied") << QList<Record>{MdnsTest::nsec(host, "40")} << QList<int>{A};
        QTest::newRow("A known, AAAA denied")
            << QList<Record>{ipv4(), MdnsTest::nsec(host, "40")} << QList<int>();
        QTest::newRow("both denied") << QList<Record>{MdnsTest::nsec(host, "00008000")} << QList<int>();
        QTest::newRow("both exist") << QList<Record>{MdnsTest::nsec(host, "40000008")} << QList<int>{A, AAAA};
        QTest::newRow("other name known")
            << QList<Record>{MdnsTest::address("other.local.", QStringLiteral("192.0.2.2"))}
            << QList<int>{A, AAAA};
    }

    void asksWhenConstructed()
    {
        QFETCH(QList<Record>, known);
        QFETCH(QList<int>, asked);
        const Setup setup(known);
        QCOMPARE(setup.server.sent.size(), asked.isEmpty() ? 0 : 1);
        QList<int> types;
        for (const Message &message : setup.server.sent) {
            const QList<Query> queries = message.queries();
            for (const Query &query : queries) {
                QCOMPARE(query.name(), host);
                QVERIFY(!query.unicastResponse());
                types.append(query.type());
            }
        }
        QCOMPARE(types, asked);
    }

    void eachResolverAsksWhenConstructed()
    {
        Setup setup;
        const Resolver second(&setup.server, "second.local.", &setup.cache);
        const Resolver third(&setup.server, "third.local.", &setup.cache);
        QCOMPARE(setup.server.timesAsked("second.local.", A), 1);
        QCOMPARE(setup.server.timesAsked("third.local.", AAAA), 1);
    }

    void worksWithoutACache()
    {
        MemoryServer server;
        auto resolver = std::make_unique<Resolver>(&server, host);
        QStringList addresses;
        connect(resolver.get(), &Resolver::resolved, this,
                [&](const QHostAddress &address) { addresses.append(address.toString()); });
        server.deliver({ipv4()});
        QCOMPARE(addresses, QStringList{QStringLiteral("192.0.2.1")});
        resolver.reset();
        server.deliver({ipv6()});
        QCOMPARE(addresses.size(), 1);
    }

    void reportsAddresses_data()
    {
        QTest::addColumn<QList<Record>>("records");
        QTest::addColumn<QStringList>("addresses");
        const QString v4 = QStringLiteral("192.0.2.1");
        const QString v6 = QStringLiteral("2001:db8::1");
        const QString linkLocal = QStringLiteral("fe80::1");
        QTest::newRow("A") << QList<Record>{ipv4()} << QStringList{v4};
        QTest::newRow("AAAA") << QList<Record>{ipv6()} << QStringList{v6};
        QTest::newRow("A before AAAA")
            << QList<Record>{ipv6(), ipv6(linkLocal), ipv4()} << QStringList{v4, v6, linkLocal};
        QTest::newRow("in order of arrival") << QList<Record>{ipv4(QStringLiteral("192.0.2.9")), ipv4()}
                                             << QStringList{QStringLiteral("192.0.2.9"), v4};
        QTest::newRow("repeated") << QList<Record>{ipv4(), ipv4()} << QStringList{v4};
        QTest::newRow("other letter case")
            << QList<Record>{MdnsTest::address("CAM.Local.", v4)} << QStringList{v4};
        QTest::newRow("other host") << QList<Record>{MdnsTest::address("cam1.local.", v4)} << QStringList();
        QTest::newRow("goodbye") << QList<Record>{ipv4(v4, 0)} << QStringList();
        QTest::newRow("denial") << QList<Record>{MdnsTest::nsec(host, "40")} << QStringList();
    }

    void reportsAddresses()
    {
        QFETCH(QList<Record>, records);
        Setup setup;
        setup.server.deliver(records);
        QTEST(setup.addresses, "addresses");
    }

    void reportsAnAddressOnce()
    {
        Setup setup;
        setup.server.deliver({ipv4()});
        setup.server.deliver({ipv4(), ipv6()});
        setup.server.deliver({ipv6(), ipv4()});
        QCOMPARE(setup.addresses, (QStringList{QStringLiteral("192.0.2.1"), QStringLiteral("2001:db8::1")}));
    }

    void reportsWhatTheCacheKnows()
    {
        Setup setup({ipv6(), ipv4(QStringLiteral("192.0.2.9")), ipv4()});
        QVERIFY(setup.addresses.isEmpty());
        const QStringList expected = {QStringLiteral("192.0.2.9"), QStringLiteral("192.0.2.1"),
                                      QStringLiteral("2001:db8::1")};
        QTRY_COMPARE(setup.addresses, expected);
        setup.server.deliver({ipv4(), ipv6()});
        QCoreApplication::processEvents();
        QCOMPARE(setup.addresses, expected);
    }

    void cachesAddresses()
    {
        Setup setup;
        setup.server.deliver({ipv4(), MdnsTest::address("other.local.", QStringLiteral("192.0.2.1"))});
        Record record;
        QVERIFY(setup.cache.lookupRecord(host, A, record));
        QVERIFY(!setup.cache.lookupRecord("other.local.", ANY, record));
    }

    void asksThreeTimes()
    {
        Setup setup;
        QTRY_COMPARE(setup.server.timesAsked(host, A), 2);
        QTRY_COMPARE(setup.server.timesAsked(host, A), 3);
        QTest::qWait(600); // twice the interval of the repetition
        QCOMPARE(setup.server.timesAsked(host, A), 3);
        QCOMPARE(setup.server.timesAsked(host, AAAA), 3);
        QCOMPARE(setup.server.sent.size(), 3);
        QVERIFY(setup.server.sentAtMs.at(1) - setup.server.sentAtMs.at(0) >= 249);
        QVERIFY(setup.server.sentAtMs.at(2) - setup.server.sentAtMs.at(0) >= 498);
    }

    void asksNoMoreOnceAnswered_data()
    {
        QTest::addColumn<QList<Record>>("answer");
        QTest::addColumn<int>("timesA");
        QTest::addColumn<int>("timesAaaa");
        QTest::newRow("A") << QList<Record>{ipv4()} << 1 << 3;
        QTest::newRow("AAAA") << QList<Record>{ipv6()} << 3 << 1;
        QTest::newRow("both") << QList<Record>{ipv4(), ipv6()} << 1 << 1;
        QTest::newRow("AAAA denied") << QList<Record>{MdnsTest::nsec(host, "40")} << 3 << 1;
        QTest::newRow("A, and AAAA denied") << QList<Record>{ipv4(), MdnsTest::nsec(host, "40")} << 1 << 1;
        QTest::newRow("goodbye") << QList<Record>{ipv4(QStringLiteral("192.0.2.1"), 0)} << 3 << 3;
        QTest::newRow("denial taken back") << QList<Record>{MdnsTest::nsec(host, "40", 0)} << 3 << 3;
    }

    void asksNoMoreOnceAnswered()
    {
        QFETCH(QList<Record>, answer);
        Setup setup;
        setup.server.deliver(answer);
        QTest::qWait(800); // past both repetitions
        QTEST(setup.server.timesAsked(host, A), "timesA");
        QTEST(setup.server.timesAsked(host, AAAA), "timesAaaa");
    }

    void boundsAddresses()
    {
        Setup setup;
        for (quint32 i = 0; i < 1000; ++i) {
            setup.server.deliver({ipv4(QHostAddress(0xc0000200 + i).toString())});
        }
        QCOMPARE(setup.addresses.size(), 256);
    }

    void slotMayDeleteTheResolver_data()
    {
        QTest::addColumn<bool>("isCached");
        QTest::newRow("address from the cache") << true;
        QTest::newRow("address from a message") << false;
    }

    void slotMayDeleteTheResolver()
    {
        QFETCH(bool, isCached);
        Setup setup(isCached ? QList<Record>{ipv4(), ipv6()} : QList<Record>());
        const QPointer<Resolver> resolver = setup.resolver.release();
        connect(resolver.data(), &Resolver::resolved, this, [&] { delete resolver.data(); });
        if (!isCached) {
            setup.server.deliver({ipv4(), ipv6()});
        }
        QTRY_VERIFY(resolver.isNull());
        QCOMPARE(setup.addresses.size(), 1);
    }
};

QTEST_GUILESS_MAIN(ResolverTest)
#include "resolver_test.moc"
