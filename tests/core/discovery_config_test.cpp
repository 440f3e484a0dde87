#include "core/discovery_config.h"

#include <functional>
#include <limits>

#include <QCommandLineParser>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QtTest>

#include "app/command_line.h"

using Sondrix::DiscoveryConfig;

using Change = std::function<void(DiscoveryConfig &)>;

Q_DECLARE_METATYPE(Change)

namespace
{

struct Flag {
    const char *name;
    bool DiscoveryConfig::*field;
};

const Flag providerFlags[] = {
    {"mdns", &DiscoveryConfig::mdns},         {"ssdp", &DiscoveryConfig::ssdp},
    {"upnpDlna", &DiscoveryConfig::upnpDlna}, {"roku", &DiscoveryConfig::roku},
    {"cast", &DiscoveryConfig::cast},         {"airplay", &DiscoveryConfig::airplay},
    {"nmos", &DiscoveryConfig::nmos},         {"ember", &DiscoveryConfig::ember},
    {"onvif", &DiscoveryConfig::onvif},       {"ndi", &DiscoveryConfig::ndi},
    {"sapAes67", &DiscoveryConfig::sapAes67},
};

/// All fields as text, so that a comparison of two configurations shows where they differ.
QString describe(const DiscoveryConfig &config)
{
    const auto word = [](bool value) { return value ? QStringLiteral("true") : QStringLiteral("false"); };
    const auto list = [](const QStringList &texts) {
        return QStringLiteral("%1[%2]").arg(texts.size()).arg(texts.join(QLatin1Char('|')));
    };
    QStringList lines{
        QStringLiteral("apiEnabled %1").arg(word(config.apiEnabled)),
        QStringLiteral("apiBindAddress %1").arg(config.apiBindAddress),
        QStringLiteral("apiPort %1").arg(config.apiPort),
        QStringLiteral("interfaces %1").arg(list(config.interfaces)),
        QStringLiteral("activeProbingEnabled %1").arg(word(config.activeProbingEnabled)),
    };
    for (const Flag &flag : providerFlags) {
        lines.append(QStringLiteral("%1 %2").arg(QLatin1String(flag.name), word(config.*flag.field)));
    }
    lines.append(QStringLiteral("streamlarkEnabled %1").arg(word(config.streamlarkEnabled)));
    lines.append(QStringLiteral("emberSeeds %1").arg(list(config.emberSeeds)));
    lines.append(QStringLiteral("nmosRegistries %1").arg(list(config.nmosRegistries)));
    lines.append(QStringLiteral("ndiDiscoveryServers %1").arg(list(config.ndiDiscoveryServers)));
    return lines.join(QLatin1Char('\n'));
}

DiscoveryConfig changed(const Change &change)
{
    DiscoveryConfig config;
    change(config);
    return config;
}

/// Turns off every provider but those named.
void onlyProviders(DiscoveryConfig &config, const QStringList &names)
{
    for (const Flag &flag : providerFlags) {
        config.*flag.field = names.contains(QLatin1String(flag.name));
    }
}

QString unknownProvider(const QString &name)
{
    return QStringLiteral("unknown discovery provider '") + name +
           QStringLiteral(
               "'. Known providers: mdns, ssdp, upnpDlna, roku, cast, airplay, nmos, ember, onvif, ndi, "
               "sapAes67");
}

const char everyKey[] = R"({
    "api": {"enabled": false, "bindAddress": "0.0.0.0", "port": 8080},
    "discovery": {
        "interfaces": ["10.0.0.1", "10.0.0.2"],
        "activeProbingEnabled": true,
        "providers": {
            "mdns": false, "ssdp": false, "upnpDlna": false, "roku": false, "cast": false, "airplay": false,
            "nmos": false, "ember": false, "onvif": false, "ndi": false, "sapAes67": true
        }
    },
    "streamlark": {"enabled": true},
    "manualSeeds": {
        "ember": ["e1", "e2"],
        "nmosRegistries": ["http://n1/"],
        "ndiDiscoveryServers": ["d1", "d2", "d3"]
    }
})";

void setEveryKey(DiscoveryConfig &config)
{
    config.apiEnabled = false;
    config.apiBindAddress = QStringLiteral("0.0.0.0");
    config.apiPort = 8080;
    config.interfaces = QStringList{QStringLiteral("10.0.0.1"), QStringLiteral("10.0.0.2")};
    config.activeProbingEnabled = true;
    onlyProviders(config, {QStringLiteral("sapAes67")});
    config.streamlarkEnabled = true;
    config.emberSeeds = QStringList{QStringLiteral("e1"), QStringLiteral("e2")};
    config.nmosRegistries = QStringList{QStringLiteral("http://n1/")};
    config.ndiDiscoveryServers =
        QStringList{QStringLiteral("d1"), QStringLiteral("d2"), QStringLiteral("d3")};
}

} // namespace

class DiscoveryConfigTest : public QObject
{
    Q_OBJECT

private slots:
    void defaults();
    void parse_data();
    void parse();
    void parseReadsEachFlag();

