#include <QCommandLineParser>
#include <QDateTime>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTextCodec>
#include <QtTest>

#include "app/command_line.h"

// The program from outside. Every run is restricted to the Ember+ provider or to none at all, so that
// no run touches the network, also when it does not do what the test expects.

namespace
{

constexpr int processTimeoutMs = 60000; // only a hanging program takes that long

const char knownProviders[] = "mdns, ssdp, upnpDlna, roku, cast, airplay, nmos, ember, onvif, ndi, sapAes67";
const char refusal[] = "The REST API and headless service are not available in CorvaneTVSondrix.\n";

struct Run {
    int status = -1; ///< exit status; -1 after a crash
    QByteArray output;
    QByteArray error;
};

QByteArray withUnixLineEnds(QByteArray text)
{
    return text.replace("\r\n", "\n");
}

Run finish(QProcess &process)
{
    Run run;
    if (!process.waitForFinished(processTimeoutMs)) {
        qWarning("%s", qPrintable(process.errorString()));
        process.kill();
        process.waitForFinished();
        return run;
    }
    run.status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.output = withUnixLineEnds(process.readAllStandardOutput());
    run.error = withUnixLineEnds(process.readAllStandardError());
    return run;
}

/// A command line without quoting.
QStringList words(const char *commandLine)
{
    return QString::fromLatin1(commandLine).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

QStringList noProviders()
{
    return {QStringLiteral("--disable"), QString::fromLatin1(knownProviders)};
}

/// Unlike --enable this leaves the file's choice of ember alone.
QStringList nothingButEmber()
{
    return words("--disable mdns,ssdp,upnp,roku,cast,airplay,nmos,onvif,ndi,sap");
}

/// The program runs in the test's own locale.
QByteArray inTheLocalesEncoding(const QString &text)
{
    return QTextCodec::codecForLocale()->fromUnicode(text);
}

/// What the parser itself says about these arguments, behind the program's name.
QByteArray parserError(const QStringList &arguments)
{
    QCommandLineParser parser;
    Sondrix::configureParser(parser);
    parser.parse(QStringList{QStringLiteral("program")} + arguments);
    return "CorvaneTVSondrix: " + inTheLocalesEncoding(parser.errorText()) + '\n';
}

QByteArray configurationError(const QString &text)
{
    return "Invalid discovery configuration: " + inTheLocalesEncoding(text) + '\n';
}

QString unknownProvider(const QString &name)
{
    return QStringLiteral("unknown discovery provider '") + name + QStringLiteral("'. Known providers: ") +
           QLatin1String(knownProviders);
}

/// The system's own words for not being able to open this file.
QString openFailure(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString() : file.errorString();
}

} // namespace

class ConsoleProcessTest : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void silentScan_data();
    void silentScan();
    void refusesWithoutScanOnce_data();
    void refusesWithoutScanOnce();
    void helpGoesToStandardOutput();
    void versionGoesToStandardOutput();
    void parserRejects_data();
    void parserRejects();

    void configurationFails_data();
    void configurationFails();
    void fileCannotBeOpened_data();
    void fileCannotBeOpened();
    void optionAsTheValueOfConfig();
    void configurationComesBeforeTheRefusal();

    void reportIsOneCompactLine_data();
    void reportIsOneCompactLine();
    void reportWithoutProviders();
    void optionsWithoutEffect_data();
    void optionsWithoutEffect();
    void seedsOfAFileBecomeDevices();
    void providersOfTheReport_data();
    void providersOfTheReport();
    void placeholdersComeOutAsTheyWentIn();

    void reportIsInTheEncodingOfTheLocale();
    void errorIsInTheEncodingOfTheLocale();
    void statusWithoutAReader_data();
    void statusWithoutAReader();

private:
    Run run(const QStringList &arguments) const;
    QJsonObject report(const QStringList &arguments) const;
    QString writeFile(const QByteArray &contents, const QString &name = QStringLiteral("config.json")) const;

    QScopedPointer<QTemporaryDir> m_directory; // where the program runs
};

