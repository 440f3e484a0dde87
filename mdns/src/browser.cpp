#include <algorithm>
#include <list>
#include <map>
#include <utility>

#include <QElapsedTimer>
#include <QMetaObject>
#include <QTimer>

#include "names.h"
#include "querier.h"
#include <qmdnsengine/browser.h>
#include <qmdnsengine/cache.h>

namespace QMdnsEngine
{

namespace
{

constexpr int queryIntervalMs = 60000;

// A question is not repeated within one second (RFC 6762, 5.2).
constexpr qint64 minimumIntervalMs = 1000;

// Far more than a network has of one type; it bounds what a flood of invented names can cost.
constexpr std::size_t maximumInstances = 4096;

} // namespace

class BrowserPrivate final : public Listener
{
public:
    BrowserPrivate(Browser *browser, AbstractServer *server, const QByteArray &type, Cache *cache);
    ~BrowserPrivate() override;

    void recordReceived(const Record &record) override;
    void recordExpired(const Record &record) override;
    void typeFades() override;
    void changesEnded() override;

private:
    struct Instance {
        QByteArray fullName;
        Service service;
        bool hasHost = false;       // an SRV record is known
        bool hasAttributes = false; // a TXT record is known
        bool isAskedFor = false;
        bool isReported = false;
        bool hasChanged = false; // since it was reported last
        bool isTouched = false;
    };
    using Instances = std::list<Instance>; // the one found longest ago first

    void askForInstances();
    void addInstance(const QByteArray &fullName);
    void dropInstance(Instances::iterator instance);
    void takeHost(Instance *instance, const Record &record);
    void takeAttributes(Instance *instance, const Record &record);
    void loseHost(Instance *instance, const Record &record);
    void watchHost(const Instance &instance);
    void unwatchHost(const Instance &instance);
    void touch(Instance *instance);

    Browser *const m_browser;
    const QByteArray m_type;
    Cache *const m_cache;
    const QPointer<Querier> m_querier;
    QTimer m_timer;
    QElapsedTimer m_sinceQuestion;
    Instances m_instances;
    std::map<QByteArray, Instances::iterator> m_instancesByName; // folded full names
    QVector<QByteArray> m_touched;                               // folded full names
    QVector<Service> m_removed;                                  // still to be reported
};

BrowserPrivate::BrowserPrivate(Browser *browser, AbstractServer *server, const QByteArray &type, Cache *cache)
    : Listener(browser)
    , m_browser(browser)
    , m_type(type)
    , m_cache(cache)
    , m_querier(Querier::of(server, cache))
{
    m_querier->watch(this, m_type, Querier::Interest::ServiceType);

    QList<Record> knownInstances;
    if (m_cache->lookupRecords(m_type, PTR, knownInstances)) {
        for (const Record &record : qAsConst(knownInstances)) {
            addInstance(record.target());
        }
        // Nobody can be connected before the constructor returns.
        const auto report = [this] {
            if (!m_querier.isNull()) {
                const Querier::Gathering gathering(m_querier);
                changesEnded();
            }
        };
        QMetaObject::invokeMethod(this, report, Qt::QueuedConnection);
    }

    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &BrowserPrivate::askForInstances);
    askForInstances();
}

BrowserPrivate::~BrowserPrivate()
{
    if (m_querier.isNull()) {
        return;
    }
    for (const Instance &instance : m_instances) {
        unwatchHost(instance);
        m_querier->unwatch(this, instance.fullName, Querier::Interest::Instance);
    }
    m_querier->unwatch(this, m_type, Querier::Interest::ServiceType);
}

void BrowserPrivate::askForInstances()
{
    m_timer.start(queryIntervalMs);
    m_sinceQuestion.start();
    if (!m_querier.isNull()) {
        m_querier->askForInstances(m_type);
    }
}

void BrowserPrivate::typeFades()
{
    // Many records fade at about the same time; one question serves them all.
    const int wait = int(std::max<qint64>(minimumIntervalMs - m_sinceQuestion.elapsed(), 0));
    if (m_timer.remainingTime() > wait) {
        m_timer.start(wait);
    }
}

void BrowserPrivate::recordReceived(const Record &record)
{
    if (record.type() == PTR) {
        addInstance(record.target());
        return;
    }
    const auto entry = m_instancesByName.find(foldedName(record.name()));
    if (entry == m_instancesByName.end()) {
        return; // an address or an NSEC record of a host, which only has to be in the cache
    }
    if (record.type() == SRV) {
        takeHost(&*entry->second, record);
    } else if (record.type() == TXT) {
        takeAttributes(&*entry->second, record);
    }
}

void BrowserPrivate::recordExpired(const Record &record)
{
    const auto entry =
        m_instancesByName.find(foldedName(record.type() == PTR ? record.target() : record.name()));
    if (entry == m_instancesByName.end()) {
        return;
    }
    if (record.type() == PTR) {
        dropInstance(entry->second);
    } else if (record.type() == SRV) {
        loseHost(&*entry->second, record);
    }
    // Without its TXT record a service is still there, and what it said last is still the best guess.
}

