#include "discoverers/airplay_discoverer.h"

#include <QElapsedTimer>
#include <QTimer>
#include <QtTest>

#include "mdns_questions.h"
#include "mdns_responder.h"
#include "record_checks.h"

using namespace Sondrix;

/// Runs in a network of its own (tests/private_network.sh).
class AirPlayDiscovererTest : public QObject
{
    Q_OBJECT

private slots:
    void isProviderAirplay();
    void listsItsServices();
    void rowsAreThoseOfTheCatalogue();
    void asksForItsTwoTypesAlone();
    void runsOutInFull_data();
    void runsOutInFull();
    void fillsEveryField();
    void hasNoDefaultPort();
    void keepsBothServicesOfADevice();
    void findsTypeInAnyLetterCase();
    void leavesOutOtherTypes();
    void remembersNothingBetweenScans();
    void clearsError();
};

namespace
{

constexpr int windowMs = 1200;

const DnsName airPlayType = dnsName("_airplay._tcp.local");
const DnsName raopType = dnsName("_raop._tcp.local");
const DnsName foyerHost = dnsName("Foyer-TV.local");
const DnsName foyerAirPlay = dnsName("Foyer._airplay._tcp.local");
const DnsName foyerRaop = dnsName("A0B1C2@Foyer._raop._tcp.local");

/// A television set that plays video on one service and audio alone on the other.
QList<DnsRecord> foyer()
{
    return {
        ptrRecord(airPlayType, foyerAirPlay),
        srvRecord(foyerAirPlay, 7000, foyerHost),
        txtRecord(foyerAirPlay, {"deviceid=A0:B1:C2", "features=0x4A7"}),
        ptrRecord(raopType, foyerRaop),
        srvRecord(foyerRaop, 0, foyerHost),
        txtRecord(foyerRaop, {"am=TV3,1"}),
        addressRecord(foyerHost, "10.0.0.7"),
    };
}

QStringList idsOf(const QList<DeviceRecord> &records)
{
    QStringList ids;
    for (const DeviceRecord &record : records) {
        ids.append(record.id);
    }
    return ids;
}

} // namespace

void AirPlayDiscovererTest::isProviderAirplay()
{
    const AirPlayDiscoverer discoverer;
    QCOMPARE(discoverer.providerName(), QStringLiteral("airplay"));
    QVERIFY(discoverer.isAvailable());
}

void AirPlayDiscovererTest::listsItsServices()
{
    const QList<MdnsServiceType> services = airPlayServices();
    QCOMPARE(services.size(), 2);
    QCOMPARE(services.at(0).serviceType, QStringLiteral("_airplay._tcp.local."));
    QCOMPARE(services.at(0).protocol, QStringLiteral("airplay"));
    QCOMPARE(services.at(0).direction, Direction::output);
    QCOMPARE(services.at(0).mediaKinds, MediaKind::audio | MediaKind::video | MediaKind::control);
    QCOMPARE(services.at(1).serviceType, QStringLiteral("_raop._tcp.local."));
    QCOMPARE(services.at(1).protocol, QStringLiteral("raop"));
    QCOMPARE(services.at(1).direction, Direction::output);
    QCOMPARE(services.at(1).mediaKinds, MediaKind::audio | MediaKind::control);
}

void AirPlayDiscovererTest::rowsAreThoseOfTheCatalogue()
{
    const QList<MdnsServiceType> services = airPlayServices();
    for (const MdnsServiceType &service : services) {
        const MdnsServiceType row = findServiceType(defaultMdnsServices(), service.serviceType);
        QCOMPARE(service.protocol, row.protocol);
        QCOMPARE(service.direction, row.direction);
        QCOMPARE(service.mediaKinds, row.mediaKinds);
    }
}

void AirPlayDiscovererTest::asksForItsTwoTypesAlone()
{
    const MdnsResponder responder;
    QVERIFY(responder.isListening());
    AirPlayDiscoverer().scan(nullptr);

    const QList<DnsQuestion> questions = questionsSoFar(responder);
    QCOMPARE(questions.size(), 2);
    QCOMPARE(questions.at(0).name, QByteArrayLiteral("_airplay._tcp.local."));
    QCOMPARE(questions.at(0).type, quint16(PTR));
    QCOMPARE(questions.at(1).name, QByteArrayLiteral("_raop._tcp.local."));
    QCOMPARE(questions.at(1).type, quint16(PTR));
}

void AirPlayDiscovererTest::runsOutInFull_data()
{
    QTest::addColumn<bool>("isAnswered");

    QTest::newRow("silence") << false;
    QTest::newRow("with answers") << true;
}

void AirPlayDiscovererTest::runsOutInFull()
{
    QFETCH(bool, isAnswered);

    const MdnsResponder responder(isAnswered ? foyer() : QList<DnsRecord>());
    AirPlayDiscoverer discoverer;
    QElapsedTimer elapsed;
    elapsed.start();
    QCOMPARE(discoverer.scan(nullptr).isEmpty(), !isAnswered);
    QVERIFY(elapsed.elapsed() >= windowMs);
}

