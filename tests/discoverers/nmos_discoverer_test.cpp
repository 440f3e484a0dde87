#include "discoverers/nmos_discoverer.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include "http_peer.h"
#include "record_checks.h"

using namespace Sondrix;

Q_DECLARE_METATYPE(HttpAnswer)
Q_DECLARE_METATYPE(Sondrix::MediaKinds)

class NmosDiscovererTest : public QObject
{
    Q_OBJECT

private slots:
    void isProviderNmos();
    void readsVersion_data();
    void readsVersion();
    void trimsBaseUrls_data();
    void trimsBaseUrls();
    void buildsResourceUrls_data();
    void buildsResourceUrls();
    void findsById_data();
    void findsById();
    void readsFormat_data();
    void readsFormat();
    void buildsMetadata();
    void fetchesJson_data();
    void fetchesJson();
    void fetchesUpToItsLimit();
    void fetchesNothingAboveItsLimit();
    void walksAllResources();
    void walksWithoutSlashesTwice_data();
    void walksWithoutSlashesTwice();
    void endsWalkWithoutSelf_data();
    void endsWalkWithoutSelf();
    void timesOut();
    void walksOnWithoutList_data();
    void walksOnWithoutList();
    void walksOnBehindSilentList();
    void walksNothingIntoNull();
    void fillsEveryField();
    void takesOneTimeForAllFields();
    void readsNodeTexts_data();
    void readsNodeTexts();
    void readsBaseUrl_data();
    void readsBaseUrl();
    void choosesDirectionAndMedia_data();
    void choosesDirectionAndMedia();
    void skipsElementsWithoutId();
    void looksUpFlowAndSource_data();
    void looksUpFlowAndSource();
    void addsSdp();
    void keepsPercentSigns();
    void scansNothingWithoutSeeds();
    void scansNodesInOrder();
    void turnsSeedsIntoUrls_data();
    void turnsSeedsIntoUrls();
    void opensNoFile();
    void reportsFirstFailure_data();
    void reportsFirstFailure();
    void replacesSeeds();
    void clearsError();
    void takesNoErrorArgument();
};

namespace
{

const QList<QByteArray> resources{"self", "devices/", "sources/", "flows/", "senders/", "receivers/"};

QJsonObject object(const char *json)
{
    return QJsonDocument::fromJson(json).object();
}

QJsonArray array(const char *json)
{
    return QJsonDocument::fromJson(json).array();
}

/// What a Node API gives for a resource.
QByteArray nodeJson(const QByteArray &resource)
{
    if (resource == "self") {
        return R"({"id": "node-1", "label": "Camera"})";
    }
    return R"([{"id": ")" + resource + R"("}])";
}

/// A Node API below "/x-nmos/node/v1.3/" that answers one resource in its own way.
HttpPeer::Answer node(const QByteArray &resource = QByteArray(), const HttpAnswer &answer = HttpAnswer())
{
    return [resource, answer](const HttpRequest &request) {
        const QByteArray base = QByteArrayLiteral("/x-nmos/node/v1.3/");
        if (!request.target.startsWith(base)) {
            return HttpAnswer::notFound();
        }
        const QByteArray wanted = request.target.mid(base.size());
        return wanted == resource ? answer : HttpAnswer::ok(nodeJson(wanted));
    };
}

QList<QByteArray> nodeTargets()
{
    QList<QByteArray> targets;
    for (const QByteArray &resource : resources) {
        targets.append("/x-nmos/node/v1.3/" + resource);
    }
    return targets;
}

QString seedOf(const HttpPeer &peer)
{
    return peer.url("/x-nmos/node/v1.3/").toString();
}

/// A JSON object with white space behind it, of this many bytes in all.
QByteArray jsonOfSize(int size)
{
    const QByteArray json = nodeJson("self");
    return json + QByteArray(size - json.size(), ' ');
}

NmosNodeSnapshot bareNode()
{
    NmosNodeSnapshot snapshot;
    snapshot.baseUrl = QUrl(QStringLiteral("http://10.0.0.9:8080/x-nmos/node/v1.2"));
    snapshot.version = QStringLiteral("v1.2");
    snapshot.self = object(R"({"id": "node-1"})");
    return snapshot;
}

QStringList idsOf(const QList<DeviceRecord> &records)
{
    QStringList ids;
    for (const DeviceRecord &record : records) {
        ids.append(record.id);
    }
    return ids;
}

} // namespace

void NmosDiscovererTest::isProviderNmos()
{
    const NmosDiscoverer discoverer;
    QCOMPARE(discoverer.providerName(), QStringLiteral("nmos"));
    QVERIFY(discoverer.isAvailable());
}

void NmosDiscovererTest::readsVersion_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("version");

    const auto row = [](const char *name, const char *url, const char *version) {
        QTest::newRow(name) << QString::fromLatin1(url) << QString::fromLatin1(version);
    };
    row("Node API", "http://node/x-nmos/node/v1.2", "v1.2");
    row("slash at the end", "http://node/x-nmos/node/v1.2/", "v1.2");
    row("slashes in a row", "http://node//x-nmos//node//v1.2", "v1.2");
    row("segment behind the version", "http://node/x-nmos/node/v1.2/self", "v1.2");
    row("word with a v in front", "http://node/video/x-nmos/node/v1.2", "video");
    row("v alone", "http://node/v/v1.2", "v");
    row("two versions", "http://node/v1.1/v1.2", "v1.1");
    row("capital", "http://node/x-nmos/node/V1.2", "v1.3");
    row("v inside a segment", "http://node/nv1.2", "v1.3");
    row("no version", "http://node/x-nmos/node", "v1.3");
    row("no path", "http://node:8080", "v1.3");
    row("host alone begins with v", "http://v1.2/", "v1.3");
    row("query", "http://node/?v=v1.2", "v1.3");
    row("encoded letter", "http://node/%761.2", "v1.2");
    row("encoded slash", "http://node/node%2Fv1.2", "v1.2");
    row("encoded text", "http://node/v1%20x", "v1 x");
    row("empty", "", "v1.3");
}

