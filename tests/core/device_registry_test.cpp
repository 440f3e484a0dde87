#include "core/device_registry.h"

#include <functional>
#include <limits>

#include <QtTest>

using Sondrix::DeviceRecord;
using Sondrix::DeviceRegistry;
using Sondrix::Direction;
using Sondrix::EndpointRecord;
using Sondrix::MediaKind;

using Change = std::function<void(DeviceRecord &)>;
using TextSetter = std::function<void(DeviceRecord &, const QString &)>;

Q_DECLARE_METATYPE(Change)
Q_DECLARE_METATYPE(TextSetter)
Q_DECLARE_METATYPE(Sondrix::Direction)

namespace
{

/// A moment long past, so that the clock of the run can be told from it.
QDateTime past(int seconds = 0)
{
    return QDateTime(QDate(2020, 5, 1), QTime(12, 0), Qt::UTC).addSecs(seconds);
}

EndpointRecord endpointWithId(const QString &id)
{
    EndpointRecord endpoint;
    endpoint.id = id;
    return endpoint;
}

/// A record with this id and all times given, so that a second one of it is no change.
DeviceRecord device(const QString &id)
{
    DeviceRecord record;
    record.id = id;
    record.firstSeen = past();
    record.lastSeen = past();
    record.lastChanged = past();
    return record;
}

DeviceRecord deviceWithHost(const QString &hostname)
{
    DeviceRecord record = device(QString());
    record.hostname = hostname;
    return record;
}

DeviceRecord deviceWithSerial(const QString &serial, const QString &vendor = QString(),
                              const QString &model = QString())
{
    DeviceRecord record = device(QString());
    record.serial = serial;
    record.vendor = vendor;
    record.model = model;
    return record;
}

/// What a registry told its listeners, and what it held at that moment.
class SignalLog : public QObject
{
public:
    explicit SignalLog(DeviceRegistry &registry)
    {
        connect(&registry, &DeviceRegistry::deviceAdded, this, [this, &registry](const DeviceRecord &record) {
            note(QStringLiteral("added"), Sondrix::deviceStableKey(record), registry);
            records.append(record);
        });
        connect(&registry, &DeviceRegistry::deviceUpdated, this,
                [this, &registry](const DeviceRecord &record) {
                    note(QStringLiteral("updated"), Sondrix::deviceStableKey(record), registry);
                    records.append(record);
                });
        connect(&registry, &DeviceRegistry::deviceRemoved, this, [this, &registry](const QString &stableKey) {
            note(QStringLiteral("removed"), stableKey, registry);
        });
    }

    QStringList signalsSeen;
    QList<QStringList> keysAtSignal;
    QList<DeviceRecord> records;

private:
    void note(const QString &signal, const QString &key, const DeviceRegistry &registry)
    {
        signalsSeen.append(QStringList{signal, key}.join(QLatin1Char(' ')));
        QStringList keys;
        const QList<DeviceRecord> stored = registry.records();
        for (const DeviceRecord &record : stored) {
            keys.append(Sondrix::deviceStableKey(record));
        }
        keysAtSignal.append(keys);
    }
};

QStringList keysOf(const DeviceRegistry &registry)
{
    QStringList keys;
    const QList<DeviceRecord> records = registry.records();
    for (const DeviceRecord &record : records) {
        keys.append(Sondrix::deviceStableKey(record));
    }
    return keys;
}

QStringList endpointIds(const DeviceRecord &record)
{
    QStringList ids;
    for (const EndpointRecord &endpoint : record.endpoints) {
        ids.append(endpoint.id);
    }
    return ids;
}

/// Texts whose comparison goes wrong when letters are folded by another rule than trimming and
/// lower-casing both.
QStringList unusualTexts()
{
    return {
        QString(),
        QStringLiteral(" "),
        QStringLiteral("\u3000"),
        QStringLiteral("i"),
        QStringLiteral("I"),
        QStringLiteral("\u0130"),  // dotted capital I: its lower case has two characters
        QStringLiteral("i\u0307"), // what it becomes
        QStringLiteral("\u0131"),  // dotless small i
        QStringLiteral("ab\u0130"),
        QStringLiteral("ABi\u0307"),
        QStringLiteral("ab\u0130c"),
        QStringLiteral("ABI\u0307C"),
        QStringLiteral("\u03a3"), // sigma, capital, small and final
        QStringLiteral("\u03c3"),
        QStringLiteral("\u03c2"),
        QStringLiteral("CAM\u03a3"),
        QStringLiteral("cam\u03c3"),
        QStringLiteral("cam\u03c2"),
        QStringLiteral("\u212a"), // Kelvin sign
        QStringLiteral("k"),
        QStringLiteral("K"),
        QStringLiteral("1\u212a2"),
        QStringLiteral("1K2"),
        QStringLiteral("\u212b"), // Angstrom sign
        QStringLiteral("\u00c5"),
        QStringLiteral("\u00e5"),
        QStringLiteral("stra\u00dfe"),
        QStringLiteral("STRASSE"),
        QStringLiteral("STRA\u1e9eE"), // capital sharp s
        QStringLiteral("caf\u00c9"),
        QStringLiteral("CAF\u00e9"),
        QStringLiteral("cafe\u0301"),
        QStringLiteral("\U00010400x"), // a letter beyond the first plane
        QStringLiteral("\U00010428X"),
        QString(QChar(0xd801)), // half a surrogate pair
        QString(QChar(0xdc00)),
        QStringLiteral("cam"),
        QStringLiteral("CAM"),
        QStringLiteral(" \tcam\n"),
        QStringLiteral("\u00a0Cam\u3000"),
        QStringLiteral("cam\u200b"),
        QStringLiteral("ca m"),
        QStringLiteral("cam1"),
        QStringLiteral("ca"),
        QStringLiteral("@[\\]^_"), // a bit away from "`{|}~" and DEL
        QStringLiteral("`{|}~\u007f"),
        QString(QStringLiteral("a") + QChar(0) + QStringLiteral("b")),
        QString(QStringLiteral("A") + QChar(0) + QStringLiteral("C")),
    };
}

} // namespace

class DeviceRegistryTest : public QObject
{
    Q_OBJECT

private slots:
    void constructionRegistersTheMetaType();
    void rejectsARecordWithoutIdentity();
    void insertReturnsTheKeyAndTellsIt();
    void insertFillsInvalidTimes_data();
    void insertFillsInvalidTimes();
    void recordsComeInKeyOrder();
    void recordOfAnUnknownKey();
    void remove();
    void removeOfAnUnknownKey();
    void removedDeviceComesBackAnew();
    void signalsGoOutAfterTheChange();

    void sameRecordTwice();
    void sameDevice_data();
    void sameDevice();
    void unusualLetters_data();
    void unusualLetters();
    void exactKeyBeatsALowerKey();
    void lowestKeyWinsWhicheverTestItPasses_data();
    void lowestKeyWinsWhicheverTestItPasses();

    void keyMoves_data();
    void keyMoves();
    void thirdRecordUnderTheNewKeyIsOverwritten();
    void movedRecordIsNoLongerUnderItsOldKey();

    void mergeReplacesTexts_data();
    void mergeReplacesTexts();
    void mergeAddresses_data();
    void mergeAddresses();
    void mergeDirection_data();
    void mergeDirection();
    void mergeUnitesMediaKinds();
    void mergeRequiresAuth_data();
    void mergeRequiresAuth();
    void mergeOnline_data();
    void mergeOnline();
    void mergeTtl_data();
    void mergeTtl();
    void mergeProtocolData();
    void keepsSoManyProtocolDetails();
    void mergeTimes_data();
    void mergeTimes();
    void lastChanged_data();
    void lastChanged();

    void mergeEndpointOrder_data();
    void mergeEndpointOrder();
    void mergeEndpointFields();
    void mergeEndpointKeepsWhatTheReportLeavesBlank();
    void mergeEndpointByUrlInAnyCase();
    void mergeEndpointByProtocolAndLabel();
    void mergeEndpointLastSeen_data();
    void mergeEndpointLastSeen();
    void endpointsWithoutKeyPileUp();
    void laterOfTwoStoredEndpointsWithOneKeyIsMerged();
    void repeatedEndpointWithinAReport();
    void firstReportIsStoredAsItStands();

    void expire_data();
    void expire();
    void expireTellsEachInKeyOrder();
    void expireWithAnInvalidTime();
    void expireTakesAnyTimeSpec();
    void expiredDeviceStaysAndComesBack();
};

void DeviceRegistryTest::constructionRegistersTheMetaType()
{
    QCOMPARE(QMetaType::type("Sondrix::DeviceRecord"), int(QMetaType::UnknownType));
    const DeviceRegistry registry;
    QVERIFY(QMetaType::type("Sondrix::DeviceRecord") != QMetaType::UnknownType);
    QVERIFY(registry.records().isEmpty());
    QCOMPARE(registry.parent(), nullptr);
}

