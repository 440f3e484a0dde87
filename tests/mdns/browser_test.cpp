#include <algorithm>
#include <memory>

#include <QPointer>
#include <QtTest>

#include "mdns_test_support.h"
#include <qmdnsengine/browser.h>
#include <qmdnsengine/cache.h>
#include <qmdnsengine/dns.h>
#include <qmdnsengine/resolver.h>

using namespace QMdnsEngine;
using MdnsTest::Attributes;
using MdnsTest::MemoryServer;

namespace
{

constexpr int maximumInstances = 4096;

const QByteArray httpType("_http._tcp.local.");
const QByteArray camera("Camera._http._tcp.local.");
const QByteArray cameraHost("cam.local.");

Record cameraPtr(quint32 ttl = 4500)
{
    return MdnsTest::ptr(httpType, camera, ttl);
}

Record cameraSrv(quint16 port = 80, quint32 ttl = 120)
{
    return MdnsTest::srv(camera, cameraHost, port, ttl);
}

Record cameraTxt(const QByteArray &value = "1", quint32 ttl = 4500)
{
    return MdnsTest::txt(camera, {{"key", value}}, ttl);
}

Record cameraAddress()
{
    return MdnsTest::address(cameraHost, QStringLiteral("192.0.2.1"));
}

Service service(const QByteArray &name, const QByteArray &host, quint16 port,
                const Attributes &attributes = {})
{
    Service service;
    service.setName(name);
    service.setType(httpType);
    service.setHostname(host);
    service.setPort(port);
    service.setAttributes(attributes);
    return service;
}

Service cameraService(quint16 port = 80, const QByteArray &value = "1")
{
    return service("Camera", cameraHost, port, {{"key", value}});
}

/// A browser with all that it needs, and what it has reported.
struct Setup {
    explicit Setup(const QByteArray &type = httpType)
    {
        browser = std::make_unique<Browser>(&server, type, &cache);
        listenTo(browser.get());
    }

    void listenTo(const Browser *source)
    {
        QObject::connect(source, &Browser::serviceAdded,
                         [this](const Service &service) { added.append(service); });
        QObject::connect(source, &Browser::serviceUpdated,
                         [this](const Service &service) { updated.append(service); });
        QObject::connect(source, &Browser::serviceRemoved,
                         [this](const Service &service) { removed.append(service); });
    }

    bool isCached(const QByteArray &name) const
    {
        Record record;
        return cache.lookupRecord(name, ANY, record);
    }

    MemoryServer server;
    Cache cache;
    std::unique_ptr<Browser> browser;
    QList<Service> added;
    QList<Service> updated;
    QList<Service> removed;
};

} // namespace

class BrowserTest : public QObject
{
    Q_OBJECT

private slots:
    void asksWhenConstructed()
    {
        const Setup setup;
        QCOMPARE(setup.server.sent.size(), 1);
        Query query;
        query.setName(httpType);
        query.setType(PTR);
        Message message;
        message.addQuery(query);
        QCOMPARE(setup.server.sent.constFirst(), message);
    }

    void eachBrowserAsksForItself()
    {
        Setup setup;
        const Browser other(&setup.server, "_ndi._tcp.local.", &setup.cache);
        QCOMPARE(setup.server.sent.size(), 2);
        QCOMPARE(setup.server.timesAsked("_ndi._tcp.local.", PTR), 1);
    }

    void worksWithoutACache()
    {
        MemoryServer server;
        auto browser = std::make_unique<Browser>(&server, httpType);
        QList<Service> added;
        connect(browser.get(), &Browser::serviceAdded, this,
                [&](const Service &service) { added.append(service); });
        server.deliver({cameraPtr(), cameraSrv(), cameraTxt()});
        QCOMPARE(added, QList<Service>{cameraService()});
        browser.reset();
        server.deliver({cameraPtr(), cameraSrv(), cameraTxt()});
        QCOMPARE(added.size(), 1);
    }