void NmosDiscovererTest::readsVersion()
{
    QFETCH(QString, url);
    QFETCH(QString, version);

    QCOMPARE(nodeApiVersion(QUrl(url)), version);
}

void NmosDiscovererTest::trimsBaseUrls_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("text");

    const auto row = [](const char *name, const char *url, const char *text) {
        QTest::newRow(name) << QString::fromLatin1(url) << QString::fromLatin1(text);
    };
    row("no slash", "http://node:8080/v1.3", "http://node:8080/v1.3");
    row("one slash", "http://node:8080/v1.3/", "http://node:8080/v1.3");
    row("several slashes", "http://node:8080/v1.3///", "http://node:8080/v1.3");
    row("slashes inside", "http://node//v1.3/", "http://node//v1.3");
    row("host alone", "http://node/", "http://node");
    row("slash at the end of a query", "http://node/?a=/", "http://node/?a=");
    row("encoded slash", "http://node/a%2F", "http://node/a%2F");
    row("host in capitals", "HTTP://NODE/A/", "http://node/A");
    row("empty", "", "");
}

void NmosDiscovererTest::trimsBaseUrls()
{
    QFETCH(QString, url);
    QFETCH(QString, text);

    QCOMPARE(trimmedBaseUrl(QUrl(url)), text);
}

void NmosDiscovererTest::buildsResourceUrls_data()
{
    QTest::addColumn<QString>("base");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("url");

    const auto row = [](const char *name, const char *base, const char *path, const char *url) {
        QTest::newRow(name) << QString::fromLatin1(base) << QString::fromLatin1(path)
                            << QString::fromLatin1(url);
    };
    row("self", "http://node:8080/x-nmos/node/v1.3", "self", "http://node:8080/x-nmos/node/v1.3/self");
    row("list", "http://node/v1.3", "senders/", "http://node/v1.3/senders/");
    row("slash at the end", "http://node/v1.3/", "self", "http://node/v1.3/self");
    row("several slashes", "http://node/v1.3////", "self", "http://node/v1.3/self");
    row("host alone", "http://node", "self", "http://node/self");
    row("encoded path", "http://node/a%20b%25/", "self", "http://node/a%20b%25/self");
    row("IPv6 address", "http://[fe80::1]:80/", "self", "http://[fe80::1]:80/self");
}

void NmosDiscovererTest::buildsResourceUrls()
{
    QFETCH(QString, base);
    QFETCH(QString, path);
    QFETCH(QString, url);

    const QUrl resource = nodeResourceUrl(QUrl(base), path);
    QVERIFY(resource.isValid());
    QCOMPARE(resource.toString(QUrl::FullyEncoded), url);
}

void NmosDiscovererTest::findsById_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("id");
    QTest::addColumn<int>("index"); // of the element; -1 for an empty object

    const auto row = [](const char *name, const char *json, const char *id, int index) {
        QTest::newRow(name) << QByteArray(json) << QString::fromLatin1(id) << index;
    };
    row("only element", R"([{"id": "a"}])", "a", 0);
    row("later element", R"([{"id": "a"}, {"id": "b", "x": 1}])", "b", 1);
    row("first of two", R"([{"id": "a", "x": 1}, {"id": "a", "x": 2}])", "a", 0);
    row("none", R"([{"id": "a"}])", "b", -1);
    row("other letter case", R"([{"id": "A"}])", "a", -1);
    row("white space", R"([{"id": " a"}])", "a", -1);
    row("key in capitals", R"([{"ID": "a"}])", "a", -1);
    row("number", R"([{"id": 1}])", "1", -1);
    row("empty array", "[]", "a", -1);
    row("behind elements that are no objects", R"([1, "a", null, ["a"], {"id": "a"}])", "a", 4);
    row("empty id, element without id", R"([{"id": "a"}, {"x": 1}, {"x": 2}])", "", 1);
    row("empty id, element with an empty id", R"([{"id": "a"}, {"id": "", "x": 1}])", "", 1);
    row("empty id, element with a number", R"([{"id": "a"}, {"id": 1}])", "", 1);
    row("empty id, element that is no object", R"([{"id": "a"}, 1, {"x": 1}])", "", -1);
    row("empty id, all elements with one", R"([{"id": "a"}])", "", -1);
    row("empty id, empty array", "[]", "", -1);
}

void NmosDiscovererTest::findsById()
{
    QFETCH(QByteArray, json);
    QFETCH(QString, id);
    QFETCH(int, index);

    const QJsonArray elements = array(json);
    QCOMPARE(findById(elements, id), index < 0 ? QJsonObject() : elements.at(index).toObject());
}

void NmosDiscovererTest::readsFormat_data()
{
    QTest::addColumn<QString>("format");
    QTest::addColumn<int>("mediaKinds");

    const auto row = [](const char *name, const char *format, int mediaKinds) {
        QTest::newRow(name) << QString::fromLatin1(format) << mediaKinds;
    };
    row("video", "urn:x-nmos:format:video", 10);
    row("audio", "urn:x-nmos:format:audio", 9);
    row("data", "urn:x-nmos:format:data", 12);
    row("mux", "urn:x-nmos:format:mux", 8);
    row("empty", "", 8);
    row("capitals", "URN:X-NMOS:FORMAT:VIDEO", 10);
    row("audio in capitals", "AUDIO", 9);
    row("data in capitals", "Data", 12);
    row("video behind audio", "audio/video", 10);
    row("audio behind data", "data+audio", 9);
    row("inside a word", "metadata", 12);
    row("blank", " ", 8);
}

void NmosDiscovererTest::readsFormat()
{
    QFETCH(QString, format);
    QFETCH(int, mediaKinds);

    QCOMPARE(int(mediaKindsFromFormat(format)), mediaKinds);
}