void DeviceRegistryTest::rejectsARecordWithoutIdentity()
{
    DeviceRegistry registry;
    registry.addOrUpdate(device(QStringLiteral("a")));
    const SignalLog log(registry);
    DeviceRecord record;
    record.id = QStringLiteral("  ");
    record.displayName = QStringLiteral("Camera");
    QCOMPARE(registry.addOrUpdate(record), QString());
    QCOMPARE(keysOf(registry), QStringList{QStringLiteral("device-id:a")});
    QCOMPARE(log.signalsSeen, QStringList());
}

void DeviceRegistryTest::insertReturnsTheKeyAndTellsIt()
{
    DeviceRegistry registry;
    const SignalLog log(registry);
    DeviceRecord record = device(QStringLiteral(" ABC "));
    record.displayName = QStringLiteral("Camera");
    record.online = false;
    QCOMPARE(registry.addOrUpdate(record), QStringLiteral("device-id:abc"));
    QCOMPARE(log.signalsSeen, QStringList{QStringLiteral("added device-id:abc")});
    QCOMPARE(Sondrix::deviceToJson(log.records.first()), Sondrix::deviceToJson(record));
    QCOMPARE(Sondrix::deviceToJson(registry.record(QStringLiteral("device-id:abc"))),
             Sondrix::deviceToJson(record));
}

void DeviceRegistryTest::insertFillsInvalidTimes_data()
{
    QTest::addColumn<QDateTime>("firstSeen");
    QTest::addColumn<QDateTime>("lastSeen");
    QTest::addColumn<QDateTime>("lastChanged");
    // An invalid time in these three stands for the time of the call.
    QTest::addColumn<QDateTime>("storedFirstSeen");
    QTest::addColumn<QDateTime>("storedLastSeen");
    QTest::addColumn<QDateTime>("storedLastChanged");

    const QDateTime none;
    QTest::newRow("none given") << none << none << none << none << none << none;
    QTest::newRow("all given") << past(1) << past(2) << past(3) << past(1) << past(2) << past(3);
    QTest::newRow("last change takes the last sighting")
        << past(1) << past(2) << none << past(1) << past(2) << past(2);
    QTest::newRow("last change takes the filled last sighting")
        << past(1) << none << none << past(1) << none << none;
    QTest::newRow("first sighting alone missing") << none << past(2) << past(3) << none << past(2) << past(3);
}

void DeviceRegistryTest::insertFillsInvalidTimes()
{
    QFETCH(QDateTime, firstSeen);
    QFETCH(QDateTime, lastSeen);
    QFETCH(QDateTime, lastChanged);
    QFETCH(QDateTime, storedFirstSeen);
    QFETCH(QDateTime, storedLastSeen);
    QFETCH(QDateTime, storedLastChanged);
    DeviceRecord record = device(QStringLiteral("a"));
    record.firstSeen = firstSeen;
    record.lastSeen = lastSeen;
    record.lastChanged = lastChanged;

    DeviceRegistry registry;
    const QDateTime before = QDateTime::currentDateTimeUtc();
    const QString key = registry.addOrUpdate(record);
    const QDateTime after = QDateTime::currentDateTimeUtc();
    const DeviceRecord stored = registry.record(key);

    const auto isExpected = [&](const QDateTime &actual, const QDateTime &expected) {
        return expected.isValid() ? actual == expected
                                  : actual >= before && actual <= after && actual.timeSpec() == Qt::UTC;
    };
    QVERIFY(isExpected(stored.firstSeen, storedFirstSeen));
    QVERIFY(isExpected(stored.lastSeen, storedLastSeen));
    QVERIFY(isExpected(stored.lastChanged, storedLastChanged));
    if (!lastChanged.isValid()) {
        QCOMPARE(stored.lastChanged, stored.lastSeen);
    }
}

void DeviceRegistryTest::recordsComeInKeyOrder()
{
    DeviceRegistry registry;
    registry.addOrUpdate(deviceWithHost(QStringLiteral("b")));
    registry.addOrUpdate(device(QStringLiteral("\uff5e")));
    registry.addOrUpdate(device(QStringLiteral("\U00010428")));
    registry.addOrUpdate(device(QStringLiteral("b")));
    registry.addOrUpdate(deviceWithSerial(QStringLiteral("1")));
    registry.addOrUpdate(device(QStringLiteral("a10")));
    registry.addOrUpdate(device(QStringLiteral("a2")));
    // UTF-16 code units: a surrogate comes before the fullwidth tilde.
    const QStringList expected{
        QStringLiteral("device-host:b"),        QStringLiteral("device-id:a10"),
        QStringLiteral("device-id:a2"),         QStringLiteral("device-id:b"),
        QStringLiteral("device-id:\U00010428"), QStringLiteral("device-id:\uff5e"),
        QStringLiteral("device-serial::1"),
    };
    QCOMPARE(keysOf(registry), expected);
}

void DeviceRegistryTest::recordOfAnUnknownKey()
{
    DeviceRegistry registry;
    registry.addOrUpdate(device(QStringLiteral("a")));
    const DeviceRecord record = registry.record(QStringLiteral("device-id:b"));
    QVERIFY(record.id.isEmpty());
    QVERIFY(record.online);
    QVERIFY(!record.firstSeen.isValid());
    QVERIFY(!record.lastSeen.isValid());
    QVERIFY(!record.lastChanged.isValid());
    QCOMPARE(registry.records().size(), 1);
}

void DeviceRegistryTest::remove()
{
    DeviceRegistry registry;
    registry.addOrUpdate(device(QStringLiteral("a")));
    registry.addOrUpdate(device(QStringLiteral("b")));
    const SignalLog log(registry);
    QVERIFY(registry.remove(QStringLiteral("device-id:a")));
    QCOMPARE(keysOf(registry), QStringList{QStringLiteral("device-id:b")});
    QCOMPARE(log.signalsSeen, QStringList{QStringLiteral("removed device-id:a")});
    QVERIFY(!registry.remove(QStringLiteral("device-id:a")));
}

void DeviceRegistryTest::removeOfAnUnknownKey()
{
    DeviceRegistry registry;
    registry.addOrUpdate(device(QStringLiteral("a")));
    const SignalLog log(registry);
    QVERIFY(!registry.remove(QStringLiteral("device-id:A")));
    QVERIFY(!registry.remove(QString()));
    QCOMPARE(keysOf(registry), QStringList{QStringLiteral("device-id:a")});
    QCOMPARE(log.signalsSeen, QStringList());
}

void DeviceRegistryTest::removedDeviceComesBackAnew()
{
    DeviceRegistry registry;
    DeviceRecord record = device(QStringLiteral("a"));
    const QString key = registry.addOrUpdate(record);
    registry.remove(key);
    const SignalLog log(registry);
    record.firstSeen = past(60);
    registry.addOrUpdate(record);
    QCOMPARE(log.signalsSeen, QStringList{QStringLiteral("added device-id:a")});
    QCOMPARE(registry.record(key).firstSeen, past(60));
}

void DeviceRegistryTest::signalsGoOutAfterTheChange()
{
    DeviceRegistry registry;
    const SignalLog log(registry);
    registry.addOrUpdate(deviceWithHost(QStringLiteral("cam")));
    DeviceRecord better = deviceWithHost(QStringLiteral("cam"));
    better.id = QStringLiteral("1");
    registry.addOrUpdate(better);
    registry.remove(QStringLiteral("device-id:1"));

    const QStringList signalsSeen{QStringLiteral("added device-host:cam"),
                                  QStringLiteral("updated device-id:1"),
                                  QStringLiteral("removed device-id:1")};
    const QList<QStringList> keys{QStringList{QStringLiteral("device-host:cam")},
                                  QStringList{QStringLiteral("device-id:1")}, QStringList()};
    QCOMPARE(log.signalsSeen, signalsSeen);
    QCOMPARE(log.keysAtSignal, keys);
}

void DeviceRegistryTest::sameRecordTwice()
{
    DeviceRegistry registry;
    const SignalLog log(registry);
    DeviceRecord record = device(QStringLiteral("a"));
    record.endpoints = {endpointWithId(QStringLiteral("a:control")), endpointWithId(QStringLiteral("a:rtp"))};
    record.endpoints.first().lastSeen = past();
    record.addresses = QStringList{QStringLiteral("10.0.0.1")};
    record.protocolData = QJsonObject{{QStringLiteral("nmos.node"), QJsonObject()}};
    QCOMPARE(registry.addOrUpdate(record), QStringLiteral("device-id:a"));
    QCOMPARE(registry.addOrUpdate(record), QStringLiteral("device-id:a"));

    const QStringList signalsSeen{QStringLiteral("added device-id:a"), QStringLiteral("updated device-id:a")};
    QCOMPARE(log.signalsSeen, signalsSeen);
    QCOMPARE(Sondrix::deviceToJson(registry.record(QStringLiteral("device-id:a"))),
             Sondrix::deviceToJson(record));
}

