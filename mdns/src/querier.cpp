#include "querier.h"

#include <algorithm>
#include <initializer_list>
#include <limits>

#include <QSet>

#include "names.h"
#include <qmdnsengine/cache.h>
#include <qmdnsengine/message.h>

namespace QMdnsEngine
{

namespace
{

// What fits into an Ethernet frame beside the headers of IPv6 and UDP, with some room left.
constexpr int maximumMessageSize = 1400;
constexpr int headerSize = 12;
constexpr int queryFieldsSize = 4;
constexpr int recordFieldsSize = 10;
constexpr int pointerSize = 2;

// A flood of invented names must not make us flood the network: 100 messages each second at most.
constexpr qint64 messageIntervalMs = 10;

constexpr qint64 repeatIntervalMs = 250;

// What can be sent within about a second at that pace. The question asked most often gives way.
constexpr std::size_t maximumOpenQuestions = 4096;

// More known answers would cost more messages than the answers that they spare.
constexpr int maximumKnownAnswers = 1024;

// The types that are asked for by name, which an NSEC record can deny.
constexpr std::array<quint16, 4> askedTypes = {SRV, TXT, A, AAAA};

bool concerns(Querier::Interest interest, quint16 type)
{
    switch (interest) {
    case Querier::Interest::ServiceType:
        return type == PTR;
    case Querier::Interest::Instance:
        return type == SRV || type == TXT || type == NSEC;
    case Querier::Interest::Host:
        return type == A || type == AAAA || type == NSEC;
    }
    return false;
}

Query question(const QByteArray &name, quint16 type)
{
    Query query;
    query.setName(name);
    query.setType(type);
    // No unicast answer is wanted: it could reach another program that shares the port.
    query.setUnicastResponse(false);
    return query;
}

/// The size of a name in a message, not compressed: its text and the root label.
int sizeOf(const QByteArray &name)
{
    return name.size() + 1;
}

} // namespace

Querier::Gathering::Gathering(Querier *querier) : m_querier(querier)
{
    ++querier->m_gatherings;
}

Querier::Gathering::~Gathering()
{
    if (!m_querier.isNull() && --m_querier->m_gatherings == 0) {
        m_querier->sendAtPace();
    }
}

Querier *Querier::of(AbstractServer *server, Cache *cache)
{
    const QList<QObject *> children = cache->children();
    for (QObject *child : children) {
        auto *querier = dynamic_cast<Querier *>(child);
        if (querier != nullptr && querier->m_server == server) {
            return querier;
        }
    }
    return new Querier(server, cache);
}

Querier::Querier(AbstractServer *server, Cache *cache) : QObject(cache), m_server(server), m_cache(cache)
{
    m_clock.start();
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &Querier::sendAtPace);
    connect(server, &AbstractServer::messageReceived, this, &Querier::treatMessage);
    connect(cache, &Cache::recordExpired, this, &Querier::treatExpired);
    connect(cache, &Cache::shouldQuery, this, &Querier::treatFading);
}

void Querier::watch(Listener *listener, const QByteArray &name, Interest interest)
{
    QVector<Watch> &watches = m_watches[foldedName(name)];
    const auto known = std::find_if(watches.begin(), watches.end(), [&](const Watch &watch) {
        return watch.listener == listener && watch.interest == interest;
    });
    if (known != watches.end()) {
        ++known->count;
    } else {
        watches.append({listener, interest, 1});
    }
}

void Querier::unwatch(Listener *listener, const QByteArray &name, Interest interest)
{
    const QByteArray folded = foldedName(name);
    const auto entry = m_watches.find(folded);
    if (entry == m_watches.end()) {
        return;
    }
    QVector<Watch> &watches = entry->second;
    const auto known = std::find_if(watches.begin(), watches.end(), [&](const Watch &watch) {
        return watch.listener == listener && watch.interest == interest;
    });
    if (known == watches.end() || --known->count > 0) {
        return;
    }
    watches.erase(known);
    if (watches.isEmpty()) {
        m_watches.erase(entry);
        for (const quint16 type : askedTypes) {
            close(QuestionKey(folded, type));
        }
    }
}

