#include <QRandomGenerator>
#include <QtTest>

#include "mdns_test_support.h"
#include <qmdnsengine/dns.h>

using namespace QMdnsEngine;
using MdnsTest::Attributes;

namespace
{

const QByteArray queryPacket = QByteArray::fromHex("0000 0000 0001 0000 0000 0000"
                                                   "055f68747470 045f746370 056c6f63616c 00 000c 0001");

// "_http._tcp.local." at 0x0c, "local." at 0x17, the instance at 0x28, its host at 0x43.
const QByteArray servicePacket =
    QByteArray::fromHex("0000 8400 0000 0004 0000 0000"
                        "055f68747470 045f746370 056c6f63616c 00 000c 0001 00001194 0009 06 43616d657261 c00c"
                        "c028 0021 8001 00000078 000d 0001 0002 0050 04 63616d31 c017"
                        "c028 0010 8001 00001194 000c 08 666e3d46726f6e74 02 726f"
                        "c043 0001 8001 00000078 0004 c0000205");

const QByteArray hostPacket = QByteArray::fromHex(
    "0000 8400 0000 0002 0000 0000"
    "04 63616d31 056c6f63616c 00 001c 8001 00000078 0010 fe80000000000000 0000000000000001"
    "c00c 002f 8001 00000078 0008 c00c 00 04 40000008");

QList<Record> serviceRecords()
{
    const QByteArray instance("Camera._http._tcp.local.");
    Record srv = MdnsTest::srv(instance, "cam1.local.", 80);
    srv.setPriority(1);
    srv.setWeight(2);
    Record address = MdnsTest::address("cam1.local.", QStringLiteral("192.0.2.5"));
    address.setFlushCache(true);
    return {MdnsTest::ptr("_http._tcp.local.", instance), srv,
            MdnsTest::txt(instance, {{"fn", "Front"}, {"ro", QByteArray()}}), address};
}

QList<Record> hostRecords()
{
    Record address = MdnsTest::address("cam1.local.", QStringLiteral("fe80::1"));
    address.setFlushCache(true);
    return {address, MdnsTest::nsec("cam1.local.", "40000008")};
}

Message responseOf(const QList<Record> &records)
{
    Message message;
    message.setResponse(true);
    for (const Record &record : records) {
        message.addRecord(record);
    }
    return message;
}

Message queryFor(const QByteArray &name, quint16 type)
{
    Query query;
    query.setName(name);
    query.setType(type);
    Message message;
    message.addQuery(query);
    return message;
}

QByteArray encoded(const Message &message)
{
    QByteArray packet;
    toPacket(message, packet);
    return packet;
}

Message decoded(const QByteArray &packet)
{
    Message message;
    fromPacket(packet, message);
    return message;
}

/// The header of a response with so many records in its answer section.
QByteArray responseHeader(int records)
{
    return QByteArray::fromHex("0000 8400 0000") + QByteArray(1, char(records >> 8)) +
           QByteArray(1, char(records)) + QByteArray::fromHex("0000 0000");
}

/// A record as it stands in a packet. Owner, type, class and ttl are given as they are.
QByteArray rawRecord(const QByteArray &head, const QByteArray &data)
{
    return head + QByteArray(1, char(data.size() >> 8)) + QByteArray(1, char(data.size())) + data;
}

QByteArray label(const QByteArray &text)
{
    return QByteArray(1, char(text.size())) + text;
}

const QByteArray aliceAddress = QByteArray::fromHex("05 616c696365 00 0001 0001 00000078 0004 c0000201");
const QByteArray bobHead = QByteArray::fromHex("03 626f62 00");

/// Name, class and time to live of a record of "bob." with this type.
QByteArray bobRecord(quint16 type, const QByteArray &data)
{
    return rawRecord(bobHead + QByteArray(1, char(type >> 8)) + QByteArray(1, char(type)) +
                         QByteArray::fromHex("0001 00000078"),
                     data);
}

} // namespace

