#include <algorithm>
#include <array>
#include <functional>
#include <memory>
#include <random>
#include <tuple>
#include <vector>

#include <QtTest>

#include "core/device_registry.h"

using Sondrix::DeviceRecord;
using Sondrix::DeviceRegistry;
using Sondrix::Direction;
using Sondrix::EndpointRecord;
using Sondrix::MediaKinds;

namespace
{

constexpr int secondsPerHour = 3600;
constexpr int defaultSteps = 2000; // for each seed; a longer run is asked for by the environment

QString normalized(const QString &text)
{
    return text.trimmed().toLower();
}

bool isFilled(const QString &text)
{
    return !text.trimmed().isEmpty();
}

/// Whether both texts are filled and read the same.
bool agree(const QString &a, const QString &b)
{
    return isFilled(a) && normalized(a) == normalized(b);
}

auto tied(const EndpointRecord &e)
{
    return std::tie(e.id, e.label, e.protocol, e.url, e.direction, e.mediaKinds, e.transport, e.metadata,
                    e.lastSeen);
}

bool sameEndpoints(const QList<EndpointRecord> &a, const QList<EndpointRecord> &b)
{
    return std::equal(a.cbegin(), a.cend(), b.cbegin(), b.cend(),
                      [](const EndpointRecord &x, const EndpointRecord &y) { return tied(x) == tied(y); });
}

/// Everything of a record but its endpoints and the two times that a report may move without a change.
auto tiedWithoutSightings(const DeviceRecord &r)
{
    return std::tie(r.id, r.displayName, r.vendor, r.model, r.serial, r.firmware, r.hostname, r.addresses,
                    r.provider, r.protocol, r.direction, r.mediaKinds, r.protocolData, r.requiresAuth,
                    r.online, r.ttlSeconds, r.firstSeen);
}

bool showTheSame(const DeviceRecord &a, const DeviceRecord &b)
{
    return tiedWithoutSightings(a) == tiedWithoutSightings(b) && sameEndpoints(a.endpoints, b.endpoints);
}

bool areEqual(const DeviceRecord &a, const DeviceRecord &b)
{
    return showTheSame(a, b) && a.lastSeen == b.lastSeen && a.lastChanged == b.lastChanged;
}

/// One signal of a registry, with the record that it carried.
struct Event {
    QString kind;
    QString key;
    DeviceRecord record;
};

bool areEqual(const std::vector<Event> &a, const std::vector<Event> &b)
{
    return std::equal(a.cbegin(), a.cend(), b.cbegin(), b.cend(), [](const Event &x, const Event &y) {
        return x.kind == y.kind && x.key == y.key && areEqual(x.record, y.record);
    });
}

/// How often what makes the sequences worth while has come about.
struct Tally {
    int inserted = 0;
    int unchanged = 0;
    int changed = 0;
    int moved = 0;     ///< to another key
    int absorbed = 0;  ///< records that stood under the key to which another one moved
    int ambiguous = 0; ///< reports that match more than one device
    int removed = 0;
    int expired = 0;
};

/// The rules of the registry, told once more and as plainly as possible: records in a row, each
/// looked at for each question.
class Model
{
public:
    QString add(DeviceRecord incoming, const QDateTime &now)
    {
        const QString key = keyOf(incoming);
        if (key.isEmpty()) {
            return QString();
        }
        fillTimes(incoming, now);
        const int at = positionOf(incoming, key);
        if (at < 0) {
            ++tally.inserted;
            m_records.push_back(incoming);
            events.push_back({QStringLiteral("added"), key, incoming});
            return key;
        }
        const DeviceRecord before = m_records.at(size_t(at));
        DeviceRecord after = merged(before, incoming);
        const bool isChange = !showTheSame(before, after);
        ++(isChange ? tally.changed : tally.unchanged);
        if (isChange) {
            after.lastChanged = now;
        }
        m_records.erase(m_records.begin() + at);
        const QString newKey = keyOf(after);
        if (newKey != keyOf(before)) {
            ++tally.moved;
            tally.absorbed += take(newKey) ? 1 : 0;
        }
        m_records.push_back(after);
        events.push_back({QStringLiteral("updated"), newKey, after});
        return newKey;
    }

    bool remove(const QString &key)
    {
        if (!take(key)) {
            return false;
        }
        ++tally.removed;
        events.push_back({QStringLiteral("removed"), key, DeviceRecord()});
        return true;
    }

