// One run of the multicast DNS engine without a network. An input is a row of steps: a letter and
// what that step needs (see Step). What is missing at the end counts as zero.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include <QCoreApplication>
#include <QElapsedTimer>

#include "fuzz/fuzz_assert.h"
#include "fuzz/virtual_clock.h"
#include "names.h"
#include <qmdnsengine/abstractserver.h>
#include <qmdnsengine/browser.h>
#include <qmdnsengine/cache.h>
#include <qmdnsengine/dns.h>
#include <qmdnsengine/resolver.h>

using namespace QMdnsEngine;

namespace
{

// The bounds that the engine keeps to.
constexpr std::size_t maximumAddresses = 256;
constexpr int maximumMessageSize = 1400;
constexpr qint64 graceMs = 1000;
constexpr int maximumFadings = 4;

// Enough for objects that share names, few enough to be quick.
constexpr std::size_t browserSlots = 4;
constexpr std::size_t resolverSlots = 4;

const std::array<QByteArray, 3> serviceTypes = {"_http._tcp.local.", "_ndi._tcp.local.", "_HTTP._tcp.local."};
const std::array<QByteArray, 3> hostNames = {"cam.local.", "CAM.local.", "mixer.local."};

enum class Step : char {
    Packet = 'p',       ///< two bytes of length, then the packet
    Milliseconds = 'm', ///< two bytes: this time passes
    Seconds = 's',      ///< two bytes
    Browser = 'b',      ///< a byte for the slot, one for the service type
    NoBrowser = 'B',    ///< a byte for the slot
    Resolver = 'r',     ///< a byte for the slot, one for the host name
    NoResolver = 'R',   ///< a byte for the slot
    Trap = 't',         ///< a byte: what the next signal's slot deletes
    NoCache = 'c',
    NoServer = 'v',
};

/// Reads the input from its start to its end.
class Input
{
public:
    Input(const std::uint8_t *data, std::size_t size)
        : m_bytes(reinterpret_cast<const char *>(data), int(size))
    {
    }

    bool atEnd() const { return m_position == m_bytes.size(); }
    quint8 byte() { return atEnd() ? quint8(0) : quint8(m_bytes.at(m_position++)); }

    int twoBytes()
    {
        const int high = byte();
        return high << 8 | byte();
    }

    QByteArray bytes(int size)
    {
        const QByteArray result = m_bytes.mid(m_position, size);
        m_position += result.size();
        return result;
    }

private:
    const QByteArray m_bytes;
    int m_position = 0;
};

/// Takes what the engine sends, checks it and counts it.
class MemoryServer : public AbstractServer
{
public:
    explicit MemoryServer(int *timesSent) : m_timesSent(timesSent) {}

    void sendMessage(const Message &) override
    {
        // The engine is a client and answers nobody.
        FUZZ_ASSERT(false);
    }

    void sendMessageToAll(const Message &message) override
    {
        FUZZ_ASSERT(!message.isResponse());
        FUZZ_ASSERT(!message.queries().isEmpty() || !message.records().isEmpty());
        QByteArray packet;
        toPacket(message, packet);
        FUZZ_ASSERT(packet.size() <= maximumMessageSize);
        Message received;
        FUZZ_ASSERT(fromPacket(packet, received));
        FUZZ_ASSERT(received == message);
        ++*m_timesSent;
    }

private:
    int *const m_timesSent;
};

/// What a cache must hold, by the plain rules of RFC 6762, 10.
class CacheModel
{
public:
    void add(const Record &record)
    {
        Set &set = m_sets[{foldedName(record.name()), record.type()}];
        const QByteArray data = dataOf(record);
        const qint64 now = VirtualClock::now();
        if (record.ttl() > 0) {
            set[data] = {now, now + qint64(record.ttl()) * 1000, false};
        } else if (set.count(data) > 0) {
            letExpire(&set.at(data));
        }
        if (record.flushCache()) {
            for (auto &known : set) {
                if (now - known.second.heard > graceMs) {
                    letExpire(&known.second);
                }
            }
        }
    }

