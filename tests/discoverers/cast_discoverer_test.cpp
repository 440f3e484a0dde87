#include "discoverers/cast_discoverer.h"

#include <QElapsedTimer>
#include <QTimer>
#include <QtTest>

#include "mdns_questions.h"
#include "mdns_responder.h"
#include "record_checks.h"

using namespace Sondrix;

/// Runs in a network of its own (tests/private_network.sh).
class CastDiscovererTest : public QObject
{
    Q_OBJECT

private slots:
    void isProviderCast();
    void listsItsService();
    void rowIsThatOfTheCatalogue();
    void asksForItsTypeAlone();
    void runsOutInFull_data();
    void runsOutInFull();
    void fillsEveryField();
    void keepsGivenPort();
    void leavesOutOtherTypes();
    void remembersNothingBetweenScans();
    void clearsError();
};

namespace
{

constexpr int windowMs = 1200;

const DnsName castType = dnsName("_googlecast._tcp.local");
const DnsName stageHost = dnsName("stage.local");
const DnsName stageCast = dnsName("Chromecast-1f._googlecast._tcp.local");

QList<DnsRecord> stage(quint16 port = 0)
{
    return {ptrRecord(castType, stageCast), srvRecord(stageCast, port, stageHost),
            txtRecord(stageCast, {"id=1f2e", "fn=Stage", "md=Ultra"}), addressRecord(stageHost, "10.0.0.8")};
}

} // namespace

void CastDiscovererTest::isProviderCast()
{
    const CastDiscoverer discoverer;
    QCOMPARE(discoverer.providerName(), QStringLiteral("cast"));
    QVERIFY(discoverer.isAvailable());
}

void CastDiscovererTest::listsItsService()
{
    const QList<MdnsServiceType> services = castServices();
    QCOMPARE(services.size(), 1);
    QCOMPARE(services.first().serviceType, QStringLiteral("_googlecast._tcp.local."));
    QCOMPARE(services.first().protocol, QStringLiteral("cast"));
    QCOMPARE(services.first().direction, Direction::output);
    QCOMPARE(services.first().mediaKinds, MediaKind::audio | MediaKind::video | MediaKind::control);
}

void CastDiscovererTest::rowIsThatOfTheCatalogue()
{
    const MdnsServiceType service = castServices().first();
    const MdnsServiceType row = findServiceType(defaultMdnsServices(), service.serviceType);
    QCOMPARE(service.protocol, row.protocol);
    QCOMPARE(service.direction, row.direction);
    QCOMPARE(service.mediaKinds, row.mediaKinds);
}

void CastDiscovererTest::asksForItsTypeAlone()
{
    const MdnsResponder responder;
    QVERIFY(responder.isListening());
    CastDiscoverer().scan(nullptr);

    const QList<DnsQuestion> questions = questionsSoFar(responder);
    QCOMPARE(questions.size(), 1);
    QCOMPARE(questions.first().name, QByteArrayLiteral("_googlecast._tcp.local."));
    QCOMPARE(questions.first().type, quint16(PTR));
}

void CastDiscovererTest::runsOutInFull_data()
{
    QTest::addColumn<bool>("isAnswered");

    QTest::newRow("silence") << false;
    QTest::newRow("with answers") << true;
}

void CastDiscovererTest::runsOutInFull()
{
    QFETCH(bool, isAnswered);

    const MdnsResponder responder(isAnswered ? stage() : QList<DnsRecord>());
    CastDiscoverer discoverer;
    QElapsedTimer elapsed;
    elapsed.start();
    QCOMPARE(discoverer.scan(nullptr).isEmpty(), !isAnswered);
    QVERIFY(elapsed.elapsed() >= windowMs);
}