void ConsoleProcessTest::init()
{
    m_directory.reset(new QTemporaryDir);
    QVERIFY(m_directory->isValid());
}

Run ConsoleProcessTest::run(const QStringList &arguments) const
{
    QProcess process;
    process.setWorkingDirectory(m_directory->path());
    process.start(QStringLiteral(SONDRIX_PROGRAM), arguments);
    return finish(process);
}

/// The report of --scan-once --json with these arguments; empty when anything is wrong with the run.
QJsonObject ConsoleProcessTest::report(const QStringList &arguments) const
{
    const Run result = run(words("--scan-once --json") + arguments);
    if (result.status != 0 || !result.error.isEmpty()) {
        qWarning("status %d: %s", result.status, result.error.constData());
        return QJsonObject();
    }
    return QJsonDocument::fromJson(result.output).object();
}

QString ConsoleProcessTest::writeFile(const QByteArray &contents, const QString &name) const
{
    const QString path = m_directory->filePath(name);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(contents) != contents.size()) {
        qFatal("cannot write %s", qPrintable(path));
    }
    return path;
}

void ConsoleProcessTest::silentScan_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("scan-once alone") << words("--scan-once --enable ember");
    QTest::newRow("without providers") << words("--scan-once --enable ,,");
    QTest::newRow("with headless") << words("--headless --scan-once --enable ember");
    QTest::newRow("given twice") << words("--scan-once --enable ember --scan-once");
    QTest::newRow("with an argument that is no option") << words("--scan-once --enable ember more");
}

void ConsoleProcessTest::silentScan()
{
    QFETCH(QStringList, arguments);
    const Run result = run(arguments);
    QCOMPARE(result.error, QByteArray());
    QCOMPARE(result.output, QByteArray());
    QCOMPARE(result.status, 0);
}

void ConsoleProcessTest::refusesWithoutScanOnce_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("json alone") << words("--json");
    QTest::newRow("headless alone") << words("--headless");
    QTest::newRow("headless and json") << words("--headless --json");
    QTest::newRow("with API options") << words("--headless --api-port 0 --api-bind 127.0.0.1");
    QTest::newRow("scan-once behind the end of the options") << words("-- --scan-once");
}

void ConsoleProcessTest::refusesWithoutScanOnce()
{
    QFETCH(QStringList, arguments);
    const Run result = run(noProviders() + arguments);
    QCOMPARE(result.error, QByteArray(refusal));
    QCOMPARE(result.output, QByteArray());
    QCOMPARE(result.status, 2);
}

void ConsoleProcessTest::helpGoesToStandardOutput()
{
    const Run result = run(words("--help --scan-once --enable ,,"));
    QCOMPARE(result.error, QByteArray());
    QVERIFY(result.output.startsWith("Usage: "));
    QVERIFY(result.output.contains("\nCorvaneTVSondrix discovery service\n"));
    for (const char *option :
         {"--headless", "--api-port <port>", "--api-bind <address>", "--scan-once", "--json",
          "--config <path>", "--enable <providers>", "--disable <providers>", "--interfaces <addresses>"}) {
        QVERIFY2(result.output.contains(option), option);
    }
    QCOMPARE(result.status, 0);
}

void ConsoleProcessTest::versionGoesToStandardOutput()
{
    const Run result = run(words("--version --json"));
    QCOMPARE(result.error, QByteArray());
    QCOMPARE(result.output, QByteArray("CorvaneTVSondrix 1.0.0\n"));
    QCOMPARE(result.status, 0);
}

void ConsoleProcessTest::parserRejects_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("unknown option") << words("--scan-once --bogus");
    QTest::newRow("two unknown options") << words("--one --scan-once --two");
    QTest::newRow("option in capitals") << words("--SCAN-ONCE --json");
    QTest::newRow("value for scan-once") << words("--scan-once=1");
    QTest::newRow("value for json") << words("--scan-once --json=yes");
    QTest::newRow("empty value for headless") << words("--headless=");
    QTest::newRow("config without a value") << words("--scan-once --config");
    QTest::newRow("enable without a value") << words("--scan-once --enable");
    QTest::newRow("placeholder") << words("--scan-once --%1");
}