    void loadOfAGoodFile_data();
    void loadOfAGoodFile();
    void loadFails_data();
    void loadFails();
    void loadOfAMissingFile();
    void loadOfADirectory();
    void loadReplacesEverything();
    void loadWithoutOutput();

    void overrides_data();
    void overrides();
    void overridesFail_data();
    void overridesFail();
    void overridesTakeARelativePath();
    void overridesReportTheOpenFailure();
    void overridesWithoutOutput();

    void providerList_data();
    void providerList();
    void providerListWithoutOutput();
    void setProviderByName_data();
    void setProviderByName();
    void setProviderRejects_data();
    void setProviderRejects();
    void setProviderClearsTheError();
    void setProviderWithoutOutput();
    void setAllProviders();
    void normalizeProviderName_data();
    void normalizeProviderName();
    void knownProviderNames();

private:
    QString writeFile(const QTemporaryDir &directory, const QByteArray &contents);
};

QString DiscoveryConfigTest::writeFile(const QTemporaryDir &directory, const QByteArray &contents)
{
    const QString path = directory.filePath(QStringLiteral("config.json"));
    QFile file(path);
    if (!directory.isValid() || !file.open(QIODevice::WriteOnly) || file.write(contents) != contents.size()) {
        qFatal("cannot write the temporary file");
    }
    return path;
}

void DiscoveryConfigTest::defaults()
{
    QCOMPARE(describe(DiscoveryConfig()), QStringLiteral("apiEnabled true\n"
                                                         "apiBindAddress 127.0.0.1\n"
                                                         "apiPort 0\n"
                                                         "interfaces 0[]\n"
                                                         "activeProbingEnabled false\n"
                                                         "mdns true\n"
                                                         "ssdp true\n"
                                                         "upnpDlna true\n"
                                                         "roku true\n"
                                                         "cast true\n"
                                                         "airplay true\n"
                                                         "nmos true\n"
                                                         "ember true\n"
                                                         "onvif true\n"
                                                         "ndi true\n"
                                                         "sapAes67 false\n"
                                                         "streamlarkEnabled false\n"
                                                         "emberSeeds 0[]\n"
                                                         "nmosRegistries 0[]\n"
                                                         "ndiDiscoveryServers 0[]"));
}