QVector<Listener *> Querier::listeners(const QByteArray &name, quint16 type) const
{
    QVector<Listener *> listeners;
    const auto entry = m_watches.find(foldedName(name));
    if (entry != m_watches.end()) {
        for (const Watch &watch : entry->second) {
            if (concerns(watch.interest, type) && !listeners.contains(watch.listener)) {
                listeners.append(watch.listener);
            }
        }
    }
    return listeners;
}

void Querier::treatMessage(const Message &message)
{
    if (!message.isResponse()) {
        return;
    }
    const Gathering gathering(this);
    const QList<Record> records = message.records();
    QSet<Listener *> seen;
    QVector<QPointer<Listener>> touched;
    // Whatever the order of the records, the names that are worth knowing come out of the ones
    // before: instances of pointers, hosts of instances.
    const auto hear = [&](std::initializer_list<quint16> types) {
        for (const Record &record : records) {
            if (std::find(types.begin(), types.end(), record.type()) == types.end()) {
                continue;
            }
            const QVector<Listener *> interested = listeners(record.name(), record.type());
            if (interested.isEmpty()) {
                continue;
            }
            m_cache->addRecord(record);
            // A goodbye is no answer. The listeners hear of it when the cache lets the record go.
            if (record.ttl() == 0) {
                continue;
            }
            closeAnswered(record);
            for (Listener *listener : interested) {
                listener->recordReceived(record);
                if (!seen.contains(listener)) {
                    seen.insert(listener);
                    touched.append(listener);
                }
            }
        }
    };
    hear({PTR});
    hear({SRV, TXT});
    hear({A, AAAA, NSEC});

    endChanges(touched);
}

void Querier::treatExpired(const Record &record)
{
    const Gathering gathering(this);
    QVector<QPointer<Listener>> touched;
    const QVector<Listener *> interested = listeners(record.name(), record.type());
    for (Listener *listener : interested) {
        listener->recordExpired(record);
        touched.append(listener);
    }
    endChanges(touched);
}

/// Lets the listeners emit their signals. A slot may delete any of the objects concerned.
void Querier::endChanges(const QVector<QPointer<Listener>> &listeners)
{
    const QPointer<Querier> self = this;
    for (const QPointer<Listener> &listener : listeners) {
        if (!listener.isNull()) {
            listener->changesEnded();
        }
        if (self.isNull()) {
            return;
        }
    }
}

void Querier::treatFading(const Record &record)
{
    const QVector<Listener *> interested = listeners(record.name(), record.type());
    if (interested.isEmpty()) {
        return;
    }
    if (record.type() == PTR) {
        for (Listener *listener : interested) {
            listener->typeFades();
        }
    } else if (record.type() != NSEC) {
        // The cache asks four times for itself, so that the question needs no repetition.
        open(record.name(), record.type(), timesToSend - 1);
    }
}

/// Closes the questions that the record answers: its own type, or each that an NSEC record denies
/// (RFC 6762, 6.1).
void Querier::closeAnswered(const Record &record)
{
    const QByteArray folded = foldedName(record.name());
    if (record.type() != NSEC) {
        close(QuestionKey(folded, record.type()));
        return;
    }
    for (const quint16 type : askedTypes) {
        if (!record.bitmapHolds(type)) {
            close(QuestionKey(folded, type));
        }
    }
}

void Querier::askForInstances(const QByteArray &serviceType)
{
    Message message;
    message.addQuery(question(serviceType, PTR));
    int size = headerSize + sizeOf(serviceType) + queryFieldsSize;
    const QList<Record> knownAnswers = m_cache->knownAnswers(serviceType, PTR).mid(0, maximumKnownAnswers);
    for (Record answer : knownAnswers) {
        answer.setFlushCache(false); // RFC 6762, 10.2
        // Only a name in the same spelling is written as a pointer.
        const int nameSize = answer.name() == serviceType ? pointerSize : sizeOf(answer.name());
        const int answerSize = nameSize + recordFieldsSize + sizeOf(answer.target());
        if (size + answerSize > maximumMessageSize) {
            // More answers follow in a message without a question (RFC 6762, 7.2).
            message.setTruncated(true);
            send(message);
            message = Message();
            size = headerSize + sizeOf(serviceType);
        }
        message.addRecord(answer);
        size += answerSize;
    }
    send(message);
}