void ConsoleProcessTest::parserRejects()
{
    QFETCH(QStringList, arguments);
    arguments = noProviders() + arguments;
    const Run result = run(arguments);
    QCOMPARE(result.error, parserError(arguments));
    QCOMPARE(result.output, QByteArray());
    QCOMPARE(result.status, 1);
}

void ConsoleProcessTest::configurationFails_data()
{
    QTest::addColumn<QByteArray>("file"); // null without --config
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("text");

    const auto fileRow = [](const char *name, const QByteArray &contents, const QString &text) {
        QTest::newRow(name) << contents << noProviders() << text;
    };
    const auto parserRow = [&](const char *name, const QByteArray &contents) {
        QJsonParseError error;
        QJsonDocument::fromJson(contents, &error);
        if (error.error == QJsonParseError::NoError) {
            qFatal("row '%s' holds valid JSON", name);
        }
        fileRow(name, contents, error.errorString());
    };
    const auto listRow = [](const char *name, const char *option, const char *list, const char *unknown) {
        const QStringList arguments{QString::fromLatin1(option), QString::fromLatin1(list)};
        QTest::newRow(name) << QByteArray() << arguments << unknownProvider(QString::fromLatin1(unknown));
    };

    parserRow("empty file", QByteArray(""));
    parserRow("broken file", R"({"discovery": {"providers")");
    parserRow("file that is no JSON", "[discovery]\nmdns=false\n");
    parserRow("number at the root", "7");
    fileRow("array at the root", "[{}]", QStringLiteral("config root must be a JSON object"));
    listRow("unknown provider", "--enable", "bogus", "bogus");
    listRow("streamlark", "--enable", "streamlark", "streamlark");
    listRow("plus sign", "--enable", "ember+", "ember+");
    listRow("first placeholder", "--enable", "%1", "%1");
    listRow("second placeholder", "--enable", "%2%1%2", "%2%1%2");
    listRow("unknown provider behind all known ones", "--disable",
            "mdns,ssdp,upnp,roku,cast,airplay,nmos,ember,onvif,ndi,sap, Bogus One ", "Bogus One");
    QTest::newRow("unknown provider with a good file")
        << QByteArray(R"({"discovery":{}})") << words("--disable bogus")
        << unknownProvider(QStringLiteral("bogus"));
}

void ConsoleProcessTest::configurationFails()
{
    QFETCH(QByteArray, file);
    QFETCH(QStringList, arguments);
    QFETCH(QString, text);
    arguments += words("--scan-once --json");
    if (!file.isNull()) {
        arguments << QStringLiteral("--config") << writeFile(file);
    }
    const Run result = run(arguments);
    QCOMPARE(result.error, configurationError(text));
    QCOMPARE(result.output, QByteArray());
    QCOMPARE(result.status, 2);
}

void ConsoleProcessTest::fileCannotBeOpened_data()
{
    QTest::addColumn<QStringList>("option");
    QTest::addColumn<QString>("path");
    QTest::newRow("missing") << words("--config none.json") << QStringLiteral("none.json");
    QTest::newRow("in a missing directory")
        << words("--config none/none.json") << QStringLiteral("none/none.json");
    QTest::newRow("directory") << words("--config .") << QStringLiteral(".");
    QTest::newRow("empty path") << QStringList{QStringLiteral("--config"), QString()} << QString();
    QTest::newRow("empty path behind an equals sign") << words("--config=") << QString();
}

void ConsoleProcessTest::fileCannotBeOpened()
{
    QFETCH(QStringList, option);
    QFETCH(QString, path);
    const QString failure = openFailure(path);
    QVERIFY(!failure.isEmpty());
    const Run result = run(words("--scan-once --json") + noProviders() + option);
    QCOMPARE(result.error, configurationError(failure));
    QCOMPARE(result.output, QByteArray());
    QCOMPARE(result.status, 2);
}