void DiscoveryConfigTest::parse_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<Change>("expected");

    const Change nothing = [](DiscoveryConfig &) {};
    const auto row = [](const char *name, const char *json, const Change &expected) {
        QTest::newRow(name) << QByteArray(json) << expected;
    };
    const auto portRow = [&](const char *name, const char *value, int port) {
        QTest::newRow(name) << QByteArray(QByteArray(R"({"api":{"port":)") + value + "}}")
                            << Change([port](DiscoveryConfig &config) { config.apiPort = port; });
    };
    const auto seedRow = [&](const char *name, const char *value, const QStringList &seeds) {
        QTest::newRow(name) << QByteArray(QByteArray(R"({"manualSeeds":{"ember":)") + value + "}}")
                            << Change([seeds](DiscoveryConfig &config) { config.emberSeeds = seeds; });
    };

    row("empty object", "{}", nothing);
    row("every key", everyKey, setEveryKey);
    row("unknown keys",
        R"({"x":1,"api":{"x":1},"discovery":{"x":1,"providers":{"x":true}},"manualSeeds":{"x":[]}})",
        nothing);
    row("keys are case-sensitive",
        R"({"API":{"port":1},"discovery":{"providers":{"MDNS":false,"SapAes67":true}}})", nothing);
    row("other names of a provider are no keys",
        R"({"discovery":{"providers":{"upnp-dlna":false,"dlna":false,"sap":true}}})", nothing);
    row("keys outside their object", R"({"mdns":false,"port":1,"providers":{"mdns":false},"ember":["e"]})",
        nothing);
    row("dotted keys", R"({"discovery.providers.mdns":false,"api.port":1})", nothing);

    row("api is no object", R"({"api":7})", nothing);
    row("api is an array", R"({"api":[{"port":1}]})", nothing);
    row("discovery is no object", R"({"discovery":"all"})", nothing);
    row("providers is a number", R"({"discovery":{"providers":7}})", nothing);
    row("providers is an array", R"({"discovery":{"providers":["mdns"]}})", nothing);
    row("streamlark is no object", R"({"streamlark":true})", nothing);
    row("manualSeeds is no object", R"({"manualSeeds":["e"]})", nothing);
    row("null objects", R"({"api":null,"discovery":null,"streamlark":null,"manualSeeds":null})", nothing);

    row("mdns is a string", R"({"discovery":{"providers":{"mdns":"false"}}})", nothing);
    row("sapAes67 is a string", R"({"discovery":{"providers":{"sapAes67":"true"}}})", nothing);
    row("flags are numbers",
        R"({"discovery":{"providers":{"mdns":0,"sapAes67":1},"activeProbingEnabled":1}})", nothing);
    row("flags are null",
        R"({"api":{"enabled":null},"discovery":{"providers":{"mdns":null,"sapAes67":null}}})", nothing);
    row("flags are arrays", R"({"streamlark":{"enabled":[true]},"api":{"enabled":[]}})", nothing);

    row("bind address is a number", R"({"api":{"bindAddress":1}})", nothing);
    row("bind address is null", R"({"api":{"bindAddress":null}})", nothing);
    row("bind address is empty", R"({"api":{"bindAddress":""}})",
        [](DiscoveryConfig &config) { config.apiBindAddress.clear(); });
    row("bind address is no address", R"({"api":{"bindAddress":" not an address "}})",
        [](DiscoveryConfig &config) { config.apiBindAddress = QStringLiteral(" not an address "); });

    portRow("port", "45870", 45870);
    portRow("port outside the range of ports", "70000", 70000);
    portRow("negative port", "-1", -1);
    portRow("port is a string", R"("80")", 0);
    portRow("port is not integral", "80.5", 0);
    portRow("port is integral with decimals", "80.0", 80);
    portRow("port is integral with an exponent", "8e1", 80);
    portRow("port is true", "true", 0);
    portRow("port is null", "null", 0);
    portRow("largest 32-bit port", "2147483647", 2147483647);
    portRow("one above 32 bits", "2147483648", 0);
    portRow("smallest 32-bit port", "-2147483648", std::numeric_limits<int>::min());
    portRow("one below 32 bits", "-2147483649", 0);
    portRow("one above 64 bits", "18446744073709551616", 0);
    portRow("2 to the 32nd", "4294967296", 0);
    portRow("far outside", "1e99", 0);

    seedRow("list", R"(["b","a"])", {QStringLiteral("b"), QStringLiteral("a")});
    seedRow("empty list", "[]", {});
    seedRow("string, number, string", R"(["a",7,"b"])", {QStringLiteral("a"), QStringLiteral("b")});
    seedRow("elements of all types", R"([null,"a",true,["x"],{"y":"z"},1.5])", {QStringLiteral("a")});
    seedRow("empty element", R"(["","a"])", {QString(), QStringLiteral("a")});
    seedRow("elements are not trimmed", R"([" a "])", {QStringLiteral(" a ")});
    seedRow("repeats stay", R"(["a","a"])", {QStringLiteral("a"), QStringLiteral("a")});
    seedRow("list is a string", R"("a")", {});
    seedRow("list is an object", R"({"0":"a"})", {});
    seedRow("list is null", "null", {});
    row("other lists skip other types too",
        R"({"discovery":{"interfaces":[1,"i"]},"manualSeeds":{"nmosRegistries":["n",1],"ndiDiscoveryServers":"d"}})",
        [](DiscoveryConfig &config) {
            config.interfaces = QStringList{QStringLiteral("i")};
            config.nmosRegistries = QStringList{QStringLiteral("n")};
        });
    row("key twice, the last counts", R"({"api":{"port":1,"port":2}})",
        [](DiscoveryConfig &config) { config.apiPort = 2; });
}

void DiscoveryConfigTest::parse()
{
    QFETCH(QByteArray, json);
    QFETCH(Change, expected);
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    QCOMPARE(error.error, QJsonParseError::NoError);
    QCOMPARE(describe(Sondrix::parseDiscoveryConfig(document.object())), describe(changed(expected)));
}

void DiscoveryConfigTest::parseReadsEachFlag()
{
    const DiscoveryConfig defaults;
    for (const Flag &flag : providerFlags) {
        const bool value = !(defaults.*flag.field);
        const QJsonObject providers{{QLatin1String(flag.name), value}};
        const QJsonObject root{
            {QStringLiteral("discovery"), QJsonObject{{QStringLiteral("providers"), providers}}}};
        DiscoveryConfig expected;
        expected.*flag.field = value;
        QCOMPARE(describe(Sondrix::parseDiscoveryConfig(root)), describe(expected));
    }
}

void DiscoveryConfigTest::loadOfAGoodFile_data()
{
    QTest::addColumn<QByteArray>("contents");
    const QByteArray object(R"({"api":{"port":8080,"bindAddress":"caf)"
                            "\xc3\xa9"
                            R"("}})");
    QTest::newRow("object") << object;
    QTest::newRow("byte order mark") << QByteArray("\xef\xbb\xbf" + object);
    QTest::newRow("white space around") << QByteArray(" \t\n" + object + "\n\n");
    QTest::newRow("line ends of Windows")
        << QByteArray("{\r\n\"api\":\r\n{\"port\":8080,\r\n\"bindAddress\":\"caf\xc3\xa9\"}\r\n}\r\n");
}