    /// Drops what is over by now and returns how many records that were.
    int expire()
    {
        int expired = 0;
        for (auto &entry : m_sets) {
            Set &set = entry.second;
            for (auto known = set.begin(); known != set.end();) {
                const bool isOver = known->second.expires <= VirtualClock::now();
                expired += isOver ? 1 : 0;
                known = isOver ? set.erase(known) : std::next(known);
            }
        }
        return expired;
    }

    void compareWith(const Cache &cache) const
    {
        for (const auto &[key, set] : m_sets) {
            QList<Record> records;
            FUZZ_ASSERT(cache.lookupRecords(key.first, key.second, records) == !set.empty());
            FUZZ_ASSERT(std::size_t(records.size()) == set.size());
            for (const Record &record : qAsConst(records)) {
                FUZZ_ASSERT(set.count(dataOf(record)) == 1);
            }
            const QList<Record> answers = cache.knownAnswers(key.first, key.second);
            FUZZ_ASSERT(answers.size() <= records.size());
            for (const Record &answer : answers) {
                FUZZ_ASSERT(answer.ttl() > 0);
            }
        }
    }

private:
    struct Known {
        qint64 heard;
        qint64 expires;
        bool leaves;
    };
    using Set = std::map<QByteArray, Known>;

    /// What makes it the same record when it comes again.
    static QByteArray dataOf(Record record)
    {
        record.setName(foldedName(record.name()));
        record.setTarget(foldedName(record.target()));
        record.setNextDomainName(foldedName(record.nextDomainName()));
        record.setTtl(0);
        record.setFlushCache(false);
        Message message;
        message.addRecord(record);
        QByteArray data;
        toPacket(message, data);
        return data;
    }

    static void letExpire(Known *known)
    {
        if (!known->leaves) {
            known->leaves = true;
            known->expires = std::min(known->expires, VirtualClock::now() + graceMs);
        }
    }

    std::map<std::pair<QByteArray, quint16>, Set> m_sets;
};

/// A cache that nobody watches, which takes every record, beside its model.
class CheckedCache
{
public:
    CheckedCache()
    {
        QObject::connect(&m_cache, &Cache::recordExpired, [this](const Record &) { ++m_expired; });
        QObject::connect(&m_cache, &Cache::shouldQuery, [this](const Record &) { ++m_faded; });
    }

    void add(const Record &record)
    {
        m_cache.addRecord(record);
        m_model.add(record);
        ++m_added;
    }

    void checkExpired()
    {
        m_expiredInModel += m_model.expire();
        FUZZ_ASSERT(m_expired == m_expiredInModel);
        FUZZ_ASSERT(m_faded <= maximumFadings * m_added);
    }

    void compare() const { m_model.compareWith(m_cache); }

private:
    Cache m_cache;
    CacheModel m_model;
    int m_added = 0;
    int m_expired = 0;
    int m_faded = 0;
    int m_expiredInModel = 0;
};

class Network;

/// A browser and the services that it has reported and not removed again.
class WatchedBrowser
{
public:
    WatchedBrowser(Network *network, const QByteArray &type);

    void drop() { m_browser.reset(); }

private:
    QByteArray keyOf(const Service &service) const;
    void added(const Service &service);
    void updated(const Service &service);
    void removed(const Service &service);

    Network *const m_network;
    const QByteArray m_type;
    std::map<QByteArray, QByteArray> m_reported; // folded full names with their spelling
    std::unique_ptr<Browser> m_browser;
};

/// A resolver and the addresses that it has reported.
class WatchedResolver
{
public:
    WatchedResolver(Network *network, const QByteArray &name);

    void drop() { m_resolver.reset(); }

private:
    void resolved(const QHostAddress &address);

    Network *const m_network;
    std::vector<QHostAddress> m_reported;
    std::unique_ptr<Resolver> m_resolver;
};

/// Everything that one input plays with.
class Network
{
public:
    Network();

