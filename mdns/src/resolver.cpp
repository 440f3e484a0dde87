#include <algorithm>
#include <utility>

#include <QMetaObject>
#include <QVector>

#include "querier.h"
#include <qmdnsengine/cache.h>
#include <qmdnsengine/resolver.h>

namespace QMdnsEngine
{

namespace
{

// Far more than a host has; it bounds what a flood of invented addresses can cost.
constexpr int maximumAddresses = 256;

} // namespace

class ResolverPrivate final : public Listener
{
public:
    ResolverPrivate(Resolver *resolver, AbstractServer *server, const QByteArray &name, Cache *cache);
    ~ResolverPrivate() override;

    void recordReceived(const Record &record) override;
    void recordExpired(const Record &record) override;
    void changesEnded() override;

private:
    Resolver *const m_resolver;
    const QByteArray m_name;
    const QPointer<Querier> m_querier;
    QVector<QHostAddress> m_known;
    QVector<QHostAddress> m_unreported;
};

ResolverPrivate::ResolverPrivate(Resolver *resolver, AbstractServer *server, const QByteArray &name,
                                 Cache *cache)
    : Listener(resolver), m_resolver(resolver), m_name(name), m_querier(Querier::of(server, cache))
{
    m_querier->watch(this, m_name, Querier::Interest::Host);

    QList<Record> records;
    cache->lookupRecords(m_name, A, records);
    cache->lookupRecords(m_name, AAAA, records);
    if (!records.isEmpty()) {
        for (const Record &record : qAsConst(records)) {
            recordReceived(record);
        }
        // Nobody can be connected before the constructor returns.
        QMetaObject::invokeMethod(
            this, [this] { changesEnded(); }, Qt::QueuedConnection);
    }

    m_querier->ask(m_name, A);
    m_querier->ask(m_name, AAAA);
    m_querier->sendNow();
}

ResolverPrivate::~ResolverPrivate()
{
    if (!m_querier.isNull()) {
        m_querier->unwatch(this, m_name, Querier::Interest::Host);
    }
}

void ResolverPrivate::recordReceived(const Record &record)
{
    const bool isAddress = record.type() == A || record.type() == AAAA;
    if (isAddress && m_known.size() < maximumAddresses && !m_known.contains(record.address())) {
        m_known.append(record.address());
        m_unreported.append(record.address());
    }
}

void ResolverPrivate::recordExpired(const Record &)
{
    // An address goes out once, also if it comes back.
}

void ResolverPrivate::changesEnded()
{
    QVector<QHostAddress> addresses = std::exchange(m_unreported, {});
    std::stable_partition(addresses.begin(), addresses.end(), [](const QHostAddress &address) {
        return address.protocol() == QAbstractSocket::IPv4Protocol;
    });
    // A slot may delete the resolver.
    const QPointer<Resolver> resolver = m_resolver;
    for (const QHostAddress &address : qAsConst(addresses)) {
        if (resolver.isNull()) {
            return;
        }
        emit resolver->resolved(address);
    }
}

Resolver::Resolver(AbstractServer *server, const QByteArray &name, Cache *cache, QObject *parent)
    : QObject(parent)
    , m_private(new ResolverPrivate(this, server, name, cache != nullptr ? cache : new Cache(this)))
{
}

Resolver::~Resolver() = default;

} // namespace QMdnsEngine
