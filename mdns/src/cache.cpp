#include <algorithm>
#include <iterator>
#include <limits>
#include <list>
#include <map>
#include <utility>

#include <QDataStream>
#include <QElapsedTimer>
#include <QPointer>
#include <QRandomGenerator>
#include <QTimer>
#include <QVector>

#include "names.h"
#include <qmdnsengine/cache.h>

namespace QMdnsEngine
{

namespace
{

// Several times what a large network answers to one scan; some 20 MB at most.
constexpr std::size_t maximumRecords = 32768;

// How long a record stays after a goodbye or a cache flush (RFC 6762, 10.1 and 10.2), and how old it
// must be for a cache flush to reach it.
constexpr qint64 graceMs = 1000;

// When a record is to be asked for again, in percent of its time to live (RFC 6762, 5.2).
constexpr int firstQueryPercent = 80;
constexpr int queryStepPercent = 5;
constexpr int queryCount = 4;
constexpr double queryJitter = 0.02;

qint64 ttlMs(const Record &record)
{
    return qint64(record.ttl()) * 1000;
}

/// Everything that tells two records of one name and type apart.
QByteArray dataKey(const Record &record)
{
    QByteArray key;
    QDataStream stream(&key, QIODevice::WriteOnly);
    stream << record.address() << foldedName(record.target()) << foldedName(record.nextDomainName())
           << record.priority() << record.weight() << record.port() << record.attributes() << record.bitmap();
    return key;
}

} // namespace

class CachePrivate : public QObject
{
public:
    explicit CachePrivate(Cache *cache);

    void add(const Record &record);

    /// Calls visit(record, what is left of its time to live in ms) for every record of that name and
    /// type, those that stay before those that leave, until it returns false.
    template<typename Visitor>
    void visit(const QByteArray &name, quint16 type, Visitor visit) const;

private:
    // Ordered containers throughout: their cost does not depend on the names that somebody picks.
    struct Entry;
    using Entries = std::list<Entry>;
    using EntryRef = Entries::iterator;
    using Ages = std::list<EntryRef>;
    using Schedule = std::multimap<qint64, EntryRef>;
    using SetKey = std::pair<QByteArray, quint16>; // the folded name and the type

    struct Entry {
        Record record;
        SetKey setKey;
        QByteArray dataKey;
        qint64 heard = 0; // times are in ms of m_clock
        qint64 expires = 0;
        int queries = 0; // how many of the signals to query again are behind it
        bool leaves = false;
        Ages::iterator age;
        Schedule::iterator event;
    };

    /// The records of one name and type.
    struct RecordSet {
        Entries staying;                       // in the order in which they were last heard
        Entries leaving;                       // those that a goodbye or a cache flush lets expire
        std::map<QByteArray, EntryRef> byData; // cppcheck-suppress unusedStructMember ; used by refresh()
    };

    void refresh(RecordSet *set, EntryRef entry, const Record &record);
    void letExpire(RecordSet *set, EntryRef entry);
    void remove(EntryRef entry);
    void schedule(EntryRef entry);
    void startTimer();
    void treatEvents();

    Cache *const m_cache;
    QElapsedTimer m_clock;
    QTimer m_timer;
    qint64 m_timerDue = 0;
    std::map<SetKey, RecordSet> m_sets;
    Ages m_ages; // all entries, the one heard longest ago first
    Schedule m_schedule;
};

CachePrivate::CachePrivate(Cache *cache) : QObject(cache), m_cache(cache)
{
    m_clock.start();
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &CachePrivate::treatEvents);
}

void CachePrivate::add(const Record &record)
{
    const SetKey setKey(foldedName(record.name()), record.type());
    const QByteArray key = dataKey(record);
    auto set = m_sets.find(setKey);
    const bool isKnown = set != m_sets.end() && set->second.byData.count(key) > 0;

    if (record.ttl() == 0) {
        if (isKnown) {
            letExpire(&set->second, set->second.byData.at(key));
        }
    } else if (isKnown) {
        refresh(&set->second, set->second.byData.at(key), record);
    } else {
        set = m_sets.try_emplace(setKey).first;
        Entry entry;
        entry.setKey = setKey;
        entry.dataKey = key;
        const auto added = set->second.staying.insert(set->second.staying.end(), entry);
        added->age = m_ages.insert(m_ages.end(), added);
        added->event = m_schedule.emplace(0, added);
        set->second.byData.emplace(key, added);
        refresh(&set->second, added, record);
    }
    if (record.flushCache() && set != m_sets.end()) {
        Entries &staying = set->second.staying;
        while (!staying.empty() && m_clock.elapsed() - staying.front().heard > graceMs) {
            letExpire(&set->second, staying.begin());
        }
    }
    if (m_ages.size() > maximumRecords) {
        remove(m_ages.front());
    }
    startTimer();
}