void DiscoveryConfigTest::loadOfAGoodFile()
{
    QFETCH(QByteArray, contents);
    const QTemporaryDir directory;
    DiscoveryConfig config;
    QString error = QStringLiteral("left over");
    QVERIFY(Sondrix::loadDiscoveryConfig(writeFile(directory, contents), &config, &error));
    QCOMPARE(error, QString());
    DiscoveryConfig expected;
    expected.apiPort = 8080;
    expected.apiBindAddress = QStringLiteral("caf\u00e9");
    QCOMPARE(describe(config), describe(expected));
    QVERIFY(Sondrix::loadDiscoveryConfig(writeFile(directory, contents), &config, nullptr));
}

void DiscoveryConfigTest::loadFails_data()
{
    QTest::addColumn<QByteArray>("contents");
    // Empty where the text is the one of Qt's parser.
    QTest::addColumn<QString>("error");

    const QString parserText;
    const QString noObject = QStringLiteral("config root must be a JSON object");
    QTest::newRow("empty") << QByteArray() << parserText;
    QTest::newRow("white space") << QByteArray(" \n") << parserText;
    QTest::newRow("byte order mark alone") << QByteArray("\xef\xbb\xbf") << parserText;
    QTest::newRow("two byte order marks") << QByteArray("\xef\xbb\xbf\xef\xbb\xbf{}") << parserText;
    QTest::newRow("UTF-16") << QByteArray("\xff\xfe{\0}\0", 6) << parserText;
    QTest::newRow("text") << QByteArray("mdns = false\n") << parserText;
    QTest::newRow("cut off") << QByteArray(R"({"api":{"port":8080)") << parserText;
    QTest::newRow("comment") << QByteArray("{} // none\n") << parserText;
    QTest::newRow("trailing comma") << QByteArray(R"({"api":{},})") << parserText;
    QTest::newRow("two objects") << QByteArray("{}{}") << parserText;
    QTest::newRow("broken UTF-8") << QByteArray("{\"api\":{\"bindAddress\":\"\xff\"}}") << parserText;
    QTest::newRow("nested beyond the parser's limit") << QByteArray(5000, '[') << parserText;
    QTest::newRow("number at the root") << QByteArray("7") << parserText;
    QTest::newRow("string at the root") << QByteArray(R"("mdns")") << parserText;
    QTest::newRow("empty array") << QByteArray("[]") << noObject;
    QTest::newRow("array of an object") << QByteArray(R"([{"api":{"port":1}}])") << noObject;
}

void DiscoveryConfigTest::loadFails()
{
    QFETCH(QByteArray, contents);
    QFETCH(QString, error);
    if (error.isEmpty()) {
        QJsonParseError parseError;
        QJsonDocument::fromJson(contents, &parseError);
        QVERIFY(parseError.error != QJsonParseError::NoError);
        error = parseError.errorString();
    }
    const QTemporaryDir directory;
    const QString path = writeFile(directory, contents);
    DiscoveryConfig config;
    setEveryKey(config);
    const QString before = describe(config);
    QString text;
    QVERIFY(!Sondrix::loadDiscoveryConfig(path, &config, &text));
    QCOMPARE(text, error);
    QCOMPARE(describe(config), before);
    QVERIFY(!Sondrix::loadDiscoveryConfig(path, &config, nullptr));
}

void DiscoveryConfigTest::loadOfAMissingFile()
{
    const QTemporaryDir directory;
    const QString path = directory.filePath(QStringLiteral("none.json"));
    QFile file(path);
    QVERIFY(!file.open(QIODevice::ReadOnly));

    DiscoveryConfig config;
    config.apiPort = 1;
    const QString before = describe(config);
    QString error;
    QVERIFY(!Sondrix::loadDiscoveryConfig(path, &config, &error));
    QVERIFY(!error.isEmpty());
    QCOMPARE(error, file.errorString());
    QCOMPARE(describe(config), before);
}

void DiscoveryConfigTest::loadOfADirectory()
{
    const QTemporaryDir directory;
    DiscoveryConfig config;
    QString error;
    QVERIFY(!Sondrix::loadDiscoveryConfig(directory.path(), &config, &error));
    QFile file(directory.path());
    QVERIFY(!file.open(QIODevice::ReadOnly));
    QVERIFY(!error.isEmpty());
    QCOMPARE(error, file.errorString());
}

void DiscoveryConfigTest::loadReplacesEverything()
{
    const QTemporaryDir directory;
    DiscoveryConfig config;
    setEveryKey(config);
    QString error;
    QVERIFY(Sondrix::loadDiscoveryConfig(writeFile(directory, "{}"), &config, &error));
    QCOMPARE(describe(config), describe(DiscoveryConfig()));
}

void DiscoveryConfigTest::loadWithoutOutput()
{
    const QTemporaryDir directory;
    const QString path = writeFile(directory, "{}");
    QString error;
    QVERIFY(!Sondrix::loadDiscoveryConfig(path, nullptr, &error));
    QCOMPARE(error, QStringLiteral("config output is null"));
    QVERIFY(!Sondrix::loadDiscoveryConfig(path, nullptr, nullptr));
}

