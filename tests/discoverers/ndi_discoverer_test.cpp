#include "discoverers/ndi_discoverer.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLibrary>
#include <QTemporaryDir>
#include <QtTest>

#ifdef Q_OS_WIN
#include <windows.h>
#endif

#include "discoverers/ndi_runtime.h"
#include "record_checks.h"

using namespace Sondrix;

Q_DECLARE_METATYPE(Sondrix::NdiSource)

/// Scans with stand-ins of the runtime (fake_ndi/), which lie beside the current directory.
class NdiDiscovererTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void isProviderNdi();
    void isAvailableAsSaid();
    void readsHost_data();
    void readsHost();
    void choosesId_data();
    void choosesId();
    void encodesUrl_data();
    void encodesUrl();
    void fillsEveryField();
    void takesOneTimeForAllFields();
    void choosesNamesAndHost_data();
    void choosesNamesAndHost();
    void keepsTextUntrimmed();
    void givesDefaultRecord_data();
    void givesDefaultRecord();
    void scansInOrderOfTheRuntime();
    void callsTheRuntimeInOrder();
    void doesWithoutCpuCheck();
    void handsServersOn_data();
    void handsServersOn();
    void replacesServers();
    void readsOddSources();
    void keepsFirstOfEqualKeys();
    void findsNothing_data();
    void findsNothing();
    void reportsRefusal_data();
    void reportsRefusal();
    void leavesRuntimeAloneWhileUnavailable();
    void reportsMissingRuntime();
    void passesOverIncompleteRuntime();
    void keepsRuntimeLoaded();
    void looksForTheRuntimeInEveryScan();
    void clearsError();

private:
    QString path(const QString &relative) const;
    bool install(const QString &library) const;
    QByteArray calls() const;

    QScopedPointer<QTemporaryDir> m_root;
    QString m_currentPath; // what to restore
    // Whole, because a path without a drive leads elsewhere once the current directory has changed.
    const QDir m_libraries{QDir(QStringLiteral(SONDRIX_FAKE_NDI_DIRECTORY)).canonicalPath()};
};