void AirPlayDiscovererTest::fillsEveryField()
{
    DeviceRecord expected;
    expected.id = QStringLiteral("Foyer@Foyer-TV.local.");
    expected.displayName = QStringLiteral("Foyer");
    expected.hostname = QStringLiteral("Foyer-TV.local.");
    expected.addresses = QStringList{QStringLiteral("10.0.0.7")};
    expected.provider = QStringLiteral("mdns");
    expected.protocol = QStringLiteral("airplay");
    expected.direction = Direction::output;
    expected.mediaKinds = MediaKind::audio | MediaKind::video | MediaKind::control;
    expected.protocolData =
        QJsonObject{{QStringLiteral("mdns.serviceType"), QStringLiteral("_airplay._tcp.local.")},
                    {QStringLiteral("mdns.serviceName"), QStringLiteral("Foyer")},
                    {QStringLiteral("mdns.hostname"), QStringLiteral("Foyer-TV.local.")},
                    {QStringLiteral("mdns.port"), 7000},
                    {QStringLiteral("txt.deviceid"), QStringLiteral("A0:B1:C2")},
                    {QStringLiteral("txt.features"), QStringLiteral("0x4A7")}};
    EndpointRecord endpoint;
    endpoint.id = QStringLiteral("Foyer@Foyer-TV.local.:airplay");
    endpoint.label = QStringLiteral("Foyer");
    endpoint.protocol = QStringLiteral("airplay");
    endpoint.url = QStringLiteral("airplay://10.0.0.7:7000");
    endpoint.direction = Direction::output;
    endpoint.mediaKinds = MediaKind::audio | MediaKind::video | MediaKind::control;
    expected.endpoints.append(endpoint);

    const MdnsResponder responder(foyer().mid(0, 3) + foyer().mid(6));
    const QDateTime before = QDateTime::currentDateTimeUtc();
    const QList<DeviceRecord> records = AirPlayDiscoverer().scan(nullptr);
    QCOMPARE(records.size(), 1);
    compareRecords(records.first(), expected);
    verifyOneTime(records.first(), before);
}

void AirPlayDiscovererTest::hasNoDefaultPort()
{
    const MdnsResponder responder(foyer());
    const QList<DeviceRecord> records = AirPlayDiscoverer().scan(nullptr);
    QCOMPARE(records.size(), 2);
    QCOMPARE(records.first().endpoints.first().url, QStringLiteral("raop://10.0.0.7:0"));
}

void AirPlayDiscovererTest::keepsBothServicesOfADevice()
{
    const MdnsResponder responder(foyer());
    const QList<DeviceRecord> records = AirPlayDiscoverer().scan(nullptr);
    QCOMPARE(idsOf(records), (QStringList{QStringLiteral("A0B1C2@Foyer@Foyer-TV.local."),
                                          QStringLiteral("Foyer@Foyer-TV.local.")}));
    QCOMPARE(records.first().protocol, QStringLiteral("raop"));
    QCOMPARE(records.first().mediaKinds, MediaKind::audio | MediaKind::control);
    QCOMPARE(records.last().protocol, QStringLiteral("airplay"));
    for (const DeviceRecord &record : records) {
        QCOMPARE(record.provider, QStringLiteral("mdns"));
        QCOMPARE(record.hostname, QStringLiteral("Foyer-TV.local."));
    }
}

void AirPlayDiscovererTest::findsTypeInAnyLetterCase()
{
    const DnsName instance = dnsName("Foyer._AirPlay._TCP.Local");
    const MdnsResponder responder(
        {ptrRecord(airPlayType, instance), srvRecord(instance, 7000, foyerHost), txtRecord(instance, {})});
    const QList<DeviceRecord> records = AirPlayDiscoverer().scan(nullptr);
    QCOMPARE(records.size(), 1);
    QCOMPARE(records.first().protocol, QStringLiteral("airplay"));
}

void AirPlayDiscovererTest::leavesOutOtherTypes()
{
    // One type that answers unasked, and one whose instance is named under a type that was asked for.
    const DnsName castType = dnsName("_googlecast._tcp.local");
    const DnsName cast = dnsName("Foyer._googlecast._tcp.local");
    const DnsName web = dnsName("Foyer._http._tcp.local");
    const QList<DnsRecord> others{
        ptrRecord(castType, cast),
        srvRecord(cast, 8009, foyerHost),
        txtRecord(cast, {}),
        ptrRecord(airPlayType, web),
        srvRecord(web, 80, foyerHost),
        txtRecord(web, {}),
        addressRecord(foyerHost, "10.0.0.7"),
    };
    MdnsResponder responder(foyer() + others);
    QTimer::singleShot(0, &responder, [&]() { responder.send(others); });
    const QList<DeviceRecord> records = AirPlayDiscoverer().scan(nullptr);
    QCOMPARE(idsOf(records), (QStringList{QStringLiteral("A0B1C2@Foyer@Foyer-TV.local."),
                                          QStringLiteral("Foyer@Foyer-TV.local.")}));
}

void AirPlayDiscovererTest::remembersNothingBetweenScans()
{
    AirPlayDiscoverer discoverer;
    {
        const MdnsResponder responder(foyer());
        QCOMPARE(discoverer.scan(nullptr).size(), 2);
    }
    QVERIFY(discoverer.scan(nullptr).isEmpty());
}

void AirPlayDiscovererTest::clearsError()
{
    const MdnsResponder responder(foyer());
    QString error = QStringLiteral("left over");
    QCOMPARE(AirPlayDiscoverer().scan(&error).size(), 2);
    QCOMPARE(error, QString());
}

QTEST_GUILESS_MAIN(AirPlayDiscovererTest)
#include "airplay_discoverer_test.moc"