void CastDiscovererTest::fillsEveryField()
{
    DeviceRecord expected;
    expected.id = QStringLiteral("1f2e");
    expected.displayName = QStringLiteral("Stage");
    expected.model = QStringLiteral("Ultra");
    expected.hostname = QStringLiteral("stage.local.");
    expected.addresses = QStringList{QStringLiteral("10.0.0.8")};
    expected.provider = QStringLiteral("mdns");
    expected.protocol = QStringLiteral("cast");
    expected.direction = Direction::output;
    expected.mediaKinds = MediaKind::audio | MediaKind::video | MediaKind::control;
    expected.protocolData =
        QJsonObject{{QStringLiteral("mdns.serviceType"), QStringLiteral("_googlecast._tcp.local.")},
                    {QStringLiteral("mdns.serviceName"), QStringLiteral("Chromecast-1f")},
                    {QStringLiteral("mdns.hostname"), QStringLiteral("stage.local.")},
                    {QStringLiteral("mdns.port"), 0},
                    {QStringLiteral("txt.id"), QStringLiteral("1f2e")},
                    {QStringLiteral("txt.fn"), QStringLiteral("Stage")},
                    {QStringLiteral("txt.md"), QStringLiteral("Ultra")}};
    EndpointRecord endpoint;
    endpoint.id = QStringLiteral("1f2e:cast");
    endpoint.label = QStringLiteral("Stage");
    endpoint.protocol = QStringLiteral("cast");
    endpoint.url = QStringLiteral("cast://10.0.0.8:8009?type=cast");
    endpoint.direction = Direction::output;
    endpoint.mediaKinds = MediaKind::audio | MediaKind::video | MediaKind::control;
    expected.endpoints.append(endpoint);

    const MdnsResponder responder(stage());
    const QDateTime before = QDateTime::currentDateTimeUtc();
    const QList<DeviceRecord> records = CastDiscoverer().scan(nullptr);
    QCOMPARE(records.size(), 1);
    compareRecords(records.first(), expected);
    verifyOneTime(records.first(), before);
}

void CastDiscovererTest::keepsGivenPort()
{
    const MdnsResponder responder(stage(32000));
    const QList<DeviceRecord> records = CastDiscoverer().scan(nullptr);
    QCOMPARE(records.size(), 1);
    QCOMPARE(records.first().endpoints.first().url, QStringLiteral("cast://10.0.0.8:32000?type=cast"));
}

void CastDiscovererTest::leavesOutOtherTypes()
{
    // One type that answers unasked, and one whose instance is named under the type that was asked for.
    const DnsName airPlayType = dnsName("_airplay._tcp.local");
    const DnsName airPlay = dnsName("Stage._airplay._tcp.local");
    const DnsName web = dnsName("Stage._http._tcp.local");
    const QList<DnsRecord> others{
        ptrRecord(airPlayType, airPlay),
        srvRecord(airPlay, 7000, stageHost),
        txtRecord(airPlay, {}),
        ptrRecord(castType, web),
        srvRecord(web, 80, stageHost),
        txtRecord(web, {}),
        addressRecord(stageHost, "10.0.0.8"),
    };
    MdnsResponder responder(stage() + others);
    QTimer::singleShot(0, &responder, [&]() { responder.send(others); });
    const QList<DeviceRecord> records = CastDiscoverer().scan(nullptr);
    QCOMPARE(records.size(), 1);
    QCOMPARE(records.first().id, QStringLiteral("1f2e"));
}

void CastDiscovererTest::remembersNothingBetweenScans()
{
    CastDiscoverer discoverer;
    {
        const MdnsResponder responder(stage());
        QCOMPARE(discoverer.scan(nullptr).size(), 1);
    }
    QVERIFY(discoverer.scan(nullptr).isEmpty());
}

void CastDiscovererTest::clearsError()
{
    const MdnsResponder responder(stage());
    QString error = QStringLiteral("left over");
    QCOMPARE(CastDiscoverer().scan(&error).size(), 1);
    QCOMPARE(error, QString());
}

QTEST_GUILESS_MAIN(CastDiscovererTest)
#include "cast_discoverer_test.moc"
