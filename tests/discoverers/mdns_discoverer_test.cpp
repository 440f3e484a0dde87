#include "discoverers/mdns_discoverer.h"

#include <QElapsedTimer>
#include <QTimer>
#include <QtTest>

#include "mdns_questions.h"
#include "mdns_responder.h"
#include "record_checks.h"

using namespace Sondrix;

/// Runs in a network of its own (tests/private_network.sh).
class MdnsDiscovererTest : public QObject
{
    Q_OBJECT

private slots:
    void isProviderMdns();
    void runsOutInFull_data();
    void runsOutInFull();
    void hearsNothing();
    void asksForEveryTypeOnce();
    void asksForGivenTypesAlone();
    void asksNothingWithoutServices();
    void onlyAsks();
    void resolvesServices_data();
    void resolvesServices();
    void fillsEveryField();
    void ordersByNameAndType();
    void keepsOneNameOfTwoTypesApart();
    void asksOnceForHostOfTwoServices();
    void givesAddressToItsHostAlone();
    void reportsNoInstanceWithDot();
    void looksUpNoEmptyHostName();
    void keepsFirstAddress();
    void takesAddressThatComesLate();
    void givesNoEarlierAddressToLateService();
    void keepsAddressOverUpdate();
    void takesLastReportOfAnInstance();
    void keepsServiceThatSaysGoodbye();
    void keepsTextBeyondAscii();
    void replacesBrokenUtf8();
    void keepsNulBytes();
    void findsTypeInAnyLetterCase();
    void mapsByItsOwnCatalogue();
    void staysCalmUnderGarbage();
    void collectsNoMoreThanItsBound();
    void looksUpNoMoreHostsThanItsBound();
    void remembersNothingBetweenScans();
    void scansInsideAScan();
    void clearsError();
};

namespace
{

constexpr int shortWindowMs = 100;
constexpr int windowMs = 600; // for a few questions and answers in turn
constexpr int longWindowMs = 1200;

const DnsName httpType = dnsName("_http._tcp.local");
const DnsName httpsType = dnsName("_https._tcp.local");
const DnsName studioHost = dnsName("studio.local");
const DnsName studioHttp = dnsName("Studio._http._tcp.local");

/// What a responder says about a web server named Studio at 10.0.0.9.
QList<DnsRecord> studio()
{
    return {ptrRecord(httpType, studioHttp), srvRecord(studioHttp, 80, studioHost),
            txtRecord(studioHttp, {"md=X1"}), addressRecord(studioHost, "10.0.0.9")};
}

MdnsServiceType serviceType(const char *type, const char *protocol)
{
    return {QString::fromLatin1(type), QString::fromLatin1(protocol), Direction::controlOnly,
            MediaKind::control};
}

/// Scans for web servers, secure and not.
QList<DeviceRecord> scanWeb(int timeoutMs = windowMs)
{
    MdnsDiscoverer discoverer;
    discoverer.setServices(
        {serviceType("_http._tcp.local.", "http"), serviceType("_https._tcp.local.", "https")});
    discoverer.setTimeoutMs(timeoutMs);
    return discoverer.scan(nullptr);
}

QStringList idsOf(const QList<DeviceRecord> &records)
{
    QStringList ids;
    for (const DeviceRecord &record : records) {
        ids.append(record.id);
    }
    return ids;
}

QString dataOf(const DeviceRecord &record, const char *key)
{
    return record.protocolData.value(QLatin1String(key)).toString();
}

QList<QByteArray> namesOf(const QList<DnsQuestion> &questions)
{
    QList<QByteArray> names;
    for (const DnsQuestion &question : questions) {
        names.append(question.name);
    }
    return names;
}

} // namespace

void MdnsDiscovererTest::isProviderMdns()
{
    const MdnsDiscoverer discoverer;
    QCOMPARE(discoverer.providerName(), QStringLiteral("mdns"));
    QVERIFY(discoverer.isAvailable());
}

