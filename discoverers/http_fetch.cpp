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

/// Reads the body of a reply that is done, or says in *failure why there is none.
QByteArray bodyOf(QNetworkReply &reply, const HttpFetchLimits &limits, QString *failure)
{
    if (!reply.isFinished()) {
        reply.abort();
        *failure = limits.timeoutText;
        return QByteArray();
    }
    if (reply.error() != QNetworkReply::NoError) {
        *failure = reply.errorString();
        return QByteArray();
    }
    if (limits.oversizeText.isEmpty()) {
        return reply.read(limits.maximumBytes);
    }
    const QByteArray body = reply.read(qint64(limits.maximumBytes) + 1);
    if (body.size() > limits.maximumBytes) {
        *failure = limits.oversizeText;
        return QByteArray();
    }
    return body;
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
        QNetworkReply *reply = manager.get(QNetworkRequest(url));
        QEventLoop loop;
        QTimer timer;
        timer.setSingleShot(true);
        timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
        QObject::connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
        timer.start(limits.timeoutMs);
        loop.exec();
        body = bodyOf(*reply, limits, &failure);
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