void NmosDiscovererTest::buildsMetadata()
{
    const QJsonObject resource = object(R"({"id": "s", "tags": {"a": ["b"]}, "n": 1.5, "z": null})");
    const QJsonObject flow = object(R"({"id": "f"})");
    const QJsonObject source = object(R"({"id": "q"})");
    const QString resourceKey = QStringLiteral("resource");
    const QString flowKey = QStringLiteral("flow");
    const QString sourceKey = QStringLiteral("source");

    QCOMPARE(endpointMetadata(resource, flow, source), (QVariantMap{{resourceKey, resource.toVariantMap()},
                                                                    {flowKey, flow.toVariantMap()},
                                                                    {sourceKey, source.toVariantMap()}}));
    QCOMPARE(endpointMetadata(resource, flow, QJsonObject()),
             (QVariantMap{{resourceKey, resource.toVariantMap()}, {flowKey, flow.toVariantMap()}}));
    QCOMPARE(endpointMetadata(resource, QJsonObject(), source),
             (QVariantMap{{resourceKey, resource.toVariantMap()}, {sourceKey, source.toVariantMap()}}));
    QCOMPARE(endpointMetadata(QJsonObject(), QJsonObject(), QJsonObject()),
             (QVariantMap{{resourceKey, QVariantMap()}}));
    QCOMPARE(QJsonObject::fromVariantMap(endpointMetadata(resource, flow, source)).value(resourceKey),
             QJsonValue(resource));
}

void NmosDiscovererTest::fetchesJson_data()
{
    QTest::addColumn<HttpAnswer>("answer");
    QTest::addColumn<QJsonDocument>("document");
    QTest::addColumn<bool>("hasError");

    const QJsonDocument null;
    const QJsonDocument self = QJsonDocument::fromJson(nodeJson("self"));
    QTest::newRow("object") << HttpAnswer::ok(nodeJson("self")) << self << false;
    QTest::newRow("array") << HttpAnswer::ok("[1]") << QJsonDocument(QJsonArray{1}) << false;
    QTest::newRow("redirect with a body")
        << HttpAnswer::of("302 Found", nodeJson("self"), "Location: /other\r\n") << self << false;
    QTest::newRow("empty body") << HttpAnswer::ok(QByteArray()) << null << false;
    QTest::newRow("no JSON") << HttpAnswer::ok("<html>") << null << false;
    QTest::newRow("half of it") << HttpAnswer::ok(nodeJson("self").chopped(1)) << null << false;
    QTest::newRow("text behind it") << HttpAnswer::ok(nodeJson("self") + "x") << null << false;
    QTest::newRow("string") << HttpAnswer::ok("\"x\"") << null << false;
    QTest::newRow("404 with an object") << HttpAnswer::of("404 Not Found", nodeJson("self")) << null << true;
    QTest::newRow("500") << HttpAnswer::of("500 Broken", QByteArray()) << null << true;
    QTest::newRow("connection closed") << HttpAnswer{} << null << true;
}

void NmosDiscovererTest::fetchesJson()
{
    QFETCH(HttpAnswer, answer);
    QFETCH(QJsonDocument, document);
    QFETCH(bool, hasError);

    const HttpPeer peer(answer);
    NmosDiscoverer discoverer;
    QString error = QStringLiteral("left over");
    QCOMPARE(discoverer.fetchJson(peer.url("/"), &error), document);
    QCOMPARE(!error.isEmpty(), hasError);
    QVERIFY(error != QStringLiteral("left over"));
    QCOMPARE(discoverer.fetchJson(peer.url("/"), nullptr), document);
}

void NmosDiscovererTest::fetchesUpToItsLimit()
{
    const HttpPeer peer(HttpAnswer::ok(jsonOfSize(1048576)));
    NmosDiscoverer discoverer;
    QString error;
    QVERIFY(discoverer.fetchJson(peer.url("/"), &error).isObject());
    QCOMPARE(error, QString());
}

void NmosDiscovererTest::fetchesNothingAboveItsLimit()
{
    const HttpPeer peer(HttpAnswer::ok(jsonOfSize(1048577)));
    NmosDiscoverer discoverer;
    QString error;
    QVERIFY(discoverer.fetchJson(peer.url("/"), &error).isNull());
    QCOMPARE(error, QStringLiteral("NMOS JSON exceeded size limit"));
}

void NmosDiscovererTest::walksAllResources()
{
    const HttpPeer peer(node());
    NmosDiscoverer discoverer;
    NmosNodeSnapshot snapshot;
    QString error = QStringLiteral("left over");
    QVERIFY(discoverer.walkNode(QUrl(seedOf(peer)), &snapshot, &error));
    QCOMPARE(error, QString());
    QCOMPARE(peer.targets(), nodeTargets());
    for (const HttpRequest &request : peer.requests()) {
        QCOMPARE(request.method, QByteArray("GET"));
    }
    QCOMPARE(snapshot.baseUrl, QUrl(seedOf(peer)));
    QCOMPARE(snapshot.version, QStringLiteral("v1.3"));
    QCOMPARE(snapshot.self, object(nodeJson("self")));
    QCOMPARE(snapshot.devices, array(nodeJson("devices/")));
    QCOMPARE(snapshot.sources, array(nodeJson("sources/")));
    QCOMPARE(snapshot.flows, array(nodeJson("flows/")));
    QCOMPARE(snapshot.senders, array(nodeJson("senders/")));
    QCOMPARE(snapshot.receivers, array(nodeJson("receivers/")));
    QVERIFY(snapshot.senderSdp.isEmpty());
}

void NmosDiscovererTest::walksWithoutSlashesTwice_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QByteArray>("firstTarget");

    QTest::newRow("no path") << QByteArray("") << QByteArray("/self");
    QTest::newRow("root") << QByteArray("/") << QByteArray("/self");
    QTest::newRow("several slashes") << QByteArray("/v1.3///") << QByteArray("/v1.3/self");
    QTest::newRow("no slash") << QByteArray("/v1.3") << QByteArray("/v1.3/self");
}

void NmosDiscovererTest::walksWithoutSlashesTwice()
{
    QFETCH(QByteArray, path);
    QFETCH(QByteArray, firstTarget);

    const HttpPeer peer(HttpAnswer::notFound());
    NmosDiscoverer discoverer;
    NmosNodeSnapshot snapshot;
    QVERIFY(!discoverer.walkNode(peer.url(path), &snapshot, nullptr));
    QCOMPARE(peer.targets(), QList<QByteArray>{firstTarget});
}