class DnsTest : public QObject
{
    Q_OBJECT

private slots:
    void decodesQuery() { QCOMPARE(decoded(queryPacket), queryFor("_http._tcp.local.", PTR)); }

    void encodesQuery()
    {
        QCOMPARE(encoded(queryFor("_http._tcp.local.", PTR)).toHex(), queryPacket.toHex());
    }

    void decodesResponse_data()
    {
        QTest::addColumn<QByteArray>("packet");
        QTest::addColumn<QList<Record>>("records");
        QTest::newRow("service") << servicePacket << serviceRecords();
        QTest::newRow("host") << hostPacket << hostRecords();
    }

    void decodesResponse()
    {
        QFETCH(QByteArray, packet);
        QFETCH(QList<Record>, records);
        Message message;
        QVERIFY(fromPacket(packet, message));
        QCOMPARE(message, responseOf(records));
    }

    void encodesResponse_data() { decodesResponse_data(); }

    void encodesResponse()
    {
        QFETCH(QByteArray, packet);
        QFETCH(QList<Record>, records);
        QCOMPARE(encoded(responseOf(records)).toHex(), packet.toHex());
    }

    void readsRecordsOfAllSections()
    {
        const QByteArray packet =
            QByteArray::fromHex("0000 8400 0000 0001 0001 0001") + aliceAddress + aliceAddress + aliceAddress;
        QCOMPARE(decoded(packet).records().size(), 3);
    }

    void readsFlags_data()
    {
        QTest::addColumn<QByteArray>("header");
        QTest::addColumn<bool>("isResponse");
        QTest::addColumn<bool>("isTruncated");
        QTest::addColumn<int>("transactionId");
        QTest::newRow("query") << QByteArray("0000 0000") << false << false << 0;
        QTest::newRow("truncated query") << QByteArray("0000 0200") << false << true << 0;
        QTest::newRow("response") << QByteArray("0000 8400") << true << false << 0;
        QTest::newRow("response, not authoritative") << QByteArray("0000 8000") << true << false << 0;
        QTest::newRow("transaction id") << QByteArray("1234 0000") << false << false << 0x1234;
    }

    void readsFlags()
    {
        QFETCH(QByteArray, header);
        QFETCH(int, transactionId);
        Message message;
        QVERIFY(fromPacket(QByteArray::fromHex(header + " 0000 0000 0000 0000"), message));
        QTEST(message.isResponse(), "isResponse");
        QTEST(message.isTruncated(), "isTruncated");
        QCOMPARE(int(message.transactionId()), transactionId);
        QCOMPARE(decoded(encoded(message)), message);
    }

    void readsUnicastResponseBit()
    {
        const Message message =
            decoded(QByteArray::fromHex("0000 0000 0001 0000 0000 0000 01 61 00 00ff 8001"));
        QCOMPARE(message.queries().size(), 1);
        QVERIFY(message.queries().constFirst().unicastResponse());
        QCOMPARE(message.queries().constFirst().type(), quint16(ANY));
        QCOMPARE(decoded(encoded(message)), message);
    }

    void readsQuestionsOfClass_data()
    {
        QTest::addColumn<QByteArray>("classField");
        QTest::addColumn<int>("count");
        QTest::newRow("IN") << QByteArray("0001") << 1;
        QTest::newRow("ANY") << QByteArray("00ff") << 1;
        QTest::newRow("CH") << QByteArray("0003") << 0;
    }

    void readsQuestionsOfClass()
    {
        QFETCH(QByteArray, classField);
        Message message;
        QVERIFY(fromPacket(QByteArray::fromHex("0000 0000 0001 0000 0000 0000 01 61 00 000c " + classField),
                           message));
        QTEST(message.queries().size(), "count");
    }

    void ignoresTrailingBytes() { QCOMPARE(decoded(servicePacket + "more"), responseOf(serviceRecords())); }

