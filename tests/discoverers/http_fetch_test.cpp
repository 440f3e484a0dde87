#include "discoverers/http_fetch.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLibrary>
#include <QNetworkProxyFactory>
#include <QTemporaryDir>
#include <QtTest>

#include "http_peer.h"

using namespace Sondrix;

Q_DECLARE_METATYPE(HttpAnswer)

class HttpFetchTest : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();
    void returnsBody_data();
    void returnsBody();
    void readsToTheEndOfTheConnection_data();
    void readsToTheEndOfTheConnection();
    void keepsNulBytes();
    void sendsPlainRequest();
    void sendsTarget_data();
    void sendsTarget();
    void followsNoRedirect_data();
    void followsNoRedirect();
    void reportsErrors_data();
    void reportsErrors();
    void reportsReset();
    void reportsClosedPort();
    void reportsMissingHost();
    void timesOut_data();
    void timesOut();
    void endsWithTheProgram();
    void survivesEndlessHeader();
    void survivesBrokenChunks_data();
    void survivesBrokenChunks();
    void limitsSize_data();
    void limitsSize();
    void cutsWithoutOversizeText();
    void keepsABodyOfManyReads();
    void opensNoOtherScheme_data();
    void opensNoOtherScheme();
    void connectsForNoOtherScheme();
    void asksNoProxy_data();
    void asksNoProxy();
    void clearsError();
    void takesNoErrorArgument();
    void reusesNothing();
    void servesEvents();
    void nests();
};

namespace
{

const QByteArray body = QByteArrayLiteral("<root>text</root>");

HttpFetchLimits roomyLimits()
{
    return {20000, 1000, QStringLiteral("took too long"), QStringLiteral("was too large")};
}

HttpFetchLimits shortLimits()
{
    return {500, 1000, QStringLiteral("took too long"), QStringLiteral("was too large")};
}

/// What cannot be fetched: it has to give nothing but a text.
void verifyFails(const QUrl &url, const HttpFetchLimits &limits = roomyLimits())
{
    QString error;
    QCOMPARE(fetchHttp(url, limits, &error), QByteArray());
    QVERIFY(!error.isEmpty());
    QVERIFY2(error != limits.timeoutText && error != limits.oversizeText, qPrintable(error));
}

QByteArray chunked(const QByteArray &chunks)
{
    return "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n" + chunks;
}

} // namespace

void HttpFetchTest::cleanup()
{
    QNetworkProxyFactory::setUseSystemConfiguration(false);
    QNetworkProxy::setApplicationProxy(QNetworkProxy::DefaultProxy);
    qunsetenv("http_proxy");
}

void HttpFetchTest::returnsBody_data()
{
    QTest::addColumn<HttpAnswer>("answer");
    QTest::addColumn<QByteArray>("expected");

    const auto keepOpen = HttpAnswer::After::keepOpen;
    QTest::newRow("200") << HttpAnswer::ok(body) << body;
    QTest::newRow("203") << HttpAnswer::of("203 Elsewhere", body) << body;
    QTest::newRow("206") << HttpAnswer::of("206 Partial Content", body) << body;
    QTest::newRow("204 without a body") << HttpAnswer{"HTTP/1.1 204 No Content\r\n\r\n"} << QByteArray();
    QTest::newRow("empty body") << HttpAnswer::ok(QByteArray()) << QByteArray();
    QTest::newRow("no reason phrase")
        << HttpAnswer{"HTTP/1.1 200\r\nContent-Length: 17\r\n\r\n" + body} << body;
    QTest::newRow("connection kept open")
        << HttpAnswer{"HTTP/1.1 200 OK\r\nContent-Length: 17\r\n\r\n" + body, keepOpen} << body;
    QTest::newRow("wrong content type")
        << HttpAnswer{"HTTP/1.1 200 OK\r\nContent-Type: image/png\r\nContent-Length: 17\r\n\r\n" + body}
        << body;
    QTest::newRow("no headers but the length")
        << HttpAnswer{"HTTP/1.1 200 OK\r\nContent-Length: 17\r\n\r\n" + body} << body;
    QTest::newRow("more than the length")
        << HttpAnswer{"HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\n<a/>garbage"} << QByteArray("<a/>");
    QTest::newRow("chunks") << HttpAnswer{chunked("6\r\n<root>\r\nb\r\ntext</root>\r\n0\r\n\r\n"), keepOpen}
                            << body;
    QTest::newRow("compressed") << HttpAnswer::of("200 OK", qCompress(body).mid(4),
                                                  "Content-Encoding: deflate\r\n")
                                << body;
}