void ConsoleProcessTest::optionAsTheValueOfConfig()
{
    const QStringList arguments = noProviders() + words("--config --json");
    const Run withoutFile = run(arguments);
    QCOMPARE(withoutFile.error, configurationError(openFailure(QStringLiteral("none.json"))));
    QCOMPARE(withoutFile.output, QByteArray());
    QCOMPARE(withoutFile.status, 2);

    writeFile("{}", QStringLiteral("--json"));
    const Run withFile = run(arguments);
    QCOMPARE(withFile.error, QByteArray(refusal));
    QCOMPARE(withFile.output, QByteArray());
    QCOMPARE(withFile.status, 2);
}

void ConsoleProcessTest::configurationComesBeforeTheRefusal()
{
    writeFile("[]");
    const Run result = run(words("--json --config config.json"));
    QCOMPARE(result.error, configurationError(QStringLiteral("config root must be a JSON object")));
    QCOMPARE(result.status, 2);
}

void ConsoleProcessTest::reportIsOneCompactLine_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("scan-once and json") << words("--scan-once --json");
    QTest::newRow("json and scan-once") << words("--json --scan-once");
    QTest::newRow("with headless") << words("--headless --scan-once --json");
}

void ConsoleProcessTest::reportIsOneCompactLine()
{
    QFETCH(QStringList, arguments);
    writeFile(R"({"manualSeeds":{"ember":["router-a","ember://router-b:9010"]}})");
    const Run result = run(arguments + nothingButEmber() + words("--config config.json"));
    QCOMPARE(result.error, QByteArray());
    QCOMPARE(result.status, 0);

    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(result.output, &error);
    QCOMPARE(error.error, QJsonParseError::NoError);
    QCOMPARE(result.output, QByteArray(document.toJson(QJsonDocument::Compact) + '\n'));
    const QByteArray begin(R"({"application":"CorvaneTVSondrix","controlOnlyCount":2,"deviceCount":2,)");
    const QByteArray end(R"("streamlark":{"enabled":false},"version":"1.0.0"})");
    QVERIFY(result.output.startsWith(begin));
    QVERIFY(result.output.trimmed().endsWith(end));
}

void ConsoleProcessTest::reportWithoutProviders()
{
    const QDateTime before = QDateTime::currentDateTimeUtc();
    QJsonObject object = report(words("--enable ,,"));
    const QDateTime after = QDateTime::currentDateTimeUtc();
    const QString stamp = object.take(QStringLiteral("lastScanUtc")).toString();
    QVERIFY(stamp.endsWith(QLatin1Char('Z')));
    const QDateTime time = QDateTime::fromString(stamp, Qt::ISODateWithMs);
    QVERIFY(time >= before && time <= after);

    const QByteArray expected(R"({"application":"CorvaneTVSondrix","controlOnlyCount":0,"deviceCount":0,)"
                              R"("devices":[],"inputCount":0,"offlineCount":0,"onlineCount":0,)"
                              R"("outputCount":0,"providers":[],"streamlark":{"enabled":false},)"
                              R"("version":"1.0.0"})");
    QCOMPARE(QJsonDocument(object).toJson(QJsonDocument::Compact), expected);
}

void ConsoleProcessTest::optionsWithoutEffect_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::newRow("API port and address") << words("--api-port 1 --api-bind 0.0.0.0");
    QTest::newRow("API port that is no number") << words("--api-port many");
    QTest::newRow("empty API address") << words("--api-bind=");
    QTest::newRow("interfaces") << words("--interfaces 192.0.2.1");
    QTest::newRow("headless") << words("--headless");
}

void ConsoleProcessTest::optionsWithoutEffect()
{
    QFETCH(QStringList, options);
    const QStringList restricted = words("--enable ,,");
    QJsonObject plain = report(restricted);
    QJsonObject withOptions = report(restricted + options);
    QVERIFY(!plain.take(QStringLiteral("lastScanUtc")).toString().isEmpty());
    QVERIFY(!withOptions.take(QStringLiteral("lastScanUtc")).toString().isEmpty());
    QCOMPARE(withOptions, plain);
}