    void listsKnownAnswers()
    {
        Setup setup;
        setup.server.deliver({cameraPtr()});
        Record flushing = MdnsTest::ptr(httpType, "Other._http._tcp.local.");
        flushing.setFlushCache(true);
        setup.server.deliver({flushing});
        setup.server.sent.clear();
        const Browser other(&setup.server, httpType, &setup.cache);
        QCOMPARE(setup.server.sent.size(), 1);
        const QList<Record> answers = setup.server.sent.constFirst().records();
        QCOMPARE(answers.size(), 2);
        QCOMPARE(answers.at(0).target(), camera);
        QCOMPARE(answers.at(1).target(), QByteArray("Other._http._tcp.local."));
        QVERIFY(!answers.at(1).flushCache());
        QVERIFY(!setup.server.sent.constFirst().isTruncated());
    }

    void splitsManyKnownAnswers()
    {
        Setup setup;
        for (int i = 0; i < 200; ++i) {
            setup.server.deliver(
                {MdnsTest::ptr(httpType, "Camera " + QByteArray::number(i) + "._http._tcp.local.")});
        }
        setup.server.sent.clear();
        const Browser other(&setup.server, httpType, &setup.cache);
        const QList<Message> messages = setup.server.sent;
        QVERIFY(messages.size() > 1);
        int answers = 0;
        for (int i = 0; i < messages.size(); ++i) {
            QCOMPARE(messages.at(i).queries().size(), i == 0 ? 1 : 0);
            QCOMPARE(messages.at(i).isTruncated(), i < messages.size() - 1);
            QByteArray packet;
            toPacket(messages.at(i), packet);
            QVERIFY(packet.size() <= 1400);
            answers += messages.at(i).records().size();
        }
        QCOMPARE(answers, 200);
    }

    void boundsKnownAnswers()
    {
        Setup setup;
        for (int i = 0; i < 3000; ++i) {
            setup.server.deliver({MdnsTest::ptr(httpType, QByteArray::number(i) + "._http._tcp.local.")});
        }
        setup.server.sent.clear();
        const Browser other(&setup.server, httpType, &setup.cache);
        int answers = 0;
        for (const Message &message : qAsConst(setup.server.sent)) {
            answers += message.records().size();
        }
        QCOMPARE(answers, 1024);
    }

    void reportsOnePacketOnce_data()
    {
        QTest::addColumn<QList<Record>>("records");
        QStringList order = {QStringLiteral("A"), QStringLiteral("PTR"), QStringLiteral("SRV"),
                             QStringLiteral("TXT")};
        const QMap<QString, Record> records = {{QStringLiteral("A"), cameraAddress()},
                                               {QStringLiteral("PTR"), cameraPtr()},
                                               {QStringLiteral("SRV"), cameraSrv()},
                                               {QStringLiteral("TXT"), cameraTxt()}};
        do {
            QList<Record> ordered;
            for (const QString &type : qAsConst(order)) {
                ordered.append(records.value(type));
            }
            QTest::newRow(qPrintable(order.join(QLatin1Char(' ')))) << ordered;
        } while (std::next_permutation(order.begin(), order.end()));
    }

    void reportsOnePacketOnce()
    {
        QFETCH(QList<Record>, records);
        Setup setup;
        setup.server.deliver(records);
        QCOMPARE(setup.added, QList<Service>{cameraService()});
        QCOMPARE(setup.updated.size(), 0);
        // Nothing is asked that the packet has answered, and the address is there for a resolver.
        QCOMPARE(setup.server.sent.size(), 1);
        QVERIFY(setup.isCached(cameraHost));
    }

    void reportsWithoutAttributesFirst()
    {
        Setup setup;
        setup.server.deliver({cameraPtr(), cameraSrv()});
        QCOMPARE(setup.added, QList<Service>{service("Camera", cameraHost, 80)});
        QCOMPARE(setup.server.timesAsked(camera, TXT), 1);
        QCOMPARE(setup.server.timesAsked(camera, SRV), 0);
        setup.server.deliver({cameraTxt()});
        QCOMPARE(setup.added.size(), 1);
        QCOMPARE(setup.updated, QList<Service>{cameraService()});
    }