void DiscoveryConfigTest::overrides_data()
{
    QTest::addColumn<QByteArray>("file"); // null without --config
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<Change>("expected");

    const QByteArray noFile;
    const Change nothing = [](DiscoveryConfig &) {};
    const auto row = [](const char *name, const QByteArray &file, const char *arguments,
                        const Change &expected) {
        const QStringList list = QString::fromLatin1(arguments).split(QLatin1Char(';'), Qt::SkipEmptyParts);
        QTest::newRow(name) << file << list << expected;
    };
    const auto only = [](const QStringList &names) {
        return Change([names](DiscoveryConfig &config) { onlyProviders(config, names); });
    };
    const auto interfaces = [](const QStringList &addresses) {
        return Change([addresses](DiscoveryConfig &config) { config.interfaces = addresses; });
    };
    const QString mdns = QStringLiteral("mdns");
    const QString ssdp = QStringLiteral("ssdp");
    const QByteArray withInterfaces = R"({"discovery":{"interfaces":["10.0.0.9"]}})";
    const QByteArray ssdpOnly =
        R"({"discovery":{"providers":{"mdns":false,"upnpDlna":false,"roku":false,"cast":false,
        "airplay":false,"nmos":false,"ember":false,"onvif":false,"ndi":false}}})";
    const QByteArray probing = R"({"discovery":{"activeProbingEnabled":true,"providers":{"onvif":false}}})";

    row("no options", noFile, "", nothing);
    row("options that configure nothing", noFile,
        "--scan-once;--json;--headless;--api-port;1;--api-bind;0.0.0.0", nothing);
    row("file alone", everyKey, "", setEveryKey);

    row("enable names the complete list", noFile, "--enable;mdns", only({mdns}));
    row("enable several", noFile, "--enable; ssdp , mdns ", only({mdns, ssdp}));
    row("enable nothing", noFile, "--enable;,,", only({}));
    row("enable with blank parts", noFile, "--enable; , ,mdns", only({mdns}));
    row("enable with an equals sign", noFile, "--enable=mdns", only({mdns}));
    row("enable with an empty value", noFile, "--enable=", only({}));
    row("enable adds to a file", ssdpOnly, "--enable;mdns", only({mdns, ssdp}));
    row("enable nothing with a file", ssdpOnly, "--enable;,,", only({ssdp}));
    row("enable adds to the defaults of an empty file", "{}", "--enable;sap",
        [](DiscoveryConfig &config) { config.sapAes67 = true; });
    row("enable twice, the last counts", noFile, "--enable;mdns;--enable;ssdp", only({ssdp}));
    row("enable onvif leaves active probing off", noFile, "--enable;onvif", only({QStringLiteral("onvif")}));
    row("enable onvif with active probing in the file", probing, "--enable;onvif",
        [](DiscoveryConfig &config) { config.activeProbingEnabled = true; });

    row("disable takes from the defaults", noFile, "--disable;mdns,nmos", [](DiscoveryConfig &config) {
        config.mdns = false;
        config.nmos = false;
    });
    row("disable nothing", noFile, "--disable;,,", nothing);
    row("disable takes from a file", ssdpOnly, "--disable;ssdp", only({}));
    row("disable twice, the last counts", noFile, "--disable;mdns;--disable;ssdp",
        [](DiscoveryConfig &config) { config.ssdp = false; });
    row("disable beats enable", noFile, "--enable;ssdp;--disable;ssdp", only({}));
    row("disable beats enable in any order", noFile, "--disable;ssdp;--enable;ssdp,mdns", only({mdns}));

    row("interfaces", noFile, "--interfaces; 10.0.0.1 ,, 10.0.0.2 ",
        interfaces({QStringLiteral("10.0.0.1"), QStringLiteral("10.0.0.2")}));
    row("interfaces with a blank part", noFile, "--interfaces;10.0.0.1, ,10.0.0.2",
        interfaces({QStringLiteral("10.0.0.1"), QStringLiteral("10.0.0.2")}));
    row("interfaces replace those of the file", withInterfaces, "--interfaces;10.0.0.1",
        interfaces({QStringLiteral("10.0.0.1")}));
    row("interfaces of the file stay without the option", withInterfaces, "",
        interfaces({QStringLiteral("10.0.0.9")}));
    row("interfaces emptied", withInterfaces, "--interfaces;,", nothing);
    row("interfaces are not checked", noFile, "--interfaces;anything",
        interfaces({QStringLiteral("anything")}));
    row("interfaces twice, the last counts", noFile, "--interfaces;10.0.0.1;--interfaces;10.0.0.2",
        interfaces({QStringLiteral("10.0.0.2")}));
    row("all options together", R"({"api":{"port":8080}})",
        "--disable;mdns;--enable;sap;--interfaces;10.0.0.1", [](DiscoveryConfig &config) {
            config.apiPort = 8080;
            config.mdns = false;
            config.sapAes67 = true;
            config.interfaces = QStringList{QStringLiteral("10.0.0.1")};
        });
}