    void keepsBytesOfLabels()
    {
        const QByteArray text = QByteArray("B\xc3\xbc\xff\0hne 1", 10);
        const QByteArray packet =
            responseHeader(1) + rawRecord(label(text) + QByteArray::fromHex("00 0001 0001 00000078"),
                                          QByteArray::fromHex("c0000201"));
        QCOMPARE(decoded(packet).records().value(0).name(), text + QByteArray("."));
        QCOMPARE(encoded(decoded(packet)), packet);
    }

    void readsRootTarget()
    {
        const Message message =
            decoded(responseHeader(1) + bobRecord(SRV, QByteArray::fromHex("0000 0000 0050 00")));
        QCOMPARE(message.records().size(), 1);
        QCOMPARE(message.records().constFirst().target(), QByteArray());
        QCOMPARE(decoded(encoded(message)), message);
    }

    void readsLongestName()
    {
        const QByteArray name = label(QByteArray(63, 'a')) + label(QByteArray(63, 'b')) +
                                label(QByteArray(63, 'c')) + label(QByteArray(61, 'd')) + '\0';
        QCOMPARE(name.size(), 255);
        const QByteArray packet =
            responseHeader(1) +
            rawRecord(name + QByteArray::fromHex("0001 0001 00000078"), QByteArray::fromHex("c0000201"));
        QCOMPARE(decoded(packet).records().size(), 1);
        QCOMPARE(encoded(decoded(packet)), packet);
    }

