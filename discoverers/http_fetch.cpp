#include "discoverers/http_fetch.h"

#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>
#include <QUrl>

namespace Sondrix
{

namespace
{

constexpr qint64 readBufferBytes = 65536; // what Qt may hold of a body before it is taken

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

} // namespace

QByteArray fetchHttp(const QUrl &url, const HttpFetchLimits &limits, QString *error)
{
    QString failure;
    QByteArray body;
    // URLs come from the network: nothing but HTTP is opened, above all no file.
    if (url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https")) {
        QNetworkAccessManager manager;
        manager.setProxy(QNetworkProxy::NoProxy); // the devices are on this network
        // One byte more than is wanted tells that there is more, where that is an error.
        const int wantedBytes = limits.maximumBytes + (limits.oversizeText.isEmpty() ? 0 : 1);
        QNetworkReply *reply = manager.get(QNetworkRequest(url));
        reply->setReadBufferSize(readBufferBytes);
        QEventLoop loop;
        QTimer timer;
        timer.setSingleShot(true);
        timer.setTimerType(Qt::PreciseTimer);
        // What this refers to lives as long as the loop.
        const auto take = [&] { takeArrived(*reply, wantedBytes, &body); };
        QObject::connect(reply, &QNetworkReply::readyRead, &loop, take);
        QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
        QObject::connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
        timer.start(limits.timeoutMs);
        loop.exec();
        take();
        failure = failureOf(*reply, limits, body.size());
        if (!failure.isEmpty()) {
            body.clear();
        }
        reply->deleteLater();
    } else {
        failure = QStringLiteral("Protocol \"%1\" is unknown").arg(url.scheme());
    }
    if (error != nullptr) {
        *error = failure;
    }
    return body;
}

} // namespace Sondrix