void DeviceRegistryTest::sameDevice_data()
{
    QTest::addColumn<DeviceRecord>("stored");
    QTest::addColumn<DeviceRecord>("report");
    QTest::addColumn<bool>("same");

    const QString x = QStringLiteral("X");
    const QString none;
    const QString blank = QStringLiteral(" ");
    const QString acme = QStringLiteral("Acme");
    const QString acmeInc = QStringLiteral("Acme Inc.");
    const QString c1 = QStringLiteral("C1");
    const QString c2 = QStringLiteral("C2");

    // Stored records and reports get ids of their own where the id is not what is tested, so that
    // only the row's field can match.
    const auto withId = [](const QString &id, DeviceRecord record) {
        record.id = id;
        return record;
    };
    const auto stored = [&](const DeviceRecord &record) { return withId(QStringLiteral("stored"), record); };
    const auto report = [&](const DeviceRecord &record) { return withId(QStringLiteral("report"), record); };
    const auto serialRow = [&](const char *name, const QString &vendorA, const QString &modelA,
                               const QString &vendorB, const QString &modelB, bool same) {
        QTest::newRow(name) << stored(deviceWithSerial(x, vendorA, modelA))
                            << report(deviceWithSerial(QStringLiteral(" x "), vendorB, modelB)) << same;
    };

    QTest::newRow("same id") << device(QStringLiteral("a")) << device(QStringLiteral(" A ")) << true;
    QTest::newRow("other id") << device(QStringLiteral("a")) << device(QStringLiteral("b")) << false;

    serialRow("serial, vendors equal", acme, c1, QStringLiteral(" ACME "), c2, true);
    serialRow("serial, vendors differ", acme, none, acmeInc, none, false);
    serialRow("serial, vendors differ, models equal", acme, c1, acmeInc, c1, false);
    serialRow("serial, stored vendor empty, models equal", none, c1, acme, QStringLiteral(" c1 "), true);
    serialRow("serial, stored vendor empty, models differ", none, c1, acme, c2, false);
    serialRow("serial, reported vendor empty, models equal", acme, c1, none, c1, true);
    serialRow("serial, reported vendor blank, models differ", acme, c1, blank, c2, false);
    serialRow("serial, no vendors, models equal", none, c1, none, c1, true);
    serialRow("serial, no vendors, models differ", none, c1, none, c2, false);
    serialRow("serial, one vendor and one model empty", none, none, acme, c1, true);
    serialRow("serial, one vendor empty, stored model blank", none, blank, acme, c1, true);
    serialRow("serial, one vendor empty, reported model empty", none, c1, acme, none, true);
    serialRow("serial, vendor on one side, model on the other", acme, none, none, c1, true);
    serialRow("serial alone", none, none, none, none, true);
    QTest::newRow("blank serials") << stored(deviceWithSerial(blank, acme, c1))
                                   << report(deviceWithSerial(blank, acme, c1)) << false;
    QTest::newRow("vendor and model without serial")
        << stored(deviceWithSerial(none, acme, c1)) << report(deviceWithSerial(none, acme, c1)) << false;

    QTest::newRow("same hostname") << stored(deviceWithHost(QStringLiteral("cam.local")))
                                   << report(deviceWithHost(QStringLiteral(" CAM.local"))) << true;
    QTest::newRow("hostname with and without the root dot")
        << stored(deviceWithHost(QStringLiteral("cam.local.")))
        << report(deviceWithHost(QStringLiteral("cam.local"))) << false;
    QTest::newRow("blank hostnames") << stored(deviceWithHost(blank)) << report(deviceWithHost(blank))
                                     << false;
    QTest::newRow("hostname equal to the other's id")
        << device(QStringLiteral("cam")) << deviceWithHost(QStringLiteral("cam")) << false;

    const auto withEndpoints = [](const QString &id, const QList<EndpointRecord> &endpoints) {
        DeviceRecord record = device(id);
        record.endpoints = endpoints;
        return record;
    };
    EndpointRecord url;
    url.url = QStringLiteral("http://cam/");
    EndpointRecord label;
    label.protocol = QStringLiteral("rtsp");
    label.label = QStringLiteral("Cam 1");
    const EndpointRecord e1 = endpointWithId(QStringLiteral("E1"));
    const EndpointRecord e2 = endpointWithId(QStringLiteral("E2"));
    const EndpointRecord e3 = endpointWithId(QStringLiteral("E3"));
    const EndpointRecord blankEndpoint = endpointWithId(blank);
    const QString storedId = QStringLiteral("stored");
    const QString reportId = QStringLiteral("report");

    QTest::newRow("shared endpoint id, the last of each")
        << withEndpoints(storedId, {url, e1, e2})
        << withEndpoints(reportId, {e3, endpointWithId(QStringLiteral(" e2 "))}) << true;
    QTest::newRow("no shared endpoint id")
        << withEndpoints(storedId, {e1, e2}) << withEndpoints(reportId, {e3}) << false;
    QList<EndpointRecord> many;
    for (int i = 0; i < 100; ++i) {
        many.append(endpointWithId(QStringLiteral("Many %1").arg(i)));
    }
    QTest::newRow("one shared endpoint id of very many")
        << withEndpoints(storedId, {url, e1, endpointWithId(QStringLiteral(" mANY 99 "))})
        << withEndpoints(reportId, many) << true;
    QTest::newRow("none shared of very many")
        << withEndpoints(storedId, {url, e1, blankEndpoint}) << withEndpoints(reportId, many) << false;
    QTest::newRow("shared endpoint URL does not count")
        << withEndpoints(storedId, {url}) << withEndpoints(reportId, {url}) << false;
    QTest::newRow("shared endpoint protocol and label do not count")
        << withEndpoints(storedId, {label}) << withEndpoints(reportId, {label}) << false;
    QTest::newRow("blank endpoint ids")
        << withEndpoints(storedId, {blankEndpoint}) << withEndpoints(reportId, {blankEndpoint}) << false;
    QTest::newRow("endpoint id on one side only")
        << withEndpoints(storedId, {e1}) << withEndpoints(reportId, {url}) << false;
    QTest::newRow("no endpoints in the report") << withEndpoints(storedId, {e1}) << device(reportId) << false;

    DeviceRecord addressed = device(QString());
    addressed.addresses = QStringList{QStringLiteral("10.0.0.1")};
    QTest::newRow("same address as the only identity") << addressed << addressed << true;
    QTest::newRow("same address behind other ids") << stored(addressed) << report(addressed) << false;
    QTest::newRow("same address, one with an id") << addressed << report(addressed) << false;

    DeviceRecord named = device(QStringLiteral("a"));
    named.displayName = QStringLiteral("Camera");
    DeviceRecord alsoNamed = device(QStringLiteral("b"));
    alsoNamed.displayName = QStringLiteral("Camera");
    QTest::newRow("same display name") << named << alsoNamed << false;

    DeviceRecord ndi = device(QStringLiteral("a"));
    ndi.protocol = QStringLiteral("ndi");
    DeviceRecord nmos = device(QStringLiteral("a"));
    nmos.protocol = QStringLiteral("nmos");
    QTest::newRow("same id in two protocols") << ndi << nmos << true;
}

void DeviceRegistryTest::sameDevice()
{
    QFETCH(DeviceRecord, stored);
    QFETCH(DeviceRecord, report);
    QFETCH(bool, same);
    DeviceRegistry registry;
    registry.addOrUpdate(stored);
    const SignalLog log(registry);
    const QString key = registry.addOrUpdate(report);
    QCOMPARE(registry.records().size(), same ? 1 : 2);
    QCOMPARE(log.signalsSeen.size(), 1);
    QCOMPARE(log.signalsSeen.first(),
             QString((same ? QStringLiteral("updated ") : QStringLiteral("added ")) + key));
}

void DeviceRegistryTest::unusualLetters_data()
{
    QTest::addColumn<TextSetter>("setText");
    QTest::addColumn<bool>("emptyAgrees");

    const auto row = [](const char *name, bool emptyAgrees, const TextSetter &setText) {
        QTest::newRow(name) << setText << emptyAgrees;
    };
    row("id", false, [](DeviceRecord &record, const QString &text) {
        record.addresses = QStringList{record.id}; // identifies it when the text is blank
        record.id = text;
    });
    row("hostname", false, [](DeviceRecord &record, const QString &text) { record.hostname = text; });
    row("serial", false, [](DeviceRecord &record, const QString &text) { record.serial = text; });
    row("vendor", true, [](DeviceRecord &record, const QString &text) {
        record.serial = QStringLiteral("1");
        record.vendor = text;
    });
    row("model", true, [](DeviceRecord &record, const QString &text) {
        record.serial = QStringLiteral("1");
        record.model = text;
    });
    row("endpoint id", false,
        [](DeviceRecord &record, const QString &text) { record.endpoints = {endpointWithId(text)}; });
}