    void reportsOnceTheHostIsKnown()
    {
        Setup setup;
        setup.server.deliver({cameraPtr()});
        setup.server.deliver({cameraTxt()});
        QCOMPARE(setup.added.size(), 0);
        setup.server.deliver({cameraSrv()});
        QCOMPARE(setup.added, QList<Service>{cameraService()});
        QCOMPARE(setup.updated.size(), 0);
    }

    void emptyAttributesAreNoChange()
    {
        Setup setup;
        setup.server.deliver({cameraPtr(), cameraSrv()});
        setup.server.deliver({MdnsTest::txt(camera, {})});
        QCOMPARE(setup.added.size(), 1);
        QCOMPARE(setup.updated.size(), 0);
    }

    void asksForWhatIsMissing()
    {
        Setup setup;
        setup.server.deliver({cameraPtr()});
        // At once, and both in one message.
        QCOMPARE(setup.server.sent.size(), 2);
        QCOMPARE(setup.server.sent.constLast().queries().size(), 2);
        QCOMPARE(setup.server.timesAsked(camera, SRV), 1);
        QCOMPARE(setup.server.timesAsked(camera, TXT), 1);
    }

    void asksThreeTimes()
    {
        Setup setup;
        QElapsedTimer clock;
        clock.start();
        setup.server.deliver({cameraPtr()});
        QTRY_COMPARE(setup.server.timesAsked(camera, SRV), 2);
        QVERIFY(clock.elapsed() >= 250);
        setup.server.deliver({cameraPtr()});
        QTRY_COMPARE(setup.server.timesAsked(camera, SRV), 3);
        QVERIFY(clock.elapsed() >= 500);
        setup.server.deliver({cameraPtr()});
        QTest::qWait(600); // twice the interval of the repetition
        QCOMPARE(setup.server.timesAsked(camera, SRV), 3);
        QCOMPARE(setup.server.timesAsked(camera, TXT), 3);
        // All of them together in three messages.
        QCOMPARE(setup.server.sent.size(), 4);
    }

    void asksNoMoreOnceAnswered()
    {
        Setup setup;
        setup.server.deliver({cameraPtr()});
        setup.server.deliver({cameraSrv()});
        QTRY_COMPARE(setup.server.timesAsked(camera, TXT), 3);
        QCOMPARE(setup.server.timesAsked(camera, SRV), 1);
    }

    void takesNoForAnAnswer()
    {
        Setup setup;
        // The bitmap holds SRV and lacks TXT.
        setup.server.deliver({cameraPtr(), MdnsTest::nsec(camera, "0000000040")});
        QCOMPARE(setup.server.timesAsked(camera, SRV), 1);
        QCOMPARE(setup.server.timesAsked(camera, TXT), 0);
    }

    void asksNoMoreForADeletedBrowser()
    {
        Setup setup;
        setup.server.deliver({cameraPtr()});
        setup.browser.reset();
        QTest::qWait(600); // past both repetitions
        QCOMPARE(setup.server.timesAsked(camera, SRV), 1);
    }

    void reportsUpdates_data()
    {
        QTest::addColumn<Record>("record");
        QTest::addColumn<QList<Service>>("updated");
        QTest::newRow("same host and port") << cameraSrv() << QList<Service>();
        QTest::newRow("same attributes") << cameraTxt() << QList<Service>();
        QTest::newRow("port") << cameraSrv(81) << QList<Service>{cameraService(81)};
        QTest::newRow("host") << MdnsTest::srv(camera, "other.local.", 80)
                              << QList<Service>{service("Camera", "other.local.", 80, {{"key", "1"}})};
        QTest::newRow("letter case of the host")
            << MdnsTest::srv(camera, "CAM.local.", 80) << QList<Service>();
        QTest::newRow("letter case of the host, and port")
            << MdnsTest::srv(camera, "CAM.local.", 81)
            << QList<Service>{service("Camera", "CAM.local.", 81, {{"key", "1"}})};
        QTest::newRow("host that differs in UTF-8")
            << MdnsTest::srv(camera, "\xc3\x84.local.", 80)
            << QList<Service>{service("Camera", "\xc3\x84.local.", 80, {{"key", "1"}})};
        QTest::newRow("value") << cameraTxt("2") << QList<Service>{cameraService(80, "2")};
        QTest::newRow("letter case of a value")
            << MdnsTest::txt(camera, {{"KEY", "1"}})
            << QList<Service>{service("Camera", cameraHost, 80, {{"KEY", "1"}})};
        QTest::newRow("no attributes")
            << MdnsTest::txt(camera, {}) << QList<Service>{service("Camera", cameraHost, 80)};
        QTest::newRow("spelling of the instance")
            << MdnsTest::srv("CAMERA._HTTP._tcp.Local.", cameraHost, 81) << QList<Service>{cameraService(81)};
        QTest::newRow("other service")
            << MdnsTest::srv("Other._http._tcp.local.", cameraHost, 81) << QList<Service>();
    }

