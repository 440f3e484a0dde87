#include "discoverers/http_fetch.h"

#include <memory>
#include <utility>

#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QThread>
#include <QTimer>
#include <QUrl>

namespace Sondrix
{

namespace
{

constexpr qint64 readBufferBytes = 65536; // what Qt may hold of a body before it is taken
constexpr int threadEndMs = 50;           // what a thread that is done may take to end

/// Takes what has arrived and keeps it up to the limit; the rest of a body is read and forgotten, so
/// that a body without end takes time but no memory.
void takeArrived(QNetworkReply &reply, int maximumBytes, QByteArray *body)
{
    const QByteArray arrived = reply.readAll();
    body->append(arrived.left(maximumBytes - body->size()));
}

/// Why the body of a reply that is done does not count; empty if it does.
QString failureOf(QNetworkReply &reply, const HttpFetchLimits &limits, int bodySize)
{
    if (!reply.isFinished()) {
        reply.abort();
        return limits.timeoutText;
    }
    if (reply.error() != QNetworkReply::NoError) {
        return reply.errorString();
    }
    return bodySize > limits.maximumBytes ? limits.oversizeText : QString();
}

/// One fetch in a thread of its own. Qt reads an answer in a thread that nothing can call off while the
/// peer sends a header or chunks without end, and its manager waits seconds for that thread when it goes:
/// the answer is told before that, so that nobody has to wait along.
class FetchThread : public QThread
{
    Q_OBJECT

public:
    FetchThread(QUrl url, HttpFetchLimits limits) : m_url(std::move(url)), m_limits(std::move(limits)) {}

    /// To be read once answered() has come.
    QByteArray body;
    QString failure; // empty if the body counts

signals:
    void answered();

protected:
    void run() override
    {
        QNetworkAccessManager manager;
        manager.setProxy(QNetworkProxy::NoProxy); // the devices are on this network
        // One byte more than is wanted tells that there is more, where that is an error.
        const int wantedBytes = m_limits.maximumBytes + (m_limits.oversizeText.isEmpty() ? 0 : 1);
        const std::unique_ptr<QNetworkReply> reply(manager.get(QNetworkRequest(m_url)));
        reply->setReadBufferSize(readBufferBytes);
        QEventLoop loop;
        QTimer timer;
        timer.setSingleShot(true);
        timer.setTimerType(Qt::PreciseTimer);
        // What this refers to lives as long as the loop.
        const auto take = [&] { takeArrived(*reply, wantedBytes, &body); };
        QObject::connect(reply.get(), &QNetworkReply::readyRead, &loop, take);
        QObject::connect(reply.get(), &QNetworkReply::finished, &loop, &QEventLoop::quit);
        QObject::connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
        timer.start(m_limits.timeoutMs);
        loop.exec();
        take();
        failure = failureOf(*reply, m_limits, body.size());
        if (!failure.isEmpty()) {
            body.clear();
        }
        emit answered();
    }

private:
    const QUrl m_url;
    const HttpFetchLimits m_limits;
};

/// Deletes the thread, now if it ends at once, as it does for all but hostile peers, or else when it ends.
void release(FetchThread *thread)
{
    QObject::connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    thread->quit();
    if (thread->wait(threadEndMs)) {
        delete thread;
    }
}

} // namespace

QByteArray fetchHttp(const QUrl &url, const HttpFetchLimits &limits, QString *error)
{
    QString failure;
    QByteArray body;
    // URLs come from the network: nothing but HTTP is opened, above all no file.
    if (url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https")) {
        auto *thread = new FetchThread(url, limits);
        failure = limits.timeoutText; // if the program ends meanwhile
        QEventLoop loop;
        // What this refers to lives as long as the loop.
        const auto keep = [&] {
            failure = thread->failure;
            body = thread->body;
            loop.quit();
        };
        QObject::connect(thread, &FetchThread::answered, &loop, keep);
        thread->start();
        loop.exec();
        release(thread);
    } else {
        failure = QStringLiteral("Protocol \"%1\" is unknown").arg(url.scheme());
    }
    if (error != nullptr) {
        *error = failure;
    }
    return body;
}

} // namespace Sondrix

#include "http_fetch.moc"