void HttpFetchTest::returnsBody()
{
    QFETCH(HttpAnswer, answer);
    QFETCH(QByteArray, expected);

    const HttpPeer peer(answer);
    QString error;
    QCOMPARE(fetchHttp(peer.url("/"), roomyLimits(), &error), expected);
    QCOMPARE(error, QString());
    QCOMPARE(peer.requests().size(), 1);
}

void HttpFetchTest::readsToTheEndOfTheConnection_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::newRow("HTTP/1.1") << QByteArray("HTTP/1.1 200 OK\r\n\r\n" + body);
    QTest::newRow("HTTP/1.0") << QByteArray("HTTP/1.0 200 OK\r\n\r\n" + body);
}

/// Without a length Qt may ask once more when the connection ends, so the requests are not counted.
void HttpFetchTest::readsToTheEndOfTheConnection()
{
    QFETCH(QByteArray, answer);

    const HttpPeer peer(HttpAnswer{answer});
    QString error;
    QCOMPARE(fetchHttp(peer.url("/"), roomyLimits(), &error), body);
    QCOMPARE(error, QString());
}

void HttpFetchTest::keepsNulBytes()
{
    const QByteArray binary("a\0b\r\n\xff\0", 7);
    const HttpPeer peer(HttpAnswer::ok(binary));
    QCOMPARE(fetchHttp(peer.url("/"), roomyLimits(), nullptr), binary);
}

void HttpFetchTest::sendsPlainRequest()
{
    const HttpPeer peer(HttpAnswer::ok(body));
    fetchHttp(peer.url("/desc.xml"), roomyLimits(), nullptr);
    QCOMPARE(peer.requests().size(), 1);
    const HttpRequest request = peer.requests().first();
    QCOMPARE(request.method, QByteArray("GET"));
    QCOMPARE(request.headers.value("host"), "127.0.0.1:" + QByteArray::number(peer.port()));
    // What Qt puts into every request, and nothing of ours.
    QCOMPARE(request.headers.keys(),
             (QList<QByteArray>{"accept-encoding", "accept-language", "connection", "host", "user-agent"}));
    QCOMPARE(request.headers.value("user-agent"), QByteArray("Mozilla/5.0"));
}

void HttpFetchTest::sendsTarget_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QByteArray>("target");

    const auto row = [](const char *name, const char *path, const char *target) {
        QTest::newRow(name) << QByteArray(path) << QByteArray(target);
    };
    row("none", "", "/");
    row("root", "/", "/");
    row("path", "/a/b.xml", "/a/b.xml");
    row("slash at the end", "/devices/", "/devices/");
    row("query", "/a?b=c&d", "/a?b=c&d");
    row("fragment left out", "/a#b", "/a");
    row("percent encoding kept", "/a%20b%2Fc", "/a%20b%2Fc");
    row("blank encoded", "/a b", "/a%20b");
}

void HttpFetchTest::sendsTarget()
{
    QFETCH(QByteArray, path);
    QFETCH(QByteArray, target);

    const HttpPeer peer(HttpAnswer::ok(body));
    fetchHttp(peer.url(path), roomyLimits(), nullptr);
    QCOMPARE(peer.targets(), QList<QByteArray>{target});
}

void HttpFetchTest::followsNoRedirect_data()
{
    QTest::addColumn<QByteArray>("statusLine");
    QTest::addColumn<QByteArray>("location"); // empty: that of the other peer

    QTest::newRow("300") << QByteArray("300 Multiple Choices") << QByteArray();
    QTest::newRow("301") << QByteArray("301 Moved Permanently") << QByteArray();
    QTest::newRow("302") << QByteArray("302 Found") << QByteArray();
    QTest::newRow("303") << QByteArray("303 See Other") << QByteArray();
    QTest::newRow("307") << QByteArray("307 Temporary Redirect") << QByteArray();
    QTest::newRow("308") << QByteArray("308 Permanent Redirect") << QByteArray();
    QTest::newRow("to the same place") << QByteArray("302 Found") << QByteArray("/");
    QTest::newRow("to a file") << QByteArray("302 Found") << QByteArray("file:///etc/hostname");
    QTest::newRow("to no URL") << QByteArray("302 Found") << QByteArray("http://[");
}