    void reportsUpdates()
    {
        QFETCH(Record, record);
        Setup setup;
        setup.server.deliver({cameraPtr(), cameraSrv(), cameraTxt()});
        setup.server.deliver({record});
        QTEST(setup.updated, "updated");
        QCOMPARE(setup.added.size(), 1);
        QCOMPARE(setup.removed.size(), 0);
    }

    void repeatedAnswersReportNothing()
    {
        Setup setup;
        for (int i = 0; i < 3; ++i) {
            setup.server.deliver({cameraPtr(), cameraSrv(), cameraTxt(), cameraAddress()});
        }
        QCOMPARE(setup.added.size(), 1);
        QCOMPARE(setup.updated.size(), 0);
    }

    void lastHostWins()
    {
        Setup setup;
        setup.server.deliver({cameraPtr(), cameraSrv(), cameraTxt()});
        setup.server.deliver({cameraPtr(), MdnsTest::srv(camera, "second.local.", 8080), cameraTxt()});
        QCOMPARE(setup.added.size(), 1);
        QCOMPARE(setup.updated, QList<Service>{service("Camera", "second.local.", 8080, {{"key", "1"}})});
    }

    void replacedHostExpiresUnnoticed()
    {
        Setup setup;
        setup.server.deliver({cameraPtr(), cameraSrv(80, 1), cameraTxt()});
        setup.server.deliver({cameraSrv(81)});
        QTRY_VERIFY(!setup.isCached(camera) || [&] {
            QList<Record> records;
            setup.cache.lookupRecords(camera, SRV, records);
            return records.size() == 1;
        }());
        QCOMPARE(setup.updated, QList<Service>{cameraService(81)});
        QCOMPARE(setup.removed.size(), 0);
    }

    void fallsBackToTheOtherHost()
    {
        Setup setup;
        setup.server.deliver({cameraPtr(), cameraSrv(80), cameraTxt()});
        setup.server.deliver({cameraSrv(81, 1)});
        QTRY_COMPARE(setup.updated, (QList<Service>{cameraService(81), cameraService(80)}));
        QCOMPARE(setup.removed.size(), 0);
    }

    void reportsGoodbye_data()
    {
        QTest::addColumn<QList<Record>>("goodbye");
        QTest::newRow("PTR") << QList<Record>{cameraPtr(0)};
        QTest::newRow("SRV") << QList<Record>{cameraSrv(80, 0)};
        QTest::newRow("all") << QList<Record>{cameraTxt("1", 0), cameraSrv(80, 0), cameraPtr(0)};
    }

    void reportsGoodbye()
    {
        QFETCH(QList<Record>, goodbye);
        Setup setup;
        setup.server.deliver({cameraPtr(), cameraSrv(), cameraTxt()});
        setup.server.deliver(goodbye);
        QCOMPARE(setup.removed.size(), 0);
        QTRY_COMPARE(setup.removed, QList<Service>{cameraService()});
        setup.server.deliver({cameraPtr(), cameraSrv(), cameraTxt()});
        QCOMPARE(setup.added, (QList<Service>{cameraService(), cameraService()}));
        QCOMPARE(setup.updated.size(), 0);
    }

    void reportsExpiry()
    {
        Setup setup;
        setup.server.deliver({cameraPtr(1), cameraSrv(), cameraTxt()});
        QTRY_COMPARE(setup.removed, QList<Service>{cameraService()});
    }

