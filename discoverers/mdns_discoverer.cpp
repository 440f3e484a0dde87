#include "discoverers/mdns_discoverer.h"

#include <algorithm>
#include <set>
#include <utility>

#include <QEventLoop>
#include <QMap>
#include <QSet>
#include <QTimer>

#include "discoverers/mdns_service_mapping.h"
#include "discoverers/text.h"
#include <qmdnsengine/browser.h>
#include <qmdnsengine/cache.h>
#include <qmdnsengine/resolver.h>
#include <qmdnsengine/server.h>
#include <qmdnsengine/service.h>

namespace Sondrix
{

namespace
{

constexpr int defaultTimeoutMs = 1200;
constexpr int minimumTimeoutMs = 100;

/// What one scan has heard so far. A service counts once by its name and type; the last report of
/// it wins. Ordered containers throughout: their cost does not depend on the names that somebody
/// picks.
class ServiceCollection
{
public:
    /// Takes over a service's data. Addresses that are known stay. Returns false, and takes nothing,
    /// for a new service when there are as many as a scan collects.
    bool update(const QMdnsEngine::Service &service)
    {
        const QString name = textFromUtf8(service.name());
        const QString type = textFromUtf8(service.type());
        const QString key = name + QLatin1Char('|') + type;
        auto place = m_entries.find(key);
        if (place == m_entries.end()) {
            if (m_entries.size() >= MdnsDiscoverer::maximumServices) {
                return false;
            }
            place = m_entries.insert(key, MdnsServiceEntry());
        }
        MdnsServiceEntry &entry = place.value();
        m_keysByHost.erase({entry.hostname, key});
        entry.name = name;
        entry.type = type;
        entry.hostname = textFromUtf8(service.hostname());
        entry.port = service.port();
        entry.attributes.clear();
        const QMap<QByteArray, QByteArray> attributes = service.attributes();
        for (auto it = attributes.cbegin(); it != attributes.cend(); ++it) {
            entry.attributes.insert(textFromUtf8(it.key()), textFromUtf8(it.value()));
        }
        m_keysByHost.insert({entry.hostname, key});
        return true;
    }

    /// Adds an address to every service of the host that is collected by now.
    void addAddress(const QString &hostname, const QHostAddress &address)
    {
        for (auto it = m_keysByHost.lower_bound({hostname, QString()});
             it != m_keysByHost.end() && it->first == hostname; ++it) {
            QList<QHostAddress> &addresses = m_entries[it->second].addresses;
            if (!addresses.contains(address)) {
                addresses.append(address);
            }
        }
    }

    QList<DeviceRecord> records(const QList<MdnsServiceType> &catalogue) const
    {
        QList<DeviceRecord> records;
        for (const MdnsServiceEntry &entry : m_entries) {
            records.append(recordFromService(entry, catalogue));
        }
        return records;
    }

private:
    QMap<QString, MdnsServiceEntry> m_entries;          // by name, a vertical bar and type
    std::set<std::pair<QString, QString>> m_keysByHost; // host name and key of each entry
};

} // namespace

MdnsDiscoverer::MdnsDiscoverer(QObject *parent)
    : IDeviceDiscoverer(parent), m_services(defaultMdnsServices()), m_timeoutMs(defaultTimeoutMs)
{
}

QString MdnsDiscoverer::providerName() const
{
    return QStringLiteral("mdns");
}

bool MdnsDiscoverer::isAvailable() const
{
    return true;
}

QList<DeviceRecord> MdnsDiscoverer::scan(QString *error)
{
    if (error != nullptr) {
        error->clear();
    }
    QMdnsEngine::Server server(nullptr);
    QMdnsEngine::Cache cache(nullptr);
    // The browsers and resolvers are children of the loop, so that they go before what they use.
    QEventLoop loop;
    ServiceCollection collection;
    QSet<QString> lookedUpHosts;

    const auto collect = [&](const QMdnsEngine::Service &service) {
        if (!collection.update(service)) {
            return;
        }
        const QString hostname = textFromUtf8(service.hostname());
        // A service that moves from host to host without end must not be followed without end.
        if (hostname.isEmpty() || lookedUpHosts.contains(hostname) ||
            lookedUpHosts.size() >= maximumServices) {
            return;
        }
        lookedUpHosts.insert(hostname);
        const auto *resolver = new QMdnsEngine::Resolver(&server, service.hostname(), &cache, &loop);
        // Resolver and collection live as long as this call.
        QObject::connect(
            resolver, &QMdnsEngine::Resolver::resolved, &loop,
            [&collection, hostname](const QHostAddress &address) { // clazy:exclude=lambda-in-connect
                collection.addAddress(hostname, address);
            });
    };
    for (const MdnsServiceType &row : qAsConst(m_services)) {
        const auto *browser = new QMdnsEngine::Browser(&server, row.serviceType.toUtf8(), &cache, &loop);
        QObject::connect(browser, &QMdnsEngine::Browser::serviceAdded, &loop, collect);
        QObject::connect(browser, &QMdnsEngine::Browser::serviceUpdated, &loop, collect);
    }

    QTimer timer;
    timer.setSingleShot(true);
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
    timer.start(m_timeoutMs);
    loop.exec();

    return collection.records(m_services);
}

void MdnsDiscoverer::setServices(const QList<MdnsServiceType> &services)
{
    m_services = services;
}

void MdnsDiscoverer::setTimeoutMs(int ms)
{
    m_timeoutMs = std::max(minimumTimeoutMs, ms);
}

QList<DeviceRecord> scanMdnsServices(const QList<MdnsServiceType> &services, int timeoutMs, QString *error)
{
    MdnsDiscoverer mdns;
    mdns.setTimeoutMs(timeoutMs);
    mdns.setServices(services);
    QList<DeviceRecord> kept;
    const QList<DeviceRecord> records = mdns.scan(error);
    for (const DeviceRecord &record : records) {
        const bool isWanted =
            std::any_of(services.cbegin(), services.cend(),
                        [&](const MdnsServiceType &row) { return row.protocol == record.protocol; });
        if (isWanted) {
            kept.append(record);
        }
    }
    return kept;
}

} // namespace Sondrix