void ConsoleProcessTest::seedsOfAFileBecomeDevices()
{
    writeFile(R"({
        "streamlark": {"enabled": true},
        "discovery": {
            "activeProbingEnabled": false,
            "providers": {"mdns": false, "ssdp": false, "upnpDlna": false, "roku": false, "cast": false,
                          "airplay": false, "nmos": false, "ndi": false}
        },
        "manualSeeds": {
            "ember": ["Router-A", "ember://10.1.2.3:9010", "EMBER://ROUTER-A:9000", " router-a "]
        }
    })");
    const QJsonObject object = report(words("--config config.json"));
    QCOMPARE(object.value(QStringLiteral("deviceCount")).toInt(), 2);
    QCOMPARE(object.value(QStringLiteral("controlOnlyCount")).toInt(), 2);
    QCOMPARE(object.value(QStringLiteral("onlineCount")).toInt(), 2);
    const QJsonObject streamlark{{QStringLiteral("enabled"), false}};
    QCOMPARE(object.value(QStringLiteral("streamlark")).toObject(), streamlark);

    const QJsonArray providers{QJsonObject{
        {QStringLiteral("name"), QStringLiteral("ember")},
        {QStringLiteral("enabled"), true},
        {QStringLiteral("status"), QStringLiteral("ok")},
        {QStringLiteral("error"), QString()},
        {QStringLiteral("lastScanUtc"), object.value(QStringLiteral("lastScanUtc"))},
    }};
    QCOMPARE(object.value(QStringLiteral("providers")).toArray(), providers);

    QStringList summary;
    const QJsonArray devices = object.value(QStringLiteral("devices")).toArray();
    for (const QJsonValue &value : devices) {
        const QJsonObject device = value.toObject();
        const QJsonArray endpoints = device.value(QStringLiteral("endpoints")).toArray();
        QCOMPARE(endpoints.size(), 1);
        summary.append(QStringList{device.value(QStringLiteral("stableKey")).toString(),
                                   device.value(QStringLiteral("displayName")).toString(),
                                   device.value(QStringLiteral("direction")).toString(),
                                   endpoints.first().toObject().value(QStringLiteral("url")).toString()}
                           .join(QLatin1Char(' ')));
    }
    const QStringList expected{
        QStringLiteral("device-id:ember://10.1.2.3:9010 10.1.2.3 controlOnly ember://10.1.2.3:9010"),
        QStringLiteral("device-id:ember://router-a:9000 router-a controlOnly ember://router-a:9000"),
    };
    QCOMPARE(summary, expected);
}

void ConsoleProcessTest::providersOfTheReport_data()
{
    QTest::addColumn<QByteArray>("file"); // null without --config
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("providers");
    const QString ember = QStringLiteral("ember");
    const QString none;
    const QByteArray noFile;
    const QByteArray allOff = R"({"discovery":{"providers":{"mdns":false,"ssdp":false,"upnpDlna":false,
        "roku":false,"cast":false,"airplay":false,"nmos":false,"ember":false,"onvif":false,"ndi":false}}})";

    QTest::newRow("enable ember") << noFile << words("--enable ember") << ember;
    QTest::newRow("enable by another name") << noFile << words("--enable EMBER_Plus") << ember;
    QTest::newRow("enable nothing") << noFile << words("--enable ,,") << none;
    QTest::newRow("disable beats enable") << noFile << words("--enable ember --disable ember") << none;
    QTest::newRow("file turns all off") << allOff << QStringList() << none;
    QTest::newRow("enable adds to a file") << allOff << words("--enable ember") << ember;
    QTest::newRow("onvif needs active probing") << noFile << words("--enable onvif") << none;
}

void ConsoleProcessTest::providersOfTheReport()
{
    QFETCH(QByteArray, file);
    QFETCH(QStringList, options);
    if (!file.isNull()) {
        options << QStringLiteral("--config") << writeFile(file);
    }
    const QJsonObject object = report(options);
    QVERIFY(object.value(QStringLiteral("providers")).isArray());
    QStringList names;
    const QJsonArray rows = object.value(QStringLiteral("providers")).toArray();
    for (const QJsonValue &row : rows) {
        names.append(row.toObject().value(QStringLiteral("name")).toString());
    }
    QTEST(names.join(QLatin1Char(',')), "providers");
}