void NmosDiscovererTest::endsWalkWithoutSelf_data()
{
    QTest::addColumn<HttpAnswer>("answer");
    QTest::addColumn<QString>("error"); // "*" for a text of Qt's

    const QString any = QStringLiteral("*");
    QTest::newRow("404 with an object") << HttpAnswer::of("404 Not Found", nodeJson("self")) << any;
    QTest::newRow("500") << HttpAnswer::of("500 Broken", QByteArray()) << any;
    QTest::newRow("connection closed") << HttpAnswer{} << any;
    QTest::newRow("half of the length told")
        << HttpAnswer{"HTTP/1.1 200 OK\r\nContent-Length: 9999\r\n\r\n" + nodeJson("self")} << any;
    QTest::newRow("too large") << HttpAnswer::ok(jsonOfSize(1048577))
                               << QStringLiteral("NMOS JSON exceeded size limit");
    QTest::newRow("array") << HttpAnswer::ok("[{\"id\": \"node-1\"}]") << QString();
    QTest::newRow("no JSON") << HttpAnswer::ok("hello") << QString();
    QTest::newRow("empty body") << HttpAnswer::ok(QByteArray()) << QString();
    QTest::newRow("null") << HttpAnswer::ok("null") << QString();
}

void NmosDiscovererTest::endsWalkWithoutSelf()
{
    QFETCH(HttpAnswer, answer);
    QFETCH(QString, error);

    const HttpPeer peer(node("self", answer));
    NmosDiscoverer discoverer;
    NmosNodeSnapshot snapshot;
    QString walkError = QStringLiteral("left over");
    QVERIFY(!discoverer.walkNode(QUrl(seedOf(peer)), &snapshot, &walkError));
    for (const QByteArray &target : peer.targets()) { // a closed connection is tried again by Qt
        QCOMPARE(target, nodeTargets().first());
    }

    discoverer.setRegistries({seedOf(peer)});
    QString scanError;
    QVERIFY(discoverer.scan(&scanError).isEmpty());
    QCOMPARE(scanError, walkError);
    if (error == QLatin1String("*")) {
        QVERIFY(!walkError.isEmpty());
        QVERIFY(walkError != QStringLiteral("left over"));
    } else {
        QCOMPARE(walkError, error);
    }
}

void NmosDiscovererTest::timesOut()
{
    const HttpPeer peer(node("self", HttpAnswer::silence()));
    NmosDiscoverer discoverer;
    discoverer.setRegistries({seedOf(peer)});
    QString error;
    QElapsedTimer elapsed;
    elapsed.start();
    QVERIFY(discoverer.scan(&error).isEmpty());
    QVERIFY(elapsed.elapsed() >= 1500);
    QCOMPARE(error, QStringLiteral("timed out fetching NMOS resource"));
    QCOMPARE(peer.requests().size(), 1);
}

void NmosDiscovererTest::walksOnWithoutList_data()
{
    QTest::addColumn<QByteArray>("resource");
    QTest::addColumn<HttpAnswer>("answer");

    for (const QByteArray &resource : resources.mid(1)) {
        QTest::addRow("404 for %s", resource.constData()) << resource << HttpAnswer::notFound();
        QTest::addRow("object for %s", resource.constData()) << resource << HttpAnswer::ok("{\"id\": \"x\"}");
        QTest::addRow("no JSON for %s", resource.constData()) << resource << HttpAnswer::ok("hello");
    }
    QTest::newRow("too large") << QByteArray("flows/") << HttpAnswer::ok(jsonOfSize(1048577));
    QTest::newRow("empty array") << QByteArray("senders/") << HttpAnswer::ok("[]");
}

void NmosDiscovererTest::walksOnWithoutList()
{
    QFETCH(QByteArray, resource);
    QFETCH(HttpAnswer, answer);

    const HttpPeer peer(node(resource, answer));
    NmosDiscoverer discoverer;
    NmosNodeSnapshot snapshot;
    QVERIFY(discoverer.walkNode(QUrl(seedOf(peer)), &snapshot, nullptr));
    QCOMPARE(peer.targets(), nodeTargets());
    const QList<QJsonArray> lists{snapshot.devices, snapshot.sources, snapshot.flows, snapshot.senders,
                                  snapshot.receivers};
    for (int i = 0; i < lists.size(); ++i) {
        const QByteArray &name = resources.at(i + 1);
        QCOMPARE(lists.at(i), name == resource ? QJsonArray() : array(nodeJson(name)));
    }

    discoverer.setRegistries({seedOf(peer)});
    QString error;
    QCOMPARE(idsOf(discoverer.scan(&error)), QStringList{QStringLiteral("node-1")});
    QCOMPARE(error, QString());
}

void NmosDiscovererTest::walksOnBehindSilentList()
{
    const HttpPeer peer(node("devices/", HttpAnswer::silence()));
    NmosDiscoverer discoverer;
    NmosNodeSnapshot snapshot;
    QString error;
    QElapsedTimer elapsed;
    elapsed.start();
    QVERIFY(discoverer.walkNode(QUrl(seedOf(peer)), &snapshot, &error));
    QVERIFY(elapsed.elapsed() >= 1500);
    QCOMPARE(error, QString());
    QCOMPARE(snapshot.devices, QJsonArray());
    QCOMPARE(snapshot.receivers, array(nodeJson("receivers/")));
}

void NmosDiscovererTest::walksNothingIntoNull()
{
    const HttpPeer peer(node());
    NmosDiscoverer discoverer;
    QVERIFY(!discoverer.walkNode(QUrl(seedOf(peer)), nullptr, nullptr));
    QString error;
    QVERIFY(!discoverer.walkNode(QUrl(seedOf(peer)), nullptr, &error));
    QCOMPARE(error, QString());
    QTest::qWait(0);
    QCOMPARE(peer.connections(), 0);
}