// Every pair of the unusual texts: the two are one device exactly when the trimmed and lower-cased
// texts are equal and not empty. A vendor or model that is empty leaves the decision to the serial.
void DeviceRegistryTest::unusualLetters()
{
    QFETCH(TextSetter, setText);
    QFETCH(bool, emptyAgrees);
    const QStringList texts = unusualTexts();
    for (const QString &a : texts) {
        for (const QString &b : texts) {
            DeviceRecord stored = device(QStringLiteral("stored"));
            setText(stored, a);
            DeviceRecord report = device(QStringLiteral("report"));
            setText(report, b);
            DeviceRegistry registry;
            registry.addOrUpdate(stored);
            registry.addOrUpdate(report);

            const QString first = a.trimmed().toLower();
            const QString second = b.trimmed().toLower();
            const bool same = first.isEmpty() || second.isEmpty() ? emptyAgrees : first == second;
            if (registry.records().size() != (same ? 1 : 2)) {
                QFAIL(qPrintable(
                    QStringLiteral("'%1' and '%2' taken for %3")
                        .arg(a, b, same ? QStringLiteral("two devices") : QStringLiteral("one device"))));
            }
        }
    }
}

void DeviceRegistryTest::exactKeyBeatsALowerKey()
{
    DeviceRegistry registry;
    DeviceRecord lower = device(QStringLiteral("a"));
    lower.hostname = QStringLiteral("cam-a");
    registry.addOrUpdate(lower);
    registry.addOrUpdate(device(QStringLiteral("b")));

    DeviceRecord report = device(QStringLiteral("B"));
    report.hostname = QStringLiteral("cam-a");
    report.model = QStringLiteral("C1");
    QCOMPARE(registry.addOrUpdate(report), QStringLiteral("device-id:b"));
    QCOMPARE(registry.records().size(), 2);
    QCOMPARE(registry.record(QStringLiteral("device-id:b")).model, QStringLiteral("C1"));
    QCOMPARE(registry.record(QStringLiteral("device-id:a")).model, QString());
}

void DeviceRegistryTest::lowestKeyWinsWhicheverTestItPasses_data()
{
    QTest::addColumn<DeviceRecord>("lower");
    QTest::addColumn<DeviceRecord>("higher");

    DeviceRecord byHost = deviceWithHost(QStringLiteral("cam"));
    DeviceRecord bySerial = deviceWithSerial(QStringLiteral("X1"));
    DeviceRecord byEndpoint = device(QString());
    byEndpoint.endpoints = {endpointWithId(QStringLiteral("E1"))};
    const auto withId = [](DeviceRecord record, const QString &id) {
        record.id = id;
        return record;
    };
    const QString a = QStringLiteral("a");
    const QString b = QStringLiteral("b");

    QTest::newRow("hostname below serial") << withId(byHost, a) << withId(bySerial, b);
    QTest::newRow("serial below hostname") << withId(bySerial, a) << withId(byHost, b);
    QTest::newRow("endpoint below serial") << withId(byEndpoint, a) << withId(bySerial, b);
    QTest::newRow("endpoint below hostname") << withId(byEndpoint, a) << withId(byHost, b);
    QTest::newRow("serial below endpoint") << withId(bySerial, a) << withId(byEndpoint, b);
    QTest::newRow("host key below serial key") << byHost << bySerial;
    QTest::newRow("endpoint key below serial key") << byEndpoint << bySerial;
}

void DeviceRegistryTest::lowestKeyWinsWhicheverTestItPasses()
{
    QFETCH(DeviceRecord, lower);
    QFETCH(DeviceRecord, higher);
    DeviceRegistry registry;
    const QString higherKey = registry.addOrUpdate(higher);
    const QString lowerKey = registry.addOrUpdate(lower);
    QVERIFY(lowerKey < higherKey);

    DeviceRecord report = deviceWithSerial(QStringLiteral("X1"));
    report.id = QStringLiteral("report");
    report.hostname = QStringLiteral("cam");
    report.endpoints = {endpointWithId(QStringLiteral("e1"))};
    QCOMPARE(registry.addOrUpdate(report), QStringLiteral("device-id:report"));
    const QStringList expected = higherKey < QLatin1String("device-id:report")
                                     ? QStringList{higherKey, QStringLiteral("device-id:report")}
                                     : QStringList{QStringLiteral("device-id:report"), higherKey};
    QCOMPARE(keysOf(registry), expected);
    QCOMPARE(Sondrix::deviceToJson(registry.record(higherKey)), Sondrix::deviceToJson(higher));
}

void DeviceRegistryTest::keyMoves_data()
{
    QTest::addColumn<DeviceRecord>("stored");
    QTest::addColumn<DeviceRecord>("report");
    QTest::addColumn<QString>("key");

    DeviceRecord host = deviceWithHost(QStringLiteral("cam"));
    DeviceRecord hostWithId = host;
    hostWithId.id = QStringLiteral("1");
    DeviceRecord hostWithOtherId = host;
    hostWithOtherId.id = QStringLiteral("2");
    DeviceRecord hostWithSerial = deviceWithSerial(QStringLiteral("X1"), QStringLiteral("Acme"));
    hostWithSerial.hostname = QStringLiteral("cam");
    DeviceRecord endpointOnly = device(QString());
    endpointOnly.endpoints = {endpointWithId(QStringLiteral("E1"))};
    DeviceRecord endpointWithAddress = endpointOnly;
    endpointWithAddress.addresses = QStringList{QStringLiteral("10.0.0.1")};

    QTest::newRow("host to id") << host << hostWithId << QStringLiteral("device-id:1");
    QTest::newRow("id stays when the report has none") << hostWithId << host << QStringLiteral("device-id:1");
    QTest::newRow("the latest id wins") << hostWithId << hostWithOtherId << QStringLiteral("device-id:2");
    QTest::newRow("host to serial") << host << hostWithSerial << QStringLiteral("device-serial:acme:x1");
    QTest::newRow("serial gets its vendor") << deviceWithSerial(QStringLiteral("X1"))
                                            << deviceWithSerial(QStringLiteral("X1"), QStringLiteral("Acme"))
                                            << QStringLiteral("device-serial:acme:x1");
    QTest::newRow("endpoint to address")
        << endpointOnly << endpointWithAddress << QStringLiteral("device-address:10.0.0.1");
    QTest::newRow("serial with an id stays under the id")
        << hostWithId << hostWithSerial << QStringLiteral("device-id:1");
}

void DeviceRegistryTest::keyMoves()
{
    QFETCH(DeviceRecord, stored);
    QFETCH(DeviceRecord, report);
    QFETCH(QString, key);
    DeviceRegistry registry;
    registry.addOrUpdate(stored);
    const SignalLog log(registry);
    QCOMPARE(registry.addOrUpdate(report), key);
    QCOMPARE(keysOf(registry), QStringList{key});
    QCOMPARE(log.signalsSeen, QStringList{QString(QStringLiteral("updated ") + key)});
    QCOMPARE(Sondrix::deviceStableKey(registry.record(key)), key);
}

void DeviceRegistryTest::thirdRecordUnderTheNewKeyIsOverwritten()
{
    DeviceRegistry registry;
    DeviceRecord moving = deviceWithSerial(QStringLiteral("X1"), QStringLiteral("Acme"));
    moving.hostname = QStringLiteral("cam");
    registry.addOrUpdate(moving);
    DeviceRecord third = deviceWithSerial(QStringLiteral("X1"), QStringLiteral("Beta"));
    third.firmware = QStringLiteral("only in the third");
    registry.addOrUpdate(third);
    QCOMPARE(registry.records().size(), 2);

    const SignalLog log(registry);
    DeviceRecord report = deviceWithHost(QStringLiteral("cam"));
    report.vendor = QStringLiteral("Beta");
    QCOMPARE(registry.addOrUpdate(report), QStringLiteral("device-serial:beta:x1"));
    QCOMPARE(keysOf(registry), QStringList{QStringLiteral("device-serial:beta:x1")});
    QCOMPARE(log.signalsSeen, QStringList{QStringLiteral("updated device-serial:beta:x1")});
    const DeviceRecord stored = registry.record(QStringLiteral("device-serial:beta:x1"));
    QCOMPARE(stored.hostname, QStringLiteral("cam"));
    QCOMPARE(stored.firmware, QString());
}