void HttpFetchTest::followsNoRedirect()
{
    QFETCH(QByteArray, statusLine);
    QFETCH(QByteArray, location);

    const HttpPeer other(HttpAnswer::ok("other"));
    if (location.isEmpty()) {
        location = other.base() + "/";
    }
    const HttpPeer peer(HttpAnswer::of(statusLine, body, "Location: " + location + "\r\n"));
    QString error;
    QCOMPARE(fetchHttp(peer.url("/"), roomyLimits(), &error), body);
    QCOMPARE(error, QString());
    QCOMPARE(peer.requests().size(), 1);
    QTest::qWait(0);
    QCOMPARE(other.connections(), 0);
}

void HttpFetchTest::reportsErrors_data()
{
    QTest::addColumn<HttpAnswer>("answer");

    for (const char *status : {"400 Bad Request", "401 Unauthorized", "403 Forbidden", "404 Not Found",
                               "405 Method Not Allowed", "407 Proxy Authentication Required", "410 Gone",
                               "418 Teapot", "500 Internal Server Error", "503 Service Unavailable"}) {
        QTest::newRow(status) << HttpAnswer::of(status, body);
    }
    QTest::newRow("wants a password")
        << HttpAnswer::of("401 Unauthorized", body, "WWW-Authenticate: Basic realm=\"x\"\r\n");
    QTest::newRow("half a body") << HttpAnswer{"HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n" + body};
    QTest::newRow("closed without an answer") << HttpAnswer{};
    QTest::newRow("closed inside the header") << HttpAnswer{"HTTP/1.1 200 OK\r\nContent-Le"};
    QTest::newRow("closed inside the status line") << HttpAnswer{"HTTP/1."};
    QTest::newRow("another protocol") << HttpAnswer{"SSH-2.0-OpenSSH_9.2\r\n"};
    QTest::newRow("broken compression")
        << HttpAnswer::of("200 OK", "no compressed data", "Content-Encoding: gzip\r\n");
}

void HttpFetchTest::reportsErrors()
{
    QFETCH(HttpAnswer, answer);

    const HttpPeer peer(answer);
    verifyFails(peer.url("/"));
    QVERIFY(peer.connections() > 0);
}

void HttpFetchTest::reportsReset()
{
    HttpPeer peer(HttpAnswer::ok(body));
    peer.resetConnections();
#ifdef Q_OS_WIN
    // Wine 8 does not always tell a program of a reset; the time limit ends the fetch then.
    if (QLibrary(QStringLiteral("ntdll")).resolve("wine_get_version") != nullptr) {
        QString error;
        QCOMPARE(fetchHttp(peer.url("/"), roomyLimits(), &error), QByteArray());
        QVERIFY(!error.isEmpty());
        QVERIFY(error != roomyLimits().oversizeText);
        QVERIFY(peer.connections() > 0);
        return;
    }
#endif
    verifyFails(peer.url("/"));
    QVERIFY(peer.connections() > 0);
}

void HttpFetchTest::reportsClosedPort()
{
    QUrl url;
    {
        const HttpPeer peer(HttpAnswer::ok(body));
        url = peer.url("/");
    }
    verifyFails(url);
}

void HttpFetchTest::reportsMissingHost()
{
    verifyFails(QUrl(QStringLiteral("http:///desc.xml")));
    verifyFails(QUrl(QStringLiteral("http:")));
}