void ConsoleProcessTest::placeholdersComeOutAsTheyWentIn()
{
    writeFile(R"({"manualSeeds":{"ember":["%1 %2 %n %L1"]}})");
    const QJsonObject object = report(nothingButEmber() + words("--config config.json"));
    const QJsonArray devices = object.value(QStringLiteral("devices")).toArray();
    QCOMPARE(devices.size(), 1);
    const QJsonObject device = devices.first().toObject();
    const QJsonObject protocolData = device.value(QStringLiteral("protocolData")).toObject();
    QCOMPARE(device.value(QStringLiteral("displayName")).toString(), QStringLiteral("%1 %2 %n %L1"));
    QCOMPARE(protocolData.value(QStringLiteral("ember.seed")).toString(), QStringLiteral("%1 %2 %n %L1"));
}

void ConsoleProcessTest::reportIsInTheEncodingOfTheLocale()
{
    // A seed without a host becomes the display name as it stands.
    const QString name = QStringLiteral("Regie \u00fc \u20ac");
    writeFile("{\"manualSeeds\":{\"ember\":[\"" + name.toUtf8() + "\"]}}");
    const Run result = run(words("--scan-once --json --config config.json") + nothingButEmber());
    QCOMPARE(result.error, QByteArray());
    QCOMPARE(result.status, 0);
    const QByteArray member = "\"displayName\":\"" + inTheLocalesEncoding(name) + '"';
    QVERIFY2(result.output.contains(member), result.output.constData());
}

void ConsoleProcessTest::errorIsInTheEncodingOfTheLocale()
{
    // What the locale cannot encode is lost on the way to the program already.
    const QString name = QString::fromLocal8Bit(inTheLocalesEncoding(QStringLiteral("\u00fc\u20ac")));
    const Run result = run(QStringList{QStringLiteral("--enable"), name} + words("--scan-once"));
    QCOMPARE(result.error, configurationError(unknownProvider(name)));
    QCOMPARE(result.output, QByteArray());
    QCOMPARE(result.status, 2);
}

void ConsoleProcessTest::statusWithoutAReader_data()
{
    QTest::addColumn<QString>("redirection");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("status");
    const QStringList scan = words("--scan-once --json --enable ember");
    QTest::newRow("standard output closed") << QStringLiteral(">&-") << scan << 0;
    QTest::newRow("standard output full") << QStringLiteral(">/dev/full") << scan << 0;
    QTest::newRow("all three closed") << QStringLiteral("<&- >&- 2>&-") << scan << 0;
    QTest::newRow("standard error closed") << QStringLiteral("2>&-") << words("--json --enable ,,") << 2;
}

void ConsoleProcessTest::statusWithoutAReader()
{
#ifdef Q_OS_UNIX
    QFETCH(QString, redirection);
    QFETCH(QStringList, arguments);
    if (redirection.contains(QLatin1String("/dev/full")) && !QFile::exists(QStringLiteral("/dev/full"))) {
        QSKIP("This system has no /dev/full");
    }
    QProcess shell;
    shell.setWorkingDirectory(m_directory->path());
    const QString script = QStringLiteral("exec \"$0\" \"$@\" ") + redirection;
    shell.start(QStringLiteral("/bin/sh"),
                QStringList{QStringLiteral("-c"), script, QStringLiteral(SONDRIX_PROGRAM)} + arguments);
    const Run result = finish(shell);
    QCOMPARE(result.error, QByteArray());
    QCOMPARE(result.output, QByteArray());
    QTEST(result.status, "status");
#else
    QSKIP("Needs a POSIX shell to close the streams of a process");
#endif
}

QTEST_GUILESS_MAIN(ConsoleProcessTest)
#include "console_process_test.moc"