void MdnsDiscovererTest::runsOutInFull_data()
{
    QTest::addColumn<int>("timeoutMs"); // -1000 for what the constructor sets
    QTest::addColumn<int>("windowMs");
    QTest::addColumn<bool>("isAnswered");

    QTest::newRow("negative") << -5 << 100 << false;
    QTest::newRow("0") << 0 << 100 << false;
    QTest::newRow("100") << 100 << 100 << false;
    QTest::newRow("101") << 101 << 101 << false;
    QTest::newRow("400 with answers") << 400 << 400 << true;
    QTest::newRow("default") << -1000 << 1200 << false;
    QTest::newRow("default with answers") << -1000 << 1200 << true;
}

void MdnsDiscovererTest::runsOutInFull()
{
    QFETCH(int, timeoutMs);
    QFETCH(int, windowMs);
    QFETCH(bool, isAnswered);

    const MdnsResponder responder(isAnswered ? studio() : QList<DnsRecord>());
    MdnsDiscoverer discoverer;
    if (timeoutMs != -1000) {
        discoverer.setTimeoutMs(timeoutMs);
    }
    QElapsedTimer elapsed;
    elapsed.start();
    QCOMPARE(discoverer.scan(nullptr).isEmpty(), !isAnswered);
    QVERIFY(elapsed.elapsed() >= windowMs);
}

void MdnsDiscovererTest::hearsNothing()
{
    QString error;
    MdnsDiscoverer discoverer;
    QVERIFY(discoverer.scan(&error).isEmpty());
    QCOMPARE(error, QString());
}

void MdnsDiscovererTest::asksForEveryTypeOnce()
{
    const MdnsResponder responder;
    QVERIFY(responder.isListening());
    MdnsDiscoverer().scan(nullptr);

    QList<QByteArray> types;
    const QList<MdnsServiceType> catalogue = defaultMdnsServices();
    for (const MdnsServiceType &row : catalogue) {
        types.append(row.serviceType.toUtf8());
    }
    const QList<DnsQuestion> questions = questionsSoFar(responder);
    QCOMPARE(namesOf(questions), types);
    for (const DnsQuestion &question : questions) {
        QCOMPARE(question.type, quint16(PTR));
    }
}

void MdnsDiscovererTest::asksForGivenTypesAlone()
{
    const MdnsResponder responder;
    MdnsDiscoverer discoverer;
    discoverer.setServices({serviceType("_raop._tcp.local.", "raop"), serviceType("_a._udp.local.", "a")});
    discoverer.scan(nullptr);

    const QList<DnsQuestion> questions = questionsSoFar(responder);
    QCOMPARE(namesOf(questions), (QList<QByteArray>{"_raop._tcp.local.", "_a._udp.local."}));
    QCOMPARE(questions.first().type, quint16(PTR));
    QCOMPARE(questions.last().type, quint16(PTR));
}

void MdnsDiscovererTest::asksNothingWithoutServices()
{
    MdnsResponder responder;
    MdnsDiscoverer discoverer;
    discoverer.setServices({});
    discoverer.setTimeoutMs(200);
    QTimer::singleShot(0, &responder, [&responder]() { responder.send(studio()); });
    QElapsedTimer elapsed;
    elapsed.start();
    QVERIFY(discoverer.scan(nullptr).isEmpty());
    QVERIFY(elapsed.elapsed() >= 200);
    QVERIFY(questionsSoFar(responder).isEmpty());
}

void MdnsDiscovererTest::onlyAsks()
{
    const MdnsResponder responder;
    QVERIFY(scanWeb().isEmpty());
    questionsSoFar(responder);
    const QList<QByteArray> packets = responder.packets();
    QVERIFY(!packets.isEmpty());
    for (const QByteArray &packet : packets) {
        QVERIFY(!isDnsResponse(packet));
    }
}

void MdnsDiscovererTest::resolvesServices_data()
{
    QTest::addColumn<bool>("isInOnePacket");

    QTest::newRow("question by question") << false;
    QTest::newRow("all in one packet") << true;
}