namespace
{

NdiSource source(const char *name, const char *urlAddress)
{
    return {QString::fromUtf8(name), QString::fromUtf8(urlAddress)};
}

QList<DeviceRecord> scan(QString *error = nullptr, const QStringList &servers = QStringList())
{
    NdiDiscoverer discoverer;
    discoverer.setAvailable(true);
    discoverer.setDiscoveryServers(servers);
    return discoverer.scan(error);
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

void NdiDiscovererTest::init()
{
    m_currentPath = QDir::currentPath();
    m_root.reset(new QTemporaryDir);
    QVERIFY(m_root->isValid());
    QVERIFY(QDir().mkpath(path(QStringLiteral("a/b/c"))));
    QVERIFY(QDir().mkpath(path(QStringLiteral("a/bin64"))));
    QVERIFY(QDir::setCurrent(path(QStringLiteral("a/b/c"))));
    qputenv("FAKE_NDI_LOG", QFile::encodeName(path(QStringLiteral("calls"))));
    qunsetenv("FAKE_NDI_PART");
}

void NdiDiscovererTest::cleanup()
{
    QVERIFY(QDir::setCurrent(m_currentPath));
#ifdef Q_OS_WIN
    // A scan leaves its runtime loaded, and the loader would give it to the next one for its bare name.
    while (HMODULE runtime = GetModuleHandleW(L"Processing.NDI.Lib.x64.dll")) {
        FreeLibrary(runtime);
    }
#endif
    m_root.reset();
}

QString NdiDiscovererTest::path(const QString &relative) const
{
    return m_root->filePath(relative);
}

/// Puts a stand-in where a scan looks for the runtime.
bool NdiDiscovererTest::install(const QString &library) const
{
    return QFile::copy(m_libraries.filePath(library + QStringLiteral(".dll")),
                       path(QStringLiteral("a/bin64/Processing.NDI.Lib.x64.dll")));
}

/// What the stand-in was called with so far.
QByteArray NdiDiscovererTest::calls() const
{
    QFile file(path(QStringLiteral("calls")));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void NdiDiscovererTest::isProviderNdi()
{
    QCOMPARE(NdiDiscoverer().providerName(), QStringLiteral("ndi"));
}

void NdiDiscovererTest::isAvailableAsSaid()
{
    NdiDiscoverer discoverer;
    QVERIFY(!discoverer.isAvailable());
    discoverer.setAvailable(true);
    QVERIFY(discoverer.isAvailable());
    discoverer.setAvailable(false);
    QVERIFY(!discoverer.isAvailable());
}

void NdiDiscovererTest::readsHost_data()
{
    QTest::addColumn<QString>("urlAddress");
    QTest::addColumn<QString>("host");

    const auto row = [](const char *name, const char *urlAddress, const char *host) {
        QTest::newRow(name) << QString::fromUtf8(urlAddress) << QString::fromUtf8(host);
    };
    row("address and port", "192.168.1.20:5961", "192.168.1.20");
    row("address", "192.168.1.20", "192.168.1.20");
    row("name and port", "Studio-PC:5961", "studio-pc");
    row("name", "studio-pc.local", "studio-pc.local");
    row("blanks around", " \t192.168.1.20:5961 ", "192.168.1.20");
    row("path", "192.168.1.20:5961/cam", "192.168.1.20");
    row("URL", "http://192.168.1.20:80/cam?x=1", "192.168.1.20");
    row("URL of another scheme", "ndi://cam.local:5961/x", "cam.local");
    row("IPv6 and port", "[fe80::1]:5961", "fe80::1");
    row("IPv6", "fe80::1", "fe80::1");
    row("nothing", "", "");
    row("blanks alone", " \t ", "");
    row("port too great", "host:99999", "host");
    row("port too great, path", "Host:99999/x:y", "Host");
    row("blank in the name", "a b:5961", "a b");
    row("slash first", "/cam/1", "/cam/1");
    row("slash first, colon", "/cam:1", "/cam");
    row("two colons", "a:b:c", "a:b:c");
    row("two colons, path", "a:b:c/d", "a:b:c");
    row("brackets", "[x]:1", "[x]:1");
    row("brackets, path", "[x]:1/y", "[x]:1");
    row("place-holder", "%1:5961", "%1");
}

void NdiDiscovererTest::readsHost()
{
    QFETCH(QString, urlAddress);
    QFETCH(QString, host);

    QCOMPARE(ndiSourceHost({QStringLiteral("NAME (x)"), urlAddress}), host);
}

void NdiDiscovererTest::choosesId_data()
{
    QTest::addColumn<NdiSource>("source");
    QTest::addColumn<QString>("id");

    const auto row = [](const char *name, const NdiSource &value, const char *id) {
        QTest::newRow(name) << value << QString::fromUtf8(id);
    };
    row("name", source("STUDIO (Cam 1)", "10.0.0.1:5961"), "ndi:studio (cam 1)");
    row("name to be trimmed", source(" STUDIO (Cam 1)\n", ""), "ndi:studio (cam 1)");
    row("no name", source("", "Studio-PC:5961"), "ndi:studio-pc:5961");
    row("no name, address to be trimmed", source("", " 10.0.0.1:5961 "), "ndi:10.0.0.1:5961");
    row("blank name", source("  ", "10.0.0.1:5961"), "ndi:");
    row("nothing", source("", ""), "ndi:");
    row("beyond ASCII", source("B\xc3\x9cHNE", ""), "ndi:b\xc3\xbchne");
    row("place-holder", source("%1", ""), "ndi:%1");
}

void NdiDiscovererTest::choosesId()
{
    QFETCH(NdiSource, source);
    QFETCH(QString, id);

    QCOMPARE(ndiSourceId(source), id);
}

void NdiDiscovererTest::encodesUrl_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("url");

    const auto row = [](const char *name, const char *text, const char *url) {
        QTest::newRow(name) << QString::fromUtf8(text) << QString::fromUtf8(url);
    };
    row("blanks and brackets", "STUDIO (Cam 1)", "ndi://STUDIO%20%28Cam%201%29");
    row("white space at the ends", " \tCam\n", "ndi://Cam");
    row("unreserved", "aZ09-._~", "ndi://aZ09-._~");
    row("reserved", ":/?#[]@!$&'()*+,;=", "ndi://%3A%2F%3F%23%5B%5D%40%21%24%26%27%28%29%2A%2B%2C%3B%3D");
    row("percent signs", "100% %1 %20", "ndi://100%25%20%251%20%2520");
    row("beyond ASCII", "B\xc3\xbchne \xf0\x9f\x8e\xa5", "ndi://B%C3%BChne%20%F0%9F%8E%A5");
    row("nothing", "", "ndi://");
}

void NdiDiscovererTest::encodesUrl()
{
    QFETCH(QString, text);
    QFETCH(QString, url);

    QCOMPARE(ndiSourceUrl(text), url);
}

void NdiDiscovererTest::fillsEveryField()
{
    DeviceRecord expected;
    expected.id = QStringLiteral("ndi:studio (cam 1)");
    expected.displayName = QStringLiteral("STUDIO (Cam 1)");
    expected.hostname = QStringLiteral("10.0.0.1");
    expected.addresses = QStringList{QStringLiteral("10.0.0.1")};
    expected.provider = QStringLiteral("ndi");
    expected.protocol = QStringLiteral("ndi");
    expected.direction = Direction::input;
    expected.mediaKinds = MediaKind::audio | MediaKind::video | MediaKind::metadata;
    expected.ttlSeconds = 60;
    expected.protocolData = QJsonObject{{QStringLiteral("ndi.name"), QStringLiteral("STUDIO (Cam 1)")},
                                        {QStringLiteral("ndi.urlAddress"), QStringLiteral("10.0.0.1:5961")}};
    EndpointRecord endpoint;
    endpoint.id = QStringLiteral("ndi:studio (cam 1):source");
    endpoint.label = QStringLiteral("STUDIO (Cam 1)");
    endpoint.protocol = QStringLiteral("ndi");
    endpoint.url = QStringLiteral("ndi://STUDIO%20%28Cam%201%29");
    endpoint.direction = Direction::input;
    endpoint.mediaKinds = MediaKind::audio | MediaKind::video | MediaKind::metadata;
    endpoint.transport = QStringLiteral("NDI");
    endpoint.metadata = QVariantMap{{QStringLiteral("sourceName"), QStringLiteral("STUDIO (Cam 1)")},
                                    {QStringLiteral("urlAddress"), QStringLiteral("10.0.0.1:5961")},
                                    {QStringLiteral("address"), QStringLiteral("10.0.0.1")}};
    expected.endpoints.append(endpoint);

    compareRecords(recordFromNdiSource(source("STUDIO (Cam 1)", "10.0.0.1:5961")), expected);
}

void NdiDiscovererTest::takesOneTimeForAllFields()
{
    const QDateTime before = QDateTime::currentDateTimeUtc();
    const DeviceRecord record = recordFromNdiSource(source("STUDIO (Cam 1)", "10.0.0.1:5961"));
    QCOMPARE(record.endpoints.size(), 1);
    verifyOneTime(record, before);
}

void NdiDiscovererTest::choosesNamesAndHost_data()
{
    QTest::addColumn<NdiSource>("source");
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("displayName");
    QTest::addColumn<QString>("host");
    QTest::addColumn<QString>("url");

    QTest::newRow("no address") << source("A (b)", "") << QStringLiteral("ndi:a (b)")
                                << QStringLiteral("A (b)") << QString()
                                << QStringLiteral("ndi://A%20%28b%29");
    QTest::newRow("blank address") << source("A", " ") << QStringLiteral("ndi:a") << QStringLiteral("A")
                                   << QString() << QStringLiteral("ndi://A");
    QTest::newRow("no name") << source("", "PC:5961") << QStringLiteral("ndi:pc:5961")
                             << QStringLiteral("PC:5961") << QStringLiteral("pc")
                             << QStringLiteral("ndi://PC%3A5961");
    QTest::newRow("blank name") << source(" ", " 10.0.0.1:5961 ") << QStringLiteral("ndi:")
                                << QStringLiteral("10.0.0.1:5961") << QStringLiteral("10.0.0.1")
                                << QStringLiteral("ndi://10.0.0.1%3A5961");
    QTest::newRow("both to be trimmed")
        << source(" A ", " 10.0.0.1 ") << QStringLiteral("ndi:a") << QStringLiteral("A")
        << QStringLiteral("10.0.0.1") << QStringLiteral("ndi://A");
}

void NdiDiscovererTest::choosesNamesAndHost()
{
    QFETCH(NdiSource, source);
    QFETCH(QString, id);
    QFETCH(QString, displayName);
    QFETCH(QString, host);
    QFETCH(QString, url);

    const DeviceRecord record = recordFromNdiSource(source);
    QCOMPARE(record.id, id);
    QCOMPARE(record.displayName, displayName);
    QCOMPARE(record.hostname, host);
    QCOMPARE(record.addresses, host.isEmpty() ? QStringList() : QStringList{host});
    QVERIFY(hasStableKey(record));
    QCOMPARE(record.endpoints.size(), 1);
    const EndpointRecord &endpoint = record.endpoints.first();
    QCOMPARE(endpoint.id, QString(id + QStringLiteral(":source")));
    QCOMPARE(endpoint.label, displayName);
    QCOMPARE(endpoint.url, url);
    QCOMPARE(endpoint.metadata.contains(QStringLiteral("address")), !host.isEmpty());
    QCOMPARE(endpoint.metadata.value(QStringLiteral("address")).toString(), host);
}

void NdiDiscovererTest::keepsTextUntrimmed()
{
    const DeviceRecord record = recordFromNdiSource(source(" A ", "\t10.0.0.1 "));
    QCOMPARE(record.protocolData,
             (QJsonObject{{QStringLiteral("ndi.name"), QStringLiteral(" A ")},
                          {QStringLiteral("ndi.urlAddress"), QStringLiteral("\t10.0.0.1 ")}}));
    QCOMPARE(record.endpoints.first().metadata,
             (QVariantMap{{QStringLiteral("sourceName"), QStringLiteral(" A ")},
                          {QStringLiteral("urlAddress"), QStringLiteral("\t10.0.0.1 ")},
                          {QStringLiteral("address"), QStringLiteral("10.0.0.1")}}));
}

void NdiDiscovererTest::givesDefaultRecord_data()
{
    QTest::addColumn<NdiSource>("source");

    QTest::newRow("nothing") << source("", "");
    QTest::newRow("blank name") << source(" \t", "");
    QTest::newRow("blank address") << source("", "\n ");
    QTest::newRow("both blank") << source(" ", " ");
}

void NdiDiscovererTest::givesDefaultRecord()
{
    QFETCH(NdiSource, source);

    const DeviceRecord record = recordFromNdiSource(source);
    compareRecords(record, DeviceRecord());
    QVERIFY(!record.firstSeen.isValid());
    QVERIFY(!hasStableKey(record));
}

void NdiDiscovererTest::scansInOrderOfTheRuntime()
{
    QVERIFY(install(QStringLiteral("fake_ndi")));
    const QDateTime before = QDateTime::currentDateTimeUtc();
    QString error;
    const QList<DeviceRecord> records = scan(&error);
    QCOMPARE(error, QString());
    QCOMPARE(records.size(), 2);
    compareRecords(records.first(), recordFromNdiSource(source("STUDIO (Cam 2)", "10.0.0.2:5961")));
    compareRecords(records.last(), recordFromNdiSource(source("STUDIO (Cam 1)", "10.0.0.1:5961")));
    verifyOneTime(records.first(), before);
    verifyOneTime(records.last(), before);
}

void NdiDiscovererTest::callsTheRuntimeInOrder()
{
    QVERIFY(install(QStringLiteral("fake_ndi")));
    scan();
    QCOMPARE(calls(), QByteArray("is_supported_CPU\n"
                                 "initialize 1\n"
                                 "find_create_v2 local=1 groups=null extra=null\n"
                                 "find_wait_for_sources 1500\n"
                                 "find_get_current_sources count=0\n"
                                 "find_destroy\n"));
}

void NdiDiscovererTest::doesWithoutCpuCheck()
{
    QVERIFY(install(QStringLiteral("fake_ndi_without_NDIlib_is_supported_CPU")));
    qputenv("FAKE_NDI_PART", "refuse CPU");
    QString error;
    QCOMPARE(scan(&error).size(), 2);
    QCOMPARE(error, QString());
    QVERIFY(calls().startsWith("initialize 1\n"));
}

void NdiDiscovererTest::handsServersOn_data()
{
    QTest::addColumn<QStringList>("servers");
    QTest::addColumn<QByteArray>("extra");

    const QString a = QStringLiteral("10.0.0.1");
    QTest::newRow("none") << QStringList() << QByteArrayLiteral("null");
    QTest::newRow("one") << QStringList{a} << QByteArrayLiteral("\"10.0.0.1\"");
    QTest::newRow("two") << QStringList{a, QStringLiteral("ndi.local:5959")}
                         << QByteArrayLiteral("\"10.0.0.1,ndi.local:5959\"");
    QTest::newRow("one twice") << QStringList{a, a} << QByteArrayLiteral("\"10.0.0.1,10.0.0.1\"");
    QTest::newRow("empty") << QStringList{QString()} << QByteArrayLiteral("null");
    QTest::newRow("two empty") << QStringList{QString(), QString()} << QByteArrayLiteral("\",\"");
    QTest::newRow("blanks") << QStringList{QStringLiteral(" 10.0.0.1 "), QStringLiteral(" ")}
                            << QByteArrayLiteral("\" 10.0.0.1 , \"");
    QTest::newRow("beyond ASCII, place-holder")
        << QStringList{QStringLiteral("b\u00fchne"), QStringLiteral("%1")}
        << QByteArrayLiteral("\"b\xc3\xbchne,%1\"");
}

void NdiDiscovererTest::handsServersOn()
{
    QFETCH(QStringList, servers);
    QFETCH(QByteArray, extra);

    QVERIFY(install(QStringLiteral("fake_ndi")));
    QCOMPARE(scan(nullptr, servers).size(), 2);
    QVERIFY(calls().contains("find_create_v2 local=1 groups=null extra=" + extra + "\n"));
}

void NdiDiscovererTest::replacesServers()
{
    QVERIFY(install(QStringLiteral("fake_ndi")));
    NdiDiscoverer discoverer;
    discoverer.setAvailable(true);
    discoverer.setDiscoveryServers({QStringLiteral("first")});
    discoverer.setDiscoveryServers({QStringLiteral("second")});
    discoverer.scan(nullptr);
    QVERIFY(calls().contains("extra=\"second\"\n"));
}

void NdiDiscovererTest::readsOddSources()
{
    QVERIFY(install(QStringLiteral("fake_ndi")));
    qputenv("FAKE_NDI_PART", "odd sources");
    const QList<DeviceRecord> records = scan();
    const QList<NdiSource> expected{
        source("", "10.0.0.1:5961"),
        source("NO ADDRESS (Cam)", ""),
        source(" ", "10.0.0.2:5961"),
        source("B\xc3\x9cHNE (Kamera \xf0\x9f\x8e\xa5)", "b\xc3\xbchne.de:5961"),
        source("BROKEN \xef\xbf\xbd", "10.0.0.4"),
        source("%1 %2", "%1"),
    };
    QCOMPARE(records.size(), expected.size());
    for (int i = 0; i < expected.size(); ++i) {
        compareRecords(records.at(i), recordFromNdiSource(expected.at(i)));
    }
}

void NdiDiscovererTest::keepsFirstOfEqualKeys()
{
    QVERIFY(install(QStringLiteral("fake_ndi")));
    qputenv("FAKE_NDI_PART", "many sources");
    QCOMPARE(idsOf(scan()), QStringList{QStringLiteral("ndi:studio (cam 1)")});
}

void NdiDiscovererTest::findsNothing_data()
{
    QTest::addColumn<QByteArray>("part");

    QTest::newRow("no sources") << QByteArrayLiteral("no sources");
    QTest::newRow("null array with a count") << QByteArrayLiteral("null array");
}

void NdiDiscovererTest::findsNothing()
{
    QFETCH(QByteArray, part);

    QVERIFY(install(QStringLiteral("fake_ndi")));
    qputenv("FAKE_NDI_PART", part);
    QString error;
    QVERIFY(scan(&error).isEmpty());
    QCOMPARE(error, QString());
    QVERIFY(calls().endsWith("find_get_current_sources count=0\nfind_destroy\n"));
}

void NdiDiscovererTest::reportsRefusal_data()
{
    QTest::addColumn<QByteArray>("part");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("lastCall");

    QTest::newRow("CPU") << QByteArrayLiteral("refuse CPU")
                         << QStringLiteral("NDI runtime does not support this CPU")
                         << QByteArrayLiteral("is_supported_CPU\n");
    QTest::newRow("initialization") << QByteArrayLiteral("refuse initialization")
                                    << QStringLiteral("NDI runtime initialization failed")
                                    << QByteArrayLiteral("is_supported_CPU\ninitialize 1\n");
    QTest::newRow("finder") << QByteArrayLiteral("refuse finder")
                            << QStringLiteral("NDI source finder could not be created")
                            << QByteArrayLiteral("is_supported_CPU\ninitialize 1\n"
                                                 "find_create_v2 local=1 groups=null extra=null\n");
}

void NdiDiscovererTest::reportsRefusal()
{
    QFETCH(QByteArray, part);
    QFETCH(QString, text);
    QFETCH(QByteArray, lastCall);

    QVERIFY(install(QStringLiteral("fake_ndi")));
    qputenv("FAKE_NDI_PART", part);
    QString error = QStringLiteral("left over");
    QVERIFY(scan(&error).isEmpty());
    QCOMPARE(error, text);
    QCOMPARE(calls(), lastCall);
    QVERIFY(scan(nullptr).isEmpty());
}

void NdiDiscovererTest::leavesRuntimeAloneWhileUnavailable()
{
    QVERIFY(install(QStringLiteral("fake_ndi")));
    NdiDiscoverer discoverer;
    QString error = QStringLiteral("left over");
    QVERIFY(discoverer.scan(&error).isEmpty());
    QCOMPARE(error, QString());
    QVERIFY(discoverer.scan(nullptr).isEmpty());
    QCOMPARE(calls(), QByteArray());
    QVERIFY(!QLibrary(path(QStringLiteral("a/bin64/Processing.NDI.Lib.x64.dll"))).isLoaded());
}

void NdiDiscovererTest::reportsMissingRuntime()
{
    QLibrary last(ndiLibraryCandidates().last());
    if (last.load()) {
        QSKIP("the system has an NDI runtime of its own");
    }
    QString error;
    QVERIFY(scan(&error).isEmpty());
    QCOMPARE(error, QString(QStringLiteral("NDI runtime was not found: ") + last.errorString()));
    QVERIFY(scan(nullptr).isEmpty());
}

void NdiDiscovererTest::passesOverIncompleteRuntime()
{
    QVERIFY(install(QStringLiteral("fake_ndi_without_NDIlib_find_create_v2")));
    QVERIFY(QDir().mkpath(path(QStringLiteral("bin64"))));
    QVERIFY(QFile::copy(m_libraries.filePath(QStringLiteral("fake_ndi.dll")),
                        path(QStringLiteral("bin64/Processing.NDI.Lib.x64.dll"))));
    QString error;
    QCOMPARE(scan(&error).size(), 2);
    QCOMPARE(error, QString());
}

void NdiDiscovererTest::keepsRuntimeLoaded()
{
    QVERIFY(install(QStringLiteral("fake_ndi")));
    QCOMPARE(scan().size(), 2);
    QVERIFY(QLibrary(path(QStringLiteral("a/bin64/Processing.NDI.Lib.x64.dll"))).isLoaded());
    QCOMPARE(scan().size(), 2);
    QCOMPARE(calls().count("initialize"), 2);
    QVERIFY(calls().contains("initialize 2\n")); // counted by the runtime since it was loaded
    QCOMPARE(calls().count("find_create_v2"), 2);
    QCOMPARE(calls().count("find_destroy"), 2);
}

void NdiDiscovererTest::looksForTheRuntimeInEveryScan()
{
    NdiDiscoverer discoverer;
    discoverer.setAvailable(true);
    QString error;
    QVERIFY(discoverer.scan(&error).isEmpty());
    QVERIFY(error.startsWith(QLatin1String("NDI runtime was not found: ")));
    QVERIFY(install(QStringLiteral("fake_ndi")));
    QCOMPARE(discoverer.scan(&error).size(), 2);
    QCOMPARE(error, QString());
}

void NdiDiscovererTest::clearsError()
{
    QVERIFY(install(QStringLiteral("fake_ndi")));
    QString error = QStringLiteral("left over");
    QCOMPARE(scan(&error).size(), 2);
    QCOMPARE(error, QString());
}

QTEST_GUILESS_MAIN(NdiDiscovererTest)
#include "ndi_discoverer_test.moc"