    int expire(const QDateTime &now)
    {
        const size_t eventsBefore = events.size();
        for (const QString &key : keys()) {
            DeviceRecord &record = m_records.at(size_t(positionOf(key)));
            const bool isMortal = record.online && record.ttlSeconds > 0;
            if (now.isValid() && isMortal &&
                record.lastSeen.msecsTo(now) > record.ttlSeconds * qint64(1000)) {
                record.online = false;
                record.lastChanged = now;
                events.push_back({QStringLiteral("updated"), key, record});
            }
        }
        const int expired = int(events.size() - eventsBefore);
        tally.expired += expired;
        return expired;
    }

    /// The keys in ascending order.
    QStringList keys() const
    {
        QStringList keys;
        for (const DeviceRecord &record : m_records) {
            keys.append(keyOf(record));
        }
        keys.sort();
        return keys;
    }

    /// The record under a key; null if there is none.
    const DeviceRecord *find(const QString &key) const
    {
        const int at = positionOf(key);
        return at < 0 ? nullptr : &m_records.at(size_t(at));
    }

    std::vector<Event> events;
    Tally tally;

private:
    int positionOf(const QString &key) const
    {
        for (int i = 0; i < int(m_records.size()); ++i) {
            if (keyOf(m_records.at(size_t(i))) == key) {
                return i;
            }
        }
        return -1;
    }

    bool take(const QString &key)
    {
        const int at = positionOf(key);
        if (at >= 0) {
            m_records.erase(m_records.begin() + at);
        }
        return at >= 0;
    }

    static QString keyOf(const EndpointRecord &endpoint)
    {
        if (isFilled(endpoint.id)) {
            return QStringLiteral("endpoint-id:%1").arg(normalized(endpoint.id));
        }
        if (isFilled(endpoint.url)) {
            return QStringLiteral("endpoint-url:%1").arg(normalized(endpoint.url));
        }
        return isFilled(endpoint.protocol) && isFilled(endpoint.label)
                   ? QStringLiteral("endpoint-label:%1:%2")
                         .arg(normalized(endpoint.protocol), normalized(endpoint.label))
                   : QString();
    }

    /// The best identity that the record has.
    static QString keyOf(const DeviceRecord &record)
    {
        QStringList identities;
        if (isFilled(record.id)) {
            identities << QStringLiteral("device-id:%1").arg(normalized(record.id));
        }
        if (isFilled(record.serial)) {
            identities << QStringLiteral("device-serial:%1:%2")
                              .arg(normalized(record.vendor), normalized(record.serial));
        }
        if (isFilled(record.hostname)) {
            identities << QStringLiteral("device-host:%1").arg(normalized(record.hostname));
        }
        for (const QString &address : record.addresses.mid(0, 1)) {
            identities << QStringLiteral("device-address:%1").arg(normalized(address));
        }
        for (const EndpointRecord &endpoint : record.endpoints) {
            const QString key = keyOf(endpoint);
            if (!key.isEmpty()) {
                identities << QStringLiteral("device-endpoint:%1").arg(key);
            }
        }
        return identities.value(0);
    }

    static void fillTimes(DeviceRecord &record, const QDateTime &now)
    {
        for (QDateTime *time : {&record.firstSeen, &record.lastSeen}) {
            *time = time->isValid() ? *time : now;
        }
        record.lastChanged = record.lastChanged.isValid() ? record.lastChanged : record.lastSeen;
    }

    /// Where the texts are filled on both sides, the vendor decides, or else the model.
    static bool sameMaker(const DeviceRecord &a, const DeviceRecord &b)
    {
        for (const auto field : {&DeviceRecord::vendor, &DeviceRecord::model}) {
            if (isFilled(a.*field) && isFilled(b.*field)) {
                return agree(a.*field, b.*field);
            }
        }
        return true;
    }

    static bool isSameDevice(const DeviceRecord &a, const DeviceRecord &b)
    {
        bool isSame = agree(a.id, b.id) || agree(a.hostname, b.hostname);
        isSame = isSame || (agree(a.serial, b.serial) && sameMaker(a, b));
        for (const EndpointRecord &mine : a.endpoints) {
            for (const EndpointRecord &theirs : b.endpoints) {
                isSame = isSame || agree(mine.id, theirs.id);
            }
        }
        return isSame;
    }