void NmosDiscovererTest::fillsEveryField()
{
    NmosNodeSnapshot snapshot = bareNode();
    snapshot.self = object(R"({"id": "node-1", "label": "Camera", "description": "Studio camera",
                               "hostname": "cam.studio.example", "href": "http://10.9.9.9/",
                               "api": {"endpoints": [{"host": "10.9.9.9"}]}})");
    snapshot.devices = array(R"([{"id": "device-1", "label": "Not an endpoint"}])");
    snapshot.sources = array(R"([{"id": "source-1", "format": "urn:x-nmos:format:data"}])");
    snapshot.flows =
        array(R"([{"id": "flow-1", "source_id": "source-1", "format": "urn:x-nmos:format:video"}])");
    snapshot.senders = array(R"([{"id": "sender-1", "label": "Out", "flow_id": "flow-1",
                                  "format": "urn:x-nmos:format:audio",
                                  "transport": "urn:x-nmos:transport:rtp.mcast"}])");
    snapshot.receivers = array(R"([{"id": "receiver-1", "label": "In", "format": "urn:x-nmos:format:audio",
                   "flow_id": "flow-1", "transport": "urn:x-nmos:transport:rtp"}])");

    DeviceRecord expected;
    expected.id = QStringLiteral("node-1");
    expected.displayName = QStringLiteral("Camera");
    expected.hostname = QStringLiteral("cam.studio.example");
    expected.addresses = QStringList{QStringLiteral("10.0.0.9")};
    expected.provider = QStringLiteral("nmos");
    expected.protocol = QStringLiteral("nmos");
    expected.direction = Direction::inputOutput;
    expected.mediaKinds = MediaKind::audio | MediaKind::video | MediaKind::control;
    expected.protocolData = QJsonObject{
        {QStringLiteral("nmos.version"), QStringLiteral("v1.2")},
        {QStringLiteral("nmos.nodeApiUrl"), QStringLiteral("http://10.0.0.9:8080/x-nmos/node/v1.2")},
        {QStringLiteral("nmos.node"), snapshot.self},
        {QStringLiteral("nmos.devices"), snapshot.devices},
        {QStringLiteral("nmos.sources"), snapshot.sources},
        {QStringLiteral("nmos.flows"), snapshot.flows},
        {QStringLiteral("nmos.senders"), snapshot.senders},
        {QStringLiteral("nmos.receivers"), snapshot.receivers}};
    EndpointRecord sender;
    sender.id = QStringLiteral("sender-1");
    sender.label = QStringLiteral("Out");
    sender.protocol = QStringLiteral("nmos");
    sender.url = QStringLiteral("nmos://sender/sender-1");
    sender.direction = Direction::input;
    sender.mediaKinds = MediaKind::video | MediaKind::control;
    sender.transport = QStringLiteral("urn:x-nmos:transport:rtp.mcast");
    sender.metadata = endpointMetadata(snapshot.senders.at(0).toObject(), snapshot.flows.at(0).toObject(),
                                       snapshot.sources.at(0).toObject());
    EndpointRecord receiver;
    receiver.id = QStringLiteral("receiver-1");
    receiver.label = QStringLiteral("In");
    receiver.protocol = QStringLiteral("nmos");
    receiver.url = QStringLiteral("nmos://receiver/receiver-1");
    receiver.direction = Direction::output;
    receiver.mediaKinds = MediaKind::audio | MediaKind::control;
    receiver.transport = QStringLiteral("urn:x-nmos:transport:rtp");
    receiver.metadata =
        QVariantMap{{QStringLiteral("resource"), snapshot.receivers.at(0).toObject().toVariantMap()}};
    expected.endpoints = {sender, receiver};
    compareRecords(recordFromNmosNode(snapshot), expected);
}

void NmosDiscovererTest::takesOneTimeForAllFields()
{
    NmosNodeSnapshot snapshot = bareNode();
    snapshot.senders = array(R"([{"id": "s1"}, {"id": "s2"}])");
    snapshot.receivers = array(R"([{"id": "r1"}])");
    const QDateTime before = QDateTime::currentDateTimeUtc();
    const DeviceRecord record = recordFromNmosNode(snapshot);
    QCOMPARE(record.endpoints.size(), 3);
    verifyOneTime(record, before);
}

void NmosDiscovererTest::readsNodeTexts_data()
{
    QTest::addColumn<QByteArray>("self");
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("displayName");
    QTest::addColumn<QString>("hostname");

    const char *const url = "http://10.0.0.9:8080/x-nmos/node/v1.2";
    const char *const host = "10.0.0.9";
    const auto row = [](const char *name, const char *self, const char *id, const char *displayName,
                        const char *hostname) {
        QTest::newRow(name) << QByteArray(self) << QString::fromLatin1(id) << QString::fromLatin1(displayName)
                            << QString::fromLatin1(hostname);
    };
    row("all", R"({"id": "a", "label": "b", "description": "c", "hostname": "d"})", "a", "b", "d");
    row("none", R"({"x": 1})", url, host, host);
    row("empty object", "{}", url, host, host);
    row("description for the label", R"({"id": "a", "description": "c"})", "a", "c", host);
    row("empty label", R"({"id": "a", "label": "", "description": "c"})", "a", "c", host);
    row("empty texts", R"({"id": "", "label": "", "description": "", "hostname": ""})", url, host, host);
    row("blank texts count", R"({"id": " ", "label": " ", "description": "c", "hostname": " "})", " ", " ",
        " ");
    row("no strings", R"({"id": 1, "label": ["b"], "description": null, "hostname": {}})", url, host, host);
    row("keys in capitals", R"({"ID": "a", "Label": "b", "Description": "c", "Hostname": "d"})", url, host,
        host);
}

void NmosDiscovererTest::readsNodeTexts()
{
    QFETCH(QByteArray, self);
    QFETCH(QString, id);
    QFETCH(QString, displayName);
    QFETCH(QString, hostname);

    NmosNodeSnapshot snapshot = bareNode();
    snapshot.self = object(self);
    const DeviceRecord record = recordFromNmosNode(snapshot);
    QCOMPARE(record.id, id);
    QCOMPARE(record.displayName, displayName);
    QCOMPARE(record.hostname, hostname);
    QCOMPARE(record.addresses, QStringList{QStringLiteral("10.0.0.9")});
}