    void asksAgainBeforeExpiry()
    {
        Setup setup;
        setup.server.deliver({cameraPtr(), cameraSrv(80, 2), cameraTxt()});
        QCOMPARE(setup.server.timesAsked(camera, SRV), 0);
        QTRY_VERIFY(setup.server.timesAsked(camera, SRV) > 0);
        setup.server.deliver({cameraSrv()});
        QTest::qWait(2000); // past the end of the record's first time to live
        QCOMPARE(setup.removed.size(), 0);
    }

    void asksNotForWhatNobodyWaitsFor()
    {
        Setup setup;
        const Browser other(&setup.server, "_ndi._tcp.local.", &setup.cache);
        setup.server.deliver({cameraPtr(), cameraSrv(80, 1), cameraTxt()});
        setup.browser.reset();
        QVERIFY(setup.isCached(camera));
        setup.server.sent.clear();
        QTest::qWait(1200); // past the end of the record's time to live
        QCOMPARE(setup.server.timesAsked(camera, SRV), 0);
    }

    void asksAgainForAFadingInstanceOnceASecond()
    {
        Setup setup;
        QList<Record> records;
        for (int i = 0; i < 50; ++i) {
            records.append(MdnsTest::ptr(httpType, QByteArray::number(i) + "._http._tcp.local.", 4));
        }
        setup.server.deliver(records);
        setup.server.sent.clear();
        setup.server.sentAtMs.clear();
        QVector<qint64> askedAtMs;
        QTRY_VERIFY_WITH_TIMEOUT(setup.server.timesAsked(httpType, PTR) == 2, 20000);
        for (int i = 0; i < setup.server.sent.size(); ++i) {
            if (setup.server.sent.at(i).queries().constFirst().type() == PTR) {
                askedAtMs.append(setup.server.sentAtMs.at(i));
            }
        }
        // The first time at four fifths of the time to live.
        QVERIFY(askedAtMs.at(0) >= 3200);
        QVERIFY(askedAtMs.at(1) - askedAtMs.at(0) >= 999);
    }

    void repetitionTakesGoodbyeBack()
    {
        Setup setup;
        setup.server.deliver({cameraPtr(), cameraSrv(), cameraTxt()});
        setup.server.deliver({cameraPtr(0), cameraSrv(80, 0)});
        setup.server.deliver({cameraPtr(), cameraSrv()});
        QTest::qWait(1300); // past the second of the goodbye
        QCOMPARE(setup.removed.size(), 0);
        QCOMPARE(setup.added.size(), 1);
    }

    void goodbyeOfAnUnreportedService()
    {
        Setup setup;
        setup.server.deliver({cameraPtr(0), cameraSrv(80, 0), cameraTxt("1", 0)});
        QCOMPARE(setup.added.size(), 0);
        QCOMPARE(setup.server.sent.size(), 1);
        QVERIFY(!setup.isCached(httpType));
    }

    void splitsTheName_data()
    {
        QTest::addColumn<QByteArray>("type");
        QTest::addColumn<QByteArray>("instance");
        QTest::addColumn<QByteArray>("name");
        QTest::newRow("plain") << httpType << camera << QByteArray("Camera");
        QTest::newRow("blanks and UTF-8") << httpType
                                          << QByteArray("K\xc3\xbc"
                                                        "che 1._http._tcp.local.")
                                          << QByteArray("K\xc3\xbc"
                                                        "che 1");
        QTest::newRow("bytes that are not UTF-8")
            << httpType << QByteArray("\xff\xfe._http._tcp.local.") << QByteArray("\xff\xfe");
        QTest::newRow("dot in the label")
            << httpType << QByteArray("Camera 1.5._http._tcp.local.") << QByteArray();
        QTest::newRow("other type") << httpType << QByteArray("Camera._ndi._tcp.local.") << QByteArray();
        QTest::newRow("the type itself") << httpType << httpType << QByteArray();
        QTest::newRow("root name") << httpType << QByteArray() << QByteArray();
        QTest::newRow("one label") << httpType << QByteArray("Camera.") << QByteArray();
        QTest::newRow("type that begins like it")
            << httpType << QByteArray("Camera._http._tcp.local.example.") << QByteArray();
    }