void DiscoveryConfigTest::overrides()
{
    QFETCH(QByteArray, file);
    QFETCH(QStringList, arguments);
    QFETCH(Change, expected);
    const QTemporaryDir directory;
    if (!file.isNull()) {
        arguments << QStringLiteral("--config") << writeFile(directory, file);
    }
    QCommandLineParser parser;
    Sondrix::configureParser(parser);
    arguments.prepend(QStringLiteral("program"));
    QVERIFY2(parser.parse(arguments), qPrintable(parser.errorText()));

    DiscoveryConfig config;
    QString error = QStringLiteral("left over");
    QVERIFY(Sondrix::applyCommandLineOverrides(parser, &config, &error));
    QCOMPARE(error, QString());
    QCOMPARE(describe(config), describe(changed(expected)));
    QVERIFY(Sondrix::applyCommandLineOverrides(parser, &config, nullptr));
}

void DiscoveryConfigTest::overridesFail_data()
{
    QTest::addColumn<QByteArray>("file"); // null without --config
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("error");
    QTest::addColumn<Change>("expected");

    const QByteArray noFile;
    const Change nothing = [](DiscoveryConfig &) {};
    const auto only = [](const QStringList &names) {
        return Change([names](DiscoveryConfig &config) { onlyProviders(config, names); });
    };
    const QString enable = QStringLiteral("--enable");
    const QString disable = QStringLiteral("--disable");
    const QString interfaces = QStringLiteral("--interfaces");
    const QString noObject = QStringLiteral("config root must be a JSON object");

    QTest::newRow("enable an unknown name") << noFile << QStringList{enable, QStringLiteral("bogus")}
                                            << unknownProvider(QStringLiteral("bogus")) << only({});
    QTest::newRow("enable streamlark") << noFile << QStringList{enable, QStringLiteral("streamlark")}
                                       << unknownProvider(QStringLiteral("streamlark")) << only({});
    QTest::newRow("enable stops at the first unknown name")
        << noFile << QStringList{enable, QStringLiteral("mdns, Bogus-1 ,ssdp,bogus-2")}
        << unknownProvider(QStringLiteral("Bogus-1")) << only({QStringLiteral("mdns")});
    QTest::newRow("disable an unknown name behind a known one")
        << noFile << QStringList{disable, QStringLiteral("nmos,bogus")}
        << unknownProvider(QStringLiteral("bogus"))
        << Change([](DiscoveryConfig &config) { config.nmos = false; });
    QTest::newRow("enable fails before disable is looked at")
        << noFile << QStringList{disable, QStringLiteral("other"), enable, QStringLiteral("bogus")}
        << unknownProvider(QStringLiteral("bogus")) << only({});
    QTest::newRow("a bad file stops the rest")
        << QByteArray("[]")
        << QStringList{enable, QStringLiteral("bogus"), interfaces, QStringLiteral("10.0.0.1")} << noObject
        << nothing;
    QTest::newRow("interfaces are applied before enable fails")
        << noFile << QStringList{enable, QStringLiteral("bogus"), interfaces, QStringLiteral("10.0.0.1")}
        << unknownProvider(QStringLiteral("bogus")) << Change([](DiscoveryConfig &config) {
               onlyProviders(config, {});
               config.interfaces = QStringList{QStringLiteral("10.0.0.1")};
           });
}

void DiscoveryConfigTest::overridesFail()
{
    QFETCH(QByteArray, file);
    QFETCH(QStringList, arguments);
    QFETCH(Change, expected);
    const QTemporaryDir directory;
    if (!file.isNull()) {
        arguments << QStringLiteral("--config") << writeFile(directory, file);
    }
    QCommandLineParser parser;
    Sondrix::configureParser(parser);
    arguments.prepend(QStringLiteral("program"));
    QVERIFY2(parser.parse(arguments), qPrintable(parser.errorText()));

    DiscoveryConfig config;
    QString error;
    QVERIFY(!Sondrix::applyCommandLineOverrides(parser, &config, &error));
    QTEST(error, "error");
    QCOMPARE(describe(config), describe(changed(expected)));
    QVERIFY(!Sondrix::applyCommandLineOverrides(parser, &config, nullptr));
}

void DiscoveryConfigTest::overridesTakeARelativePath()
{
    const QTemporaryDir directory;
    writeFile(directory, everyKey);
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(directory.path()));
    QCommandLineParser parser;
    Sondrix::configureParser(parser);
    QVERIFY(
        parser.parse({QStringLiteral("program"), QStringLiteral("--config"), QStringLiteral("config.json")}));
    DiscoveryConfig config;
    QString error;
    const bool applied = Sondrix::applyCommandLineOverrides(parser, &config, &error);
    QVERIFY(QDir::setCurrent(before));
    QVERIFY2(applied, qPrintable(error));
    QCOMPARE(describe(config), describe(changed(setEveryKey)));
}