    /// The record under the very key, or else the one with the lowest key of those that are the same
    /// device; negative if it is a new one.
    int positionOf(const DeviceRecord &incoming, const QString &key)
    {
        int found = positionOf(key);
        if (found >= 0) {
            return found;
        }
        int matches = 0;
        for (int i = 0; i < int(m_records.size()); ++i) {
            const DeviceRecord &record = m_records.at(size_t(i));
            if (isSameDevice(record, incoming)) {
                ++matches;
                found = found < 0 || keyOf(record) < keyOf(m_records.at(size_t(found))) ? i : found;
            }
        }
        tally.ambiguous += matches > 1 ? 1 : 0;
        return found;
    }

    /// Takes over those of the fields that the report fills.
    template<typename Record, size_t Count>
    static void takeFilled(Record &record, const Record &report,
                           const std::array<QString Record::*, Count> &fields)
    {
        for (const auto field : fields) {
            if (isFilled(report.*field)) {
                record.*field = report.*field;
            }
        }
    }

    /// Media flows both ways as soon as each way was reported once.
    static Direction united(Direction a, Direction b)
    {
        const int flows = (flowsOf(a) | flowsOf(b));
        if (flows != 0) {
            return Direction(flows);
        }
        return a == Direction::unknown ? b : a;
    }

    static int flowsOf(Direction direction)
    {
        return direction == Direction::controlOnly ? 0 : int(direction);
    }

    static void mergeEndpoint(EndpointRecord &endpoint, const EndpointRecord &report)
    {
        takeFilled(endpoint, report,
                   std::array{&EndpointRecord::id, &EndpointRecord::label, &EndpointRecord::protocol,
                              &EndpointRecord::url, &EndpointRecord::transport});
        endpoint.direction = united(endpoint.direction, report.direction);
        endpoint.mediaKinds = MediaKinds(endpoint.mediaKinds | report.mediaKinds);
        for (const QString &key : report.metadata.keys()) {
            endpoint.metadata[key] = report.metadata[key];
        }
        if (report.lastSeen.isValid() &&
            !(endpoint.lastSeen.isValid() && endpoint.lastSeen > report.lastSeen)) {
            endpoint.lastSeen = report.lastSeen;
        }
    }

    static DeviceRecord merged(DeviceRecord record, const DeviceRecord &report)
    {
        takeFilled(record, report,
                   std::array{&DeviceRecord::id, &DeviceRecord::displayName, &DeviceRecord::vendor,
                              &DeviceRecord::model, &DeviceRecord::serial, &DeviceRecord::firmware,
                              &DeviceRecord::hostname, &DeviceRecord::provider, &DeviceRecord::protocol});
        for (const QString &address : report.addresses) {
            const bool isKnown =
                std::any_of(record.addresses.cbegin(), record.addresses.cend(),
                            [&](const QString &known) { return known.toLower() == address.toLower(); });
            if (!isKnown) {
                record.addresses += address;
            }
        }
        for (const EndpointRecord &endpoint : report.endpoints) {
            int at = record.endpoints.size() - 1;
            while (at >= 0 &&
                   (keyOf(endpoint).isEmpty() || keyOf(record.endpoints.at(at)) != keyOf(endpoint))) {
                --at;
            }
            if (at < 0) {
                record.endpoints += endpoint;
            } else {
                mergeEndpoint(record.endpoints[at], endpoint);
            }
        }
        for (const QString &key : report.protocolData.keys()) {
            record.protocolData[key] = report.protocolData[key];
        }
        record.direction = united(record.direction, report.direction);
        record.mediaKinds = MediaKinds(record.mediaKinds | report.mediaKinds);
        record.requiresAuth |= report.requiresAuth;
        record.online = report.online;
        record.ttlSeconds = report.ttlSeconds > 0 ? report.ttlSeconds : record.ttlSeconds;
        record.firstSeen = std::min(record.firstSeen, report.firstSeen);
        record.lastSeen = std::max(record.lastSeen, report.lastSeen);
        return record;
    }

    std::vector<DeviceRecord> m_records; // in no particular order
};

/// Reports out of small pools, so that they meet again in all ways.
class Reports
{
public:
    explicit Reports(quint32 seed) : m_engine(seed) {}

    /// A number from 0 to count - 1. The distributions of the standard library are not the same
    /// everywhere, the engine is.
    int below(int count) { return int(m_engine() % quint32(count)); }

    bool oneIn(int count) { return below(count) == 0; }

    QDateTime time()
    {
        const QDateTime begin(QDate(2020, 5, 1), QTime(12, 0), Qt::UTC);
        return begin.addSecs(m_elapsedSeconds + below(60));
    }

    void passTime() { m_elapsedSeconds += below(40); }

