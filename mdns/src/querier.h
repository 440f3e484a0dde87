#pragma once

#include <array>
#include <list>
#include <map>
#include <utility>

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QVector>

#include <qmdnsengine/abstractserver.h>
#include <qmdnsengine/record.h>

namespace QMdnsEngine
{

class Cache;

/// What a Querier tells the records of its names to.
class Listener : public QObject
{
public:
    using QObject::QObject;

    /// A record has just been added to the cache. Must not emit anything.
    virtual void recordReceived(const Record &record) = 0;

    /// A record has left the cache. Must not emit anything.
    virtual void recordExpired(const Record &record) = 0;

    /// A record of a service type should be asked for again.
    virtual void typeFades() {}

    /// The last record that belongs together has been handed on. The place to emit signals; the
    /// listener and its querier may be gone afterwards.
    virtual void changesEnded() = 0;
};

/// Asks and hears for all browsers and resolvers that share a server and a cache. A message is
/// treated once, however many of them there are, and only records that one of them watches go into
/// the cache. It never answers and never announces.
class Querier : public QObject
{
public:
    /// What a listener wants to know of a name.
    enum class Interest {
        ServiceType, ///< PTR
        Instance,    ///< SRV, TXT and NSEC
        Host,        ///< A, AAAA and NSEC
    };

    /// While one exists, questions gather; at the end of the outermost they are sent together.
    class Gathering
    {
    public:
        explicit Gathering(Querier *querier);
        ~Gathering();
        Gathering(const Gathering &) = delete;
        Gathering &operator=(const Gathering &) = delete;

    private:
        const QPointer<Querier> m_querier;
    };

    /// The querier of that server and cache, which is made if there is none. It is a child of the
    /// cache and outlives the server without harm.
    static Querier *of(AbstractServer *server, Cache *cache);

    /// Hands the records of a name to the listener until unwatch() has been called as often.
    void watch(Listener *listener, const QByteArray &name, Interest interest);
    void unwatch(Listener *listener, const QByteArray &name, Interest interest);

    /// Asks for the instances of a service type, at once and with the known answers of the cache.
    void askForInstances(const QByteArray &serviceType);

    /// Asks for a record and asks twice more if no answer comes. Does nothing if the cache holds the
    /// answer or the question is already under way.
    void ask(const QByteArray &name, quint16 type);

    /// Sends the questions that wait, without regard to the pace. Does nothing while questions gather.
    void sendNow();

private:
    using QuestionKey = std::pair<QByteArray, quint16>; // the folded name and the type

    struct Watch {
        Listener *listener;
        Interest interest;
        int count;
    };

    struct Question {
        QByteArray name;
        quint16 type;
        qint64 due; // in ms of m_clock
    };
    using Questions = std::list<Question>;

    struct OpenQuestion {
        std::size_t timesSent;
        Questions::iterator place;
    };

    static constexpr std::size_t timesToSend = 3;

    Querier(AbstractServer *server, Cache *cache);

    QVector<Listener *> listeners(const QByteArray &name, quint16 type) const;
    void treatMessage(const Message &message);
    void treatExpired(const Record &record);
    void treatFading(const Record &record);
    void endChanges(const QVector<QPointer<Listener>> &listeners);
    void closeAnswered(const Record &record);

    bool isAnswered(const QByteArray &name, quint16 type) const;
    void open(const QByteArray &name, quint16 type, std::size_t timesSent);
    void close(const QuestionKey &key);
    void sendAtPace();
    void sendDueQuestions();
    void startTimer();
    void send(const Message &message);

    const QPointer<AbstractServer> m_server;
    Cache *const m_cache;
    std::map<QByteArray, QVector<Watch>> m_watches; // by folded name

    std::map<QuestionKey, OpenQuestion> m_openQuestions;
    std::array<Questions, timesToSend> m_questions; // by how often they were sent, each in order
    int m_gatherings = 0;
    QElapsedTimer m_clock;
    QTimer m_timer;
    qint64 m_nextMessage = 0; // in ms of m_clock
};

} // namespace QMdnsEngine