void MdnsDiscovererTest::resolvesServices()
{
    QFETCH(bool, isInOnePacket);

    const MdnsResponder::Answers allAtOnce = [](const DnsQuestion &question) {
        return question.type == PTR && question.name == dnsText(httpType) ? studio() : QList<DnsRecord>();
    };
    const MdnsResponder questionByQuestion(isInOnePacket ? QList<DnsRecord>() : studio());
    const MdnsResponder inOnePacket(isInOnePacket ? allAtOnce : MdnsResponder::Answers());
    const QList<DeviceRecord> records = scanWeb();
    QCOMPARE(idsOf(records), QStringList{QStringLiteral("Studio@studio.local.")});
    QCOMPARE(records.first().model, QStringLiteral("X1"));
    QCOMPARE(records.first().addresses, QStringList{QStringLiteral("10.0.0.9")});
    QCOMPARE(records.first().endpoints.first().url, QStringLiteral("http://10.0.0.9:80/"));
}

void MdnsDiscovererTest::fillsEveryField()
{
    const DnsName type = dnsName("_googlecast._tcp.local");
    const DnsName instance = {"Chromecast-1f", "_googlecast", "_tcp", "local"};
    const DnsName host = dnsName("1F.local");
    const MdnsResponder responder({ptrRecord(type, instance), srvRecord(instance, 0, host),
                                   txtRecord(instance, {"id=1f2e", "fn=Foyer", "md=Ultra", "bs", "a=b=c"}),
                                   addressRecord(host, "10.0.0.9")});
    DeviceRecord expected;
    expected.id = QStringLiteral("1f2e");
    expected.displayName = QStringLiteral("Foyer");
    expected.model = QStringLiteral("Ultra");
    expected.hostname = QStringLiteral("1F.local.");
    expected.addresses = QStringList{QStringLiteral("10.0.0.9")};
    expected.provider = QStringLiteral("mdns");
    expected.protocol = QStringLiteral("cast");
    expected.direction = Direction::output;
    expected.mediaKinds = MediaKind::audio | MediaKind::video | MediaKind::control;
    expected.protocolData =
        QJsonObject{{QStringLiteral("mdns.serviceType"), QStringLiteral("_googlecast._tcp.local.")},
                    {QStringLiteral("mdns.serviceName"), QStringLiteral("Chromecast-1f")},
                    {QStringLiteral("mdns.hostname"), QStringLiteral("1F.local.")},
                    {QStringLiteral("mdns.port"), 0},
                    {QStringLiteral("txt.id"), QStringLiteral("1f2e")},
                    {QStringLiteral("txt.fn"), QStringLiteral("Foyer")},
                    {QStringLiteral("txt.md"), QStringLiteral("Ultra")},
                    {QStringLiteral("txt.bs"), QString()},
                    {QStringLiteral("txt.a"), QStringLiteral("b=c")}};
    EndpointRecord endpoint;
    endpoint.id = QStringLiteral("1f2e:cast");
    endpoint.label = QStringLiteral("Foyer");
    endpoint.protocol = QStringLiteral("cast");
    endpoint.url = QStringLiteral("cast://10.0.0.9:8009?type=cast");
    endpoint.direction = Direction::output;
    endpoint.mediaKinds = MediaKind::audio | MediaKind::video | MediaKind::control;
    expected.endpoints.append(endpoint);

    const QDateTime before = QDateTime::currentDateTimeUtc();
    MdnsDiscoverer discoverer;
    discoverer.setTimeoutMs(windowMs);
    const QList<DeviceRecord> records = discoverer.scan(nullptr);
    QCOMPARE(records.size(), 1);
    compareRecords(records.first(), expected);
    verifyOneTime(records.first(), before);
}