    /// A new report, or now and then the last one once more.
    DeviceRecord next()
    {
        if (!oneIn(6)) {
            m_last = anyRecord();
        }
        return m_last;
    }

private:
    DeviceRecord anyRecord()
    {
        DeviceRecord record;
        record.id = oneOf({"", "", "", "", " ", "cam", " CAM ", "mic", "tv", "\u0130d", "i\u0307D"});
        record.serial = oneOf({"", "", "", "S1", "s1 ", "S2", "\u212a3", "k3", "\t"});
        record.vendor = oneOf({"", "", "Acme", "ACME", "Other", " "});
        record.model = oneOf({"", "", "One", "one ", "Two"});
        record.hostname = oneOf({"", "", "", "cam.local", "CAM.local", "mic.local", "tv.local", "  "});
        record.displayName = oneOf({"", "Camera", "camera", "Microphone"});
        record.firmware = oneOf({"", "1", "2"});
        record.provider = oneOf({"", "mdns", "ssdp"});
        record.protocol = oneOf({"", "upnp", "ndi"});
        for (int count = below(3); count > 0; --count) {
            record.addresses +=
                oneOf({"10.0.0.1", "10.0.0.2", "10.0.0.3", "FE80::1", "fe80::1", " 10.0.0.1"});
        }
        // Now and then more than the registry looks for one by one.
        for (int count = oneIn(50) ? 15 + below(5) : below(3); count > 0; --count) {
            record.endpoints += endpoint();
        }
        record.direction = direction();
        record.mediaKinds = mediaKinds();
        if (oneIn(3)) {
            record.protocolData.insert(oneOf({"a", "b"}), below(3));
        }
        record.requiresAuth = oneIn(8);
        record.online = !oneIn(8);
        record.ttlSeconds = std::array{-1, 0, 5, 30, 60}.at(size_t(below(5)));
        record.firstSeen = timeOrNone();
        record.lastSeen = timeOrNone();
        record.lastChanged = timeOrNone();
        return record;
    }

    QString oneOf(std::initializer_list<const char *> pool)
    {
        return QString::fromUtf8(*(pool.begin() + below(int(pool.size()))));
    }

    Direction direction() { return Direction(below(5)); }
    MediaKinds mediaKinds() { return MediaKinds(QFlag(below(16))); }
    QDateTime timeOrNone() { return oneIn(10) ? QDateTime() : time(); }

    EndpointRecord endpoint()
    {
        EndpointRecord endpoint;
        endpoint.id = oneOf({"", "", "", "", "", "", "cam:1", "CAM:1", "mic:1", "tv:1", " "});
        endpoint.url = oneOf({"", "", "http://a/", "HTTP://A/ ", "http://b/"});
        endpoint.protocol = oneOf({"", "upnp", "UPNP"});
        endpoint.label = oneOf({"", "Web", "web "});
        endpoint.transport = oneOf({"", "RTP"});
        endpoint.direction = direction();
        endpoint.mediaKinds = mediaKinds();
        if (oneIn(3)) {
            endpoint.metadata.insert(oneOf({"a", "b"}), below(3));
        }
        endpoint.lastSeen = timeOrNone();
        return endpoint;
    }

    std::mt19937 m_engine;
    int m_elapsedSeconds = 0;
    DeviceRecord m_last;
};

int stepsOfEachSeed()
{
    return std::max(defaultSteps, qEnvironmentVariableIntValue("SONDRIX_MODEL_STEPS"));
}

} // namespace

class DeviceRegistryModelTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void followsTheModel_data();
    void followsTheModel();

private:
    void addStep();
    void removeStep();
    void expireStep();
    void compareState();

    std::unique_ptr<DeviceRegistry> m_registry;
    std::unique_ptr<Reports> m_reports;
    Model m_model;
    std::vector<Event> m_events;
};

void DeviceRegistryModelTest::init()
{
    m_model = Model();
    m_events.clear();
    m_registry = std::make_unique<DeviceRegistry>();
    connect(m_registry.get(), &DeviceRegistry::deviceAdded, this, [this](const DeviceRecord &record) {
        m_events.push_back({QStringLiteral("added"), Sondrix::deviceStableKey(record), record});
    });
    connect(m_registry.get(), &DeviceRegistry::deviceUpdated, this, [this](const DeviceRecord &record) {
        m_events.push_back({QStringLiteral("updated"), Sondrix::deviceStableKey(record), record});
    });
    connect(m_registry.get(), &DeviceRegistry::deviceRemoved, this, [this](const QString &key) {
        m_events.push_back({QStringLiteral("removed"), key, DeviceRecord()});
    });
}