void DeviceRegistryTest::movedRecordIsNoLongerUnderItsOldKey()
{
    DeviceRegistry registry;
    const QString oldKey = registry.addOrUpdate(deviceWithHost(QStringLiteral("cam")));
    DeviceRecord report = deviceWithHost(QStringLiteral("cam"));
    report.id = QStringLiteral("1");
    registry.addOrUpdate(report);
    QVERIFY(registry.record(oldKey).hostname.isEmpty());
    QVERIFY(!registry.remove(oldKey));
}

void DeviceRegistryTest::mergeReplacesTexts_data()
{
    QTest::addColumn<QString>("reported");
    QTest::addColumn<bool>("replaces");
    QTest::newRow("text") << QStringLiteral("new") << true;
    QTest::newRow("text with white space around stays untrimmed") << QStringLiteral("  new\t") << true;
    QTest::newRow("other case") << QStringLiteral("OLD") << true;
    QTest::newRow("empty") << QString() << false;
    QTest::newRow("blank") << QStringLiteral(" \t\n") << false;
}

void DeviceRegistryTest::mergeReplacesTexts()
{
    QFETCH(QString, reported);
    QFETCH(bool, replaces);
    QString DeviceRecord::*const fields[] = {
        &DeviceRecord::id,       &DeviceRecord::displayName, &DeviceRecord::vendor,
        &DeviceRecord::model,    &DeviceRecord::serial,      &DeviceRecord::firmware,
        &DeviceRecord::hostname, &DeviceRecord::provider,    &DeviceRecord::protocol,
    };
    for (QString DeviceRecord::*field : fields) {
        DeviceRegistry registry;
        // The shared endpoint id holds the two together whatever becomes of the field.
        DeviceRecord stored = device(QString());
        stored.endpoints = {endpointWithId(QStringLiteral("E1"))};
        DeviceRecord report = stored;
        stored.*field = QStringLiteral("old");
        report.*field = reported;
        registry.addOrUpdate(stored);
        const QString key = registry.addOrUpdate(report);
        QCOMPARE(registry.records().size(), 1);
        QCOMPARE(registry.record(key).*field, replaces ? reported : QStringLiteral("old"));
    }
}

void DeviceRegistryTest::mergeAddresses_data()
{
    QTest::addColumn<QStringList>("stored");
    QTest::addColumn<QStringList>("reported");
    QTest::addColumn<QStringList>("merged");

    const QString a = QStringLiteral("AA");
    const QString b = QStringLiteral("BB");
    const QString c = QStringLiteral("CC");
    const QString lowerA = QStringLiteral("aa");
    const QString paddedA = QStringLiteral(" AA ");

    QTest::newRow("none to none") << QStringList() << QStringList() << QStringList();
    QTest::newRow("into an empty list") << QStringList() << QStringList{b, a} << QStringList{b, a};
    QTest::newRow("report without any") << QStringList{a} << QStringList() << QStringList{a};
    QTest::newRow("stored first, new ones behind")
        << QStringList{b, a} << QStringList{c, a} << QStringList{b, a, c};
    QTest::newRow("other case keeps the first spelling")
        << QStringList{a} << QStringList{lowerA} << QStringList{a};
    QTest::newRow("white space makes a difference")
        << QStringList{a} << QStringList{paddedA} << QStringList{a, paddedA};
    QTest::newRow("white space around the stored one makes a difference")
        << QStringList{paddedA} << QStringList{a} << QStringList{paddedA, a};
    QTest::newRow("repeat within the report")
        << QStringList{a} << QStringList{b, QStringLiteral("bb"), b} << QStringList{a, b};
    QTest::newRow("repeat within the stored list stays")
        << QStringList{a, lowerA} << QStringList{b} << QStringList{a, lowerA, b};
    QTest::newRow("an empty text is an address too")
        << QStringList{a} << QStringList{QString(), QString()} << QStringList{a, QString()};
}

void DeviceRegistryTest::mergeAddresses()
{
    QFETCH(QStringList, stored);
    QFETCH(QStringList, reported);
    DeviceRegistry registry;
    DeviceRecord record = device(QStringLiteral("a"));
    record.addresses = stored;
    registry.addOrUpdate(record);
    record.addresses = reported;
    const QString key = registry.addOrUpdate(record);
    QTEST(registry.record(key).addresses, "merged");
}

void DeviceRegistryTest::mergeDirection_data()
{
    QTest::addColumn<Direction>("stored");
    QTest::addColumn<Direction>("reported");
    QTest::addColumn<Direction>("merged");
    QTest::newRow("known stays") << Direction::input << Direction::unknown << Direction::input;
    QTest::newRow("unknown yields") << Direction::unknown << Direction::output << Direction::output;
    QTest::newRow("input and output") << Direction::input << Direction::output << Direction::inputOutput;
    QTest::newRow("media beats control") << Direction::controlOnly << Direction::input << Direction::input;
    QTest::newRow("control does not take media back")
        << Direction::output << Direction::controlOnly << Direction::output;
}

void DeviceRegistryTest::mergeDirection()
{
    QFETCH(Direction, stored);
    QFETCH(Direction, reported);
    DeviceRegistry registry;
    DeviceRecord record = device(QStringLiteral("a"));
    record.direction = stored;
    registry.addOrUpdate(record);
    record.direction = reported;
    const QString key = registry.addOrUpdate(record);
    QTEST(registry.record(key).direction, "merged");
}

void DeviceRegistryTest::mergeUnitesMediaKinds()
{
    DeviceRegistry registry;
    DeviceRecord record = device(QStringLiteral("a"));
    record.mediaKinds = MediaKind::audio | MediaKind::control;
    registry.addOrUpdate(record);
    record.mediaKinds = MediaKind::video | MediaKind::control;
    const QString key = registry.addOrUpdate(record);
    QCOMPARE(registry.record(key).mediaKinds, MediaKind::audio | MediaKind::video | MediaKind::control);
}

void DeviceRegistryTest::mergeRequiresAuth_data()
{
    QTest::addColumn<bool>("stored");
    QTest::addColumn<bool>("reported");
    QTest::addColumn<bool>("merged");
    QTest::newRow("neither") << false << false << false;
    QTest::newRow("stored stays set") << true << false << true;
    QTest::newRow("reported sets it") << false << true << true;
    QTest::newRow("both") << true << true << true;
}

void DeviceRegistryTest::mergeRequiresAuth()
{
    QFETCH(bool, stored);
    QFETCH(bool, reported);
    DeviceRegistry registry;
    DeviceRecord record = device(QStringLiteral("a"));
    record.requiresAuth = stored;
    registry.addOrUpdate(record);
    record.requiresAuth = reported;
    const QString key = registry.addOrUpdate(record);
    QTEST(registry.record(key).requiresAuth, "merged");
}

void DeviceRegistryTest::mergeOnline_data()
{
    QTest::addColumn<bool>("stored");
    QTest::addColumn<bool>("reported");
    QTest::newRow("stays online") << true << true;
    QTest::newRow("goes offline by report") << true << false;
    QTest::newRow("comes back") << false << true;
    QTest::newRow("stays offline") << false << false;
}

void DeviceRegistryTest::mergeOnline()
{
    QFETCH(bool, stored);
    QFETCH(bool, reported);
    DeviceRegistry registry;
    DeviceRecord record = device(QStringLiteral("a"));
    record.online = stored;
    registry.addOrUpdate(record);
    record.online = reported;
    const QString key = registry.addOrUpdate(record);
    QCOMPARE(registry.record(key).online, reported);
}

void DeviceRegistryTest::mergeTtl_data()
{
    QTest::addColumn<int>("stored");
    QTest::addColumn<int>("reported");
    QTest::addColumn<int>("merged");
    QTest::newRow("0 leaves it alone") << 60 << 0 << 60;
    QTest::newRow("negative leaves it alone") << 60 << -1 << 60;
    QTest::newRow("1 replaces") << 60 << 1 << 1;
    QTest::newRow("longer replaces") << 60 << 1800 << 1800;
    QTest::newRow("set where there was none") << 0 << 60 << 60;
}

void DeviceRegistryTest::mergeTtl()
{
    QFETCH(int, stored);
    QFETCH(int, reported);
    DeviceRegistry registry;
    DeviceRecord record = device(QStringLiteral("a"));
    record.ttlSeconds = stored;
    registry.addOrUpdate(record);
    record.ttlSeconds = reported;
    const QString key = registry.addOrUpdate(record);
    QTEST(registry.record(key).ttlSeconds, "merged");
}