void MdnsDiscovererTest::ordersByNameAndType()
{
    QList<DnsRecord> zone{addressRecord(studioHost, "10.0.0.9")};
    for (const QByteArray &name : {QByteArray("b"), QByteArray("a"), QByteArray("C"), QByteArray("a b")}) {
        const DnsName instance = DnsName{name} + httpType;
        zone += {ptrRecord(httpType, instance), srvRecord(instance, 80, studioHost),
                 txtRecord(instance, {"id=" + name})};
    }
    const DnsName secure = DnsName{"a"} + httpsType;
    zone += {ptrRecord(httpsType, secure), srvRecord(secure, 443, studioHost),
             txtRecord(secure, {"id=a, secure"})};
    const MdnsResponder responder(zone);
    // A blank comes before the vertical bar that ends the name.
    QCOMPARE(idsOf(scanWeb()), (QStringList{QStringLiteral("C"), QStringLiteral("a b"), QStringLiteral("a"),
                                            QStringLiteral("a, secure"), QStringLiteral("b")}));
}

void MdnsDiscovererTest::keepsOneNameOfTwoTypesApart()
{
    const DnsName secure = dnsName("Studio._https._tcp.local");
    const MdnsResponder responder(studio() + QList<DnsRecord>{ptrRecord(httpsType, secure),
                                                              srvRecord(secure, 443, studioHost),
                                                              txtRecord(secure, {})});
    const QList<DeviceRecord> records = scanWeb();
    QCOMPARE(records.size(), 2);
    QCOMPARE(records.first().protocol, QStringLiteral("http"));
    QCOMPARE(records.last().protocol, QStringLiteral("https"));
    QCOMPARE(records.last().id, records.first().id);
    QCOMPARE(dataOf(records.last(), "mdns.serviceType"), QStringLiteral("_https._tcp.local."));
}

void MdnsDiscovererTest::asksOnceForHostOfTwoServices()
{
    const DnsName secure = dnsName("Vault._https._tcp.local");
    QList<DnsRecord> both =
        studio() + QList<DnsRecord>{ptrRecord(httpsType, secure), srvRecord(secure, 443, studioHost),
                                    txtRecord(secure, {})};
    const DnsRecord address = both.takeAt(3);
    const MdnsResponder responder([&](const DnsQuestion &question) {
        // Both services in one packet, so that both are known when the address comes.
        return question.type == PTR && question.name == dnsText(httpType) ? both
               : question.type == A                                       ? QList<DnsRecord>{address}
                                                                          : QList<DnsRecord>();
    });
    const QList<DeviceRecord> records = scanWeb();
    QCOMPARE(idsOf(records),
             (QStringList{QStringLiteral("Studio@studio.local."), QStringLiteral("Vault@studio.local.")}));
    QCOMPARE(records.first().addresses, QStringList{QStringLiteral("10.0.0.9")});
    QCOMPARE(records.last().addresses, QStringList{QStringLiteral("10.0.0.9")});
    QCOMPARE(responder.count(studioHost, A), 1);
}

void MdnsDiscovererTest::givesAddressToItsHostAlone()
{
    const DnsName vault = dnsName("Vault._http._tcp.local");
    const DnsName vaultHost = dnsName("vault.local");
    const MdnsResponder responder(studio() + QList<DnsRecord>{ptrRecord(httpType, vault),
                                                              srvRecord(vault, 80, vaultHost),
                                                              txtRecord(vault, {})});
    const QList<DeviceRecord> records = scanWeb();
    QCOMPARE(records.size(), 2);
    QCOMPARE(records.first().addresses, QStringList{QStringLiteral("10.0.0.9")});
    QCOMPARE(records.last().addresses, QStringList{QStringLiteral("vault.local.")});
    QVERIFY(responder.count(vaultHost, A) > 0);
}

void MdnsDiscovererTest::reportsNoInstanceWithDot()
{
    const DnsName dotted = DnsName{"Studio 1.5"} + httpType;
    const MdnsResponder responder(studio() + QList<DnsRecord>{ptrRecord(httpType, dotted),
                                                              srvRecord(dotted, 80, studioHost),
                                                              txtRecord(dotted, {})});
    QCOMPARE(idsOf(scanWeb()), QStringList{QStringLiteral("Studio@studio.local.")});
}