    void readsAttributes_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<Attributes>("attributes");
        const QByteArray none;
        const QByteArray empty("");
        QTest::newRow("nothing at all") << QByteArray() << Attributes();
        QTest::newRow("one empty string") << QByteArray(1, '\0') << Attributes();
        QTest::newRow("key and value") << label("a=1") << Attributes{{"a", "1"}};
        QTest::newRow("empty value") << label("a=") << Attributes{{"a", empty}};
        QTest::newRow("no value") << label("a") << Attributes{{"a", none}};
        QTest::newRow("value with equals sign") << label("a=b=c") << Attributes{{"a", "b=c"}};
        QTest::newRow("no key") << label("=1") + label("b=2") << Attributes{{"b", "2"}};
        QTest::newRow("equals sign alone") << label("=") + label("b=2") << Attributes{{"b", "2"}};
        QTest::newRow("first of equal keys") << label("a=1") + label("A=2") << Attributes{{"a", "1"}};
        QTest::newRow("first without value") << label("A") + label("a=2") << Attributes{{"A", none}};
        QTest::newRow("keys that differ beyond ASCII")
            << label("\xc4=1") + label("\xe4=2") << Attributes{{"\xc4", "1"}, {"\xe4", "2"}};
        QTest::newRow("empty string between")
            << label("a=1") + label("") + label("b=2") << Attributes{{"a", "1"}, {"b", "2"}};
        QTest::newRow("longest string")
            << label("a=" + QByteArray(253, 'x')) << Attributes{{"a", QByteArray(253, 'x')}};
        QTest::newRow("binary value")
            << label(QByteArray("a=\0\xff", 4)) << Attributes{{"a", QByteArray("\0\xff", 2)}};
    }

    void readsAttributes()
    {
        QFETCH(QByteArray, data);
        QFETCH(Attributes, attributes);
        const Message message = decoded(responseHeader(1) + bobRecord(TXT, data));
        Record expected = MdnsTest::txt("bob.", attributes, 120);
        expected.setFlushCache(false);
        // The comparison of records tells a null value from an empty one.
        QCOMPARE(message, responseOf({expected}));
        QCOMPARE(decoded(encoded(message)), message);
    }

    void leavesOutRecord_data()
    {
        QTest::addColumn<QByteArray>("bad");
        const auto hex = [](const char *digits) { return QByteArray::fromHex(digits); };
        const QByteArray tail = hex("0001 0001 00000078 0004 c0000202");

        QTest::newRow("A of 3 bytes") << bobRecord(A, hex("c00002"));
        QTest::newRow("A of 5 bytes") << bobRecord(A, hex("c000020101"));
        QTest::newRow("A of nothing") << bobRecord(A, QByteArray());
        QTest::newRow("AAAA of 15 bytes") << bobRecord(AAAA, QByteArray(15, 'a'));
        QTest::newRow("AAAA of 17 bytes") << bobRecord(AAAA, QByteArray(17, 'a'));
        QTest::newRow("PTR of nothing") << bobRecord(PTR, QByteArray());
        QTest::newRow("PTR whose name runs past its data") << bobRecord(PTR, hex("05 616263"));
        QTest::newRow("PTR whose root label is past its data") << bobRecord(PTR, hex("01 61"));
        QTest::newRow("PTR whose pointer is cut by its data") << bobRecord(PTR, hex("01 61 c0"));
        QTest::newRow("PTR with bytes behind its name") << bobRecord(PTR, hex("01 61 00 00"));
        // The data of a record of "bob." in the first place starts at 0x1b.
        QTest::newRow("PTR to itself") << bobRecord(PTR, hex("c01b"));
        QTest::newRow("PTR with a loop over a label") << bobRecord(PTR, hex("01 61 c01b"));
        QTest::newRow("PTR with a forward pointer") << bobRecord(PTR, hex("c01d"));
        QTest::newRow("PTR into the middle of its own label") << bobRecord(PTR, hex("02 0161 c01c"));
        QTest::newRow("PTR into the header") << bobRecord(PTR, hex("c000"));
        QTest::newRow("PTR to the end of the header") << bobRecord(PTR, hex("c00b"));
        QTest::newRow("PTR past the end of the packet") << bobRecord(PTR, hex("ffff"));
        QTest::newRow("PTR with label type 01") << bobRecord(PTR, hex("41 61 00"));
        QTest::newRow("PTR with label type 10") << bobRecord(PTR, hex("81 61 00"));
        QTest::newRow("SRV without a target") << bobRecord(SRV, hex("0000 0000 0050"));
        QTest::newRow("SRV of 5 bytes") << bobRecord(SRV, hex("0000 0000 00"));
        QTest::newRow("SRV whose target runs past its data") << bobRecord(SRV, hex("0000 0000 0050 03 61"));
        QTest::newRow("TXT whose string runs past its data") << bobRecord(TXT, hex("03 61 3d"));
        QTest::newRow("TXT whose second string runs past its data") << bobRecord(TXT, hex("01 61 05 62"));
        QTest::newRow("NSEC without a name") << bobRecord(NSEC, QByteArray());
        QTest::newRow("NSEC block without a length") << bobRecord(NSEC, hex("c00c 00"));
        QTest::newRow("NSEC block of length 0") << bobRecord(NSEC, hex("c00c 00 00"));
        QTest::newRow("NSEC block of length 33") << bobRecord(NSEC, hex("c00c 00 21") + QByteArray(33, '\1'));
        QTest::newRow("NSEC block past its data") << bobRecord(NSEC, hex("c00c 00 04 40"));
        QTest::newRow("NSEC blocks in the wrong order") << bobRecord(NSEC, hex("c00c 01 01 40 00 01 40"));
        QTest::newRow("NSEC with the same block twice") << bobRecord(NSEC, hex("c00c 00 01 40 00 01 40"));

        QTest::newRow("owner that points to itself") << hex("c00c") + tail;
        QTest::newRow("owner with a loop over a label") << hex("01 61 c00c") + tail;
        QTest::newRow("owner with a forward pointer") << hex("c020") + tail;
        QTest::newRow("owner that points into the header") << hex("c004") + tail;
        QTest::newRow("owner of 256 bytes") << label(QByteArray(63, 'a')) + label(QByteArray(63, 'b')) +
                                                   label(QByteArray(63, 'c')) + label(QByteArray(62, 'd')) +
                                                   '\0' + tail;
        QTest::newRow("owner of 300 bytes") << label(QByteArray(60, 'a')) + label(QByteArray(60, 'b')) +
                                                   label(QByteArray(60, 'c')) + label(QByteArray(60, 'd')) +
                                                   label(QByteArray(54, 'e')) + '\0' + tail;
        QTest::newRow("label that begins with a dot") << label(".a") + '\0' + tail;
        QTest::newRow("label that ends in a dot") << label("a.") + '\0' + tail;
        QTest::newRow("label with two dots in a row") << label("a..b") + '\0' + tail;
        QTest::newRow("label of one dot") << label(".") + '\0' + tail;

        QTest::newRow("class CH") << rawRecord(bobHead + hex("0001 0003 00000078"), hex("c0000202"));
        QTest::newRow("unknown type") << bobRecord(13, "anything");
        QTest::newRow("option record") << hex("00 0029 05a0 00000000 0004 00040000");
        QTest::newRow("type ANY") << bobRecord(ANY, hex("c0000202"));
    }

    void leavesOutRecord()
    {
        QFETCH(QByteArray, bad);
        const Record good = MdnsTest::address("alice.", QStringLiteral("192.0.2.1"));
        Message message;
        QVERIFY(fromPacket(responseHeader(2) + bad + aliceAddress, message));
        QCOMPARE(message, responseOf({good}));
    }

    void leavesOutNameMadeTooLongByPointer()
    {
        // A name of 200 bytes, then one that puts 60 bytes in front of it.
        const QByteArray longName = label(QByteArray(60, 'a')) + label(QByteArray(60, 'b')) +
                                    label(QByteArray(60, 'c')) + label(QByteArray(15, 'd')) + '\0';
        const QByteArray tail = QByteArray::fromHex("0001 0001 00000078 0004 c0000202");
        const Message message = decoded(responseHeader(3) + longName + tail + label(QByteArray(60, 'e')) +
                                        QByteArray::fromHex("c00c") + tail + aliceAddress);
        QCOMPARE(message.records().size(), 2);
        QCOMPARE(message.records().constLast().name(), QByteArray("alice."));
    }

    void leavesOutPointerChain()
    {
        // Pointers that each lead to the one before and never to a label, in the data of a record
        // that is skipped for its type.
        QByteArray chain = label("a") + '\0';
        constexpr int chainStart = 0x1b;
        int target = chainStart;
        for (int i = 0; i < 200; ++i) {
            const int place = chainStart + chain.size();
            chain += QByteArray(1, char(0xc0 | target >> 8)) + QByteArray(1, char(target));
            target = place;
        }
        const auto pointerTo = [](int place) -> QByteArray {
            return QByteArray(1, char(0xc0 | place >> 8)) + QByteArray(1, char(place));
        };
        const QByteArray tail = QByteArray::fromHex("0001 0001 00000078 0004 c0000202");
        const Message message = decoded(responseHeader(4) + bobRecord(13, chain) + pointerTo(target) + tail +
                                        pointerTo(chainStart + 3 + 2 * 100) + tail + aliceAddress);
        QCOMPARE(message.records().size(), 2);
        QCOMPARE(message.records().constFirst().name(), QByteArray("a."));
        QCOMPARE(message.records().constLast().name(), QByteArray("alice."));
    }

    void dropsPacket_data()
    {
        QTest::addColumn<QByteArray>("packet");
        const auto hex = [](const char *digits) { return QByteArray::fromHex(digits); };
        const QByteArray queryHeader = hex("0000 0000 0001 0000 0000 0000");
        const QByteArray ask = hex("000c 0001");

        QTest::newRow("empty") << QByteArray();
        QTest::newRow("cut header") << servicePacket.left(11);
        QTest::newRow("no question behind the header") << queryHeader;
        QTest::newRow("question past the end") << queryHeader + hex("05 6162");
        QTest::newRow("question without a class") << queryHeader + hex("01 61 00 000c");
        QTest::newRow("question that points to itself") << queryHeader + hex("c00c") + ask;
        QTest::newRow("question with a forward pointer") << queryHeader + hex("c010") + ask;
        QTest::newRow("question with label type 01") << queryHeader + hex("41 61 00") + ask;
        QTest::newRow("question of 256 bytes")
            << queryHeader + label(QByteArray(63, 'a')) + label(QByteArray(63, 'b')) +
                   label(QByteArray(63, 'c')) + label(QByteArray(62, 'd')) + '\0' + ask;
        QTest::newRow("more records announced than there are") << responseHeader(2) + aliceAddress;
        QTest::newRow("most records announced") << responseHeader(0xffff) + aliceAddress;
        QTest::newRow("owner past the end") << responseHeader(2) + aliceAddress + hex("05 6162");
        QTest::newRow("owner without a root label") << responseHeader(2) + aliceAddress + hex("02 6162");
        QTest::newRow("owner with half a pointer") << responseHeader(2) + aliceAddress + hex("c0");
        QTest::newRow("owner with label type 01")
            << responseHeader(2) + aliceAddress + hex("41 61 00 0001 0001 00000078 0004 c0000202");
        QTest::newRow("owner with label type 10")
            << responseHeader(2) + aliceAddress + hex("81 61 00 0001 0001 00000078 0004 c0000202");
        QTest::newRow("fields past the end")
            << responseHeader(2) + aliceAddress + bobHead + hex("0001 0001 0000");
        QTest::newRow("data past the end")
            << responseHeader(2) + aliceAddress + bobHead + hex("0001 0001 00000078 0004 c00002");
        QTest::newRow("longest data past the end")
            << responseHeader(2) + aliceAddress + bobHead + hex("0010 0001 00000078 ffff 00");
        QTest::newRow("operation code") << hex("0000 a000 0000 0001 0000 0000") + aliceAddress;
        QTest::newRow("response code") << hex("0000 8003 0000 0001 0000 0000") + aliceAddress;
    }

    void dropsPacket()
    {
        QFETCH(QByteArray, packet);
        Message message = responseOf(serviceRecords());
        QVERIFY(!fromPacket(packet, message));
        QCOMPARE(message, Message());
    }

    void dropsEveryCutPacket_data() { decodesResponse_data(); }

    void dropsEveryCutPacket()
    {
        QFETCH(QByteArray, packet);
        for (int size = 0; size < packet.size(); ++size) {
            Message message;
            QVERIFY2(!fromPacket(packet.left(size), message), qPrintable(QString::number(size)));
        }
    }

    void ignoresOtherBitmapBlocks()
    {
        const Message message = decoded(
            responseHeader(1) + bobRecord(NSEC, QByteArray::fromHex("c00c 00 01 40 01 02 0101 ff 01 80")));
        QCOMPARE(message.records().size(), 1);
        QCOMPARE(message.records().constFirst().bitmap(), QByteArray::fromHex("40"));
        QCOMPARE(decoded(encoded(message)), message);
    }

    void compressesInTheSameSpellingOnly()
    {
        const Message message = responseOf({MdnsTest::address("a.Local.", QStringLiteral("192.0.2.1")),
                                            MdnsTest::address("b.local.", QStringLiteral("192.0.2.2")),
                                            MdnsTest::address("c.Local.", QStringLiteral("192.0.2.3"))});
        const QByteArray packet = encoded(message);
        QCOMPARE(decoded(packet), message);
        QCOMPARE(packet.count("Local"), 1);
        QCOMPARE(packet.count("local"), 1);
    }

    void leavesOutWhatCannotBeEncoded_data()
    {
        QTest::addColumn<Record>("bad");
        const QByteArray longLabel = QByteArray(64, 'a') + '.';
        const QByteArray longName = QByteArray("abcdefghijklmno.").repeated(16);
        const QString ip = QStringLiteral("192.0.2.9");
        QTest::newRow("owner with a label of 64 bytes") << MdnsTest::address(longLabel, ip);
        QTest::newRow("owner of 257 bytes") << MdnsTest::address(longName, ip);
        QTest::newRow("owner with an empty label") << MdnsTest::address("a..b.", ip);
        QTest::newRow("owner that begins with a dot") << MdnsTest::address(".a.", ip);
        QTest::newRow("owner of one dot") << MdnsTest::address(".", ip);
        QTest::newRow("PTR to a label of 64 bytes") << MdnsTest::ptr("a.", longLabel);
        QTest::newRow("SRV to a name of 257 bytes") << MdnsTest::srv("a.", longName, 1);
        QTest::newRow("NSEC with a name of 257 bytes") << [&] {
            Record record = MdnsTest::nsec("a.", "40");
            record.setNextDomainName(longName);
            return record;
        }();
        QTest::newRow("NSEC with a bitmap of 33 bytes") << MdnsTest::nsec("a.", QByteArray(66, '1'));
        QTest::newRow("A without an address") << MdnsTest::record("a.", A, 120);
        QTest::newRow("AAAA without an address") << MdnsTest::record("a.", AAAA, 120);
        QTest::newRow("type that is not known") << MdnsTest::record("a.", 13, 120);
        QTest::newRow("no type") << MdnsTest::record("a.", 0, 120);
        Attributes attributes;
        for (int i = 0; i < 300; ++i) {
            attributes.insert("key" + QByteArray::number(i), QByteArray(240, 'x'));
        }
        QTest::newRow("TXT of more than 65535 bytes") << MdnsTest::txt("a.", attributes);
    }

    void leavesOutWhatCannotBeEncoded()
    {
        QFETCH(Record, bad);
        const Record good = MdnsTest::address("alice.", QStringLiteral("192.0.2.1"));
        Message message;
        QVERIFY(fromPacket(encoded(responseOf({good, bad, good})), message));
        QCOMPARE(message, responseOf({good, good}));
    }

    void leavesOutQuestionThatCannotBeEncoded()
    {
        Message message = queryFor("a..b.", PTR);
        QCOMPARE(encoded(message), QByteArray(12, '\0'));
        Query good;
        good.setName("a.b.");
        good.setType(PTR);
        message.addQuery(good);
        QCOMPARE(decoded(encoded(message)), queryFor("a.b.", PTR));
    }

    void leavesOutAttributeThatCannotBeEncoded()
    {
        const Attributes attributes{{"", "1"}, {"a=b", "2"}, {"c", QByteArray(254, 'x')}, {"d", "4"}};
        const Message message = decoded(encoded(responseOf({MdnsTest::txt("a.", attributes)})));
        QCOMPARE(message, responseOf({MdnsTest::txt("a.", {{"d", "4"}})}));
    }

    void encodesNameWithoutTrailingDot()
    {
        QCOMPARE(decoded(encoded(queryFor("a.local", A))), queryFor("a.local.", A));
    }

    void encodesNamesBeyondThePointerRange()
    {
        QList<Record> records;
        for (int i = 0; i < 3000; ++i) {
            records.append(MdnsTest::address("host" + QByteArray::number(i % 1500) + ".local.",
                                             QHostAddress(quint32(i)).toString()));
        }
        const QByteArray packet = encoded(responseOf(records));
        QVERIFY(packet.size() > 0x4000);
        QCOMPARE(decoded(packet), responseOf(records));
    }

    void survivesMutations_data()
    {
        QTest::addColumn<QByteArray>("packet");
        QTest::addColumn<quint32>("seed");
        const QByteArray padded = servicePacket + hostPacket.mid(12);
        for (quint32 seed = 1; seed <= 4; ++seed) {
            QTest::addRow("query, seed %u", seed) << queryPacket << seed;
            QTest::addRow("service, seed %u", seed) << servicePacket << seed;
            QTest::addRow("host, seed %u", seed) << hostPacket << seed;
            QTest::addRow("service and more, seed %u", seed) << padded << seed;
        }
    }

    /// Whatever can be decoded can be encoded, and means the same afterwards.
    void survivesMutations()
    {
        QFETCH(QByteArray, packet);
        QFETCH(quint32, seed);
        QRandomGenerator random(seed);
        int accepted = 0;
        for (int round = 0; round < 5000; ++round) {
            QByteArray mutated = packet;
            for (int change = random.bounded(1, 6); change > 0; --change) {
                const int place = random.bounded(mutated.size());
                switch (random.bounded(5)) {
                case 0:
                    mutated[place] = char(random.bounded(256));
                    break;
                case 1:
                    mutated[place] = char(mutated.at(place) ^ (1 << random.bounded(8)));
                    break;
                case 2:
                    mutated.insert(place, char(random.bounded(256)));
                    break;
                case 3:
                    mutated[place] = char(0xc0);
                    break;
                default:
                    mutated.insert(place, mutated.mid(random.bounded(mutated.size()), random.bounded(20)));
                    break;
                }
            }
            Message message;
            if (!fromPacket(mutated, message)) {
                QCOMPARE(message, Message());
                continue;
            }
            ++accepted;
            Message again;
            QVERIFY2(fromPacket(encoded(message), again), mutated.toHex().constData());
            QVERIFY2(again == message, mutated.toHex().constData());
        }
        QVERIFY(accepted > 0);
    }

    /// Records of all types with names that share ends and differ in letter case.
    void keepsRandomMessages_data()
    {
        QTest::addColumn<quint32>("seed");
        for (quint32 seed = 1; seed <= 5; ++seed) {
            QTest::addRow("seed %u", seed) << seed;
        }
    }

    void keepsRandomMessages()
    {
        QFETCH(quint32, seed);
        QRandomGenerator random(seed);
        const auto name = [&] {
            static const QList<QByteArray> labels = {"a",     "A",     "_http",     "_tcp",
                                                     "local", "Local", "\xc3\xa4 1"};
            QByteArray result;
            for (int i = random.bounded(6); i > 0; --i) {
                result += labels.at(random.bounded(labels.size())) + '.';
            }
            return result;
        };
        for (int round = 0; round < 300; ++round) {
            Message message;
            message.setTransactionId(quint16(random.bounded(0x10000)));
            message.setResponse(random.bounded(2) == 1);
            for (int i = random.bounded(4); i > 0; --i) {
                Query query;
                query.setName(name());
                query.setType(quint16(random.bounded(0x10000)));
                query.setUnicastResponse(random.bounded(2) == 1);
                message.addQuery(query);
            }
            for (int i = random.bounded(12); i > 0; --i) {
                static const QList<quint16> types = {A, PTR, TXT, AAAA, SRV, NSEC};
                Record record =
                    MdnsTest::record(name(), types.at(random.bounded(types.size())), random.generate());
                record.setFlushCache(random.bounded(2) == 1);
                switch (record.type()) {
                case A:
                    record.setAddress(QHostAddress(random.generate()));
                    break;
                case AAAA: {
                    Q_IPV6ADDR bytes;
                    random.fillRange(reinterpret_cast<quint32 *>(bytes.c), 4);
                    record.setAddress(QHostAddress(bytes));
                    break;
                }
                case PTR:
                    record.setTarget(name());
                    break;
                case SRV:
                    record.setPriority(quint16(random.bounded(0x10000)));
                    record.setWeight(quint16(random.bounded(0x10000)));
                    record.setPort(quint16(random.bounded(0x10000)));
                    record.setTarget(name());
                    break;
                case TXT:
                    record.addAttribute("k", QByteArray(random.bounded(250), 'v'));
                    record.addAttribute("n", QByteArray());
                    break;
                default:
                    record.setNextDomainName(name());
                    record.setBitmap(QByteArray(random.bounded(33), char(random.bounded(256))));
                    break;
                }
                message.addRecord(record);
            }
            QCOMPARE(decoded(encoded(message)), message);
        }
    }
};

QTEST_GUILESS_MAIN(DnsTest)
#include "dns_test.moc"