void DiscoveryConfigTest::overridesReportTheOpenFailure()
{
    const QTemporaryDir directory;
    const QString path = directory.filePath(QStringLiteral("none.json"));
    QFile file(path);
    QVERIFY(!file.open(QIODevice::ReadOnly));
    QCommandLineParser parser;
    Sondrix::configureParser(parser);
    QVERIFY(parser.parse({QStringLiteral("program"), QStringLiteral("--config"), path}));
    DiscoveryConfig config;
    QString error;
    QVERIFY(!Sondrix::applyCommandLineOverrides(parser, &config, &error));
    QCOMPARE(error, file.errorString());
}

void DiscoveryConfigTest::overridesWithoutOutput()
{
    QCommandLineParser parser;
    Sondrix::configureParser(parser);
    QVERIFY(parser.parse({QStringLiteral("program")}));
    QString error;
    QVERIFY(!Sondrix::applyCommandLineOverrides(parser, nullptr, &error));
    QCOMPARE(error, QStringLiteral("config output is null"));
    QVERIFY(!Sondrix::applyCommandLineOverrides(parser, nullptr, nullptr));
}

void DiscoveryConfigTest::providerList_data()
{
    QTest::addColumn<QString>("list");
    QTest::addColumn<bool>("succeeds");
    QTest::addColumn<QStringList>("names"); // what is on afterwards, from all off
    QTest::addColumn<QString>("error");

    const QString none;
    const QString mdns = QStringLiteral("mdns");
    QTest::newRow("empty") << none << true << QStringList() << none;
    QTest::newRow("commas") << QStringLiteral(",,,") << true << QStringList() << none;
    QTest::newRow("commas and blanks") << QStringLiteral(" , \t,") << true << QStringList() << none;
    QTest::newRow("one") << mdns << true << QStringList{mdns} << none;
    QTest::newRow("trimmed parts") << QStringLiteral(" mdns ,\tssdp,") << true
                                   << QStringList{mdns, QStringLiteral("ssdp")} << none;
    QTest::newRow("repeat") << QStringLiteral("mdns,MDNS") << true << QStringList{mdns} << none;
    QTest::newRow("all by their known names")
        << QStringLiteral("mdns,ssdp,upnpDlna,roku,cast,airplay,nmos,ember,onvif,ndi,sapAes67") << true
        << Sondrix::knownProviderNames() << none;
    QTest::newRow("semicolons separate nothing") << QStringLiteral("mdns;ssdp") << false << QStringList()
                                                 << unknownProvider(QStringLiteral("mdns;ssdp"));
    QTest::newRow("flags before the failure stay")
        << QStringLiteral("mdns,bogus,ssdp") << false << QStringList{mdns}
        << unknownProvider(QStringLiteral("bogus"));
}

void DiscoveryConfigTest::providerList()
{
    QFETCH(QString, list);
    QFETCH(bool, succeeds);
    QFETCH(QStringList, names);
    DiscoveryConfig config;
    onlyProviders(config, {});
    QString error = QStringLiteral("left over");
    QCOMPARE(Sondrix::applyProviderList(&config, list, true, &error), succeeds);
    QTEST(error, "error");
    DiscoveryConfig expected;
    onlyProviders(expected, names);
    QCOMPARE(describe(config), describe(expected));
    QCOMPARE(Sondrix::applyProviderList(&config, list, false, nullptr), succeeds);
    onlyProviders(expected, {});
    QCOMPARE(describe(config), describe(expected));
}

void DiscoveryConfigTest::providerListWithoutOutput()
{
    QString error;
    QVERIFY(!Sondrix::applyProviderList(nullptr, QStringLiteral("mdns"), true, &error));
    QCOMPARE(error, QStringLiteral("discovery config is null"));
    QVERIFY(Sondrix::applyProviderList(nullptr, QStringLiteral(",,"), true, &error));
    QCOMPARE(error, QString());
}

void DiscoveryConfigTest::setProviderByName_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("flag");
    const struct {
        const char *name;
        const char *flag;
    } table[] = {
        {"mdns", "mdns"},          {"mDNS", "mdns"},          {"m-d_n s", "mdns"},
        {"ssdp", "ssdp"},          {"upnp", "upnpDlna"},      {"upnpDlna", "upnpDlna"},
        {"dlna", "upnpDlna"},      {"UPnP-DLNA", "upnpDlna"}, {"upnp_dlna", "upnpDlna"},
        {"UPNP DLNA", "upnpDlna"}, {"roku", "roku"},          {"cast", "cast"},
        {"chromecast", "cast"},    {"googlecast", "cast"},    {"Google Cast", "cast"},
        {"airplay", "airplay"},    {"Air-Play", "airplay"},   {"RAOP", "airplay"},
        {"nmos", "nmos"},          {"ember", "ember"},        {"Ember Plus", "ember"},
        {"emberplus", "ember"},    {"onvif", "onvif"},        {"ndi", "ndi"},
        {"sap", "sapAes67"},       {"AES67", "sapAes67"},     {"sapAes67", "sapAes67"},
        {"SAP-AES67", "sapAes67"}, {"--mdns--", "mdns"},
    };
    for (const auto &entry : table) {
        QTest::newRow(entry.name) << QString::fromLatin1(entry.name) << QString::fromLatin1(entry.flag);
    }
    QTest::newRow("white space around") << QStringLiteral(" \tmdns\n") << QStringLiteral("mdns");
}