void BrowserPrivate::changesEnded()
{
    using Signal = void (Browser::*)(const Service &);
    QVector<std::pair<Signal, Service>> reports;
    const QVector<Service> removed = std::exchange(m_removed, {});
    for (const Service &service : removed) {
        reports.append({&Browser::serviceRemoved, service});
    }
    const QVector<QByteArray> touched = std::exchange(m_touched, {});
    for (const QByteArray &name : touched) {
        const auto entry = m_instancesByName.find(name);
        if (entry == m_instancesByName.end()) {
            continue;
        }
        Instance &instance = *entry->second;
        instance.isTouched = false;
        if (!instance.isAskedFor) {
            instance.isAskedFor = true;
            if (!instance.hasHost) {
                m_querier->ask(instance.fullName, SRV);
            }
            if (!instance.hasAttributes) {
                m_querier->ask(instance.fullName, TXT);
            }
        }
        if (instance.hasHost && (!instance.isReported || instance.hasChanged)) {
            const Signal signal = instance.isReported ? &Browser::serviceUpdated : &Browser::serviceAdded;
            reports.append({signal, instance.service});
            instance.isReported = true;
            instance.hasChanged = false;
        }
    }
    // From here on a slot may delete the browser.
    const QPointer<Browser> browser = m_browser;
    for (const auto &report : qAsConst(reports)) {
        if (browser.isNull()) {
            return;
        }
        emit(browser.data()->*report.first)(report.second);
    }
}

void BrowserPrivate::addInstance(const QByteArray &fullName)
{
    const QByteArray folded = foldedName(fullName);
    if (m_instancesByName.count(folded) > 0) {
        return;
    }
    // The instance label ends at the first dot. If it holds one itself, what is left is not the type.
    const int dot = fullName.indexOf('.');
    const QByteArray type = fullName.mid(dot + 1);
    if (dot < 0 || foldedName(type) != foldedName(m_type)) {
        return;
    }
    if (m_instances.size() == maximumInstances) {
        dropInstance(m_instances.begin());
    }
    Instance instance;
    instance.fullName = fullName;
    instance.service.setName(fullName.left(dot));
    instance.service.setType(type);
    const auto added = m_instances.insert(m_instances.end(), instance);
    m_instancesByName.emplace(folded, added);
    m_querier->watch(this, fullName, Querier::Interest::Instance);

    // Another browser of the same type may have asked already.
    Record record;
    if (m_cache->lookupRecord(fullName, SRV, record)) {
        takeHost(&*added, record);
    }
    if (m_cache->lookupRecord(fullName, TXT, record)) {
        takeAttributes(&*added, record);
    }
    touch(&*added);
}

void BrowserPrivate::dropInstance(Instances::iterator instance)
{
    if (instance->isReported) {
        m_removed.append(instance->service);
    }
    unwatchHost(*instance);
    m_querier->unwatch(this, instance->fullName, Querier::Interest::Instance);
    m_instancesByName.erase(foldedName(instance->fullName));
    m_instances.erase(instance);
}

void BrowserPrivate::takeHost(Instance *instance, const Record &record)
{
    Service &service = instance->service;
    if (instance->hasHost && foldedName(service.hostname()) == foldedName(record.target()) &&
        service.port() == record.port()) {
        return;
    }
    unwatchHost(*instance);
    service.setHostname(record.target());
    service.setPort(record.port());
    instance->hasHost = true;
    instance->hasChanged = true;
    // The addresses often come along and are wanted next.
    watchHost(*instance);
    touch(instance);
}

void BrowserPrivate::takeAttributes(Instance *instance, const Record &record)
{
    instance->hasChanged = instance->hasChanged || instance->service.attributes() != record.attributes();
    instance->hasAttributes = true;
    instance->service.setAttributes(record.attributes());
    touch(instance);
}

void BrowserPrivate::loseHost(Instance *instance, const Record &record)
{
    if (!instance->hasHost || foldedName(instance->service.hostname()) != foldedName(record.target()) ||
        instance->service.port() != record.port()) {
        return;
    }
    Record other;
    if (m_cache->lookupRecord(instance->fullName, SRV, other)) {
        takeHost(instance, other);
        return;
    }
    unwatchHost(*instance);
    instance->hasHost = false;
    if (instance->isReported) {
        instance->isReported = false;
        m_removed.append(instance->service);
    }
}

void BrowserPrivate::watchHost(const Instance &instance)
{
    if (instance.hasHost) {
        m_querier->watch(this, instance.service.hostname(), Querier::Interest::Host);
    }
}

void BrowserPrivate::unwatchHost(const Instance &instance)
{
    if (instance.hasHost) {
        m_querier->unwatch(this, instance.service.hostname(), Querier::Interest::Host);
    }
}

void BrowserPrivate::touch(Instance *instance)
{
    if (!instance->isTouched) {
        instance->isTouched = true;
        m_touched.append(foldedName(instance->fullName));
    }
}

Browser::Browser(AbstractServer *server, const QByteArray &type, Cache *cache, QObject *parent)
    : QObject(parent)
    , m_private(new BrowserPrivate(this, server, type, cache != nullptr ? cache : new Cache(this)))
{
}

Browser::~Browser() = default;

} // namespace QMdnsEngine