void HttpFetchTest::timesOut_data()
{
    QTest::addColumn<HttpAnswer>("answer");

    const QByteArray header = QByteArrayLiteral("HTTP/1.1 200 OK\r\nContent-Length: 99999999\r\n\r\n");
    QTest::newRow("silence") << HttpAnswer::silence();
    QTest::newRow("header without end") << HttpAnswer{"HTTP/1.1 200 OK\r\nX: ", HttpAnswer::After::drip};
    QTest::newRow("header alone") << HttpAnswer{header, HttpAnswer::After::keepOpen};
    QTest::newRow("half a body, then silence") << HttpAnswer{header + body, HttpAnswer::After::keepOpen};
    QTest::newRow("body that drips") << HttpAnswer{header, HttpAnswer::After::drip};
    QTest::newRow("body far too large") << HttpAnswer{header, HttpAnswer::After::flood};
    QTest::newRow("body without end") << HttpAnswer{"HTTP/1.1 200 OK\r\n\r\n", HttpAnswer::After::flood};
    QTest::newRow("chunk without end") << HttpAnswer{chunked("fffffff\r\n"), HttpAnswer::After::flood};
    QTest::newRow("no last chunk") << HttpAnswer{chunked("4\r\n<a/>\r\n"), HttpAnswer::After::keepOpen};
}

void HttpFetchTest::timesOut()
{
    QFETCH(HttpAnswer, answer);

    const HttpPeer peer(answer);
    QString error;
    QElapsedTimer elapsed;
    elapsed.start();
    QCOMPARE(fetchHttp(peer.url("/"), shortLimits(), &error), QByteArray());
    QVERIFY(elapsed.elapsed() >= shortLimits().timeoutMs);
    QCOMPARE(error, shortLimits().timeoutText);
    QCOMPARE(peer.requests().size(), 1);
}

/// A window that is closed must not wait for a host that is silent.
void HttpFetchTest::endsWithTheProgram()
{
    const HttpPeer peer(HttpAnswer::silence());
    QByteArray fetched = body;
    QString error;
    QElapsedTimer elapsed;
    QTimer::singleShot(0, this, [&] {
        QTimer::singleShot(100, this, &QCoreApplication::quit);
        elapsed.start();
        fetched = fetchHttp(peer.url("/"), roomyLimits(), &error);
    });
    QCoreApplication::exec();
    QVERIFY(elapsed.elapsed() < roomyLimits().timeoutMs);
    QCOMPARE(fetched, QByteArray());
    QCOMPARE(error, roomyLimits().timeoutText);
}

/// Whether Qt stops reading such a header or the time runs out, is Qt's affair.
void HttpFetchTest::survivesEndlessHeader()
{
    const HttpPeer peer(HttpAnswer{"HTTP/1.1 200 OK\r\nX: ", HttpAnswer::After::flood});
    QString error;
    QCOMPARE(fetchHttp(peer.url("/"), shortLimits(), &error), QByteArray());
    QVERIFY(!error.isEmpty());
}

void HttpFetchTest::survivesBrokenChunks_data()
{
    QTest::addColumn<QByteArray>("chunks");

    QTest::newRow("half a chunk") << QByteArray("ff\r\n<root>");
    QTest::newRow("no last chunk") << QByteArray("4\r\n<a/>\r\n");
    QTest::newRow("size that is no number") << QByteArray("size\r\n<a/>\r\n0\r\n\r\n");
    QTest::newRow("size without measure") << QByteArray("ffffffffffffffffffff\r\n<a/>\r\n0\r\n\r\n");
    QTest::newRow("negative size") << QByteArray("-4\r\n<a/>\r\n0\r\n\r\n");
}

/// Qt takes the end of such a connection now for an error, now for the end of the body.
void HttpFetchTest::survivesBrokenChunks()
{
    QFETCH(QByteArray, chunks);

    const HttpPeer peer(HttpAnswer{chunked(chunks)});
    QString error;
    const QByteArray received = fetchHttp(peer.url("/"), shortLimits(), &error);
    QVERIFY(received.size() <= chunks.size());
    QVERIFY(error.isEmpty() || received.isEmpty());
}