void MdnsDiscovererTest::looksUpNoEmptyHostName()
{
    const MdnsResponder responder(
        {ptrRecord(httpType, studioHttp), srvRecord(studioHttp, 80, {}), txtRecord(studioHttp, {})});
    const QList<DeviceRecord> records = scanWeb();
    QCOMPARE(idsOf(records), QStringList{QStringLiteral("Studio@")});
    QCOMPARE(records.first().hostname, QString());
    QCOMPARE(records.first().addresses, QStringList());
    QCOMPARE(records.first().endpoints.first().url, QStringLiteral("http://:80/"));
    const QList<DnsQuestion> questions = questionsSoFar(responder);
    for (const DnsQuestion &question : questions) {
        QVERIFY(question.type != A && question.type != AAAA);
    }
}

void MdnsDiscovererTest::keepsFirstAddress()
{
    MdnsResponder *network = nullptr;
    MdnsResponder responder([&](const DnsQuestion &question) {
        QList<DnsRecord> answers;
        for (const DnsRecord &record : studio()) {
            if (record.type == question.type && dnsText(record.owner) == question.name) {
                answers.append(record);
            }
        }
        if (question.type == A) {
            QTimer::singleShot(50, network,
                               [network]() { network->send({addressRecord(studioHost, "10.0.0.10")}); });
        }
        return answers;
    });
    network = &responder;
    const QList<DeviceRecord> records = scanWeb();
    QCOMPARE(records.size(), 1);
    QCOMPARE(records.first().addresses, QStringList{QStringLiteral("10.0.0.9")});
}

void MdnsDiscovererTest::takesAddressThatComesLate()
{
    QList<DnsRecord> service = studio();
    service.removeLast();
    MdnsResponder responder(service);
    QTimer::singleShot(400, &responder,
                       [&responder]() { responder.send({addressRecord(studioHost, "fe80::9")}); });
    const QList<DeviceRecord> records = scanWeb(longWindowMs);
    QCOMPARE(records.size(), 1);
    QCOMPARE(records.first().addresses, QStringList{QStringLiteral("fe80::9")});
    QVERIFY(responder.count(studioHost, AAAA) > 0);
}

void MdnsDiscovererTest::givesNoEarlierAddressToLateService()
{
    const DnsName secure = dnsName("Vault._https._tcp.local");
    MdnsResponder responder(studio());
    QTimer::singleShot(500, &responder, [&]() {
        responder.send({ptrRecord(httpsType, secure), srvRecord(secure, 443, studioHost),
                        txtRecord(secure, {}), addressRecord(studioHost, "10.0.0.9")});
    });
    const QList<DeviceRecord> records = scanWeb(longWindowMs);
    QCOMPARE(records.size(), 2);
    QCOMPARE(records.first().addresses, QStringList{QStringLiteral("10.0.0.9")});
    QCOMPARE(records.last().addresses, QStringList{QStringLiteral("studio.local.")});
}

void MdnsDiscovererTest::keepsAddressOverUpdate()
{
    MdnsResponder responder(studio());
    QTimer::singleShot(500, &responder, [&responder]() {
        responder.send({unique(txtRecord(studioHttp, {"md=X2", "fn=New"}))});
    });
    const QList<DeviceRecord> records = scanWeb(longWindowMs);
    QCOMPARE(records.size(), 1);
    QCOMPARE(records.first().model, QStringLiteral("X2"));
    QCOMPARE(records.first().displayName, QStringLiteral("New"));
    QCOMPARE(records.first().addresses, QStringList{QStringLiteral("10.0.0.9")});
}