    void splitsTheName()
    {
        QFETCH(QByteArray, type);
        QFETCH(QByteArray, instance);
        QFETCH(QByteArray, name);
        Setup setup(type);
        setup.server.deliver({MdnsTest::ptr(type, instance), MdnsTest::srv(instance, cameraHost, 80)});
        if (name.isEmpty()) {
            QCOMPARE(setup.added.size(), 0);
            QCOMPARE(setup.server.sent.size(), 1);
        } else {
            QCOMPARE(setup.added, QList<Service>{service(name, cameraHost, 80)});
        }
    }

    void keepsTheFirstSpelling()
    {
        Setup setup;
        setup.server.deliver({MdnsTest::ptr("_HTTP._tcp.local.", "CamERA._Http._TCP.local."),
                              MdnsTest::srv("camera._http._tcp.local.", "Cam.Local.", 80)});
        setup.server.deliver({cameraPtr(), cameraSrv(), cameraTxt()});
        Service expected = service("CamERA", "Cam.Local.", 80);
        expected.setType("_Http._TCP.local.");
        QCOMPARE(setup.added, QList<Service>{expected});
        expected.setAttributes({{"key", "1"}});
        QCOMPARE(setup.updated, QList<Service>{expected});
    }

    void reportsRootHostAsEmpty()
    {
        Setup setup;
        setup.server.deliver({cameraPtr(), MdnsTest::srv(camera, QByteArray(), 0), cameraTxt()});
        QCOMPARE(setup.added, QList<Service>{service("Camera", QByteArray(), 0, {{"key", "1"}})});
    }

    void reportsWhatTheCacheKnows()
    {
        Setup setup;
        setup.server.deliver({cameraPtr(), cameraSrv(), cameraTxt()});
        setup.added.clear();
        const Browser late(&setup.server, httpType, &setup.cache);
        setup.listenTo(&late);
        QCOMPARE(setup.added.size(), 0);
        QTRY_COMPARE(setup.added, QList<Service>{cameraService()});
    }

    void asksForWhatTheCacheDoesNotKnow()
    {
        MemoryServer server;
        Cache cache;
        cache.addRecord(cameraPtr());
        cache.addRecord(cameraSrv());
        const Browser browser(&server, httpType, &cache);
        QTRY_COMPARE(server.timesAsked(camera, TXT), 1);
        QCOMPARE(server.timesAsked(camera, SRV), 0);
    }

    void cachesOnlyWhatIsAskedFor_data()
    {
        QTest::addColumn<Record>("record");
        QTest::addColumn<bool>("isCached");
        QTest::newRow("PTR of another type")
            << MdnsTest::ptr("_ndi._tcp.local.", "a._ndi._tcp.local.") << false;
        QTest::newRow("SRV of an instance without a PTR")
            << MdnsTest::srv("a._http._tcp.local.", "a.", 1) << false;
        QTest::newRow("TXT of the type") << MdnsTest::txt("_http._tcp.local.", {}) << false;
        QTest::newRow("A of the instance") << MdnsTest::address(camera, QStringLiteral("192.0.2.1")) << false;
        QTest::newRow("A of another host")
            << MdnsTest::address("b.local.", QStringLiteral("192.0.2.1")) << false;
        QTest::newRow("SRV of the host") << MdnsTest::srv(cameraHost, "a.", 1) << false;
        QTest::newRow("NSEC of another host") << MdnsTest::nsec("b.local.", "40") << false;
        QTest::newRow("A of the host") << cameraAddress() << true;
        QTest::newRow("AAAA of the host") << MdnsTest::address(cameraHost, QStringLiteral("fe80::1")) << true;
        QTest::newRow("NSEC of the host") << MdnsTest::nsec(cameraHost, "40") << true;
        QTest::newRow("NSEC of the instance") << MdnsTest::nsec(camera, "40") << true;
    }