void HttpFetchTest::limitsSize_data()
{
    QTest::addColumn<HttpAnswer>("answer");
    QTest::addColumn<int>("size"); // 0 where the answer is too large

    const auto compressed = [](int size) {
        return HttpAnswer::of("200 OK", qCompress(QByteArray(size, 'x')).mid(4),
                              "Content-Encoding: deflate\r\n");
    };
    QTest::newRow("one byte less") << HttpAnswer::ok(QByteArray(999, 'x')) << 999;
    QTest::newRow("exact") << HttpAnswer::ok(QByteArray(1000, 'x')) << 1000;
    QTest::newRow("one byte more") << HttpAnswer::ok(QByteArray(1001, 'x')) << 0;
    QTest::newRow("far more") << HttpAnswer::ok(QByteArray(5000000, 'x')) << 0;
    QTest::newRow("exact, length not told")
        << HttpAnswer{"HTTP/1.1 200 OK\r\n\r\n" + QByteArray(1000, 'x')} << 1000;
    QTest::newRow("one byte more, length not told")
        << HttpAnswer{"HTTP/1.1 200 OK\r\n\r\n" + QByteArray(1001, 'x')} << 0;
    QTest::newRow("exact once decompressed") << compressed(1000) << 1000;
    QTest::newRow("one byte more once decompressed") << compressed(1001) << 0;
    QTest::newRow("redirect, one byte more")
        << HttpAnswer::of("302 Found", QByteArray(1001, 'x'), "Location: /\r\n") << 0;
}

void HttpFetchTest::limitsSize()
{
    QFETCH(HttpAnswer, answer);
    QFETCH(int, size);

    const HttpPeer peer(answer);
    QString error;
    QCOMPARE(fetchHttp(peer.url("/"), roomyLimits(), &error), QByteArray(size, 'x'));
    QCOMPARE(error, size > 0 ? QString() : roomyLimits().oversizeText);
}

void HttpFetchTest::cutsWithoutOversizeText()
{
    HttpFetchLimits limits = roomyLimits();
    limits.oversizeText.clear();
    for (const int size : {0, 999, 1000, 1001, 5000000}) {
        const HttpPeer peer(HttpAnswer::ok(QByteArray(size, 'x')));
        QString error;
        QCOMPARE(fetchHttp(peer.url("/"), limits, &error).size(), qMin(size, 1000));
        QCOMPARE(error, QString());
    }
}

void HttpFetchTest::keepsABodyOfManyReads()
{
    QByteArray numbers(3000000, '\0');
    for (int i = 0; i < numbers.size(); ++i) {
        numbers[i] = char('a' + i % 23);
    }
    HttpFetchLimits limits = roomyLimits();
    for (const int maximum : {1000000, numbers.size()}) {
        limits.maximumBytes = maximum;
        limits.oversizeText.clear();
        const HttpPeer peer(HttpAnswer::ok(numbers));
        QString error;
        QVERIFY(fetchHttp(peer.url("/"), limits, &error) == numbers.left(maximum));
        QCOMPARE(error, QString());
    }
}

void HttpFetchTest::opensNoOtherScheme_data()
{
    QTest::addColumn<QString>("url"); // %1 is the path of a file that exists

    const auto row = [](const char *name, const char *url) {
        QTest::newRow(name) << QString::fromLatin1(url);
    };
    row("file", "file://%1");
    row("file in capitals", "FILE://%1");
    row("file with one slash", "file:%1");
    row("file on localhost", "file://localhost%1");
    row("file on a server", "file://127.0.0.1%1");
    row("path", "%1");
    row("server and path", "//127.0.0.1%1");
    row("UNC name", "\\\\127.0.0.1\\share\\file.xml");
    row("drive", "C:/file.xml");
    row("resource", "qrc:/qt-project.org/qmime/packages/freedesktop.org.xml");
    row("resource path", ":/qt-project.org/qmime/packages/freedesktop.org.xml");
    row("data", "data:text/xml,<root/>");
    row("ftp", "ftp://127.0.0.1/file.xml");
    row("scheme that begins with http", "http+unix://127.0.0.1/");
    row("httpx", "httpx://127.0.0.1/");
    row("unknown", "ember://127.0.0.1:9000");
    row("place-holder in the text", "x://%%2");
    row("relative", "desc.xml");
    row("empty", "");
}

void HttpFetchTest::opensNoOtherScheme()
{
    QFETCH(QString, url);

    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("file.xml"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(body), qint64(body.size()));
    file.close();
    verifyFails(QUrl(url.replace(QStringLiteral("%1"), QDir::fromNativeSeparators(path))));
}