void DeviceRegistryTest::mergeProtocolData()
{
    DeviceRegistry registry;
    DeviceRecord record = device(QStringLiteral("a"));
    record.protocolData = QJsonObject{
        {QStringLiteral("kept"), 1},
        {QStringLiteral("replaced"), 1},
        {QStringLiteral("nested"), QJsonObject{{QStringLiteral("old"), 1}}},
    };
    registry.addOrUpdate(record);
    record.protocolData = QJsonObject{
        {QStringLiteral("replaced"), QStringLiteral("two")},
        {QStringLiteral("nested"), QJsonObject{{QStringLiteral("new"), 2}}},
        {QStringLiteral("added"), QJsonValue::Null},
    };
    const QString key = registry.addOrUpdate(record);
    const QJsonObject expected{
        {QStringLiteral("kept"), 1},
        {QStringLiteral("replaced"), QStringLiteral("two")},
        {QStringLiteral("nested"), QJsonObject{{QStringLiteral("new"), 2}}},
        {QStringLiteral("added"), QJsonValue::Null},
    };
    QCOMPARE(registry.record(key).protocolData, expected);
}

/// A peer that makes up new ones with each answer does not fill the memory.
void DeviceRegistryTest::keepsSoManyProtocolDetails()
{
    constexpr int maximum = 1024;
    constexpr int perReport = 400;
    DeviceRegistry registry;
    DeviceRecord record = device(QStringLiteral("a"));
    QString key;
    for (int report = 0; report < 4; ++report) {
        record.protocolData = QJsonObject{{QStringLiteral("report"), report}};
        for (int i = 0; i < perReport; ++i) {
            record.protocolData.insert(QString::number(report * perReport + i), i);
        }
        key = registry.addOrUpdate(record);
    }
    QJsonObject details = registry.record(key).protocolData;
    QCOMPARE(details.size(), maximum);
    QCOMPARE(details.value(QStringLiteral("0")), QJsonValue(0));
    QCOMPARE(details.value(QStringLiteral("report")), QJsonValue(3)); // what is there is still replaced

    record.id = QStringLiteral("b");
    record.protocolData = QJsonObject();
    for (int i = 0; i < 2 * maximum; ++i) {
        record.protocolData.insert(QString::number(i), i);
    }
    registry.addOrUpdate(record);
    key = registry.addOrUpdate(record);
    QCOMPARE(registry.record(key).protocolData, record.protocolData); // one answer alone is taken whole
}

void DeviceRegistryTest::mergeTimes_data()
{
    QTest::addColumn<QDateTime>("stored");
    QTest::addColumn<QDateTime>("reported");
    QTest::addColumn<QDateTime>("firstSeen");
    QTest::addColumn<QDateTime>("lastSeen");
    QTest::newRow("later report") << past(0) << past(5) << past(0) << past(5);
    QTest::newRow("earlier report") << past(5) << past(0) << past(0) << past(5);
    QTest::newRow("equal") << past(5) << past(5) << past(5) << past(5);
    QTest::newRow("later moment, earlier on its own clock")
        << past(0) << past(5).toOffsetFromUtc(-3600) << past(0) << past(5);
}

void DeviceRegistryTest::mergeTimes()
{
    QFETCH(QDateTime, stored);
    QFETCH(QDateTime, reported);
    DeviceRegistry registry;
    DeviceRecord record = device(QStringLiteral("a"));
    record.firstSeen = stored;
    record.lastSeen = stored;
    registry.addOrUpdate(record);
    record.firstSeen = reported;
    record.lastSeen = reported;
    const QString key = registry.addOrUpdate(record);
    QTEST(registry.record(key).firstSeen, "firstSeen");
    QTEST(registry.record(key).lastSeen, "lastSeen");
}

void DeviceRegistryTest::lastChanged_data()
{
    QTest::addColumn<Change>("change");
    QTest::addColumn<bool>("moves");

    const auto row = [](const char *name, bool moves, const Change &change) {
        QTest::newRow(name) << change << moves;
    };
    const auto textRow = [&](const char *name, QString DeviceRecord::*field) {
        row(name, true, [field](DeviceRecord &record) { record.*field = QStringLiteral("other"); });
    };
    const auto endpointTextRow = [&](const char *name, QString EndpointRecord::*field) {
        row(name, true,
            [field](DeviceRecord &record) { record.endpoints.first().*field = QStringLiteral("other"); });
    };

    row("nothing", false, [](DeviceRecord &) {});
    row("last sighting", false, [](DeviceRecord &record) { record.lastSeen = past(10); });
    row("the report's own last change", false, [](DeviceRecord &record) { record.lastChanged = past(10); });
    row("later first sighting", false, [](DeviceRecord &record) { record.firstSeen = past(10); });
    row("earlier first sighting", true, [](DeviceRecord &record) { record.firstSeen = past(-10); });
    textRow("id", &DeviceRecord::id);
    textRow("display name", &DeviceRecord::displayName);
    textRow("vendor", &DeviceRecord::vendor);
    textRow("model", &DeviceRecord::model);
    textRow("serial", &DeviceRecord::serial);
    textRow("firmware", &DeviceRecord::firmware);
    textRow("hostname", &DeviceRecord::hostname);
    textRow("provider", &DeviceRecord::provider);
    textRow("protocol", &DeviceRecord::protocol);
    row("spelling of the id", true, [](DeviceRecord &record) { record.id = QStringLiteral("A"); });
    row("text left out", false, [](DeviceRecord &record) { record.displayName.clear(); });
    row("new address", true,
        [](DeviceRecord &record) { record.addresses.append(QStringLiteral("10.0.0.9")); });
    row("address left out", false, [](DeviceRecord &record) { record.addresses.clear(); });
    row("direction", true, [](DeviceRecord &record) { record.direction = Direction::output; });
    row("media kind", true, [](DeviceRecord &record) { record.mediaKinds = MediaKind::metadata; });
    row("protocol data", true,
        [](DeviceRecord &record) { record.protocolData.insert(QStringLiteral("x"), 2); });
    row("protocol data left out", false, [](DeviceRecord &record) { record.protocolData = QJsonObject(); });
    row("authentication", true, [](DeviceRecord &record) { record.requiresAuth = true; });
    row("offline", true, [](DeviceRecord &record) { record.online = false; });
    row("time to live", true, [](DeviceRecord &record) { record.ttlSeconds = 90; });
    row("time to live left out", false, [](DeviceRecord &record) { record.ttlSeconds = 0; });
    row("new endpoint", true,
        [](DeviceRecord &record) { record.endpoints.append(endpointWithId(QStringLiteral("E2"))); });
    row("new endpoint without a key", true,
        [](DeviceRecord &record) { record.endpoints.append(EndpointRecord()); });
    row("endpoint left out", false, [](DeviceRecord &record) { record.endpoints.clear(); });
    endpointTextRow("endpoint label", &EndpointRecord::label);
    endpointTextRow("endpoint protocol", &EndpointRecord::protocol);
    endpointTextRow("endpoint URL", &EndpointRecord::url);
    endpointTextRow("endpoint transport", &EndpointRecord::transport);
    row("endpoint direction", true,
        [](DeviceRecord &record) { record.endpoints.first().direction = Direction::output; });
    row("endpoint media kind", true,
        [](DeviceRecord &record) { record.endpoints.first().mediaKinds = MediaKind::metadata; });
    row("endpoint metadata", true,
        [](DeviceRecord &record) { record.endpoints.first().metadata.insert(QStringLiteral("x"), 2); });
    row("type of endpoint metadata", true, [](DeviceRecord &record) {
        record.endpoints.first().metadata.insert(QStringLiteral("x"), QStringLiteral("1"));
    });
    row("endpoint that is told once more in between", false, [](DeviceRecord &record) {
        EndpointRecord other = record.endpoints.first();
        other.transport = QStringLiteral("other");
        record.endpoints.first().transport = QStringLiteral("TCP");
        record.endpoints = {other, record.endpoints.first()};
    });
    row("later endpoint sighting", true,
        [](DeviceRecord &record) { record.endpoints.first().lastSeen = past(10); });
    row("earlier endpoint sighting", false,
        [](DeviceRecord &record) { record.endpoints.first().lastSeen = past(-10); });
}