    void run(Input *input);

    AbstractServer *server() const { return m_server.get(); }
    Cache *cache() const { return m_cache.get(); }

    /// Looks the host up as the scan of the program does.
    void lookUp(const QByteArray &hostname);

    /// Deletes what a trap has been set for, from within a slot.
    void springTrap();

private:
    void take(Step step, Input *input);
    void deliver(const QByteArray &packet);
    void hear(const Message &message);
    void pass(qint64 ms);
    void addBrowser(std::size_t slot, const QByteArray &type);
    void addResolver(std::size_t slot, const QByteArray &name);
    bool isWhole() const { return m_server != nullptr && m_cache != nullptr; }

    int m_timesSent = 0;
    std::unique_ptr<MemoryServer> m_server;
    std::unique_ptr<Cache> m_cache;
    CheckedCache m_checkedCache;
    std::array<std::unique_ptr<WatchedBrowser>, browserSlots> m_browsers;
    std::array<std::unique_ptr<WatchedResolver>, resolverSlots> m_resolvers;
    int m_trap = 0;
};

WatchedBrowser::WatchedBrowser(Network *network, const QByteArray &type)
    : m_network(network), m_type(type), m_browser(new Browser(network->server(), type, network->cache()))
{
    QObject::connect(m_browser.get(), &Browser::serviceAdded,
                     [this](const Service &service) { added(service); });
    QObject::connect(m_browser.get(), &Browser::serviceUpdated,
                     [this](const Service &service) { updated(service); });
    QObject::connect(m_browser.get(), &Browser::serviceRemoved,
                     [this](const Service &service) { removed(service); });
}

QByteArray WatchedBrowser::keyOf(const Service &service) const
{
    FUZZ_ASSERT(foldedName(service.type()) == foldedName(m_type));
    FUZZ_ASSERT(!service.name().isEmpty() && !service.name().contains('.'));
    return foldedName(service.name());
}

void WatchedBrowser::added(const Service &service)
{
    const bool isNew = m_reported.emplace(keyOf(service), service.name()).second;
    FUZZ_ASSERT(isNew);
    m_network->lookUp(service.hostname());
    m_network->springTrap();
}

void WatchedBrowser::updated(const Service &service)
{
    const auto known = m_reported.find(keyOf(service));
    FUZZ_ASSERT(known != m_reported.end());
    FUZZ_ASSERT(known->second == service.name());
    m_network->lookUp(service.hostname());
    m_network->springTrap();
}

void WatchedBrowser::removed(const Service &service)
{
    const auto known = m_reported.find(keyOf(service));
    FUZZ_ASSERT(known != m_reported.end());
    FUZZ_ASSERT(known->second == service.name());
    m_reported.erase(known);
    m_network->springTrap();
}

WatchedResolver::WatchedResolver(Network *network, const QByteArray &name)
    : m_network(network), m_resolver(new Resolver(network->server(), name, network->cache()))
{
    QObject::connect(m_resolver.get(), &Resolver::resolved,
                     [this](const QHostAddress &address) { resolved(address); });
}

void WatchedResolver::resolved(const QHostAddress &address)
{
    FUZZ_ASSERT(!address.isNull());
    FUZZ_ASSERT(std::find(m_reported.begin(), m_reported.end(), address) == m_reported.end());
    m_reported.push_back(address);
    FUZZ_ASSERT(m_reported.size() <= maximumAddresses);
    m_network->springTrap();
}

Network::Network() : m_server(new MemoryServer(&m_timesSent)), m_cache(new Cache)
{
    addBrowser(0, serviceTypes.front());
    addResolver(0, hostNames.front());
}

void Network::run(Input *input)
{
    while (!input->atEnd()) {
        take(Step(input->byte()), input);
    }
    pass(0);
    m_checkedCache.compare();
}

void Network::take(Step step, Input *input)
{
    switch (step) {
    case Step::Packet:
        deliver(input->bytes(input->twoBytes()));
        break;
    case Step::Milliseconds:
        pass(input->twoBytes());
        break;
    case Step::Seconds:
        pass(qint64(input->twoBytes()) * 1000);
        break;
    case Step::Browser: {
        const std::size_t slot = input->byte() % browserSlots;
        addBrowser(slot, serviceTypes.at(input->byte() % serviceTypes.size()));
        break;
    }
    case Step::NoBrowser:
        m_browsers.at(input->byte() % browserSlots).reset();
        break;
    case Step::Resolver: {
        const std::size_t slot = input->byte() % resolverSlots;
        addResolver(slot, hostNames.at(input->byte() % hostNames.size()));
        break;
    }
    case Step::NoResolver:
        m_resolvers.at(input->byte() % resolverSlots).reset();
        break;
    case Step::Trap:
        m_trap = input->byte();
        break;
    case Step::NoCache:
        m_cache.reset();
        break;
    case Step::NoServer:
        m_server.reset();
        break;
    }
}

void Network::deliver(const QByteArray &packet)
{
    Message message;
    if (!fromPacket(packet, message)) {
        return;
    }
    const QList<Record> records = message.records();
    for (const Record &record : records) {
        m_checkedCache.add(record);
    }
    hear(message);
}

/// Whatever comes in, and however many names it makes known, may cost one message at most at once: a
/// flood of packets must not turn into a larger one.
void Network::hear(const Message &message)
{
    const int before = m_timesSent;
    if (m_server != nullptr) {
        emit m_server->messageReceived(message);
    }
    FUZZ_ASSERT(m_timesSent <= before + 1);
}

void Network::pass(qint64 ms)
{
    VirtualClock::advance(ms);
    QCoreApplication::processEvents();
    m_checkedCache.checkExpired();
}

void Network::addBrowser(std::size_t slot, const QByteArray &type)
{
    if (isWhole()) {
        m_browsers.at(slot) = std::make_unique<WatchedBrowser>(this, type);
    }
}

void Network::addResolver(std::size_t slot, const QByteArray &name)
{
    if (isWhole()) {
        m_resolvers.at(slot) = std::make_unique<WatchedResolver>(this, name);
    }
}

void Network::lookUp(const QByteArray &hostname)
{
    const auto free = std::find(m_resolvers.begin(), m_resolvers.end(), nullptr);
    if (!hostname.isEmpty() && free != m_resolvers.end() && isWhole()) {
        *free = std::make_unique<WatchedResolver>(this, hostname);
    }
}

void Network::springTrap()
{
    const int trap = std::exchange(m_trap, 0);
    // The objects that note the signals stay, as a slot of theirs may be what runs.
    if ((trap & 1) != 0) {
        for (const auto &browser : m_browsers) {
            if (browser != nullptr) {
                browser->drop();
            }
        }
    }
    if ((trap & 2) != 0) {
        for (const auto &resolver : m_resolvers) {
            if (resolver != nullptr) {
                resolver->drop();
            }
        }
    }
    if ((trap & 4) != 0) {
        m_cache.reset();
    }
    if ((trap & 8) != 0) {
        m_server.reset();
    }
}

/// Qt's timers need an application. It is made once, as it costs more than a whole input.
void startApplication()
{
    static int argc = 1;
    static char name[] = "mdns_engine_fuzzer";
    static char *argv[] = {name, nullptr};
    VirtualClock::take();
    // GLib's event loop costs more at each turn than Qt's own.
    qputenv("QT_NO_GLIB", "1");
    static const QCoreApplication application(argc, argv);

    // Without the virtual clock nothing would ever expire, and nothing else would tell.
    QElapsedTimer timer;
    timer.start();
    VirtualClock::advance(1);
    FUZZ_ASSERT(timer.elapsed() == 1);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const bool isStarted = (startApplication(), true);
    FUZZ_ASSERT(isStarted);
    Input input(data, size);
    Network network;
    network.run(&input);
    return 0;
}