void DeviceRegistryModelTest::followsTheModel_data()
{
    QTest::addColumn<quint32>("seed");
    for (const quint32 seed : {1U, 2U, 20U, 300U, 4000U, 50000U}) {
        QTest::addRow("seed %u", seed) << seed;
    }
}

void DeviceRegistryModelTest::followsTheModel()
{
    QFETCH(quint32, seed);
    m_reports = std::make_unique<Reports>(seed);
    const int steps = stepsOfEachSeed();
    for (int step = 0; step < steps; ++step) {
        m_reports->passTime();
        const int kind = m_reports->below(10);
        if (kind == 0) {
            removeStep();
        } else if (kind == 1) {
            expireStep();
        } else {
            addStep();
        }
        if (!QTest::currentTestFailed()) {
            compareState();
        }
        if (QTest::currentTestFailed()) {
            qWarning("seed %u, step %d of %d", seed, step, steps);
            return;
        }
    }

    // The sequences are of use only as long as they lead to all of it.
    const Tally tally = m_model.tally;
    QVERIFY(tally.inserted > 0);
    QVERIFY(tally.unchanged > 0);
    QVERIFY(tally.changed > 0);
    QVERIFY(tally.moved > 0);
    QVERIFY(tally.absorbed > 0);
    QVERIFY(tally.ambiguous > 0);
    QVERIFY(tally.removed > 0);
    QVERIFY(tally.expired > 0);
}

/// The registry reads the clock, so that the model tries each moment that the call may have seen.
void DeviceRegistryModelTest::addStep()
{
    const DeviceRecord report = m_reports->next();
    const QDateTime before = QDateTime::currentDateTimeUtc();
    const QString key = m_registry->addOrUpdate(report);
    const QDateTime after = QDateTime::currentDateTimeUtc();

    for (QDateTime now = before; now <= after; now = now.addMSecs(1)) {
        Model candidate = m_model;
        const QString expectedKey = candidate.add(report, now);
        if (now == after || areEqual(m_events, candidate.events)) {
            QCOMPARE(key, expectedKey);
            m_model = candidate;
            return;
        }
    }
    QFAIL("the clock was set back");
}

void DeviceRegistryModelTest::removeStep()
{
    const QStringList keys = m_model.keys();
    const bool isKnown = !keys.isEmpty() && !m_reports->oneIn(5);
    const QString key = isKnown ? keys.at(m_reports->below(keys.size())) : QStringLiteral("device-id:CAM");
    QCOMPARE(m_registry->remove(key), m_model.remove(key));
    QCOMPARE(m_registry->record(key).firstSeen, QDateTime());
}

void DeviceRegistryModelTest::expireStep()
{
    QDateTime now = m_reports->oneIn(10) ? QDateTime() : m_reports->time();
    if (m_reports->oneIn(3)) {
        now = now.toOffsetFromUtc(secondsPerHour);
    }
    QCOMPARE(m_registry->expireOnlineRecords(now), m_model.expire(now));
}

void DeviceRegistryModelTest::compareState()
{
    QVERIFY2(areEqual(m_events, m_model.events), "the signals differ");
    m_events.clear();
    m_model.events.clear();

    QStringList keys;
    bool areRecordsEqual = true;
    m_registry->visitRecords([&](const QString &key, const DeviceRecord &record) {
        keys.append(key);
        const DeviceRecord *expected = m_model.find(key);
        areRecordsEqual = areRecordsEqual && Sondrix::deviceStableKey(record) == key;
        areRecordsEqual = areRecordsEqual && expected != nullptr && areEqual(record, *expected);
    });
    QCOMPARE(keys, m_model.keys());
    QVERIFY2(areRecordsEqual, "a record differs, or does not stand under its own key");
    QVERIFY(!keys.contains(QString()));
    QVERIFY(std::adjacent_find(keys.cbegin(), keys.cend(), std::greater_equal<>()) == keys.cend());
    const QList<DeviceRecord> records = m_registry->records();
    QVERIFY(std::equal(records.cbegin(), records.cend(), keys.cbegin(), keys.cend(),
                       [](const DeviceRecord &record, const QString &key) {
                           return Sondrix::deviceStableKey(record) == key;
                       }));
}

QTEST_GUILESS_MAIN(DeviceRegistryModelTest)

#include "device_registry_model_test.moc"