void CachePrivate::refresh(RecordSet *set, EntryRef entry, const Record &record)
{
    entry->record = record;
    entry->heard = m_clock.elapsed();
    entry->expires = entry->heard + ttlMs(record);
    entry->queries = 0;
    set->staying.splice(set->staying.end(), entry->leaves ? set->leaving : set->staying, entry);
    entry->leaves = false;
    m_ages.splice(m_ages.end(), m_ages, entry->age);
    schedule(entry);
}

void CachePrivate::letExpire(RecordSet *set, EntryRef entry)
{
    if (entry->leaves) {
        return;
    }
    entry->leaves = true;
    entry->expires = std::min(entry->expires, m_clock.elapsed() + graceMs);
    set->leaving.splice(set->leaving.end(), set->staying, entry);
    schedule(entry);
}

void CachePrivate::remove(EntryRef entry)
{
    const auto set = m_sets.find(entry->setKey);
    m_schedule.erase(entry->event);
    m_ages.erase(entry->age);
    set->second.byData.erase(entry->dataKey);
    (entry->leaves ? set->second.leaving : set->second.staying).erase(entry);
    if (set->second.byData.empty()) {
        m_sets.erase(set);
    }
}

/// Sets the next event of the entry: to be asked for again, or the end.
void CachePrivate::schedule(EntryRef entry)
{
    qint64 due = entry->expires;
    if (!entry->leaves && entry->queries < queryCount) {
        const auto ttl = double(ttlMs(entry->record));
        const double part = (firstQueryPercent + entry->queries * queryStepPercent) / 100.0 +
                            QRandomGenerator::global()->generateDouble() * queryJitter;
        due = entry->heard + qint64(ttl * part);
    }
    m_schedule.erase(entry->event);
    entry->event = m_schedule.emplace(due, entry);
}

void CachePrivate::startTimer()
{
    if (m_schedule.empty()) {
        m_timer.stop();
        return;
    }
    const qint64 due = m_schedule.begin()->first;
    // A timer that is early only looks again, so that it need not be put off.
    if (!m_timer.isActive() || due < m_timerDue) {
        const qint64 wait = std::max<qint64>(due - m_clock.elapsed(), 0);
        m_timer.start(int(std::min<qint64>(wait, std::numeric_limits<int>::max())));
        m_timerDue = due;
    }
}

void CachePrivate::treatEvents()
{
    using Signal = void (Cache::*)(const Record &);
    QVector<std::pair<Signal, Record>> signalsDue;
    const qint64 now = m_clock.elapsed();
    while (!m_schedule.empty() && m_schedule.begin()->first <= now) {
        const EntryRef entry = m_schedule.begin()->second;
        if (entry->expires <= now) {
            signalsDue.append({&Cache::recordExpired, entry->record});
            remove(entry);
        } else {
            signalsDue.append({&Cache::shouldQuery, entry->record});
            ++entry->queries;
            schedule(entry);
        }
    }
    startTimer();
    // From here on a slot may do anything to the cache, delete it included.
    const QPointer<Cache> cache = m_cache;
    for (const auto &due : qAsConst(signalsDue)) {
        if (cache.isNull()) {
            return;
        }
        emit(cache.data()->*due.first)(due.second);
    }
}

template<typename Visitor>
void CachePrivate::visit(const QByteArray &name, quint16 type, Visitor visit) const
{
    const qint64 now = m_clock.elapsed();
    const QByteArray folded = foldedName(name);
    for (auto set = m_sets.lower_bound(SetKey(folded, type == ANY ? quint16(0) : type));
         set != m_sets.end() && set->first.first == folded && (type == ANY || set->first.second == type);
         ++set) {
        for (const Entries *entries : {&set->second.staying, &set->second.leaving}) {
            for (const Entry &entry : *entries) {
                if (!visit(entry.record, entry.expires - now)) {
                    return;
                }
            }
        }
    }
}

Cache::Cache(QObject *parent) : QObject(parent), m_private(new CachePrivate(this)) {}

Cache::~Cache() = default;

void Cache::addRecord(const Record &record)
{
    m_private->add(record);
}

bool Cache::lookupRecord(const QByteArray &name, quint16 type, Record &record) const
{
    bool found = false;
    m_private->visit(name, type, [&](const Record &known, qint64) {
        record = known;
        found = true;
        return false;
    });
    return found;
}

bool Cache::lookupRecords(const QByteArray &name, quint16 type, QList<Record> &records) const
{
    bool found = false;
    m_private->visit(name, type, [&](const Record &known, qint64) {
        records.append(known);
        found = true;
        return true;
    });
    return found;
}

QList<Record> Cache::knownAnswers(const QByteArray &name, quint16 type) const
{
    QList<Record> records;
    m_private->visit(name, type, [&](const Record &known, qint64 leftMs) {
        if (2 * leftMs >= ttlMs(known)) {
            Record answer = known;
            answer.setTtl(quint32((leftMs + 999) / 1000));
            records.append(answer);
        }
        return true;
    });
    return records;
}

} // namespace QMdnsEngine