void DiscoveryConfigTest::setProviderByName()
{
    QFETCH(QString, name);
    QFETCH(QString, flag);
    QString error = QStringLiteral("left over");
    DiscoveryConfig config;
    onlyProviders(config, {});
    QVERIFY(Sondrix::setProviderEnabled(&config, name, true, &error));
    QCOMPARE(error, QString());
    DiscoveryConfig expected;
    onlyProviders(expected, {flag});
    QCOMPARE(describe(config), describe(expected));
    QVERIFY(Sondrix::setProviderEnabled(&config, name, false, nullptr));
    onlyProviders(expected, {});
    QCOMPARE(describe(config), describe(expected));
}

void DiscoveryConfigTest::setProviderRejects_data()
{
    QTest::addColumn<QString>("name");
    const char *const names[] = {"",          "   ",    "-_ ",   "streamlark", "ember+", "upnp/dlna",
                                 "mdns,ssdp", "md\tns", "mdns.", " Bogus ",    "%1",     "%2 %1"};
    for (const char *name : names) {
        QTest::addRow("'%s'", name) << QString::fromLatin1(name);
    }
    QTest::newRow("'m\u00addns'") << QStringLiteral("m\u00addns"); // a soft hyphen is none
}

void DiscoveryConfigTest::setProviderRejects()
{
    QFETCH(QString, name);
    DiscoveryConfig config;
    QString error;
    QVERIFY(!Sondrix::setProviderEnabled(&config, name, false, &error));
    QCOMPARE(error, unknownProvider(name));
    QCOMPARE(describe(config), describe(DiscoveryConfig()));
    QVERIFY(!Sondrix::setProviderEnabled(&config, name, false, nullptr));
}

void DiscoveryConfigTest::setProviderClearsTheError()
{
    DiscoveryConfig config;
    QString error = QStringLiteral("left over");
    QVERIFY(Sondrix::setProviderEnabled(&config, QStringLiteral("mdns"), true, &error));
    QCOMPARE(error, QString());
}

void DiscoveryConfigTest::setProviderWithoutOutput()
{
    QString error;
    QVERIFY(!Sondrix::setProviderEnabled(nullptr, QStringLiteral("mdns"), true, &error));
    QCOMPARE(error, QStringLiteral("discovery config is null"));
    QVERIFY(!Sondrix::setProviderEnabled(nullptr, QStringLiteral("bogus"), true, &error));
    QCOMPARE(error, QStringLiteral("discovery config is null"));
    QVERIFY(!Sondrix::setProviderEnabled(nullptr, QStringLiteral("mdns"), true, nullptr));
}

void DiscoveryConfigTest::setAllProviders()
{
    for (const bool enabled : {true, false}) {
        DiscoveryConfig config;
        setEveryKey(config);
        Sondrix::setAllProviders(&config, enabled);
        DiscoveryConfig expected;
        setEveryKey(expected);
        onlyProviders(expected, enabled ? Sondrix::knownProviderNames() : QStringList());
        QCOMPARE(describe(config), describe(expected));
    }
    DiscoveryConfig config;
    Sondrix::setAllProviders(&config, true);
    QVERIFY(!config.activeProbingEnabled);
    QVERIFY(!config.streamlarkEnabled);
    Sondrix::setAllProviders(nullptr, true);
}

void DiscoveryConfigTest::normalizeProviderName_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("normalized");
    QTest::newRow("empty") << QString() << QString();
    QTest::newRow("trimmed") << QStringLiteral("\t mdns \n") << QStringLiteral("mdns");
    QTest::newRow("lower case") << QStringLiteral("MDns") << QStringLiteral("mdns");
    QTest::newRow("hyphens, underscores and spaces")
        << QStringLiteral("-a-b__c d  e-") << QStringLiteral("abcde");
    QTest::newRow("tab inside stays") << QStringLiteral("a\tb") << QStringLiteral("a\tb");
    QTest::newRow("no-break space inside stays") << QStringLiteral("a\u00a0b") << QStringLiteral("a\u00a0b");
    QTest::newRow("trimmed before the hyphens go") << QStringLiteral("-\tmdns") << QStringLiteral("\tmdns");
    QTest::newRow("plus sign stays") << QStringLiteral("Ember+") << QStringLiteral("ember+");
}

void DiscoveryConfigTest::normalizeProviderName()
{
    QFETCH(QString, name);
    QTEST(Sondrix::normalizeProviderName(name), "normalized");
}

void DiscoveryConfigTest::knownProviderNames()
{
    QCOMPARE(Sondrix::knownProviderNames().join(QLatin1Char(' ')),
             QStringLiteral("mdns ssdp upnpDlna roku cast airplay nmos ember onvif ndi sapAes67"));
}

QTEST_GUILESS_MAIN(DiscoveryConfigTest)
#include "discovery_config_test.moc"