void DeviceRegistryTest::lastChanged()
{
    QFETCH(Change, change);
    QFETCH(bool, moves);
    DeviceRecord record = device(QStringLiteral("a"));
    record.displayName = QStringLiteral("Camera");
    record.hostname = QStringLiteral("cam");
    record.addresses = QStringList{QStringLiteral("10.0.0.1")};
    record.direction = Direction::input;
    record.mediaKinds = MediaKind::video;
    record.protocolData = QJsonObject{{QStringLiteral("x"), 1}};
    record.ttlSeconds = 60;
    EndpointRecord endpoint = endpointWithId(QStringLiteral("E1"));
    endpoint.direction = Direction::input;
    endpoint.mediaKinds = MediaKind::video;
    endpoint.transport = QStringLiteral("TCP");
    endpoint.metadata.insert(QStringLiteral("x"), 1);
    endpoint.lastSeen = past();
    record.endpoints = {endpoint};

    DeviceRegistry registry;
    registry.addOrUpdate(record);
    change(record);
    const QDateTime before = QDateTime::currentDateTimeUtc();
    const QString key = registry.addOrUpdate(record);
    const QDateTime after = QDateTime::currentDateTimeUtc();
    QCOMPARE(registry.records().size(), 1);

    const QDateTime changed = registry.record(key).lastChanged;
    if (moves) {
        QVERIFY(changed >= before && changed <= after);
    } else {
        QCOMPARE(changed, past());
    }
}

void DeviceRegistryTest::mergeEndpointOrder_data()
{
    QTest::addColumn<QStringList>("stored");
    QTest::addColumn<QStringList>("reported");
    QTest::addColumn<QStringList>("merged");

    const auto list = [](const char *ids) {
        return *ids == '\0' ? QStringList() : QString::fromLatin1(ids).split(QLatin1Char(','));
    };
    QTest::newRow("into an empty list") << list("") << list("b,a") << list("b,a");
    QTest::newRow("report without any") << list("b,a") << list("") << list("b,a");
    QTest::newRow("known ones keep their place") << list("c,b,a") << list("a,c") << list("c,b,a");
    QTest::newRow("new ones behind, in the report's order")
        << list("b,a") << list("d,a,c") << list("b,a,d,c");
    QTest::newRow("repeat within the report") << list("a") << list("b,b,a,b") << list("a,b");
    QTest::newRow("other case takes the new spelling") << list("a,b") << list("B,A") << list("A,B");
}

void DeviceRegistryTest::mergeEndpointOrder()
{
    QFETCH(QStringList, stored);
    QFETCH(QStringList, reported);
    DeviceRegistry registry;
    DeviceRecord record = device(QStringLiteral("device"));
    for (const QString &id : qAsConst(stored)) {
        record.endpoints.append(endpointWithId(id));
    }
    registry.addOrUpdate(record);
    record.endpoints.clear();
    for (const QString &id : qAsConst(reported)) {
        record.endpoints.append(endpointWithId(id));
    }
    const QString key = registry.addOrUpdate(record);
    QTEST(endpointIds(registry.record(key)), "merged");
}

void DeviceRegistryTest::mergeEndpointFields()
{
    EndpointRecord stored = endpointWithId(QStringLiteral("E1"));
    stored.label = QStringLiteral("old label");
    stored.protocol = QStringLiteral("old protocol");
    stored.url = QStringLiteral("old://url");
    stored.transport = QStringLiteral("old transport");
    stored.direction = Direction::input;
    stored.mediaKinds = MediaKind::audio;
    stored.metadata = QVariantMap{{QStringLiteral("kept"), 1}, {QStringLiteral("replaced"), 1}};

    EndpointRecord reported = endpointWithId(QStringLiteral(" e1 "));
    reported.label = QStringLiteral(" new label ");
    reported.protocol = QStringLiteral("new protocol");
    reported.url = QStringLiteral("new://url");
    reported.transport = QStringLiteral("new transport");
    reported.direction = Direction::output;
    reported.mediaKinds = MediaKind::video;
    reported.metadata =
        QVariantMap{{QStringLiteral("replaced"), QStringLiteral("two")}, {QStringLiteral("added"), 3}};

    DeviceRegistry registry;
    DeviceRecord record = device(QStringLiteral("a"));
    record.endpoints = {stored};
    registry.addOrUpdate(record);
    record.endpoints = {reported};
    const QString key = registry.addOrUpdate(record);

    const QList<EndpointRecord> endpoints = registry.record(key).endpoints;
    QCOMPARE(endpoints.size(), 1);
    const EndpointRecord &merged = endpoints.first();
    QCOMPARE(merged.id, QStringLiteral(" e1 "));
    QCOMPARE(merged.label, QStringLiteral(" new label "));
    QCOMPARE(merged.protocol, QStringLiteral("new protocol"));
    QCOMPARE(merged.url, QStringLiteral("new://url"));
    QCOMPARE(merged.transport, QStringLiteral("new transport"));
    QCOMPARE(merged.direction, Direction::inputOutput);
    QCOMPARE(merged.mediaKinds, MediaKind::audio | MediaKind::video);
    const QVariantMap metadata{{QStringLiteral("kept"), 1},
                               {QStringLiteral("replaced"), QStringLiteral("two")},
                               {QStringLiteral("added"), 3}};
    QCOMPARE(merged.metadata, metadata);
}

void DeviceRegistryTest::mergeEndpointKeepsWhatTheReportLeavesBlank()
{
    EndpointRecord stored = endpointWithId(QStringLiteral("E1"));
    stored.label = QStringLiteral("label");
    stored.protocol = QStringLiteral("protocol");
    stored.url = QStringLiteral("url");
    stored.transport = QStringLiteral("transport");
    stored.direction = Direction::input;
    stored.mediaKinds = MediaKind::audio;
    stored.lastSeen = past();

    EndpointRecord reported = endpointWithId(QStringLiteral("E1"));
    reported.label = QStringLiteral(" ");
    reported.url = QStringLiteral("\t");

    DeviceRegistry registry;
    DeviceRecord record = device(QStringLiteral("a"));
    record.endpoints = {stored};
    registry.addOrUpdate(record);
    record.endpoints = {reported};
    const QString key = registry.addOrUpdate(record);
    QCOMPARE(Sondrix::endpointToJson(registry.record(key).endpoints.first()),
             Sondrix::endpointToJson(stored));
}

void DeviceRegistryTest::mergeEndpointByUrlInAnyCase()
{
    EndpointRecord stored;
    stored.url = QStringLiteral("http://cam/Path");
    EndpointRecord reported;
    reported.url = QStringLiteral("HTTP://CAM/path ");
    reported.label = QStringLiteral("Web");

    DeviceRegistry registry;
    DeviceRecord record = device(QStringLiteral("a"));
    record.endpoints = {stored};
    registry.addOrUpdate(record);
    record.endpoints = {reported};
    const QString key = registry.addOrUpdate(record);
    const QList<EndpointRecord> endpoints = registry.record(key).endpoints;
    QCOMPARE(endpoints.size(), 1);
    QCOMPARE(endpoints.first().url, QStringLiteral("HTTP://CAM/path "));
    QCOMPARE(endpoints.first().label, QStringLiteral("Web"));
}

void DeviceRegistryTest::mergeEndpointByProtocolAndLabel()
{
    EndpointRecord stored;
    stored.protocol = QStringLiteral("rtsp");
    stored.label = QStringLiteral("Cam 1");
    EndpointRecord reported;
    reported.protocol = QStringLiteral("RTSP");
    reported.label = QStringLiteral("cam 1");
    reported.transport = QStringLiteral("TCP");
    EndpointRecord withUrl = reported;
    withUrl.url = QStringLiteral("rtsp://cam/1"); // identified by its URL, so it is another one

    DeviceRegistry registry;
    DeviceRecord record = device(QStringLiteral("a"));
    record.endpoints = {stored};
    registry.addOrUpdate(record);
    record.endpoints = {reported, withUrl};
    const QString key = registry.addOrUpdate(record);
    const QList<EndpointRecord> endpoints = registry.record(key).endpoints;
    QCOMPARE(endpoints.size(), 2);
    QCOMPARE(endpoints.at(0).transport, QStringLiteral("TCP"));
    QCOMPARE(endpoints.at(0).url, QString());
    QCOMPARE(endpoints.at(1).url, QStringLiteral("rtsp://cam/1"));
}

void DeviceRegistryTest::mergeEndpointLastSeen_data()
{
    QTest::addColumn<QDateTime>("stored");
    QTest::addColumn<QDateTime>("reported");
    QTest::addColumn<QDateTime>("merged");
    QTest::newRow("later") << past(0) << past(5) << past(5);
    QTest::newRow("earlier") << past(5) << past(0) << past(5);
    QTest::newRow("stored invalid") << QDateTime() << past(5) << past(5);
    QTest::newRow("reported invalid") << past(5) << QDateTime() << past(5);
    QTest::newRow("both invalid") << QDateTime() << QDateTime() << QDateTime();
}

void DeviceRegistryTest::mergeEndpointLastSeen()
{
    QFETCH(QDateTime, stored);
    QFETCH(QDateTime, reported);
    DeviceRegistry registry;
    DeviceRecord record = device(QStringLiteral("a"));
    record.endpoints = {endpointWithId(QStringLiteral("E1"))};
    record.endpoints.first().lastSeen = stored;
    registry.addOrUpdate(record);
    record.endpoints.first().lastSeen = reported;
    const QString key = registry.addOrUpdate(record);
    QTEST(registry.record(key).endpoints.first().lastSeen, "merged");
}