void MdnsDiscovererTest::takesLastReportOfAnInstance()
{
    const DnsName otherHost = dnsName("other.local");
    MdnsResponder responder(studio() + QList<DnsRecord>{addressRecord(otherHost, "10.0.0.10")});
    QTimer::singleShot(500, &responder,
                       [&]() { responder.send({unique(srvRecord(studioHttp, 8080, otherHost))}); });
    const QList<DeviceRecord> records = scanWeb(longWindowMs);
    QCOMPARE(idsOf(records), QStringList{QStringLiteral("Studio@other.local.")});
    QCOMPARE(records.first().hostname, QStringLiteral("other.local."));
    // No address that was learnt is lost, the earlier host's neither.
    QCOMPARE(records.first().addresses, QStringList{QStringLiteral("10.0.0.9")});
    QCOMPARE(records.first().endpoints.first().url, QStringLiteral("http://10.0.0.9:8080/"));
    QVERIFY(responder.count(otherHost, A) > 0);
}

void MdnsDiscovererTest::keepsServiceThatSaysGoodbye()
{
    MdnsResponder responder(studio());
    QTimer::singleShot(400, &responder, [&responder]() {
        QList<DnsRecord> farewell;
        for (const DnsRecord &record : studio()) {
            farewell.append(goodbye(record));
        }
        responder.send(farewell);
    });
    // Long enough for the second that a goodbye takes (RFC 6762, 10.1).
    const QList<DeviceRecord> records = scanWeb(2000);
    QCOMPARE(idsOf(records), QStringList{QStringLiteral("Studio@studio.local.")});
    QCOMPARE(records.first().addresses, QStringList{QStringLiteral("10.0.0.9")});
}

void MdnsDiscovererTest::keepsTextBeyondAscii()
{
    const QString name = QStringLiteral("B\u00fcro \u2013 Gr\u00f6\u00dfe %1");
    const DnsName instance = DnsName{name.toUtf8()} + httpType;
    const DnsName host = DnsName{"b\xc3\xbcro", "local"};
    const MdnsResponder responder({ptrRecord(httpType, instance), srvRecord(instance, 80, host),
                                   txtRecord(instance, {"fn=Caf\xc3\xa9 %2", "\xc3\xa4=\xf0\x9f\x93\xba"})});
    const QList<DeviceRecord> records = scanWeb();
    QCOMPARE(records.size(), 1);
    QCOMPARE(records.first().id, QString(name + QStringLiteral("@b\u00fcro.local.")));
    QCOMPARE(records.first().displayName, QStringLiteral("Caf\u00e9 %2"));
    QCOMPARE(records.first().addresses, QStringList{QStringLiteral("b\u00fcro.local.")});
    QCOMPARE(dataOf(records.first(), "mdns.serviceName"), name);
    QCOMPARE(records.first().protocolData.value(QStringLiteral("txt.\u00e4")).toString(),
             QStringLiteral("\U0001f4fa"));
}

void MdnsDiscovererTest::replacesBrokenUtf8()
{
    const DnsName instance = DnsName{"Studio \xff"} + httpType;
    const MdnsResponder responder({ptrRecord(httpType, instance), srvRecord(instance, 80, studioHost),
                                   txtRecord(instance, {"raw=\xfe|"}),
                                   addressRecord(studioHost, "10.0.0.9")});
    const QList<DeviceRecord> records = scanWeb();
    QCOMPARE(idsOf(records), QStringList{QStringLiteral("Studio \ufffd@studio.local.")});
    QCOMPARE(dataOf(records.first(), "txt.raw"), QStringLiteral("\ufffd|"));
    QCOMPARE(records.first().addresses, QStringList{QStringLiteral("10.0.0.9")});
}

void MdnsDiscovererTest::keepsNulBytes()
{
    const QByteArray nul(1, '\0');
    const DnsName first = DnsName{"x" + nul + "a"} + httpType;
    const DnsName second = DnsName{"x" + nul + "b"} + httpType;
    const MdnsResponder responder({ptrRecord(httpType, first), srvRecord(first, 80, studioHost),
                                   txtRecord(first, {"raw=1" + nul + "2"}), ptrRecord(httpType, second),
                                   srvRecord(second, 81, studioHost), txtRecord(second, {})});
    const QList<DeviceRecord> records = scanWeb();
    QCOMPARE(records.size(), 2);
    QCOMPARE(records.first().displayName,
             QString(QStringLiteral("x") + QChar(QChar::Null) + QLatin1Char('a')));
    QCOMPARE(dataOf(records.first(), "txt.raw"),
             QString(QStringLiteral("1") + QChar(QChar::Null) + QLatin1Char('2')));
}

