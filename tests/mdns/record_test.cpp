#include <functional>

#include <QtTest>

#include "mdns_test_support.h"
#include <qmdnsengine/record.h>

using namespace QMdnsEngine;

using Change = std::function<void(Record *)>;
Q_DECLARE_METATYPE(Change)

class RecordTest : public QObject
{
    Q_OBJECT

private slots:
    void bitmapHolds_data()
    {
        QTest::addColumn<QByteArray>("bitmap");
        QTest::addColumn<int>("type");
        QTest::addColumn<bool>("held");
        QTest::newRow("first bit") << QByteArray("80") << 0 << true;
        QTest::newRow("A") << QByteArray("40000008") << int(A) << true;
        QTest::newRow("AAAA") << QByteArray("40000008") << int(AAAA) << true;
        QTest::newRow("between") << QByteArray("40000008") << int(TXT) << false;
        QTest::newRow("behind the end") << QByteArray("40000008") << int(SRV) << false;
        QTest::newRow("last bit") << QByteArray("00").repeated(31) + "01" << 255 << true;
        QTest::newRow("beyond the block") << QByteArray("ff").repeated(32) << 256 << false;
        QTest::newRow("empty bitmap") << QByteArray() << int(A) << false;
    }

    void bitmapHolds()
    {
        QFETCH(QByteArray, bitmap);
        QFETCH(int, type);
        QTEST(MdnsTest::nsec("a.", bitmap).bitmapHolds(quint16(type)), "held");
    }

    void comparesEveryField_data()
    {
        QTest::addColumn<Change>("change");
        QTest::newRow("name") << Change([](Record *record) { record->setName("A."); });
        QTest::newRow("type") << Change([](Record *record) { record->setType(SRV); });
        QTest::newRow("cache flush") << Change([](Record *record) { record->setFlushCache(true); });
        QTest::newRow("ttl") << Change([](Record *record) { record->setTtl(1); });
        QTest::newRow("address") << Change([](Record *record) { record->setAddress(QHostAddress(1)); });
        QTest::newRow("target") << Change([](Record *record) { record->setTarget("b."); });
        QTest::newRow("next domain name") << Change([](Record *record) { record->setNextDomainName("b."); });
        QTest::newRow("priority") << Change([](Record *record) { record->setPriority(1); });
        QTest::newRow("weight") << Change([](Record *record) { record->setWeight(1); });
        QTest::newRow("port") << Change([](Record *record) { record->setPort(1); });
        QTest::newRow("attribute") << Change([](Record *record) { record->addAttribute("l", "v"); });
        QTest::newRow("null value") << Change(
            [](Record *record) { record->addAttribute("k", QByteArray()); });
        QTest::newRow("bitmap") << Change([](Record *record) { record->setBitmap("1"); });
    }

    void comparesEveryField()
    {
        QFETCH(Change, change);
        Record record = MdnsTest::record("a.", TXT, 120);
        record.addAttribute("k", QByteArray(""));
        Record other = record;
        QVERIFY(record == other);
        change(&other);
        QVERIFY(record != other);
    }
};

QTEST_APPLESS_MAIN(RecordTest)
#include "record_test.moc"