void NmosDiscovererTest::readsBaseUrl_data()
{
    QTest::addColumn<QString>("baseUrl");
    QTest::addColumn<QString>("host");
    QTest::addColumn<QString>("text");

    const auto row = [](const char *name, const char *baseUrl, const char *host, const char *text) {
        QTest::newRow(name) << QString::fromLatin1(baseUrl) << QString::fromLatin1(host)
                            << QString::fromLatin1(text);
    };
    row("slash kept", "http://node/v1.3/", "node", "http://node/v1.3/");
    row("IPv6 address with scope", "http://[fe80::1%25eth0]/", "fe80::1%eth0", "http://[fe80::1%25eth0]/");
    row("encoded path shown", "http://node/a%20b", "node", "http://node/a b");
    row("port too great", "http://node:99999/", "", "");
    row("empty", "", "", "");
}

void NmosDiscovererTest::readsBaseUrl()
{
    QFETCH(QString, baseUrl);
    QFETCH(QString, host);
    QFETCH(QString, text);

    NmosNodeSnapshot snapshot = bareNode();
    snapshot.baseUrl = QUrl(baseUrl);
    snapshot.self = QJsonObject();
    const DeviceRecord record = recordFromNmosNode(snapshot);
    QCOMPARE(record.id, text);
    QCOMPARE(record.hostname, host);
    QCOMPARE(record.displayName, host);
    QCOMPARE(record.addresses, host.isEmpty() ? QStringList() : QStringList{host});
    QCOMPARE(record.protocolData.value(QStringLiteral("nmos.nodeApiUrl")), QJsonValue(text));
}

void NmosDiscovererTest::choosesDirectionAndMedia_data()
{
    QTest::addColumn<QByteArray>("senders");
    QTest::addColumn<QByteArray>("receivers");
    QTest::addColumn<int>("direction");
    QTest::addColumn<int>("mediaKinds");

    const auto row = [](const char *name, const char *senders, const char *receivers, Direction direction,
                        int mediaKinds) {
        QTest::newRow(name) << QByteArray(senders) << QByteArray(receivers) << int(direction) << mediaKinds;
    };
    const char *const video = R"([{"id": "s", "flow_id": "video"}])";
    const char *const audio = R"([{"id": "r", "format": "urn:x-nmos:format:audio"}])";
    row("neither", "[]", "[]", Direction::controlOnly, 8);
    row("sender", video, "[]", Direction::input, 10);
    row("receiver", "[]", audio, Direction::output, 9);
    row("both", video, audio, Direction::inputOutput, 11);
    row("two senders", R"([{"id": "s1", "flow_id": "video"}, {"id": "s2", "flow_id": "data"}])", "[]",
        Direction::input, 14);
    row("sender without flow", R"([{"id": "s"}])", "[]", Direction::input, 8);
    row("sender with unknown flow", R"([{"id": "s", "flow_id": "none"}])", "[]", Direction::input, 8);
    row("sender's own format", R"([{"id": "s", "format": "urn:x-nmos:format:video"}])", "[]",
        Direction::input, 8);
    row("receiver without format", "[]", R"([{"id": "r", "flow_id": "video"}])", Direction::output, 8);
    row("sender without id", R"([{"flow_id": "video"}])", "[]", Direction::controlOnly, 8);
    row("receiver without id", "[]", R"([{"format": "urn:x-nmos:format:audio"}])", Direction::controlOnly, 8);
}

void NmosDiscovererTest::choosesDirectionAndMedia()
{
    QFETCH(QByteArray, senders);
    QFETCH(QByteArray, receivers);
    QFETCH(int, direction);
    QFETCH(int, mediaKinds);

    NmosNodeSnapshot snapshot = bareNode();
    snapshot.flows = array(R"([{"id": "video", "format": "urn:x-nmos:format:VIDEO"},
                               {"id": "data", "format": "urn:x-nmos:format:data"}])");
    snapshot.senders = array(senders);
    snapshot.receivers = array(receivers);
    const DeviceRecord record = recordFromNmosNode(snapshot);
    QCOMPARE(int(record.direction), direction);
    QCOMPARE(int(record.mediaKinds), mediaKinds);
    QCOMPARE(record.ttlSeconds, 0);
}

void NmosDiscovererTest::skipsElementsWithoutId()
{
    NmosNodeSnapshot snapshot = bareNode();
    const char *const elements = R"([{"label": "x"}, {"id": ""}, {"id": 5}, 7, null, "a", ["a"],
                                     {"id": "b"}, {"id": " "}, {"id": "b"}])";
    snapshot.senders = array(elements);
    snapshot.receivers = array(elements);
    QStringList urls;
    for (const EndpointRecord &endpoint : recordFromNmosNode(snapshot).endpoints) {
        urls.append(endpoint.url);
    }
    QCOMPARE(urls, (QStringList{QStringLiteral("nmos://sender/b"), QStringLiteral("nmos://sender/ "),
                                QStringLiteral("nmos://sender/b"), QStringLiteral("nmos://receiver/b"),
                                QStringLiteral("nmos://receiver/ "), QStringLiteral("nmos://receiver/b")}));
}

void NmosDiscovererTest::looksUpFlowAndSource_data()
{
    QTest::addColumn<QByteArray>("sender");
    QTest::addColumn<QByteArray>("flows");
    QTest::addColumn<QByteArray>("sources");
    QTest::addColumn<int>("flow"); // index of the element in the metadata; -1 for none
    QTest::addColumn<int>("source");

    const auto row = [](const char *name, const char *sender, const char *flows, const char *sources,
                        int flow, int source) {
        QTest::newRow(name) << QByteArray(sender) << QByteArray(flows) << QByteArray(sources) << flow
                            << source;
    };
    row("both", R"({"id": "s", "flow_id": "f"})", R"([{"id": "e"}, {"id": "f", "source_id": "q"}])",
        R"([{"id": "p"}, {"id": "q"}])", 1, 1);
    row("unknown source", R"({"id": "s", "flow_id": "f"})", R"([{"id": "f", "source_id": "q"}])",
        R"([{"id": "p"}])", 0, -1);
    row("flow without source", R"({"id": "s", "flow_id": "f"})", R"([{"id": "f"}])", R"([{"id": "p"}])", 0,
        -1);
    row("flow without source, source without id", R"({"id": "s", "flow_id": "f"})", R"([{"id": "f"}])",
        R"([{"id": "p"}, {"x": 1}])", 0, 1);
    row("unknown flow", R"({"id": "s", "flow_id": "f"})", R"([{"id": "e"}])", R"([{"id": "p"}])", -1, -1);
    row("unknown flow, source without id", R"({"id": "s", "flow_id": "f"})", R"([{"id": "e"}])",
        R"([{"x": 1}])", -1, 0);
    row("no flow", R"({"id": "s"})", R"([{"id": "e"}])", R"([{"id": "p"}])", -1, -1);
    row("no flow, flow without id", R"({"id": "s"})",
        R"([{"id": "e"}, {"source_id": "p", "format": "video"}])", R"([{"id": "p"}])", 1, 0);
    row("flow null", R"({"id": "s", "flow_id": null})", R"([{"source_id": "p"}])", R"([{"id": "p"}])", 0, 0);
    row("no flow, flow that is no object", R"({"id": "s"})", R"([1, {"x": 1}])", "[]", -1, -1);
    row("empty lists", R"({"id": "s", "flow_id": "f"})", "[]", "[]", -1, -1);
}