    void cachesOnlyWhatIsAskedFor()
    {
        QFETCH(Record, record);
        Setup setup;
        setup.server.deliver({record, cameraPtr(), cameraSrv(), cameraTxt()});
        QList<Record> records;
        setup.cache.lookupRecords(record.name(), record.type(), records);
        QTEST(records.contains(record), "isCached");
    }

    void forgetsHostsOfTheirServices()
    {
        Setup setup;
        setup.server.deliver({cameraPtr(), cameraSrv(), cameraTxt()});
        setup.server.deliver({MdnsTest::srv(camera, "other.local.", 80)});
        setup.server.deliver({cameraAddress()});
        QVERIFY(!setup.isCached(cameraHost));
        setup.server.deliver({MdnsTest::address("other.local.", QStringLiteral("192.0.2.1"))});
        QVERIFY(setup.isCached("other.local."));
    }

    void sharedHostStaysWatched()
    {
        Setup setup;
        const QByteArray second("Second._http._tcp.local.");
        setup.server.deliver({cameraPtr(), cameraSrv(), cameraTxt()});
        setup.server.deliver({MdnsTest::ptr(httpType, second), MdnsTest::srv(second, cameraHost, 81)});
        setup.server.deliver({MdnsTest::srv(camera, "other.local.", 80)});
        setup.server.deliver({cameraAddress()});
        QVERIFY(setup.isCached(cameraHost));
    }

    void ignoresQueries()
    {
        Setup setup;
        Message message;
        message.addRecord(cameraPtr());
        message.addRecord(cameraSrv());
        emit setup.server.messageReceived(message);
        QCOMPARE(setup.added.size(), 0);
        QVERIFY(!setup.isCached(httpType));
    }

    void oldestInstanceGivesWay()
    {
        Setup setup;
        setup.server.deliver({cameraPtr(), cameraSrv(), cameraTxt()});
        for (int i = 0; i < maximumInstances + 10; ++i) {
            const QByteArray label = QByteArray::number(i);
            setup.server.deliver({MdnsTest::ptr(httpType, label + "._http._tcp.local."),
                                  MdnsTest::srv(label + "._http._tcp.local.", label + ".local.", 80)});
        }
        QCOMPARE(setup.added.size(), maximumInstances + 11);
        QCOMPARE(setup.removed.size(), 11);
        QCOMPARE(setup.removed.constFirst(), cameraService());
        // A real device that answers behind the flood still gets in.
        setup.server.deliver({cameraPtr(), cameraSrv(), cameraTxt()});
        QCOMPARE(setup.added.constLast(), cameraService());
    }

    /// The packet that changes the oldest instance also brings the one that takes its place.
    void forgetsAnInstanceThatHasJustChanged()
    {
        Setup setup;
        setup.server.deliver({cameraPtr(), cameraSrv(), cameraTxt()});
        for (int i = 1; i < maximumInstances; ++i) {
            setup.server.deliver({MdnsTest::ptr(httpType, QByteArray::number(i) + "._http._tcp.local.")});
        }
        QCOMPARE(setup.removed.size(), 0);
        setup.server.deliver({cameraSrv(8080), MdnsTest::ptr(httpType, "Last._http._tcp.local.")});
        QCOMPARE(setup.updated.size(), 0);
        QCOMPARE(setup.removed.size(), 1);
        QCOMPARE(setup.removed.constFirst().name(), QByteArray("Camera"));
    }

    void manyServicesInOnePacket()
    {
        Setup setup;
        QList<Record> records;
        for (int i = 0; i < 500; ++i) {
            const QByteArray instance = "Camera " + QByteArray::number(i) + "._http._tcp.local.";
            records.prepend(MdnsTest::ptr(httpType, instance));
            records.append(MdnsTest::srv(instance, cameraHost, 80));
            records.append(MdnsTest::txt(instance, {}));
        }
        setup.server.deliver(records);
        QCOMPARE(setup.added.size(), 500);
        QCOMPARE(setup.server.sent.size(), 1);
    }