void MdnsDiscovererTest::findsTypeInAnyLetterCase()
{
    const DnsName type = dnsName("_HTTP._tcp.Local");
    const DnsName instance = DnsName{"Studio"} + type;
    const MdnsResponder responder({ptrRecord(type, instance),
                                   srvRecord(instance, 80, dnsName("Studio.Local")), txtRecord(instance, {}),
                                   addressRecord(studioHost, "10.0.0.9")});
    const QList<DeviceRecord> records = scanWeb();
    QCOMPARE(records.size(), 1);
    QCOMPARE(records.first().protocol, QStringLiteral("http"));
    QCOMPARE(records.first().hostname, QStringLiteral("Studio.Local."));
    QCOMPARE(records.first().addresses, QStringList{QStringLiteral("10.0.0.9")});
    QCOMPARE(dataOf(records.first(), "mdns.serviceType"), QStringLiteral("_HTTP._tcp.Local."));
}

void MdnsDiscovererTest::mapsByItsOwnCatalogue()
{
    const MdnsServiceType row{QStringLiteral("_http._tcp.local."), QStringLiteral("web"),
                              Direction::inputOutput, MediaKind::metadata};
    const MdnsResponder responder(studio());
    MdnsDiscoverer discoverer;
    discoverer.setServices({row});
    discoverer.setTimeoutMs(windowMs);
    const QList<DeviceRecord> records = discoverer.scan(nullptr);
    QCOMPARE(records.size(), 1);
    QCOMPARE(records.first().protocol, QStringLiteral("web"));
    QCOMPARE(records.first().direction, Direction::inputOutput);
    QCOMPARE(records.first().mediaKinds, MediaKinds(MediaKind::metadata));
    QCOMPARE(records.first().endpoints.first().url, QStringLiteral("web://10.0.0.9:80"));
}

void MdnsDiscovererTest::staysCalmUnderGarbage()
{
    MdnsResponder responder(studio());
    QTimer::singleShot(0, &responder, [&responder]() {
        const QByteArray whole = dnsResponse(studio());
        responder.sendPacket(QByteArray());
        responder.sendPacket(QByteArray(9000, '\xff'));
        responder.sendPacket(QByteArray(9000, '\0'));
        for (int size = 1; size < whole.size(); ++size) {
            responder.sendPacket(whole.left(size));
        }
        // A name that points to itself.
        responder.sendPacket(
            QByteArray("\0\0\x84\0\0\0\0\1\0\0\0\0\xc0\x0c\0\x0c\0\1\0\0\0\x78\0\2\xc0\x0c", 26));
    });
    const QList<DeviceRecord> records = scanWeb();
    QCOMPARE(idsOf(records), QStringList{QStringLiteral("Studio@studio.local.")});
    QCOMPARE(records.first().model, QStringLiteral("X1"));
    QCOMPARE(records.first().addresses, QStringList{QStringLiteral("10.0.0.9")});
}