void Querier::ask(const QByteArray &name, quint16 type)
{
    if (!isAnswered(name, type)) {
        open(name, type, 0);
    }
}

void Querier::sendNow()
{
    if (m_gatherings == 0) {
        sendDueQuestions();
    }
}

bool Querier::isAnswered(const QByteArray &name, quint16 type) const
{
    Record record;
    return m_cache->lookupRecord(name, type, record) ||
           (m_cache->lookupRecord(name, NSEC, record) && !record.bitmapHolds(type));
}

void Querier::open(const QByteArray &name, quint16 type, std::size_t timesSent)
{
    const auto [entry, isNew] = m_openQuestions.try_emplace(QuestionKey(foldedName(name), type));
    if (!isNew) {
        return;
    }
    Questions &questions = m_questions.at(timesSent);
    entry->second = {timesSent, questions.insert(questions.end(), {name, type, m_clock.elapsed()})};
    if (m_openQuestions.size() > maximumOpenQuestions) {
        const auto mostSent = std::find_if(m_questions.crbegin(), m_questions.crend(),
                                           [](const Questions &sent) { return !sent.empty(); });
        close(QuestionKey(foldedName(mostSent->front().name), mostSent->front().type));
    }
    // Also while questions gather, as a slot may run an event loop of its own.
    startTimer();
}

void Querier::close(const QuestionKey &key)
{
    const auto entry = m_openQuestions.find(key);
    if (entry != m_openQuestions.end()) {
        m_questions.at(entry->second.timesSent).erase(entry->second.place);
        m_openQuestions.erase(entry);
    }
}

void Querier::sendAtPace()
{
    if (m_clock.elapsed() >= m_nextMessage) {
        sendDueQuestions();
    } else {
        startTimer();
    }
}

/// Sends one message with as many of the due questions as it holds, those first that were sent least.
void Querier::sendDueQuestions()
{
    const qint64 now = m_clock.elapsed();
    Message message;
    int size = headerSize;
    QByteArray lastName;
    for (std::size_t timesSent = 0; timesSent < timesToSend; ++timesSent) {
        Questions &questions = m_questions.at(timesSent);
        while (!questions.empty() && questions.front().due <= now) {
            const auto asked = questions.begin();
            const int nameSize = asked->name == lastName ? pointerSize : sizeOf(asked->name);
            if (!lastName.isEmpty() && size + nameSize + queryFieldsSize > maximumMessageSize) {
                break;
            }
            size += nameSize + queryFieldsSize;
            message.addQuery(question(asked->name, asked->type));
            lastName = asked->name;
            const auto entry = m_openQuestions.find(QuestionKey(foldedName(asked->name), asked->type));
            if (timesSent + 1 == timesToSend) {
                questions.erase(asked);
                m_openQuestions.erase(entry);
            } else {
                Questions &next = m_questions.at(timesSent + 1);
                next.splice(next.end(), questions, asked);
                asked->due = now + repeatIntervalMs;
                ++entry->second.timesSent;
            }
        }
    }
    const bool anyDue = !message.queries().isEmpty();
    if (anyDue) {
        m_nextMessage = m_clock.elapsed() + messageIntervalMs; // the making of a message takes time too
    }
    startTimer();
    if (anyDue) {
        send(message);
    }
}

void Querier::startTimer()
{
    qint64 due = std::numeric_limits<qint64>::max();
    for (const Questions &questions : m_questions) {
        if (!questions.empty()) {
            due = std::min(due, questions.front().due);
        }
    }
    if (due == std::numeric_limits<qint64>::max()) {
        m_timer.stop();
    } else {
        m_timer.start(int(std::max<qint64>(std::max(due, m_nextMessage) - m_clock.elapsed(), 0)));
    }
}

void Querier::send(const Message &message)
{
    if (!m_server.isNull()) {
        m_server->sendMessageToAll(message);
    }
}

} // namespace QMdnsEngine