void NmosDiscovererTest::looksUpFlowAndSource()
{
    QFETCH(QByteArray, sender);
    QFETCH(QByteArray, flows);
    QFETCH(QByteArray, sources);
    QFETCH(int, flow);
    QFETCH(int, source);

    NmosNodeSnapshot snapshot = bareNode();
    snapshot.senders = QJsonArray{object(sender)};
    snapshot.flows = array(flows);
    snapshot.sources = array(sources);
    const DeviceRecord record = recordFromNmosNode(snapshot);
    QCOMPARE(record.endpoints.size(), 1);
    QVariantMap metadata{{QStringLiteral("resource"), object(sender).toVariantMap()}};
    if (flow >= 0) {
        metadata.insert(QStringLiteral("flow"), snapshot.flows.at(flow).toObject().toVariantMap());
    }
    if (source >= 0) {
        metadata.insert(QStringLiteral("source"), snapshot.sources.at(source).toObject().toVariantMap());
    }
    QCOMPARE(record.endpoints.first().metadata, metadata);
}

void NmosDiscovererTest::addsSdp()
{
    const QString sdpKey = QStringLiteral("sdp");
    const QString sdp = QStringLiteral("v=0\r\ns=%1\r\n");
    NmosNodeSnapshot snapshot = bareNode();
    snapshot.senders = array(R"([{"id": "a"}, {"id": "b"}, {"id": "c"}])");
    snapshot.receivers = array(R"([{"id": "a"}])");
    snapshot.senderSdp = {{QStringLiteral("a"), sdp}, {QStringLiteral("b"), QString()}};
    const QList<EndpointRecord> endpoints = recordFromNmosNode(snapshot).endpoints;
    QCOMPARE(endpoints.size(), 4);
    QCOMPARE(endpoints.at(0).metadata.value(sdpKey), QVariant(sdp));
    QVERIFY(!endpoints.at(1).metadata.contains(sdpKey));
    QVERIFY(!endpoints.at(2).metadata.contains(sdpKey));
    QVERIFY(!endpoints.at(3).metadata.contains(sdpKey));
}

void NmosDiscovererTest::keepsPercentSigns()
{
    NmosNodeSnapshot snapshot = bareNode();
    snapshot.senders = array(R"([{"id": "%1%2", "label": "%1"}])");
    const DeviceRecord record = recordFromNmosNode(snapshot);
    QCOMPARE(record.endpoints.first().id, QStringLiteral("%1%2"));
    QCOMPARE(record.endpoints.first().url, QStringLiteral("nmos://sender/%1%2"));
    QCOMPARE(record.endpoints.first().label, QStringLiteral("%1"));
}

void NmosDiscovererTest::scansNothingWithoutSeeds()
{
    NmosDiscoverer discoverer;
    QString error = QStringLiteral("left over");
    QVERIFY(discoverer.scan(&error).isEmpty());
    QCOMPARE(error, QString());
}

void NmosDiscovererTest::scansNodesInOrder()
{
    const HttpPeer first(node("self", HttpAnswer::ok(R"({"id": "z"})")));
    const HttpPeer second(node("self", HttpAnswer::ok(R"({"id": "a"})")));
    NmosDiscoverer discoverer;
    discoverer.setRegistries({seedOf(first), seedOf(second), seedOf(first)});
    QString error;
    const QDateTime before = QDateTime::currentDateTimeUtc();
    const QList<DeviceRecord> records = discoverer.scan(&error);
    QCOMPARE(error, QString());
    QCOMPARE(idsOf(records), (QStringList{QStringLiteral("z"), QStringLiteral("a"), QStringLiteral("z")}));
    QCOMPARE(first.targets(), nodeTargets() + nodeTargets());
    QCOMPARE(second.targets(), nodeTargets());
    for (const DeviceRecord &record : records) {
        QCOMPARE(record.endpoints.size(), 2);
        verifyOneTime(record, before);
    }
    NmosNodeSnapshot snapshot;
    QVERIFY(discoverer.walkNode(QUrl(seedOf(second)), &snapshot, nullptr));
    compareRecords(records.at(1), recordFromNmosNode(snapshot));
}

void NmosDiscovererTest::turnsSeedsIntoUrls_data()
{
    QTest::addColumn<QString>("seed"); // %1 is the port
    QTest::addColumn<QString>("nodeApiUrl");
    QTest::addColumn<QByteArray>("firstTarget");
    QTest::addColumn<QString>("version");

    const auto row = [](const char *name, const char *seed, const char *nodeApiUrl, const char *firstTarget,
                        const char *version) {
        QTest::newRow(name) << QString::fromLatin1(seed) << QString::fromLatin1(nodeApiUrl)
                            << QByteArray(firstTarget) << QString::fromLatin1(version);
    };
    row("URL", "http://127.0.0.1:%1/x-nmos/node/v1.2/", "http://127.0.0.1:%1/x-nmos/node/v1.2/",
        "/x-nmos/node/v1.2/self", "v1.2");
    row("address and port", "127.0.0.1:%1", "http://127.0.0.1:%1", "/self", "v1.3");
    row("address, port and path", "127.0.0.1:%1/x-nmos/node/v1.1", "http://127.0.0.1:%1/x-nmos/node/v1.1",
        "/x-nmos/node/v1.1/self", "v1.1");
    row("white space around", "  http://127.0.0.1:%1/ ", "http://127.0.0.1:%1/", "/self", "v1.3");
    row("several slashes", "http://127.0.0.1:%1/v1.0///", "http://127.0.0.1:%1/v1.0///", "/v1.0/self",
        "v1.0");
    row("word in front of the version", "http://127.0.0.1:%1/video/v1.2", "http://127.0.0.1:%1/video/v1.2",
        "/video/v1.2/self", "video");
    row("blank in the path", "http://127.0.0.1:%1/a b/", "http://127.0.0.1:%1/a b/", "/a%20b/self", "v1.3");
}