void HttpFetchTest::connectsForNoOtherScheme()
{
    const HttpPeer peer(HttpAnswer::ok(body));
    for (const char *scheme : {"ftp", "file", "ember", "unknown"}) {
        QUrl url = peer.url("/file.xml");
        url.setScheme(QString::fromLatin1(scheme));
        verifyFails(url);
        QTest::qWait(0);
        QCOMPARE(peer.connections(), 0);
    }
}

void HttpFetchTest::asksNoProxy_data()
{
    QTest::addColumn<bool>("isSystems");

    QTest::newRow("the application's") << false;
    QTest::newRow("the system's") << true;
}

void HttpFetchTest::asksNoProxy()
{
    QFETCH(bool, isSystems);

    const HttpPeer proxy(HttpAnswer::ok("from the proxy"));
    const HttpPeer peer(HttpAnswer::ok(body));
    if (isSystems) {
        qputenv("http_proxy", proxy.base());
        QNetworkProxyFactory::setUseSystemConfiguration(true);
    } else {
        QNetworkProxy::setApplicationProxy(
            QNetworkProxy(QNetworkProxy::HttpProxy, QStringLiteral("127.0.0.1"), proxy.port()));
    }
    // This host, by an address that Qt does not take for a loopback one: for those it asks no proxy anyhow.
    QUrl url = peer.url("/");
    url.setHost(QStringLiteral("0.0.0.0"));
    QVERIFY(fetchHttp(url, roomyLimits(), nullptr) != QByteArray("from the proxy"));
    QCOMPARE(proxy.connections(), 0);
}

void HttpFetchTest::clearsError()
{
    const HttpPeer peer(HttpAnswer::ok(body));
    QString error = QStringLiteral("left over");
    fetchHttp(peer.url("/"), roomyLimits(), &error);
    QCOMPARE(error, QString());
}

void HttpFetchTest::takesNoErrorArgument()
{
    const HttpPeer missing(HttpAnswer::notFound());
    const HttpPeer silent(HttpAnswer::silence());
    const HttpPeer large(HttpAnswer::ok(QByteArray(1001, 'x')));
    QCOMPARE(fetchHttp(missing.url("/"), roomyLimits(), nullptr), QByteArray());
    QCOMPARE(fetchHttp(silent.url("/"), shortLimits(), nullptr), QByteArray());
    QCOMPARE(fetchHttp(large.url("/"), roomyLimits(), nullptr), QByteArray());
    QCOMPARE(fetchHttp(QUrl(), roomyLimits(), nullptr), QByteArray());
}

void HttpFetchTest::reusesNothing()
{
    const HttpPeer peer(HttpAnswer{"HTTP/1.1 200 OK\r\nContent-Length: 17\r\nSet-Cookie: a=b\r\n"
                                   "ETag: \"c\"\r\nCache-Control: max-age=600\r\n\r\n" +
                                       body,
                                   HttpAnswer::After::keepOpen});
    for (int count = 1; count <= 2; ++count) {
        QCOMPARE(fetchHttp(peer.url("/"), roomyLimits(), nullptr), body);
        QCOMPARE(peer.connections(), count);
        QCOMPARE(peer.requests().size(), count);
    }
    QCOMPARE(peer.requests().last().headers.keys(), peer.requests().first().headers.keys());
}

void HttpFetchTest::servesEvents()
{
    int count = 0;
    QTimer::singleShot(0, this, [&count]() { ++count; });
    const HttpPeer peer(HttpAnswer::ok(body));
    fetchHttp(peer.url("/"), roomyLimits(), nullptr);
    QCOMPARE(count, 1);
}

void HttpFetchTest::nests()
{
    QByteArray inner;
    const HttpPeer innerPeer(HttpAnswer::ok("inner"));
    const HttpPeer peer([&](const HttpRequest &) {
        inner = fetchHttp(innerPeer.url("/"), roomyLimits(), nullptr);
        return HttpAnswer::ok(body);
    });
    QCOMPARE(fetchHttp(peer.url("/"), roomyLimits(), nullptr), body);
    QCOMPARE(inner, QByteArray("inner"));
}

QTEST_GUILESS_MAIN(HttpFetchTest)
#include "http_fetch_test.moc"