    void slotMayCreateAResolver()
    {
        Setup setup;
        QList<QHostAddress> addresses;
        QObject parent;
        connect(setup.browser.get(), &Browser::serviceAdded, &parent, [&](const Service &service) {
            const auto *resolver = new Resolver(&setup.server, service.hostname(), &setup.cache, &parent);
            connect(resolver, &Resolver::resolved, &parent,
                    [&](const QHostAddress &address) { addresses.append(address); });
        });
        setup.server.deliver({cameraAddress(), cameraPtr(), cameraSrv(), cameraTxt()});
        QCOMPARE(setup.server.timesAsked(cameraHost, A), 0);
        QCOMPARE(setup.server.timesAsked(cameraHost, AAAA), 1);
        QTRY_COMPARE(addresses, QList<QHostAddress>{cameraAddress().address()});
    }

    void slotMayDelete_data()
    {
        QTest::addColumn<QString>("what");
        QTest::newRow("the browser") << QStringLiteral("browser");
        QTest::newRow("the cache") << QStringLiteral("cache");
        QTest::newRow("the server") << QStringLiteral("server");
        QTest::newRow("everything") << QStringLiteral("browser cache server");
        QTest::newRow("everything, the other way round") << QStringLiteral("server cache browser");
    }

    void slotMayDelete()
    {
        QFETCH(QString, what);
        QMap<QString, QPointer<QObject>> objects;
        const QPointer<MemoryServer> server = new MemoryServer;
        auto *cache = new Cache;
        auto *browser = new Browser(server, httpType, cache);
        const auto other = std::make_unique<Browser>(server, httpType, cache);
        objects.insert(QStringLiteral("server"), server.data());
        objects.insert(QStringLiteral("cache"), cache);
        objects.insert(QStringLiteral("browser"), browser);
        int added = 0;
        connect(browser, &Browser::serviceAdded, this, [&] {
            ++added;
            const QStringList names = what.split(QLatin1Char(' '));
            for (const QString &name : names) {
                delete objects.value(name).data();
            }
        });
        server->deliver({cameraPtr(), cameraSrv(), MdnsTest::ptr(httpType, "Other._http._tcp.local."),
                         MdnsTest::srv("Other._http._tcp.local.", cameraHost, 80)});
        QCOMPARE(added, what.contains(QStringLiteral("browser")) ? 1 : 2);
        if (!server.isNull()) {
            server->deliver({cameraPtr(), cameraSrv(81)});
        }
        QTest::qWait(20); // the interval of the messages, for timers of what is gone
        for (const QPointer<QObject> &object : qAsConst(objects)) {
            delete object.data();
        }
    }

    void anyOrderOfDestruction_data()
    {
        QTest::addColumn<QStringList>("order");
        QStringList order = {QStringLiteral("browser"), QStringLiteral("cache"), QStringLiteral("resolver"),
                             QStringLiteral("server")};
        do {
            QTest::newRow(qPrintable(order.join(QLatin1Char(' ')))) << order;
        } while (std::next_permutation(order.begin(), order.end()));
    }

    void anyOrderOfDestruction()
    {
        QFETCH(QStringList, order);
        const QPointer<MemoryServer> server = new MemoryServer;
        auto *cache = new Cache;
        auto *browser = new Browser(server, httpType, cache);
        auto *resolver = new Resolver(server, cameraHost, cache);
        const QMap<QString, QObject *> objects = {{QStringLiteral("browser"), browser},
                                                  {QStringLiteral("cache"), cache},
                                                  {QStringLiteral("resolver"), resolver},
                                                  {QStringLiteral("server"), server.data()}};
        QList<Service> added;
        connect(browser, &Browser::serviceAdded, this,
                [&](const Service &service) { added.append(service); });
        server->deliver({cameraPtr(), cameraSrv(), MdnsTest::ptr(httpType, "Other._http._tcp.local.")});
        QCOMPARE(added.size(), 1);
        for (const QString &name : qAsConst(order)) {
            delete objects.value(name);
            if (!server.isNull()) {
                server->deliver({cameraPtr(), cameraSrv(), cameraTxt(), cameraAddress()});
            }
            QTest::qWait(20); // the interval of the messages, for timers of what is gone
        }
        QVERIFY(server.isNull());
    }
};

QTEST_GUILESS_MAIN(BrowserTest)
#include "browser_test.moc"