void NmosDiscovererTest::turnsSeedsIntoUrls()
{
    QFETCH(QString, seed);
    QFETCH(QString, nodeApiUrl);
    QFETCH(QByteArray, firstTarget);
    QFETCH(QString, version);

    const HttpPeer peer([](const HttpRequest &request) {
        return HttpAnswer::ok(request.target.endsWith("self") ? QByteArrayLiteral("{}")
                                                              : QByteArrayLiteral("[]"));
    });
    NmosDiscoverer discoverer;
    discoverer.setRegistries({seed.arg(peer.port())});
    QString error;
    const QList<DeviceRecord> records = discoverer.scan(&error);
    QCOMPARE(error, QString());
    QCOMPARE(records.size(), 1);
    QCOMPARE(peer.targets().first(), firstTarget);
    QCOMPARE(peer.requests().size(), 6);
    const QString url = nodeApiUrl.arg(peer.port());
    QCOMPARE(records.first().id, url);
    QCOMPARE(records.first().displayName, QStringLiteral("127.0.0.1"));
    QCOMPARE(records.first().protocolData.value(QStringLiteral("nmos.nodeApiUrl")), QJsonValue(url));
    QCOMPARE(records.first().protocolData.value(QStringLiteral("nmos.version")), QJsonValue(version));
}

void NmosDiscovererTest::opensNoFile()
{
    const QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("self")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.write(nodeJson("self")) > 0);
    file.close();
    NmosDiscoverer discoverer;
    for (const QString &seed : {folder.path(), QUrl::fromLocalFile(folder.path()).toString()}) {
        discoverer.setRegistries({seed});
        QString error;
        QVERIFY(discoverer.scan(&error).isEmpty());
        QVERIFY(!error.isEmpty());
    }
}

void NmosDiscovererTest::reportsFirstFailure_data()
{
    QTest::addColumn<QStringList>("nodes"); // what becomes of "self" at each
    QTest::addColumn<QString>("error");
    QTest::addColumn<int>("records");

    const QString good = QStringLiteral("good");
    const QString large = QStringLiteral("large");
    const QString silent = QStringLiteral("silent");
    const QString array = QStringLiteral("array");
    const QString largeText = QStringLiteral("NMOS JSON exceeded size limit");
    const QString silentText = QStringLiteral("timed out fetching NMOS resource");
    QTest::newRow("good nodes") << QStringList{good, good} << QString() << 2;
    QTest::newRow("two failures") << QStringList{large, silent} << largeText << 0;
    QTest::newRow("two failures the other way round") << QStringList{silent, large} << silentText << 0;
    QTest::newRow("failure between good nodes") << QStringList{good, large, good} << largeText << 2;
    QTest::newRow("failure without a text") << QStringList{array, good} << QString() << 1;
    QTest::newRow("failure without a text, then one with") << QStringList{array, large} << largeText << 0;
    QTest::newRow("one with a text, then one without") << QStringList{large, array} << largeText << 0;
}

void NmosDiscovererTest::reportsFirstFailure()
{
    QFETCH(QStringList, nodes);
    QFETCH(QString, error);
    QFETCH(int, records);

    const HttpPeer good(node());
    const HttpPeer large(node("self", HttpAnswer::ok(jsonOfSize(1048577))));
    const HttpPeer silent(node("self", HttpAnswer::silence()));
    const HttpPeer array(node("self", HttpAnswer::ok("[]")));
    const QMap<QString, QString> seeds{{QStringLiteral("good"), seedOf(good)},
                                       {QStringLiteral("large"), seedOf(large)},
                                       {QStringLiteral("silent"), seedOf(silent)},
                                       {QStringLiteral("array"), seedOf(array)}};
    QStringList registries;
    for (const QString &name : nodes) {
        registries.append(seeds.value(name));
    }
    NmosDiscoverer discoverer;
    discoverer.setRegistries(registries);
    QString scanError;
    QCOMPARE(discoverer.scan(&scanError).size(), records);
    QCOMPARE(scanError, error);
}

void NmosDiscovererTest::replacesSeeds()
{
    const HttpPeer first(node());
    const HttpPeer second(node());
    NmosDiscoverer discoverer;
    discoverer.setRegistries({seedOf(first)});
    discoverer.setRegistries({seedOf(second)});
    QCOMPARE(discoverer.scan(nullptr).size(), 1);
    QCOMPARE(discoverer.scan(nullptr).size(), 1);
    QCOMPARE(first.connections(), 0);
    QCOMPARE(second.requests().size(), 12);
}

void NmosDiscovererTest::clearsError()
{
    const HttpPeer peer(node());
    NmosDiscoverer discoverer;
    discoverer.setRegistries({seedOf(peer)});
    QString error = QStringLiteral("left over");
    QCOMPARE(discoverer.scan(&error).size(), 1);
    QCOMPARE(error, QString());
}

void NmosDiscovererTest::takesNoErrorArgument()
{
    const HttpPeer missing(HttpAnswer::notFound());
    const HttpPeer good(node());
    NmosDiscoverer discoverer;
    discoverer.setRegistries({seedOf(missing), QString(), seedOf(good)});
    QCOMPARE(idsOf(discoverer.scan(nullptr)), QStringList{QStringLiteral("node-1")});
}

QTEST_GUILESS_MAIN(NmosDiscovererTest)
#include "nmos_discoverer_test.moc"