void MdnsDiscovererTest::collectsNoMoreThanItsBound()
{
    // Two types, because the engine has a bound of its own for each.
    constexpr int perType = MdnsDiscoverer::maximumServices / 2 + 100;
    constexpr int perPacket = 100;
    MdnsResponder responder(studio());
    int sent = 0;
    QTimer flood;
    connect(&flood, &QTimer::timeout, &responder, [&]() {
        QList<DnsRecord> records;
        for (const int end = sent + perPacket; sent < end; ++sent) {
            const DnsName &type = sent % 2 == 0 ? httpType : httpsType;
            const DnsName instance = DnsName{"A" + QByteArray::number(10000 + sent)} + type;
            records +=
                {ptrRecord(type, instance), srvRecord(instance, 80, studioHost), txtRecord(instance, {})};
        }
        responder.send(records);
        if (sent >= 2 * perType) {
            // What is collected goes on being heard.
            flood.stop();
            responder.send({unique(txtRecord(studioHttp, {"md=X2"})), addressRecord(studioHost, "10.0.0.9")});
        }
    });
    // Once the first answers are in, and the second is over for which they hold off a cache flush.
    QTimer::singleShot(1500, &flood, [&flood]() { flood.start(1); });
    const QList<DeviceRecord> records = scanWeb(4000);
    QVERIFY(sent >= 2 * perType);
    QCOMPARE(records.size(), int(MdnsDiscoverer::maximumServices));
    QCOMPARE(records.first().displayName, QStringLiteral("A10000"));
    QCOMPARE(records.last().displayName, QStringLiteral("Studio"));
    QCOMPARE(records.last().model, QStringLiteral("X2"));
    QCOMPARE(records.last().addresses, QStringList{QStringLiteral("10.0.0.9")});
}

void MdnsDiscovererTest::looksUpNoMoreHostsThanItsBound()
{
    constexpr int perWakeUp = 10;
    const DnsName vault = dnsName("Vault._https._tcp.local");
    const DnsName vaultHost = dnsName("vault.local");
    MdnsResponder responder(studio());
    int moves = 0;
    QTimer flood;
    connect(&flood, &QTimer::timeout, &responder, [&]() {
        for (const int end = moves + perWakeUp; moves < end; ++moves) {
            const DnsName host{"host" + QByteArray::number(moves), "local"};
            responder.send({unique(srvRecord(studioHttp, 80, host)), addressRecord(host, "10.0.0.10")});
        }
        if (moves >= MdnsDiscoverer::maximumServices) {
            flood.stop();
            responder.send({ptrRecord(httpsType, vault), srvRecord(vault, 443, vaultHost),
                            txtRecord(vault, {}), addressRecord(vaultHost, "10.0.0.11")});
        }
    });
    QTimer::singleShot(500, &flood, [&flood]() { flood.start(1); });
    const QList<DeviceRecord> records = scanWeb(4000);
    QVERIFY(moves >= MdnsDiscoverer::maximumServices);
    QCOMPARE(records.size(), 2);
    QCOMPARE(records.first().addresses, QStringList{QStringLiteral("10.0.0.9")});
    QCOMPARE(records.first().hostname, QStringLiteral("host%1.local.").arg(moves - 1));
    QCOMPARE(records.last().addresses, QStringList{QStringLiteral("vault.local.")});
}

void MdnsDiscovererTest::remembersNothingBetweenScans()
{
    MdnsDiscoverer discoverer;
    discoverer.setTimeoutMs(windowMs);
    {
        const MdnsResponder responder(studio());
        QCOMPARE(discoverer.scan(nullptr).size(), 1);
    }
    discoverer.setTimeoutMs(shortWindowMs);
    QVERIFY(discoverer.scan(nullptr).isEmpty());
}

void MdnsDiscovererTest::scansInsideAScan()
{
    const MdnsResponder responder(studio());
    MdnsDiscoverer discoverer;
    discoverer.setTimeoutMs(windowMs);
    QStringList inner;
    QTimer::singleShot(50, this, [&]() { inner = idsOf(discoverer.scan(nullptr)); });
    const QStringList outer = idsOf(discoverer.scan(nullptr));
    QCOMPARE(outer, QStringList{QStringLiteral("Studio@studio.local.")});
    QCOMPARE(inner, outer);
}

void MdnsDiscovererTest::clearsError()
{
    MdnsDiscoverer discoverer;
    discoverer.setTimeoutMs(shortWindowMs);
    QString error = QStringLiteral("left over");
    discoverer.scan(&error);
    QCOMPARE(error, QString());
}

QTEST_GUILESS_MAIN(MdnsDiscovererTest)
#include "mdns_discoverer_test.moc"