void DeviceRegistryTest::endpointsWithoutKeyPileUp()
{
    EndpointRecord anonymous;
    anonymous.label = QStringLiteral("Cam 1");
    DeviceRegistry registry;
    DeviceRecord record = device(QStringLiteral("a"));
    record.endpoints = {anonymous, anonymous};
    registry.addOrUpdate(record);
    record.endpoints = {anonymous};
    registry.addOrUpdate(record);
    const QString key = registry.addOrUpdate(record);
    QCOMPARE(registry.record(key).endpoints.size(), 4);
    QVERIFY(registry.record(key).lastChanged > past());
}

void DeviceRegistryTest::laterOfTwoStoredEndpointsWithOneKeyIsMerged()
{
    DeviceRegistry registry;
    DeviceRecord record = device(QStringLiteral("a"));
    record.endpoints = {endpointWithId(QStringLiteral("E1")), endpointWithId(QStringLiteral("e1"))};
    registry.addOrUpdate(record);
    record.endpoints = {endpointWithId(QStringLiteral("E1"))};
    record.endpoints.first().label = QStringLiteral("merged");
    const QString key = registry.addOrUpdate(record);
    const QList<EndpointRecord> endpoints = registry.record(key).endpoints;
    QCOMPARE(endpoints.size(), 2);
    QCOMPARE(endpoints.at(0).label, QString());
    QCOMPARE(endpoints.at(1).label, QStringLiteral("merged"));
    QCOMPARE(endpoints.at(1).id, QStringLiteral("E1"));
}

void DeviceRegistryTest::repeatedEndpointWithinAReport()
{
    DeviceRegistry registry;
    DeviceRecord record = device(QStringLiteral("a"));
    registry.addOrUpdate(record);
    EndpointRecord first = endpointWithId(QStringLiteral("E1"));
    first.mediaKinds = MediaKind::audio;
    first.label = QStringLiteral("first");
    EndpointRecord second = endpointWithId(QStringLiteral("E1"));
    second.mediaKinds = MediaKind::video;
    second.label = QStringLiteral("second");
    record.endpoints = {first, second};
    const QString key = registry.addOrUpdate(record);
    const QList<EndpointRecord> endpoints = registry.record(key).endpoints;
    QCOMPARE(endpoints.size(), 1);
    QCOMPARE(endpoints.first().label, QStringLiteral("second"));
    QCOMPARE(endpoints.first().mediaKinds, MediaKind::audio | MediaKind::video);
}

void DeviceRegistryTest::firstReportIsStoredAsItStands()
{
    DeviceRegistry registry;
    DeviceRecord record = device(QStringLiteral("a"));
    record.endpoints = {endpointWithId(QStringLiteral("E1")), endpointWithId(QStringLiteral("E1"))};
    record.addresses = QStringList{QStringLiteral("AA"), QStringLiteral("aa")};
    const QString key = registry.addOrUpdate(record);
    QCOMPARE(Sondrix::deviceToJson(registry.record(key)), Sondrix::deviceToJson(record));
}

void DeviceRegistryTest::expire_data()
{
    QTest::addColumn<int>("ttlSeconds");
    QTest::addColumn<bool>("online");
    QTest::addColumn<qint64>("ageMs");
    QTest::addColumn<bool>("expires");
    QTest::newRow("young") << 60 << true << qint64(1000) << false;
    QTest::newRow("exactly at the limit") << 60 << true << qint64(60000) << false;
    QTest::newRow("a millisecond past the limit") << 60 << true << qint64(60001) << true;
    QTest::newRow("long past the limit") << 60 << true << qint64(86400000) << true;
    QTest::newRow("shortest time to live") << 1 << true << qint64(1001) << true;
    QTest::newRow("time to live 0") << 0 << true << qint64(86400000) << false;
    QTest::newRow("negative time to live") << -60 << true << qint64(86400000) << false;
    QTest::newRow("already offline") << 60 << false << qint64(86400000) << false;
    QTest::newRow("seen in the future") << 60 << true << qint64(-86400000) << false;
    QTest::newRow("longest time to live")
        << std::numeric_limits<int>::max() << true << qint64(86400000) << false;
}

void DeviceRegistryTest::expire()
{
    QFETCH(int, ttlSeconds);
    QFETCH(bool, online);
    QFETCH(qint64, ageMs);
    QFETCH(bool, expires);
    DeviceRegistry registry;
    DeviceRecord record = device(QStringLiteral("a"));
    record.ttlSeconds = ttlSeconds;
    record.online = online;
    const QString key = registry.addOrUpdate(record);

    const SignalLog log(registry);
    const QDateTime now = past().addMSecs(ageMs);
    QCOMPARE(registry.expireOnlineRecords(now), expires ? 1 : 0);
    QCOMPARE(log.signalsSeen, expires ? QStringList{QStringLiteral("updated device-id:a")} : QStringList());
    QCOMPARE(registry.record(key).online, online && !expires);
    QCOMPARE(registry.record(key).lastChanged, expires ? now : past());
    QCOMPARE(registry.record(key).lastSeen, past());
    if (expires) {
        QCOMPARE(Sondrix::deviceToJson(log.records.first()), Sondrix::deviceToJson(registry.record(key)));
    }
}

void DeviceRegistryTest::expireTellsEachInKeyOrder()
{
    DeviceRegistry registry;
    const QStringList ids{QStringLiteral("c"), QStringLiteral("a"), QStringLiteral("d"), QStringLiteral("b")};
    for (const QString &id : ids) {
        DeviceRecord record = device(id);
        record.ttlSeconds = id == QLatin1String("d") ? 0 : 60;
        registry.addOrUpdate(record);
    }
    QStringList offlineAtSignal;
    connect(&registry, &DeviceRegistry::deviceUpdated, &registry, [&] {
        QString offline;
        const QList<DeviceRecord> records = registry.records();
        for (const DeviceRecord &record : records) {
            offline += record.online ? QString() : record.id;
        }
        offlineAtSignal.append(offline);
    });
    QCOMPARE(registry.expireOnlineRecords(past(61)), 3);
    const QStringList expected{QStringLiteral("a"), QStringLiteral("ab"), QStringLiteral("abc")};
    QCOMPARE(offlineAtSignal, expected);
    QCOMPARE(registry.expireOnlineRecords(past(61)), 0);
    QCOMPARE(registry.records().size(), 4);
}

void DeviceRegistryTest::expireWithAnInvalidTime()
{
    DeviceRegistry registry;
    DeviceRecord record = device(QStringLiteral("a"));
    record.ttlSeconds = 1;
    const QString key = registry.addOrUpdate(record);
    const SignalLog log(registry);
    QCOMPARE(registry.expireOnlineRecords(QDateTime()), 0);
    QCOMPARE(log.signalsSeen, QStringList());
    QVERIFY(registry.record(key).online);
}

void DeviceRegistryTest::expireTakesAnyTimeSpec()
{
    DeviceRegistry registry;
    DeviceRecord record = device(QStringLiteral("a"));
    record.ttlSeconds = 60;
    record.lastSeen = past().toOffsetFromUtc(7200);
    const QString key = registry.addOrUpdate(record);
    QCOMPARE(registry.expireOnlineRecords(past(60).toOffsetFromUtc(-7200)), 0);
    QCOMPARE(registry.expireOnlineRecords(past(61).toOffsetFromUtc(-7200)), 1);
    QCOMPARE(registry.record(key).lastChanged, past(61));
    QCOMPARE(registry.record(key).lastChanged.timeSpec(), Qt::UTC);
}

void DeviceRegistryTest::expiredDeviceStaysAndComesBack()
{
    DeviceRegistry registry;
    DeviceRecord record = device(QStringLiteral("a"));
    record.ttlSeconds = 60;
    const QString key = registry.addOrUpdate(record);
    registry.expireOnlineRecords(past(61));
    QVERIFY(!registry.record(key).online);

    const SignalLog log(registry);
    const QDateTime before = QDateTime::currentDateTimeUtc();
    record.firstSeen = past(100);
    record.lastSeen = past(100);
    registry.addOrUpdate(record);
    QCOMPARE(log.signalsSeen, QStringList{QStringLiteral("updated device-id:a")});
    QVERIFY(registry.record(key).online);
    QCOMPARE(registry.record(key).firstSeen, past());
    QVERIFY(registry.record(key).lastChanged >= before);
}

QTEST_GUILESS_MAIN(DeviceRegistryTest)
#include "device_registry_test.moc"
